#include <Bridging/VlanIds.h>
#include <Pelix/IntegerValue.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>

#include <ostream>
#include <string>

namespace Bridging {

uint16_t checkVlan(uint16_t value, const VlanRange& range) {
  if (value < range.min)
    throw Vem::RangeException(std::string(range.typeName) + "::value < " + std::to_string(range.min) + " not allowed");
  if (value > range.max)
    throw Vem::RangeException(std::string(range.typeName) + "::value > " + std::to_string(range.max) + " not allowed");
  return value;
}

uint16_t parseVlan(Vem::CharRange& text, const VlanRange& range) {
  // A word must end where the name does: "nonesuch" is not "none" followed by "such".
  auto word = [&text](std::string_view w) {
    const std::string_view rest = text.rest();
    if (rest.substr(0, w.size()) != w) return false;
    const char next = rest.size() > w.size() ? rest[w.size()] : '\0';
    if ((next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z') || (next >= '0' && next <= '9')) return false;
    text.advance(w.size());
    return true;
  };
  if (range.hasNone && word("none")) return 0;
  if (range.hasAny && word("any")) return 4095;
  Vem::CharRange probe = text;
  const uint64_t v = Pelix::parseDecimal(probe, 0xffff, range.typeName);
  if (v < range.min || v > range.max || (range.hasNone && v == 0) || (range.hasAny && v == 4095))
    text.fail(std::string(range.typeName) + ": " + std::to_string(v) + " is not a VLAN of this type" +
              (range.hasNone || range.hasAny ? " (0 is written none, 4095 any)" : ""));
  text = probe;
  return static_cast<uint16_t>(v);
}

uint16_t readVlan(Vem::NboAttrLog::In* in, const VlanRange& range) { return checkVlan(in->u16(), range); }

void writeVlan(Vem::NboAttrLog::Out& out, uint16_t value) { out.u16(value); }

Lumo::String vlanText(uint16_t value, const VlanRange& range) {
  if (range.hasNone && value == 0) return Lumo::String("none");
  if (range.hasAny && value == 4095) return Lumo::String("any");
  return Lumo::String(std::to_string(value));
}

std::ostream& writeVlanText(std::ostream& os, uint16_t value, const VlanRange& range) {
  return os << vlanText(value, range);
}

}  // namespace Bridging
