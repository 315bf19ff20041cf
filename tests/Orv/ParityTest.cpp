// Parity events: the status table keyed by each value's own key, the ordered raw-event queue with its
// reference-counted entries, and the queue's nextIndex, which is each copy's own.
#include <Orv/OrvParity.h>

#include "AnnouncementLog.h"
#include "MirrorTestSupport.h"

#include <Lumo/Descriptors.h>
#include <Vem/GenericIfOps.h>
#include <Vem/IteratorInvalidated.h>

#include <gtest/gtest.h>

#include <cmath>
#include <compare>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace Orv;
using Lumo::String;
using Impact = ParityEventImpact::ParityEventImpact;
using Source = SourceType::SourceType;
using EventType = OrvParityEvent::OrvParityEventType;

// Announcement lines, and the keys announced under the queue's events (258), in order.
struct Recorder : OrvTest::AnnouncementLines {
  using AnnouncementLines::AnnouncementLines;
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    AnnouncementLines::onChange(id, key, old);
    if (key && id == 258 && dynamic_cast<OrvParityEventQueue*>(&entity()) != nullptr)
      keys.push_back(*static_cast<const uint32_t*>(key));
  }
  std::vector<uint32_t> keys;
};
using Lines = std::vector<std::string>;

ParityEvent::Key keyOf(uint16_t fap, uint32_t offset, Impact impact = Impact::critical, bool show = false) {
  ParityEvent::Key k;
  k.fapIdIs(fap);
  k.sourceTypeIs(Source::reg);
  k.sourceIdIs(12);
  k.sourceOffsetIs(offset);
  k.eventImpactIs(impact);
  k.shouldShowIs(show);
  return k;
}

ParityEvent eventOf(const ParityEvent::Key& k, uint32_t count, double when) {
  ParityEvent e(k);
  e.sourceNameIs(String("IHB_FIFO"));
  e.countIs(count);
  e.lastReportedTimeIs(when);
  return e;
}

OrvParityEvent rawEvent(uint32_t fap, int32_t sourceId) {
  OrvParityEvent e;
  e.eventTypeIs(EventType::uncorrectableNonFatal);
  e.sourceTypeIs(Source::table);
  e.sourceIdIs(sourceId);
  e.fapIdIs(fap);
  e.sourceOffsetIs(9);
  e.sourceGlobalAddrIs(0x1234567890ull);
  return e;
}

// The status entry and the raw event are compared and hashed, never ordered; the key is ordered.
static_assert(!std::three_way_comparable<ParityEvent>);
static_assert(!std::three_way_comparable<OrvParityEvent>);
static_assert(std::three_way_comparable<ParityEvent::Key>);

TEST(ParityEventStatus, NanTimeReplacesAndAnnouncesEveryTime) {
  auto status = parityEventStatusFactory(String("parity"));
  const ParityEvent nan = eventOf(keyOf(3, 3), 1, std::numeric_limits<double>::quiet_NaN());
  status->parityEventIs(nan);
  Recorder r(*status);
  status->parityEventIs(status->parityEvent(keyOf(3, 3)));
  status->parityEventIs(nan);
  EXPECT_EQ(r.take(), (Lines{"258 key old", "258 key old"}));
  EXPECT_TRUE(std::isnan(status->parityEvent(keyOf(3, 3)).lastReportedTime()));
}

TEST(ParityEventQueue, DeleteByIndexAndByIterator) {
  OrvParityEventQueue q(String("queue"));
  for (uint32_t i : {10u, 20u, 30u}) q.eventIs(i, rawEvent(i, 0));
  Recorder r(q);
  q.eventIs(20, rawEvent(20, 0));  // equal: nothing
  q.eventIs(20, rawEvent(21, 0));
  EXPECT_EQ(r.take(), (Lines{"258 key old"}));

  EXPECT_EQ(q.eventDel(10).fapId(), 10u);
  auto it = q.event().begin();
  ASSERT_TRUE(it.valid());
  EXPECT_EQ(it.key(), 20u);
  EXPECT_EQ(q.eventDel(it).fapId(), 21u);
  EXPECT_EQ(r.take(), (Lines{"258 key old", "258 key old"}));
  EXPECT_EQ(r.keys, (std::vector<uint32_t>{20, 10, 20}));
  EXPECT_EQ(q.nextIndex(), 0u);  // eventIs never touches it

  // The iterator's entry is gone: its value is refused, a second removal through it finds nothing, and
  // the walk continues after its key.
  EXPECT_THROW(it.value(), Vem::IteratorInvalidated);
  EXPECT_EQ(q.eventDel(it), OrvParityEvent());
  it.next();
  ASSERT_TRUE(it.valid());
  EXPECT_EQ(it.key(), 30u);
  EXPECT_EQ(q.event().size(), 1u);
}

TEST(ParityEventQueue, AHeldNodeOutlivesItsRemoval) {
  OrvParityEventQueue q(String("queue"));
  q.eventIs(5, rawEvent(7, 7));
  Lumo::Ptr<OrvParityEventQueue::VemEvent> node = q.event().node(5);
  ASSERT_TRUE(node);
  EXPECT_EQ(node->useCount(), 2u);  // the tree's and ours
  q.eventDelAll();
  EXPECT_FALSE(node->linked());
  EXPECT_EQ(node->useCount(), 1u);
  EXPECT_EQ(node->key(), 5u);
  EXPECT_EQ(node->value().fapId(), 7u);
}

TEST(ParityEventQueue, DeleteAllWalksInIndexOrderOnlyWhenObserved) {
  OrvParityEventQueue q(String("queue"));
  for (uint32_t i : {0x90000000u, 3u, 1u}) q.eventIs(i, rawEvent(i, 0));
  {
    Recorder r(q);
    q.eventDelAll();
    EXPECT_EQ(r.keys, (std::vector<uint32_t>{1, 3, 0x90000000u}));
  }
  q.eventIs(1, rawEvent(1, 0));
  q.eventDelAll();  // nobody listens: emptied at once
  EXPECT_EQ(q.event().size(), 0u);
}

TEST(ParityEventQueue, NextIndexWrapsSilently) {
  OrvParityEventQueue q(String("queue"));
  Recorder r(q);
  EXPECT_EQ(q.nextIndexInc(0xfffffffeu), 0xfffffffeu);
  EXPECT_EQ(q.nextIndexInc(1), 0xffffffffu);
  EXPECT_EQ(q.nextIndexInc(1), 0u);
  EXPECT_EQ(q.nextIndexInc(5), 5u);
  EXPECT_TRUE(r.take().empty());
  EXPECT_EQ(q.event().size(), 0u);

  // The generic interface reads and writes it, still without telling anyone.
  const Vem::VemType t = OrvParityEventQueue::vemType();
  const Vem::MemberRecord* m = t.memberByName("nextIndex");
  ASSERT_NE(m, nullptr);
  const Lumo::FieldDescriptor field = t.fieldOf(*m);
  uint32_t read = 0, write = 41;
  EXPECT_EQ(t.impl().attributeOp(&read, &q, &field, Vem::OpCode::get, nullptr, nullptr), 0);
  EXPECT_EQ(read, 5u);
  EXPECT_EQ(t.impl().attributeOp(nullptr, &q, &field, Vem::OpCode::set, &write, nullptr), 0);
  EXPECT_EQ(q.nextIndex(), 41u);
  EXPECT_TRUE(r.take().empty());
}

TEST(ParityMirror, QueueArrivesWithItsEventsButNotItsNextIndex) {
  auto q = Lumo::newNode<OrvParityEventQueue>(String("queue"));
  q->nextIndexInc(17);
  q->eventIs(0x80000001u, rawEvent(1, -1));
  q->eventIs(3, rawEvent(2, 2));
  MirrorTest::Pair p;
  p.sender.attach(q);
  p.drain();
  q->nextIndexInc(1);  // changes of it are never sent
  q->eventIs(4, rawEvent(4, 4));
  q->eventDel(3);
  p.drain();
  ASSERT_TRUE(p.mirror);
  auto& m = p.mirrorAs<OrvParityEventQueue>();
  EXPECT_EQ(m.nextIndex(), 0u);
  std::vector<uint32_t> order;
  for (auto it = m.event().begin(); it.valid(); it.next()) {
    order.push_back(it.key());
    EXPECT_EQ(it.value(), q->event(it.key()));
  }
  EXPECT_EQ(order, (std::vector<uint32_t>{4, 0x80000001u}));
}

}  // namespace
