// Hand-written operations of the VPLS pseudowire module that the definition language cannot declare:
// the state dump (its dump context is no type of the language) and the factory of the per-VLAN set
// (the generic interface builds entities from a name only).
#pragma once

#include <Orv/OrvVplsPwQuarnTypes.h>

#include <Brek/DumpContext.h>
#include <Lumo/Ptr.h>

#include <cstdint>

namespace Orv {

// Writes the three collections of `config` with their entry counts, each line indented by
// `indentCount` blanks (entries by two more); a line at indentation 0 starts in column 0. Entries come
// in the maps' iteration order. Changes nothing and takes no lock.
void dumpState(const HwVplsPwDecapConfig& config, const Lumo::Ptr<const Brek::DumpContext>& dumpCtx,
               uint32_t indentCount);

Lumo::Ptr<VplsVlanPwIntfSet> vplsVlanPwIntfSetFactory(const Bridging::VlanId& vlanId);

}  // namespace Orv
