#include <Vem/TextForm.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Vem {

void throwBoundViolation(const char* typeName, const char* field, const char* failedComparison, const char* bound) {
  throw RangeException(std::string(typeName) + "::" + field + " " + failedComparison + " " + bound + " not allowed");
}

void rethrowFromDeserializeAttr(const RangeException& inner, const char* fieldName) {
  throw RangeException(std::string(fieldName) + ": " + inner.what());
}

void throwNoStringConstructor(const char* typeName) {
  throw RangeException(std::string("No String constructor for ") + typeName + " - has collection");
}

void CharRange::expect(std::string_view literal) {
  if (!consume(literal)) fail("expected '" + std::string(literal) + "'");
}

void CharRange::fail(std::string_view what) const {
  throw RangeException(std::string(what) + " at offset " + std::to_string(offset()));
}

namespace {

constexpr char kHex[] = "0123456789abcdef";

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isTokenChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '/' || c == '.' || c == ':';
}

}  // namespace

void writeQuoted(std::ostream& os, std::string_view bytes) {
  os << '"';
  for (unsigned char c : bytes) {
    switch (c) {
      case '"': os << "\\\""; break;
      case '\\': os << "\\\\"; break;
      case '\n': os << "\\n"; break;
      case '\t': os << "\\t"; break;
      case '\r': os << "\\r"; break;
      default:
        if (c < 0x20 || c >= 0x7f)
          os << "\\x" << kHex[c >> 4] << kHex[c & 15];
        else
          os << static_cast<char>(c);
    }
  }
  os << '"';
}

Lumo::String parseQuoted(CharRange& in) {
  if (!in.consume("\"")) in.fail("expected '\"' opening a string");
  std::string out;
  for (;;) {
    if (in.atEnd()) in.fail("unterminated string");
    char c = in.next();
    if (c == '"') break;
    if (c != '\\') {
      out.push_back(c);
      continue;
    }
    if (in.atEnd()) in.fail("unterminated escape");
    char e = in.next();
    switch (e) {
      case '"': out.push_back('"'); break;
      case '\\': out.push_back('\\'); break;
      case 'n': out.push_back('\n'); break;
      case 't': out.push_back('\t'); break;
      case 'r': out.push_back('\r'); break;
      case 'x': {
        int hi = hexDigit(in.peek());
        if (hi < 0) in.fail("bad \\x escape");
        in.next();
        int lo = hexDigit(in.peek());
        if (lo < 0) in.fail("bad \\x escape");
        in.next();
        out.push_back(static_cast<char>(hi << 4 | lo));
        break;
      }
      default: in.fail("unknown escape");
    }
  }
  return Lumo::String(out);
}

uint64_t parseUnsigned(CharRange& in, uint64_t max, const char* typeName) {
  if (in.peek() < '0' || in.peek() > '9') in.fail(std::string("expected a ") + typeName + " number");
  uint64_t v = 0;
  while (in.peek() >= '0' && in.peek() <= '9') {
    unsigned d = static_cast<unsigned>(in.next() - '0');
    if (v > (max - d) / 10) in.fail(std::string("number too large for ") + typeName);
    v = v * 10 + d;
  }
  return v;
}

int64_t parseSigned(CharRange& in, int64_t min, int64_t max, const char* typeName) {
  bool negative = in.consume("-");
  uint64_t limit = negative ? static_cast<uint64_t>(-(min + 1)) + 1 : static_cast<uint64_t>(max);
  uint64_t magnitude = parseUnsigned(in, limit, typeName);
  return negative ? static_cast<int64_t>(0 - magnitude) : static_cast<int64_t>(magnitude);
}

bool parseBool(CharRange& in) {
  if (in.consume("true")) return true;
  if (in.consume("false")) return false;
  in.fail("expected true or false");
}

void writeDouble(std::ostream& os, double v) {
  if (std::isnan(v)) {
    os << "nan";
    return;
  }
  if (std::isinf(v)) {
    os << (v < 0 ? "-inf" : "inf");
    return;
  }
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  os << buf;
}

double parseDouble(CharRange& in) {
  if (in.consume("nan")) return std::nan("");
  if (in.consume("inf")) return HUGE_VAL;
  if (in.consume("-inf")) return -HUGE_VAL;
  // Copy the longest run that can belong to a number: strtod must not read past the range.
  char buf[64];
  std::size_t n = 0;
  std::string_view rest = in.rest();
  while (n < rest.size() && n < sizeof buf - 1 && std::strchr("0123456789+-.eE", rest[n]) != nullptr && rest[n] != '\0')
    buf[n] = rest[n], ++n;
  buf[n] = '\0';
  char* end = nullptr;
  errno = 0;
  double v = std::strtod(buf, &end);
  if (end == buf) in.fail("expected a number");
  if (errno == ERANGE && std::isinf(v)) in.fail("number out of range");
  in.advance(static_cast<std::size_t>(end - buf));
  return v;
}

std::string_view parseToken(CharRange& in) {
  std::string_view rest = in.rest();
  std::size_t n = 0;
  while (n < rest.size() && isTokenChar(rest[n])) ++n;
  in.advance(n);
  return rest.substr(0, n);
}

void needPre(CharRange& in, std::string_view typeName, std::string_view fieldName) {
  if (!in.consume(typeName)) in.fail("expected '" + std::string(typeName) + "'");
  in.expect("(");
  if (!in.consume(fieldName)) in.fail("expected field '" + std::string(fieldName) + "'");
  in.expect("=");
}

void needSep(CharRange& in, std::string_view fieldName) {
  in.expect(", ");
  if (!in.consume(fieldName)) in.fail("expected field '" + std::string(fieldName) + "'");
  in.expect("=");
}

void needPost(CharRange& in) { in.expect(")"); }

void needEmpty(CharRange& in, std::string_view typeName) {
  if (!in.consume(typeName)) in.fail("expected '" + std::string(typeName) + "'");
  in.expect("()");
}

}  // namespace Vem
