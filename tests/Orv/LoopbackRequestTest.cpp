// Loopback requests and grants: whole requests and grants are the keys of their directories, flags are
// announced only when they change, agent directories create each feature's directory once, and the
// directories mirror through the attribute log.
#include "MirrorTestSupport.h"

#include <Orv/OrvLoopbackRequestTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using Lumo::String;
using namespace Orv::Loopback;
using Pelix::IntfId;

// Counts announcements per attribute id; keeps the keys' old flags where there are some.
struct Announcements : Lumo::Subscriber {
  explicit Announcements(Vem::Entity& e) : entity(e) { e.publisher().subscriberAdd(this); }
  ~Announcements() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    ids.push_back(id);
    keyed.push_back(key != nullptr);
    olds.push_back(old == nullptr ? -1 : 0);
  }
  Vem::Entity& entity;
  std::vector<uint16_t> ids;
  std::vector<bool> keyed;
  std::vector<int> olds;  // -1: a new key; 0: an existing one
};

TEST(LoopbackRegistration, TypesMembersAndFactories) {
  const char* names[] = {"Orv::Loopback::Request",         "Orv::Loopback::Grant",       "Orv::Loopback::FeatureCollection",
                         "Orv::Loopback::RequestDir",      "Orv::Loopback::AgentRequestDir", "Orv::Loopback::GrantDir",
                         "Orv::Loopback::AgentGrantDir",   "Orv::Loopback::LoopbackPortsCollection"};
  for (uint16_t i = 0; i < 8; ++i) {
    auto t = Vem::Registry::typeByName(names[i]);
    ASSERT_TRUE(t.has_value()) << names[i];
    EXPECT_EQ(t->index(), i) << names[i];
    EXPECT_EQ(t->isEntity(), i >= 3) << names[i];
    // Every entity can be made by name inside a directory.
    EXPECT_EQ(t->impl().newEntityForDir != nullptr, i >= 3) << names[i];
  }
  EXPECT_EQ(Request::vemType().module()->typeCount, 8u);

  auto request = Request::vemType();
  auto params = request.ctorParams();
  ASSERT_EQ(params.size(), 2u);
  EXPECT_EQ(request.paramName(params[0]), "name");
  EXPECT_EQ(request.paramName(params[1]), "loopbackPortInterface");
  EXPECT_EQ(request.memberById(3)->flagsA, 0x2c00);  // fixed once built
  auto grant = Grant::vemType();
  EXPECT_EQ(grant.ctorParams().size(), 3u);
  EXPECT_EQ(grant.memberName(*grant.memberById(4)), "success");

  auto features = FeatureCollection::vemType();
  EXPECT_EQ(features.record().firstParam, 0);
  EXPECT_EQ(features.memberById(2)->flagsA, 0x9c01);
  EXPECT_EQ(features.memberById(2)->keyType, -18);
  EXPECT_EQ(features.memberById(2)->type, -13);

  // Directories: nameString, then their one collection at 258 keyed by a whole request or grant.
  auto requestDir = RequestDir::vemType();
  EXPECT_NE(requestDir.memberById(154), nullptr);
  const Vem::MemberRecord* requestList = requestDir.memberById(258);
  ASSERT_NE(requestList, nullptr);
  EXPECT_EQ(requestList->flagsA, 0xdc01);
  EXPECT_EQ(requestDir.refName(requestList->keyType), "Orv::Loopback::Request");
  EXPECT_EQ(GrantDir::vemType().refName(GrantDir::vemType().memberById(258)->keyType), "Orv::Loopback::Grant");
  auto ports = LoopbackPortsCollection::vemType();
  EXPECT_EQ(ports.refName(ports.memberById(258)->keyType), "Pelix::IntfId");
  for (auto t : {AgentRequestDir::vemType(), AgentGrantDir::vemType()}) {
    const Vem::MemberRecord* dirs = t.memberById(258);
    ASSERT_NE(dirs, nullptr);
    EXPECT_EQ(dirs->flagsA, 0xdd21);
    EXPECT_EQ(dirs->keyType, -18);
  }
  EXPECT_EQ(AgentGrantDir::vemType().refName(AgentGrantDir::vemType().memberById(258)->type), "Orv::Loopback::GrantDir");
}

TEST(LoopbackValues, RequestAndGrantCompareByNameThenPortThenSuccess) {
  Request a1("a", IntfId("Ethernet1")), a2("a", IntfId("Ethernet2")), b1("b", IntfId("Ethernet1"));
  EXPECT_LT(a1, a2);
  EXPECT_LT(a2, b1);  // the name decides before the port
  EXPECT_NE(a1, b1);
  EXPECT_EQ(a1, Request("a", IntfId("Ethernet1")));
  EXPECT_EQ((a1 <=> a2), (IntfId("Ethernet1") <=> IntfId("Ethernet2")));
  EXPECT_FALSE(Request());
  EXPECT_TRUE(Request("", IntfId("Ethernet1")));
  EXPECT_TRUE(Request("a", IntfId()));

  Grant refused("f", IntfId("Ethernet1"), false), granted("f", IntfId("Ethernet1"), true);
  EXPECT_LT(refused, granted);  // false before true
  EXPECT_NE(refused.hash(0), granted.hash(0));
  EXPECT_LT(Grant("f", IntfId("Ethernet1"), true), Grant("f", IntfId("Ethernet2"), false));
  EXPECT_FALSE(Grant());
  EXPECT_TRUE(Grant("", IntfId(), true));

  // The generic text form round-trips; values that hold no collection have a parser.
  EXPECT_EQ(Vem::strepToValue<Grant>(granted.stringValue().view()), granted);
  EXPECT_EQ(Vem::strepToValue<Request>(a2.stringValue().view()), a2);
}

TEST(LoopbackValues, FeatureCollectionEqualityTruthAndNoParser) {
  FeatureCollection x, y;
  EXPECT_FALSE(x);
  x.featureIs("mirroring", true);
  x.featureIs("tapAgg", false);  // a false flag is an entry too
  EXPECT_TRUE(x);
  y.featureIs("tapAgg", false);
  y.featureIs("mirroring", true);
  EXPECT_EQ(x, y);
  y.featureIs("tapAgg", true);  // same names, one flag different
  EXPECT_NE(x, y);
  EXPECT_TRUE(x.feature("mirroring"));
  EXPECT_FALSE(x.feature("absent"));

  // A copy is independent of the original.
  FeatureCollection copy = x;
  copy.featureDel("mirroring");
  EXPECT_EQ(x.feature().size(), 2u);
  EXPECT_EQ(copy.feature().size(), 1u);
  copy.featureDelAll();
  EXPECT_FALSE(copy);

  try {
    Vem::strepToValue<FeatureCollection>(x.stringValue().view());
    ADD_FAILURE() << "parsed a value holding a collection";
  } catch (const Vem::RangeException& e) {
    EXPECT_STREQ(e.what(), "No String constructor for FeatureCollection - has collection");
  }
}

TEST(LoopbackValues, FeatureCollectionLogFormEndsWithAnEmptyName) {
  FeatureCollection x;
  x.featureIs("a", true);
  x.featureIs("bc", false);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << x;
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(FeatureCollection(&in, Vem::StreamBogon{}), x);

  // The empty name ends the list, so it cannot be written.
  x.featureIs("", true);
  std::string refused;
  Vem::NboAttrLog::Out badOut(refused);
  EXPECT_THROW(badOut << x, Vem::RangeException);
}

TEST(RequestDir, WholeRequestsAreKeysAndOnlyChangesAreAnnounced) {
  auto dir = requestDirFactory(String("tapAgg"));
  Announcements seen(*dir);
  dir->requestListIs(Request("a", IntfId("Ethernet1")), true);
  dir->requestListIs(Request("a", IntfId("Ethernet1")), true);   // same flag: nothing
  dir->requestListIs(Request("a", IntfId("Ethernet1")), false);  // other flag: announced, old entry
  dir->requestListIs(Request("a", IntfId("Ethernet2")), true);   // another port: a second entry
  dir->requestListIs(Request("b", IntfId("Ethernet1")), false);  // another name: a third, false stored
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258, 258, 258, 258}));
  EXPECT_EQ(seen.olds, (std::vector<int>{-1, 0, -1, -1}));
  EXPECT_EQ(dir->requestList().size(), 3u);
  EXPECT_FALSE(dir->requestList(Request("a", IntfId("Ethernet1"))));
  EXPECT_TRUE(dir->requestList(Request("a", IntfId("Ethernet2"))));
  EXPECT_TRUE(dir->requestList().contains(Request("b", IntfId("Ethernet1"))));
  EXPECT_FALSE(dir->requestList(Request("c", IntfId("Ethernet1"))));  // absent reads false

  // Iteration visits each request once.
  std::vector<Request> visited;
  dir->requestList().forEach([&](const Request& r, bool) { visited.push_back(r); });
  std::sort(visited.begin(), visited.end());
  EXPECT_EQ(visited, (std::vector<Request>{Request("a", IntfId("Ethernet1")), Request("a", IntfId("Ethernet2")),
                                           Request("b", IntfId("Ethernet1"))}));

  seen.ids.clear();
  EXPECT_FALSE(dir->requestListDel(Request("zz", IntfId("Ethernet9"))));  // absent: nothing
  EXPECT_TRUE(seen.ids.empty());
  dir->requestListDelAll();  // observed: one announcement per entry
  EXPECT_EQ(seen.ids.size(), 3u);
  EXPECT_TRUE(dir->requestList().empty());
}

TEST(GrantDir, GrantsDifferingOnlyInSuccessAreTwoEntries) {
  auto dir = grantDirFactory(String("tapAgg"));
  dir->grantListIs(Grant("a", IntfId("Ethernet1"), true), true);
  dir->grantListIs(Grant("a", IntfId("Ethernet1"), false), true);
  EXPECT_EQ(dir->grantList().size(), 2u);
  dir->grantListDel(Grant("a", IntfId("Ethernet1"), true));
  EXPECT_EQ(dir->grantList().size(), 1u);
  EXPECT_TRUE(dir->grantList(Grant("a", IntfId("Ethernet1"), false)));

  auto ports = loopbackPortsCollectionFactory(String("ports"));
  Announcements seen(*ports);
  ports->loopbackPortIs(IntfId("Ethernet3"), false);
  ports->loopbackPortIs(IntfId("Ethernet3"), false);
  EXPECT_EQ(seen.ids.size(), 1u);
  EXPECT_EQ(ports->loopbackPort().size(), 1u);
}

TEST(AgentRequestDir, MembersAreCreatedOnceAndRemovedOneByOne) {
  auto agent = agentRequestDirFactory(String("agent"));
  Announcements seen(*agent);
  auto first = agent->featureRequestDirIs(String("tapAgg"));
  auto again = agent->featureRequestDirIs(String("tapAgg"));
  EXPECT_EQ(first, again);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258}));
  EXPECT_EQ(first->parent(), agent.get());
  EXPECT_EQ(first->name(), "tapAgg");
  EXPECT_TRUE(first->requestList().empty());
  agent->featureRequestDirIs(String("mirroring"));

  seen.ids.clear();
  agent->featureRequestDirDelAll();
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258, 258}));
  EXPECT_EQ(first->parent(), nullptr);  // released, alive while held here
  EXPECT_EQ(agent->featureRequestDir(String("tapAgg")), nullptr);

  auto grants = agentGrantDirFactory(String("agent"));
  auto g = grants->featureGrantDirIs(String("tapAgg"));
  EXPECT_EQ(grants->featureGrantDirDel(String("tapAgg")), g);
  EXPECT_EQ(grants->featureGrantDirDel(String("tapAgg")), nullptr);
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
