#include <Brek/HashMix.h>
#include <Pelix/IntegerValue.h>
#include <Pelix/MplsLabel.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>

#include <ostream>

namespace Pelix {

MplsLabel::MplsLabel(uint32_t value) : value_(value) {
  if (value > none) throw Vem::RangeException("Pelix::MplsLabel::value > 1048576 not allowed");
}

MplsLabel::MplsLabel(Vem::CharRange& text) {
  if (text.consume("none")) return;
  value_ = static_cast<uint32_t>(parseDecimal(text, maxLabel, "Pelix::MplsLabel"));
}

MplsLabel::MplsLabel(Vem::NboAttrLog::In* in, Vem::StreamBogon) : MplsLabel(in->u32()) {}

Lumo::String MplsLabel::stringValue() const { return isNone() ? Lumo::String("none") : decimalString(value_); }

uint32_t MplsLabel::hash() const noexcept {
  Brek::HashMix h;
  h.mix(value_);
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const MplsLabel& label) { return os << label.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const MplsLabel& label) {
  out.u32(label.value());
  return out;
}

}  // namespace Pelix
