// ECMP LAG entries are values holding a member map: a log form ended by slot 0 and followed by the
// trunk; hasSameMember with its trace lines; the status table mirrors through the
// attribute log and refuses an entry it could not send.
#include "MirrorTestSupport.h"

#include <Orv/OrvEcmpLagTypes.h>

#include <Vem/NboAttrLog.h>
#include <Vem/Trace.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using OrvTest::logBytes;
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
  EXPECT_TRUE(Vem::Trace::lines().empty());  // off by default; levels per source are tests/Vem's

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
  EXPECT_EQ(logBytes(EcmpLagConfigEntry(lag)), logBytes(lag) + std::string(4, '\0'));
  auto c = config(lag, {});
  EcmpLagStatusEntry s(lag);
  s.hwLagIdIs(HwLagId(0x0102));
  for (uint32_t n = 0; n < 4; ++n) {
    SCOPED_TRACE(n);
    const std::string sb = logBytes(s);
    EXPECT_EQ(logBytes(c).size(), 12u + 12 * n);
    EXPECT_EQ(sb.size(), 14u + 12 * n);
    EXPECT_EQ(sb.substr(sb.size() - 6), std::string("\0\0\0\0\x01\x02", 6));  // end mark, then the trunk
    OrvTest::expectLogReadsBack(c);
    OrvTest::expectLogReadsBack(s);
    c.memberIs(n + 1, eth(n + 10));
    s.memberIs(n + 1, eth(n + 10));
  }
  // One member, byte for byte: interface, slot, member, end mark.
  EXPECT_EQ(logBytes(config(lag, {{7, A}})), logBytes(lag) + std::string("\0\0\0\x07", 4) + logBytes(A) + std::string(4, '\0'));
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
