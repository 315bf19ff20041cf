#include <Brek/HashMix.h>
#include <Pelix/AddressText.h>
#include <Pelix/EthAddr.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::EthAddr";
constexpr const char* kWhat = "a MAC address (six hexadecimal pairs separated by colons)";
}  // namespace

EthAddr::EthAddr(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  if (!AddressText::parseMac(token, &bytes_)) AddressText::refuse(text, kTypeName, token, kWhat);
  text.advance(token.size());
}

EthAddr::EthAddr(std::string_view text) : EthAddr(AddressText::parseWhole<EthAddr>(text, kTypeName, kWhat)) {}

EthAddr::EthAddr(Vem::NboAttrLog::In* in, Vem::StreamBogon) {
  const std::string_view raw = in->bytes(6);
  for (std::size_t i = 0; i < 6; ++i) bytes_[i] = static_cast<uint8_t>(raw[i]);
}

Lumo::String EthAddr::displayString() const {
  std::string out;
  AddressText::appendMac(out, bytes_);
  return Lumo::String(out);
}

uint32_t EthAddr::hash() const noexcept {
  Brek::HashMix h;
  h.mixBytes(bytes_.data(), bytes_.size());
  return h.result();
}

std::ostream& operator<<(std::ostream& os, const EthAddr& addr) {
  std::string out;
  AddressText::appendMac(out, addr.bytes());
  return os << out;
}

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const EthAddr& addr) {
  out.bytes(addr.bytes().data(), 6);
  return out;
}

}  // namespace Pelix
