#include <Orv/OrvEcmpLagTypes.h>

#include <Vem/Trace.h>

namespace OrvTypes {

namespace {
const Vem::TraceHelper trace("OrvEcmpLagTypes");

bool traced(bool result) {
  VEM_TRACE(trace, 3, "hasSameMember" << (result ? " return true " : " return false "));
  return result;
}
}  // namespace

// Compares slot by slot from this side: a slot the other entry lacks reads as the empty interface, so an
// empty member here matches a missing slot there when the counts agree.
bool EcmpLagConfigEntry::hasSameMember(const EcmpLagConfigEntry& entry) const {
  if (member_.size() != entry.member_.size()) return traced(false);
  for (auto it = member_.begin(); it.valid(); it.next()) {
    const Pelix::IntfId* other = entry.member_.find(it.key());
    if (it.value() != (other != nullptr ? *other : Pelix::IntfId())) return traced(false);
  }
  return traced(true);
}

}  // namespace OrvTypes
