#include <Lumo/Publisher.h>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Lumo::AttributeId;
using Lumo::Publisher;
using Lumo::Subscriber;

// Records its calls into a shared log and runs an optional action on each call.
class Recorder : public Subscriber {
public:
  Recorder(std::string name, std::vector<std::string>& log) : name_(std::move(name)), log_(log) {}
  void onChange(AttributeId id, const void* key, const void* oldValue) override {
    log_.push_back(name_ + ":" + std::to_string(id) + (key ? "k" : "") + (oldValue ? "o" : ""));
    if (action) action(id);
  }
  std::function<void(AttributeId)> action;

private:
  std::string name_;
  std::vector<std::string>& log_;
};

void publish(const Publisher& p, AttributeId id) { p.publishChangeRecursive(id, nullptr, nullptr, nullptr); }

// Records where it was told the value is stored, if anywhere.
class StoredRecorder : public Recorder {
public:
  using Recorder::Recorder;
  void onChangeStored(AttributeId id, const void* key, const void* oldValue, const void* storedValue) override {
    stored.push_back(storedValue);
    Recorder::onChange(id, key, oldValue);
  }
  std::vector<const void*> stored;
};

// Declared after its subscribers, the publisher is destroyed before them.
struct PublisherTest : ::testing::Test {
  std::vector<std::string> log;
  Recorder a{"a", log}, b{"b", log}, c{"c", log}, d{"d", log};
  Publisher p;
};

TEST_F(PublisherTest, EmptyStateIsOneNullPointer) {
  static_assert(sizeof(Publisher) == sizeof(void*));
  EXPECT_TRUE(p.empty());
  publish(p, 1);
  p.subscriberAdd(&a);
  p.subscriberAdd(&b);
  EXPECT_FALSE(p.empty());
  EXPECT_EQ(p.subscriberCount(), 2u);
  p.subscriberDel(&a);
  p.subscriberDel(&a);  // not subscribed any more: nothing happens
  EXPECT_EQ(p.subscriberCount(), 1u);
  p.subscriberDel(&b);
  EXPECT_TRUE(p.empty());
  publish(p, 1);
  EXPECT_TRUE(log.empty());

  // The last subscriber leaving during a publish empties it afterwards.
  p.subscriberAdd(&a);
  a.action = [&](AttributeId) { p.subscriberDel(&a); };
  publish(p, 1);
  EXPECT_TRUE(p.empty());
  EXPECT_EQ(p.subscriberCount(), 0u);
}

TEST_F(PublisherTest, CallsInSubscriptionOrderWithTheArguments) {
  p.subscriberAdd(&b);
  p.subscriberAdd(&a);
  p.subscriberAdd(&c);
  int key = 0, old = 0;
  p.publishChangeRecursive(9, &key, &old, nullptr);
  publish(p, 4);
  EXPECT_EQ(log, (std::vector<std::string>{"b:9ko", "a:9ko", "c:9ko", "b:4", "a:4", "c:4"}));
}

TEST_F(PublisherTest, ChangesDuringAPublishTakeEffectSafely) {
  Recorder late("late", log);
  for (Recorder* r : {&a, &b, &c, &d}) p.subscriberAdd(r);
  // a removes itself, b removes c (not yet called), then b adds a latecomer.
  a.action = [&](AttributeId) { p.subscriberDel(&a); };
  b.action = [&](AttributeId) {
    p.subscriberDel(&c);
    p.subscriberAdd(&late);
  };
  publish(p, 1);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "b:1", "d:1"}));
  EXPECT_EQ(p.subscriberCount(), 3u);
  log.clear();
  b.action = nullptr;
  publish(p, 2);
  EXPECT_EQ(log, (std::vector<std::string>{"b:2", "d:2", "late:2"}));
}

TEST_F(PublisherTest, NestedPublishesReachEverySubscriberOncePerRound) {
  for (Recorder* r : {&a, &b, &c}) p.subscriberAdd(r);
  // b reacts to attribute 1 by changing attribute 2 of the same entity, and leaves during the inner
  // round; c must still be called once in each round.
  b.action = [&](AttributeId id) {
    if (id != 1) return;
    publish(p, 2);
    p.subscriberDel(&b);
  };
  publish(p, 1);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "b:1", "a:2", "b:2", "c:2", "c:1"}));
  EXPECT_EQ(p.subscriberCount(), 2u);
}

// A lone subscriber is kept apart from the list that two or more need; the list forms and dissolves
// around it, also in the middle of its own call.
TEST_F(PublisherTest, ALoneSubscriberAndTheListTurnIntoEachOther) {
  p.subscriberAdd(&a);
  a.action = [&](AttributeId id) {
    if (id == 1) p.subscriberAdd(&b);  // waits for the next round
    if (id == 2) p.subscriberDel(&b);  // b was not called yet in this round: it is not
  };
  publish(p, 1);
  publish(p, 2);
  publish(p, 3);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "a:2", "a:3"}));
  EXPECT_EQ(p.subscriberCount(), 1u);
  log.clear();
  a.action = nullptr;
  p.subscriberAdd(&b);
  p.subscriberAdd(&c);
  p.subscriberDel(&a);
  p.subscriberDel(&c);  // down to b alone
  StoredRecorder e("e", log);
  p.subscriberAdd(&e);
  p.subscriberDel(&b);  // e alone now, and told where the value is
  int key = 1, value = 2;
  p.publishChangeRecursive(5, &key, nullptr, nullptr, &value);
  EXPECT_EQ(e.stored, (std::vector<const void*>{&value}));
  EXPECT_EQ(log, (std::vector<std::string>{"e:5k"}));
  p.subscriberDel(&b);  // not subscribed any more
  EXPECT_EQ(p.subscriberCount(), 1u);
  p.subscriberDel(&e);
  EXPECT_TRUE(p.empty());
}

TEST_F(PublisherTest, AThrowingSubscriberLeavesTheListUsable) {
  p.subscriberAdd(&a);
  p.subscriberAdd(&b);
  a.action = [&](AttributeId id) {
    p.subscriberDel(&a);
    if (id == 1) throw std::runtime_error("refused");
  };
  EXPECT_THROW(publish(p, 1), std::runtime_error);
  EXPECT_EQ(p.subscriberCount(), 1u);
  // The depth was unwound: a removal now erases at once and empties the publisher.
  p.subscriberDel(&b);
  EXPECT_TRUE(p.empty());
}

TEST_F(PublisherTest, OnlyTheFirstSubscriberCalledLearnsWhereTheValueIs) {
  StoredRecorder gone("gone", log), first("first", log), second("second", log);
  Recorder plain("plain", log);
  p.subscriberAdd(&gone);
  p.subscriberAdd(&first);
  p.subscriberAdd(&second);
  p.subscriberAdd(&plain);
  int key = 1, value = 2;
  // A subscriber removed during a publish leaves a hole: the first one actually called is told.
  gone.action = [&](AttributeId) { p.subscriberDel(&gone); };
  p.publishChangeRecursive(3, &key, nullptr, nullptr, &value);
  EXPECT_EQ(gone.stored, (std::vector<const void*>{&value}));
  EXPECT_TRUE(first.stored.empty());
  p.publishChangeRecursive(3, &key, nullptr, nullptr, &value);
  EXPECT_EQ(first.stored, (std::vector<const void*>{&value}));
  EXPECT_TRUE(second.stored.empty()) << "a later subscriber may run after the value moved";
  p.publishChangeRecursive(4, &key, nullptr, nullptr);  // nothing known: plain calls only
  EXPECT_EQ(first.stored.size(), 1u);
  EXPECT_EQ(log, (std::vector<std::string>{"gone:3k", "first:3k", "second:3k", "plain:3k", "first:3k", "second:3k",
                                           "plain:3k", "first:4k", "second:4k", "plain:4k"}));
}

}  // namespace
