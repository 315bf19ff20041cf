#include <Pelix/AddressText.h>
#include <Vem/CharRange.h>

namespace Pelix::AddressText {

namespace {

constexpr char kHex[] = "0123456789abcdef";

int hexDigit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isTokenChar(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '/' || c == '.' || c == ':';
}

// Splits off the text up to the first `sep` (or all of it).
std::string_view nextPart(std::string_view& text, char sep, bool* more) noexcept {
  const std::size_t cut = text.find(sep);
  std::string_view part = text.substr(0, cut);
  *more = cut != std::string_view::npos;
  text.remove_prefix(*more ? cut + 1 : text.size());
  return part;
}

// Hexadecimal groups separated by ':' (the dotted quad allowed last when `allowQuad`); appends to
// groups[*count]. An empty `text` is no groups.
bool parseGroups(std::string_view text, bool allowQuad, uint16_t* groups, int* count) noexcept {
  if (text.empty()) return true;
  bool more = true;
  while (more) {
    std::string_view part = nextPart(text, ':', &more);
    if (part.empty()) return false;
    if (part.find('.') != std::string_view::npos) {
      uint32_t v4 = 0;
      if (more || !allowQuad || *count > 6 || !parseIp4(part, &v4)) return false;
      groups[(*count)++] = static_cast<uint16_t>(v4 >> 16);
      groups[(*count)++] = static_cast<uint16_t>(v4);
      return true;
    }
    if (part.size() > 4 || *count >= 8) return false;
    unsigned v = 0;
    for (char c : part) {
      const int d = hexDigit(c);
      if (d < 0) return false;
      v = v << 4 | static_cast<unsigned>(d);
    }
    groups[(*count)++] = static_cast<uint16_t>(v);
  }
  return true;
}

}  // namespace

bool parseSmallDecimal(std::string_view text, unsigned max, unsigned* value) noexcept {
  if (text.empty() || text.size() > 10 || (text.size() > 1 && text[0] == '0')) return false;
  uint64_t v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<unsigned>(c - '0');
  }
  if (v > max) return false;
  *value = static_cast<unsigned>(v);
  return true;
}

bool parseIp4(std::string_view text, uint32_t* hostOrder) noexcept {
  uint32_t v = 0;
  bool more = true;
  for (int i = 0; i < 4; ++i) {
    if (!more) return false;
    unsigned octet = 0;
    if (!parseSmallDecimal(nextPart(text, '.', &more), 255, &octet)) return false;
    v = v << 8 | octet;
  }
  if (more) return false;
  *hostOrder = v;
  return true;
}

void appendIp4(std::string& out, uint32_t hostOrder) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    out += std::to_string((hostOrder >> shift) & 0xff);
    if (shift != 0) out += '.';
  }
}

bool parseIp6(std::string_view text, std::array<uint8_t, 16>* bytes) noexcept {
  uint16_t head[8], tail[8];
  int nHead = 0, nTail = 0;
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) {
    if (!parseGroups(text, true, head, &nHead) || nHead != 8) return false;
  } else {
    // At most one "::" (":::" counts as a second).
    if (text.find("::", gap + 1) != std::string_view::npos) return false;
    if (!parseGroups(text.substr(0, gap), false, head, &nHead) ||
        !parseGroups(text.substr(gap + 2), true, tail, &nTail) || nHead + nTail > 7)
      return false;
  }
  uint16_t groups[8] = {};
  for (int i = 0; i < nHead; ++i) groups[i] = head[i];
  for (int i = 0; i < nTail; ++i) groups[8 - nTail + i] = tail[i];
  for (int i = 0; i < 8; ++i) {
    (*bytes)[2 * i] = static_cast<uint8_t>(groups[i] >> 8);
    (*bytes)[2 * i + 1] = static_cast<uint8_t>(groups[i]);
  }
  return true;
}

void appendIp6(std::string& out, const std::array<uint8_t, 16>& bytes) {
  uint16_t g[8];
  for (int i = 0; i < 8; ++i) g[i] = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  if (g[0] == 0 && g[1] == 0 && g[2] == 0 && g[3] == 0 && g[4] == 0 && g[5] == 0xffff) {
    out += "::ffff:";
    appendIp4(out, uint32_t(g[6]) << 16 | g[7]);
    return;
  }
  int bestStart = -1, bestLen = 1;  // a single zero group is not shortened
  for (int i = 0; i < 8;) {
    if (g[i] != 0) {
      ++i;
      continue;
    }
    int j = i;
    while (j < 8 && g[j] == 0) ++j;
    if (j - i > bestLen) bestStart = i, bestLen = j - i;
    i = j;
  }
  for (int i = 0; i < 8; ++i) {
    if (i == bestStart) {
      out += "::";
      i += bestLen - 1;
      continue;
    }
    if (i != 0 && i != bestStart + bestLen) out += ':';
    char buf[4];
    int n = 0;
    for (int shift = 12; shift >= 0; shift -= 4)
      if (n != 0 || (g[i] >> shift) != 0 || shift == 0) buf[n++] = kHex[(g[i] >> shift) & 15];
    out.append(buf, static_cast<std::size_t>(n));
  }
}

bool parseMac(std::string_view text, std::array<uint8_t, 6>* bytes) noexcept {
  if (text.size() != 17) return false;
  for (int i = 0; i < 6; ++i) {
    const int hi = hexDigit(text[3 * i]), lo = hexDigit(text[3 * i + 1]);
    if (hi < 0 || lo < 0 || (i < 5 && text[3 * i + 2] != ':')) return false;
    (*bytes)[i] = static_cast<uint8_t>(hi << 4 | lo);
  }
  return true;
}

void appendMac(std::string& out, const std::array<uint8_t, 6>& bytes) {
  for (int i = 0; i < 6; ++i) {
    if (i != 0) out += ':';
    out += kHex[bytes[i] >> 4];
    out += kHex[bytes[i] & 15];
  }
}

std::string_view peekToken(const Vem::CharRange& text) noexcept {
  const std::string_view rest = text.rest();
  std::size_t n = 0;
  while (n < rest.size() && isTokenChar(rest[n])) ++n;
  return rest.substr(0, n);
}

void refuse(const Vem::CharRange& text, const char* typeName, std::string_view token, const char* what) {
  text.fail(std::string(typeName) + ": '" + std::string(token) + "' is not " + what);
}

}  // namespace Pelix::AddressText
