/// \file
/// Hashing services of the type system: the seeded accumulator behind every generated `hash(seed)`, the
/// process-wide seed of keyed collections, and the hash of a key that is a single integer or string.
#pragma once

#include <Brek/HashMix.h>
#include <Lumo/String.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

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
/// The hash of one string, computed on every lookup of a string key. A value held inline in its handle
/// (up to 15 bytes, most keys) is hashed from the handle's two words, with no branch on its length.
/// A longer one is hashed from its bytes, eight per multiply (the byte accumulator's four-byte rounds
/// cost twice as many steps), the length entering first and the last 9 to 16 bytes taken as two
/// overlapping words multiplied side by side; no byte past the string is read. Little-endian loads, as
/// the byte accumulator's. Every word gets a multiply of its own before the final mix: handed to the mix
/// directly, overlapping halves cancel in its 64-to-32 fold, and names that differ only in their last
/// digits ("Ethernet3/7") crowded into a few buckets (84 of 1000 in one). The long path is out of line,
/// so that the short one inlines into every lookup.
inline constexpr uint64_t kStringHashWord = 0x9e3779b97f4a7c15u;
inline constexpr uint64_t kStringHashLastWord = 0xd6e8feb86659fd93u;
uint32_t hashLongString(const Lumo::String& v, uint32_t seed) noexcept;
[[gnu::always_inline]] inline uint32_t hashSingleAttr(const Lumo::String& v, uint32_t seed) noexcept {
  if (v.onHeap()) [[unlikely]]
    return hashLongString(v, seed);
  // Short values, most keys: the handle's two words, each with a multiply of its own; the length is in
  // the second word's top byte. No branch on the length.
  const uint64_t first = ((uint64_t{seed} << 32) * kStringHashWord ^ v.inlineWord(0)) * kStringHashWord;
  const uint64_t last = v.inlineWord(1) * kStringHashLastWord;
  return hashSingleAttr(first ^ (last >> 32 | last << 32), seed);
}

}  // namespace Vem
