#include <Pelix/AddressText.h>
#include <Pelix/Prefix.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>

#include <ostream>
#include <string>

namespace Pelix {

namespace {

constexpr const char* kTypeName = "Pelix::Prefix";
constexpr const char* kWhat = "an IPv4 prefix (address/length) or none";

constexpr uint32_t networkMask(unsigned length) noexcept { return length == 0 ? 0 : ~uint32_t{0} << (32 - length); }

[[noreturn]] void refuseInvalid() { throw Vem::RangeException("Pelix::Prefix::validAsPrefix != true not allowed"); }

}  // namespace

int comparePrefixBits(const uint8_t* a, const uint8_t* b, std::size_t size, unsigned k) noexcept {
  for (std::size_t i = 0; i < size && k > 0; ++i, k = k > 8 ? k - 8 : 0) {
    const uint8_t mask = k >= 8 ? 0xff : static_cast<uint8_t>(0xff << (8 - k));
    const unsigned x = a[i] & mask, y = b[i] & mask;
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

bool Prefix::validAsPrefix(IpAddr addr, unsigned length) noexcept {
  if (length == nullLength) return true;
  return length <= 32 && (addr.host() & ~networkMask(length)) == 0;
}

Prefix::Prefix(IpAddr addr, unsigned length) {
  if (!validAsPrefix(addr, length)) refuseInvalid();
  if (length != nullLength) addr_ = addr;
  length_ = static_cast<uint8_t>(length);
}

Prefix Prefix::covering(IpAddr addr, unsigned length) {
  if (length > 32) refuseInvalid();
  return Prefix(IpAddr::fromHost(addr.host() & networkMask(length)), length);
}

Prefix::Prefix(Vem::CharRange& text) {
  const std::string_view token = AddressText::peekToken(text);
  if (token == "none") {
    *this = null();
  } else {
    const std::size_t slash = token.find('/');
    uint32_t host = 0;
    unsigned length = 0;
    if (slash == std::string_view::npos || !AddressText::parseIp4(token.substr(0, slash), &host) ||
        !AddressText::parseSmallDecimal(token.substr(slash + 1), 32, &length))
      AddressText::refuse(text, kTypeName, token, kWhat);
    *this = Prefix(IpAddr::fromHost(host), length);
  }
  text.advance(token.size());
}

Prefix::Prefix(std::string_view text) : Prefix(AddressText::parseWhole<Prefix>(text, kTypeName, kWhat)) {}

Prefix::Prefix(Vem::NboAttrLog::In* in, Vem::StreamBogon) {
  const IpAddr addr(in, Vem::StreamBogon{});
  const uint8_t length = in->u8();
  *this = Prefix(addr, length);
}

bool Prefix::contains(IpAddr a) const noexcept {
  return !isNull() && ((a.host() ^ addr_.host()) & networkMask(length_)) == 0;
}

std::strong_ordering operator<=>(Prefix a, Prefix b) noexcept {
  const uint32_t x = a.addr_.host(), y = b.addr_.host();
  const unsigned k = a.length_ < b.length_ ? a.length_ : b.length_;
  if (k != 0) {
    const uint32_t mask = networkMask(k > 32 ? 32 : k);
    if (((x ^ y) & mask) != 0) return x < y ? std::strong_ordering::less : std::strong_ordering::greater;
  }
  // Nested (or k = 0): the longer prefix first.
  if (a.length_ != b.length_) return a.length_ > b.length_ ? std::strong_ordering::less : std::strong_ordering::greater;
  return x <=> y;
}

Lumo::String Prefix::stringValue() const {
  if (isNull()) return Lumo::String("none");
  std::string out;
  AddressText::appendIp4(out, addr_.host());
  out += '/';
  out += std::to_string(length_);
  return Lumo::String(out);
}

std::ostream& operator<<(std::ostream& os, const Prefix& p) { return os << p.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const Prefix& p) {
  out << p.addr();
  out.u8(p.length());
  return out;
}

}  // namespace Pelix
