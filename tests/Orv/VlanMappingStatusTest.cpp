// VLAN mapping status from the platform's side and the sources' side: the source enumeration, keys that
// differ only in direction, nested defaults, on-demand children and the ready flags.
#include <Orv/OrvVlanMappingQuarnTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Bridging::VlanMappingDirection;
using Bridging::VlanXlateKey;
using Bridging::VlanXlateMapping;
using OrvTypes::TableAddStatus;
using Pelix::IntfId;
using namespace Orv;

using Announcements = OrvTest::AnnouncedIds;

OrvVlanMappingKey key(VlanMappingDirection d, uint16_t outer, uint16_t inner = 0) {
  return OrvVlanMappingKey(d, VlanXlateKey(VlanId(outer), VlanIdOrNone(inner)));
}

TEST(VlanMappingRegistration, NineTypesInOrder) {
  const char* names[] = {"Orv::VlanMappingConfigSource",    "Orv::OrvVlanMappingKey",
                         "Orv::PlatformVlanMappingData",    "Orv::PlatformVlanMappingResponse",
                         "Orv::PlatformIntfVlanMappingStatus", "Orv::PlatformVlanMappingStatus",
                         "Orv::VlanXlateStatusMapping",     "Orv::SourceIntfVlanMappingStatus",
                         "Orv::SourceVlanMappingStatus"};
  for (uint16_t i = 0; i < 9; ++i) {
    auto t = Vem::Registry::typeByName(names[i]);
    ASSERT_TRUE(t.has_value()) << names[i];
    EXPECT_EQ(t->index(), i) << names[i];
  }
  EXPECT_EQ(Vem::Registry::typeByName("Orv::VlanMappingConfigSource")->record().baseType, -5);
  auto platform = PlatformVlanMappingStatus::vemType();
  EXPECT_NE(platform.memberById(154), nullptr);
  EXPECT_EQ(platform.memberById(258)->flagsA, 0xdd21);
  EXPECT_EQ(platform.memberName(*platform.memberById(259)), "ready");
  auto source = SourceIntfVlanMappingStatus::vemType();
  EXPECT_EQ(source.refName(source.memberById(259)->keyType), "Orv::OrvVlanMappingKey");
  EXPECT_EQ(source.refName(source.memberById(259)->type), "Orv::VlanXlateStatusMapping");
}

TEST(VlanMappingConfigSource, ByCodeAndByNameWithTheBareNameAsText) {
  EXPECT_EQ(VlanMappingConfigSourceInstance(2), VlanMappingConfigSource::orvFlow);
  EXPECT_EQ(static_cast<int>(VlanMappingConfigSourceInstance("bridgingNative")), 1);
  EXPECT_THROW(VlanMappingConfigSourceInstance(3), Vem::RangeException);
  EXPECT_EQ(stringValue(VlanMappingConfigSource::bridgingTrunk), "bridgingTrunk");
  std::ostringstream os;
  os << VlanMappingConfigSource::orvFlow;
  EXPECT_EQ(os.str(), "orvFlow");
}

TEST(VlanMappingValues, NestedDefaultsTextAndLogForm) {
  PlatformVlanMappingResponse none;
  EXPECT_EQ(none.result(), TableAddStatus::success);
  EXPECT_EQ(none.platformMapping().source(), VlanMappingConfigSource::bridgingTrunk);
  EXPECT_FALSE(none.platformMapping().inLag());
  EXPECT_TRUE(none.platformMapping().parentLagId().empty());
  EXPECT_EQ(none.platformMapping().mapping(), VlanXlateMapping());
  EXPECT_FALSE(static_cast<bool>(none));
  VlanXlateStatusMapping answer;
  EXPECT_EQ(answer.res(), TableAddStatus::success);
  EXPECT_EQ(answer.source(), VlanMappingConfigSource::bridgingTrunk);
  EXPECT_EQ(OrvVlanMappingKey().vlanXlateKey().outerVlanId().value(), 1);

  PlatformVlanMappingResponse r(
      PlatformVlanMappingData(VlanMappingConfigSource::orvFlow, VlanXlateMapping(VlanIdOrNone(5), VlanIdOrNone(6)), true,
                              IntfId("Port-Channel7")),
      TableAddStatus::pending);
  EXPECT_TRUE(static_cast<bool>(r));
  EXPECT_EQ(Vem::strepToValue<PlatformVlanMappingResponse>(r.stringValue().view()), r);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << r;
  // source 4 + mapping 4 + inLag 1 + parentLagId 8, then result 4.
  ASSERT_EQ(bytes.size(), 21u);
  EXPECT_EQ(attrLogSize(&r), 21u);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\x00\x00\x00\x02", 4));
  EXPECT_EQ(bytes.substr(17), std::string("\x00\x00\x00\x05", 4));
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(PlatformVlanMappingResponse(&in, Vem::StreamBogon{}), r);
  // A change in a nested field makes a different, differently ordered value.
  PlatformVlanMappingResponse notInLag(
      PlatformVlanMappingData(VlanMappingConfigSource::orvFlow, VlanXlateMapping(VlanIdOrNone(5), VlanIdOrNone(6)), false,
                              IntfId("Port-Channel7")),
      TableAddStatus::pending);
  EXPECT_NE(r, notInLag);
  EXPECT_LT(notInLag, r);
}

TEST(PlatformVlanMappingStatus, KeysDifferingInDirectionAreTwoEntries) {
  auto dir = platformVlanMappingStatusFactory(Lumo::String("platform"));
  auto intf = dir->intfVlanMappingStatusIs(IntfId("Ethernet2"));
  EXPECT_EQ(dir->intfVlanMappingStatusIs(IntfId("Ethernet2")).get(), intf.get());
  EXPECT_EQ(dir->intfVlanMappingStatus(IntfId("Ethernet2")).get(), intf.get());
  auto in = key(VlanMappingDirection::vlanMappingIngress, 10, 20);
  auto out = key(VlanMappingDirection::vlanMappingEgress, 10, 20);
  PlatformVlanMappingResponse ok, full(PlatformVlanMappingData(), TableAddStatus::full);
  Announcements seen(*intf);
  intf->vlanMappingStatusIs(in, ok);
  intf->vlanMappingStatusIs(out, full);
  intf->vlanMappingStatusIs(out, full);
  EXPECT_EQ(intf->vlanMappingStatus().size(), 2u);
  EXPECT_EQ(intf->vlanMappingStatus(out).result(), TableAddStatus::full);
  EXPECT_EQ(intf->vlanMappingStatus(in).result(), TableAddStatus::success);
  intf->vlanMappingStatusDel(in);
  EXPECT_EQ(intf->vlanMappingStatus().size(), 1u);
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{259, 259, 259}));
  intf->vlanMappingStatusDelAll();
  EXPECT_EQ(intf->vlanMappingStatus().size(), 0u);

  Announcements dirSeen(*dir);
  dir->readyIs(false);
  dir->readyIs(true);
  dir->readyIs(true);
  EXPECT_EQ(dirSeen.ids, (std::vector<Lumo::AttributeId>{259}));
  EXPECT_EQ(dir->intfVlanMappingStatusDel(IntfId("Ethernet2")).get(), intf.get());
  EXPECT_EQ(intf->parent(), nullptr);
  dir->intfVlanMappingStatusDelAll();
}

TEST(SourceVlanMappingStatus, SourcesReadBackWhatWasProgrammedForThem) {
  auto dir = sourceVlanMappingStatusFactory(Lumo::String("orvFlow"));
  EXPECT_FALSE(dir->ready());
  auto intf = dir->srcIntfVlanMappingStatusIs(IntfId("Ethernet3"));
  EXPECT_EQ(intf->intfId(), IntfId("Ethernet3"));
  auto k = key(VlanMappingDirection::vlanMappingIngress, 100);
  VlanXlateStatusMapping done(TableAddStatus::success, VlanMappingConfigSource::orvFlow,
                              VlanXlateMapping(VlanIdOrNone(200), VlanIdOrNone()));
  intf->vlanXlateStatusMappingIs(k, done);
  EXPECT_EQ(intf->vlanXlateStatusMapping(k), done);
  EXPECT_EQ(intf->vlanXlateStatusMappingDel(k), done);
  EXPECT_EQ(intf->vlanXlateStatusMappingDel(k), VlanXlateStatusMapping());
  dir->readyIs(true);
  EXPECT_TRUE(dir->ready());
  dir->srcIntfVlanMappingStatusDelAll();
  EXPECT_FALSE(dir->srcIntfVlanMappingStatus(IntfId("Ethernet3")));
}

}  // namespace
