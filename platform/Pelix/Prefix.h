// Pelix::Prefix: an IPv4 prefix, address and length. Every address bit after the first `length` bits
// is zero (validAsPrefix); the one exception is the null prefix (address 0, length 255), which stands
// for "no prefix". Default 0.0.0.0/0. Text "10.0.0.0/8", the null prefix "none".
//
// Ordering (addresses in host order, k the smaller length): if k is 0 the longer prefix comes first;
// otherwise the first k bits decide when they differ, the smaller address first; when they agree the
// longer prefix comes first. So nested prefixes sort most specific first: 10.1.0.0/16 < 10.0.0.0/8.
// Hash: integerHash32 (below) of (address XOR length).
// Log form: the address as U32, then the length as U8 (5 bytes).
#pragma once

#include <Pelix/IpAddr.h>

namespace Pelix {

// The 32-bit integer hash of prefixes: shifts, adds and XORs, then one multiply and a last fold.
constexpr uint32_t integerHash32(uint32_t x) noexcept {
  x = ~x + (x << 15);
  x = x ^ (x >> 12);
  x = x + (x << 2);
  x = x ^ (x >> 4);
  x = x * 2057;
  x = x ^ (x >> 16);
  return x;
}

// The prefix order on the first `k` bits of two big-endian byte strings of `size` bytes: <0, 0, >0.
int comparePrefixBits(const uint8_t* a, const uint8_t* b, std::size_t size, unsigned k) noexcept;

class Prefix {
 public:
  static constexpr uint8_t nullLength = 255;

  constexpr Prefix() noexcept = default;
  // Raises Vem::RangeException "Pelix::Prefix::validAsPrefix != true not allowed" unless the pair is a
  // prefix; a length of 255 gives the null prefix whatever the address.
  Prefix(IpAddr addr, unsigned length);
  static constexpr Prefix null() noexcept {
    Prefix p;
    p.length_ = nullLength;
    return p;
  }
  // Without the check: for pairs already known to be prefixes (taken from another valid value).
  static constexpr Prefix unchecked(IpAddr addr, uint8_t length) noexcept {
    Prefix p;
    p.addr_ = addr;
    p.length_ = length;
    return p;
  }
  // The prefix of the given length that holds `addr` (host bits cleared); length at most 32.
  static Prefix covering(IpAddr addr, unsigned length);
  // Raises Vem::RangeException unless `text` is exactly one prefix.
  explicit Prefix(std::string_view text);
  explicit Prefix(Vem::CharRange& text);
  Prefix(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  static bool validAsPrefix(IpAddr addr, unsigned length) noexcept;

  constexpr IpAddr addr() const noexcept { return addr_; }
  constexpr uint8_t length() const noexcept { return length_; }
  constexpr bool isNull() const noexcept { return length_ == nullLength; }
  // True when `a` lies inside this prefix (never for the null prefix).
  bool contains(IpAddr a) const noexcept;

  Lumo::String stringValue() const;

  friend constexpr bool operator==(Prefix a, Prefix b) noexcept { return a.addr_ == b.addr_ && a.length_ == b.length_; }
  friend std::strong_ordering operator<=>(Prefix a, Prefix b) noexcept;
  uint32_t hash() const noexcept { return integerHash32(addr_.host() ^ length_); }

 private:
  IpAddr addr_;
  uint8_t length_ = 0;
};

std::ostream& operator<<(std::ostream& os, const Prefix& p);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Prefix& p);
constexpr std::size_t attrLogSize(const Prefix*) noexcept { return 5; }

}  // namespace Pelix
