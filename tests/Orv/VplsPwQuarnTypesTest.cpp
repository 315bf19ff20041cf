// VPLS pseudowire records, their hand-written parts: the factory of the per-VLAN set, and the state
// dump's exact text, called directly and as attribute 263 through the generic interface.
#include <Orv/OrvVplsPwQuarnTypesFactory.h>

#include <Brek/DumpContext.h>
#include <Lumo/Node.h>
#include <Lumo/Descriptors.h>
#include <Vem/GenericIfOps.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Reflect.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using namespace Orv;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Lumo::String;
using Pelix::IntfId;

std::string dump(const HwVplsPwDecapConfig& config, uint32_t indent) {
  auto ctx = Lumo::newNode<Brek::DumpContext>();
  config.dumpState(ctx, indent);
  return ctx->str();
}

TEST(HwVplsPwDecapConfig, DumpListsEveryEntry) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
  config->startupSyncDoneIs(true);  // not dumped
  EXPECT_EQ(dump(*config, 0),
            "HwVplsPwDecapConfig\n"
            "  vlanTagInfo[] #0\n"
            "  encapHwFecId[] #0\n"
            "  decapLabel[] #0\n");
  config->dumpState(Lumo::Ptr<const Brek::DumpContext>(), 0);  // a null context discards the dump
  const IntfId pw1("Pseudowire1");
  config->vlanTagInfoIs(VplsPwIntfVlanKey(pw1, VlanId(10)), VlanIdOrNone(0));
  config->encapHwFecIdIs(pw1, NexthopIndex(42));
  config->decapLabelIs(pw1, Pelix::MplsLabel(1000));
  EXPECT_EQ(dump(*config, 0),
            "HwVplsPwDecapConfig\n"
            "  vlanTagInfo[] #1\n"
            "    (Pseudowire1, 10) -> 0\n"
            "  encapHwFecId[] #1\n"
            "    Pseudowire1 -> 42\n"
            "  decapLabel[] #1\n"
            "    Pseudowire1 -> 1000\n");
  // Large FEC indices print as unsigned 64-bit numbers.
  config->encapHwFecIdIs(pw1, NexthopIndex(UINT64_MAX));
  config->vlanTagInfoIs(VplsPwIntfVlanKey(pw1, VlanId(10)), VlanIdOrNone(4094));
  const std::string text = dump(*config, 1);
  EXPECT_NE(text.find("\n     Pseudowire1 -> 18446744073709551615\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n     (Pseudowire1, 10) -> 4094\n"), std::string::npos) << text;
  EXPECT_EQ(text.rfind(" HwVplsPwDecapConfig\n", 0), 0u) << text;
  EXPECT_EQ(config->encapHwFecId().size(), 1u);  // the dump changed nothing
}

// Attribute 263 called as a tool calls it: member and parameter types come from the registration records,
// each argument is held as its registered type's methods build it.
struct GenericDumpCall {
  Vem::VemType type = HwVplsPwDecapConfig::vemType();
  const Vem::MemberRecord* member = type.memberById(263);
  Lumo::FieldDescriptor field = type.fieldOf(*member);
  Vem::AnyValue context{Vem::TypeHandle::byName(type.paramTypeName(type.params(member->firstParam)[0]))};

  int run(HwVplsPwDecapConfig& config, const void* ctxArg, const void* indentArg, uint8_t code = Vem::OpCode::get) {
    return type.impl().attributeOp(nullptr, &config, &field, code, ctxArg, indentArg);
  }
  std::string dump(HwVplsPwDecapConfig& config, uint32_t indentCount) {
    auto ctx = Lumo::newNode<Brek::DumpContext>();
    *static_cast<Lumo::Ptr<Brek::DumpContext>*>(context.data()) = ctx;
    Vem::AnyValue indent(Vem::TypeHandle::byName(type.paramTypeName(type.params(member->firstParam)[1])),
                         std::to_string(indentCount));
    EXPECT_EQ(run(config, context.data(), indent.data()), 0);
    return ctx->str();
  }
};

TEST(HwVplsPwDecapConfig, DumpStateThroughTheGenericInterfaceWritesTheSameBytes) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
  GenericDumpCall call;
  EXPECT_EQ(call.dump(*config, 0), dump(*config, 0));
  for (const char* intf : {"Pseudowire1", "Pseudowire2", "Pseudowire3"}) {
    config->vlanTagInfoIs(VplsPwIntfVlanKey(IntfId(intf), VlanId(10)), VlanIdOrNone(7));
    config->vlanTagInfoIs(VplsPwIntfVlanKey(IntfId(intf), VlanId(4094)), VlanIdOrNone(0));
    config->encapHwFecIdIs(IntfId(intf), NexthopIndex(UINT64_MAX - 1));
    config->decapLabelIs(IntfId(intf), Pelix::MplsLabel(1048575));
  }
  for (uint32_t indent : {0u, 1u, 6u}) {
    const std::string direct = dump(*config, indent);
    EXPECT_EQ(call.dump(*config, indent), direct) << indent;
    EXPECT_EQ(std::count(direct.begin(), direct.end(), '\n'), 4 + 6 + 3 + 3) << direct;
  }
  // A null context is passed on and discards the dump, as in a direct call.
  Lumo::Ptr<Brek::DumpContext> null;
  uint32_t indent = 2;
  EXPECT_EQ(call.run(*config, &null, &indent), 0);
  // Missing arguments and other codes are refused before the method runs.
  auto ctx = Lumo::newNode<Brek::DumpContext>();
  Lumo::Ptr<Brek::DumpContext> held = ctx;
  EXPECT_EQ(call.run(*config, &held, nullptr), 1);
  EXPECT_EQ(call.run(*config, nullptr, &indent), 1);
  for (uint8_t code : {Vem::OpCode::set, Vem::OpCode::del, Vem::OpCode::count, Vem::OpCode::nameString})
    EXPECT_EQ(call.run(*config, &held, &indent, code), 1) << int(code);
  EXPECT_EQ(ctx->str(), "");
}

// The per-VLAN set is built from its VLAN by a hand-written factory, standing alone.
TEST(VplsVlanPwIntfSet, FactoryBuildsFromTheVlan) {
  auto set = vplsVlanPwIntfSetFactory(VlanId(30));
  ASSERT_TRUE(set);
  EXPECT_EQ(set->vlanId(), VlanId(30));
  EXPECT_EQ(set->parent(), nullptr);
  EXPECT_EQ(set->useCount(), 1u);
}

}  // namespace
