// The MAC table entry's address and VLAN are read from its key, so they can never disagree with it.
#include <Orv/OrvL2QuarnTypes.h>

namespace OrvTypes {

Pelix::EthAddr MacAddressTableEntry::macaddr() const { return key_.addr(); }

uint32_t MacAddressTableEntry::vlanId() const { return key_.vlanId().value(); }

}  // namespace OrvTypes
