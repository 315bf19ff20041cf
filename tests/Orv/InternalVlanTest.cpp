// Internal VLANs: the key orders by interface then VLAN and travels as 12 bytes; the status directory
// creates one child per key and mirrors.
#include "MirrorTestSupport.h"

#include <Orv/OrvInternalVlanTypes.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Orv;
using Pelix::IntfId;

TEST(InternalVlanStatusInfoKey, OrdersByInterfaceThenVlanAndTravelsAsTwelveBytes) {
  const InternalVlanStatusInfoKey a(IntfId("Ethernet1"), 4000), b(IntfId("Ethernet1"), 4001), c(IntfId("Ethernet2"), 1);
  EXPECT_LT(a, b);
  EXPECT_LT(b, c);
  EXPECT_NE(a.hash(0), b.hash(0));
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << b;
  ASSERT_EQ(bytes.size(), 12u);
  EXPECT_EQ(bytes.substr(8), std::string("\0\0\x0f\xa1", 4));
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(InternalVlanStatusInfoKey(&in, Vem::StreamBogon{}), b);
  EXPECT_EQ(Vem::strepToValue<InternalVlanStatusInfoKey>(b.stringValue().view()), b);
}

TEST(InternalVlanStatus, CreatesOneChildPerKeyAndMirrors) {
  auto status = internalVlanStatusFactory(Lumo::String("internal"));
  const InternalVlanStatusInfoKey k1(IntfId("Ethernet1"), 1006), k2(IntfId("Ethernet1"), 1007);
  EXPECT_EQ(status->internalVlan(k1), nullptr);
  auto child = status->internalVlanIs(k1);
  EXPECT_EQ(status->internalVlanIs(k1), child);
  EXPECT_EQ(child->key(), k1);
  child->deviceNameIs(Lumo::String("vlan1006"));
  child->genIdInc(3);
  status->internalVlanIs(k2)->tagVlanIs(20);

  MirrorTest::Pair pair;
  pair.sender.attach(status);
  pair.drain();
  ASSERT_TRUE(pair.mirror);
  auto& mirror = pair.mirrorAs<InternalVlanStatus>();
  ASSERT_EQ(mirror.internalVlan().size(), 2u);
  EXPECT_EQ(mirror.internalVlan(k1)->deviceName(), Lumo::String("vlan1006"));
  EXPECT_EQ(mirror.internalVlan(k1)->genId(), 3u);
  EXPECT_EQ(mirror.internalVlan(k2)->tagVlan(), 20u);

  child->genIdInc(1);
  status->internalVlanDel(k2);
  pair.drain();
  EXPECT_EQ(mirror.internalVlan(k1)->genId(), 4u);
  EXPECT_EQ(mirror.internalVlan(k2), nullptr);
  EXPECT_EQ(child->parent(), status.get());
  status->internalVlanDelAll();
  EXPECT_EQ(child->parent(), nullptr);
}

}  // namespace
