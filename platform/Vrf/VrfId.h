// Vrf::VrfIdMap::VrfId: the platform's 32-bit VRF id, as the VRF id map hands them out (0 is the
// default VRF).
#pragma once

#include <Pelix/IntegerValue.h>

namespace Vrf::VrfIdMap {

struct VrfIdTraits {
  using Raw = uint32_t;
  static constexpr const char* name = "Vrf::VrfIdMap::VrfId";
  static constexpr Raw defaultValue = 0;
};
using VrfId = Pelix::IntegerValue<VrfIdTraits>;

}  // namespace Vrf::VrfIdMap
