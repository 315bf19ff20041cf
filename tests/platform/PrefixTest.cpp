// Prefixes of both families: the nesting order, the prefix hash, validity and the text and log forms.
#include <Pelix/Pelix.h>

#include <algorithm>
#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;
using Pelix::Ip6Addr;
using Pelix::Ip6Prefix;
using Pelix::IpAddr;
using Pelix::IpGenPrefix;
using Pelix::Prefix;

Prefix p4(const char* text) { return Prefix(std::string_view(text)); }
Ip6Prefix p6(const char* text) { return Ip6Prefix(std::string_view(text)); }

TEST(Prefix, NestedPrefixesSortMostSpecificFirst) {
  EXPECT_LT(p4("10.1.0.0/16"), p4("10.0.0.0/8"));
  EXPECT_LT(p4("10.0.0.0/16"), p4("10.1.0.0/16"));
  EXPECT_LT(p4("9.0.0.0/8"), p4("10.1.0.0/16"));
  // A length of 0 on either side: the longer prefix first, whatever the address.
  EXPECT_LT(p4("255.0.0.0/8"), p4("0.0.0.0/0"));
  EXPECT_LT(p4("10.0.0.1/32"), p4("10.0.0.0/31"));
  EXPECT_EQ(p4("10.0.0.0/8") <=> p4("10.0.0.0/8"), std::strong_ordering::equal);
  std::vector<Prefix> v = {p4("0.0.0.0/0"), p4("10.0.0.0/8"),  p4("10.1.0.0/16"),
                           p4("9.0.0.0/8"), p4("10.1.2.0/24"), p4("11.0.0.0/8")};
  std::sort(v.begin(), v.end());
  std::string order;
  for (const Prefix& p : v) order += p.stringValue().stdString() + " ";
  EXPECT_EQ(order, "9.0.0.0/8 10.1.2.0/24 10.1.0.0/16 10.0.0.0/8 11.0.0.0/8 0.0.0.0/0 ");
}

TEST(Prefix, HostBitsAreRefusedWithTheValidityMessage) {
  const std::string message = "Pelix::Prefix::validAsPrefix != true not allowed";
  EXPECT_EQ(errorOf([] { Prefix(IpAddr(10, 0, 0, 1), 24); }), message);
  EXPECT_EQ(errorOf([] { Prefix(IpAddr(10, 0, 0, 0), 33); }), message);
  EXPECT_EQ(refusal<Prefix>("10.0.0.1/8"), message);
  EXPECT_NO_THROW(Prefix(IpAddr(10, 0, 0, 1), 32));
  EXPECT_EQ(Prefix::covering(IpAddr(10, 1, 2, 3), 16), p4("10.1.0.0/16"));
  EXPECT_TRUE(p4("10.1.0.0/16").contains(IpAddr(10, 1, 255, 7)));
  EXPECT_FALSE(p4("10.1.0.0/16").contains(IpAddr(10, 2, 0, 0)));
}

TEST(Prefix, NullPrefixTextAndLog) {
  Prefix null(IpAddr(10, 0, 0, 1), 255);
  EXPECT_TRUE(null.isNull());
  EXPECT_EQ(null, Prefix::null());
  EXPECT_EQ(null.addr(), IpAddr());
  EXPECT_EQ(parsesBack<Prefix>("none"), Prefix::null());
  EXPECT_EQ(logsBack(Prefix::null()).size(), 5u);
  EXPECT_FALSE(null.contains(IpAddr()));

  EXPECT_EQ(Prefix().stringValue(), "0.0.0.0/0");
  parsesBack<Prefix>("0.0.0.0/0");
  parsesBack<Prefix>("255.255.255.255/32");
  expectRefused<Prefix>(
      {"", "10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/08", "10.0.0/8", "/8", "10.0.0.0/8/8", "2001:db8::/32"});
  EXPECT_EQ(hex(logsBack(p4("10.1.0.0/16"))), "0a01000010");
  // A log record with host bits set is refused as the constructor refuses it.
  EXPECT_EQ(logRefusal<Prefix>(std::string("\x0a\x00\x00\x01\x08", 5)),
            "Pelix::Prefix::validAsPrefix != true not allowed");
}

TEST(Prefix, HashIsTheIntegerHashOfAddressXorLength) {
  // Values computed apart from this code, from the published shift-and-add definition.
  const std::pair<uint32_t, uint32_t> pinned[] = {
      {0, 0xcaa3caa3u}, {1, 0x12d60bf6u}, {0xdeadbeefu, 0x92da7565u}, {0xffffffffu, 0xbd55fc18u}};
  for (auto [in, out] : pinned) EXPECT_EQ(Pelix::integerHash32(in), out) << "input 0x" << std::hex << in;
  EXPECT_EQ(p4("10.0.0.0/8").hash(), 0xc13c560au);   // of 0x0a000000 ^ 8
  EXPECT_EQ(p4("10.0.0.0/16").hash(), 0x26775202u);  // of 0x0a000000 ^ 16
}

TEST(Ip6Prefix, OrderedLikeIpv4PrefixesKeepsHostBitsTextLogAndHash) {
  EXPECT_LT(p6("2001:db8:1::/48"), p6("2001:db8::/32"));
  EXPECT_LT(p6("2001:db8::/48"), p6("2001:db8:1::/48"));
  EXPECT_LT(p6("2001:db7::/32"), p6("2001:db8:1::/48"));
  EXPECT_LT(p6("::1/128"), p6("::/0"));
  // An address with its subnet length keeps its host bits; it differs from the network.
  Ip6Prefix host = parsesBack<Ip6Prefix>("2001:db8::1/64");
  EXPECT_EQ(host.addr(), Ip6Addr("2001:db8::1"));
  EXPECT_EQ(host.masked(), p6("2001:db8::/64"));
  EXPECT_NE(host, host.masked());
  EXPECT_NE(host <=> host.masked(), std::strong_ordering::equal);
  EXPECT_TRUE(host.contains(Ip6Addr("2001:db8::ffff")));
  EXPECT_FALSE(host.contains(Ip6Addr("2001:db8:0:1::")));
  EXPECT_EQ(p6("2001:db8::/33").masked(), p6("2001:db8::/33"));
  EXPECT_EQ(p6("2001:db8:ffff::/33").masked(), p6("2001:db8:8000::/33"));

  EXPECT_EQ(Ip6Prefix().stringValue(), "::/0");
  parsesBack<Ip6Prefix>("::/0");
  parsesBack<Ip6Prefix>("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128");
  expectRefused<Ip6Prefix>({"", "2001:db8::", "2001:db8::/129", "2001:db8::/", "10.0.0.0/8", "2001:db8::/0x20"});
  EXPECT_EQ(errorOf([] { Ip6Prefix(Ip6Addr(), 129); }), "Pelix::Ip6Prefix::length > 128 not allowed");
  EXPECT_EQ(hex(logsBack(p6("2001:db8::/32"))), "20010db800000000000000000000000020");
  EXPECT_EQ(p6("2001:db8::/32").hash(), Pelix::integerHash32(Ip6Addr("2001:db8::").hash() ^ 32u));
}

TEST(IpGenPrefix, FamilyFirstThenTheFamilysOrder) {
  IpGenPrefix none;
  EXPECT_TRUE(none.isNone());
  IpGenPrefix a = parsesBack<IpGenPrefix>("10.1.0.0/16");
  IpGenPrefix b = parsesBack<IpGenPrefix>("10.0.0.0/8");
  IpGenPrefix c = parsesBack<IpGenPrefix>("2001:db8::/32");
  EXPECT_EQ(parsesBack<IpGenPrefix>("none"), none);
  EXPECT_LT(none, a);
  EXPECT_LT(a, b);  // nesting order within IPv4
  EXPECT_LT(b, c);  // IPv4 before IPv6
  EXPECT_LT(IpGenPrefix(p6("2001:db8:1::/48")), c);
  EXPECT_EQ(a.v4(), p4("10.1.0.0/16"));
  EXPECT_EQ(c.v6(), p6("2001:db8::/32"));
  EXPECT_EQ(IpGenPrefix(Prefix::null()), none);
  EXPECT_EQ(refusal<IpGenPrefix>("10.0.0.1/8"), "Pelix::Prefix::validAsPrefix != true not allowed");
  expectRefused<IpGenPrefix>({"10.0.0.0", "nonesuch"});
}

// The hash is the family's prefix hash, zero for none; the log form is the family, then the prefix.
TEST(IpGenPrefix, HashAndLogForm) {
  EXPECT_EQ(IpGenPrefix().hash(), 0u);
  EXPECT_EQ(IpGenPrefix(p4("10.0.0.0/8")).hash(), p4("10.0.0.0/8").hash());
  EXPECT_EQ(IpGenPrefix(p6("2001:db8::/32")).hash(), p6("2001:db8::/32").hash());
  EXPECT_EQ(hex(logsBack(IpGenPrefix())), "00");
  EXPECT_EQ(hex(logsBack(IpGenPrefix(p4("10.0.0.0/8")))), "010a00000008");
  EXPECT_EQ(logsBack(IpGenPrefix(p6("2001:db8::1/64"))).size(), 18u);
  EXPECT_EQ(logRefusal<IpGenPrefix>("\x09"), "Pelix::IpGenPrefix: family code 9 in the attribute log");
  const std::string v6LengthTooLong = "\x02" + std::string(16, '0') + "\x81";
  EXPECT_EQ(logRefusal<IpGenPrefix>(v6LengthTooLong), "Pelix::Ip6Prefix::length > 128 not allowed");
}

}  // namespace
