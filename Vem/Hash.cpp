#include <Vem/Hash.h>

#include <cstdlib>
#include <cstring>
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

uint32_t hashLongString(const Lumo::String& v, uint32_t seed) noexcept {
  constexpr uint64_t k = kStringHashWord;
  constexpr uint64_t kLast = kStringHashLastWord;
  const auto* p = reinterpret_cast<const unsigned char*>(v.data());
  std::size_t n = v.size();
  const auto load = [](const unsigned char* b, auto word) noexcept {
    std::memcpy(&word, b, sizeof word);
    return uint64_t{word};
  };
  uint64_t h = (uint64_t{seed} << 32 | static_cast<uint32_t>(n)) * k;
  if (n > 8) {
    for (; n > 16; n -= 8, p += 8) {
      h = (h ^ load(p, uint64_t{})) * k;
      h ^= h >> 29;
    }
    const uint64_t first = (h ^ load(p, uint64_t{})) * k;
    const uint64_t last = load(p + n - 8, uint64_t{}) * kLast;
    h = first ^ (last >> 32 | last << 32);
  } else {
    uint64_t tail = 0;
    if (n >= 4)
      tail = load(p, uint32_t{}) | load(p + n - 4, uint32_t{}) << 32;
    else if (n != 0)
      tail = uint64_t{p[0]} | uint64_t{p[n / 2]} << 8 | uint64_t{p[n - 1]} << 16;
    h = (h ^ tail) * k;
  }
  return hashSingleAttr(h, seed);
}

}  // namespace Vem
