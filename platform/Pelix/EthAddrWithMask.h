// Pelix::EthAddrWithMask: a MAC address and the mask of the bits that matter, for table entries that
// match a range of addresses. Default: the zero address with the all-ones mask (match exactly).
// Text "00:1a:2b:00:00:00/ff:ff:ff:00:00:00"; ordered by address, then mask; logged as 6 + 6 bytes.
#pragma once

#include <Pelix/EthAddr.h>

namespace Pelix {

class EthAddrWithMask {
 public:
  static constexpr EthAddr exactMask() noexcept { return EthAddr(0xff, 0xff, 0xff, 0xff, 0xff, 0xff); }

  constexpr EthAddrWithMask() noexcept = default;
  constexpr EthAddrWithMask(const EthAddr& addr, const EthAddr& mask) noexcept : addr_(addr), mask_(mask) {}
  explicit EthAddrWithMask(Vem::CharRange& text);
  EthAddrWithMask(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr const EthAddr& addr() const noexcept { return addr_; }
  constexpr const EthAddr& mask() const noexcept { return mask_; }
  // True when `a` agrees with the address on every bit of the mask.
  bool matches(const EthAddr& a) const noexcept;

  Lumo::String stringValue() const;

  friend constexpr bool operator==(const EthAddrWithMask&, const EthAddrWithMask&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const EthAddrWithMask&, const EthAddrWithMask&) noexcept = default;
  uint32_t hash() const noexcept;

 private:
  EthAddr addr_;
  EthAddr mask_ = exactMask();
};

std::ostream& operator<<(std::ostream& os, const EthAddrWithMask& v);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const EthAddrWithMask& v);
constexpr std::size_t attrLogSize(const EthAddrWithMask*) noexcept { return 12; }

}  // namespace Pelix
