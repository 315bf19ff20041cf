// Traffic-stream endpoint status: an endpoint asked for again must name the same group and source
// (checked in that order) while its status may change.
#include <Orv/OrvFlow.h>

#include <Vem/NboAttrLog.h>

#include "AnnouncementLog.h"

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using OpenFlowTable::TrafficStreamEndPointId;
using OpenFlowTable::TrafficStreamStatus;
using Pelix::IntfId;
using namespace Orv;

using Announcements = OrvTest::AnnouncedIds;

TEST(OrvDfEndPointStatusDir, ReinstantiationKeepsGroupAndSourceAndUpdatesStatus) {
  auto dir = orvDfEndPointStatusDirFactory(Lumo::String("eps"));
  TrafficStreamEndPointId id(Lumo::String("stream1"), IntfId("Ethernet5"));
  auto ep = dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamActive, Lumo::String("cli"));
  Announcements dirSeen(*dir), epSeen(*ep);

  auto again = dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamInactive, Lumo::String("cli"));
  EXPECT_EQ(again.get(), ep.get());
  EXPECT_EQ(ep->status(), TrafficStreamStatus::trafficStreamInactive);
  EXPECT_EQ(epSeen.ids, (std::vector<Lumo::AttributeId>{260}));
  dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamInactive, Lumo::String("cli"));
  EXPECT_EQ(epSeen.ids.size(), 1u);

  // A different source fails on 261; a different group fails on 259 first, even with the source wrong too.
  // Either way nothing changes, not even the status that came with the call.
  std::string source = OrvTest::errorOf<Vem::EntityError>([&] {
    dir->trafficEpStatusIs(id, Lumo::String("groupA"), TrafficStreamStatus::trafficStreamError, Lumo::String("api"));
  });
  EXPECT_NE(source.find("attribute 261"), std::string::npos) << source;
  EXPECT_NE(source.find("\"cli\""), std::string::npos) << source;
  std::string group = OrvTest::errorOf<Vem::EntityError>([&] {
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
