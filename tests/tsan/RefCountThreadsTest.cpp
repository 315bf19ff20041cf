// Use counts in thread-safe mode, under ThreadSanitizer: several threads take and drop pointers to the
// same entities, copy the same strings and values whose collections share buckets, and the last user
// of an entity may be any of them. Every count ends where it started, and each entity dies exactly once,
// after every other thread's last use of it.
#include <tsan/TsanTypes.h>

#include <Lumo/Allocator.h>
#include <Lumo/ThreadControl.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kItems = 8;

struct ThreadSafeMode : ::testing::Test {
  void SetUp() override { Lumo::ThreadControl::tsp_ = true; }  // before any second thread exists
};

Lumo::Ptr<Tsan::Dir> sharedDir() {
  auto dir = Tsan::dirFactory("d");
  for (int i = 0; i < kItems; ++i) {
    auto item = dir->itemIs("item" + std::to_string(i));
    item->weightIs(static_cast<uint32_t>(i));
    item->labelIs("a label long enough to live on the heap " + std::to_string(i));
    Tsan::Members members;
    for (int k = 0; k < 20; ++k) members.namesIs("n" + std::to_string(k), k % 2 == 0);
    item->membersIs(members);
  }
  return dir;
}

TEST_F(ThreadSafeMode, PointersStringsAndSharedBucketsTakenAndDroppedEverywhere) {
  auto dir = sharedDir();
  std::vector<Lumo::Ptr<Tsan::Item>> items;
  for (int i = 0; i < kItems; ++i) items.push_back(dir->item("item" + std::to_string(i)));
  std::vector<uint32_t> before;
  for (const auto& item : items) before.push_back(item->useCount());

  std::atomic<uint64_t> sum{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      uint64_t local = 0;
      for (int round = 0; round < 2000; ++round) {
        const auto& item = items[(round * 7 + t) % kItems];
        Lumo::Ptr<Tsan::Item> held = item;             // a user more
        Lumo::Ptr<Vem::Entity> asEntity = held;        // and another, through the base
        Lumo::String label = held->label();            // the string block shared, counted
        Tsan::Members copy = held->members();          // buckets shared with the entity's value
        if (round % 5 == 0) copy.namesIs("mine", true);  // a write copies them first
        local += held->weight() + label.size() + copy.names().size() + asEntity->useCount() / 1000;
      }
      sum += local;
    });
  for (auto& th : threads) th.join();
  EXPECT_GT(sum.load(), 0u);
  for (int i = 0; i < kItems; ++i) EXPECT_EQ(items[i]->useCount(), before[i]) << i;
  EXPECT_EQ(items[0]->members().names().size(), 20u);  // the copies' writes never reached the original
}

TEST_F(ThreadSafeMode, TheLastUserOnAnyThreadDestroysOnce) {
  const Lumo::AllocationTracker* tracker = Lumo::AllocationTracker::find("Tsan::Item");
  ASSERT_NE(tracker, nullptr);
  for (int trial = 0; trial < 20; ++trial) {
    const uint64_t freedBefore = tracker->freed();
    std::vector<Lumo::Ptr<Tsan::Item>> perThread[kThreads];
    {
      auto dir = sharedDir();
      for (auto& mine : perThread)
        for (int i = 0; i < kItems; ++i) mine.push_back(dir->item("item" + std::to_string(i)));
      for (int i = 0; i < kItems; ++i) dir->itemDel("item" + std::to_string(i));  // the owner lets go
    }
    for (int i = 0; i < kItems; ++i) ASSERT_EQ(perThread[0][i]->useCount(), uint32_t(kThreads));
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    std::atomic<uint64_t> sum{0};
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([&, t] {
        ready++;
        while (ready.load() < kThreads) {
        }
        // Each thread reads its items, then drops them in its own order: whoever is last destroys.
        uint64_t local = 0;
        for (int i = 0; i < kItems; ++i) {
          auto& p = perThread[t][(i * (t + 1)) % kItems];
          if (!p) continue;
          local += p->weight() + p->label().size();
          p = nullptr;
        }
        for (auto& p : perThread[t]) p = nullptr;
        sum += local;
      });
    for (auto& th : threads) th.join();
    EXPECT_GT(sum.load(), 0u);
    EXPECT_EQ(tracker->freed() - freedBefore, uint64_t(kItems));
  }
  EXPECT_EQ(tracker->live(), 0u);
}

}  // namespace
