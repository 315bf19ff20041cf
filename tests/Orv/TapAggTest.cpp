// Tap aggregation components: the operator-facing summary text byte for byte, the destination count,
// refusal of text parsing and of names the attribute log cannot carry, and group numbers announced only
// when they change.
#include <Orv/OrvTapAggQuarnTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/GenericIf.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <sstream>
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
  EXPECT_EQ(key.memberById(2)->flagsB, 0x0109);  // a set
  EXPECT_EQ(key.memberById(2)->keyType, -18);
  EXPECT_EQ(key.memberById(6), key.memberByName("actionSetProperties"));
  EXPECT_EQ(key.refName(key.memberById(6)->type), "Orv::OrvTapAgg::ActionSetProperties");
  EXPECT_EQ(key.memberById(8), key.memberByName("stringValue"));
  for (uint16_t id : {3, 4, 5}) EXPECT_EQ(key.memberById(id)->flagsA, 0x9c00) << id;
  EXPECT_EQ(key.refName(key.memberById(5)->type), "Bridging::Dot1qStrip");
  const Vem::MemberRecord* count = key.memberByName("numDestinations");
  ASSERT_EQ(count, key.memberById(7));
  EXPECT_EQ(count->flagsA, 0x2800);
  EXPECT_EQ(count->type, -7);
  auto status = ComponentStatus::vemType();
  EXPECT_NE(status.memberById(154), nullptr);
  EXPECT_EQ(status.memberById(258), status.memberByName("componentGroupId"));
  EXPECT_EQ(status.refName(status.memberById(258)->keyType), "Orv::OrvTapAgg::ComponentKey");
  EXPECT_EQ(status.memberById(259), status.memberByName("actionSetGroupId"));
  EXPECT_NE(status.impl().newEntityForDir, nullptr);
}

TEST(TapAggText, SummaryOfTheDefaultKeyAndOfEachPart) {
  ComponentKey key;
  EXPECT_EQ(key.stringValue(), "global: { dest: None, id-tag: None, mac-addr: None, remove-tag: None }");

  key.destinationIs("d3");
  EXPECT_EQ(key.stringValue(), "global: { dest: ( d3 ), id-tag: None, mac-addr: None, remove-tag: None }");
  key.destinationDelAll();
  key.destinationIs("d1");
  key.destinationIs("d2");
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

  // Each action set follows the global part with its own treatment.
  ComponentKey withSet;
  ActionSetProperties s1;
  s1.destinationIs("d3");
  withSet.actionSetPropertiesIs("s1", s1);
  EXPECT_EQ(withSet.stringValue(), "global: { dest: None, id-tag: None, mac-addr: None, remove-tag: None }, "
                                   "s1: { dest: ( d3 ), id-tag: None, mac-addr: None, remove-tag: None }");
}

TEST(TapAggText, GenericFormIsDistinctAndNothingParses) {
  ComponentKey key;
  key.destinationIs("d1");
  std::string generic = Vem::valueToString(key).stdString();
  EXPECT_EQ(generic.rfind("Orv::OrvTapAgg::ComponentKey(destination=", 0), 0u) << generic;
  EXPECT_NE(generic, key.stringValue().stdString());
  std::ostringstream streamed;
  streamed << key;
  EXPECT_EQ(streamed.str(), generic);
  // The generic interface's text form is the generic one too; its member 8 is the summary.
  auto type = ComponentKey::vemType();
  EXPECT_EQ(Vem::GenericIfImpl::valueMethods(type)->strRep(&key, type, 0).stdString(), generic);

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
  key.destinationIs("d1");
  key.destinationIs("d2");
  key.destinationIs("d1");  // a set: the same name once
  EXPECT_EQ(key.numDestinations(), 2);
  // A name in several sets counts each time.
  ActionSetProperties s1;
  s1.destinationIs("d1");
  key.actionSetPropertiesIs("s1", s1);
  EXPECT_EQ(key.numDestinations(), 3);
  key.actionSetPropertiesDelAll();
  for (uint32_t i = 0; i < 65535; ++i) key.destinationIs(String("x" + std::to_string(i)));
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
  a.destinationIs("d1");
  a.destinationIs("d2");
  b.destinationIs("d2");
  b.destinationIs("d1");
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(17), b.hash(17));

  ComponentKey copy = a;
  copy.destinationDel("d1");
  EXPECT_EQ(a.destination().size(), 2u);
  EXPECT_NE(copy, a);
  EXPECT_NE(copy.hash(17), a.hash(17));

  ActionSetProperties s;
  EXPECT_FALSE(s);
  s.destinationIs("d9");
  EXPECT_TRUE(s);

  // Order: the smaller destination set first, whatever the names.
  ComponentKey one, two;
  one.destinationIs("z");
  two.destinationIs("a");
  two.destinationIs("b");
  EXPECT_LT(one, two);
  // Action sets take part in equality and order; a copy's change leaves the original alone.
  ComponentKey withSet = a;
  withSet.actionSetPropertiesIs("s1", s);
  EXPECT_NE(withSet, a);
  EXPECT_GT(withSet, a);
  ComponentKey copyOfSet = withSet;
  ActionSetProperties changed = s;
  changed.destinationIs("d10");
  copyOfSet.actionSetPropertiesIs("s1", changed);
  EXPECT_EQ(withSet.actionSetProperties("s1"), s);
  EXPECT_NE(copyOfSet, withSet);
}

TEST(TapAggLog, RoundTripAndRefusals) {
  ComponentKey key;
  key.destinationIs("d1");
  key.destinationIs("d2");
  key.identityTagIs(Bridging::IdentityTuple(3, Bridging::VlanIdOrNone(10)));
  key.removeVlansIs(Bridging::Dot1qStrip::dot1qStripOuterAndInner);
  ActionSetProperties treatment;
  treatment.destinationIs("d3");
  key.actionSetPropertiesIs("s1", treatment);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << key;
  EXPECT_EQ(bytes.size(), attrLogSize(&key));
  Vem::NboAttrLog::In in(bytes);
  ComponentKey back(&in, Vem::StreamBogon{});
  EXPECT_EQ(back, key);
  EXPECT_EQ(back.stringValue().size(), key.stringValue().size());

  // The empty name ends the list, so a key holding it cannot be written.
  key.destinationIs("");
  std::string refused;
  Vem::NboAttrLog::Out badOut(refused);
  EXPECT_THROW(badOut << key, Vem::RangeException);

  // A list naming one destination twice is refused, as is one naming an action set twice.
  std::string empty;
  Vem::NboAttrLog::Out emptyOut(empty);
  emptyOut << ComponentKey();
  std::string twice;
  Vem::NboAttrLog::Out w(twice);
  w.string("d1");
  w.string("d1");
  twice += empty;
  Vem::NboAttrLog::In dup(twice);
  EXPECT_THROW(ComponentKey(&dup, Vem::StreamBogon{}), Vem::RangeException);

  std::string defaultTreatment;
  Vem::NboAttrLog::Out treatmentOut(defaultTreatment);
  treatmentOut << ActionSetProperties();
  std::string setTwice = empty.substr(0, empty.size() - 4);  // all but the action sets' end mark
  Vem::NboAttrLog::Out w2(setTwice);
  for (int i = 0; i < 2; ++i) {
    w2.string("s1");
    setTwice += defaultTreatment;
  }
  w2.string("");
  Vem::NboAttrLog::In dupSet(setTwice);
  EXPECT_THROW(ComponentKey(&dupSet, Vem::StreamBogon{}), Vem::RangeException);
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

  // Components: equal keys built in different orders find the same entry.
  ComponentKey a, b;
  a.destinationIs("d1");
  a.destinationIs("d2");
  b.destinationIs("d2");
  b.destinationIs("d1");
  status->componentGroupIdIs(a, 7);
  status->componentGroupIdIs(b, 7);  // the same key, unchanged: nothing
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{259, 259, 259, 258}));
  EXPECT_EQ(status->componentGroupId(b), 7);
  EXPECT_EQ(status->componentGroupId().size(), 1u);
}

}  // namespace
