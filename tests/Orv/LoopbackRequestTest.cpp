// Loopback requests and grants: whole requests and grants are the keys of their directories, and the
// agent directories mirror through the attribute log.
#include "MirrorTestSupport.h"

#include <Orv/OrvLoopbackRequestTypes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using Lumo::String;
using namespace Orv::Loopback;
using Pelix::IntfId;

TEST(LoopbackValues, RequestsAndGrantsOrderByNameThenPortThenSuccess) {
  Request a1("a", IntfId("Ethernet1")), a2("a", IntfId("Ethernet2")), b1("b", IntfId("Ethernet1"));
  EXPECT_LT(a1, a2);
  EXPECT_LT(a2, b1);  // the name decides before the port
  EXPECT_EQ((a1 <=> a2), (IntfId("Ethernet1") <=> IntfId("Ethernet2")));
  Grant refused("f", IntfId("Ethernet1"), false), granted("f", IntfId("Ethernet1"), true);
  EXPECT_LT(refused, granted);  // false before true
  EXPECT_LT(Grant("f", IntfId("Ethernet1"), true), Grant("f", IntfId("Ethernet2"), false));
}

TEST(LoopbackDirs, WholeRequestsAndGrantsAreTheKeys) {
  auto dir = requestDirFactory(String("tapAgg"));
  dir->requestListIs(Request("a", IntfId("Ethernet1")), false);
  dir->requestListIs(Request("a", IntfId("Ethernet2")), true);   // another port: a second entry
  dir->requestListIs(Request("b", IntfId("Ethernet1")), false);  // another name: a third, false stored
  EXPECT_EQ(dir->requestList().size(), 3u);
  EXPECT_TRUE(dir->requestList(Request("a", IntfId("Ethernet2"))));
  EXPECT_TRUE(dir->requestList().contains(Request("b", IntfId("Ethernet1"))));
  EXPECT_FALSE(dir->requestList(Request("c", IntfId("Ethernet1"))));  // absent reads false

  auto grants = grantDirFactory(String("tapAgg"));
  grants->grantListIs(Grant("a", IntfId("Ethernet1"), true), true);
  grants->grantListIs(Grant("a", IntfId("Ethernet1"), false), true);
  EXPECT_EQ(grants->grantList().size(), 2u);  // grants differing only in success
  grants->grantListDel(Grant("a", IntfId("Ethernet1"), true));
  EXPECT_TRUE(grants->grantList(Grant("a", IntfId("Ethernet1"), false)));
  EXPECT_EQ(grants->grantList().size(), 1u);
}

std::string dumpRequests(const AgentRequestDir& agent) {
  std::map<std::string, std::string> out;
  agent.featureRequestDir().forEach([&](const String& name, const Lumo::Ptr<RequestDir>& dir) {
    std::vector<std::string> lines;
    dir->requestList().forEach([&](const Request& r, bool flag) {
      lines.push_back(r.stringValue().stdString() + (flag ? "=1" : "=0"));
    });
    std::sort(lines.begin(), lines.end());
    for (auto& l : lines) out[name.stdString()] += l + "\n";
    out[name.stdString()] += "end\n";
  });
  std::string s;
  for (auto& [k, v] : out) s += k + ":\n" + v;
  return s;
}

TEST(AgentRequestDir, MirrorsThroughTheAttributeLog) {
  auto agent = agentRequestDirFactory(String("agent"));
  auto tap = agent->featureRequestDirIs(String("tapAgg"));
  tap->requestListIs(Request("a", IntfId("Ethernet1")), true);
  tap->requestListIs(Request("a", IntfId("Ethernet2")), false);
  agent->featureRequestDirIs(String("empty"));
  MirrorTest::Pair p;
  p.sender.attach(agent);
  p.drain();
  ASSERT_TRUE(p.mirror);
  EXPECT_EQ(dumpRequests(p.mirrorAs<AgentRequestDir>()), dumpRequests(*agent));

  // Later changes follow: a flag flip, a removal, a new member.
  tap->requestListIs(Request("a", IntfId("Ethernet2")), true);
  tap->requestListDel(Request("a", IntfId("Ethernet1")));
  agent->featureRequestDirIs(String("late"))->requestListIs(Request("", IntfId("Ethernet5")), false);
  p.drain();
  EXPECT_EQ(dumpRequests(p.mirrorAs<AgentRequestDir>()), dumpRequests(*agent));
  EXPECT_NE(dumpRequests(*agent).find("late:"), std::string::npos);
}

}  // namespace
