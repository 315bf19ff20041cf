// Internal VLANs: the key orders by interface then VLAN and travels as 12 bytes; the generation counter
// wraps and announces only a real change; the status directory creates one child per key.
#include "MirrorTestSupport.h"

#include <Orv/OrvInternalVlanTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Orv;
using Pelix::IntfId;

struct Olds : Lumo::Subscriber {
  explicit Olds(Vem::Entity& e) : entity(e) { e.publisher().subscriberAdd(this); }
  ~Olds() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void*, const void* old) override {
    ids.push_back(id);
    if (id == 263) olds.push_back(*static_cast<const uint32_t*>(old));
  }
  Vem::Entity& entity;
  std::vector<uint16_t> ids;
  std::vector<uint32_t> olds;
};

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

TEST(InternalVlanStatusInfo, GenerationWrapsAndAnnouncesOnlyChanges) {
  const InternalVlanStatusInfoKey key(IntfId("Ethernet1"), 1006);
  auto info = internalVlanStatusInfoFactory(key);
  EXPECT_EQ(info->key(), key);
  EXPECT_EQ(info->deviceName(), Lumo::String());
  Olds seen(*info);
  EXPECT_EQ(info->genIdInc(0), 0u);  // no change: no announcement
  info->genIdIs(4294967295u);
  EXPECT_EQ(info->genIdInc(0), 4294967295u);
  EXPECT_EQ(info->genIdInc(1), 0u);
  EXPECT_EQ(info->genIdInc(5), 5u);
  info->deviceNameIs(Lumo::String("vlan1006"));
  info->deviceNameIs(Lumo::String("vlan1006"));
  info->tagVlanIs(0);
  info->subIntfIs(2);
  info->oldInternalVlanIs(1005);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{263, 263, 263, 259, 262, 261}));
  EXPECT_EQ(seen.olds, (std::vector<uint32_t>{0, 4294967295u, 0}));
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
