// The log form shared by the generic address and prefix: the family's code as one byte (0 none, 1 IPv4,
// 2 IPv6), then the value in that family's own form. Included by their implementations only.
#pragma once

#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>
#include <Vem/StreamBogon.h>

#include <cstdint>
#include <string>

namespace Pelix {

// A Gen read as its family's code and then a V4 or a V6 (none for code 0). Any other code is refused:
// `fromFamily` reads it as none, but in a record it can only mean corrupt bytes.
template <class Gen, class V4, class V6>
Gen readFamilyCoded(Vem::NboAttrLog::In* in, const char* typeName) {
  const uint8_t code = in->u8();
  switch (code) {
    case 0:
      return Gen();
    case 1:
      return Gen(V4(in, Vem::StreamBogon{}));
    case 2:
      return Gen(V6(in, Vem::StreamBogon{}));
    default:
      throw Vem::RangeException(std::string(typeName) + ": family code " + std::to_string(code) +
                                " in the attribute log");
  }
}

}  // namespace Pelix
