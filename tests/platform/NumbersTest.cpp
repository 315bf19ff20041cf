// Number-like platform ids: decimal text, big-endian log forms of their width, and the orders that
// differ from the plain number (route version ids, sequence numbers).
#include <Brek/Brek.h>
#include <Drove/Drove.h>
#include <Fru/Fru.h>
#include <L2Rib/L2Rib.h>
#include <Lumo/Pb.h>
#include <OrvFamily/OrvFamily.h>
#include <Pelix/Pelix.h>
#include <Tunnel/Tunnel.h>
#include <Vrf/Vrf.h>

#include <algorithm>
#include <limits>
#include <type_traits>
#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;

// Ids of one width are told apart by their names: one cannot be passed where another is expected.
static_assert(!std::is_convertible_v<Orv::VrfId, Vrf::VrfIdMap::VrfId> &&
              !std::is_convertible_v<Orv::VrfId, Orv::OrvTunnelId> &&
              !std::is_convertible_v<Drove::Fib::FecId, Orv::NexthopIndex>);

TEST(IntegerIds, DecimalTextAndLogFormWithinTheirWidth) {
  EXPECT_EQ(parsesBack<Orv::NexthopIndex>("18446744073709551615").value(), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(parsesBack<Orv::VrfId>("0"), Orv::VrfId());
  EXPECT_EQ(parsesBack<Drove::Fib::TableId>("65535").value(), 65535);
  EXPECT_EQ(refusal<Drove::Fib::TableId>("65536"), "number too large for Drove::Fib::TableId at offset 0");
  EXPECT_EQ(refusal<Orv::VrfId>("4294967296"), "number too large for Orv::VrfId at offset 0");
  expectRefused<Orv::VrfId>({"-1", ""});
  expectRefused<Fru::SlotId>({"007", "7x"});
  // The log form is the number in its width, big-endian.
  EXPECT_EQ(hex(logsBack(Tunnel::TunnelTable::TunnelId(0x0102030405060708u))), "0102030405060708");
  EXPECT_EQ(hex(logsBack(Vrf::VrfIdMap::VrfId(0x01020304u))), "01020304");
  EXPECT_EQ(hex(logsBack(Tunnel::TunnelCountersPriority(0x0102))), "0102");
  EXPECT_EQ(hex(logsBack(Drove::Fib::FecId(1))), "0000000000000001");
  // The tunnel id hashes its 8 bytes through the byte mixer.
  Brek::HashMix h;
  h.mix(uint64_t{42});
  EXPECT_EQ(Tunnel::TunnelTable::TunnelId(42).hash(), h.result());
  EXPECT_NE(Orv::NexthopIndex(1).hash(), Orv::NexthopIndex(uint64_t{1} << 32).hash());
}

TEST(OrvPdVersionId, OrderedByLow63BitsThenTopBit) {
  const uint64_t top = uint64_t{1} << 63;
  using V = Orv::OrvPdVersionId;
  EXPECT_EQ(V(7 | top) <=> V(7 | top), std::strong_ordering::equal);
  std::vector<V> v = {V(2 | top), V(1), V(2), V(1 | top), V(0)};
  std::sort(v.begin(), v.end());
  // The low bits decide before the top bit; within one version, top bit clear first.
  EXPECT_EQ(v, (std::vector<V>{V(0), V(1), V(1 | top), V(2), V(2 | top)}));
  EXPECT_EQ(parsesBack<V>("9223372036854775813").value(), 5 | top);
}

TEST(MplsLabel, NoLabelIs1048576) {
  EXPECT_TRUE(Pelix::MplsLabel().isNone());
  EXPECT_EQ(Pelix::MplsLabel().value(), 1048576u);
  EXPECT_EQ(parsesBack<Pelix::MplsLabel>("none"), Pelix::MplsLabel());
  EXPECT_EQ(parsesBack<Pelix::MplsLabel>("1048575").value(), 1048575u);
  EXPECT_EQ(parsesBack<Pelix::MplsLabel>("0").value(), 0u);
  EXPECT_NE(refusal<Pelix::MplsLabel>("1048576"), "no error");
  EXPECT_EQ(errorOf([] { Pelix::MplsLabel(1048577); }), "Pelix::MplsLabel::value > 1048576 not allowed");
  EXPECT_EQ(hex(logsBack(Pelix::MplsLabel())), "00100000");
  EXPECT_EQ(logRefusal<Pelix::MplsLabel>(std::string("\x00\x20\x00\x00", 4)),
            "Pelix::MplsLabel::value > 1048576 not allowed");
  EXPECT_LT(Pelix::MplsLabel(1048575), Pelix::MplsLabel());
}

TEST(Seqno32, IsAPlatformValueWithoutLosingItsWrapOrder) {
  EXPECT_EQ(parsesBack<Brek::Seqno32>("4294967295"), Brek::Seqno32(0xffffffffu));
  EXPECT_EQ(Brek::stringValue(Brek::Seqno32(7)), "7");
  EXPECT_NE(refusal<Brek::Seqno32>("4294967296"), "no error");
  EXPECT_EQ(hex(logsBack(Brek::Seqno32(0x01020304u))), "01020304");
  EXPECT_NE(Brek::Seqno32(1).hash(), Brek::Seqno32(2).hash());
  // Through the generic field order, the value just past the wrap still comes after.
  EXPECT_EQ(Vem::ValueTraits<Brek::Seqno32>::compare(Brek::Seqno32(0xffffffffu), Brek::Seqno32(0)),
            std::strong_ordering::less);
}

TEST(ObjTuple, MessageIsField2Varint) {
  const L2Rib::ObjTuple t(300);
  std::string message;
  Lumo::Pb::Writer out(message);
  t.writeMessage(out);
  EXPECT_EQ(hex(message), "10ac02");  // tag 16, then 300 as a varint
  EXPECT_EQ(t.messageSize(), message.size());
  EXPECT_EQ(L2Rib::ObjTuple::readMessage(message), t);
  EXPECT_EQ(L2Rib::ObjTuple::readMessage(""), L2Rib::ObjTuple(0));
  // Unknown fields are skipped by their wire type.
  const std::string withUnknown("\x38\x05\x1a\x01x\x10\x07", 7);  // field 7 varint, field 3 bytes, field 2 = 7
  EXPECT_EQ(L2Rib::ObjTuple::readMessage(withUnknown), L2Rib::ObjTuple(7));
  const std::string wrongType("\x12\x01\x00", 3);  // field 2 as length-delimited
  EXPECT_THROW(L2Rib::ObjTuple::readMessage(wrongType), Lumo::Pb::DecodeError);
  const std::string truncated("\x10\xff", 2);
  EXPECT_THROW(L2Rib::ObjTuple::readMessage(truncated), Lumo::Pb::DecodeError);
  EXPECT_EQ(sizeof(L2Rib::ObjTuple), 8u);
  EXPECT_EQ(parsesBack<L2Rib::ObjTuple>("300"), t);
  EXPECT_EQ(logsBack(t).size(), 8u);
}

}  // namespace
