// Pelix::Ip6Prefix: an IPv6 address and a prefix length of at most 128. The address may have bits set
// after the length (an interface address with its subnet length, "2001:db8::1/64"); `masked()` gives
// the network. Default ::/0. Text "2001:db8::/32".
//
// Ordering as for IPv4 prefixes (k the smaller length: when the first k bits differ, the smaller
// address first; else the longer prefix first), then by the whole address, so that only equal values
// are equivalent. Hash: integerHash32 (Pelix/Prefix.h) of (the address's hash XOR length).
// Log form: the 16 address bytes, then the length as U8 (17 bytes).
#pragma once

#include <Pelix/Ip6Addr.h>
#include <Pelix/Prefix.h>

namespace Pelix {

class Ip6Prefix {
 public:
  static constexpr uint8_t maxLength = 128;

  constexpr Ip6Prefix() noexcept = default;
  // Raises Vem::RangeException "Pelix::Ip6Prefix::length > 128 not allowed".
  Ip6Prefix(const Ip6Addr& addr, unsigned length);
  // Without the check: for pairs already known to be valid.
  static constexpr Ip6Prefix unchecked(const Ip6Addr& addr, uint8_t length) noexcept {
    Ip6Prefix p;
    p.addr_ = addr;
    p.length_ = length;
    return p;
  }
  // Raises Vem::RangeException unless `text` is exactly one prefix.
  explicit Ip6Prefix(std::string_view text);
  explicit Ip6Prefix(Vem::CharRange& text);
  Ip6Prefix(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr const Ip6Addr& addr() const noexcept { return addr_; }
  constexpr uint8_t length() const noexcept { return length_; }
  // The same length with the address bits after it cleared.
  Ip6Prefix masked() const noexcept;
  bool contains(const Ip6Addr& a) const noexcept;

  Lumo::String stringValue() const;

  friend constexpr bool operator==(const Ip6Prefix&, const Ip6Prefix&) noexcept = default;
  friend std::strong_ordering operator<=>(const Ip6Prefix& a, const Ip6Prefix& b) noexcept;
  uint32_t hash() const noexcept { return integerHash32(addr_.hash() ^ length_); }

 private:
  Ip6Addr addr_;
  uint8_t length_ = 0;
};

std::ostream& operator<<(std::ostream& os, const Ip6Prefix& p);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Ip6Prefix& p);
constexpr std::size_t attrLogSize(const Ip6Prefix*) noexcept { return 17; }

}  // namespace Pelix
