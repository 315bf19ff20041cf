// Pelix::IpGenAddr: an address of either IP family, or none. Held as 16 bytes of address storage (an
// IPv4 address in the first 4, network order, the rest zero) and a family code: 1 IPv4, 2 IPv6, 0 none;
// any other code given to `fromFamily` means none. The default is none.
// Text: the family's own address text, or "none". Ordered by family code, then address bytes.
// Log form: the family code as one byte, then 4, 16 or no address bytes.
#pragma once

#include <Pelix/Ip6Addr.h>
#include <Pelix/IpAddr.h>

namespace Pelix {

enum class AddressFamily : uint8_t { none = 0, ipv4 = 1, ipv6 = 2 };

// A family code as the platform reads it: 1 and 2 name a family, everything else is none.
constexpr AddressFamily addressFamilyOf(uint32_t code) noexcept {
  return code == 1 ? AddressFamily::ipv4 : code == 2 ? AddressFamily::ipv6 : AddressFamily::none;
}

class IpGenAddr {
 public:
  constexpr IpGenAddr() noexcept = default;
  constexpr explicit IpGenAddr(IpAddr a) noexcept : family_(AddressFamily::ipv4) {
    const uint32_t h = a.host();
    for (int i = 0; i < 4; ++i) storage_[i] = static_cast<uint8_t>(h >> (24 - 8 * i));
  }
  constexpr explicit IpGenAddr(const Ip6Addr& a) noexcept : storage_(a.bytes()), family_(AddressFamily::ipv6) {}
  // The zero address of the family a code names (none for any code but 1 and 2).
  static constexpr IpGenAddr fromFamily(uint32_t code) noexcept {
    IpGenAddr a;
    a.family_ = addressFamilyOf(code);
    return a;
  }
  // Raises Vem::RangeException unless `text` is exactly one address of either family, or "none".
  explicit IpGenAddr(std::string_view text);
  explicit IpGenAddr(Vem::CharRange& text);
  IpGenAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr AddressFamily family() const noexcept { return family_; }
  constexpr bool isV4() const noexcept { return family_ == AddressFamily::ipv4; }
  constexpr bool isV6() const noexcept { return family_ == AddressFamily::ipv6; }
  constexpr bool isNone() const noexcept { return family_ == AddressFamily::none; }
  // The address as IPv4 (meaningful when isV4()).
  constexpr IpAddr v4() const noexcept { return IpAddr(storage_[0], storage_[1], storage_[2], storage_[3]); }
  // The 16 bytes of storage read as an IPv6 address, whatever the family: the form the keys that hold a
  // generic address hash.
  constexpr Ip6Addr storageAsIp6() const noexcept { return Ip6Addr(storage_); }
  constexpr Ip6Addr v6() const noexcept { return storageAsIp6(); }
  constexpr const Ip6Addr::Bytes& storage() const noexcept { return storage_; }

  Lumo::String stringValue() const;

  friend constexpr bool operator==(const IpGenAddr&, const IpGenAddr&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const IpGenAddr& a, const IpGenAddr& b) noexcept {
    if (auto c = a.family_ <=> b.family_; c != 0) return c;
    return a.storage_ <=> b.storage_;
  }
  // The family's own address hash; 0 for none.
  uint32_t hash() const noexcept;

 private:
  Ip6Addr::Bytes storage_{};
  AddressFamily family_ = AddressFamily::none;
};

std::ostream& operator<<(std::ostream& os, const IpGenAddr& addr);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpGenAddr& addr);
constexpr std::size_t attrLogSize(const IpGenAddr* a) noexcept { return a->isV4() ? 5 : a->isV6() ? 17 : 1; }

namespace AddressText {
// Reads an address of either family or "none" from `token`; false when it is neither.
bool parseGenAddr(std::string_view token, IpGenAddr* out) noexcept;
}  // namespace AddressText

}  // namespace Pelix
