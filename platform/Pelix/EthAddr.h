// Pelix::EthAddr: a 48-bit Ethernet MAC address. Text "00:1a:2b:3c:4d:5e" (lower case on output, either
// case accepted); ordered as the 48-bit number; logged as its 6 bytes in wire order.
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

class EthAddr {
 public:
  using Bytes = std::array<uint8_t, 6>;

  constexpr EthAddr() noexcept = default;
  constexpr explicit EthAddr(const Bytes& bytes) noexcept : bytes_(bytes) {}
  constexpr EthAddr(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint8_t e, uint8_t f) noexcept
      : bytes_{a, b, c, d, e, f} {}
  // Raises Vem::RangeException unless `text` is exactly one address.
  explicit EthAddr(std::string_view text);
  explicit EthAddr(Vem::CharRange& text);
  EthAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr const Bytes& bytes() const noexcept { return bytes_; }
  constexpr bool isZero() const noexcept { return *this == EthAddr(); }
  // Group addresses have the low bit of the first byte set.
  constexpr bool isMulticast() const noexcept { return (bytes_[0] & 1) != 0; }
  constexpr bool isBroadcast() const noexcept { return *this == EthAddr(0xff, 0xff, 0xff, 0xff, 0xff, 0xff); }

  // The text users read ("00:1a:2b:3c:4d:5e"); the same as the value's text form.
  Lumo::String displayString() const;
  Lumo::String stringValue() const { return displayString(); }

  friend constexpr bool operator==(const EthAddr& a, const EthAddr& b) noexcept { return a.bytes_ == b.bytes_; }
  friend constexpr std::strong_ordering operator<=>(const EthAddr& a, const EthAddr& b) noexcept {
    return a.bytes_ <=> b.bytes_;
  }
  uint32_t hash() const noexcept;

 private:
  Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& os, const EthAddr& addr);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const EthAddr& addr);
constexpr std::size_t attrLogSize(const EthAddr*) noexcept { return 6; }

}  // namespace Pelix
