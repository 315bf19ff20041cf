#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Brek {

/// A 32-bit hash accumulator fed byte by byte.
///
/// Integers are fed as their little-endian bytes (their memory order on our targets): mix(uint16_t)
/// feeds 2 bytes, mix(uint64_t) 8. The accumulator is a pure byte stream: any split of the same byte
/// sequence into mix() and mixBytes() calls gives the same result, so a key's hash does not depend on
/// how its fields were chunked. Each complete 4-byte word gets one multiply-rotate round; result()
/// folds in the pending tail bytes and the total length, then avalanches. Only fixed-width arithmetic
/// is used, so 32- and 64-bit builds agree bit for bit. The length is counted modulo 2^32.
class HashMix {
public:
  explicit HashMix(uint32_t seed = 0) noexcept : hash_(seed) {}

  void mix(uint8_t v) noexcept { feed(v, 1); }
  void mix(uint16_t v) noexcept { feed(v, 2); }
  void mix(uint32_t v) noexcept { feed(v, 4); }
  void mix(uint64_t v) noexcept {
    feed(static_cast<uint32_t>(v), 4);
    feed(static_cast<uint32_t>(v >> 32), 4);
  }

  void mixBytes(const void* p, std::size_t n) noexcept {
    auto b = static_cast<const uint8_t*>(p);
    for (; n != 0 && (length_ & 3) != 0; --n) feed(*b++, 1);
    for (; n >= 4; n -= 4, b += 4) {
      round(load32le(b));
      length_ += 4;
    }
    for (; n != 0; --n) feed(*b++, 1);
  }

  uint32_t result() const noexcept {
    uint32_t h = hash_;
    if ((length_ & 3) != 0) h ^= scramble(pending_);
    h ^= length_;
    h ^= h >> 16;
    h *= 0x85ebca6bu;
    h ^= h >> 13;
    h *= 0xc2b2ae35u;
    h ^= h >> 16;
    return h;
  }

private:
  static uint32_t scramble(uint32_t k) noexcept {
    k *= 0xcc9e2d51u;
    k = std::rotl(k, 15);
    return k * 0x1b873593u;
  }

  void round(uint32_t word) noexcept {
    hash_ ^= scramble(word);
    hash_ = std::rotl(hash_, 13);
    hash_ = hash_ * 5 + 0xe6546b64u;
  }

  /// Appends the low `bytes` (1..4) bytes of v; v has no bits above them.
  void feed(uint32_t v, uint32_t bytes) noexcept {
    const uint32_t have = length_ & 3;
    length_ += bytes;
    const uint32_t word = pending_ | (v << (8 * have));
    if (have + bytes < 4) {
      pending_ = word;
      return;
    }
    round(word);
    pending_ = have == 0 ? 0 : v >> (8 * (4 - have));
  }

  static uint32_t load32le(const uint8_t* b) noexcept {
    uint32_t v;
    std::memcpy(&v, b, 4);
    if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
    return v;
  }

  uint32_t hash_;
  uint32_t pending_ = 0;  // tail bytes not yet making a word, little-endian
  uint32_t length_ = 0;   // bytes fed so far; its low 2 bits count the pending ones
};

}  // namespace Brek
