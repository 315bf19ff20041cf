// The registration tables of OrvPortVlanPair, read back through the registry, field by field.
#include <Orv/OrvPortVlanPair.h>
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Vem::MemberRecord;
using Vem::Registry;
using Vem::VemType;

VemType pairType() {
  auto t = Registry::typeByName("Orv::PortVlanPair");
  EXPECT_TRUE(t.has_value());
  return t.value_or(VemType());
}

// The strings of a NUL-separated table, from its start up to the end offset given.
std::vector<std::string> strings(const char* table, std::size_t count) {
  std::vector<std::string> out;
  const char* p = table;
  for (std::size_t i = 0; i < count; ++i) {
    out.emplace_back(p);
    p += out.back().size() + 1;
  }
  return out;
}

TEST(PortVlanPairRegistration, ModuleIsRegisteredWithItsDescriptorSymbol) {
  const Vem::RegisteredModule* m = Registry::moduleByName("OrvPortVlanPair");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->descriptor, Orv::PortVlanPair::vemType().module());
  std::string symbol = Vem::descriptorSymbol(*m);
  const std::string prefix = "_OrvPortVlanPair_", suffix = "_vemModule";
  ASSERT_EQ(symbol.size(), prefix.size() + 8 + suffix.size()) << symbol;
  EXPECT_EQ(symbol.substr(0, prefix.size()), prefix);
  EXPECT_EQ(symbol.substr(prefix.size() + 8), suffix);
  EXPECT_EQ(symbol.substr(prefix.size(), 8).find_first_not_of("0123456789abcdef"), std::string::npos) << symbol;
  EXPECT_EQ(m->descriptor->typeCount, 1u);
  // Registering again is harmless.
  std::size_t before = Registry::moduleCount();
  Vem::vemModuleIs(m->descriptor, "OrvPortVlanPair", m->tag);
  EXPECT_EQ(Registry::moduleCount(), before);
  // The platform module it refers to is registered too.
  EXPECT_NE(Registry::moduleByName("Pelix"), nullptr);
}

TEST(PortVlanPairRegistration, TypeRecord) {
  VemType t = pairType();
  const Vem::TypeRecord& r = t.record();
  EXPECT_EQ(r.kind, 0x21);
  EXPECT_EQ(r.zero1, 0);
  EXPECT_EQ(r.zero4, 0);
  EXPECT_EQ(r.zero7, 0);
  EXPECT_EQ(r.nameField & 0xf, 0);
  EXPECT_EQ(t.name(), "Orv::PortVlanPair");
  EXPECT_EQ(r.size(), sizeof(Orv::PortVlanPair));
  EXPECT_EQ(r.alignment(), alignof(Orv::PortVlanPair));
  EXPECT_EQ(r.memberCount, 3);
  EXPECT_EQ(r.baseType, -1);
  ASSERT_NE(r.firstParam, 0);
  auto params = t.ctorParams();
  ASSERT_EQ(params.size(), 2u);
  EXPECT_EQ(t.paramName(params[0]), "port");
  EXPECT_EQ(t.paramTypeName(params[0]), "Pelix::IntfId");
  EXPECT_EQ(t.paramName(params[1]), "vlan");
  EXPECT_EQ(t.paramTypeName(params[1]), "U16");
  EXPECT_TRUE(t.module()->params[0].terminator());
}

TEST(PortVlanPairRegistration, MemberRecords) {
  VemType t = pairType();
  auto members = t.members();
  ASSERT_EQ(members.size(), 3u);
  struct Expected {
    const char* name;
    uint16_t id, flagsA, flagsB;
    const char* type;
  } expected[] = {{"port", 2, 0x2c00, 0x2101, "Pelix::IntfId"},
                  {"vlan", 3, 0x2c00, 0x2101, "U16"},
                  {"hash", 4, 0x2800, 0x0000, "U32"}};
  for (std::size_t i = 0; i < 3; ++i) {
    const MemberRecord& m = members[i];
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(t.memberName(m), expected[i].name);
    EXPECT_EQ(m.attributeId, expected[i].id);
    EXPECT_EQ(m.flagsA, expected[i].flagsA);
    EXPECT_EQ(m.flagsB, expected[i].flagsB);
    EXPECT_EQ(t.refName(m.type), expected[i].type);
    EXPECT_EQ(m.extra, 0u);
    EXPECT_EQ(m.firstParam, 0);
    EXPECT_EQ(m.keyType, -1);
    EXPECT_EQ(m.nameField & ~0x00fff000u, 0u);
  }
  EXPECT_EQ(members[1].type, -7);
  EXPECT_EQ(members[2].type, -9);
  // The foreign type is reached through the type-reference table.
  VemType port = t.resolve(members[0].type);
  ASSERT_TRUE(port.valid());
  EXPECT_EQ(port.name(), "Pelix::IntfId");
  EXPECT_EQ(port.record().size(), 8u);
}

TEST(PortVlanPairRegistration, StringTablesAreSortedAndMemberTableStartsEmpty) {
  VemType t = pairType();
  auto typeNames = strings(t.module()->typeNames, 3);
  EXPECT_EQ(typeNames, (std::vector<std::string>{"Orv::PortVlanPair", "Pelix::IntfId", "U16"}));
  auto memberNames = strings(t.module()->memberNames, 4);
  EXPECT_EQ(memberNames, (std::vector<std::string>{"", "hash", "port", "vlan"}));
}

TEST(PortVlanPairRegistration, ImplementationTable) {
  VemType t = pairType();
  const Vem::ImplEntry& impl = t.impl();
  EXPECT_EQ(impl.newEntityForDir, nullptr);
  EXPECT_EQ(impl.attrLogHandlers, nullptr);
  EXPECT_EQ(impl.methods, &Vem::GenericIfImpl::GenericIfValueMethods<Orv::PortVlanPair>::table);
  EXPECT_NE(impl.constructFromCtorArgs, nullptr);
  EXPECT_EQ(impl.iterator, nullptr);

  // Build a value from constructor arguments through the table alone.
  Pelix::IntfId port("Ethernet7");
  uint16_t vlan = 12;
  const void* args[] = {&port, &vlan};
  alignas(Orv::PortVlanPair) unsigned char storage[sizeof(Orv::PortVlanPair)];
  impl.constructFromCtorArgs(storage, args);
  auto* built = reinterpret_cast<Orv::PortVlanPair*>(storage);
  EXPECT_EQ(*built, Orv::PortVlanPair(port, 12));
  Vem::GenericIfImpl::valueMethods(t)->destruct(built);
}

}  // namespace
