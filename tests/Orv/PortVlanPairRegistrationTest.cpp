// The registration tables of OrvPortVlanPair, read back through the registry, field by field.
#include <Orv/OrvPortVlanPair.h>
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Vem::MemberRecord;
using Vem::Registry;
using Vem::VemType;

TEST(PortVlanPairRegistration, ModuleTypeAndMemberRecords) {
  const Vem::RegisteredModule* m = Registry::moduleByName("OrvPortVlanPair");
  ASSERT_NE(m, nullptr);
  VemType t = Orv::PortVlanPair::vemType();
  EXPECT_EQ(m->descriptor, t.module());
  EXPECT_EQ(m->descriptor->typeCount, 1u);
  // Registering again is harmless.
  std::size_t before = Registry::moduleCount();
  Vem::vemModuleIs(m->descriptor, "OrvPortVlanPair", m->tag);
  EXPECT_EQ(Registry::moduleCount(), before);

  const Vem::TypeRecord& r = t.record();
  EXPECT_EQ(r.kind, 0x21);
  EXPECT_EQ(r.zero1, 0);
  EXPECT_EQ(r.zero4, 0);
  EXPECT_EQ(r.zero7, 0);
  EXPECT_EQ(r.nameField & 0xf, 0);
  EXPECT_EQ(r.size(), sizeof(Orv::PortVlanPair));
  EXPECT_EQ(r.alignment(), alignof(Orv::PortVlanPair));
  EXPECT_EQ(r.baseType, -1);
  auto params = t.ctorParams();
  ASSERT_EQ(params.size(), 2u);
  EXPECT_EQ(std::string(t.paramName(params[0])) + ":" + std::string(t.paramTypeName(params[0])), "port:Pelix::IntfId");
  EXPECT_EQ(std::string(t.paramName(params[1])) + ":" + std::string(t.paramTypeName(params[1])), "vlan:U16");
  EXPECT_TRUE(t.module()->params[0].terminator());

  struct Expected {
    const char* name;
    uint16_t id, flagsA, flagsB;
    int16_t type;
    const char* typeName;
  } expected[] = {{"port", 2, 0x2c00, 0x2101, 0, "Pelix::IntfId"},
                  {"vlan", 3, 0x2c00, 0x2101, -7, "U16"},
                  {"hash", 4, 0x2800, 0x0000, -9, "U32"}};
  auto members = t.members();
  ASSERT_EQ(members.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const MemberRecord& mr = members[i];
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(t.memberName(mr), expected[i].name);
    EXPECT_EQ(mr.attributeId, expected[i].id);
    EXPECT_EQ(mr.flagsA, expected[i].flagsA);
    EXPECT_EQ(mr.flagsB, expected[i].flagsB);
    if (expected[i].type < 0) {
      EXPECT_EQ(mr.type, expected[i].type);
    }
    EXPECT_EQ(t.refName(mr.type), expected[i].typeName);
    EXPECT_EQ(mr.extra, 0u);
    EXPECT_EQ(mr.firstParam, 0);
    EXPECT_EQ(mr.keyType, -1);
    EXPECT_EQ(mr.nameField & ~0x00fff000u, 0u);
  }
  // The foreign type is reached through the type-reference table.
  VemType port = t.resolve(members[0].type);
  ASSERT_TRUE(port.valid());
  EXPECT_EQ(port.name(), "Pelix::IntfId");
  EXPECT_EQ(port.record().size(), 8u);

  const Vem::ImplEntry& impl = t.impl();
  EXPECT_EQ(impl.newEntityForDir, nullptr);
  EXPECT_EQ(impl.attrLogHandlers, nullptr);
  EXPECT_EQ(impl.iterator, nullptr);
  EXPECT_EQ(impl.methods, &Vem::GenericIfImpl::GenericIfValueMethods<Orv::PortVlanPair>::table);
  // A value is built from constructor arguments through the table alone.
  Pelix::IntfId portArg("Ethernet7");
  uint16_t vlan = 12;
  const void* args[] = {&portArg, &vlan};
  alignas(Orv::PortVlanPair) unsigned char storage[sizeof(Orv::PortVlanPair)];
  ASSERT_NE(impl.constructFromCtorArgs, nullptr);
  impl.constructFromCtorArgs(storage, args);
  auto* built = reinterpret_cast<Orv::PortVlanPair*>(storage);
  EXPECT_EQ(*built, Orv::PortVlanPair(portArg, 12));
  Vem::GenericIfImpl::valueMethods(t)->destruct(built);
}

}  // namespace
