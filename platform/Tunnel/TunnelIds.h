// Numbers of the tunnel library: a tunnel's 64-bit id in the tunnel table and the 16-bit priority with
// which a tunnel type gets hardware counters (lower number, higher priority).
#pragma once

#include <Pelix/IntegerValue.h>

namespace Tunnel {

namespace TunnelTable {
using TunnelId = Pelix::IntegerValue<Pelix::NumberTraits<uint64_t, "Tunnel::TunnelTable::TunnelId">>;
}  // namespace TunnelTable

using TunnelCountersPriority = Pelix::IntegerValue<Pelix::NumberTraits<uint16_t, "Tunnel::TunnelCountersPriority">>;

}  // namespace Tunnel
