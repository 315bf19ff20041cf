#include <Brek/HashMix.h>
#include <Pelix/AddressText.h>
#include <Pelix/IpAddr.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::IpAddr";
constexpr const char* kWhat = "an IPv4 address";
}  // namespace

IpAddr::IpAddr(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  uint32_t host = 0;
  if (!AddressText::parseIp4(token, &host)) AddressText::refuse(text, kTypeName, token, kWhat);
  nbo_ = hostToNetwork32(host);
  text.advance(token.size());
}

IpAddr::IpAddr(std::string_view text) : IpAddr(AddressText::parseWhole<IpAddr>(text, kTypeName, kWhat)) {}

IpAddr::IpAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon) : nbo_(hostToNetwork32(in->u32())) {}

Lumo::String IpAddr::stringValue() const {
  std::string out;
  AddressText::appendIp4(out, host());
  return Lumo::String(out);
}

uint32_t IpAddr::hash() const noexcept {
  Brek::HashMix h;
  h.mix(host());
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const IpAddr& addr) { return os << addr.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IpAddr& addr) {
  out.u32(addr.host());
  return out;
}

}  // namespace Pelix
