// MAC and IP addresses: their text as engineers write it, their log forms and their orders.
#include <Pelix/Pelix.h>

#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;
using Pelix::EthAddr;
using Pelix::EthAddrWithMask;
using Pelix::Ip6Addr;
using Pelix::IpAddr;
using Pelix::IpGenAddr;

TEST(EthAddr, TextLowerCaseOutAnyCaseInOrderHashAndLog) {
  EthAddr a = parsesBack<EthAddr>("00:11:22:33:44:55");
  EXPECT_EQ(a, EthAddr(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
  EXPECT_EQ(a.displayString(), "00:11:22:33:44:55");
  EXPECT_EQ(EthAddr("0A:bC:dE:fF:00:01").stringValue(), "0a:bc:de:ff:00:01");
  EXPECT_EQ(EthAddr().stringValue(), "00:00:00:00:00:00");
  expectRefused<EthAddr>({"", "00:11:22:33:44", "00:11:22:33:44:55:66", "0:11:22:33:44:55", "00-11-22-33-44-55",
                          "00:11:22:33:44:5g", "0011.2233.4455"});
  EXPECT_EQ(refusal<EthAddr>("00:11:22:33:44:5x"),
            "Pelix::EthAddr: '00:11:22:33:44:5x' is not a MAC address (six hexadecimal pairs separated by colons) at "
            "offset 0");
  EXPECT_LT(EthAddr(0, 0, 0, 0, 0, 0xff), EthAddr(0, 0, 0, 0, 1, 0));
  EXPECT_LT(EthAddr(0x01, 0, 0, 0, 0, 0), EthAddr(0xfe, 0, 0, 0, 0, 0));
  EXPECT_NE(EthAddr(0, 0, 0, 0, 0, 1).hash(), EthAddr(0, 0, 0, 0, 1, 0).hash());
  EXPECT_EQ(hex(logsBack(EthAddr("de:ad:be:ef:00:01"))), "deadbeef0001");
  EXPECT_TRUE(EthAddr("01:00:5e:00:00:01").isMulticast());
  EXPECT_FALSE(EthAddr("00:00:5e:00:00:01").isMulticast());
}

TEST(EthAddrWithMask, DefaultMatchesExactlyAndRoundTrips) {
  EXPECT_EQ(EthAddrWithMask().stringValue(), "00:00:00:00:00:00/ff:ff:ff:ff:ff:ff");
  EthAddrWithMask oui = parsesBack<EthAddrWithMask>("00:1a:2b:00:00:00/ff:ff:ff:00:00:00");
  EXPECT_TRUE(oui.matches(EthAddr("00:1a:2b:99:88:77")));
  EXPECT_FALSE(oui.matches(EthAddr("00:1a:2c:99:88:77")));
  EXPECT_EQ(logsBack(oui).size(), 12u);
  expectRefused<EthAddrWithMask>({"00:1a:2b:00:00:00", "00:1a:2b:00:00:00/"});
  // Ordered by address first, mask second.
  auto last = [](int a, int m) { return EthAddrWithMask(EthAddr(0, 0, 0, 0, 0, a), EthAddr(0, 0, 0, 0, 0, m)); };
  EXPECT_LT(last(1, 0), last(2, 0));
  EXPECT_LT(last(0, 1), last(0, 2));
}

TEST(IpAddr, DottedQuadHeldInNetworkOrder) {
  IpAddr a = parsesBack<IpAddr>("10.1.2.3");
  EXPECT_EQ(a.host(), 0x0a010203u);
  const auto* bytes = reinterpret_cast<const unsigned char*>(&a);
  EXPECT_EQ(bytes[0], 10);  // network order in memory
  EXPECT_EQ(bytes[3], 3);
  parsesBack<IpAddr>("0.0.0.0");
  parsesBack<IpAddr>("255.255.255.255");
  expectRefused<IpAddr>({"", "10.1.2", "10.1.2.3.4", "256.0.0.1", "10.01.2.3", "10..2.3", "10.1.2.3.", "a.b.c.d",
                         "-1.0.0.0", "4294967296.0.0.0"});
  EXPECT_EQ(hex(logsBack(a)), "0a010203");
  // Ordered as host numbers.
  EXPECT_LT(IpAddr(9, 255, 255, 255), IpAddr(10, 0, 0, 1));
  EXPECT_LT(IpAddr(10, 0, 0, 1), IpAddr(10, 0, 1, 0));
  EXPECT_NE(IpAddr(10, 0, 0, 1).hash(), IpAddr(1, 0, 0, 10).hash());
}

TEST(Ip6Addr, PrintsTheCanonicalTextOfRfc5952) {
  for (auto [in, out] : std::vector<std::pair<const char*, const char*>>{
           {"2001:db8::1", "2001:db8::1"},
           {"2001:0DB8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
           {"::", "::"},
           {"::1", "::1"},
           {"1::", "1::"},
           {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one zero group is not shortened
           {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},           // the longer run
           {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // the first of equal runs
           {"fe80::1:2:3:4", "fe80::1:2:3:4"},
           {"::ffff:192.0.2.1", "::ffff:192.0.2.1"},
           {"::FFFF:c000:0201", "::ffff:192.0.2.1"},
           {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
           {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
       }) {
    Ip6Addr a(in);
    EXPECT_EQ(a.stringValue(), out) << in;
    EXPECT_EQ(parsesBack<Ip6Addr>(out), a) << out;
  }
}

TEST(Ip6Addr, RefusalsOrderAndLog) {
  expectRefused<Ip6Addr>({"", ":", ":::", "1:::2", "1::2::3", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "12345::",
                          "1:2:3:4:5:6:7::8:9", "g::1", "::1.2.3", "1.2.3.4::", "::1.2.3.4:5", "1:2:3:4:5:6:7:1.2.3.4",
                          "2001:db8::1/64"});
  EXPECT_LT(Ip6Addr("::1"), Ip6Addr("::2"));
  EXPECT_LT(Ip6Addr("::ffff"), Ip6Addr("1::"));
  EXPECT_NE(Ip6Addr("::1").hash(), Ip6Addr("1::").hash());
  EXPECT_EQ(hex(logsBack(Ip6Addr("2001:db8::1"))), "20010db8000000000000000000000001");
}

TEST(IpGenAddr, EitherFamilyOrNone) {
  IpGenAddr none;
  EXPECT_TRUE(none.isNone());
  EXPECT_EQ(none, IpGenAddr::fromFamily(0));
  EXPECT_EQ(IpGenAddr::fromFamily(7), none);  // any code but 1 and 2 is none
  EXPECT_EQ(IpGenAddr::fromFamily(1), IpGenAddr(IpAddr()));
  EXPECT_EQ(IpGenAddr::fromFamily(2), IpGenAddr(Ip6Addr()));
  EXPECT_NE(IpGenAddr::fromFamily(1), IpGenAddr::fromFamily(2));
  EXPECT_EQ(parsesBack<IpGenAddr>("none"), none);
  IpGenAddr v4 = parsesBack<IpGenAddr>("192.0.2.1");
  EXPECT_EQ(v4.v4(), IpAddr(192, 0, 2, 1));
  EXPECT_EQ(v4.storage()[0], 192);  // IPv4 in the first 4 bytes of the storage
  EXPECT_EQ(v4.storageAsIp6(), Ip6Addr("c000:201::"));
  IpGenAddr v6 = parsesBack<IpGenAddr>("2001:db8::1");
  EXPECT_EQ(v6.v6(), Ip6Addr("2001:db8::1"));
  expectRefused<IpGenAddr>({"nothing", ""});
  // Family first: every IPv4 address before every IPv6 one.
  EXPECT_LT(none, IpGenAddr(IpAddr()));
  EXPECT_LT(IpGenAddr(IpAddr(255, 255, 255, 255)), IpGenAddr(Ip6Addr()));
  EXPECT_EQ(none.hash(), 0u);
  EXPECT_EQ(v4.hash(), IpAddr(192, 0, 2, 1).hash());
  // The log form is the family, then the address.
  EXPECT_EQ(hex(logsBack(IpGenAddr())), "00");
  EXPECT_EQ(hex(logsBack(IpGenAddr(IpAddr(10, 0, 0, 1)))), "010a000001");
  EXPECT_EQ(logsBack(IpGenAddr(Ip6Addr("::1"))).size(), 17u);
  EXPECT_EQ(logRefusal<IpGenAddr>("\x03"), "Pelix::IpGenAddr: family code 3 in the attribute log");
  EXPECT_NE(logRefusal<IpGenAddr>("\x02\x20\x01"), "no error");  // truncated
}

// Built from a whole text, each address and prefix type refuses what its token leaves over (a blank
// ends the token), naming the whole text; the same text without the rest is accepted.
template <class T>
void expectWholeTextOnly(const std::string& accepted) {
  EXPECT_NO_THROW(T{std::string_view(accepted)}) << accepted;
  const std::string text = accepted + " 1";
  const std::string message = errorOf([&] { T{std::string_view(text)}; });
  EXPECT_NE(message.find("'" + text + "' is not"), std::string::npos) << message;
}

TEST(AddressText, WholeTextConstructorsRefuseWhatTheTokenLeaves) {
  expectWholeTextOnly<EthAddr>("00:11:22:33:44:55");
  expectWholeTextOnly<IpAddr>("10.0.0.1");
  expectWholeTextOnly<Ip6Addr>("::1");
  expectWholeTextOnly<IpGenAddr>("none");
  expectWholeTextOnly<Pelix::Prefix>("10.0.0.0/8");
  expectWholeTextOnly<Pelix::Ip6Prefix>("2001:db8::/32");
  expectWholeTextOnly<Pelix::IpGenPrefix>("::/0");
  EXPECT_EQ(errorOf([] { IpAddr(std::string_view("10.0.0.1 1")); }),
            "Pelix::IpAddr: '10.0.0.1 1' is not an IPv4 address at offset 0");
}

}  // namespace
