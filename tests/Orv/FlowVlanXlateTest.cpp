// VLAN translation keys and outcomes, and traffic-stream endpoint status: an endpoint asked for again
// must name the same group and source (checked in that order) while its status may change.
#include <Orv/OrvFlow.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Bridging::VlanXlateKey;
using Bridging::VlanXlateMapping;
using OpenFlowTable::TrafficStreamEndPointId;
using OpenFlowTable::TrafficStreamStatus;
using Pelix::IntfId;
using namespace Orv;

using Announcements = OrvTest::AnnouncedIds;

VlanXlateKey xkey(uint16_t outer, uint16_t inner = 0) { return VlanXlateKey(VlanId(outer), VlanIdOrNone(inner)); }
VlanXlateMapping xmap(uint16_t outer, uint16_t inner = 0) { return VlanXlateMapping(VlanIdOrNone(outer), VlanIdOrNone(inner)); }

TEST(OrvFlowValues, DefaultsOrderTextAndLogForm) {
  OrvFlowVlanXlateStatusMapping none;
  EXPECT_EQ(none.res(), OrvTypes::TableAddStatus::success);
  EXPECT_EQ(none.vlanXlateMapping(), xmap(0, 0));
  EXPECT_FALSE(static_cast<bool>(none));
  OrvFlowVlanXlateKey k;
  EXPECT_EQ(k.vlanXlateKey(), xkey(1, 0));
  EXPECT_EQ(k.direction(), Bridging::VlanMappingDirection::vlanMappingIngress);

  OrvFlowVlanXlateKey in(IntfId("Ethernet4"), xkey(10, 20), Bridging::VlanMappingDirection::vlanMappingIngress);
  OrvFlowVlanXlateKey out(IntfId("Ethernet4"), xkey(10, 20), Bridging::VlanMappingDirection::vlanMappingEgress);
  EXPECT_NE(in, out);
  EXPECT_LT(in, out);  // the direction decides last
  EXPECT_NE(in.hash(0), out.hash(0));
  EXPECT_EQ(Vem::strepToValue<OrvFlowVlanXlateKey>(out.stringValue().view()), out);

  OrvFlowVlanXlateStatusMapping full(OrvTypes::TableAddStatus::full, xmap(30, 40));
  EXPECT_EQ(Vem::strepToValue<OrvFlowVlanXlateStatusMapping>(full.stringValue().view()), full);
  std::string bytes;
  Vem::NboAttrLog::Out log(bytes);
  log << full;
  // The status as its code (every enumeration travels as a U32), then the two VLANs.
  EXPECT_EQ(bytes, std::string("\x00\x00\x00\x02\x00\x1e\x00\x28", 8));
  Vem::NboAttrLog::In back(bytes);
  EXPECT_EQ(OrvFlowVlanXlateStatusMapping(&back, Vem::StreamBogon{}), full);
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    Vem::NboAttrLog::In shorter(bytes.data(), cut);
    EXPECT_THROW(OrvFlowVlanXlateStatusMapping(&shorter, Vem::StreamBogon{}), Vem::RangeException) << cut;
  }
  // A code too wide for the status' one byte is refused.
  std::string bad("\x00\x00\x01\x02\x00\x1e\x00\x28", 8);
  Vem::NboAttrLog::In badIn(bad);
  EXPECT_THROW(OrvFlowVlanXlateStatusMapping(&badIn, Vem::StreamBogon{}), Vem::RangeException);
}

std::string errorOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const Vem::EntityError& e) {
    return e.what();
  }
  return "no error";
}

TEST(OrvDfEndPointStatusDir, ReinstantiationKeepsGroupAndSourceAndUpdatesStatus) {
  auto dir = orvDfEndPointStatusDirFactory(Lumo::String("eps"));
  TrafficStreamEndPointId id(Lumo::String("stream1"), IntfId("Ethernet5"));
  auto ep = dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamActive, Lumo::String("cli"));
  EXPECT_EQ(ep->parent(), dir.get());
  Announcements dirSeen(*dir), epSeen(*ep);

  auto again = dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamInactive, Lumo::String("cli"));
  EXPECT_EQ(again.get(), ep.get());
  EXPECT_EQ(ep->status(), TrafficStreamStatus::trafficStreamInactive);
  EXPECT_EQ(epSeen.ids, (std::vector<Lumo::AttributeId>{260}));
  dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamInactive, Lumo::String("cli"));
  EXPECT_EQ(epSeen.ids.size(), 1u);

  // A different source fails on 261; a different group fails on 259 first, even with the source wrong too.
  // Either way nothing changes, not even the status that came with the call.
  std::string source = errorOf([&] {
    dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamError, Lumo::String("api"));
  });
  EXPECT_NE(source.find("attribute 261"), std::string::npos) << source;
  EXPECT_NE(source.find("\"cli\""), std::string::npos) << source;
  std::string group = errorOf([&] {
    dir->trafficEpStatusIs(id, Lumo::String("groupB"), TrafficStreamStatus::trafficStreamError, Lumo::String("api"));
  });
  EXPECT_NE(group.find("attribute 259"), std::string::npos) << group;
  EXPECT_EQ(ep->status(), TrafficStreamStatus::trafficStreamInactive);
  EXPECT_EQ(ep->trafficGroupName(), "groupA");
  EXPECT_EQ(ep->source(), "cli");
  EXPECT_EQ(epSeen.ids.size(), 1u);
  EXPECT_TRUE(dirSeen.ids.empty());

  // Another interface is another endpoint.
  auto other = dir->trafficEpStatusIs(TrafficStreamEndPointId(Lumo::String("stream1"), IntfId("Ethernet6")),
                                      Lumo::String("groupB"), TrafficStreamStatus::trafficStreamUnknown, Lumo::String("api"));
  EXPECT_NE(other.get(), ep.get());
  EXPECT_EQ(dir->trafficEpStatus().size(), 2u);
  EXPECT_EQ(dirSeen.ids, (std::vector<Lumo::AttributeId>{258}));
  EXPECT_EQ(dir->trafficEpStatusDel(id).get(), ep.get());
  EXPECT_FALSE(dir->trafficEpStatus(id));
}

}  // namespace
