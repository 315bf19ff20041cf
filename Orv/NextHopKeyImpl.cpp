#include <Orv/NextHopKey.h>

#include <Vem/Hash.h>

namespace Orv {

// The address storage hashes as an IPv6 address whatever the family, as in the keys that hold one.
uint32_t NextHopKey::hash(uint32_t seed) const noexcept {
  Vem::Hash h(seed);
  h.hashMix(intfId_.hash());
  h.hashMix(addr_.storageAsIp6().hash());
  return h.result();
}

}  // namespace Orv
