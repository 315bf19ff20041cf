// A directory of references to port statuses, as an agent files them and on the attribute log: the records
// of one entry and one deletion, the referenced statuses carried while filed and mirrored with every later
// change, malformed references refused whole, and random changes to directories and statuses under random
// small room.
#include "MirrorTestSupport.h"

#include <Orv/OrvInterfaceTypes.h>
#include <Vem/RangeException.h>

#include "AnnouncementLog.h"
#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace OrvTypes;
using Pelix::IntfId;
using Vem::NboAttrLog::Demuxer;
using Vem::NboAttrLog::pump;
using Vem::NboAttrLog::Sender;
using Lines = std::vector<std::string>;

IntfId ethernet(int n) { return IntfId(std::string_view("Ethernet" + std::to_string(n))); }

using OrvTest::hex;

std::string dump(const OrvPortStatus& s) {
  return s.intfName().name().stdString() + " link=" + stringValue(s.linkStatus()).stdString() +
         " fault=" + stringValue(s.faultType()).stdString() + " partner=" + s.partnerAutonegAdvertisement().stringValue().stdString() +
         " autoneg=" + stringValue(s.autonegResult()).stdString();
}

std::string dump(const OrvPortStatusDir& d) {
  std::map<uint64_t, std::string> lines;
  d.portStatus().forEach([&](const IntfId& k, const Lumo::Ptr<OrvPortStatus>& s) {
    lines[k.raw()] = " [" + k.name().stdString() + "] " + dump(*s) + "\n";
  });
  std::string out = "dir " + d.name().stdString() + "\n";
  for (auto& [k, line] : lines) out += line;
  return out;
}

using Link = MirrorTest::Pair;

// The directory files references to port statuses made elsewhere: null refused with the attribute named,
// the same entity changes nothing, another one of the same interface replaces it, and removal drops only
// the directory's reference.
TEST(OrvPortStatusDir, FilesReferencesWithoutOwningThem) {
  const IntfId et1("Ethernet1"), et2("Ethernet2");
  auto dir = orvPortStatusDirFactory(Lumo::String("ports"));
  auto first = OrvPortStatusIs(et1);
  OrvTest::AnnouncementLines seen(*dir);

  const std::string nullRefused = OrvTest::errorOf<Vem::EntityError>([&] { dir->portStatusIs(Lumo::Ptr<OrvPortStatus>()); });
  EXPECT_NE(nullRefused.find("attribute 258"), std::string::npos) << nullRefused;
  EXPECT_EQ(dir->portStatus().size(), 0u);

  dir->portStatusIs(first);
  EXPECT_EQ(first->useCount(), 2u);  // ours and the directory's
  EXPECT_EQ(first->parent(), nullptr);  // filed, not adopted
  dir->portStatusIs(first);  // the same entity: nothing
  EXPECT_EQ(seen.take(), (Lines{"258 key"}));

  auto replacement = OrvPortStatusIs(et1);  // another entity of the same interface replaces it
  dir->portStatusIs(replacement);
  EXPECT_EQ(dir->portStatus(et1), replacement);
  EXPECT_EQ(first->useCount(), 1u);
  EXPECT_EQ(seen.take(), (Lines{"258 key old"}));

  dir->portStatusIs(OrvPortStatusIs(et2));
  EXPECT_EQ(dir->portStatusDel(et1), replacement);
  EXPECT_EQ(replacement->useCount(), 1u);  // the directory's reference only was dropped
  replacement->linkStatusIs(Interface::LinkStatus::linkDown);  // and it lives on
  EXPECT_EQ(dir->portStatusDel(et1), nullptr);
  dir->portStatusDelAll();
  EXPECT_EQ(dir->portStatus().size(), 0u);
  EXPECT_EQ(seen.take(), (Lines{"258 key", "258 key old", "258 key old"}));
}

TEST(PortStatusLog, RecordsOfOneEntryAndOneDeletion) {
  auto dir = orvPortStatusDirFactory(Lumo::String("ports"));
  auto et1 = OrvPortStatusIs(IntfId("Ethernet1"));
  Link l;
  const Vem::EntityId dirId = l.sender.attach(dir);
  l.drain();
  ASSERT_EQ(dirId.value, 1u);

  // Not yet carried: its root record (type name, then its intfName) precedes the entry naming it.
  dir->portStatusIs(et1);
  EXPECT_EQ(hex(l.sender.output()),
            "00000002" "02" "0000" "00000023" "00000017" "4f727654797065733a3a4f7276506f7274537461747573"
            "0100010000000000"
            "00000001" "00" "0102" "0000000c" "0100010000000000" "00000002");
  l.drain();
  auto& mirror = l.mirrorOf<OrvPortStatusDir>(dirId);
  ASSERT_NE(mirror.portStatus(et1->intfName()), nullptr);
  EXPECT_EQ(l.demuxer.idOf(mirror.portStatus(et1->intfName()).get()).value, 2u);

  // Filing it again under the same key changes nothing; its own changes travel as its records.
  dir->portStatusIs(et1);
  et1->linkStatusIs(Interface::LinkStatus::linkUp);
  EXPECT_EQ(hex(l.sender.output()), "00000002" "00" "0103" "00000004" "00000001");
  l.drain();
  EXPECT_EQ(dump(*mirror.portStatus(et1->intfName())), dump(*et1));

  dir->portStatusDel(et1->intfName());
  EXPECT_EQ(hex(l.sender.output()), "00000001" "00" "fefe" "00000008" "0100010000000000");
  l.drain();
  EXPECT_EQ(mirror.portStatus().size(), 0u);
}

TEST(PortStatusLog, ReferencedStatusesAreCarriedWhileFiled) {
  auto first = orvPortStatusDirFactory(Lumo::String("first"));
  auto second = orvPortStatusDirFactory(Lumo::String("second"));
  auto et1 = OrvPortStatusIs(IntfId("Ethernet1"));
  auto et2 = OrvPortStatusIs(IntfId("Ethernet2"));
  first->portStatusIs(et1);  // filed before the directory is attached: goes with its pass
  Link l;
  const auto firstId = l.sender.attach(first), secondId = l.sender.attach(second);
  second->portStatusIs(et1);  // filed twice: one entity, one id, one mirror
  l.drain();
  auto& m1 = l.mirrorOf<OrvPortStatusDir>(firstId);
  auto& m2 = l.mirrorOf<OrvPortStatusDir>(secondId);
  ASSERT_NE(m1.portStatus(et1->intfName()), nullptr);
  EXPECT_EQ(m1.portStatus(et1->intfName()), m2.portStatus(et1->intfName()));
  EXPECT_EQ(et1->useCount(), 4u);  // ours, two directories', the stream's
  EXPECT_EQ(l.sender.adapterCount(), 3u);

  first->portStatusDel(et1->intfName());  // still filed by the second directory: still carried
  et1->faultTypeIs(FaultType::remote);
  l.drain();
  EXPECT_EQ(dump(*m2.portStatus(et1->intfName())), dump(*et1));
  ASSERT_NE(et1->vemNboAttrLogSa(&l.sender), nullptr);

  // Replaced by another entity of the same interface: the old one is no longer filed anywhere.
  auto et1b = OrvPortStatusIs(IntfId("Ethernet1"));
  et1b->linkStatusIs(Interface::LinkStatus::linkDown);
  second->portStatusIs(et1b);
  EXPECT_EQ(et1->vemNboAttrLogSa(&l.sender), nullptr);
  EXPECT_EQ(et1->useCount(), 1u);
  l.drain();
  EXPECT_EQ(dump(m2), dump(*second));
  EXPECT_EQ(l.sender.adapterCount(), 3u);

  // Dropped, then filed again: a fresh id and a fresh mirror, which follows from then on.
  const auto oldMirror = m2.portStatus(et1->intfName());
  second->portStatusDel(et1->intfName());
  EXPECT_EQ(l.sender.adapterCount(), 2u);
  second->portStatusIs(et1b);
  et1b->autonegResultIs(Interface::AutonegState::autonegFailed);
  l.drain();
  EXPECT_NE(m2.portStatus(et1->intfName()), oldMirror);
  EXPECT_EQ(dump(m2), dump(*second));

  // An entity attached on its own and filed goes by its own id, and a detached one stays while filed.
  const auto et2Id = l.sender.attach(et2);
  first->portStatusIs(et2);
  l.drain();
  EXPECT_EQ(l.demuxer.idOf(m1.portStatus(et2->intfName()).get()), et2Id);
  l.sender.detach(*et2);
  et2->linkStatusIs(Interface::LinkStatus::linkUp);
  l.drain();
  EXPECT_EQ(dump(m1), dump(*first));
  first->portStatusDelAll();
  EXPECT_EQ(et2->vemNboAttrLogSa(&l.sender), nullptr);

  // A directory no longer carried lets go of what only it filed.
  l.sender.detach(*second);
  EXPECT_EQ(et1b->vemNboAttrLogSa(&l.sender), nullptr);
  EXPECT_EQ(l.sender.adapterCount(), 1u);
}

// Records straight to a demuxer holding a mirror directory (entity 1) with Ethernet1 filed (entity 2).
struct DirMirror {
  Demuxer demuxer;
  std::string bytes;
  Vem::NboAttrLog::Out out{bytes};
  const IntfId et1{"Ethernet1"}, et2{"Ethernet2"};
  DirMirror() {
    root(1, "OrvTypes::OrvPortStatusDir", [&] { out.string("ports"); });
    root(2, "OrvTypes::OrvPortStatus", [&] { out.u64(et1.raw()); });
    entry(et1, 2);
    demuxer.feed(bytes);
    bytes.clear();
    EXPECT_EQ(dir().portStatus().size(), 1u);
  }
  template <class Fn>
  void record(uint32_t entity, uint8_t kind, uint16_t attribute, Fn&& payload) {
    MirrorTest::appendRecord(out, entity, kind, attribute, payload);
  }
  template <class Fn>
  void root(uint32_t id, const char* type, Fn&& params) {
    record(id, 2, 0, [&] {
      out.string(type);
      params();
    });
  }
  void entry(IntfId key, uint32_t target) {
    record(1, 0, 258, [&] {
      out.u64(key.raw());
      out.u32(target);
    });
  }
  OrvPortStatusDir& dir() { return static_cast<OrvPortStatusDir&>(*demuxer.entityOf(Vem::EntityId{1})); }
  // Feeds the pending bytes, expecting a refusal naming `what`, with the directory as it was.
  void expectRefused(const std::string& what) {
    const std::string before = dump(dir());
    const auto filed = dir().portStatus(et1);
    const std::string error = OrvTest::errorOf<Vem::RangeException>([&] { demuxer.feed(bytes); });
    EXPECT_NE(error.find(what), std::string::npos) << error;
    EXPECT_NE(error.find("portStatus"), std::string::npos) << error;
    EXPECT_TRUE(demuxer.failed());
    EXPECT_EQ(dump(dir()), before);
    EXPECT_EQ(dir().portStatus(et1), filed);
  }
};

// Each bad entry on a fresh stream: an id on no entity, an id of another type (the directory itself), a
// key other than the filed entity's own, and an entry cut short.
TEST(DirMirror, EachBadEntryIsRefusedWholeAndChangesNothing) {
  struct Case {
    const char* what;
    void (*write)(DirMirror&);
  };
  const Case cases[] = {
      {"entity 7, which is not on this stream", [](DirMirror& m) { m.entry(m.et2, 7); }},
      {"not a OrvTypes::OrvPortStatus", [](DirMirror& m) { m.entry(m.et1, 1); }},
      {"key differs", [](DirMirror& m) { m.entry(m.et2, 2); }},
      {"truncated", [](DirMirror& m) { m.record(1, 0, 258, [&] { m.out.u64(m.et2.raw()); }); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    DirMirror m;
    c.write(m);
    m.expectRefused(c.what);
  }
}

TEST(DirMirror, MarkersDeleteReferencesNotResent) {
  DirMirror m;
  m.root(3, "OrvTypes::OrvPortStatus", [&] { m.out.u64(m.et2.raw()); });
  m.record(1, 1, 258, [&] { m.out.u8(0); });
  m.entry(m.et2, 3);
  m.record(1, 1, 258, [&] { m.out.u8(2); });
  m.demuxer.feed(m.bytes);
  ASSERT_EQ(m.dir().portStatus().size(), 1u);
  EXPECT_EQ(m.dir().portStatus(m.et2).get(), m.demuxer.entityOf(Vem::EntityId{3}));
}

// ---- convergence ------------------------------------------------------------------------------------

// Two directories filing port statuses from a small pool, where two entities share each interface, so
// that filing one replaces the other.
struct Scene {
  Lumo::Ptr<OrvPortStatusDir> dirs[2] = {orvPortStatusDirFactory(Lumo::String("a")),
                                         orvPortStatusDirFactory(Lumo::String("b"))};
  std::vector<Lumo::Ptr<OrvPortStatus>> pool;
  Scene() {
    for (int i = 0; i < 8; ++i) pool.push_back(OrvPortStatusIs(ethernet(1 + i % 4)));
  }
  void change(std::mt19937& rng) {
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    OrvPortStatusDir& dir = *dirs[pick(2)];
    OrvPortStatus& status = *pool[pick(8)];
    switch (pick(10)) {
      case 0: case 1: case 2: dir.portStatusIs(pool[pick(8)]); return;
      case 3: case 4: dir.portStatusDel(status.intfName()); return;
      case 5: if (pick(6) == 0) dir.portStatusDelAll(); return;
      case 6: status.linkStatusIs(static_cast<Interface::LinkStatus>(pick(3))); return;
      case 7: status.faultTypeIs(static_cast<FaultType>(pick(4))); return;
      case 8: status.partnerAutonegAdvertisementIs(Interface::AutonegAdvertisement(pick(4) << 4, pick(2), 0)); return;
      default: status.autonegResultIs(static_cast<Interface::AutonegState>(pick(5))); return;
    }
  }
};

void convergeOnce(uint32_t seed, int& withheldRuns) {
  std::mt19937 rng(seed);
  Scene scene;
  for (int i = 0; i < 10; ++i) scene.change(rng);
  Link l(rng() % 200);
  Vem::EntityId ids[2];
  for (int d = 0; d < 2; ++d) ids[d] = l.sender.attach(scene.dirs[d]);
  const int steps = 10 + static_cast<int>(rng() % 40);
  bool withheld = false;
  for (int step = 0; step < steps; ++step) {
    for (int n = static_cast<int>(rng() % 4); n >= 0; --n) scene.change(rng);
    withheld = withheld || l.sender.withheld();
    l.sender.roomIs(rng() % 3 == 0 ? 0 : rng() % 200);
    pump(l.sender, l.demuxer, rng() % 150);
  }
  withheldRuns += withheld ? 1 : 0;
  l.drain();
  ASSERT_FALSE(l.sender.withheld());
  std::vector<const OrvPortStatus*> filed;
  for (int d = 0; d < 2; ++d) {
    auto& mirror = l.mirrorOf<OrvPortStatusDir>(ids[d]);
    ASSERT_EQ(dump(mirror), dump(*scene.dirs[d])) << "seed " << seed;
    scene.dirs[d]->portStatus().forEach([&](const IntfId&, const Lumo::Ptr<OrvPortStatus>& s) {
      if (std::find(filed.begin(), filed.end(), s.get()) == filed.end()) filed.push_back(s.get());
    });
  }
  // The same entity filed by both directories is one mirror; different entities are different mirrors.
  for (int i = 0; i < 4; ++i) {
    const IntfId k = ethernet(1 + i);
    const auto a = scene.dirs[0]->portStatus(k), b = scene.dirs[1]->portStatus(k);
    if (!a || !b) continue;
    const bool same = l.mirrorOf<OrvPortStatusDir>(ids[0]).portStatus(k) == l.mirrorOf<OrvPortStatusDir>(ids[1]).portStatus(k);
    ASSERT_EQ(same, a == b) << "seed " << seed << " Ethernet" << 1 + i;
  }
  // Carried: the two directories and exactly the entities they file.
  ASSERT_EQ(l.sender.adapterCount(), 2 + filed.size()) << "seed " << seed;
}

TEST(PortStatusConvergence, RandomChangesUnderRandomRoom) {
  int withheldRuns = 0;
  for (uint32_t seed = 1; seed <= 1500; ++seed) {
    try {
      convergeOnce(seed, withheldRuns);
    } catch (const std::exception& e) {
      FAIL() << "seed " << seed << ": " << e.what();
    }
    if (::testing::Test::HasFatalFailure()) return;
  }
  EXPECT_GT(withheldRuns, 1000);  // the room really did hold output back, in most runs
}

}  // namespace
