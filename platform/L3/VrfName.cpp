#include <Brek/HashMix.h>
#include <L3/VrfName.h>
#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include <ostream>
#include <sstream>

namespace L3 {

namespace {
const Lumo::String& checked(const Lumo::String& name) {
  if (!name.lengthWithin(VrfName::maxLength()))
    throw Vem::RangeException("Vem::String::bytes > maxLength() not allowed");
  return name;
}
}  // namespace

VrfName::VrfName(const Lumo::String& name) : name_(checked(name)) {}

VrfName::VrfName(Vem::CharRange& text) {
  Vem::CharRange probe = text;
  name_ = checked(Vem::parseQuoted(probe));
  text = probe;
}

VrfName::VrfName(Vem::NboAttrLog::In* in, Vem::StreamBogon) : name_(checked(in->string())) {}

const VrfName& VrfName::defaultVrf() {
  static const VrfName name("default");
  return name;
}

Lumo::String VrfName::stringValue() const {
  std::ostringstream os;
  Vem::writeQuoted(os, name_.view());
  return Lumo::String(os.str());
}

uint32_t VrfName::hash() const noexcept {
  Brek::HashMix h;
  h.mixBytes(name_.data(), name_.size());
  h.mix(static_cast<uint32_t>(name_.size()));
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const VrfName& v) {
  Vem::writeQuoted(os, v.name().view());
  return os;
}

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const VrfName& v) {
  out.string(v.name().view());
  return out;
}

}  // namespace L3
