// Numbers of the forwarding information base: a FEC (forwarding-equivalence-class) id, 64 bits, and a
// FIB table number, 16 bits.
#pragma once

#include <Pelix/IntegerValue.h>

namespace Drove::Fib {

struct FecIdTraits {
  using Raw = uint64_t;
  static constexpr const char* name = "Drove::Fib::FecId";
  static constexpr Raw defaultValue = 0;
};
using FecId = Pelix::IntegerValue<FecIdTraits>;

struct TableIdTraits {
  using Raw = uint16_t;
  static constexpr const char* name = "Drove::Fib::TableId";
  static constexpr Raw defaultValue = 0;
};
using TableId = Pelix::IntegerValue<TableIdTraits>;

}  // namespace Drove::Fib
