// ACL keys: the module load order, the key's hand-written compact text form and its parser in use, its log
// form byte for byte, the key qualified by a VRF, and the interface pair's declared hash.
#include <Orv/OrvAclQuarnTypes.h>

#include <Brek/HashMix.h>
#include <Vem/CharRange.h>
#include <Vem/GenericIf.h>
#include <Vem/Hash.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using OrvTest::errorOf;
using OrvTest::expectLogReadsBack;
using OrvTest::logBytes;
using namespace Orv;
using Lumo::String;

AclKey key(const char* name, const char* group = "aclGroupDefault", uint16_t vlan = 0) {
  return AclKey(String(name), Acl::AclType::ip, Acl::AclDirection::in, false, AclVlanIdOrNone(vlan), String(group));
}

TEST(AclQuarnTypesRegistration, LoadedFirst) {
  // The library's modules register in load order: these three first, then the others of the library.
  auto position = [](std::string_view module) {
    for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i)
      if (Vem::Registry::module(i).name == module) return i;
    ADD_FAILURE() << module << " is not registered";
    return std::size_t{0};
  };
  const char* loadOrder[] = {"OrvAclQuarnTypes", "OrvSegmentSecurityTypes", "OrvTarskRoutingTypes", "OrvPortGroupTypes",
                             "OrvPortVlanPair", "OrvTypes"};
  for (std::size_t i = 0; i + 1 < std::size(loadOrder); ++i)
    EXPECT_LT(position(loadOrder[i]), position(loadOrder[i + 1])) << loadOrder[i];
}

// ---- Constants ---------------------------------------------------------------------------------------

TEST(Constants, NoStoredDataAndNoHash) {
  EXPECT_EQ(logBytes(Constants()), "");
  EXPECT_EQ(Vem::GenericIfImpl::valueMethods(Constants::vemType())->hash, nullptr);
  EXPECT_NE(Vem::GenericIfImpl::valueMethods(AclKey::vemType())->hash, nullptr);
  EXPECT_EQ(AclKey().aclGroup(), Constants::aclGroupDefault());
}

// ---- AclKey ----------------------------------------------------------------------------------------

TEST(AclKey, TextFormIsCompactAndLeavesMaxOut) {
  AclKey web(String("web"), Acl::AclType::ip, Acl::AclDirection::in, false, AclVlanIdOrNone(10), String("aclGroupDefault"));
  EXPECT_EQ(web.stringValue(), "web-ip-in(std=false,vlanId=10,aclGroup=aclGroupDefault)");
  EXPECT_EQ(web.valueToStrep(), web.stringValue());
  std::ostringstream os;
  os << web;
  EXPECT_EQ(os.str(), web.stringValue().view());
  AclKey other(String("v6"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(4095, 4095), String("g"));
  EXPECT_EQ(other.stringValue(), "v6-ipv6-out(std=true,vlanId=4095,aclGroup=g)");
  AclKey mac(String("m"), Acl::AclType::mac, Acl::AclDirection::in, false, AclVlanIdOrNone(0), String(""));
  EXPECT_EQ(mac.stringValue(), "m-mac-in(std=false,vlanId=0,aclGroup=)");
  // Texts print as they are, even those that do not parse back (an empty name, blanks): that these are
  // refused is compared with the regular expression in AclKeyParserTest.
  EXPECT_EQ(AclKey().stringValue(), "-ip-in(std=false,vlanId=0,aclGroup=aclGroupDefault)");
  EXPECT_EQ(key("my acl").stringValue(), "my acl-ip-in(std=false,vlanId=0,aclGroup=aclGroupDefault)");

  // The max is not written, so it comes back as 4095.
  AclKey narrow(String("n"), Acl::AclType::ip, Acl::AclDirection::out, false, AclVlanIdOrNone(5, 100), String("g"));
  EXPECT_EQ(narrow.stringValue(), "n-ip-out(std=false,vlanId=5,aclGroup=g)");
  AclKey back = Vem::strepToValue<AclKey>(narrow.stringValue().view());
  EXPECT_EQ(back.vlanId(), AclVlanIdOrNone(5, 4095));
  EXPECT_NE(back, narrow);
  for (const AclKey& k : {web, other}) EXPECT_EQ(Vem::strepToValue<AclKey>(k.stringValue().view()), k);
}

// How the constructor splits a text and how far it moves the range is compared with the regular expression
// in AclKeyParserTest; here, the free parser starting at the range's position, as the constructor does.
// (Text after a whole-string parse is refused by the parser every value shares: see PortVlanPairTest.)
TEST(AclKey, FreeParserGivesTheConstructorsResultsAndChangesNothingOnFailure) {
  const AclKey kept = key("kept", "g", 3);
  // Each failure leaves both the key and the range as they were.
  auto refused = [&](const std::string& text) {
    Vem::CharRange range(text);
    range.advance(1);
    AclKey target = kept;
    const std::string error = errorOf([&] { sequenceToValue(range, &target); });
    EXPECT_EQ(target, kept) << text;
    EXPECT_EQ(range.offset(), 1u) << text;
    return error;
  };
  EXPECT_EQ(refused(">-ip-in(std=false,vlanId=0,aclGroup=aclGroupDefault)"), "Invalid AclKey");
  EXPECT_EQ(refused(">a-ip-in(std=maybe,vlanId=0,aclGroup=g)"), "Invalid AclKey");
  EXPECT_EQ(refused(">a-ip-in(std=false,vlanId=4096,aclGroup=g)"), "Orv::AclVlanIdOrNone::value > _max not allowed");
  EXPECT_EQ(refused(">a-ip-in(std=false,vlanId=2147483648,aclGroup=g)"), "stoi");
  EXPECT_EQ(refused(">"), "Invalid AclKey");

  // Valid text: the key, and the range stands after the closing parenthesis with the rest unread.
  std::string text = ">a-b-ipv6-out(std=true,vlanId=4095,aclGroup=g(1))) trailing";
  Vem::CharRange range(text);
  range.advance(1);
  AclKey target = kept;
  EXPECT_TRUE(Orv::sequenceToValue(range, &target));
  EXPECT_EQ(target, AclKey(String("a-b"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(4095),
                           String("g(1))")));
  EXPECT_EQ(range.rest(), " trailing");
  Vem::CharRange again(text);
  again.advance(1);
  EXPECT_EQ(AclKey(again), target);  // the constructor agrees and moves the range alike
  EXPECT_EQ(again.offset(), range.offset());

  EXPECT_THROW(sequenceToValue(range, static_cast<AclKey*>(nullptr)), std::invalid_argument);
  EXPECT_EQ(range.rest(), " trailing");
}

// Each VLAN text against the bound and std::stoi is compared in AclKeyParserTest; here the whole-string
// parser, reached through the generic interface, passes both refusals on and changes nothing.
TEST(AclKey, VlanIdBoundAndStoiRange) {
  const auto* methods = Vem::GenericIfImpl::valueMethods(AclKey::vemType());
  AclKey kept = key("kept", "g", 3);
  EXPECT_THROW(methods->strepToValue(&kept, String("a-ip-in(std=false,vlanId=4096,aclGroup=g)"), AclKey::vemType(), 0),
               Vem::RangeException);
  EXPECT_THROW(methods->strepToValue(&kept, String("a-ip-in(std=false,vlanId=9999999999,aclGroup=g)"), AclKey::vemType(), 0),
               std::out_of_range);
  EXPECT_EQ(kept, key("kept", "g", 3));
  methods->strepToValue(&kept, String("b-mac-out(std=true,vlanId=1,aclGroup=h)"), AclKey::vemType(), 0);
  EXPECT_EQ(methods->strRep(&kept, AclKey::vemType(), 0), "b-mac-out(std=true,vlanId=1,aclGroup=h)");
}

TEST(AclKey, RaclTruthValueOrderAndHash) {
  EXPECT_FALSE(key("a").isRacl());
  EXPECT_TRUE(key("a", "g", 1).isRacl());
  AclKey narrowNoVlan(String("a"), Acl::AclType::ip, Acl::AclDirection::in, false, AclVlanIdOrNone(0, 0), String("g"));
  EXPECT_FALSE(narrowNoVlan.isRacl());

  // Every one of the six attributes makes the key differ from the default.
  EXPECT_FALSE(static_cast<bool>(AclKey()));
  const AclKey changed[] = {
      AclKey(String("n"), {}, {}, false, {}, Constants::aclGroupDefault()),
      AclKey({}, Acl::AclType::mac, {}, false, {}, Constants::aclGroupDefault()),
      AclKey({}, {}, Acl::AclDirection::out, false, {}, Constants::aclGroupDefault()),
      AclKey({}, {}, {}, true, {}, Constants::aclGroupDefault()),
      AclKey({}, {}, {}, false, AclVlanIdOrNone(0, 4094), Constants::aclGroupDefault()),
      AclKey({}, {}, {}, false, {}, String("other")),
  };
  for (const AclKey& k : changed) EXPECT_TRUE(static_cast<bool>(k)) << k;

  // Order: name bytes, type, direction, standard, VLAN value, VLAN max, group.
  const AclKey ordered[] = {
      AclKey(String("B"), Acl::AclType::mac, Acl::AclDirection::out, true, AclVlanIdOrNone(9), String("z")),
      AclKey(String("a"), Acl::AclType::ip, Acl::AclDirection::out, true, AclVlanIdOrNone(9), String("z")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::in, false, AclVlanIdOrNone(0), String("a")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::out, false, AclVlanIdOrNone(0), String("a")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(0), String("a")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(1, 1), String("a")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(1, 2), String("a")),
      AclKey(String("a"), Acl::AclType::ipv6, Acl::AclDirection::out, true, AclVlanIdOrNone(1, 2), String("b")),
  };
  for (std::size_t i = 0; i + 1 < std::size(ordered); ++i) EXPECT_LT(ordered[i], ordered[i + 1]) << i;

  // The seeded hash: name, the two enumerations as 4 bytes, the flag as 1, the VLAN's own hash, the group.
  const AclKey& k = ordered[5];
  Vem::Hash h(77);
  h.mixNi("a", 1);
  h.hashMix(uint32_t{1});
  h.hashMix(uint32_t{1});
  h.hashMix(uint8_t{1});
  h.hashMix(AclVlanIdOrNone(1, 1).hash(0));
  h.mixNi("a", 1);
  EXPECT_EQ(k.hash(77), h.result());
}

TEST(AclKey, LogFormIsNamePlusGroupPlusTwentyOneBytes) {
  AclKey k(String("web"), Acl::AclType::mac, Acl::AclDirection::out, true, AclVlanIdOrNone(0x0102, 0x0304), String("grp1"));
  const std::string expected = std::string("\0\0\0\x03web", 7) + std::string("\0\0\0\x02", 4) +
                               std::string("\0\0\0\x01", 4) + std::string("\x01", 1) + std::string("\x01\x02\x03\x04", 4) +
                               std::string("\0\0\0\x04grp1", 8);
  EXPECT_EQ(logBytes(k), expected);
  EXPECT_EQ(attrLogSize(&k), 3u + 4u + 21u);
  const AclKey defaultKey;
  EXPECT_EQ(attrLogSize(&defaultKey), std::size_t{0 + 15 + 21});
  expectLogReadsBack(k);
  expectLogReadsBack(AclKey(String("with blank"), Acl::AclType::ip, Acl::AclDirection::in, false, AclVlanIdOrNone(0), String("")));
  // A type code that names no enumerator fits the byte, so it is read; the text form then shows the number.
  std::string odd = expected;
  odd[7 + 3] = '\x07';
  Vem::NboAttrLog::In in(odd);
  EXPECT_EQ(AclKey(&in, Vem::StreamBogon{}).stringValue(), "web-7-out(std=true,vlanId=258,aclGroup=grp1)");
}

// ---- AclKeyWithVrf ---------------------------------------------------------------------------------

TEST(AclKeyWithVrf, GenericTextFindsTheSeparatorAfterTheKey) {
  AclKeyWithVrf v(key("web", "g)x", 10), L3::VrfName("red"));
  EXPECT_EQ(v.stringValue(), "Orv::AclKeyWithVrf(aclKey=web-ip-in(std=false,vlanId=10,aclGroup=g)x), vrfName=\"red\")");
  EXPECT_EQ(Vem::strepToValue<AclKeyWithVrf>(v.stringValue().view()), v);
  for (const AclKeyWithVrf& w : {AclKeyWithVrf(key("a-b-ip-in"), L3::VrfName("default")),
                                 AclKeyWithVrf(key("k"), L3::VrfName("v with ) and , inside"))})
    EXPECT_EQ(Vem::strepToValue<AclKeyWithVrf>(w.stringValue().view()), w) << w;
  // The default key does not parse back, here either; the error names the field.
  EXPECT_EQ(errorOf([] { Vem::strepToValue<AclKeyWithVrf>(AclKeyWithVrf().stringValue().view()); }),
            "aclKey: Invalid AclKey");
  EXPECT_EQ(errorOf([] {
              Vem::strepToValue<AclKeyWithVrf>(
                  "Orv::AclKeyWithVrf(aclKey=a-ip-in(std=false,vlanId=1,aclGroup=g), vrfName=\"red\") ");
            }).find("unexpected text after the value"),
            0u);
}

// ---- IntfPairKey -------------------------------------------------------------------------------------

TEST(IntfPairKey, DeclaredHashMixesRawIdsAndDiffersFromTheSeededOne) {
  const Pelix::IntfId eth("Ethernet3"), lag("Port-Channel7");
  IntfPairKey k(eth, lag);
  Brek::HashMix expected(0);
  for (const Pelix::IntfId& id : {eth, lag}) {
    uint64_t raw = id.raw();
    unsigned char bytes[8];
    std::memcpy(bytes, &raw, 8);
    expected.mixBytes(bytes, 8);
  }
  EXPECT_EQ(k.hash(), expected.result());
  EXPECT_NE(k.hash(), k.hash(0));
  EXPECT_NE(k.hash(), IntfPairKey(lag, eth).hash());
  EXPECT_EQ(Vem::GenericIfImpl::valueMethods(IntfPairKey::vemType())->hash(&k, IntfPairKey::vemType()), k.hash());
  Vem::Hash seeded(5);
  seeded.hashMix(eth.hash());
  seeded.hashMix(lag.hash());
  EXPECT_EQ(k.hash(5), seeded.result());
}

}  // namespace
