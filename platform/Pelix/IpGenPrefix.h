// Pelix::IpGenPrefix: a prefix of either IP family, or none (the default). Held as 16 bytes of address
// storage, a length and a family code: 1 IPv4, 2 IPv6, anything else none. An IPv4 prefix obeys the
// rules of Pelix::Prefix (host bits zero), an IPv6 one those of Pelix::Ip6Prefix.
// Ordering: family code first, then the family's prefix ordering. Hash: the family's prefix hash
// (the 32-bit integer hash of address-or-address-hash XOR length); 0 for none.
// Text: the family's prefix text, or "none". Log form: the family code as one byte, then the family's
// prefix log form (5 or 17 bytes), nothing for none.
#pragma once

#include <Pelix/Ip6Prefix.h>
#include <Pelix/IpGenAddr.h>
#include <Pelix/Prefix.h>

namespace Pelix {

class IpGenPrefix {
 public:
  constexpr IpGenPrefix() noexcept = default;
  // A null IPv4 prefix is none.
  explicit IpGenPrefix(const Prefix& p) noexcept;
  explicit IpGenPrefix(const Ip6Prefix& p) noexcept : addr_(p.addr()), length_(p.length()) {}
  // Raises Vem::RangeException unless `text` is exactly one prefix of either family, or "none".
  explicit IpGenPrefix(std::string_view text);
  explicit IpGenPrefix(Vem::CharRange& text);
  IpGenPrefix(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr AddressFamily family() const noexcept { return addr_.family(); }
  constexpr bool isV4() const noexcept { return addr_.isV4(); }
  constexpr bool isV6() const noexcept { return addr_.isV6(); }
  constexpr bool isNone() const noexcept { return addr_.isNone(); }
  constexpr const IpGenAddr& addr() const noexcept { return addr_; }
  constexpr uint8_t length() const noexcept { return length_; }
  // The prefix as its family's type (meaningful when isV4() / isV6()).
  Prefix v4() const noexcept;
  Ip6Prefix v6() const noexcept;

  Lumo::String stringValue() const;

  friend constexpr bool operator==(const IpGenPrefix&, const IpGenPrefix&) noexcept = default;
  friend std::strong_ordering operator<=>(const IpGenPrefix& a, const IpGenPrefix& b) noexcept;
  uint32_t hash() const noexcept;

 private:
  IpGenAddr addr_;
  uint8_t length_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IpGenPrefix& p);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpGenPrefix& p);
constexpr std::size_t attrLogSize(const IpGenPrefix* p) noexcept { return p->isV4() ? 6 : p->isV6() ? 18 : 1; }

}  // namespace Pelix
