// The shared agent types: LAG kinds with codes from 1, table outcomes, all-ones hardware locations and
// the LAG VLAN membership's log form.
#include <Orv/OrvTypes.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

namespace {

using namespace OrvTypes;

TEST(OrvTypes, LagTypeCodesStartAtOne) {
  EXPECT_EQ(OrvLagTypeInstance(1), OrvLagType::softwareLag);
  EXPECT_EQ(OrvLagTypeInstance(2), OrvLagType::hardwareLag);
  EXPECT_THROW(OrvLagTypeInstance(0), Vem::RangeException);
  EXPECT_EQ(OrvLagTypeInstance("hardwareLag"), OrvLagType::hardwareLag);
  EXPECT_EQ(TableAddStatusInstance(3), TableAddStatus::rssUnAvail);
  EXPECT_EQ(stringValue(TableAddStatus::pending), "pending");
  EXPECT_EQ(stringValue(OrvVerifyStatus::verifyRetry), "verifyRetry");
}

TEST(OrvTypes, IntfInfoDefaultsHaveAllBitsSet) {
  IntfInfo info;
  EXPECT_EQ(info.sw(), 65535);
  EXPECT_EQ(info.portId(), 65535);
  EXPECT_EQ(info.lagIndex(), 4294967295u);
  EXPECT_EQ(info.stringValue(), "OrvTypes::IntfInfo(sw=65535, portId=65535, lagIndex=4294967295)");
  info.portIdIs(3);
  EXPECT_EQ(Vem::strepToValue<IntfInfo>(info.stringValue().view()), info);
}

TEST(OrvTypes, LagVlanMembershipLogSizeIsTwelvePlusEightPerEntry) {
  LagVlanMembership m(Pelix::IntfId("Port-Channel5"));
  for (uint32_t n = 0; n < 4; ++n) {
    std::string bytes;
    Vem::NboAttrLog::Out out(bytes);
    out << m;
    EXPECT_EQ(bytes.size(), 12u + 8 * n);
    Vem::NboAttrLog::In in(bytes);
    EXPECT_EQ(LagVlanMembership(&in, Vem::StreamBogon{}), m);
    m.vlanIs(100 + n, n);
  }
  EXPECT_THROW(Vem::strepToValue<LagVlanMembership>("x"), Vem::RangeException);
}

}  // namespace
