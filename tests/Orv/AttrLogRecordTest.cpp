// Byte-exact records of the attribute log, the flow-out record's marks, and the value forms, on the
// port-group types.
#include "MirrorTestSupport.h"

#include <Orv/OrvPortVlanPair.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogFlow.h>
#include <Vem/TypeImpl.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Orv;
using Vem::NboAttrLog::Sender;

using OrvTest::hex;

// What the sender has written since the last take, as hex; the sender forgets it.
std::string takeHex(Sender& sender) {
  std::string out(sender.output());
  sender.consume(out.size());
  return hex(out);
}

// A sender whose initial sync of a PortList named "pl" has been taken already.
struct PortListOnStream : ::testing::Test {
  Lumo::Ptr<PortList> list = PortListIs("pl");
  Sender sender;
  void SetUp() override {
    sender.attach(list);
    takeHex(sender);
  }
  std::string take() { return takeHex(sender); }
};

TEST(AttrLogRecord, InitialSyncIsRootThenPassThenDirtyScalars) {
  auto list = PortListIs("pl");
  list->portsIs("Et1", true);
  Sender sender;
  EXPECT_EQ(sender.attach(list).value, 1u);
  EXPECT_EQ(hex(sender.output()),
            // root: id 1, kind 2, attribute 0, 23 bytes: type name, then the name
            "00000001" "02" "0000" "00000017" "0000000d" + hex("Orv::PortList") + "00000002" + hex("pl") +
                // begin marker of ports, the entry, the end marker
                "00000001" "01" "0102" "00000001" "00" +
                "00000001" "00" "0102" "00000008" "00000003" + hex("Et1") + "01" +
                "00000001" "01" "0102" "00000001" "02" +
                // hiddenFromCli: 1 byte under 259
                "00000001" "00" "0103" "00000001" "00");
  EXPECT_FALSE(sender.withheld());
}

TEST_F(PortListOnStream, EntryDeletionAndScalarRecords) {
  list->portsIs("Et1", true);
  EXPECT_EQ(take(), "00000001" "00" "0102" "00000008" "00000003" + hex("Et1") + "01");
  list->portsIs("Et1", true);  // no change, no record
  EXPECT_EQ(take(), "");
  list->portsDel("Et1");  // the key alone under 65278
  EXPECT_EQ(take(), "00000001" "00" "fefe" "00000007" "00000003" + hex("Et1"));
  list->portsDel("Et1");
  EXPECT_EQ(take(), "");
  list->hiddenFromCliIs(true);
  EXPECT_EQ(take(), "00000001" "00" "0103" "00000001" "01");
}

TEST(AttrLogRecord, ChildrenCarryTheirIdAndKeyThenTheirOwnState) {
  auto group = PortGroupIs("g");
  Sender sender;
  sender.attach(group);
  takeHex(sender);
  group->modeIs("m");
  // Child entry: id 2 (new to the stream, flag 1), key "m"; then the child's own initial sync.
  EXPECT_EQ(takeHex(sender), "00000001" "00" "0102" "0000000a" "00000002" "01" "00000001" + hex("m"));
  EXPECT_TRUE(sender.withheld());
  sender.flowOut();
  EXPECT_EQ(takeHex(sender), "00000002" "01" "0102" "00000001" "00" + std::string("00000002" "01" "0102" "00000001" "02") +
                              "00000002" "00" "0103" "00000001" "00");
  group->mode("m")->portsIs("Et2", false);
  EXPECT_EQ(takeHex(sender), "00000002" "00" "0102" "00000008" "00000003" + hex("Et2") + "00");
  group->modeDel("m");
  EXPECT_EQ(takeHex(sender), "00000001" "00" "fefe" "00000005" "00000001" + hex("m"));
  EXPECT_EQ(sender.adapterCount(), 1u);  // the child is no longer carried
}

TEST_F(PortListOnStream, NewFlowOutMarksByStartAttribute) {
  auto* sa = list->vemNboAttrLogSa(&sender);
  ASSERT_NE(sa, nullptr);
  const auto& h = Vem::TypeImpl<PortList>::table;
  auto f0 = h.newFlowOut(*sa, false, 0);
  EXPECT_FALSE(f0->vemHasSynced(258));
  EXPECT_TRUE(f0->vemIsDirty(259));
  auto f259 = h.newFlowOut(*sa, false, 259);
  EXPECT_TRUE(f259->vemHasSynced(258));
  EXPECT_TRUE(f259->vemIsDirty(259));
  auto fNone = h.newFlowOut(*sa, false, -1);
  EXPECT_TRUE(fNone->vemHasSynced(258));
  EXPECT_FALSE(fNone->vemIsDirty(259));
  EXPECT_FALSE(fNone->hasDirtyCollKeys());
}

TEST_F(PortListOnStream, UnknownAttributeIdsAreRefused) {
  auto* sa = list->vemNboAttrLogSa(&sender);
  const auto& h = Vem::TypeImpl<PortList>::table;
  EXPECT_FALSE(h.streamAdapterOnAttribute(*sa, 300, nullptr));
  auto f = h.newFlowOut(*sa, false, 0);
  EXPECT_EQ(h.handleAttrFlowOut(*sa, 300, *f), -1);
  EXPECT_FALSE(h.freeResyncState(*f));
}

// A value's collection: entries then one default key; a repeated key is refused on input. (That the
// default key cannot be carried is checked through a value in ValueShapeTest.)
TEST(AttrLogRecord, ValueCollectionsEndWithTheDefaultKey) {
  using Map = Vem::RbTreeMap<uint32_t, uint16_t>;
  Map m;
  m.set(7, 0x0a0b);
  m.set(9, 1);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  Vem::LogTraits<Map>::write(out, m);
  EXPECT_EQ(hex(bytes), "00000007" "0a0b" "00000009" "0001" "00000000");
  EXPECT_EQ(Vem::LogTraits<Map>::size(m), bytes.size());
  Vem::NboAttrLog::In in(bytes);
  Map back;
  Vem::LogTraits<Map>::read(in, back);
  EXPECT_EQ(back.size(), 2u);
  EXPECT_EQ(*back.find(7), 0x0a0b);

  const std::string twice = std::string("\0\0\0\7\0\1\0\0\0\7\0\2\0\0\0\0", 16);
  Vem::NboAttrLog::In in2(twice);
  Map dup;
  EXPECT_THROW(Vem::LogTraits<Map>::read(in2, dup), Vem::RangeException);
  EXPECT_EQ(dup.size(), 0u);
}

TEST(AttrLogRecord, ReadersRefuseBadStrings) {
  const std::string s("\0\0\0\3abc", 7);
  Vem::NboAttrLog::In ok(s);
  EXPECT_EQ(ok.nextValidString(7), "abc");
  Vem::NboAttrLog::In shortRecord(s);
  EXPECT_THROW(shortRecord.nextValidString(6), Vem::RangeException);
  Vem::NboAttrLog::In peek(s);
  EXPECT_EQ(peek.peekEntityId().value, 3u);
  EXPECT_EQ(peek.offset(), 0u);
}

}  // namespace
