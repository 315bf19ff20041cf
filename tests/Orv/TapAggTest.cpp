// Tap aggregation components: the operator-facing summary text byte for byte, the destination count,
// refusal of text parsing and of names the attribute log cannot carry, and keys found whatever their
// insertion order.
#include <Orv/OrvTapAggQuarnTypes.h>

#include <Vem/GenericIf.h>
#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Lumo::String;
using namespace Orv::OrvTapAgg;

// The destination names in the key's iteration order, as the summary lists them.
std::string namesInIterationOrder(const ComponentKey& key) {
  std::string s;
  for (auto it = key.destination().begin(); it.valid(); it.next()) s += (s.empty() ? "" : ", ") + it.key().stdString();
  return s;
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
  auto type = ComponentKey::vemType();
  EXPECT_EQ(Vem::GenericIfImpl::valueMethods(type)->strRep(&key, type, 0).stdString(), generic);

  EXPECT_THROW(Vem::strepToValue<ComponentKey>(generic), Vem::RangeException);
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

TEST(TapAggKey, SmallerDestinationSetOrdersFirstThenTheActionSets) {
  ComponentKey one, two;
  one.destinationIs("z");
  two.destinationIs("a");
  two.destinationIs("b");
  EXPECT_LT(one, two);  // whatever the names
  ActionSetProperties s;
  s.destinationIs("d9");
  ComponentKey withSet = two;
  withSet.actionSetPropertiesIs("s1", s);
  EXPECT_NE(withSet, two);
  EXPECT_GT(withSet, two);
}

// A name given twice on input is refused by the reader that every collection inside a value shares; that
// is checked once, in AttrLogRecordTest.
TEST(TapAggLog, RoundTripAndTheEmptyNameRefused) {
  ComponentKey key;
  key.destinationIs("d1");
  key.destinationIs("d2");
  key.identityTagIs(Bridging::IdentityTuple(3, Bridging::VlanIdOrNone(10)));
  key.removeVlansIs(Bridging::Dot1qStrip::dot1qStripOuterAndInner);
  ActionSetProperties treatment;
  treatment.destinationIs("d3");
  key.actionSetPropertiesIs("s1", treatment);
  OrvTest::expectLogReadsBack(key);

  // The empty name ends the list, so a key holding it cannot be written.
  key.destinationIs("");
  EXPECT_THROW(OrvTest::logBytes(key), Vem::RangeException);
}

TEST(TapAggStatus, EqualKeysBuiltInDifferentOrdersFindTheSameEntry) {
  auto status = componentStatusFactory(String("tapAgg"));
  ComponentKey a, b;
  a.destinationIs("d1");
  a.destinationIs("d2");
  b.destinationIs("d2");
  b.destinationIs("d1");
  status->componentGroupIdIs(a, 7);
  status->componentGroupIdIs(b, 8);
  EXPECT_EQ(status->componentGroupId(a), 8);
  EXPECT_EQ(status->componentGroupId().size(), 1u);
}

}  // namespace
