// Fru::SlotId: the number of the slot a field-replaceable unit sits in; 0 for fixed systems.
#pragma once

#include <Pelix/IntegerValue.h>

namespace Fru {

using SlotId = Pelix::IntegerValue<Pelix::NumberTraits<uint32_t, "Fru::SlotId">>;

}  // namespace Fru
