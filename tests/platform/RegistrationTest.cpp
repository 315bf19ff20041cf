// The sibling libraries as foreign modules: every type is found by name, built, parsed, printed and
// hashed through the generic interface, and all of them compose inside one generated value's text.
#include <Acl/Acl.h>
#include <Drove/Drove.h>
#include <EntityMib/EntityMib.h>
#include <Fru/Fru.h>
#include <Hardware/Hardware.h>
#include <Interface/Interface.h>
#include <OpenFlowTable/OpenFlowTable.h>
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>
#include <Vrf/Vrf.h>
#include <modules/PlatformTestTypes.h>

#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;

TEST(ForeignModules, EachSiblingLibraryRegistersItsModule) {
  for (const char* name :
       {"Pelix", "Bridging", "L3", "Acl", "Tunnel", "Vrf", "Drove", "Pseudowire", "Mirroring", "OpenFlowTable",
        "Interface", "Hardware", "EntityMib", "Fru", "Brek", "L2Rib", "Vxlan", "OrvFamily"}) {
    const Vem::RegisteredModule* m = Vem::Registry::moduleByName(name);
    ASSERT_NE(m, nullptr) << name;
    EXPECT_EQ(Vem::descriptorSymbol(*m).substr(0, std::string(name).size() + 2), std::string("_") + name + "_");
  }
}

// Through the registry alone: build the default, parse `text`, print it back, hash it.
std::string genericRoundTrip(const std::string& typeName, const std::string& text) {
  const auto type = Vem::Registry::typeByName(typeName);
  if (!type) return "not registered";
  const auto* methods = Vem::GenericIfImpl::valueMethods(*type);
  if (methods == nullptr) return "no value methods";
  std::vector<std::max_align_t> storage(type->record().size() / sizeof(std::max_align_t) + 1);
  methods->construct(storage.data(), nullptr);
  std::string printed;
  try {
    methods->strepToValue(storage.data(), Lumo::String(text), *type, 0);
    printed = methods->strRep(storage.data(), *type, 0).stdString();
    (void)methods->hash(storage.data(), *type);
  } catch (const std::exception& e) {
    printed = e.what();
  }
  methods->destruct(storage.data());
  return printed;
}

// Types that their own tests parse and print (addresses, prefixes, VLAN ids and their records, the
// number-like ids) are left to those tests: the glue is one template for every type. Each module keeps one.
TEST(ForeignModules, EveryTypeWorksThroughTheGenericInterface) {
  const std::vector<std::pair<std::string, std::string>> samples = {
      {"Pelix::IntfId", "Ethernet3/1"},
      {"Pelix::EthAddrTuple", "Pelix::EthAddrTuple(dstAddr=00:00:00:00:00:01, srcAddr=00:00:00:00:00:02)"},
      {"Bridging::VlanXlateMapping", "Bridging::VlanXlateMapping(outerVlanId=20, innerVlanId=none)"},
      {"Bridging::VlanMappingDirection", "vlanMappingEgress"},
      {"Bridging::Dot1qStrip", "dot1qStripOuterAndInner"},
      {"Bridging::EntryType", "configuredStaticMac"},
      {"Bridging::DropMode", "dropModeDst"},
      {"L3::VrfName", "\"default\""},
      {"Acl::AclType", "ipv6"},
      {"Acl::AclDirection", "out"},
      {"Tunnel::TunnelTable::TunnelId", "18446744073709551615"},
      {"Tunnel::TunnelTable::TunnelType", "vxlanTunnel"},
      {"Tunnel::TunnelCountersPriority", "65535"},
      {"Vrf::VrfIdMap::VrfId", "4294967295"},
      {"Drove::Fib::FecId", "42"},
      {"Pseudowire::FlowLabelType", "flowLabelBoth"},
      {"Pseudowire::VplsIntfIdGroupKey", "Pseudowire::VplsIntfIdGroupKey(vplsInstanceName=\"v\", groupName=\"g\")"},
      {"Pseudowire::Dot1qTagOperation", "tagOpSwap"},
      {"Pseudowire::PseudowireType", "pwTypeEthernetTagged"},
      {"Mirroring::VxlanTunnelKey",
       "Mirroring::VxlanTunnelKey(srcAddr=none, dstAddr=2001:db8::2, vni=10010, udpPort=4789, vrfName=\"default\")"},
      {"OpenFlowTable::TrafficStreamEndPointId",
       "OpenFlowTable::TrafficStreamEndPointId(streamName=\"s1\", intfId=Ethernet1)"},
      {"OpenFlowTable::TrafficStreamStatus", "trafficStreamActive"},
      {"Interface::LinkStatus", "linkUp"},
      {"Interface::AutonegAdvertisement", "Interface::AutonegAdvertisement(speeds=12, pause=3, fec=1)"},
      {"Interface::AutonegState", "autonegSucceeded"},
      {"Hardware::Lag::PortProgType", "Hardware::Lag::PortProgType(intfId=Ethernet4, progType=progTypeRxOnly)"},
      {"EntityMib::Chip::ChipType", "chipTypeFabric"},
      {"Fru::SlotId", "3"},
      {"Brek::Seqno32", "4294967295"},
      {"L2Rib::ObjTuple", "300"},
      {"Vxlan::SwTunnelGroupId", "10.0.0.1+10.0.0.2"},
      {"Orv::OrvTunnelId", "8"},
  };
  for (const auto& [type, text] : samples) EXPECT_EQ(genericRoundTrip(type, text), text) << type;
  EXPECT_NE(genericRoundTrip("Pelix::Prefix", "10.0.0.1/8"), "10.0.0.1/8");
}

TEST(MirroringKeys, DefaultsCarryTheDefaultVrf) {
  Mirroring::GreTunnelKey gre;
  EXPECT_EQ(
      gre.stringValue(),
      "Mirroring::GreTunnelKey(srcAddr=none, dstAddr=none, ttl=128, tos=0, greProtocol=35006, vrfName=\"default\")");
  // Addresses by family, two bytes, the protocol, then the name: 1 + 1 + 1 + 1 + 2 + (4 + 7).
  EXPECT_EQ(hex(logsBack(gre)),
            "00008000"
            "88be"
            "00000007"
            "64656661756c74");
  Mirroring::VxlanTunnelKey vxlan;
  EXPECT_TRUE(vxlan.vrfName().isDefaultVrf());
  const Mirroring::GreTunnelKey other(Pelix::IpGenAddr(Pelix::IpAddr(10, 0, 0, 1)), Pelix::IpGenAddr(), 128, 0, 0x88be,
                                      L3::VrfName::defaultVrf());
  EXPECT_NE(other, gre);
  EXPECT_EQ(parsesBack<Mirroring::GreTunnelKey>(other.stringValue().stdString()), other);
  EXPECT_NE(other.hash(0), gre.hash(0));
}

// One value holding every kind of platform field, with texts that carry separators of the generic form.
PlatformTest::Everything everythingSet() {
  PlatformTest::Everything e;
  e.intfIs(Pelix::IntfId("Ethernet1/2.100"));
  e.macIs(Pelix::EthAddr("00:1c:73:01:02:03"));
  e.macMaskIs(Pelix::EthAddrWithMask(Pelix::EthAddr("00:1c:73:00:00:00"), Pelix::EthAddr("ff:ff:ff:00:00:00")));
  e.v4Is(Pelix::IpAddr(10, 1, 2, 3));
  e.v6Is(Pelix::Ip6Addr("fe80::1"));
  e.genIs(Pelix::IpGenAddr("::ffff:10.0.0.1"));
  e.prefixIs(Pelix::Prefix::null());
  e.prefix6Is(Pelix::Ip6Prefix("2001:db8::1/64"));
  e.genPrefixIs(Pelix::IpGenPrefix("10.128.0.0/9"));
  e.labelIs(Pelix::MplsLabel(16));
  e.vlanIs(Bridging::VlanIdOrAnyOrNone(4095));
  e.xlateIs(Bridging::VlanXlateKey(Bridging::VlanId(5), Bridging::VlanIdOrNone(6)));
  e.vrfIs(L3::VrfName("a, b) c"));
  const std::vector<Pelix::IpGenAddr> vteps = {Pelix::IpGenAddr("2001:db8::9"), Pelix::IpGenAddr("10.9.9.9")};
  e.groupIs(Vxlan::SwTunnelGroupId(vteps));
  e.greIs(
      Mirroring::GreTunnelKey(Pelix::IpGenAddr("10.0.0.1"), Pelix::IpGenAddr("10.0.0.2"), 1, 2, 3, L3::VrfName("x)")));
  e.versionIs(Orv::OrvPdVersionId(uint64_t{1} << 63));
  e.tunnelIs(Tunnel::TunnelTable::TunnelId(77));
  e.seqIs(Brek::Seqno32(0xfffffffeu));
  e.tupleIs(L2Rib::ObjTuple(5));
  e.aclTypeIs(Acl::AclType::mac);
  e.pwTypeIs(Pseudowire::PseudowireType::pwTypeEthernetTagged);
  e.whenIs(1.5);
  return e;
}

TEST(Composition, EveryPlatformTextParsesBackInsideAGeneratedValue) {
  const PlatformTest::Everything e = everythingSet();
  const std::string text = e.stringValue().stdString();
  EXPECT_EQ(
      text,
      "PlatformTest::Everything(intf=Ethernet1/2.100, mac=00:1c:73:01:02:03, "
      "macMask=00:1c:73:00:00:00/ff:ff:ff:00:00:00, v4=10.1.2.3, v6=fe80::1, gen=::ffff:10.0.0.1, prefix=none, "
      "prefix6=2001:db8::1/64, genPrefix=10.128.0.0/9, label=16, "
      "macs=Pelix::EthAddrTuple(dstAddr=00:00:00:00:00:00, srcAddr=00:00:00:00:00:00), vlan=any, "
      "xlate=Bridging::VlanXlateKey(outerVlanId=5, innerVlanId=6), vrf=\"a, b) c\", group=10.9.9.9+2001:db8::9, "
      "gre=Mirroring::GreTunnelKey(srcAddr=10.0.0.1, dstAddr=10.0.0.2, ttl=1, tos=2, greProtocol=3, vrfName=\"x)\"), "
      "version=9223372036854775808, tunnel=77, seq=4294967294, tuple=5, aclType=mac, pwType=pwTypeEthernetTagged, "
      "when=1.5)");
  EXPECT_EQ(Vem::strepToValue<PlatformTest::Everything>(text), e);
  EXPECT_EQ(Vem::strepToValue<PlatformTest::Everything>(PlatformTest::Everything().stringValue().stdString()),
            PlatformTest::Everything());
  logsBack(e);
  logsBack(PlatformTest::Everything());
  EXPECT_NE(e.hash(0), PlatformTest::Everything().hash(0));
}

TEST(Composition, AFieldsRefusalNamesTheField) {
  std::string text = everythingSet().stringValue().stdString();
  text.replace(text.find("v4=10.1.2.3"), 11, "v4=10.1.2.300");
  const std::string message = refusal<PlatformTest::Everything>(text);
  EXPECT_EQ(message.substr(0, 28), "v4: Pelix::IpAddr: '10.1.2.3");
}

}  // namespace
