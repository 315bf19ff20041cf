#include <Pelix/IntfId.h>

#include <Brek/HashMix.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>
#include <Vem/TextForm.h>

#include <array>
#include <optional>
#include <ostream>
#include <string>

namespace Pelix {

namespace {

// Kind codes are part of the encoding: append, never reorder.
constexpr std::array<std::string_view, 15> kKinds = {
    "Ethernet", "Port-Channel", "Vlan", "Loopback", "Management", "Tunnel",     "Vxlan", "Recirc-Channel",
    "Switch",   "Fabric",       "Cpu",  "Dps",      "Null",       "Pseudowire", "Test"};
constexpr uint64_t kLiteralKind = 0xff;
constexpr std::size_t kLiteralMax = 7;

bool isNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '/' || c == '.' || c == ':';
}

// A decimal number without leading zeros, at most `max`.
std::optional<uint32_t> number(std::string_view& s, uint32_t max) {
  std::size_t n = 0;
  uint64_t v = 0;
  while (n < s.size() && s[n] >= '0' && s[n] <= '9') {
    v = v * 10 + static_cast<unsigned>(s[n] - '0');
    if (v > max) return std::nullopt;
    ++n;
  }
  if (n == 0 || (n > 1 && s[0] == '0')) return std::nullopt;
  s.remove_prefix(n);
  return static_cast<uint32_t>(v);
}

std::optional<uint64_t> encodeKnown(std::string_view name) {
  for (std::size_t k = 0; k < kKinds.size(); ++k) {
    if (name.substr(0, kKinds[k].size()) != kKinds[k]) continue;
    std::string_view rest = name.substr(kKinds[k].size());
    auto n1 = number(rest, 0xffff);
    if (!n1) continue;
    uint64_t n2 = 0, n3 = 0, sub = 0;
    if (!rest.empty() && rest[0] == '/') {
      rest.remove_prefix(1);
      auto v = number(rest, 254);
      if (!v) return std::nullopt;
      n2 = *v + 1;
      if (!rest.empty() && rest[0] == '/') {
        rest.remove_prefix(1);
        auto w = number(rest, 254);
        if (!w) return std::nullopt;
        n3 = *w + 1;
      }
    }
    if (!rest.empty() && rest[0] == '.') {
      rest.remove_prefix(1);
      auto v = number(rest, 0xfffffe);
      if (!v) return std::nullopt;
      sub = *v + 1;
    }
    if (!rest.empty()) return std::nullopt;
    return (uint64_t(k + 1) << 56) | (uint64_t(*n1) << 40) | (n2 << 32) | (n3 << 24) | sub;
  }
  return std::nullopt;
}

std::optional<uint64_t> encode(std::string_view name) {
  if (name.empty()) return 0;
  for (char c : name)
    if (!isNameChar(c)) return std::nullopt;
  if (auto known = encodeKnown(name)) return known;
  // A name that starts like a known kind but does not fit its number fields is refused rather than
  // stored literally, so that every id has exactly one spelling.
  for (std::string_view kind : kKinds)
    if (name.size() > kind.size() && name.substr(0, kind.size()) == kind && name[kind.size()] >= '0' &&
        name[kind.size()] <= '9')
      return std::nullopt;
  if (name.size() > kLiteralMax) return std::nullopt;
  uint64_t id = kLiteralKind << 56;
  for (std::size_t i = 0; i < name.size(); ++i) id |= uint64_t(static_cast<unsigned char>(name[i])) << (48 - 8 * i);
  return id;
}

[[noreturn]] void refuse(std::string_view name) {
  throw Vem::RangeException("Pelix::IntfId: '" + std::string(name) + "' is not an encodable interface name");
}

}  // namespace

IntfId::IntfId(std::string_view name) {
  auto id = encode(name);
  if (!id) refuse(name);
  id_ = *id;
}

IntfId::IntfId(Vem::CharRange& text) {
  Vem::CharRange probe = text;
  std::string_view token = Vem::parseToken(probe);
  auto id = encode(token);
  if (!id) refuse(token);
  id_ = *id;
  text = probe;
}

IntfId::IntfId(Vem::NboAttrLog::In* in, Vem::StreamBogon) : id_(in->u64()) {}

bool IntfId::isValidName(std::string_view name) noexcept { return encode(name).has_value(); }

Lumo::String IntfId::name() const {
  if (id_ == 0) return {};
  const uint64_t kind = id_ >> 56;
  char buf[64];
  std::size_t n = 0;
  if (kind == kLiteralKind) {
    for (int shift = 48; shift >= 0 && ((id_ >> shift) & 0xff) != 0; shift -= 8)
      buf[n++] = static_cast<char>((id_ >> shift) & 0xff);
    return Lumo::String(std::string_view(buf, n));
  }
  if (kind == 0 || kind > kKinds.size()) return Lumo::String("IntfId(" + std::to_string(id_) + ")");
  std::string out(kKinds[kind - 1]);
  out += std::to_string((id_ >> 40) & 0xffff);
  uint64_t n2 = (id_ >> 32) & 0xff, n3 = (id_ >> 24) & 0xff, sub = id_ & 0xffffff;
  if (n2) out += "/" + std::to_string(n2 - 1);
  if (n3) out += "/" + std::to_string(n3 - 1);
  if (sub) out += "." + std::to_string(sub - 1);
  return Lumo::String(out);
}

std::ostream& operator<<(std::ostream& os, const IntfId& id) { return os << id.name(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const IntfId& id) {
  out.u64(id.raw());
  return out;
}

}  // namespace Pelix
