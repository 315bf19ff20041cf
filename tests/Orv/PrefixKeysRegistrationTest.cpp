// The registration records of OrvPrefixQuarnTypes, NextHopKey and OrvRouterMacDb: the type order, the
// derived types' bases, the member ids, kinds and flags, and the constructor parameters, read back
// through the registry as a tool would.
#include <Orv/NextHopKey.h>
#include <Orv/OrvPrefixQuarnTypes.h>
#include <Orv/OrvRouterMacDb.h>
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Vem::MemberRecord;
using Vem::Registry;
using Vem::VemType;

VemType typeNamed(const char* name) {
  auto t = Registry::typeByName(name);
  EXPECT_TRUE(t.has_value()) << name;
  return t.value_or(VemType());
}

std::vector<std::string> typeNamesOf(const char* module) {
  const Vem::RegisteredModule* m = Registry::moduleByName(module);
  EXPECT_NE(m, nullptr) << module;
  std::vector<std::string> out;
  if (m == nullptr) return out;
  for (uint16_t i = 0; i < m->descriptor->typeCount; ++i) out.emplace_back(VemType(m->descriptor, i).name());
  return out;
}

struct Expected {
  const char* name;
  uint16_t id, flagsA, flagsB;
  const char* type;
};

void expectMembers(const char* typeName, std::vector<Expected> expected) {
  SCOPED_TRACE(typeName);
  VemType t = typeNamed(typeName);
  auto members = t.members();
  ASSERT_EQ(members.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const MemberRecord& m = members[i];
    SCOPED_TRACE(expected[i].name);
    EXPECT_EQ(t.memberName(m), expected[i].name);
    EXPECT_EQ(m.attributeId, expected[i].id);
    EXPECT_EQ(m.flagsA, expected[i].flagsA);
    EXPECT_EQ(m.flagsB, expected[i].flagsB);
    EXPECT_EQ(t.refName(m.type), expected[i].type);
  }
}

std::vector<std::string> ctorParamsOf(const char* typeName) {
  VemType t = typeNamed(typeName);
  std::vector<std::string> out;
  for (const auto& p : t.ctorParams()) out.push_back(std::string(t.paramName(p)) + ":" + std::string(t.paramTypeName(p)));
  return out;
}

TEST(PrefixKeysRegistration, FifteenValueTypesInOrderAndTheDerivedOnesNameTheirBases) {
  EXPECT_EQ(typeNamesOf("OrvPrefixQuarnTypes"),
            (std::vector<std::string>{"Orv::VrfAndIpGenPrefix", "Orv::CompactIpPrefix", "Orv::PrefixAndVrfId",
                                      "Orv::VrfAndPrefix", "Orv::VrfAndPrefixAndVersion", "Orv::VrfAndIp6Prefix",
                                      "Orv::VrfAndIp6PrefixAndVersion", "Orv::VrfAndIpAddr", "Orv::VrfAndIpGenAddr",
                                      "Orv::VrfAndIp6Addr", "Orv::VrfIpAddrIntfId", "Orv::VrfIpGenAddrIntfId",
                                      "Orv::VrfIpGenAddrNhKey", "Orv::EgressPrefixIndex", "Orv::EgressIp6PrefixIndex"}));
  EXPECT_EQ(typeNamesOf("NextHopKey"), (std::vector<std::string>{"Orv::NextHopKey"}));
  for (const std::string& n : typeNamesOf("OrvPrefixQuarnTypes")) {
    VemType t = typeNamed(n.c_str());
    EXPECT_EQ(t.kind(), 0x21) << n;
  }
  EXPECT_EQ(typeNamed("Orv::PrefixAndVrfId").base(), typeNamed("Orv::CompactIpPrefix"));
  EXPECT_EQ(typeNamed("Orv::VrfAndPrefixAndVersion").base(), typeNamed("Orv::VrfAndPrefix"));
  EXPECT_EQ(typeNamed("Orv::VrfAndIp6PrefixAndVersion").base(), typeNamed("Orv::VrfAndIp6Prefix"));
  EXPECT_EQ(typeNamed("Orv::VrfAndPrefix").record().baseType, -1);
  EXPECT_TRUE(typeNamed("Orv::PrefixAndVrfId").isDerivedFrom(typeNamed("Orv::CompactIpPrefix")));
  EXPECT_EQ(typeNamed("Orv::VrfAndPrefix").record().size(), 8u);
}

TEST(PrefixKeysRegistration, PackedPrefixMembers) {
  expectMembers("Orv::CompactIpPrefix", {{"prefix", 2, 0x2800, 0, "Pelix::Prefix"},
                                         {"addr", 3, 0x9c00, 0x0101, "Pelix::IpAddr"},
                                         {"lenAndPiggyBackData", 4, 0x9c00, 0x0101, "U32"},
                                         {"len", 5, 0x2800, 0, "U8"},
                                         {"piggyBackData", 6, 0x2800, 0, "U32"},
                                         {"nullPrefixLen", 7, 0x2808, 0, "U8"}});
  expectMembers("Orv::PrefixAndVrfId", {{"vrfId", 130, 0x2800, 0, "Orv::VrfId"}});
  EXPECT_EQ(ctorParamsOf("Orv::PrefixAndVrfId"), (std::vector<std::string>{"prefix:Pelix::Prefix", "vrfId:Orv::VrfId"}));
  EXPECT_TRUE(ctorParamsOf("Orv::CompactIpPrefix").empty());
  expectMembers("Orv::VrfAndPrefix", {{"vrfIdInput", 2, 0x2000, 0x2000, "Orv::VrfId"},
                                      {"prefixInput", 3, 0x2000, 0x2000, "Pelix::Prefix"},
                                      {"storage", 4, 0x9c00, 0x0101, "Orv::PrefixAndVrfId"},
                                      {"prefix", 5, 0x2800, 0, "Pelix::Prefix"},
                                      {"vrfId", 6, 0x2800, 0, "Orv::VrfId"},
                                      {"stringValue", 7, 0x0810, 0, "Vem::String"}});
  EXPECT_EQ(ctorParamsOf("Orv::VrfAndPrefix"),
            (std::vector<std::string>{"vrfIdInput:Orv::VrfId", "prefixInput:Pelix::Prefix"}));
  expectMembers("Orv::VrfAndPrefixAndVersion", {{"sequence", 130, 0x2c00, 0x2101, "Orv::OrvPdVersionId"}});
  EXPECT_EQ(ctorParamsOf("Orv::VrfAndPrefixAndVersion"),
            (std::vector<std::string>{"vrfIdInput:Orv::VrfId", "prefixInput:Pelix::Prefix", "sequence:Orv::OrvPdVersionId"}));
}

TEST(PrefixKeysRegistration, RouteAndAddressKeyMembers) {
  expectMembers("Orv::VrfAndIpGenPrefix", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                           {"prefix", 3, 0x2c00, 0x2101, "Pelix::IpGenPrefix"},
                                           {"intfId", 4, 0x9c00, 0x0101, "Pelix::IntfId"},
                                           {"hash", 5, 0x2800, 0, "U32"},
                                           {"linkLocal", 6, 0x0818, 0, "Orv::VrfAndIpGenPrefix"},
                                           {"makeWithoutIntf", 7, 0x0818, 0, "Orv::VrfAndIpGenPrefix"}});
  expectMembers("Orv::VrfAndIp6Prefix", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                         {"prefix", 3, 0x2c00, 0x2101, "Pelix::Ip6Prefix"},
                                         {"intfId", 4, 0x9c00, 0x0101, "Pelix::IntfId"},
                                         {"asVrfAndGenPrefix", 5, 0x0810, 0, "Orv::VrfAndIpGenPrefix"},
                                         {"asVrfAndGenPrefixWithoutIntf", 6, 0x0810, 0, "Orv::VrfAndIpGenPrefix"},
                                         {"linkLocal", 7, 0x0818, 0, "Orv::VrfAndIp6Prefix"},
                                         {"makeWithoutIntf", 8, 0x0818, 0, "Orv::VrfAndIp6Prefix"}});
  EXPECT_EQ(ctorParamsOf("Orv::VrfAndIp6Prefix"), (std::vector<std::string>{"vrfId:Orv::VrfId", "prefix:Pelix::Ip6Prefix"}));
  expectMembers("Orv::VrfAndIp6PrefixAndVersion", {{"sequence", 130, 0x2c00, 0x2101, "Orv::OrvPdVersionId"}});
  expectMembers("Orv::VrfAndIp6Addr", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                       {"ip6Addr", 3, 0x2c00, 0x2101, "Pelix::Ip6Addr"},
                                       {"intfId", 4, 0x2c00, 0x2101, "Pelix::IntfId"},
                                       {"asVrfAndGenAddr", 5, 0x0810, 0, "Orv::VrfAndIpGenAddr"},
                                       {"asVrfAndGenAddrWithoutIntf", 6, 0x0810, 0, "Orv::VrfAndIpGenAddr"},
                                       {"asVrfAndIp6Prefix", 7, 0x0810, 0, "Orv::VrfAndIp6Prefix"},
                                       {"fromVrfAndIp6Prefix", 8, 0x0818, 0, "Orv::VrfAndIp6Addr"},
                                       {"fromVrfAndIp6PrefixWithoutIntf", 9, 0x0818, 0, "Orv::VrfAndIp6Addr"},
                                       {"hash", 10, 0x2800, 0, "U32"}});
  expectMembers("Orv::VrfAndIpGenAddr", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                         {"ipGenAddr", 3, 0x2c00, 0x2101, "Pelix::IpGenAddr"},
                                         {"intfId", 4, 0x2c00, 0x2101, "Pelix::IntfId"},
                                         {"fromVrfAndIp6Prefix", 5, 0x0818, 0, "Orv::VrfAndIpGenAddr"},
                                         {"fromVrfAndIp6PrefixWithoutIntf", 6, 0x0818, 0, "Orv::VrfAndIpGenAddr"},
                                         {"hash", 7, 0x2800, 0, "U32"}});
  expectMembers("Orv::VrfIpGenAddrIntfId", {{"vrfId", 2, 0x2c00, 0x2101, "Vrf::VrfIdMap::VrfId"},
                                            {"ipGenAddr", 3, 0x2c00, 0x2101, "Pelix::IpGenAddr"},
                                            {"intfId", 4, 0x2c00, 0x2101, "Pelix::IntfId"},
                                            {"hash", 5, 0x2800, 0, "U32"}});
  expectMembers("Orv::VrfIpGenAddrNhKey", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                           {"ipGenAddr", 3, 0x2c00, 0x2101, "Pelix::IpGenAddr"},
                                           {"nhk", 4, 0x2c00, 0x2101, "Orv::NextHopKey"}});
  expectMembers("Orv::EgressIp6PrefixIndex", {{"vrfId", 2, 0x2c00, 0x2101, "Orv::VrfId"},
                                              {"prefix", 3, 0x2c00, 0x2101, "Pelix::Ip6Prefix"},
                                              {"hash", 4, 0x2800, 0, "U32"}});
  expectMembers("Orv::NextHopKey", {{"intfId", 2, 0x9c00, 0x2101, "Pelix::IntfId"},
                                    {"addr", 3, 0x9c00, 0x2101, "Pelix::IpGenAddr"}});
  EXPECT_EQ(ctorParamsOf("Orv::NextHopKey"), (std::vector<std::string>{"intfId:Pelix::IntfId", "addr:Pelix::IpGenAddr"}));
  // A static method lists its parameters.
  VemType t = typeNamed("Orv::VrfAndIp6Prefix");
  std::vector<std::string> params;
  for (const auto& p : t.params(t.memberByName("linkLocal")->firstParam)) params.emplace_back(t.paramName(p));
  EXPECT_EQ(params, (std::vector<std::string>{"vrfId", "prefix", "intfId"}));
}

TEST(PrefixKeysRegistration, ValuesAreBuiltFromConstructorArgumentsThroughTheTable) {
  VemType t = typeNamed("Orv::PrefixAndVrfId");
  ASSERT_NE(t.impl().constructFromCtorArgs, nullptr);
  Pelix::Prefix prefix("10.0.0.0/8");
  Orv::VrfId vrf(5);
  const void* args[] = {&prefix, &vrf};
  Orv::PrefixAndVrfId built;
  t.impl().constructFromCtorArgs(&built, args);
  EXPECT_EQ(built.lenAndPiggyBackData(), 328u);

  VemType v = typeNamed("Orv::VrfAndPrefixAndVersion");
  Orv::OrvPdVersionId seq(3);
  const void* vargs[] = {&vrf, &prefix, &seq};
  Orv::VrfAndPrefixAndVersion version;
  v.impl().constructFromCtorArgs(&version, vargs);
  EXPECT_EQ(version, Orv::VrfAndPrefixAndVersion(vrf, prefix, seq));
}

TEST(RouterMacDbRegistration, SevenTypesWithTheirKindsIdsAndFlags) {
  EXPECT_EQ(typeNamesOf("OrvRouterMacDb"),
            (std::vector<std::string>{"Orv::RouterMacType", "Orv::RouterMacStatus", "Orv::MacTypeMask", "Orv::OrvRouterMac",
                                      "Orv::OrvRouterMacStatus", "Orv::OrvRouterMacDb", "Orv::OrvRouterMacStatusDb"}));
  EXPECT_EQ(typeNamed("Orv::RouterMacType").kind(), 0x25);
  EXPECT_EQ(typeNamed("Orv::RouterMacType").record().baseType, -5);  // held in one byte
  EXPECT_EQ(typeNamed("Orv::MacTypeMask").kind(), 0x21);
  for (const char* e : {"Orv::OrvRouterMac", "Orv::OrvRouterMacStatus", "Orv::OrvRouterMacDb", "Orv::OrvRouterMacStatusDb"}) {
    EXPECT_EQ(typeNamed(e).kind(), 0x60) << e;
    EXPECT_EQ(typeNamed(e).record().baseType, -3) << e;
  }
  VemType types = typeNamed("Orv::RouterMacType");
  std::vector<std::string> enumerators;
  for (const MemberRecord& m : types.members()) enumerators.push_back(std::string(types.memberName(m)) + "=" + std::to_string(m.extra));
  EXPECT_EQ(enumerators, (std::vector<std::string>{"RouterMacSystem=0", "RouterMacVirtual=1", "RouterMacVrrp=2",
                                                   "RouterMacMlagPeer=3", "RouterMacEncapShared=4", "RouterMacInterface=5",
                                                   "RouterMacGateway=6", "RouterMacInvalid=7"}));
  expectMembers("Orv::MacTypeMask", {{"macWithMask", 2, 0x2c00, 0x2101, "Pelix::EthAddrWithMask"},
                                     {"type", 3, 0x2c00, 0x2101, "Orv::RouterMacType"},
                                     {"intfId", 4, 0x2c00, 0x2101, "Pelix::IntfId"}});
  expectMembers("Orv::OrvRouterMac", {{"macTypeMask", 258, 0x2c00, 0x2101, "Orv::MacTypeMask"},
                                      {"v4OrV6RoutingEnabled", 259, 0xdc00, 0x0101, "bool"}});
  expectMembers("Orv::OrvRouterMacStatus", {{"macTypeMask", 258, 0x2c00, 0x2101, "Orv::MacTypeMask"},
                                            {"v4OrV6RoutingEnabled", 259, 0xdc00, 0x0101, "bool"},
                                            {"status", 260, 0xdc00, 0x0101, "Orv::RouterMacStatus"}});
  expectMembers("Orv::OrvRouterMacDb", {{"nameString", 154, 0x2800, 0, "Vem::String"},
                                        {"macDb", 258, 0xdd21, 0x0101, "Orv::OrvRouterMac"}});
  expectMembers("Orv::OrvRouterMacStatusDb", {{"nameString", 154, 0x2800, 0, "Vem::String"},
                                              {"macStatusDb", 258, 0xdd21, 0x0101, "Orv::OrvRouterMacStatus"}});
  VemType db = typeNamed("Orv::OrvRouterMacDb");
  const MemberRecord* macDb = db.memberByName("macDb");
  EXPECT_EQ(db.refName(macDb->keyType), "Orv::MacTypeMask");
  std::vector<std::string> childArgs;
  for (const auto& p : db.params(macDb->firstParam)) childArgs.emplace_back(db.paramName(p));
  EXPECT_EQ(childArgs, (std::vector<std::string>{"macTypeMask"}));
  EXPECT_NE(db.impl().constructFromCtorArgs, nullptr);
  EXPECT_EQ(typeNamed("Orv::OrvRouterMac").impl().constructFromCtorArgs, nullptr);  // made by its table only
}

}  // namespace
