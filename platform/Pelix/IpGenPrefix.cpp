#include <Pelix/AddressText.h>
#include <Pelix/FamilyCoded.h>
#include <Pelix/IpGenPrefix.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::IpGenPrefix";
constexpr const char* kWhat = "an IPv4 or IPv6 prefix or none";
}  // namespace

IpGenPrefix::IpGenPrefix(const Prefix& p) noexcept {
  if (p.isNull()) return;
  addr_ = IpGenAddr(p.addr());
  length_ = p.length();
}

IpGenPrefix::IpGenPrefix(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  if (token == "none") {
    *this = IpGenPrefix();
    text.advance(token.size());
  } else if (token.find(':') != std::string_view::npos) {
    *this = IpGenPrefix(Ip6Prefix(text));
  } else if (token.find('/') != std::string_view::npos) {
    *this = IpGenPrefix(Prefix(text));
  } else {
    AddressText::refuse(text, kTypeName, token, kWhat);
  }
}

IpGenPrefix::IpGenPrefix(std::string_view text)
    : IpGenPrefix(AddressText::parseWhole<IpGenPrefix>(text, kTypeName, kWhat)) {}

IpGenPrefix::IpGenPrefix(Vem::NboAttrLog::In* in, Vem::StreamBogon)
    : IpGenPrefix(readFamilyCoded<IpGenPrefix, Prefix, Ip6Prefix>(in, kTypeName)) {}

Prefix IpGenPrefix::v4() const noexcept { return Prefix::unchecked(addr_.v4(), length_); }

Ip6Prefix IpGenPrefix::v6() const noexcept { return Ip6Prefix::unchecked(addr_.v6(), length_); }

std::strong_ordering operator<=>(const IpGenPrefix& a, const IpGenPrefix& b) noexcept {
  if (auto c = a.family() <=> b.family(); c != 0) return c;
  if (a.isV4()) return a.v4() <=> b.v4();
  if (a.isV6()) return a.v6() <=> b.v6();
  return std::strong_ordering::equal;
}

uint32_t IpGenPrefix::hash() const noexcept {
  if (isV4()) return integerHash32(addr_.v4().host() ^ length_);
  if (isV6()) return integerHash32(addr_.v6().hash() ^ length_);
  return 0;
}

Lumo::String IpGenPrefix::stringValue() const {
  if (isV4()) return v4().stringValue();
  if (isV6()) return v6().stringValue();
  return Lumo::String("none");
}

std::ostream& operator<<(std::ostream& os, const IpGenPrefix& p) { return os << p.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpGenPrefix& p) {
  out.u8(static_cast<uint8_t>(p.family()));
  if (p.isV4())
    out << p.v4();
  else if (p.isV6())
    out << p.v6();
  return out;
}

}  // namespace Pelix
