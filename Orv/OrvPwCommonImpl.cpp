#include <Orv/OrvPwCommon.h>

#include <Brek/HashMix.h>
#include <Vem/Hash.h>

namespace OrvPw {

bool LocalConnectorInfo::isPortConnector() const { return dot1qTag().isAny() && intVlanId().isAny(); }

// Identifies the circuit: the sub-interface and the hardware's FEC index are left out on purpose, so a
// circuit keeps its hash while the hardware reprograms it.
uint32_t LocalConnectorInfo::hash() const {
  Brek::HashMix h(0);
  h.mix(static_cast<uint32_t>(intfId().hash()));
  h.mix(Vem::hashSingleAttr(uint32_t{dot1qTag().value()}, 0));
  h.mix(Vem::hashSingleAttr(uint32_t{dot1qTagInner().value()}, 0));
  h.mix(Vem::hashSingleAttr(uint32_t{intVlanId().value()}, 0));
  h.mix(static_cast<uint8_t>(isLag()));
  h.mix(static_cast<uint8_t>(isLagMember()));
  return h.result();
}

}  // namespace OrvPw
