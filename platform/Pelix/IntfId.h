// Pelix::IntfId: an interface's identity as one 64-bit number, computed from its name by a fixed
// encoding, so that ids mean the same in every process without a shared table.
//
// Encoding (most significant byte first):
//   0                         the empty name
//   kind:8 | n1:16 | n2+1:8 | n3+1:8 | sub+1:24
//       a known kind followed by numbers: "Ethernet3/1", "Port-Channel10", "Ethernet1/2/3.100".
//       Absent parts are 0, so "Ethernet1" < "Ethernet1/0" < "Ethernet1/1" < "Ethernet2".
//       n1 <= 65535, n2 and n3 <= 254, sub <= 16777214; numbers carry no leading zeros.
//   0xff | up to 7 bytes      any other name of at most 7 characters from [A-Za-z0-9_-/.:], padded
//                             with zero bytes ("cpu", "lo").
// Ordering is that of the 64-bit number. Names that fit neither form are refused.
#pragma once

#include <Brek/HashMix.h>
#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace Pelix {

class IntfId {
 public:
  constexpr IntfId() noexcept = default;
  // Raises Vem::RangeException for a name that has no encoding.
  explicit IntfId(std::string_view name);
  explicit IntfId(const char* name) : IntfId(std::string_view(name)) {}
  explicit IntfId(const Lumo::String& name) : IntfId(name.view()) {}
  // Reads a name from text (the generic text form): the longest run of name characters.
  explicit IntfId(Vem::CharRange& text);
  // The attribute-log form: one U64.
  IntfId(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  static constexpr IntfId fromRaw(uint64_t raw) noexcept {
    IntfId id;
    id.id_ = raw;
    return id;
  }
  constexpr uint64_t raw() const noexcept { return id_; }
  constexpr bool empty() const noexcept { return id_ == 0; }
  static bool isValidName(std::string_view name) noexcept;

  Lumo::String name() const;
  Lumo::String stringValue() const { return name(); }

  friend constexpr bool operator==(IntfId a, IntfId b) noexcept { return a.id_ == b.id_; }
  friend constexpr std::strong_ordering operator<=>(IntfId a, IntfId b) noexcept { return a.id_ <=> b.id_; }

  // Inline: ids key the busiest collections.
  uint32_t hash() const noexcept { return hash(0); }
  uint32_t hash(uint32_t seed) const noexcept {
    Brek::HashMix h(seed);
    h.mix(id_);
    return h.result();
  }

 private:
  uint64_t id_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IntfId& id);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IntfId& id);
constexpr std::size_t attrLogSize(const IntfId*) noexcept { return 8; }

}  // namespace Pelix
