// Vrf::VrfIdMap::VrfId: the platform's 32-bit VRF id, as the VRF id map hands them out (0 is the
// default VRF).
#pragma once

#include <Pelix/IntegerValue.h>

namespace Vrf::VrfIdMap {

using VrfId = Pelix::IntegerValue<Pelix::NumberTraits<uint32_t, "Vrf::VrfIdMap::VrfId">>;

}  // namespace Vrf::VrfIdMap
