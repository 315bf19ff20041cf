#include <Lumo/Allocator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace {

using Lumo::AllocationTracker;
using Lumo::SlabAllocator;
using Lumo::SlabPool;

bool aligned8(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 8 == 0; }

// A pool that hands its slabs back when the test ends.
struct ScopedPool : SlabPool {
  ~ScopedPool() { releaseSlabs(); }
};

TEST(SlabPool, ReusesTheLastFreedBlockOfTheSameClassOnly) {
  ScopedPool pool;
  void* a = pool.allocate(24);
  void* b = pool.allocate(20);  // rounds to the same 24-byte class
  pool.deallocate(a, 24);
  pool.deallocate(b, 20);
  EXPECT_EQ(pool.allocate(17), b);
  EXPECT_EQ(pool.allocate(24), a);

  void* small = pool.allocate(8);
  pool.deallocate(small, 8);
  EXPECT_NE(pool.allocate(16), small);
  EXPECT_EQ(pool.allocate(0), small);  // size 0 is served from the smallest class
}

TEST(SlabPool, BlocksAcrossManySlabsAreAlignedAndDisjoint) {
  ScopedPool pool;
  std::vector<std::pair<unsigned char*, std::size_t>> blocks;
  std::size_t total = 0;
  for (std::size_t i = 0; total < 5 * SlabPool::kSlabSize; ++i) {
    const std::size_t size = 1 + (i * 37) % SlabPool::kMaxBlockSize;
    auto p = static_cast<unsigned char*>(pool.allocate(size));
    ASSERT_TRUE(aligned8(p)) << size;
    std::memset(p, static_cast<int>(i & 0xff), size);
    blocks.emplace_back(p, size);
    total += size;
  }
  EXPECT_GE(pool.slabCount(), 5u);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const auto [p, size] = blocks[i];
    ASSERT_TRUE(std::all_of(p, p + size, [i](unsigned char c) { return c == (i & 0xff); }))
        << "block " << i << " was overwritten";
  }
  auto sorted = blocks;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 1; i < sorted.size(); ++i)
    ASSERT_LE(sorted[i - 1].first + sorted[i - 1].second, sorted[i].first);
  for (auto [p, size] : blocks) pool.deallocate(p, size);
}

TEST(SlabPool, LargeRequestsBypassTheSlabsAndSlabTailsAreNotLost) {
  ScopedPool pool;
  void* large = pool.allocate(SlabPool::kMaxBlockSize + 1);
  EXPECT_TRUE(aligned8(large));
  EXPECT_EQ(pool.slabCount(), 0u);
  pool.deallocate(large, SlabPool::kMaxBlockSize + 1);

  // 15 blocks of 1 KiB leave a tail shorter than 1 KiB in the first slab; it serves that size later.
  std::vector<void*> big;
  while (pool.slabCount() < 2) big.push_back(pool.allocate(SlabPool::kMaxBlockSize));
  const std::size_t tail = (SlabPool::kSlabSize - 8) % SlabPool::kMaxBlockSize;
  ASSERT_GT(tail, 0u);
  void* fromTail = pool.allocate(tail);
  EXPECT_EQ(pool.slabCount(), 2u);
  EXPECT_EQ(static_cast<unsigned char*>(fromTail),
            static_cast<unsigned char*>(big[big.size() - 2]) + SlabPool::kMaxBlockSize);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(SlabPool, FreeAndRoundingBytesArePoisoned) {
  ScopedPool pool;
  auto p = static_cast<char*>(pool.allocate(12));
  EXPECT_FALSE(__asan_address_is_poisoned(p + 11));
  EXPECT_TRUE(__asan_address_is_poisoned(p + 12));  // rounded up to 16, but not asked for
  EXPECT_TRUE(__asan_address_is_poisoned(p + 16));  // not carved yet
  pool.deallocate(p, 12);
  EXPECT_TRUE(__asan_address_is_poisoned(p));
  EXPECT_EQ(pool.allocate(9), p);
  EXPECT_FALSE(__asan_address_is_poisoned(p + 8));
  EXPECT_TRUE(__asan_address_is_poisoned(p + 9));
}
#endif

TEST(SlabPool, ThreadSafeModeKeepsBlocksExclusive) {
  const bool saved = Lumo::ThreadControl::tsp_;
  Lumo::ThreadControl::tsp_ = true;
  {
    ScopedPool pool;
    std::vector<std::thread> workers;
    std::vector<int> corrupt(4);
    for (int t = 0; t < 4; ++t) {
      workers.emplace_back([&pool, &corrupt, t] {
        for (int i = 0; i < 5000; ++i) {
          auto p = static_cast<int*>(pool.allocate(sizeof(int) * 4));
          std::fill(p, p + 4, t);
          if (std::any_of(p, p + 4, [t](int v) { return v != t; })) ++corrupt[t];
          if (i % 3 != 0) pool.deallocate(p, sizeof(int) * 4);
        }
      });
    }
    for (auto& w : workers) w.join();
    EXPECT_EQ(corrupt, std::vector<int>(4));
  }
  Lumo::ThreadControl::tsp_ = saved;
}

TEST(SlabAllocator, ServesAlignedBlocksAndReusesThem) {
  void* a = SlabAllocator::allocate(40);
  EXPECT_TRUE(aligned8(a));
  std::memset(a, 0x5a, 40);
  SlabAllocator::deallocate(a, 40);
  void* b = SlabAllocator::allocate(40);
  EXPECT_TRUE(SlabAllocator::kBypassesSlabs || b == a);
  SlabAllocator::deallocate(b, 40);
  SlabAllocator::deallocate(nullptr, 40);
}

AllocationTracker staticTracker("AllocatorTest.Static");

TEST(AllocationTracker, CountsAndIsListedByNameWhileItLives) {
  AllocationTracker local("AllocatorTest.Local");
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.Local"), &local);
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.Static"), &staticTracker);
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.Missing"), nullptr);

  void* p = local.allocate(32);
  void* q = local.allocate(2000);
  EXPECT_EQ(local.allocated(), 2u);
  EXPECT_EQ(local.live(), 2u);
  local.deallocate(p, 32);
  local.deallocate(q, 2000);
  EXPECT_EQ(local.freed(), 2u);
  EXPECT_EQ(local.live(), 0u);
  EXPECT_EQ(staticTracker.allocated(), 0u);

  std::vector<std::string> names;
  AllocationTracker::forEach([&names](const AllocationTracker& t) { names.push_back(t.name()); });
  EXPECT_EQ(std::count(names.begin(), names.end(), "AllocatorTest.Local"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "AllocatorTest.Static"), 1);

  // Destroyed trackers leave the list; the others stay.
  {
    AllocationTracker first("AllocatorTest.First");
    AllocationTracker second("AllocatorTest.Second");
  }
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.First"), nullptr);
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.Second"), nullptr);
  EXPECT_EQ(AllocationTracker::find("AllocatorTest.Static"), &staticTracker);
  AllocationTracker unnamed(nullptr);
  unnamed.deallocate(unnamed.allocate(8), 8);
  EXPECT_EQ(unnamed.freed(), 1u);
}

}  // namespace
