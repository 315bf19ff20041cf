// The VLAN id types of the bridging library: a 12-bit VLAN number with a range of its own per type, and
// for some types one or two codes that stand for "no VLAN" (0) or "any VLAN" (4095).
//
//   VlanId             1..4094               default 1 (the default VLAN)
//   VlanIdOrNone       0..4094, 0 = none     default 0
//   VlanIdOrAny        1..4095, 4095 = any   default 1
//   VlanIdOrAnyOrNone  0..4095, 0 = none, 4095 = any   default 0
//
// Text: the number in decimal, "none" and "any" for those codes. Ordered as the number; hashed as its 2
// bytes; logged as U16. Constructors, parsers and the log reader refuse numbers outside the range with
// Vem::RangeException ("Bridging::VlanId::value > 4094 not allowed").
#pragma once

#include <Brek/HashMix.h>
#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace Bridging {

struct VlanRange {
  const char* typeName;
  uint16_t min;
  uint16_t max;
  bool hasNone;  // 0 means no VLAN
  bool hasAny;   // 4095 means any VLAN
};

// The shared operations, out of line so that this header stays light.
uint16_t checkVlan(uint16_t value, const VlanRange& range);
uint16_t parseVlan(Vem::CharRange& text, const VlanRange& range);
uint16_t readVlan(Vem::NboAttrLog::In* in, const VlanRange& range);
void writeVlan(Vem::NboAttrLog::Out& out, uint16_t value);
Lumo::String vlanText(uint16_t value, const VlanRange& range);
std::ostream& writeVlanText(std::ostream& os, uint16_t value, const VlanRange& range);

template <class Traits>
class VlanNumber {
 public:
  static constexpr uint16_t noneValue = 0;
  static constexpr uint16_t anyValue = 4095;

  constexpr VlanNumber() noexcept = default;
  explicit VlanNumber(uint16_t value) : value_(checkVlan(value, Traits::range)) {}
  explicit VlanNumber(Vem::CharRange& text) : value_(parseVlan(text, Traits::range)) {}
  // The tag is taken by reference only so that this header need not define it.
  VlanNumber(Vem::NboAttrLog::In* in, const Vem::StreamBogon&) : value_(readVlan(in, Traits::range)) {}

  constexpr uint16_t value() const noexcept { return value_; }
  constexpr bool isNone() const noexcept { return Traits::range.hasNone && value_ == noneValue; }
  constexpr bool isAny() const noexcept { return Traits::range.hasAny && value_ == anyValue; }

  Lumo::String stringValue() const { return vlanText(value_, Traits::range); }

  friend constexpr bool operator==(VlanNumber a, VlanNumber b) noexcept { return a.value_ == b.value_; }
  friend constexpr std::strong_ordering operator<=>(VlanNumber a, VlanNumber b) noexcept {
    return a.value_ <=> b.value_;
  }
  uint32_t hash() const noexcept {
    Brek::HashMix h;
    h.mix(value_);
    return h.result();
  }

  friend std::ostream& operator<<(std::ostream& os, VlanNumber v) { return writeVlanText(os, v.value_, Traits::range); }
  friend Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, VlanNumber v) {
    writeVlan(out, v.value_);
    return out;
  }
  friend constexpr std::size_t attrLogSize(const VlanNumber*) noexcept { return 2; }

 private:
  uint16_t value_ = Traits::defaultValue;
};

struct VlanIdTraits {
  static constexpr VlanRange range{"Bridging::VlanId", 1, 4094, false, false};
  static constexpr uint16_t defaultValue = 1;
};
struct VlanIdOrNoneTraits {
  static constexpr VlanRange range{"Bridging::VlanIdOrNone", 0, 4094, true, false};
  static constexpr uint16_t defaultValue = 0;
};
struct VlanIdOrAnyTraits {
  static constexpr VlanRange range{"Bridging::VlanIdOrAny", 1, 4095, false, true};
  static constexpr uint16_t defaultValue = 1;
};
struct VlanIdOrAnyOrNoneTraits {
  static constexpr VlanRange range{"Bridging::VlanIdOrAnyOrNone", 0, 4095, true, true};
  static constexpr uint16_t defaultValue = 0;
};

using VlanId = VlanNumber<VlanIdTraits>;
using VlanIdOrNone = VlanNumber<VlanIdOrNoneTraits>;
using VlanIdOrAny = VlanNumber<VlanIdOrAnyTraits>;
using VlanIdOrAnyOrNone = VlanNumber<VlanIdOrAnyOrNoneTraits>;

}  // namespace Bridging
