#include <Lumo/Node.h>
#include <Lumo/Ptr.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using Lumo::Node;

// Counts lastUserGone calls instead of deleting, so the node can be inspected afterwards.
class Probe : public Node {
public:
  void lastUserGone() override { ++gone; }
  int gone = 0;
};

struct TspMode {
  explicit TspMode(bool on) : saved(Lumo::ThreadControl::tsp_) { Lumo::ThreadControl::tsp_ = on; }
  ~TspMode() { Lumo::ThreadControl::tsp_ = saved; }
  bool saved;
};

static_assert(sizeof(Node) == 2 * sizeof(void*), "a node is its vtable pointer and one word");

TEST(Node, CountCarriesOverTheFlagBitsAndBorrowsBack) {
  const uint32_t flagSets[] = {0, Node::kNodeFlag29, Node::kNodeFlag30,
                               Node::kNodeFlag29 | Node::kNodeFlag30};
  for (uint32_t flags : flagSets) {
    SCOPED_TRACE(flags);
    const uint32_t below = 0x1fffffffu | flags;
    const uint32_t above = Node::incremented(below);
    EXPECT_EQ(above, 0x80000000u | flags);
    EXPECT_EQ(Node::countOf(above), 0x20000000u);
    EXPECT_EQ(Node::decremented(above), below);
    EXPECT_EQ(Node::countOf(below), 0x1fffffffu);

    // Around zero and inside the upper half too.
    EXPECT_EQ(Node::incremented(flags), 1u | flags);
    EXPECT_EQ(Node::decremented(1u | flags), flags);
    EXPECT_EQ(Node::incremented(0x80000005u | flags), 0x80000006u | flags);
    EXPECT_EQ(Node::countOf(0x9fffffffu | flags), 0x3fffffffu);
    EXPECT_EQ(Node::decremented(0x80000000u | flags) & Node::kUseCountMask, 0x1fffffffu);
  }
}

TEST(Node, FlagsAndCountAreIndependentInBothModes) {
  for (bool tsp : {false, true}) {
    TspMode mode(tsp);
    Probe n;
    EXPECT_EQ(n.useCount(), 1u);
    n.nodeFlagIs(Node::kNodeFlag30, true);
    n.useCountInc();
    n.nodeFlagIs(Node::kNodeFlag29, true);
    EXPECT_EQ(n.useCount(), 2u);
    EXPECT_EQ(n.useCountWord(), 2u | Node::kNodeFlag29 | Node::kNodeFlag30);
    EXPECT_TRUE(n.nodeFlag(Node::kNodeFlag29));
    n.nodeFlagIs(Node::kNodeFlag30, false);
    EXPECT_FALSE(n.nodeFlag(Node::kNodeFlag30));
    n.useCountDec();
    EXPECT_EQ(n.useCount(), 1u);
    EXPECT_TRUE(n.nodeFlag(Node::kNodeFlag29));
    EXPECT_EQ(n.gone, 0);
    n.useCountDec();  // a flag set does not keep the node alive
    EXPECT_EQ(n.gone, 1);
    EXPECT_EQ(n.useCountWord(), Node::kNodeFlag29);
  }
}

TEST(Node, LastUserGoneDeletesByDefault) {
  static int destroyed;
  struct Tracked : Node {
    ~Tracked() override { ++destroyed; }
  };
  destroyed = 0;
  {
    auto p = Lumo::newNode<Tracked>();
    auto q = p;
    p.reset();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(Node, ConcurrentCountingInThreadSafeMode) {
  TspMode mode(true);
  Probe n;
  n.nodeFlagIs(Node::kNodeFlag29, true);
  const int threads = 4, rounds = 20000;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&n, t] {
      for (int i = 0; i < rounds; ++i) {
        n.useCountInc();
        if (i % 64 == 0) n.nodeFlagIs(Node::kNodeFlag30, t % 2 == 0);
        n.useCountDec();
      }
    });
  }
  for (auto& w : workers) w.join();
  EXPECT_EQ(n.useCount(), 1u);
  EXPECT_TRUE(n.nodeFlag(Node::kNodeFlag29));
  EXPECT_EQ(n.gone, 0);
  n.useCountDec();
  EXPECT_EQ(n.gone, 1);
}

}  // namespace
