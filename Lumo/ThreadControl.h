#pragma once

namespace Lumo {

/// The process-wide thread-safe-mode switch. When tsp_ is set, use counts (nodes and strings),
/// allocator free lists and allocation counters are updated with atomic operations; otherwise plainly,
/// which is cheaper. Set it once, before a second thread can touch shared objects.
struct ThreadControl {
  static bool tsp_;
};

}  // namespace Lumo
