// Mirroring tunnel status: the next-hop texts, the next-hop set's log form with its end mark, and the
// status entity mirrored with its next hops.
#include <Orv/OrvMirroringGreTunnelTypes.h>

#include "MirrorTestSupport.h"

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

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
  // Its own text is a member (id 5); the stream and generic text form stay the generic ones and parse back.
  EXPECT_EQ(GreTunnelNextHop::vemType().memberByName("stringValue")->attributeId, 5);
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
    std::string out;
    Vem::NboAttrLog::Out w(out);
    w << coll;
    ASSERT_EQ(out.size(), 23 * n + 26);
    EXPECT_EQ(attrLogSize(&coll), out.size());
    EXPECT_EQ(out.substr(23 * n, 22), std::string(22, '\0')) << "the default next hop ends the entries";
    EXPECT_EQ(out.substr(23 * n + 22), "\x01\x02\x03\x04") << "then the index, in network order";
    Vem::NboAttrLog::In r(out);
    EXPECT_EQ(GreTunnelNextHopInfoColl(&r, Vem::StreamBogon{}), coll);
  }
  GreTunnelNextHopInfoColl withDefault;
  withDefault.nextHopIs(GreTunnelNextHop(), true);
  std::string out;
  Vem::NboAttrLog::Out w(out);
  EXPECT_THROW(w << withDefault, Vem::RangeException) << "the end mark cannot be carried as an entry";
}

TEST(MirroringGreTunnelStatus, MirrorReceivesEntriesWithTheirNextHops) {
  MirrorTest::Pair link(100);
  auto status = MirroringGreTunnelStatusIs(Lumo::String("mirror"));
  link.sender.attach(status);
  GreTunnelNextHopInfoColl hops;
  hops.l2AdjIndexIs(12);
  for (int i = 1; i <= 5; ++i)
    hops.nextHopIs(hop("00:00:00:00:00:01", "Vlan1", ("Ethernet" + std::to_string(i)).c_str()), i % 2 == 0);
  for (int i = 1; i <= 3; ++i) {
    const IntfId intf(("Tunnel" + std::to_string(i)).c_str());
    auto gre = status->greTunnelIs(intf);
    gre->tunnelIdIs(OrvTunnelId(static_cast<uint32_t>(i)));
    gre->nextHopInfoCollIs(hops);
    status->vxlanTunnelIs(intf)->tunnelParamsIs(
        Mirroring::VxlanTunnelKey(Pelix::IpGenAddr(), Pelix::IpGenAddr(), 5000u + static_cast<uint32_t>(i), 4789, L3::VrfName("red")));
  }
  link.drain();
  const auto& mirror = link.mirrorAs<MirroringGreTunnelStatus>();
  ASSERT_EQ(mirror.greTunnel().size(), 3u);
  ASSERT_EQ(mirror.vxlanTunnel().size(), 3u);
  auto gre2 = mirror.greTunnel(IntfId("Tunnel2"));
  ASSERT_TRUE(gre2);
  EXPECT_EQ(gre2->tunnelId(), OrvTunnelId(2));
  EXPECT_EQ(gre2->nextHopInfoColl(), hops);
  EXPECT_EQ(mirror.vxlanTunnel(IntfId("Tunnel3"))->tunnelParams().vni(), 5003u);
}

}  // namespace
