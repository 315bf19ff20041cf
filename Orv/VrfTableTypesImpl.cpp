#include <Orv/VrfTableTypes.h>

namespace Orv {

// Every VRF is programmed into FIB table 0, so the map from name to table holds no entries of its own:
// a lookup answers 0 for any name, and setting or deleting an entry adds or removes the name.
Drove::Fib::TableId VrfTableStatus::vrfNameToFibTableId(const L3::VrfName&) const { return Drove::Fib::TableId(0); }

void VrfTableStatus::vrfNameToFibTableIdIs(const L3::VrfName& key, const Drove::Fib::TableId&) { vrfNameIs(key); }

Drove::Fib::TableId VrfTableStatus::vrfNameToFibTableIdDel(const L3::VrfName& key) {
  vrfNameDel(key);
  return Drove::Fib::TableId(0);
}

Drove::Fib::TableId VrfTableStatus::getDefaultVrfTableId() const { return Drove::Fib::TableId(0); }

}  // namespace Orv
