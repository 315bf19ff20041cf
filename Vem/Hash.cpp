#include <Vem/Hash.h>

#include <cstdlib>
#include <random>

namespace Vem {

uint32_t HashHelper::hashSeed32() noexcept {
  static const uint32_t seed = [] {
    if (const char* fixed = std::getenv("VEM_HASH_SEED")) return static_cast<uint32_t>(std::strtoul(fixed, nullptr, 0));
    std::random_device rd;
    return static_cast<uint32_t>(rd());
  }();
  return seed;
}

}  // namespace Vem
