// Pelix::IntegerValue<Traits>: the shape shared by the platform's number-like ids (VRF ids, FEC ids,
// tunnel ids, table ids, slot ids ...). Each is its own C++ type, told apart by its traits, so that a
// FEC id cannot be passed where a VRF id is expected. Text form: the number in decimal. Attribute-log
// form: the number big-endian in the width of its holding integer. Ordering: the unsigned number, unless
// the traits supply `compare`.
//
// Traits: `using Raw = uint16_t | uint32_t | uint64_t;`, `static constexpr const char* name` (the
// qualified type name, for messages), `static constexpr Raw defaultValue`, optionally
// `static std::strong_ordering compare(Raw, Raw)`. A plain id, zero by default and ordered as a number,
// names its traits as NumberTraits<Raw, "Its::Name">.
#pragma once

#include <Brek/HashMix.h>
#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string_view>
#include <type_traits>

namespace Pelix {

// Reads a decimal number of at most `max` with no sign and no leading zeros; raises Vem::RangeException
// naming `typeName` and leaves `text` where it was on failure.
uint64_t parseDecimal(Vem::CharRange& text, uint64_t max, const char* typeName);
Lumo::String decimalString(uint64_t v);
std::ostream& writeDecimal(std::ostream& os, uint64_t v);
// `bytes` of 2, 4 or 8, big-endian.
uint64_t readLogUnsigned(Vem::NboAttrLog::In* in, std::size_t bytes);
void writeLogUnsigned(Vem::NboAttrLog::Out& out, uint64_t v, std::size_t bytes);

/// A type's qualified name as a template argument, so that ids of the same width stay distinct types.
template <std::size_t N>
struct TypeName {
  constexpr TypeName(const char (&name)[N]) noexcept {  // implicit: written as a string literal
    for (std::size_t i = 0; i < N; ++i) text[i] = name[i];
  }
  char text[N];
};

template <class R, TypeName Name>
struct NumberTraits {
  using Raw = R;
  static constexpr const char* name = Name.text;
  static constexpr Raw defaultValue = 0;
};

template <class Traits>
class IntegerValue {
 public:
  using Raw = typename Traits::Raw;
  static_assert(std::is_unsigned_v<Raw> && sizeof(Raw) >= 2, "a 16-, 32- or 64-bit unsigned holding integer");
  // The qualified name of the platform type, for messages.
  static constexpr std::string_view vemTypeName = Traits::name;

  constexpr IntegerValue() noexcept = default;
  constexpr explicit IntegerValue(Raw value) noexcept : value_(value) {}
  explicit IntegerValue(Vem::CharRange& text)
      : value_(static_cast<Raw>(parseDecimal(text, std::numeric_limits<Raw>::max(), Traits::name))) {}
  // The tag is taken by reference only so that this header need not define it.
  IntegerValue(Vem::NboAttrLog::In* in, const Vem::StreamBogon&)
      : value_(static_cast<Raw>(readLogUnsigned(in, sizeof(Raw)))) {}

  constexpr Raw value() const noexcept { return value_; }
  Lumo::String stringValue() const { return decimalString(value_); }

  friend constexpr bool operator==(IntegerValue a, IntegerValue b) noexcept { return a.value_ == b.value_; }
  friend constexpr std::strong_ordering operator<=>(IntegerValue a, IntegerValue b) noexcept {
    if constexpr (requires { Traits::compare(a.value_, b.value_); })
      return Traits::compare(a.value_, b.value_);
    else
      return a.value_ <=> b.value_;
  }
  // The number's bytes through the byte-mixing accumulator.
  uint32_t hash() const noexcept {
    Brek::HashMix h;
    h.mix(value_);
    return h.result();
  }

  friend std::ostream& operator<<(std::ostream& os, IntegerValue v) { return writeDecimal(os, v.value_); }
  friend Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, IntegerValue v) {
    writeLogUnsigned(out, v.value_, sizeof(Raw));
    return out;
  }
  friend constexpr std::size_t attrLogSize(const IntegerValue*) noexcept { return sizeof(Raw); }

 private:
  Raw value_ = Traits::defaultValue;
};

}  // namespace Pelix
