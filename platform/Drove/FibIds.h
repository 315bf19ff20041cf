// Numbers of the forwarding information base: a FEC (forwarding-equivalence-class) id, 64 bits, and a
// FIB table number, 16 bits.
#pragma once

#include <Pelix/IntegerValue.h>

namespace Drove::Fib {

using FecId = Pelix::IntegerValue<Pelix::NumberTraits<uint64_t, "Drove::Fib::FecId">>;

using TableId = Pelix::IntegerValue<Pelix::NumberTraits<uint16_t, "Drove::Fib::TableId">>;

}  // namespace Drove::Fib
