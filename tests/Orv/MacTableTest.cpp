// MAC table entries and their remote kind, which derives from them: inherited attributes keep their ids
// and behave alike through the typed API, the generic interface and the attribute log; the tunnel group
// is held as a counted use.
#include "MirrorTestSupport.h"

#include <Orv/OrvL2QuarnTypes.h>

#include <Vem/Reflect.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bridging::EntryType;
using Bridging::MacVlanPair;
using OrvTypes::MacAddressTableEntry;
using OrvTypes::RemoteMacAddressTableEntry;
using Pelix::IntfId;
using Announcements = OrvTest::AnnouncedIds;

MacVlanPair macIn(const char* mac, uint16_t vlan) { return MacVlanPair(Pelix::EthAddr(mac), Bridging::VlanId(vlan)); }

Vxlan::SwTunnelGroupId group(std::initializer_list<const char*> vteps) {
  std::vector<Pelix::IpGenAddr> addrs;
  for (const char* v : vteps) addrs.emplace_back(v);
  return Vxlan::SwTunnelGroupId(addrs);
}

Lumo::Ptr<RemoteMacAddressTableEntry> remoteEntry(const Vxlan::SwTunnelGroupId& g) {
  return OrvTypes::RemoteMacAddressTableEntryIs(macIn("00:1c:73:00:00:01", 10), IntfId("Vxlan1"),
                                                EntryType::remoteDynamicMac, g, Brek::Seqno32(7), 1700000000.5, 3, true,
                                                L2Rib::ObjTuple(0x1234), false);
}

// Own members only (numbered from 386 by the compiler, tests/vemc); inherited ones are found through the
// base, keeping their ids, and the constructor lists the base's parameters first.
TEST(MacTableRegistration, RemoteEntryNamesItsBaseAndFindsInheritedMembersThroughIt) {
  auto base = MacAddressTableEntry::vemType(), remote = RemoteMacAddressTableEntry::vemType();
  EXPECT_EQ(remote.base(), base);
  EXPECT_TRUE(remote.isDerivedFrom(base));
  EXPECT_FALSE(base.isDerivedFrom(remote));
  EXPECT_EQ(remote.members().size(), 7u);
  const Vem::MemberRecord* intfName = remote.memberByName("intfName");
  ASSERT_NE(intfName, nullptr);
  EXPECT_EQ(intfName->attributeId, 261);
  EXPECT_EQ(remote.memberById(264), base.memberById(264));
  EXPECT_EQ(remote.declaringType(*intfName), base);
  auto ctor = remote.ctorParams();
  ASSERT_EQ(ctor.size(), 10u);
  EXPECT_EQ(remote.paramName(ctor[2]), "entryType");
  EXPECT_EQ(remote.paramName(ctor[3]), "swTunnelGroupId");
}

TEST(MacAddressTableEntry, AddressAndVlanComeFromTheKey) {
  auto e = OrvTypes::macAddressTableEntryFactory(macIn("00:00:5e:00:53:af", 4094), IntfId("Ethernet1"),
                                                 EntryType::learnedDynamicMac);
  EXPECT_EQ(e->macaddr(), Pelix::EthAddr("00:00:5e:00:53:af"));
  EXPECT_EQ(e->vlanId(), 4094u);
  // Computed members read through the generic interface too.
  EXPECT_EQ(Vem::GenericEntity(e).get("macaddr").as<Pelix::EthAddr>(), Pelix::EthAddr("00:00:5e:00:53:af"));
}

TEST(RemoteMacAddressTableEntry, KeepsACountedUseOfItsGroup) {
  auto g = group({"10.0.0.2", "10.0.0.1"});
  uint32_t uses = g.useCount();
  {
    auto r = remoteEntry(g);
    EXPECT_EQ(g.useCount(), uses + 1);

    // A new group releases the old one's use.
    auto other = group({"10.0.0.3"});
    r->swTunnelGroupIdIs(other);
    EXPECT_EQ(g.useCount(), uses);
    EXPECT_EQ(other.useCount(), 2u);
    r->swTunnelGroupIdIs(g);
  }
  EXPECT_EQ(g.useCount(), uses);  // the entry's use went with it
}

TEST(RemoteMacAddressTableEntry, InheritedAndOwnSettersAnnounceTheirOwnIds) {
  auto g = group({"192.0.2.1"});
  auto r = remoteEntry(g);
  Announcements seen(*r);
  r->preferenceIs(3);
  r->promoteIs(true);
  r->moveCountIs(Brek::Seqno32(7));
  r->swTunnelGroupIdIs(group({"192.0.2.1"}));  // the same group, interned: no change
  EXPECT_TRUE(seen.ids.empty());
  r->intfNameIs(IntfId("Vxlan2"));
  r->moveCountIs(Brek::Seqno32(8));
  r->preferenceIs(4);
  r->promoteIs(false);
  r->swTunnelGroupIdIs(Vxlan::SwTunnelGroupId());
  r->dropModeIs(Bridging::DropMode::dropModeSrc);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{261, 387, 389, 390, 386, 264}));
}

TEST(RemoteMacAddressTableEntry, GenericInterfaceReachesInheritedAttributes) {
  auto r = remoteEntry(group({"192.0.2.9"}));
  Vem::GenericEntity g(r);
  EXPECT_EQ(g.get("vlanId").as<uint32_t>(), 10u);  // computed, inherited
  g.set("tunnelId", Vem::AnyValue(Vem::TypeHandle::byName("U32"), "77"));
  EXPECT_EQ(r->tunnelId(), 77u);
  g.set("preference", Vem::AnyValue(Vem::TypeHandle::byName("U8"), "9"));
  EXPECT_EQ(r->preference(), 9);
  EXPECT_EQ(g.get("intfName").text(), "Vxlan1");
  EXPECT_THROW(g.set("lastMoveTime", Vem::AnyValue(Vem::TypeHandle::byName("Vem::Seconds"), "1")), Vem::ReflectError);
  EXPECT_THROW(g.get("nameString"), Vem::ReflectError);  // built from its key, it has no name
}

TEST(RemoteMacAddressTableEntry, MirrorsThroughTheAttributeLogWithBaseAndOwnAttributes) {
  auto g = group({"10.1.0.1", "10.1.0.2"});
  auto r = remoteEntry(g);
  r->tunnelIdIs(12);
  MirrorTest::Pair p;
  p.sender.attach(r);
  p.drain();
  ASSERT_TRUE(p.mirror);
  ASSERT_EQ(p.mirror->typeData(), RemoteMacAddressTableEntry::vemType());
  auto& m = p.mirrorAs<RemoteMacAddressTableEntry>();
  EXPECT_EQ(m.key(), r->key());
  EXPECT_EQ(m.tunnelId(), 12u);
  EXPECT_EQ(m.swTunnelGroupId(), g);  // interned again on the receiving side: the same group
  EXPECT_EQ(m.lastMoveTime(), r->lastMoveTime());
  EXPECT_EQ(m.l2RibObjTuple(), r->l2RibObjTuple());
  EXPECT_EQ(m.preference(), 3);

  r->entryTypeIs(EntryType::remoteStaticMac);
  r->preferenceIs(1);
  r->dropModeIs(Bridging::DropMode::dropModeSrcAndDst);
  p.drain();
  EXPECT_EQ(m.entryType(), EntryType::remoteStaticMac);
  EXPECT_EQ(m.preference(), 1);
  EXPECT_EQ(m.dropMode(), Bridging::DropMode::dropModeSrcAndDst);
}

}  // namespace
