// Mirroring tunnel next hops: their hand-written texts, and the next-hop set's log form, ended by the
// default next hop and followed by the adjacency index.
#include <Orv/OrvMirroringGreTunnelTypes.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using namespace Orv;
using Pelix::EthAddr;
using Pelix::IntfId;

GreTunnelNextHop hop(const char* mac, const char* l3, const char* l2) {
  return GreTunnelNextHop(EthAddr(std::string_view(mac)), IntfId(l3), IntfId(l2));
}

TEST(GreTunnelNextHop, OwnTextHasALeadingBlankAndNoColonAfterMacAddr) {
  const GreTunnelNextHop h = hop("00:1c:73:00:00:01", "Vlan100", "Ethernet3/1");
  EXPECT_EQ(h.stringValue().stdString(), " macAddr 00:1c:73:00:00:01 l3Intf: Vlan100 l2Intf: Ethernet3/1");
  EXPECT_EQ(GreTunnelNextHop().stringValue().stdString(), " macAddr 00:00:00:00:00:00 l3Intf:  l2Intf: ");
  // The stream and generic text form stay the generic ones and parse back.
  std::ostringstream os;
  os << h;
  EXPECT_EQ(os.str().rfind("Orv::GreTunnelNextHop(", 0), 0u) << os.str();
  EXPECT_EQ(Vem::strepToValue<GreTunnelNextHop>(os.str()), h);
}

TEST(GreTunnelNextHopInfoColl, TextListsTheIndexThenEachNextHop) {
  GreTunnelNextHopInfoColl coll;
  coll.l2AdjIndexIs(7);
  EXPECT_EQ(coll.stringValue().stdString(), "l2AdjIndex: 7\n");
  coll.nextHopIs(hop("00:00:00:00:00:01", "Vlan1", "Ethernet1"), false);
  EXPECT_EQ(coll.stringValue().stdString(), "l2AdjIndex: 7\n macAddr: 00:00:00:00:00:01 l3Intf: Vlan1 l2Intf: Ethernet1\n");
  coll.nextHopIs(hop("00:00:00:00:00:02", "Vlan2", "Ethernet2"), true);
  std::string expected = "l2AdjIndex: 7\n";
  for (auto it = coll.nextHop().begin(); it.valid(); it.next())
    expected += " macAddr: " + it.key().macAddr().stringValue().stdString() + " l3Intf: " +
                it.key().l3Intf().stringValue().stdString() + " l2Intf: " + it.key().l2Intf().stringValue().stdString() + "\n";
  EXPECT_EQ(coll.stringValue().stdString(), expected);
}

TEST(GreTunnelNextHopInfoColl, LogFormIsTwentyThreeBytesPerEntryAndTwentySixMore) {
  GreTunnelNextHopInfoColl coll;
  coll.l2AdjIndexIs(0x01020304);
  for (std::size_t n = 0; n <= 3; ++n) {
    SCOPED_TRACE(n);
    if (n > 0) coll.nextHopIs(hop("00:00:00:00:00:01", "Vlan1", ("Ethernet" + std::to_string(n)).c_str()), n % 2 == 1);
    const std::string out = OrvTest::logBytes(coll);
    ASSERT_EQ(out.size(), 23 * n + 26);
    EXPECT_EQ(out.substr(23 * n, 22), std::string(22, '\0')) << "the default next hop ends the entries";
    EXPECT_EQ(out.substr(23 * n + 22), "\x01\x02\x03\x04") << "then the index, in network order";
    OrvTest::expectLogReadsBack(coll);
  }
  GreTunnelNextHopInfoColl withDefault;
  withDefault.nextHopIs(GreTunnelNextHop(), true);
  EXPECT_THROW(OrvTest::logBytes(withDefault), Vem::RangeException) << "the end mark cannot be carried as an entry";
}

}  // namespace
