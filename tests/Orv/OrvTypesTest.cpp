// The shared agent types: LAG kinds with codes from 1, table outcomes, all-ones hardware locations, LAG
// VLAN membership as a whole map, and the cookie handshake's counter.
#include <Orv/OrvTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace OrvTypes;

TEST(OrvTypes, RegistersItsTypesInOrder) {
  const char* names[] = {"OrvTypes::OrvLagType",     "OrvTypes::LagVlanMembership",   "OrvTypes::TableAddStatus",
                         "OrvTypes::IntfInfo",       "OrvTypes::OrvVerifyStatus",     "OrvTypes::OrvVerifyAgentStatus",
                         "OrvTypes::VerifyAgentConfig", "OrvTypes::VerifyAgentStatus"};
  for (uint16_t i = 0; i < 8; ++i) {
    auto t = Vem::Registry::typeByName(names[i]);
    ASSERT_TRUE(t.has_value()) << names[i];
    EXPECT_EQ(t->index(), i) << names[i];
  }
  auto lag = Vem::Registry::typeByName("OrvTypes::OrvLagType").value();
  EXPECT_EQ(lag.record().baseType, -9);  // held in a U32
  EXPECT_EQ(sizeof(OrvLagType), 4u);
  EXPECT_EQ(Vem::Registry::typeByName("OrvTypes::TableAddStatus")->record().baseType, -5);
  auto membership = LagVlanMembership::vemType();
  EXPECT_EQ(membership.members()[1].flagsA, 0x9c01);
  EXPECT_EQ(membership.members()[1].keyType, -9);
  EXPECT_EQ(IntfInfo::vemType().record().firstParam, 0);  // no constructor parameters
}

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

struct Counter : Lumo::Subscriber {
  std::vector<uint32_t> olds;
  void onChange(Lumo::AttributeId id, const void*, const void* old) override {
    EXPECT_EQ(id, 258);
    olds.push_back(*static_cast<const uint32_t*>(old));
  }
};

TEST(OrvTypes, VerifyCookieIncrementWrapsAndAnnouncesRealChanges) {
  auto config = verifyAgentConfigFactory(Lumo::String("agent"));
  Counter seen;
  config->publisher().subscriberAdd(&seen);
  config->verifyCookieIs(4294967295u);
  EXPECT_EQ(config->verifyCookieInc(1), 0u);  // wraps, and announces
  EXPECT_EQ(config->verifyCookieInc(0), 0u);  // no change, no announcement, still the value
  config->verifyCookieIs(0);                   // same value: nothing
  EXPECT_EQ(seen.olds, (std::vector<uint32_t>{0, 4294967295u}));
  config->publisher().subscriberDel(&seen);

  auto status = verifyAgentStatusFactory(Lumo::String("agent"));
  OrvVerifyAgentStatus verdict;
  verdict.verifyCookieIs(7);
  verdict.verifyStatusIs(OrvVerifyStatus::verifySuccess);
  status->verifyStatusDataIs(verdict);
  EXPECT_EQ(status->verifyStatusData(), verdict);
}

}  // namespace
