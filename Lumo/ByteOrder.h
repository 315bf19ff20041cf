#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Lumo {

/// The low n bytes of v, most significant first (network byte order). Callers pass a constant n, so
/// the widths of a machine word become one byte-swapped store on a little-endian host instead of a
/// shift and a store per byte; other widths take the byte loop.
inline void putBigEndian(char* to, uint64_t v, std::size_t n) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    if (n == 2) {
      const uint16_t w = __builtin_bswap16(static_cast<uint16_t>(v));
      std::memcpy(to, &w, 2);
      return;
    }
    if (n == 4) {
      const uint32_t w = __builtin_bswap32(static_cast<uint32_t>(v));
      std::memcpy(to, &w, 4);
      return;
    }
    if (n == 8) {
      const uint64_t w = __builtin_bswap64(v);
      std::memcpy(to, &w, 8);
      return;
    }
  }
  for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<char>(v >> (8 * (n - 1 - i)));
}

/// The n bytes at p, most significant first; the reading side of putBigEndian.
inline uint64_t getBigEndian(const uint8_t* p, std::size_t n) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    if (n == 2) {
      uint16_t w;
      std::memcpy(&w, p, 2);
      return __builtin_bswap16(w);
    }
    if (n == 4) {
      uint32_t w;
      std::memcpy(&w, p, 4);
      return __builtin_bswap32(w);
    }
    if (n == 8) {
      uint64_t w;
      std::memcpy(&w, p, 8);
      return __builtin_bswap64(w);
    }
  }
  uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

}  // namespace Lumo
