// Pelix::Ip6Addr: an IPv6 address, its 16 bytes in network order. Text as RFC 5952 writes it
// ("2001:db8::1"); any RFC 4291 spelling is read. Ordered by its bytes; logged as its 16 bytes.
#pragma once

#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace Pelix {

class Ip6Addr {
 public:
  using Bytes = std::array<uint8_t, 16>;

  constexpr Ip6Addr() noexcept = default;
  constexpr explicit Ip6Addr(const Bytes& bytes) noexcept : bytes_(bytes) {}
  // Raises Vem::RangeException unless `text` is exactly one IPv6 address.
  explicit Ip6Addr(std::string_view text);
  explicit Ip6Addr(Vem::CharRange& text);
  Ip6Addr(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr const Bytes& bytes() const noexcept { return bytes_; }
  constexpr bool isZero() const noexcept { return bytes_ == Bytes{}; }

  Lumo::String stringValue() const;

  friend constexpr bool operator==(const Ip6Addr& a, const Ip6Addr& b) noexcept { return a.bytes_ == b.bytes_; }
  friend constexpr std::strong_ordering operator<=>(const Ip6Addr& a, const Ip6Addr& b) noexcept {
    return a.bytes_ <=> b.bytes_;
  }
  uint32_t hash() const noexcept;

 private:
  Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& os, const Ip6Addr& addr);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Ip6Addr& addr);
constexpr std::size_t attrLogSize(const Ip6Addr*) noexcept { return 16; }

}  // namespace Pelix
