#pragma once

#include <Lumo/ThreadControl.h>

#include <atomic>
#include <cassert>
#include <cstdint>

namespace Lumo {

/// Base of every reference-counted object. The count lives in one 32-bit word shared with two flag
/// bits: the count takes bits 0-28 and bit 31, flags take bits 29 and 30. Counting carries from bit 28
/// straight into bit 31 (and borrows back) without ever changing the flags. A new node has one user:
/// the pointer that created it. When the last user goes, lastUserGone() runs (by default it deletes).
class Node {
public:
  static constexpr uint32_t kUseCountMask = 0x9fffffff;
  static constexpr uint32_t kNodeFlag29 = 0x20000000;
  static constexpr uint32_t kNodeFlag30 = 0x40000000;

  Node() noexcept : word_(1) {}
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  virtual ~Node();

  virtual void lastUserGone();

  uint32_t useCount() const noexcept { return countOf(loadWord()); }
  uint32_t useCountWord() const noexcept { return loadWord(); }

  void useCountInc() const noexcept {
    if (ThreadControl::tsp_) {
      std::atomic_ref<uint32_t> word(word_);
      uint32_t w = word.load(std::memory_order_relaxed);
      while (!word.compare_exchange_weak(w, incremented(w), std::memory_order_relaxed)) {
      }
      return;
    }
    word_ = incremented(word_);
  }

  void useCountDec() const noexcept {
    uint32_t after;
    if (ThreadControl::tsp_) {
      std::atomic_ref<uint32_t> word(word_);
      uint32_t w = word.load(std::memory_order_relaxed);
      do {
        assert((w & kUseCountMask) != 0 && "use count underflow");
        after = decremented(w);
      } while (!word.compare_exchange_weak(w, after, std::memory_order_acq_rel,
                                           std::memory_order_relaxed));
    } else {
      assert((word_ & kUseCountMask) != 0 && "use count underflow");
      after = word_ = decremented(word_);
    }
    if ((after & kUseCountMask) == 0) const_cast<Node*>(this)->lastUserGone();
  }

  /// `bit` is kNodeFlag29, kNodeFlag30 or both.
  bool nodeFlag(uint32_t bit) const noexcept {
    assert((bit & ~kFlagBits) == 0);
    return (loadWord() & bit) != 0;
  }
  void nodeFlagIs(uint32_t bit, bool on) noexcept {
    assert((bit & ~kFlagBits) == 0);
    if (ThreadControl::tsp_) {
      std::atomic_ref<uint32_t> word(word_);
      if (on) {
        word.fetch_or(bit, std::memory_order_relaxed);
      } else {
        word.fetch_and(~bit, std::memory_order_relaxed);
      }
      return;
    }
    word_ = on ? (word_ | bit) : (word_ & ~bit);
  }

  /// The count arithmetic on a raw word, exposed for tests and for code that packs the same layout.
  static constexpr uint32_t countOf(uint32_t w) noexcept {
    return (w & 0x1fffffff) | ((w & 0x80000000) != 0 ? 0x20000000 : 0);
  }
  static constexpr uint32_t incremented(uint32_t w) noexcept {
    // Flags forced high let the carry out of bit 28 run through them into bit 31.
    return (((w | kFlagBits) + 1) & ~kFlagBits) | (w & kFlagBits);
  }
  static constexpr uint32_t decremented(uint32_t w) noexcept {
    // Flags forced low let the borrow from bit 31 run through them into bit 28.
    return (((w & ~kFlagBits) - 1) & ~kFlagBits) | (w & kFlagBits);
  }

private:
  static constexpr uint32_t kFlagBits = kNodeFlag29 | kNodeFlag30;

  uint32_t loadWord() const noexcept {
    if (ThreadControl::tsp_) return std::atomic_ref<uint32_t>(word_).load(std::memory_order_relaxed);
    return word_;
  }

  /// Plain member (not std::atomic) so a node is a vtable pointer plus one 32-bit word; atomic access
  /// goes through std::atomic_ref in thread-safe mode.
  mutable uint32_t word_;
};

}  // namespace Lumo
