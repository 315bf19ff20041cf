// VPLS pseudowire records: values filed under their own interface, the none VLAN for absent keys, the
// wrapping adjacency-index allocator, per-VLAN child sets, and the state dump's exact text, called directly
// and as attribute 263 through the generic interface.
#include <Orv/OrvVplsPwQuarnTypesFactory.h>

#include <Brek/DumpContext.h>
#include <Lumo/Node.h>
#include <Lumo/Publisher.h>
#include <Lumo/Descriptors.h>
#include <Vem/GenericIfOps.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Reflect.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace Orv;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Lumo::String;
using Pelix::IntfId;

VplsPwIntfInfo pw(const char* intf, uint32_t label, bool standby = false) {
  return VplsPwIntfInfo(IntfId(intf), Pelix::MplsLabel(label), Tunnel::TunnelTable::TunnelId(),
                        true, Pseudowire::FlowLabelType::flowLabelBoth, String("vpls1"), String("group"), true,
                        standby, false);
}

std::string dump(const HwVplsPwDecapConfig& config, uint32_t indent) {
  auto ctx = Lumo::newNode<Brek::DumpContext>();
  config.dumpState(ctx, indent);
  return ctx->str();
}

TEST(VplsPwValues, DefaultsTextAndLogRoundTrip) {
  VplsPwIntfInfo none;
  EXPECT_EQ(none.encapLabel().value(), 1048576u);
  EXPECT_FALSE(static_cast<bool>(none));
  const VplsPwIntfInfo one = pw("Pseudowire4", 2000, true);
  EXPECT_TRUE(static_cast<bool>(one));
  EXPECT_EQ(Vem::strepToValue<VplsPwIntfInfo>(one.stringValue().view()), one);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << one;
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(VplsPwIntfInfo(&in, Vem::StreamBogon{}), one);
  // Ordering is by attribute: the interface first, whatever the label says.
  EXPECT_LT(pw("Pseudowire1", 900), pw("Pseudowire2", 100));
  const VplsIntfKey key(Pseudowire::VplsIntfIdGroupKey(String("vpls1"), String("g")), true);
  EXPECT_EQ(Vem::strepToValue<VplsIntfKey>(key.stringValue().view()), key);
}

TEST(HwVplsPwConfig, FilesEachValueUnderItsOwnInterface) {
  auto config = hwVplsPwConfigFactory(String("config"));
  OrvTest::AnnouncedIds seen(*config);
  config->vplsPwIntfInfoIs(pw("Pseudowire1", 100));
  config->vplsPwIntfInfoIs(pw("Pseudowire2", 200));
  config->vplsPwIntfInfoIs(pw("Pseudowire1", 100));        // equal: nothing
  config->vplsPwIntfInfoIs(pw("Pseudowire1", 100, true));  // replaces
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{258, 258, 258}));
  EXPECT_EQ(config->vplsPwIntfInfo().size(), 2u);
  EXPECT_TRUE(config->vplsPwIntfInfo(IntfId("Pseudowire1")).standby());
  EXPECT_EQ(config->vplsPwIntfInfo(IntfId("Pseudowire2")).encapLabel().value(), 200u);
  config->vplsPwIntfInfoDel(IntfId("Pseudowire2"));
  EXPECT_EQ(config->vplsPwIntfInfo(IntfId("Pseudowire2")), VplsPwIntfInfo());
}

TEST(HwVplsPwDecapConfig, AbsentVlanTagIsNoneAndFlagsAnnounceChanges) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
  const VplsPwIntfVlanKey key(IntfId("Pseudowire1"), VlanId(10));
  EXPECT_TRUE(config->vlanTagInfo(key).isNone());
  config->vlanTagInfoIs(key, VlanIdOrNone(20));
  EXPECT_EQ(config->vlanTagInfo(key).value(), 20);
  EXPECT_TRUE(config->vlanTagInfo(VplsPwIntfVlanKey(IntfId("Pseudowire1"), VlanId(11))).isNone());

  OrvTest::AnnouncedIds seen(*config);
  config->startupSyncDoneIs(false);  // already false
  config->startupSyncDoneIs(true);
  config->restartDoneIs(true);
  config->restartDoneIs(true);
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{261, 262}));
}

TEST(HwVplsPwDecapConfig, DumpOfAnEmptyEntityIsFourLines) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
  config->startupSyncDoneIs(true);  // not dumped
  EXPECT_EQ(dump(*config, 0),
            "HwVplsPwDecapConfig\n"
            "  vlanTagInfo[] #0\n"
            "  encapHwFecId[] #0\n"
            "  decapLabel[] #0\n");
  EXPECT_EQ(dump(*config, 3),
            "   HwVplsPwDecapConfig\n"
            "     vlanTagInfo[] #0\n"
            "     encapHwFecId[] #0\n"
            "     decapLabel[] #0\n");
  // A null context discards the dump.
  config->dumpState(Lumo::Ptr<const Brek::DumpContext>(), 0);
}

TEST(HwVplsPwDecapConfig, DumpListsEveryEntry) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
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
  Lumo::FieldDescriptor field =
      Lumo::FieldDescriptor::of(type.module()->members, static_cast<uint16_t>(member - type.module()->members));
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
}

TEST(HwVplsPwDecapConfig, GenericDumpStateRefusesMissingArgumentsAndOtherCodes) {
  auto config = hwVplsPwDecapConfigFactory(String("decap"));
  config->decapLabelIs(IntfId("Pseudowire1"), Pelix::MplsLabel(16));
  GenericDumpCall call;
  auto ctx = Lumo::newNode<Brek::DumpContext>();
  Lumo::Ptr<Brek::DumpContext> held = ctx;
  uint32_t indent = 0;
  EXPECT_EQ(call.run(*config, &held, nullptr), 1);
  EXPECT_EQ(call.run(*config, nullptr, &indent), 1);
  for (uint8_t code : {Vem::OpCode::set, Vem::OpCode::del, Vem::OpCode::count, Vem::OpCode::nameString})
    EXPECT_EQ(call.run(*config, &held, &indent, code), 1) << int(code);
  EXPECT_EQ(ctx->str(), "");  // nothing ran
  EXPECT_EQ(config->decapLabel().size(), 1u);
}

TEST(VplsPwIntfAdditionalDataMap, AllocatorWrapsAndAnnouncesOnlyChanges) {
  auto map = vplsPwIntfAdditionalDataMapFactory(String("adj"));
  OrvTest::AnnouncedIds seen(*map);
  EXPECT_EQ(map->pwAdjIndexAllocatorInc(0), 0u);  // no change, no announcement
  map->pwAdjIndexAllocatorIs(UINT64_MAX);
  map->pwAdjIndexAllocatorIs(UINT64_MAX);
  EXPECT_EQ(map->pwAdjIndexAllocatorInc(0), UINT64_MAX);
  EXPECT_EQ(map->pwAdjIndexAllocatorInc(1), 0u);
  EXPECT_EQ(map->pwAdjIndexAllocatorInc(UINT64_MAX), UINT64_MAX);  // adds modulo 2^64
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{259, 259, 259}));

  // The two index maps are independent: neither follows the other.
  map->pwAdjIndexIs(IntfId("Pseudowire1"), 7);
  EXPECT_EQ(map->pwAdjIndexToPwIntfId(7), IntfId());
  map->pwAdjIndexToPwIntfIdIs(7, IntfId("Pseudowire1"));
  map->pwAdjIndexDel(IntfId("Pseudowire1"));
  EXPECT_EQ(map->pwAdjIndexToPwIntfId(7), IntfId("Pseudowire1"));
  EXPECT_EQ(seen.ids.size(), 6u);
}

TEST(HwVplsMactConfig, OwnsOneSetPerVlan) {
  auto mact = hwVplsMactConfigFactory(String("mact"));
  auto set10 = mact->vplsVlanPwIntfSetIs(VlanId(10));
  EXPECT_EQ(set10->vlanId(), VlanId(10));
  EXPECT_EQ(mact->vplsVlanPwIntfSetIs(VlanId(10)), set10);  // existing child returned
  set10->pwIntfSetIs(IntfId("Pseudowire1"));
  set10->pwIntfSetIs(IntfId("Pseudowire2"));
  EXPECT_TRUE(mact->vplsVlanPwIntfSet(VlanId(10))->pwIntfSetHas(IntfId("Pseudowire2")));
  EXPECT_EQ(mact->vplsVlanPwIntfSet(VlanId(11)), nullptr);
  mact->vplsVlanPwIntfSetDel(VlanId(10));
  EXPECT_EQ(mact->vplsVlanPwIntfSet().size(), 0u);
  EXPECT_EQ(vplsVlanPwIntfSetFactory(VlanId(30))->vlanId(), VlanId(30));
}

}  // namespace
