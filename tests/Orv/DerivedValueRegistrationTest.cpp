// Derived value types in the registry: a derived type names its base, numbers its own members from 130
// (after the base's range), lists the base's constructor parameters before its own, and is built from
// constructor arguments through the table alone.
#include <Orv/OrvPrefixQuarnTypes.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Vem::Registry;
using Vem::VemType;

std::vector<std::string> ctorParamsOf(const VemType& t) {
  std::vector<std::string> out;
  for (const auto& p : t.ctorParams()) out.push_back(std::string(t.paramName(p)) + ":" + std::string(t.paramTypeName(p)));
  return out;
}

TEST(DerivedValueRegistration, BaseOwnMemberIdsParametersAndConstruction) {
  const VemType compact = Orv::CompactIpPrefix::vemType(), derived = Orv::PrefixAndVrfId::vemType();
  EXPECT_EQ(derived.base(), compact);
  EXPECT_TRUE(derived.isDerivedFrom(compact));
  EXPECT_EQ(Orv::VrfAndPrefixAndVersion::vemType().base(), Orv::VrfAndPrefix::vemType());
  EXPECT_EQ(Orv::VrfAndPrefix::vemType().record().baseType, -1);
  auto members = derived.members();
  ASSERT_EQ(members.size(), 1u);  // only its own
  EXPECT_EQ(derived.memberName(members[0]), "vrfId");
  EXPECT_EQ(members[0].attributeId, 130);
  EXPECT_EQ(ctorParamsOf(derived), (std::vector<std::string>{"prefix:Pelix::Prefix", "vrfId:Orv::VrfId"}));
  EXPECT_TRUE(ctorParamsOf(compact).empty());
  EXPECT_EQ(ctorParamsOf(Orv::VrfAndPrefixAndVersion::vemType()),
            (std::vector<std::string>{"vrfIdInput:Orv::VrfId", "prefixInput:Pelix::Prefix", "sequence:Orv::OrvPdVersionId"}));

  ASSERT_NE(derived.impl().constructFromCtorArgs, nullptr);
  Pelix::Prefix prefix("10.0.0.0/8");
  Orv::VrfId vrf(5);
  const void* args[] = {&prefix, &vrf};
  Orv::PrefixAndVrfId built;
  derived.impl().constructFromCtorArgs(&built, args);
  EXPECT_EQ(built.lenAndPiggyBackData(), 328u);  // VRF id 5 times 64, plus length 8
  Orv::OrvPdVersionId seq(3);
  const void* vargs[] = {&vrf, &prefix, &seq};
  Orv::VrfAndPrefixAndVersion version;
  Orv::VrfAndPrefixAndVersion::vemType().impl().constructFromCtorArgs(&version, vargs);
  EXPECT_EQ(version, Orv::VrfAndPrefixAndVersion(vrf, prefix, seq));
}

}  // namespace
