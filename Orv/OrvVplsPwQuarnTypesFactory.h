// The factory of the per-VLAN pseudowire set, written by hand: the generic interface builds entities
// from a name only, and this one is built from its VLAN.
#pragma once

#include <Orv/OrvVplsPwQuarnTypes.h>

#include <Lumo/Ptr.h>

namespace Orv {

Lumo::Ptr<VplsVlanPwIntfSet> vplsVlanPwIntfSetFactory(const Bridging::VlanId& vlanId);

}  // namespace Orv
