// Numbers of the tunnel library: a tunnel's 64-bit id in the tunnel table and the 16-bit priority with
// which a tunnel type gets hardware counters (lower number, higher priority).
#pragma once

#include <Pelix/IntegerValue.h>

namespace Tunnel {

namespace TunnelTable {
struct TunnelIdTraits {
  using Raw = uint64_t;
  static constexpr const char* name = "Tunnel::TunnelTable::TunnelId";
  static constexpr Raw defaultValue = 0;
};
using TunnelId = Pelix::IntegerValue<TunnelIdTraits>;
}  // namespace TunnelTable

struct TunnelCountersPriorityTraits {
  using Raw = uint16_t;
  static constexpr const char* name = "Tunnel::TunnelCountersPriority";
  static constexpr Raw defaultValue = 0;
};
using TunnelCountersPriority = Pelix::IntegerValue<TunnelCountersPriorityTraits>;

}  // namespace Tunnel
