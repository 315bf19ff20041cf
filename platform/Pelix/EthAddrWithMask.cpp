#include <Brek/HashMix.h>
#include <Pelix/AddressText.h>
#include <Pelix/EthAddrWithMask.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

EthAddrWithMask::EthAddrWithMask(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  const std::size_t slash = token.find('/');
  EthAddr::Bytes a{}, m{};
  if (slash == std::string_view::npos || !AddressText::parseMac(token.substr(0, slash), &a) ||
      !AddressText::parseMac(token.substr(slash + 1), &m))
    AddressText::refuse(text, "Pelix::EthAddrWithMask", token, "a MAC address and mask (address/mask)");
  addr_ = EthAddr(a);
  mask_ = EthAddr(m);
  text.advance(token.size());
}

EthAddrWithMask::EthAddrWithMask(Vem::NboAttrLog::In* in, Vem::StreamBogon)
    : addr_(in, Vem::StreamBogon{}), mask_(in, Vem::StreamBogon{}) {}

bool EthAddrWithMask::matches(const EthAddr& a) const noexcept {
  for (std::size_t i = 0; i < 6; ++i)
    if (((a.bytes()[i] ^ addr_.bytes()[i]) & mask_.bytes()[i]) != 0) return false;
  return true;
}

Lumo::String EthAddrWithMask::stringValue() const {
  std::string out;
  AddressText::appendMac(out, addr_.bytes());
  out += '/';
  AddressText::appendMac(out, mask_.bytes());
  return Lumo::String(out);
}

uint32_t EthAddrWithMask::hash() const noexcept {
  Brek::HashMix h;
  h.mixBytes(addr_.bytes().data(), 6);
  h.mixBytes(mask_.bytes().data(), 6);
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const EthAddrWithMask& v) { return os << v.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const EthAddrWithMask& v) {
  return out << v.addr() << v.mask();
}

}  // namespace Pelix
