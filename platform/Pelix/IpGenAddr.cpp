#include <Pelix/AddressText.h>
#include <Pelix/FamilyCoded.h>
#include <Pelix/IpGenAddr.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::IpGenAddr";
constexpr const char* kWhat = "an IPv4 or IPv6 address or none";
}  // namespace

bool AddressText::parseGenAddr(std::string_view token, IpGenAddr* out) noexcept {
  if (token == "none") {
    *out = IpGenAddr();
    return true;
  }
  if (token.find(':') != std::string_view::npos) {
    Ip6Addr::Bytes b{};
    if (!parseIp6(token, &b)) return false;
    *out = IpGenAddr(Ip6Addr(b));
    return true;
  }
  uint32_t host = 0;
  if (!parseIp4(token, &host)) return false;
  *out = IpGenAddr(IpAddr::fromHost(host));
  return true;
}

IpGenAddr::IpGenAddr(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  if (!AddressText::parseGenAddr(token, this)) AddressText::refuse(text, kTypeName, token, kWhat);
  text.advance(token.size());
}

IpGenAddr::IpGenAddr(std::string_view text) : IpGenAddr(AddressText::parseWhole<IpGenAddr>(text, kTypeName, kWhat)) {}

IpGenAddr::IpGenAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon)
    : IpGenAddr(readFamilyCoded<IpGenAddr, IpAddr, Ip6Addr>(in, kTypeName)) {}

Lumo::String IpGenAddr::stringValue() const {
  std::string out;
  if (isV4())
    AddressText::appendIp4(out, v4().host());
  else if (isV6())
    AddressText::appendIp6(out, storage_);
  else
    out = "none";
  return Lumo::String(out);
}

uint32_t IpGenAddr::hash() const noexcept { return isV4() ? v4().hash() : isV6() ? v6().hash() : 0; }

std::ostream& operator<<(std::ostream& os, const IpGenAddr& addr) { return os << addr.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpGenAddr& addr) {
  out.u8(static_cast<uint8_t>(addr.family()));
  if (addr.isV4())
    out << addr.v4();
  else if (addr.isV6())
    out << addr.v6();
  return out;
}

}  // namespace Pelix
