// The receiving side: mirrors built and changed through their setters (so they announce), markers,
// deletion records, replaced children, the read-only proxy, and malformed input refused whole. (Records
// split across reads are reassembled under every pump of MirrorConvergenceTest.)
#include "MirrorTestSupport.h"

#include <Vem/TypeImpl.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace Orv;
using MirrorTest::dump;
using MirrorTest::Pair;

struct Announcements : Lumo::Subscriber {
  Vem::Entity& e;
  std::vector<std::string> seen;
  explicit Announcements(Vem::Entity& entity) : e(entity) { e.publisher().subscriberAdd(this); }
  ~Announcements() override { e.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    seen.push_back(std::to_string(id) + (key ? " " + static_cast<const Lumo::String*>(key)->stdString() : "") +
                   (old ? " changed" : " new"));
  }
};

Lumo::Ptr<PortGroupDir> sampleDir() {
  auto dir = portGroupDirFactory("dir");
  dir->generateActivePortsListIs(true);
  auto g = dir->portGroupIs("g1");
  g->defaultModeIs("m1");
  g->limitationsIs("l", "only two");
  auto m = g->modeIs("m1");
  m->portsIs("Et1", true);
  m->portsIs("Et2", false);
  g->modeIs("m2")->hiddenFromCliIs(true);
  dir->portGroupIs("g2")->warningsIs("w", "careful");
  return dir;
}

TEST(AttrLogInput, MirrorFollowsAndAnnounces) {
  auto dir = sampleDir();
  Pair p;
  p.sender.attach(dir);
  p.drain();
  ASSERT_TRUE(p.mirror);
  auto& mirror = p.mirrorAs<PortGroupDir>();
  EXPECT_EQ(dump(mirror), dump(*dir));

  auto mirrorList = mirror.portGroup("g1")->mode("m1");
  Announcements dirSeen(mirror), listSeen(*mirrorList);
  dir->portGroup("g1")->mode("m1")->portsIs("Et1", false);
  dir->portGroup("g1")->mode("m1")->portsIs("Et1", false);  // no change, nothing sent
  dir->portGroup("g1")->mode("m1")->portsDel("Et2");
  dir->noActiveInactiveDuplicatesIs(true);
  dir->portGroupDel("g2");
  p.drain();
  EXPECT_EQ(dump(mirror), dump(*dir));
  EXPECT_EQ(listSeen.seen, (std::vector<std::string>{"258 Et1 changed", "258 Et2 changed"}));
  EXPECT_EQ(dirSeen.seen, (std::vector<std::string>{"259 changed", "258 g2 changed"}));
  EXPECT_EQ(p.demuxer.boundCount(), 4u);  // dir, g1 and its two modes: g2 was forgotten with its mirror
}

// Applies records straight to a mirror PortList with id 1.
struct ListMirror : ::testing::Test {
  Vem::NboAttrLog::Demuxer demuxer;
  Lumo::Ptr<Vem::Entity> root;
  std::string bytes;
  Vem::NboAttrLog::Out out{bytes};
  void SetUp() override {
    demuxer.rootObserverIs([this](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& e) { root = e; });
    record(Vem::NboAttrLog::Frame::newRoot, 0, [&] {
      out.string("Orv::PortList");
      out.string("pl");
    });
    flush();
  }
  template <class Fn>
  void record(uint8_t kind, uint16_t attribute, Fn&& payload, uint32_t entity = 1) {
    MirrorTest::appendRecord(out, entity, kind, attribute, payload);
  }
  void entry(const char* key, bool value) {
    record(0, 258, [&] {
      out.string(key);
      out.u8(value);
    });
  }
  void marker(uint8_t type) {
    record(1, 258, [&] { out.u8(type); });
  }
  void flush() {
    demuxer.feed(bytes);
    bytes.clear();
  }
  PortList& list() { return static_cast<PortList&>(*root); }
};

TEST_F(ListMirror, FullResendDeletesWhatWasNotResent) {
  entry("a", true);
  entry("b", false);
  entry("c", true);
  flush();
  Announcements seen(list());
  marker(0);
  entry("a", true);  // unchanged: kept, not announced
  entry("c", false);
  marker(2);
  flush();
  EXPECT_EQ(seen.seen, (std::vector<std::string>{"258 c changed", "258 b changed"}));
  EXPECT_EQ(list().ports().size(), 2u);
  marker(0);
  marker(2);  // an empty pass empties the collection, one announcement per key
  flush();
  EXPECT_EQ(list().ports().size(), 0u);
  EXPECT_EQ(seen.seen.size(), 4u);
}

TEST_F(ListMirror, ResumedBeginKeepsTheMarks) {
  entry("a", true);
  entry("b", true);
  marker(0);
  entry("a", true);
  marker(1);  // the pass resumed after an interruption
  marker(2);
  flush();
  EXPECT_TRUE(list().ports().contains("a"));
  EXPECT_FALSE(list().ports().contains("b"));
}

TEST_F(ListMirror, DeletionOfAnAbsentKeyAndUnknownAttributes) {
  record(0, Vem::NboAttrLog::negated(258), [&] { out.string("zz"); });
  record(0, 300, [&] { out.u8(1); });  // a newer definition's attribute: skipped, counted
  record(0, 154, [&] { out.string("other"); });
  marker(0);
  record(1, 259, [&] { out.u8(0); });  // a marker on a scalar: not a collection of this type
  flush();
  EXPECT_EQ(list().ports().size(), 0u);
  EXPECT_EQ(list().name(), "pl");
  EXPECT_EQ(demuxer.unknownAttributeRecords(), 3u);
  EXPECT_FALSE(demuxer.failed());
}

TEST_F(ListMirror, ReadOnlyProxyRefusesWrites) {
  Vem::NboAttrLog::Demuxer ro;
  ro.readOnlyProxyIs(true);
  ro.writePolicyIs([](const auto&, Lumo::AttributeId id) { return id == 259; });
  Lumo::Ptr<Vem::Entity> r;
  ro.rootObserverIs([&](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& e) { r = e; });
  bytes.clear();
  record(2, 0, [&] {
    out.string("Orv::PortList");
    out.string("ro");
  });
  record(0, 259, [&] { out.u8(1); });
  ro.feed(bytes);
  EXPECT_TRUE(static_cast<PortList&>(*r).hiddenFromCli());
  bytes.clear();
  entry("a", true);
  EXPECT_THROW(ro.feed(bytes), Vem::RangeException);
  EXPECT_EQ(static_cast<PortList&>(*r).ports().size(), 0u);
  EXPECT_NE(ro.error().find("read-only proxy"), std::string::npos);
}

TEST_F(ListMirror, MalformedRecordsAreRefusedWhole) {
  record(0, 259, [&] { out.u8(2); });  // not a bool
  EXPECT_THROW(flush(), Vem::RangeException);
  EXPECT_NE(demuxer.error().find("hiddenFromCli"), std::string::npos);
  EXPECT_FALSE(list().hiddenFromCli());
  bytes.clear();
  entry("a", true);
  EXPECT_THROW(flush(), Vem::RangeException);  // the stream stays refused
  EXPECT_EQ(list().ports().size(), 0u);
}

TEST_F(ListMirror, AKeyLongerThanItsRecordIsRefusedAsTruncated) {
  record(0, 258, [&] {
    out.u32(40);  // the key claims 40 bytes, 3 follow
    out.bytes("Et1", 3);
  });
  EXPECT_THROW(flush(), Vem::RangeException);
  EXPECT_NE(demuxer.error().find("record truncated: wanted 40 bytes at offset 4 of 7"), std::string::npos)
      << demuxer.error();
  EXPECT_EQ(list().ports().size(), 0u);
}

TEST(AttrLogInput, ChildReplacedBetweenFlowsIsRebuilt) {
  auto group = PortGroupIs("g");
  auto first = group->modeIs("m");
  first->portsIs("Et1", true);
  Pair p;
  p.sender.attach(group);
  p.drain();
  auto& mirror = p.mirrorAs<PortGroup>();
  auto oldMirrorChild = mirror.mode("m");
  p.sender.roomIs(0);
  group->modeDel("m");
  group->modeIs("m")->portsIs("Et9", false);  // a new child under the same key, withheld
  p.drain();
  EXPECT_EQ(dump(mirror), dump(*group));
  EXPECT_NE(mirror.mode("m"), oldMirrorChild);
  EXPECT_EQ(p.demuxer.replacedChildren(), 1u);
  EXPECT_EQ(oldMirrorChild->parent(), nullptr);
}

// Every cut of a valid stream applies exactly the whole records before the cut; every single-byte
// change either applies or is refused without applying any of its record.
TEST(AttrLogInput, TruncationsAndByteFlipsNeverHalfApply) {
  auto dir = sampleDir();
  Vem::NboAttrLog::Sender sender;
  sender.attach(dir);
  sender.flowOut();
  const std::string stream(sender.output());
  std::vector<std::size_t> ends;  // end offset of each record
  for (std::size_t at = 0; at < stream.size();) {
    const auto* p = reinterpret_cast<const uint8_t*>(stream.data()) + at;
    at += 11 + (uint32_t(p[7]) << 24 | uint32_t(p[8]) << 16 | uint32_t(p[9]) << 8 | p[10]);
    ends.push_back(at);
  }
  auto mirrorOf = [](std::string_view bytes, bool* refused) {
    Pair p;
    try {
      p.demuxer.feed(bytes);
    } catch (const Vem::RangeException&) {
      *refused = true;
    }
    return p.mirror ? dump(p.mirrorAs<PortGroupDir>()) : std::string("none");
  };
  std::vector<std::string> prefixState{"none"};
  for (std::size_t e : ends) {
    bool refused = false;
    prefixState.push_back(mirrorOf(std::string_view(stream).substr(0, e), &refused));
    ASSERT_FALSE(refused);
  }
  EXPECT_EQ(prefixState.back(), dump(*dir));
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    std::size_t whole = 0;
    while (whole < ends.size() && ends[whole] <= cut) ++whole;
    bool refused = false;
    EXPECT_EQ(mirrorOf(std::string_view(stream).substr(0, cut), &refused), prefixState[whole]) << cut;
    EXPECT_FALSE(refused);
  }
  std::mt19937 rng(7);
  for (int trial = 0; trial < 3000; ++trial) {
    std::string bad = stream;
    const std::size_t at = rng() % bad.size();
    bad[at] = static_cast<char>(bad[at] ^ (1 + rng() % 255));
    std::size_t record = 0;
    while (ends[record] <= at) ++record;
    Pair p;
    try {
      p.demuxer.feed(bad);
    } catch (const Vem::RangeException&) {
      const std::string err = p.demuxer.error();
      const std::size_t start = record == 0 ? 0 : ends[record - 1];
      if (err.find("record at byte " + std::to_string(start) + " ") != std::string::npos) {
        std::string state = p.mirror ? dump(p.mirrorAs<PortGroupDir>()) : "none";
        EXPECT_EQ(state, prefixState[record]) << "flip at " << at << ": " << err;
      }
    }
  }
}

}  // namespace
