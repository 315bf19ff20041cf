// Pelix::IpAddr: an IPv4 address, held as its 4 bytes in network order (as it is on the wire and in
// socket structures). Text: dotted quad "10.0.0.1". Ordered as the 32-bit number in host order; logged
// as that number, big-endian, which is again the network-order bytes.
#pragma once

#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace Pelix {

constexpr uint32_t hostToNetwork32(uint32_t v) noexcept {
  if constexpr (std::endian::native == std::endian::little)
    return __builtin_bswap32(v);
  else
    return v;
}

class IpAddr {
 public:
  constexpr IpAddr() noexcept = default;
  constexpr IpAddr(uint8_t a, uint8_t b, uint8_t c, uint8_t d) noexcept
      : nbo_(hostToNetwork32(uint32_t(a) << 24 | uint32_t(b) << 16 | uint32_t(c) << 8 | d)) {}
  static constexpr IpAddr fromHost(uint32_t hostOrder) noexcept {
    IpAddr a;
    a.nbo_ = hostToNetwork32(hostOrder);
    return a;
  }
  static constexpr IpAddr fromNbo(uint32_t networkOrder) noexcept {
    IpAddr a;
    a.nbo_ = networkOrder;
    return a;
  }
  // Raises Vem::RangeException unless `text` is exactly one dotted quad.
  explicit IpAddr(std::string_view text);
  explicit IpAddr(Vem::CharRange& text);
  IpAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr uint32_t host() const noexcept { return hostToNetwork32(nbo_); }
  constexpr uint32_t nbo() const noexcept { return nbo_; }
  constexpr bool isZero() const noexcept { return nbo_ == 0; }

  Lumo::String stringValue() const;

  friend constexpr bool operator==(IpAddr a, IpAddr b) noexcept { return a.nbo_ == b.nbo_; }
  friend constexpr std::strong_ordering operator<=>(IpAddr a, IpAddr b) noexcept { return a.host() <=> b.host(); }
  uint32_t hash() const noexcept;

 private:
  uint32_t nbo_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IpAddr& addr);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpAddr& addr);
constexpr std::size_t attrLogSize(const IpAddr*) noexcept { return 4; }

}  // namespace Pelix
