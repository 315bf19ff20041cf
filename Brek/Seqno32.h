#pragma once

#include <Brek/HashMix.h>

#include <cstdint>
#include <ostream>

namespace Brek {

/// A 32-bit sequence number that wraps. Ordering compares by signed distance, so a number just past the
/// wrap is still "after" one just before it. Two numbers exactly 2^31 apart are each "before" the other:
/// keep live numbers within half the range, and there is deliberately no operator<=>.
class Seqno32 {
public:
  constexpr Seqno32() noexcept = default;
  constexpr explicit Seqno32(uint32_t value) noexcept : value_(value) {}

  constexpr uint32_t value() const noexcept { return value_; }

  constexpr Seqno32& operator++() noexcept {
    ++value_;
    return *this;
  }
  constexpr Seqno32 operator++(int) noexcept {
    Seqno32 before = *this;
    ++value_;
    return before;
  }
  constexpr Seqno32& operator+=(uint32_t n) noexcept {
    value_ += n;
    return *this;
  }
  friend constexpr Seqno32 operator+(Seqno32 a, uint32_t n) noexcept { return a += n; }

  friend constexpr bool operator==(Seqno32, Seqno32) noexcept = default;
  friend constexpr bool operator<(Seqno32 a, Seqno32 b) noexcept {
    return static_cast<int32_t>(a.value_ - b.value_) < 0;
  }
  friend constexpr bool operator>(Seqno32 a, Seqno32 b) noexcept { return b < a; }
  friend constexpr bool operator<=(Seqno32 a, Seqno32 b) noexcept { return !(b < a); }
  friend constexpr bool operator>=(Seqno32 a, Seqno32 b) noexcept { return !(a < b); }

  friend std::ostream& operator<<(std::ostream& os, Seqno32 s) { return os << s.value_; }

  /// The number's 4 bytes through the byte-mixing accumulator.
  uint32_t hash() const noexcept {
    HashMix h;
    h.mix(value_);
    return h.result();
  }

private:
  uint32_t value_ = 0;
};

}  // namespace Brek
