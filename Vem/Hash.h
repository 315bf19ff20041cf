/// \file
/// Hashing services of the type system: the seeded accumulator behind every generated `hash(seed)`, the
/// process-wide seed of keyed collections, and the hash of a key that is a single integer or string.
#pragma once

#include <Brek/HashMix.h>
#include <Lumo/String.h>

#include <cstddef>
#include <cstdint>

namespace Vem {

class Hash {
 public:
  explicit Hash(uint32_t seed) noexcept : mix_(seed) {}
  void hashMix(uint8_t v) noexcept { mix_.mix(v); }
  void hashMix(uint16_t v) noexcept { mix_.mix(v); }
  void hashMix(uint32_t v) noexcept { mix_.mix(v); }
  void hashMix(uint64_t v) noexcept { mix_.mix(v); }
  /// Bytes and then their count, so that adjacent strings cannot trade bytes without changing the hash.
  void mixNi(const void* bytes, std::size_t n) noexcept {
    mix_.mixBytes(bytes, n);
    mix_.mix(static_cast<uint32_t>(n));
  }
  uint32_t result() const noexcept { return mix_.result(); }

 private:
  Brek::HashMix mix_;
};

struct HashHelper {
  /// Chosen once per process (random, so that a peer cannot aim keys at one bucket; the environment
  /// variable VEM_HASH_SEED fixes it for reproducible runs).
  static uint32_t hashSeed32() noexcept;
};

/// The hash of one integer: fold the high half onto the low one, one multiply, and the product's high
/// half. Integer keys are the busiest, and hashes are neither stored nor sent, so a short mixer beats
/// feeding the byte accumulator; every input bit still reaches every bit that selects a bucket or tag.
/// The arithmetic is fixed-width, so 32- and 64-bit builds agree.
inline uint32_t hashSingleAttr(uint64_t v, uint32_t seed) noexcept {
  uint64_t x = v + uint64_t{seed} * 0x9e3779b97f4a7c15u;
  x ^= x >> 32;
  x *= 0xd6e8feb86659fd93u;
  return static_cast<uint32_t>(x >> 32);
}
inline uint32_t hashSingleAttr(uint32_t v, uint32_t seed) noexcept { return hashSingleAttr(uint64_t{v}, seed); }
inline uint32_t hashSingleAttr(const Lumo::String& v, uint32_t seed) noexcept {
  Hash h(seed);
  h.mixNi(v.data(), v.size());
  return h.result();
}

}  // namespace Vem
