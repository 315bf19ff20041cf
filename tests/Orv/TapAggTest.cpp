// Tap aggregation components: the operator-facing summary text byte for byte, the destination count,
// refusal of text parsing and of names the attribute log cannot carry, and group numbers announced only
// when they change.
#include <Orv/OrvTapAggQuarnTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Lumo::String;
using namespace Orv::OrvTapAgg;

// The destination names in the key's iteration order, as the summary lists them.
std::string namesInIterationOrder(const ComponentKey& key) {
  std::string s;
  for (auto it = key.destination().begin(); it.valid(); it.next()) s += (s.empty() ? "" : ", ") + it.key().stdString();
  return s;
}

TEST(TapAggRegistration, TypesAndMembers) {
  const char* names[] = {"Orv::OrvTapAgg::ActionSetProperties", "Orv::OrvTapAgg::ComponentKey",
                         "Orv::OrvTapAgg::ComponentStatus"};
  for (uint16_t i = 0; i < 3; ++i) {
    auto t = Vem::Registry::typeByName(names[i]);
    ASSERT_TRUE(t.has_value()) << names[i];
    EXPECT_EQ(t->index(), i);
  }
  auto key = ComponentKey::vemType();
  EXPECT_EQ(key.record().firstParam, 0);  // no constructor parameters
  EXPECT_EQ(key.memberById(2)->flagsA, 0x9c01);
  EXPECT_EQ(key.memberById(2)->keyType, -18);
  for (uint16_t id : {3, 4, 5}) EXPECT_EQ(key.memberById(id)->flagsA, 0x9c00) << id;
  EXPECT_EQ(key.refName(key.memberById(5)->type), "Bridging::Dot1qStrip");
  const Vem::MemberRecord* count = key.memberByName("numDestinations");
  ASSERT_NE(count, nullptr);
  EXPECT_EQ(count->flagsA, 0x2800);
  EXPECT_EQ(count->type, -7);
  auto status = ComponentStatus::vemType();
  EXPECT_NE(status.memberById(154), nullptr);
  EXPECT_NE(status.impl().newEntityForDir, nullptr);
}

TEST(TapAggText, SummaryOfTheDefaultKeyAndOfEachPart) {
  ComponentKey key;
  EXPECT_EQ(key.stringValue(), "global: { dest: None, id-tag: None, mac-addr: None, remove-tag: None }");

  key.destinationIs("d3", true);
  EXPECT_EQ(key.stringValue(), "global: { dest: ( d3 ), id-tag: None, mac-addr: None, remove-tag: None }");
  key.destinationDelAll();
  key.destinationIs("d1", true);
  key.destinationIs("d2", true);
  EXPECT_EQ(key.stringValue(),
            "global: { dest: ( " + namesInIterationOrder(key) + " ), id-tag: None, mac-addr: None, remove-tag: None }");
  EXPECT_EQ(namesInIterationOrder(key).size(), 6u);

  // An identity of 0 with a VLAN is not "None".
  ComponentKey tagged;
  tagged.identityTagIs(Bridging::IdentityTuple(0, Bridging::VlanIdOrNone(5)));
  EXPECT_EQ(tagged.stringValue(), "global: { dest: None, id-tag: ( 0, 5 ), mac-addr: None, remove-tag: None }");
  tagged.identityTagIs(Bridging::IdentityTuple(7, Bridging::VlanIdOrNone()));
  EXPECT_EQ(tagged.stringValue(), "global: { dest: None, id-tag: ( 7, none ), mac-addr: None, remove-tag: None }");

  // One address set is enough to print both.
  ComponentKey macs;
  macs.macAddressIs(Pelix::EthAddrTuple(Pelix::EthAddr(), Pelix::EthAddr(0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e)));
  macs.removeVlansIs(Bridging::Dot1qStrip::dot1qStripOuter);
  EXPECT_EQ(macs.stringValue(), "global: { dest: None, id-tag: None, mac-addr: ( 00:00:00:00:00:00, 00:1a:2b:3c:4d:5e ), "
                                "remove-tag: dot1qStripOuter }");
}

TEST(TapAggText, GenericFormIsDistinctAndNothingParses) {
  ComponentKey key;
  key.destinationIs("d1", true);
  std::string generic = Vem::valueToString(key).stdString();
  EXPECT_EQ(generic.rfind("Orv::OrvTapAgg::ComponentKey(destination=", 0), 0u) << generic;
  EXPECT_NE(generic, key.stringValue().stdString());

  try {
    Vem::strepToValue<ComponentKey>(generic);
    ADD_FAILURE() << "parsed a component key";
  } catch (const Vem::RangeException& e) {
    EXPECT_STREQ(e.what(), "No String constructor for ComponentKey - has collection");
  }
  ActionSetProperties set;
  try {
    Vem::strepToValue<ActionSetProperties>(set.stringValue().view());
    ADD_FAILURE() << "parsed an action set";
  } catch (const Vem::RangeException& e) {
    EXPECT_STREQ(e.what(), "No String constructor for ActionSetProperties - has collection");
  }
}

TEST(TapAggKey, DestinationCountWrapsAtSixteenBits) {
  ComponentKey key;
  EXPECT_EQ(key.numDestinations(), 0);
  key.destinationIs("d1", true);
  key.destinationIs("d2", true);
  key.destinationIs("d1", true);  // a set: the same name once
  EXPECT_EQ(key.numDestinations(), 2);
  for (uint32_t i = 0; i < 65535; ++i) key.destinationIs(String("x" + std::to_string(i)), true);
  EXPECT_EQ(key.destination().size(), 65537u);
  EXPECT_EQ(key.numDestinations(), 1);
}

TEST(TapAggKey, EqualityTruthAndIndependentCopies) {
  ComponentKey a, b;
  EXPECT_FALSE(a);
  a.removeVlansIs(Bridging::Dot1qStrip::dot1qStripInner);
  EXPECT_TRUE(a);
  EXPECT_NE(a, b);
  b.removeVlansIs(Bridging::Dot1qStrip::dot1qStripInner);
  a.destinationIs("d1", true);
  a.destinationIs("d2", true);
  b.destinationIs("d2", true);
  b.destinationIs("d1", true);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(17), b.hash(17));

  ComponentKey copy = a;
  copy.destinationDel("d1");
  EXPECT_EQ(a.destination().size(), 2u);
  EXPECT_NE(copy, a);
  EXPECT_NE(copy.hash(17), a.hash(17));

  ActionSetProperties s;
  EXPECT_FALSE(s);
  s.destinationIs("d9", true);
  EXPECT_TRUE(s);
}

TEST(TapAggLog, RoundTripAndRefusals) {
  ComponentKey key;
  key.destinationIs("d1", true);
  key.destinationIs("d2", true);
  key.identityTagIs(Bridging::IdentityTuple(3, Bridging::VlanIdOrNone(10)));
  key.removeVlansIs(Bridging::Dot1qStrip::dot1qStripOuterAndInner);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << key;
  EXPECT_EQ(bytes.size(), attrLogSize(&key));
  Vem::NboAttrLog::In in(bytes);
  ComponentKey back(&in, Vem::StreamBogon{});
  EXPECT_EQ(back, key);
  EXPECT_EQ(back.stringValue().size(), key.stringValue().size());

  // The empty name ends the list, so a key holding it cannot be written.
  key.destinationIs("", true);
  std::string refused;
  Vem::NboAttrLog::Out badOut(refused);
  EXPECT_THROW(badOut << key, Vem::RangeException);

  // A list naming one destination twice is refused.
  std::string twice;
  Vem::NboAttrLog::Out w(twice);
  for (int i = 0; i < 2; ++i) {
    w.string("d1");
    w.u8(1);
  }
  w.string("");
  w.u16(0);
  w.u16(0);
  for (int i = 0; i < 12; ++i) w.u8(0);
  w.u32(0);
  Vem::NboAttrLog::In dup(twice);
  EXPECT_THROW(ComponentKey(&dup, Vem::StreamBogon{}), Vem::RangeException);
}

struct Changes : Lumo::Subscriber {
  explicit Changes(Vem::Entity& e) : entity(e) { e.publisher().subscriberAdd(this); }
  ~Changes() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void*, const void* old) override {
    ids.push_back(id);
    olds.push_back(old == nullptr ? -1 : *static_cast<const uint16_t*>(old));
  }
  Vem::Entity& entity;
  std::vector<uint16_t> ids;
  std::vector<int> olds;
};

TEST(TapAggStatus, GroupNumbersAnnounceOnlyRealChanges) {
  auto status = componentStatusFactory(String("tapAgg"));
  Changes seen(*status);
  status->actionSetGroupIdIs("s1", 4);
  status->actionSetGroupIdIs("s1", 4);  // unchanged: nothing
  status->actionSetGroupIdIs("s1", 5);
  EXPECT_EQ(seen.olds, (std::vector<int>{-1, 4}));
  EXPECT_EQ(status->actionSetGroupId("s1"), 5);
  EXPECT_EQ(status->actionSetGroupId("absent"), 0);
  EXPECT_EQ(status->actionSetGroupIdDel("s1"), 5);
  EXPECT_EQ(seen.ids.size(), 3u);
}

}  // namespace
