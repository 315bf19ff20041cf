#include <Brek/HashMix.h>
#include <Pelix/AddressText.h>
#include <Pelix/Ip6Addr.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::Ip6Addr";
constexpr const char* kWhat = "an IPv6 address";
}  // namespace

Ip6Addr::Ip6Addr(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  if (!AddressText::parseIp6(token, &bytes_)) AddressText::refuse(text, kTypeName, token, kWhat);
  text.advance(token.size());
}

Ip6Addr::Ip6Addr(std::string_view text) : Ip6Addr(AddressText::parseWhole<Ip6Addr>(text, kTypeName, kWhat)) {}

Ip6Addr::Ip6Addr(Vem::NboAttrLog::In* in, Vem::StreamBogon) {
  const std::string_view raw = in->bytes(16);
  for (std::size_t i = 0; i < 16; ++i) bytes_[i] = static_cast<uint8_t>(raw[i]);
}

Lumo::String Ip6Addr::stringValue() const {
  std::string out;
  AddressText::appendIp6(out, bytes_);
  return Lumo::String(out);
}

uint32_t Ip6Addr::hash() const noexcept {
  Brek::HashMix h;
  h.mixBytes(bytes_.data(), bytes_.size());
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const Ip6Addr& addr) { return os << addr.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Ip6Addr& addr) {
  out.bytes(addr.bytes().data(), 16);
  return out;
}

}  // namespace Pelix
