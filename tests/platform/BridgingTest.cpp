// VLAN ids with their none and any codes, and the bridging records built from them.
#include <Bridging/Bridging.h>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;
using namespace Bridging;

TEST(VlanIds, DefaultsAndRangesPerType) {
  EXPECT_EQ(VlanId().value(), 1);
  EXPECT_EQ(VlanIdOrNone().value(), 0);
  EXPECT_TRUE(VlanIdOrNone().isNone());
  EXPECT_EQ(VlanIdOrAny().value(), 1);
  EXPECT_EQ(VlanIdOrAnyOrNone().value(), 0);
  EXPECT_TRUE(VlanIdOrAny(4095).isAny());
  EXPECT_FALSE(VlanIdOrNone(4094).isAny());
  EXPECT_EQ(errorOf([] { VlanId(0); }), "Bridging::VlanId::value < 1 not allowed");
  EXPECT_EQ(errorOf([] { VlanId(4095); }), "Bridging::VlanId::value > 4094 not allowed");
  EXPECT_EQ(errorOf([] { VlanIdOrNone(4095); }), "Bridging::VlanIdOrNone::value > 4094 not allowed");
  EXPECT_EQ(errorOf([] { VlanIdOrAny(0); }), "Bridging::VlanIdOrAny::value < 1 not allowed");
  EXPECT_EQ(errorOf([] { VlanIdOrAnyOrNone(4096); }), "Bridging::VlanIdOrAnyOrNone::value > 4095 not allowed");
  EXPECT_NO_THROW(VlanIdOrAnyOrNone(0));
  EXPECT_NO_THROW(VlanIdOrAnyOrNone(4095));
}

TEST(VlanIds, NoneAndAnyAreWordsInTextAndTheLogFormIsU16) {
  EXPECT_EQ(parsesBack<VlanId>("4094"), VlanId(4094));
  EXPECT_EQ(parsesBack<VlanIdOrNone>("none"), VlanIdOrNone(0));
  EXPECT_EQ(parsesBack<VlanIdOrAny>("any"), VlanIdOrAny(4095));
  EXPECT_EQ(parsesBack<VlanIdOrAnyOrNone>("none"), VlanIdOrAnyOrNone(0));
  EXPECT_EQ(parsesBack<VlanIdOrAnyOrNone>("any"), VlanIdOrAnyOrNone(4095));
  EXPECT_EQ(parsesBack<VlanIdOrAnyOrNone>("100"), VlanIdOrAnyOrNone(100));
  // Each value has one spelling, and words belong only to the types that have them.
  expectRefused<VlanIdOrNone>({"0", "any", "nonesuch"});
  expectRefused<VlanIdOrAny>({"4095"});
  expectRefused<VlanId>({"none", "0100", "99999"});
  EXPECT_EQ(refusal<VlanId>("4095"), "Bridging::VlanId: 4095 is not a VLAN of this type at offset 0");
  // The log form is a U16, and its reader keeps the range.
  EXPECT_EQ(hex(logsBack(VlanIdOrAny(4095))), "0fff");
  EXPECT_EQ(hex(logsBack(VlanIdOrNone())), "0000");
  EXPECT_EQ(logRefusal<VlanId>("\x0f\xff"), "Bridging::VlanId::value > 4094 not allowed");
  EXPECT_LT(VlanIdOrAnyOrNone(0), VlanIdOrAnyOrNone(1));
  EXPECT_LT(VlanIdOrAnyOrNone(4094), VlanIdOrAnyOrNone(4095));
  EXPECT_NE(VlanId(1).hash(), VlanId(2).hash());
}

TEST(BridgingRecords, TextAndLogCarryThePlatformForms) {
  MacVlanPair pair = parsesBack<MacVlanPair>("Bridging::MacVlanPair(addr=00:1c:73:00:00:01, vlanId=10)");
  EXPECT_EQ(pair.addr(), Pelix::EthAddr(0x00, 0x1c, 0x73, 0, 0, 1));
  EXPECT_EQ(hex(logsBack(pair)), "001c73000001000a");
  IdentityTuple tag = parsesBack<IdentityTuple>("Bridging::IdentityTuple(id=7, vlanId=none)");
  EXPECT_EQ(logsBack(tag).size(), 4u);
  VlanXlateKey key = parsesBack<VlanXlateKey>("Bridging::VlanXlateKey(outerVlanId=100, innerVlanId=200)");
  EXPECT_LT(VlanXlateKey(VlanId(100), VlanIdOrNone(0)), key);
  EXPECT_EQ(refusal<VlanXlateKey>("Bridging::VlanXlateKey(outerVlanId=none, innerVlanId=200)").substr(0, 12),
            "outerVlanId:");
}

}  // namespace
