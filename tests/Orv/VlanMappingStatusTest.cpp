// VLAN mapping status: nested defaults, the response's log form, and keys that differ only in direction.
#include <Orv/OrvVlanMappingQuarnTypes.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Bridging::VlanMappingDirection;
using Bridging::VlanXlateKey;
using Bridging::VlanXlateMapping;
using OrvTypes::TableAddStatus;
using Pelix::IntfId;
using namespace Orv;

OrvVlanMappingKey key(VlanMappingDirection d, uint16_t outer, uint16_t inner = 0) {
  return OrvVlanMappingKey(d, VlanXlateKey(VlanId(outer), VlanIdOrNone(inner)));
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
  auto in = key(VlanMappingDirection::vlanMappingIngress, 10, 20);
  auto out = key(VlanMappingDirection::vlanMappingEgress, 10, 20);
  PlatformVlanMappingResponse ok, full(PlatformVlanMappingData(), TableAddStatus::full);
  intf->vlanMappingStatusIs(in, ok);
  intf->vlanMappingStatusIs(out, full);
  EXPECT_EQ(intf->vlanMappingStatus().size(), 2u);
  EXPECT_EQ(intf->vlanMappingStatus(out).result(), TableAddStatus::full);
  EXPECT_EQ(intf->vlanMappingStatus(in).result(), TableAddStatus::success);
}

}  // namespace
