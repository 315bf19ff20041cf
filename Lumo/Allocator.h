#pragma once

#include <Lumo/ThreadControl.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

// Under AddressSanitizer the process-wide allocator hands every request to operator new, so that
// use-after-free and leaks of pooled objects are reported. SlabPool itself still runs (and is tested)
// there, with its free blocks poisoned. Build with -DLUMO_SLAB_BYPASS=0 or =1 to override.
#ifndef LUMO_SLAB_BYPASS
#if defined(__SANITIZE_ADDRESS__)
#define LUMO_SLAB_BYPASS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LUMO_SLAB_BYPASS 1
#endif
#endif
#endif
#ifndef LUMO_SLAB_BYPASS
#define LUMO_SLAB_BYPASS 0
#endif

namespace Lumo {

/// Exact-size block pool: requests are rounded up to a multiple of 8 and each size class keeps a LIFO
/// free list. Blocks are carved from 16 KiB slabs shared by all classes; the tail of a slab too short
/// for a request becomes a free block of its own size. Every block is 8-byte aligned on 32- and 64-bit
/// builds. Requests above kMaxBlockSize go straight to operator new. Free lists are guarded by a
/// spinlock only in thread-safe mode (ThreadControl::tsp_).
class SlabPool {
public:
  static constexpr std::size_t kGranule = 8;
  static constexpr std::size_t kMaxBlockSize = 1024;
  static constexpr std::size_t kSlabSize = 16 * 1024;

  /// Requests of at least this size, and slabs once the pool has grown past kHugeAfterSlabs, come from
  /// 2 MiB-aligned regions that the kernel is asked to back with huge pages: a large table's random
  /// probes then miss the TLB far less often. Small pools never take a whole region.
  static constexpr std::size_t kHugeRegion = 2 * 1024 * 1024;
  static constexpr std::size_t kHugeAfterSlabs = 64;

  constexpr SlabPool() noexcept = default;
  /// `hugeRegions`: carve slabs from huge-page regions once large. Such a pool never releases its slabs.
  explicit constexpr SlabPool(bool hugeRegions) noexcept : hugeRegions_(hugeRegions) {}
  SlabPool(const SlabPool&) = delete;
  SlabPool& operator=(const SlabPool&) = delete;

  void* allocate(std::size_t size);
  void deallocate(void* p, std::size_t size) noexcept;

  /// Hands every slab back to the system. Only when no block from this pool is in use, and never for
  /// a pool with huge regions (the process-wide pool).
  void releaseSlabs() noexcept;
  std::size_t slabCount() const noexcept { return slabCount_; }

  static constexpr std::size_t blockSize(std::size_t size) noexcept {
    return size == 0 ? kGranule : (size + kGranule - 1) & ~(kGranule - 1);
  }

private:
  struct FreeBlock {
    FreeBlock* next;
  };
  struct Slab {
    Slab* next;
    alignas(8) unsigned char bytes[kSlabSize - 8];
  };
  static constexpr std::size_t kClassCount = kMaxBlockSize / kGranule;
  static_assert(kHugeRegion % sizeof(Slab) == 0, "a huge region holds whole slabs");
  static std::size_t classOf(std::size_t blockBytes) noexcept { return blockBytes / kGranule - 1; }

  class Guard;
  void* carve(std::size_t blockBytes);
  void* newSlab();
  void push(void* p, std::size_t blockBytes) noexcept;

  FreeBlock* freeLists_[kClassCount] = {};
  unsigned char* bumpNext_ = nullptr;
  unsigned char* bumpEnd_ = nullptr;
  Slab* slabs_ = nullptr;  // keeps every slab reachable, so leak checkers do not flag them
  std::size_t slabCount_ = 0;
  unsigned char* regionNext_ = nullptr;  // slabs not yet handed out from the current huge region
  unsigned char* regionEnd_ = nullptr;
  bool hugeRegions_ = false;
  std::atomic_flag lock_;
};

/// The process-wide pool. Its memory is never returned to the system: freed blocks wait for reuse by
/// the same size class.
class SlabAllocator {
public:
  static constexpr bool kBypassesSlabs = LUMO_SLAB_BYPASS != 0;

  static void* allocate(std::size_t size);
  static void deallocate(void* p, std::size_t size) noexcept;
};

/// Per-type allocation counters. Generated classes hold one as a static and route their operator
/// new/delete through it. Each tracker links itself into a process-wide list when constructed, without
/// allocating, so a shell can list them all. The list head is a constant-initialised pointer, so
/// trackers constructed during any other static initialisation see a valid list.
class AllocationTracker {
public:
  /// A tracker with a null name counts but is not listed.
  explicit constexpr AllocationTracker(const char* typeName) noexcept : name_(typeName) {
    if (typeName != nullptr) link();
  }
  ~AllocationTracker();
  AllocationTracker(const AllocationTracker&) = delete;
  AllocationTracker& operator=(const AllocationTracker&) = delete;

  void* allocate(std::size_t size) {
    void* p = SlabAllocator::allocate(size);
    bump(allocated_);
    return p;
  }
  void deallocate(void* p, std::size_t size) noexcept {
    if (p == nullptr) return;
    SlabAllocator::deallocate(p, size);
    bump(freed_);
  }

  const char* name() const noexcept { return name_; }
  uint64_t allocated() const noexcept { return allocated_.load(std::memory_order_relaxed); }
  uint64_t freed() const noexcept { return freed_.load(std::memory_order_relaxed); }
  uint64_t live() const noexcept { return allocated() - freed(); }

  /// Visits the listed trackers, most recently constructed first. Not to be run while a library
  /// holding trackers is being loaded or unloaded.
  template <class Fn>
  static void forEach(Fn&& fn) {
    for (const AllocationTracker* t = head_; t != nullptr; t = t->next_) fn(*t);
  }
  static const AllocationTracker* find(const char* typeName) noexcept;

private:
  void link() noexcept;
  static void bump(std::atomic<uint64_t>& counter) noexcept {
    if (ThreadControl::tsp_) {
      counter.fetch_add(1, std::memory_order_relaxed);
    } else {
      // One thread only: a plain load and store, without the cost of a locked instruction.
      counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
  }

  static constinit inline AllocationTracker* head_ = nullptr;

  const char* name_;
  AllocationTracker* next_ = nullptr;
  std::atomic<uint64_t> allocated_{0};
  std::atomic<uint64_t> freed_{0};
};

}  // namespace Lumo
