// The trace facility: levels per source, nothing formatted while off, lines read back in order within a
// bounded buffer, switch lists checked whole, and concurrent writers losing no line.
#include <Vem/RangeException.h>
#include <Vem/Trace.h>

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

namespace {

// Counts how often it is formatted, to prove that an off level formats nothing.
struct Costly {
  int* formatted;
};
std::ostream& operator<<(std::ostream& os, const Costly& c) {
  ++*c.formatted;
  return os << "costly";
}

class Trace : public ::testing::Test {
 protected:
  void SetUp() override { Vem::Trace::linesDelAll(); }
  void TearDown() override {
    for (const char* s : {"TraceTestA", "TraceTestB", "TraceTestC", "TraceTestD"}) Vem::Trace::levelsIs(s, 0);
    Vem::Trace::linesCapacityIs(4096);
    Vem::Trace::echoIs(nullptr);
    Vem::Trace::linesDelAll();
  }
};

TEST_F(Trace, LevelsAreSwitchedPerSourceAndNothingIsFormattedWhileOff) {
  // A level switched before any helper of its source exists applies to the helper made later.
  Vem::Trace::levelIs("TraceTestC", 0, true);
  EXPECT_TRUE(Vem::TraceHelper("TraceTestC").enabled(0));

  const Vem::TraceHelper a("TraceTestA"), b("TraceTestB");
  int formatted = 0;
  VEM_TRACE(a, 3, Costly{&formatted});
  EXPECT_EQ(formatted, 0);

  Vem::Trace::levelIs("TraceTestA", 3, true);
  EXPECT_TRUE(a.enabled(3));
  EXPECT_FALSE(a.enabled(2));
  EXPECT_FALSE(b.enabled(3));  // another source stays off
  VEM_TRACE(a, 3, Costly{&formatted} << " " << 7);
  VEM_TRACE(a, 4, Costly{&formatted});
  VEM_TRACE(b, 3, Costly{&formatted});
  EXPECT_EQ(formatted, 1);
  EXPECT_EQ(Vem::Trace::lines(), (std::vector<Vem::TraceLine>{{"TraceTestA", 3, "costly 7"}}));

  // A second helper of the same source shares its switch; switching off works.
  const Vem::TraceHelper a2("TraceTestA");
  EXPECT_TRUE(a2.enabled(3));
  Vem::Trace::levelIs("TraceTestA", 3, false);
  EXPECT_FALSE(a.enabled(3));
  EXPECT_EQ(Vem::Trace::levels("TraceTestA"), 0u);
  EXPECT_FALSE(a.enabled(32));  // beyond the levels: never on
  EXPECT_THROW(Vem::Trace::levelIs("TraceTestA", 32, true), Vem::RangeException);
}

TEST_F(Trace, SwitchListsAreCheckedWholeBeforeAnythingChanges) {
  Vem::Trace::configure("TraceTestA/3,TraceTestB/1-2,TraceTestC/*");
  EXPECT_EQ(Vem::Trace::levels("TraceTestA"), 1u << 3);
  EXPECT_EQ(Vem::Trace::levels("TraceTestB"), 0b110u);
  EXPECT_EQ(Vem::Trace::levels("TraceTestC"), ~0u);
  for (const char* bad : {"TraceTestD/3,oops", "TraceTestD/3,X/32", "TraceTestD/3,X/2-1", "TraceTestD/3,/1",
                          "TraceTestD/3,X/", "TraceTestD/3,X/a", "TraceTestD/3,X/1-"}) {
    EXPECT_THROW(Vem::Trace::configure(bad), Vem::RangeException) << bad;
    EXPECT_EQ(Vem::Trace::levels("TraceTestD"), 0u) << bad;
  }
  Vem::Trace::configure("");  // nothing to switch
}

TEST_F(Trace, BufferKeepsTheMostRecentLinesAndEchoes) {
  Vem::Trace::linesCapacityIs(2);
  std::ostringstream echo;
  Vem::Trace::echoIs(&echo);
  const Vem::TraceHelper d("TraceTestD");
  Vem::Trace::levelIs("TraceTestD", 5, true);
  for (int i = 0; i < 3; ++i) VEM_TRACE(d, 5, "line " << i);
  EXPECT_EQ(Vem::Trace::lines(), (std::vector<Vem::TraceLine>{{"TraceTestD", 5, "line 1"}, {"TraceTestD", 5, "line 2"}}));
  EXPECT_EQ(echo.str(), "TraceTestD/5: line 0\nTraceTestD/5: line 1\nTraceTestD/5: line 2\n");
  Vem::Trace::linesCapacityIs(1);  // shrinking drops the oldest
  EXPECT_EQ(Vem::Trace::lines().size(), 1u);
  EXPECT_EQ(Vem::Trace::lines().front().text, "line 2");
}

TEST_F(Trace, ConcurrentWritersLoseNoLine) {
  const Vem::TraceHelper a("TraceTestA");
  Vem::Trace::levelIs("TraceTestA", 1, true);
  constexpr int kThreads = 4, kLines = 500;
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t)
    writers.emplace_back([&a, t] {
      for (int i = 0; i < kLines; ++i) VEM_TRACE(a, 1, t << ":" << i);
    });
  // Meanwhile another level flips on and off; level 1 is untouched by it.
  for (int i = 0; i < 1000; ++i) Vem::Trace::levelIs("TraceTestA", 2, i % 2 == 0);
  for (auto& w : writers) w.join();
  auto lines = Vem::Trace::lines();
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
  std::vector<int> next(kThreads, 0);  // each writer's lines keep their order
  for (const auto& l : lines) {
    const int t = l.text[0] - '0';
    EXPECT_EQ(l.text, std::to_string(t) + ":" + std::to_string(next[t]++));
  }
}

}  // namespace
