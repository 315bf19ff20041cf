#include <Pelix/IntegerValue.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>

#include <ostream>
#include <string>

namespace Pelix {

uint64_t parseDecimal(Vem::CharRange& text, uint64_t max, const char* typeName) {
  Vem::CharRange probe = text;
  const std::string_view rest = probe.rest();
  std::size_t n = 0;
  uint64_t v = 0;
  while (n < rest.size() && rest[n] >= '0' && rest[n] <= '9') {
    const unsigned d = static_cast<unsigned>(rest[n] - '0');
    if (v > (max - d) / 10) text.fail(std::string("number too large for ") + typeName);
    v = v * 10 + d;
    ++n;
  }
  if (n == 0) text.fail(std::string("expected a ") + typeName + " number");
  // One spelling per value: "007" is refused rather than read as 7.
  if (n > 1 && rest[0] == '0') text.fail(std::string(typeName) + ": a number has no leading zeros");
  text.advance(n);
  return v;
}

Lumo::String decimalString(uint64_t v) { return Lumo::String(std::to_string(v)); }

std::ostream& writeDecimal(std::ostream& os, uint64_t v) { return os << v; }

uint64_t readLogUnsigned(Vem::NboAttrLog::In* in, std::size_t bytes) {
  switch (bytes) {
    case 2:
      return in->u16();
    case 4:
      return in->u32();
    default:
      return in->u64();
  }
}

void writeLogUnsigned(Vem::NboAttrLog::Out& out, uint64_t v, std::size_t bytes) {
  switch (bytes) {
    case 2:
      out.u16(static_cast<uint16_t>(v));
      break;
    case 4:
      out.u32(static_cast<uint32_t>(v));
      break;
    default:
      out.u64(v);
      break;
  }
}

}  // namespace Pelix
