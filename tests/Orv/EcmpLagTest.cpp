// ECMP LAG entries are values holding a member map: whole-map equality, a log form ended by slot 0 (which
// therefore cannot travel), no text parser; hasSameMember with its trace lines; the tables announce real
// changes only and mirror through the attribute log.
#include "MirrorTestSupport.h"

#include <Orv/OrvEcmpLagTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>
#include <Vem/Trace.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace OrvTypes;
using Pelix::IntfId;

const IntfId A("Ethernet1"), B("Ethernet2"), lag("Port-Channel7");

EcmpLagConfigEntry config(IntfId intf, std::initializer_list<std::pair<uint32_t, IntfId>> members) {
  EcmpLagConfigEntry e(intf);
  for (const auto& [slot, member] : members) e.memberIs(slot, member);
  return e;
}

IntfId eth(uint32_t n) {
  const std::string name = "Ethernet" + std::to_string(n);
  return IntfId(std::string_view(name));
}

template <class T>
std::string logged(const T& value) {
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << value;
  return bytes;
}

std::string errorOf(auto&& f) {
  try {
    f();
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}

TEST(EcmpLagRegistration, TypesInOrderWithTheirMembers) {
  const char* names[] = {"OrvTypes::HwLagId", "OrvTypes::EcmpLagConfigEntry", "OrvTypes::EcmpLagConfig",
                         "OrvTypes::EcmpLagStatusEntry", "OrvTypes::EcmpLagStatus"};
  for (uint16_t i = 0; i < 5; ++i) {
    auto t = Vem::Registry::typeByName(names[i]);
    ASSERT_TRUE(t.has_value()) << names[i];
    EXPECT_EQ(t->index(), i) << names[i];
    EXPECT_EQ(t->isEntity(), i == 2 || i == 4) << names[i];
  }
  auto hw = HwLagId::vemType();
  EXPECT_EQ(hw.memberById(2)->flagsA, 0x2808);  // invalidTid: a constant, not stored
  EXPECT_EQ(hw.memberById(3)->flagsA, 0x2c00);
  EXPECT_EQ(sizeof(HwLagId), 2u);
  auto entry = EcmpLagConfigEntry::vemType();
  EXPECT_EQ(entry.memberById(3)->flagsA, 0x9c01);  // the member map
  EXPECT_EQ(entry.memberById(3)->keyType, -9);
  EXPECT_EQ(entry.memberById(4)->flagsA, 0x0810);  // hasSameMember
  EXPECT_EQ(EcmpLagStatusEntry::vemType().memberById(4)->flagsB, 0x0101);
  auto table = EcmpLagStatus::vemType();
  EXPECT_NE(table.memberById(154), nullptr);
  EXPECT_EQ(table.memberById(258)->flagsA, 0xdc01);
  EXPECT_EQ(table.memberName(*table.memberById(258)), "ecmpLagToHwLagId");
}

TEST(HwLagId, ValidUnlessInvalidTid) {
  EXPECT_EQ(HwLagId().tid(), 65535);
  EXPECT_EQ(HwLagId::invalidTid(), 65535);
  EXPECT_FALSE(static_cast<bool>(HwLagId()));
  EXPECT_TRUE(static_cast<bool>(HwLagId(0)));
  EXPECT_LT(HwLagId(0), HwLagId(1));
  EXPECT_EQ(logged(HwLagId(0x1234)), std::string("\x12\x34", 2));
  EXPECT_EQ(Vem::strepToValue<HwLagId>(HwLagId(9).stringValue().view()), HwLagId(9));
}

TEST(EcmpLagEntry, EqualityComparesWholeMapsThenTheTrunk) {
  EXPECT_EQ(config(lag, {{1, A}, {2, B}}), config(lag, {{2, B}, {1, A}}));
  EXPECT_NE(config(lag, {{1, A}, {2, B}}), config(lag, {{1, A}, {3, B}}));
  EXPECT_NE(config(lag, {{1, A}}), config(lag, {{1, A}, {2, B}}));
  EXPECT_NE(config(lag, {{1, A}}), config(A, {{1, A}}));
  EXPECT_FALSE(static_cast<bool>(EcmpLagConfigEntry()));
  EXPECT_TRUE(static_cast<bool>(config(IntfId(), {{5, IntfId()}})));  // a member alone makes it set

  EcmpLagStatusEntry s(lag), t(lag);
  s.memberIs(1, A);
  t.memberIs(1, A);
  EXPECT_FALSE(s.hwLagId());
  EXPECT_EQ(s, t);
  t.hwLagIdIs(HwLagId(3));
  EXPECT_NE(s, t);
  s.memberIs(1, B);  // an existing slot is replaced
  EXPECT_EQ(s.member(1), B);
  EXPECT_EQ(s.member().size(), 1u);
}

TEST(EcmpLagEntry, HasSameMemberComparesSlotsNotInterfaces) {
  EXPECT_TRUE(config(lag, {{1, A}, {2, B}}).hasSameMember(config(A, {{2, B}, {1, A}})));
  EXPECT_FALSE(config(lag, {{1, A}}).hasSameMember(config(lag, {{1, A}, {2, B}})));
  EXPECT_FALSE(config(lag, {{1, A}, {2, B}}).hasSameMember(config(lag, {{1, A}, {3, B}})));
  EXPECT_FALSE(config(lag, {{1, A}}).hasSameMember(config(lag, {{1, B}})));
  EXPECT_TRUE(EcmpLagConfigEntry().hasSameMember(config(lag, {})));
  // A slot missing on the other side reads as the empty interface.
  EXPECT_TRUE(config(lag, {{1, IntfId()}}).hasSameMember(config(lag, {{2, A}})));
  EXPECT_FALSE(config(lag, {{2, A}}).hasSameMember(config(lag, {{1, IntfId()}})));
}

TEST(EcmpLagEntry, HasSameMemberTracesEachAnswerAtLevelThree) {
  Vem::Trace::linesDelAll();
  const auto one = config(lag, {{1, A}}), two = config(lag, {{1, A}, {2, B}}), other = config(lag, {{1, B}});
  one.hasSameMember(one);
  EXPECT_TRUE(Vem::Trace::lines().empty());  // off by default

  Vem::Trace::levelIs("OrvEcmpLagTypes", 2, true);
  one.hasSameMember(one);
  EXPECT_TRUE(Vem::Trace::lines().empty());  // another level

  Vem::Trace::levelIs("OrvEcmpLagTypes", 3, true);
  one.hasSameMember(one);
  one.hasSameMember(two);    // counts differ
  one.hasSameMember(other);  // a slot differs
  Vem::Trace::levelsIs("OrvEcmpLagTypes", 0);
  one.hasSameMember(one);
  EXPECT_EQ(Vem::Trace::lines(), (std::vector<Vem::TraceLine>{{"OrvEcmpLagTypes", 3, "hasSameMember return true "},
                                                              {"OrvEcmpLagTypes", 3, "hasSameMember return false "},
                                                              {"OrvEcmpLagTypes", 3, "hasSameMember return false "}}));
  Vem::Trace::linesDelAll();
}

TEST(EcmpLagEntry, LogFormEndsWithSlotZero) {
  // No members: the interface, then a single zero slot number.
  EXPECT_EQ(logged(EcmpLagConfigEntry(lag)), logged(lag) + std::string(4, '\0'));
  auto c = config(lag, {});
  EcmpLagStatusEntry s(lag);
  s.hwLagIdIs(HwLagId(0x0102));
  for (uint32_t n = 0; n < 4; ++n) {
    const std::string cb = logged(c), sb = logged(s);
    EXPECT_EQ(cb.size(), 12u + 12 * n);
    EXPECT_EQ(sb.size(), 14u + 12 * n);
    EXPECT_EQ(attrLogSize(&c), cb.size());
    EXPECT_EQ(attrLogSize(&s), sb.size());
    EXPECT_EQ(sb.substr(sb.size() - 6), std::string("\0\0\0\0\x01\x02", 6));  // end mark, then the trunk
    Vem::NboAttrLog::In ci(cb), si(sb);
    EXPECT_EQ(EcmpLagConfigEntry(&ci, Vem::StreamBogon{}), c);
    EXPECT_EQ(EcmpLagStatusEntry(&si, Vem::StreamBogon{}), s);
    EXPECT_TRUE(ci.atEnd() && si.atEnd());
    c.memberIs(n + 1, eth(n + 10));
    s.memberIs(n + 1, eth(n + 10));
  }
  // One member, byte for byte: interface, slot, member, end mark.
  EXPECT_EQ(logged(config(lag, {{7, A}})), logged(lag) + std::string("\0\0\0\x07", 4) + logged(A) + std::string(4, '\0'));
}

TEST(EcmpLagEntry, SlotZeroCannotTravelAndNoTextParser) {
  std::string bytes = "kept";
  Vem::NboAttrLog::Out out(bytes);
  EXPECT_THROW(out << config(lag, {{1, A}, {0, B}}), Vem::RangeException);
  EcmpLagStatusEntry s(lag);
  s.memberIs(0, A);
  EXPECT_THROW(out << s, Vem::RangeException);
  EXPECT_EQ(bytes, "kept");

  EXPECT_EQ(errorOf([] { Vem::strepToValue<EcmpLagConfigEntry>(config(lag, {{1, A}}).stringValue().view()); }),
            "No String constructor for EcmpLagConfigEntry - has collection");
  EXPECT_EQ(errorOf([] { Vem::strepToValue<EcmpLagStatusEntry>("x"); }),
            "No String constructor for EcmpLagStatusEntry - has collection");
  EXPECT_EQ(config(lag, {{2, B}, {1, A}}).stringValue(),
            "OrvTypes::EcmpLagConfigEntry(ecmpLagIntf=Port-Channel7, member={1: Ethernet1, 2: Ethernet2})");
}

struct Seen : Lumo::Subscriber {
  explicit Seen(Vem::Entity& e) : entity(e) { e.publisher().subscriberAdd(this); }
  ~Seen() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    ids.push_back(id);
    keys.push_back(*static_cast<const IntfId*>(key));
    olds.push_back(old ? *static_cast<const EcmpLagConfigEntry*>(old) : EcmpLagConfigEntry());
  }
  Vem::Entity& entity;
  std::vector<uint16_t> ids;
  std::vector<IntfId> keys;
  std::vector<EcmpLagConfigEntry> olds;
};

TEST(EcmpLagConfig, FilesEntriesUnderTheirInterfaceAndAnnouncesRealChanges) {
  auto table = ecmpLagConfigFactory(Lumo::String("ecmp"));
  Seen seen(*table);
  const auto first = config(lag, {{1, A}});
  table->ecmpLagIs(first);
  table->ecmpLagIs(config(lag, {{1, A}}));  // equal: nothing
  auto second = config(lag, {{1, A}, {2, B}});
  table->ecmpLagIs(second);
  EXPECT_EQ(table->ecmpLag(lag), second);
  EXPECT_EQ(table->ecmpLag(A), EcmpLagConfigEntry());  // absent: the default
  EXPECT_EQ(table->ecmpLagDel(lag), second);
  EXPECT_EQ(table->ecmpLagDel(lag), EcmpLagConfigEntry());  // absent: nothing announced
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258, 258, 258}));
  EXPECT_EQ(seen.keys, (std::vector<IntfId>{lag, lag, lag}));
  EXPECT_EQ(seen.olds, (std::vector<EcmpLagConfigEntry>{EcmpLagConfigEntry(), first, second}));
}

TEST(EcmpLagStatus, MirrorsThroughTheAttributeLog) {
  auto table = ecmpLagStatusFactory(Lumo::String("ecmp"));
  EcmpLagStatusEntry e(lag);
  e.memberIs(1, A);
  e.memberIs(2, B);
  e.hwLagIdIs(HwLagId(12));
  table->ecmpLagToHwLagIdIs(e);
  MirrorTest::Pair pair;
  pair.sender.attach(table);
  pair.drain();
  ASSERT_TRUE(pair.mirror);
  auto& mirror = pair.mirrorAs<EcmpLagStatus>();
  EXPECT_EQ(mirror.ecmpLagToHwLagId(lag), e);

  EcmpLagStatusEntry other(A);
  other.memberIs(4, B);
  table->ecmpLagToHwLagIdIs(other);
  table->ecmpLagToHwLagIdDel(lag);
  pair.drain();
  EXPECT_EQ(mirror.ecmpLagToHwLagId().size(), 1u);
  EXPECT_EQ(mirror.ecmpLagToHwLagId(A), other);

  // An entry holding slot 0 is stored, but its record cannot be written: the stream takes nothing.
  const std::size_t before = pair.sender.buffered();
  EcmpLagStatusEntry zero(B);
  zero.memberIs(0, A);
  EXPECT_THROW(table->ecmpLagToHwLagIdIs(zero), Vem::RangeException);
  EXPECT_EQ(pair.sender.buffered(), before);
  pair.drain();
  EXPECT_EQ(mirror.ecmpLagToHwLagId().size(), 1u);
}

}  // namespace
