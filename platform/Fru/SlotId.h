// Fru::SlotId: the number of the slot a field-replaceable unit sits in; 0 for fixed systems.
#pragma once

#include <Pelix/IntegerValue.h>

namespace Fru {

struct SlotIdTraits {
  using Raw = uint32_t;
  static constexpr const char* name = "Fru::SlotId";
  static constexpr Raw defaultValue = 0;
};
using SlotId = Pelix::IntegerValue<SlotIdTraits>;

}  // namespace Fru
