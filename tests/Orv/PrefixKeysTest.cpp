// The VRF, prefix and address keys: the packed IPv4 prefix and its refusals, the route keys' orders and
// text, the conversions between the IPv6 and generic keys, and the keys' own hashes, each checked
// against a value computed here from the stated recipe; and the derived prefix types' registration.
#include <Orv/NextHopKey.h>
#include <Orv/OrvPrefixQuarnTypes.h>
#include <Vem/GenericIf.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <Brek/HashMix.h>
#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Orv;
using Pelix::IntfId;
using Pelix::Ip6Addr;
using Pelix::Ip6Prefix;
using Pelix::IpAddr;
using Pelix::IpGenAddr;
using Pelix::IpGenPrefix;
using Pelix::Prefix;

const char* const kInvalidPrefix = "Pelix::Prefix::validAsPrefix != true not allowed";

template <class T = CompactIpPrefix>
T rawCompact(IpAddr addr, uint32_t word) {
  T c;
  c.addrIs(addr);
  c.lenAndPiggyBackDataIs(word);
  return c;
}

template <class Id>
Brek::HashMix startedWithVrf(Id vrf) {
  Brek::HashMix h(0);
  uint32_t raw = vrf.value();
  unsigned char bytes[4];
  std::memcpy(bytes, &raw, 4);
  h.mixBytes(bytes, 4);
  return h;
}

// ---- the packed prefix ----------------------------------------------------------------------------

TEST(CompactIpPrefix, PacksLengthAndVrfIdIntoOneWord) {
  PrefixAndVrfId p(Prefix("10.0.0.0/8"), VrfId(5));
  EXPECT_EQ(p.addr(), IpAddr(10, 0, 0, 0));
  EXPECT_EQ(p.lenAndPiggyBackData(), 328u);  // 5 * 64 + 8
  EXPECT_EQ(p.vrfId(), VrfId(5));
  EXPECT_EQ(p.len(), 8);
  EXPECT_EQ(p.piggyBackData(), 5u);
  EXPECT_EQ(p.prefix(), Prefix("10.0.0.0/8"));
  EXPECT_EQ(sizeof(PrefixAndVrfId), 8u);
  EXPECT_EQ(sizeof(VrfAndPrefix), 8u);

  // A VRF id keeps its low 24 bits; bits 30 and 31 stay clear.
  PrefixAndVrfId wide(Prefix("192.168.1.0/24"), VrfId(0x12345678));
  EXPECT_EQ(wide.lenAndPiggyBackData(), 0x0d159e18u);
  EXPECT_EQ(wide.vrfId(), VrfId(0x345678));
  PrefixAndVrfId top(Prefix("1.2.3.4/32"), VrfId(0xffffffff));
  EXPECT_EQ(top.lenAndPiggyBackData() >> 30, 0u);
  EXPECT_EQ(top.vrfId(), VrfId(0xffffff));
  EXPECT_EQ(top.prefix(), Prefix("1.2.3.4/32"));
}

TEST(CompactIpPrefix, NullPrefixIsLength33AndReadsBackAsTheNullPrefix) {
  EXPECT_EQ(CompactIpPrefix::nullPrefixLen(), 33);
  PrefixAndVrfId p(Prefix::null(), VrfId(7));
  EXPECT_EQ(p.addr(), IpAddr());
  EXPECT_EQ(p.lenAndPiggyBackData(), 7u * 64 + 33);
  EXPECT_TRUE(p.prefix().isNull());

  // prefixIs of a null prefix keeps the address and the caller data; reading gives address 0/255.
  CompactIpPrefix c = rawCompact(IpAddr(10, 1, 2, 0), (9u << 6) | 24);
  c.prefixIs(Prefix::null());
  EXPECT_EQ(c.len(), 33);
  EXPECT_EQ(c.addr(), IpAddr(10, 1, 2, 0));
  EXPECT_EQ(c.piggyBackData(), 9u);
  EXPECT_EQ(c.prefix().length(), 255);
  EXPECT_EQ(c.prefix().addr(), IpAddr());
  // And a real prefix afterwards replaces address and length, still keeping the caller data.
  c.prefixIs(Prefix("172.16.0.0/12"));
  EXPECT_EQ(c.addr(), IpAddr(172, 16, 0, 0));
  EXPECT_EQ(c.lenAndPiggyBackData(), (9u << 6) | 12);
}

TEST(CompactIpPrefix, ReadingAnInvalidPackingIsRefusedWithThePlatformMessage) {
  // Host bits after the length, and lengths 34-63, which exist only in the packed word.
  const std::pair<IpAddr, uint32_t> invalid[] = {{IpAddr(10, 0, 0, 1), 24}, {IpAddr(1, 0, 0, 0), 0}, {IpAddr(10, 0, 0, 3), 31},
                                                 {IpAddr(), 34},            {IpAddr(), 40},          {IpAddr(), 63}};
  for (const auto& [addr, word] : invalid)
    EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { rawCompact(addr, word).prefix(); }), kInvalidPrefix) << word;
  // The edges that are valid: /32 with every bit, /0 of 0.0.0.0, /31 with the last bit clear.
  EXPECT_EQ(rawCompact(IpAddr(10, 0, 0, 1), 32).prefix(), Prefix("10.0.0.1/32"));
  EXPECT_EQ(rawCompact(IpAddr(), 5u << 6).prefix(), Prefix("0.0.0.0/0"));
  EXPECT_EQ(rawCompact(IpAddr(10, 0, 0, 2), 31).prefix(), Prefix("10.0.0.2/31"));
  // The route key reads through the same check, for its prefix, its text and its order.
  VrfAndPrefix bad;
  bad.storageIs(rawCompact<PrefixAndVrfId>(IpAddr(10, 0, 0, 1), (3u << 6) | 24));
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { bad.prefix(); }), kInvalidPrefix);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { bad.stringValue(); }), kInvalidPrefix);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { (void)(bad < VrfAndPrefix(VrfId(3), Prefix("10.0.0.0/8"))); }), kInvalidPrefix);
  // The generic interface's "less" carries the refusal to the tool instead of ending the process.
  auto t = VrfAndPrefix::vemType();
  VrfAndPrefix good(VrfId(3), Prefix("10.0.0.0/8"));
  bool less = false;
  EXPECT_THROW(t.impl().attributeOp(&less, &bad, nullptr, 13, &good, nullptr), Vem::RangeException);
}

TEST(CompactIpPrefix, LengthAndCallerDataSettersKeepToTheirBits) {
  CompactIpPrefix c = rawCompact(IpAddr(10, 0, 0, 0), (0x155u << 6) | 8);
  c.lenIs(0x47);  // only the low 6 bits: 7
  EXPECT_EQ(c.lenAndPiggyBackData(), (0x155u << 6) | 7);
  c.piggyBackDataIs(0xffffffff);  // its top 6 bits fall off
  EXPECT_EQ(c.piggyBackData(), 0x3ffffffu);
  EXPECT_EQ(c.len(), 7);
  c.piggyBackDataIs(0);
  EXPECT_EQ(c.lenAndPiggyBackData(), 7u);
  // Raw setters store without checks.
  c.lenAndPiggyBackDataIs(0xffffffff);
  EXPECT_EQ(c.len(), 63);
}

TEST(CompactIpPrefix, OrdersByAddressThenTheWholeWordAndLogsEightBytes) {
  EXPECT_LT(rawCompact(IpAddr(9, 255, 255, 255), 0xffffffff), rawCompact(IpAddr(10, 0, 0, 0), 0));
  EXPECT_LT(rawCompact(IpAddr(10, 0, 0, 0), 0x7fffffff), rawCompact(IpAddr(10, 0, 0, 0), 0x80000000));
  EXPECT_NE(rawCompact(IpAddr(10, 0, 0, 0), 8), rawCompact(IpAddr(10, 0, 0, 0), 8 | 64));

  PrefixAndVrfId p(Prefix("10.0.0.0/8"), VrfId(5));
  EXPECT_EQ(OrvTest::logBytes(p), std::string("\x0a\x00\x00\x00\x00\x00\x01\x48", 8));
  OrvTest::expectLogReadsBack(p);
  // The derived type's text names itself and its base's two stored words.
  EXPECT_EQ(p.stringValue(), "Orv::PrefixAndVrfId(addr=10.0.0.0, lenAndPiggyBackData=328)");
  EXPECT_EQ(Vem::strepToValue<PrefixAndVrfId>(p.stringValue().view()), p);
}

std::vector<std::string> ctorParamsOf(const Vem::VemType& t) {
  std::vector<std::string> out;
  for (const auto& p : t.ctorParams()) out.push_back(std::string(t.paramName(p)) + ":" + std::string(t.paramTypeName(p)));
  return out;
}

// Derived value types in the registry: a derived type names its base, lists only its own members (numbered
// by the compiler, tests/vemc) and the base's constructor parameters before its own, and is built from
// constructor arguments through the table alone.
TEST(DerivedValueRegistration, BaseOwnMemberIdsParametersAndConstruction) {
  const Vem::VemType compact = Orv::CompactIpPrefix::vemType(), derived = Orv::PrefixAndVrfId::vemType();
  EXPECT_EQ(derived.base(), compact);
  EXPECT_TRUE(derived.isDerivedFrom(compact));
  EXPECT_EQ(Orv::VrfAndPrefixAndVersion::vemType().base(), Orv::VrfAndPrefix::vemType());
  EXPECT_EQ(Orv::VrfAndPrefix::vemType().record().baseType, -1);
  EXPECT_EQ(derived.members().size(), 1u);
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

// ---- the IPv4 route key ---------------------------------------------------------------------------

TEST(VrfAndPrefix, SortsByVrfThenNestedPrefixesLongestFirst) {
  auto key = [](uint32_t vrf, const char* prefix) { return VrfAndPrefix(VrfId(vrf), Prefix(prefix)); };
  std::vector<VrfAndPrefix> keys = {key(2, "0.0.0.0/0"),   key(1, "0.0.0.0/0"),   key(1, "10.0.0.0/8"),
                                    key(2, "1.0.0.0/8"),   key(1, "10.1.0.0/16"), key(1, "9.0.0.0/8"),
                                    key(1, "10.0.0.0/16"), key(1, "200.0.0.0/8"), key(0x1000001, "10.1.0.0/16")};
  std::sort(keys.begin(), keys.end());
  std::vector<std::string> got;
  for (const VrfAndPrefix& k : keys) got.push_back(k.stringValue().stdString());
  // VRF 0x1000001 is VRF 1 once kept to 24 bits.
  EXPECT_EQ(got, (std::vector<std::string>{
                     "(prefix=9.0.0.0/8, vrfId=1 )", "(prefix=10.0.0.0/16, vrfId=1 )", "(prefix=10.1.0.0/16, vrfId=1 )",
                     "(prefix=10.1.0.0/16, vrfId=1 )", "(prefix=10.0.0.0/8, vrfId=1 )", "(prefix=200.0.0.0/8, vrfId=1 )",
                     "(prefix=0.0.0.0/0, vrfId=1 )", "(prefix=1.0.0.0/8, vrfId=2 )", "(prefix=0.0.0.0/0, vrfId=2 )"}));
  EXPECT_TRUE(key(1, "10.1.0.0/16") < key(1, "10.0.0.0/8"));
  EXPECT_FALSE(key(1, "10.0.0.0/8") < key(1, "10.1.0.0/16"));
  EXPECT_TRUE(key(1, "255.0.0.0/8") < key(2, "0.0.0.0/0"));
  // Equal keys are not before one another; the same VRF and prefix under a wider VRF id are equivalent.
  EXPECT_FALSE(key(1, "10.0.0.0/8") < key(1, "10.0.0.0/8"));
  EXPECT_FALSE(key(0x1000001, "10.0.0.0/8") < key(1, "10.0.0.0/8"));
  EXPECT_EQ(key(0x1000001, "10.0.0.0/8"), key(1, "10.0.0.0/8"));
}

TEST(VrfAndPrefix, TextFormsByteForByte) {
  VrfAndPrefix k(VrfId(3), Prefix("10.1.0.0/16"));
  EXPECT_EQ(k.stringValue(), "(prefix=10.1.0.0/16, vrfId=3 )");
  std::ostringstream os;
  os << k;
  EXPECT_EQ(os.str(), "(prefix=10.1.0.0/16, vrfId=3 )");
  EXPECT_EQ(VrfAndPrefix(VrfId(0xffffffff), Prefix("255.255.255.255/32")).stringValue(),
            "(prefix=255.255.255.255/32, vrfId=16777215 )");
  EXPECT_EQ(VrfAndPrefix().stringValue(), "(prefix=0.0.0.0/0, vrfId=0 )");
  // The generic interface keeps the generic text of the one stored attribute, and parses it back.
  auto t = VrfAndPrefix::vemType();
  const auto* m = Vem::GenericIfImpl::valueMethods(t);
  Lumo::String generic = m->strRep(&k, t, 0);
  EXPECT_EQ(generic, "Orv::VrfAndPrefix(storage=Orv::PrefixAndVrfId(addr=10.1.0.0, lenAndPiggyBackData=208))");
  VrfAndPrefix back;
  m->strepToValue(&back, generic, t, 0);
  EXPECT_EQ(back, k);
}

TEST(VrfAndPrefix, SettingThePrefixKeepsTheVrfAndTheHashIsTheCompactPrefixs) {
  VrfAndPrefix k(VrfId(42), Prefix("10.0.0.0/8"));
  k.prefixIs(Prefix("192.168.0.0/16"));
  EXPECT_EQ(k.vrfId(), VrfId(42));
  EXPECT_EQ(k.prefix(), Prefix("192.168.0.0/16"));
  k.prefixIs(Prefix::null());
  EXPECT_EQ(k.vrfId(), VrfId(42));
  EXPECT_TRUE(k.prefix().isNull());
  EXPECT_EQ(k.stringValue(), "(prefix=none, vrfId=42 )");

  VrfAndPrefix h(VrfId(7), Prefix("10.0.0.0/8"));
  for (uint32_t seed : {0u, 1u, 0xdeadbeefu}) {
    CompactIpPrefix words = rawCompact(IpAddr(10, 0, 0, 0), 7u * 64 + 8);
    EXPECT_EQ(h.hash(seed), words.hash(seed)) << seed;
  }
  // Without a hash of its own, the generic hash is the seeded one at seed 0.
  auto t = VrfAndPrefix::vemType();
  EXPECT_EQ(Vem::GenericIfImpl::valueMethods(t)->hash(&h, t), h.hash(0));
}

TEST(VrfAndPrefixAndVersion, OrdersByTheRouteKeyThenTheVersion) {
  const uint64_t top = uint64_t{1} << 63;
  auto key = [](const char* prefix, uint64_t version) {
    return VrfAndPrefixAndVersion(VrfId(1), Prefix(prefix), OrvPdVersionId(version));
  };
  // The route key decides before the version.
  EXPECT_LT(key("10.1.0.0/16", 100), key("10.0.0.0/8", 1));
  // Versions: the low 63 bits as a number, then the top bit clear before set.
  EXPECT_LT(key("10.0.0.0/8", 5), key("10.0.0.0/8", top | 5));
  EXPECT_LT(key("10.0.0.0/8", top | 5), key("10.0.0.0/8", 6));
  EXPECT_FALSE(key("10.0.0.0/8", 6) < key("10.0.0.0/8", 6));
  EXPECT_NE(key("10.0.0.0/8", 5), key("10.0.0.0/8", 6));

  VrfAndPrefixAndVersion v = key("10.0.0.0/8", 9);
  Lumo::String text = v.stringValue();
  EXPECT_EQ(text, "Orv::VrfAndPrefixAndVersion(storage=Orv::PrefixAndVrfId(addr=10.0.0.0, lenAndPiggyBackData=72), "
                  "sequence=9)");
  EXPECT_EQ(Vem::strepToValue<VrfAndPrefixAndVersion>(text.view()), v);
  EXPECT_EQ(OrvTest::logBytes(v).size(), 16u);
  OrvTest::expectLogReadsBack(v);
}

// ---- IPv6 and generic keys ------------------------------------------------------------------------

TEST(VrfAndIp6Prefix, InterfaceMakesADifferentKeyAndConversionsCarryIt) {
  const Ip6Prefix p("2001:db8::/32");
  auto plain = VrfAndIp6Prefix::makeWithoutIntf(VrfId(4), p);
  auto local = VrfAndIp6Prefix::linkLocal(VrfId(4), p, IntfId("Ethernet1"));
  EXPECT_NE(plain, local);
  EXPECT_EQ(plain, VrfAndIp6Prefix(VrfId(4), p));
  EXPECT_EQ(local.intfId(), IntfId("Ethernet1"));
  VrfAndIp6Prefix copy = local;
  copy.intfIdIs(IntfId());
  EXPECT_EQ(copy, plain);  // they differ exactly in the interface
  EXPECT_LT(plain, local);  // the interface id orders last, as an unsigned number
  EXPECT_LT(VrfAndIp6Prefix(VrfId(3), Ip6Prefix("ffff::/16")), plain);

  VrfAndIpGenPrefix gen = local.asVrfAndGenPrefix();
  EXPECT_EQ(gen, VrfAndIpGenPrefix::linkLocal(VrfId(4), IpGenPrefix(p), IntfId("Ethernet1")));
  EXPECT_EQ(local.asVrfAndGenPrefixWithoutIntf(), VrfAndIpGenPrefix::makeWithoutIntf(VrfId(4), IpGenPrefix(p)));
  EXPECT_TRUE(local.asVrfAndGenPrefixWithoutIntf().intfId().empty());
}

TEST(AddressKeys, ConversionsDropTheLengthAndCarryOrDropTheInterface) {
  auto routeKey = VrfAndIp6Prefix::linkLocal(VrfId(9), Ip6Prefix("2001:db8::1/64"), IntfId("Ethernet2"));
  VrfAndIp6Addr a = VrfAndIp6Addr::fromVrfAndIp6Prefix(routeKey);
  EXPECT_EQ(a, VrfAndIp6Addr(VrfId(9), Ip6Addr("2001:db8::1"), IntfId("Ethernet2")));
  EXPECT_EQ(VrfAndIp6Addr::fromVrfAndIp6PrefixWithoutIntf(routeKey), VrfAndIp6Addr(VrfId(9), Ip6Addr("2001:db8::1"), IntfId()));
  EXPECT_EQ(VrfAndIpGenAddr::fromVrfAndIp6Prefix(routeKey),
            VrfAndIpGenAddr(VrfId(9), IpGenAddr(Ip6Addr("2001:db8::1")), IntfId("Ethernet2")));
  EXPECT_EQ(VrfAndIpGenAddr::fromVrfAndIp6PrefixWithoutIntf(routeKey),
            VrfAndIpGenAddr(VrfId(9), IpGenAddr(Ip6Addr("2001:db8::1")), IntfId()));
  EXPECT_EQ(a.asVrfAndGenAddr(), VrfAndIpGenAddr::fromVrfAndIp6Prefix(routeKey));
  EXPECT_EQ(a.asVrfAndGenAddrWithoutIntf(), VrfAndIpGenAddr::fromVrfAndIp6PrefixWithoutIntf(routeKey));
  // Back to a route key with a length of the caller's choosing, the address kept as it is.
  EXPECT_EQ(a.asVrfAndIp6Prefix(64), routeKey);
  EXPECT_EQ(a.asVrfAndIp6Prefix(128).prefix(), Ip6Prefix("2001:db8::1/128"));
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { a.asVrfAndIp6Prefix(129); }), "Pelix::Ip6Prefix::length > 128 not allowed");
}

TEST(AddressKeys, OwnHashesFollowTheirRecipes) {
  const VrfId vrf(0x01020304);
  const IntfId intf("Ethernet3/1");
  const IpAddr v4(192, 168, 1, 7);
  const Ip6Addr v6("2001:db8::7");
  {
    Brek::HashMix h = startedWithVrf(vrf);
    h.mix(v6.hash());
    h.mix(intf.hash());
    EXPECT_EQ(VrfAndIp6Addr(vrf, v6, intf).hash(), h.result());
  }
  // A generic address hashes its 16 bytes of storage as an IPv6 address, whatever its family: an IPv4
  // address and the IPv6 address with the same leading bytes hash alike, unlike their own hashes.
  const Ip6Addr sameBytes(Ip6Addr::Bytes{192, 168, 1, 7});
  {
    Brek::HashMix h = startedWithVrf(vrf);
    h.mix(sameBytes.hash());
    h.mix(intf.hash());
    EXPECT_EQ(VrfAndIpGenAddr(vrf, IpGenAddr(v4), intf).hash(), h.result());
    EXPECT_EQ(VrfAndIpGenAddr(vrf, IpGenAddr(v4), intf).hash(), VrfAndIpGenAddr(vrf, IpGenAddr(sameBytes), intf).hash());
    EXPECT_NE(IpGenAddr(v4).hash(), IpGenAddr(sameBytes).hash());
    Vrf::VrfIdMap::VrfId platformVrf(0x01020304);
    EXPECT_EQ(VrfIpGenAddrIntfId(platformVrf, IpGenAddr(v4), intf).hash(), h.result());
  }
}

// The prefix's own hash (the 32-bit integer hash, checked with the platform types) mixed after the VRF
// id's bytes, for each family.
TEST(PrefixKeys, EgressIndexHashesMixTheVrfBytesThenThePrefixHash) {
  const VrfId vrf(7);
  const Prefix p4("10.0.0.0/8");
  const Ip6Prefix p6("2001:db8::/48");
  Brek::HashMix h4 = startedWithVrf(vrf), h6 = startedWithVrf(vrf);
  h4.mix(p4.hash());
  h6.mix(p6.hash());
  EXPECT_EQ(EgressPrefixIndex(vrf, p4).hash(), h4.result());
  EXPECT_EQ(EgressIp6PrefixIndex(vrf, p6).hash(), h6.result());
}

// ---- next hops ------------------------------------------------------------------------------------

TEST(NextHopKey, DefaultHasNoAddressAndTheSeededHashReadsStorageAsIpv6) {
  NextHopKey none;
  EXPECT_TRUE(none.addr().isNone());
  EXPECT_TRUE(none.intfId().empty());
  EXPECT_FALSE(static_cast<bool>(none));
  NextHopKey nh(IntfId("Ethernet4"), IpGenAddr(IpAddr(10, 0, 0, 1)));
  for (uint32_t seed : {0u, 99u}) {
    Vem::Hash h(seed);
    h.hashMix(IntfId("Ethernet4").hash());
    h.hashMix(Ip6Addr(Ip6Addr::Bytes{10, 0, 0, 1}).hash());
    EXPECT_EQ(nh.hash(seed), h.result()) << seed;
  }
}

}  // namespace
