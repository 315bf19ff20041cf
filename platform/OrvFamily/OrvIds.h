// Numbers shared by the Orv family of type libraries: VRF ids (32 bits), hardware tunnel ids (32 bits),
// next-hop (FEC) indices (64 bits) and route version ids (64 bits, with an ordering of their own).
#pragma once

#include <Pelix/IntegerValue.h>

namespace Orv {

using VrfId = Pelix::IntegerValue<Pelix::NumberTraits<uint32_t, "Orv::VrfId">>;

using OrvTunnelId = Pelix::IntegerValue<Pelix::NumberTraits<uint32_t, "Orv::OrvTunnelId">>;

using NexthopIndex = Pelix::IntegerValue<Pelix::NumberTraits<uint64_t, "Orv::NexthopIndex">>;

// A route version id: a 63-bit version number and a flag in the top bit.
// Ordered by the low 63 bits as a number, then by the top bit, clear before set.
struct OrvPdVersionIdTraits {
  using Raw = uint64_t;
  static constexpr const char* name = "Orv::OrvPdVersionId";
  static constexpr Raw defaultValue = 0;
  static constexpr Raw topBit = Raw{1} << 63;
  static constexpr std::strong_ordering compare(Raw a, Raw b) noexcept {
    if (auto c = (a & ~topBit) <=> (b & ~topBit); c != 0) return c;
    return (a & topBit) <=> (b & topBit);
  }
};
using OrvPdVersionId = Pelix::IntegerValue<OrvPdVersionIdTraits>;

}  // namespace Orv
