// Pseudowire common records, their hand-written parts: the circuit hash that ignores the sub-interface and
// FEC index, and the whole-port test on both tags.
#include <Orv/OrvPwCommon.h>

#include <Brek/HashMix.h>
#include <Lumo/Descriptors.h>
#include <Vem/GenericIfOps.h>
#include <Vem/Hash.h>

#include <gtest/gtest.h>

namespace {

using namespace OrvPw;
using Bridging::VlanIdOrAny;
using Bridging::VlanIdOrAnyOrNone;
using Pelix::IntfId;

LocalConnectorInfo circuit(uint16_t tag, uint16_t intVlan, const char* sub = "Ethernet1/1.10", uint16_t inner = 20,
                           bool member = false) {
  return LocalConnectorInfo(IntfId("Ethernet1/1"), IntfId(sub), VlanIdOrAny(tag), VlanIdOrAnyOrNone(inner),
                            VlanIdOrAny(intVlan), true, member);
}

// Reads a value's member through the registration tables, as a tool that does not know the type would.
template <class Out, class T>
Out genericGet(const T& value, uint16_t attributeId) {
  const Vem::VemType t = T::vemType();
  const Vem::MemberRecord* m = t.memberById(attributeId);
  EXPECT_NE(m, nullptr);
  const Lumo::FieldDescriptor field = t.fieldOf(*m);
  Out out{};
  EXPECT_EQ(t.impl().attributeOp(&out, const_cast<T*>(&value), &field, Vem::OpCode::get, nullptr, nullptr), 0);
  return out;
}

TEST(LocalConnectorInfo, PortConnectorNeedsBothTagsAny) {
  EXPECT_TRUE(circuit(4095, 4095).isPortConnector());
  EXPECT_FALSE(circuit(4095, 1).isPortConnector());
  EXPECT_FALSE(circuit(1, 4095).isPortConnector());
  EXPECT_FALSE(LocalConnectorInfo().isPortConnector());  // both tags default to 1
  EXPECT_TRUE(genericGet<bool>(circuit(4095, 4095), 10));
  EXPECT_FALSE(genericGet<bool>(circuit(4095, 100), 10));
}

TEST(LocalConnectorInfo, CircuitHashLeavesOutSubInterfaceAndFecIndex) {
  LocalConnectorInfo a = circuit(10, 100, "Ethernet1/1.10");
  LocalConnectorInfo b = circuit(10, 100, "Ethernet1/1.20");
  LocalConnectorInfo c = a;
  c.hwFecIndexIs(77);
  for (const LocalConnectorInfo* other : {&b, &c}) {
    EXPECT_EQ(other->hash(), a.hash());
    EXPECT_NE(*other, a);
    EXPECT_NE(other->hash(0), a.hash(0));
  }
  // Every field it does take changes it.
  EXPECT_NE(circuit(11, 100).hash(), a.hash());
  EXPECT_NE(circuit(10, 101).hash(), a.hash());
  EXPECT_NE(circuit(10, 100, "Ethernet1/1.10", 21).hash(), a.hash());
  EXPECT_NE(circuit(10, 100, "Ethernet1/1.10", 20, true).hash(), a.hash());

  // The exact recipe: interface hash, three single-attribute VLAN hashes, two flag bytes.
  Brek::HashMix h(0);
  h.mix(static_cast<uint32_t>(IntfId("Ethernet1/1").hash()));
  for (uint32_t vlan : {10u, 20u, 100u}) h.mix(Vem::hashSingleAttr(vlan, 0));
  h.mix(uint8_t{1});
  h.mix(uint8_t{0});
  EXPECT_EQ(a.hash(), h.result());

  // The generic interface reports it as attribute 11. (That the type's generic hash is the declared one is
  // checked on IntfPairKey, in AclQuarnTypesTest.)
  EXPECT_EQ(genericGet<uint32_t>(a, 11), a.hash());
}

}  // namespace
