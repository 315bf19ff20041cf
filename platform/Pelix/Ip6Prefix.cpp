#include <Pelix/AddressText.h>
#include <Pelix/Ip6Prefix.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {
constexpr const char* kTypeName = "Pelix::Ip6Prefix";
constexpr const char* kWhat = "an IPv6 prefix (address/length)";
}  // namespace

Ip6Prefix::Ip6Prefix(const Ip6Addr& addr, unsigned length) : addr_(addr) {
  if (length > maxLength) throw Vem::RangeException("Pelix::Ip6Prefix::length > 128 not allowed");
  length_ = static_cast<uint8_t>(length);
}

Ip6Prefix::Ip6Prefix(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  const std::size_t slash = token.find('/');
  Ip6Addr::Bytes bytes{};
  unsigned length = 0;
  if (slash == std::string_view::npos || !AddressText::parseIp6(token.substr(0, slash), &bytes) ||
      !AddressText::parseSmallDecimal(token.substr(slash + 1), maxLength, &length))
    AddressText::refuse(text, kTypeName, token, kWhat);
  addr_ = Ip6Addr(bytes);
  length_ = static_cast<uint8_t>(length);
  text.advance(token.size());
}

Ip6Prefix::Ip6Prefix(std::string_view text) : Ip6Prefix(AddressText::parseWhole<Ip6Prefix>(text, kTypeName, kWhat)) {}

Ip6Prefix::Ip6Prefix(Vem::NboAttrLog::In* in, Vem::StreamBogon) {
  const Ip6Addr addr(in, Vem::StreamBogon{});
  *this = Ip6Prefix(addr, in->u8());
}

Ip6Prefix Ip6Prefix::masked() const noexcept {
  Ip6Addr::Bytes b = addr_.bytes();
  for (unsigned i = 0; i < 16; ++i) {
    const unsigned kept = length_ > 8 * i ? length_ - 8 * i : 0;
    if (kept < 8) b[i] &= static_cast<uint8_t>(0xff << (8 - kept));
  }
  Ip6Prefix p;
  p.addr_ = Ip6Addr(b);
  p.length_ = length_;
  return p;
}

bool Ip6Prefix::contains(const Ip6Addr& a) const noexcept {
  return comparePrefixBits(a.bytes().data(), addr_.bytes().data(), 16, length_) == 0;
}

std::strong_ordering operator<=>(const Ip6Prefix& a, const Ip6Prefix& b) noexcept {
  const unsigned k = a.length_ < b.length_ ? a.length_ : b.length_;
  if (const int c = comparePrefixBits(a.addr_.bytes().data(), b.addr_.bytes().data(), 16, k); c != 0)
    return c < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
  if (a.length_ != b.length_) return a.length_ > b.length_ ? std::strong_ordering::less : std::strong_ordering::greater;
  return a.addr_ <=> b.addr_;
}

Lumo::String Ip6Prefix::stringValue() const {
  std::string out;
  AddressText::appendIp6(out, addr_.bytes());
  out += '/';
  out += std::to_string(length_);
  return Lumo::String(out);
}

std::ostream& operator<<(std::ostream& os, const Ip6Prefix& p) { return os << p.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Ip6Prefix& p) {
  out << p.addr();
  out.u8(p.length());
  return out;
}

}  // namespace Pelix
