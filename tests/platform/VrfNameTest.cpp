// VRF names: at most 100 bytes, "default" first in order, quoted text that any bytes survive.
#include <L3/L3.h>

#include <algorithm>
#include <string>
#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;
using L3::VrfName;

const char* const kTooLong = "Vem::String::bytes > maxLength() not allowed";

TEST(VrfName, AtMost100BytesEverywhere) {
  EXPECT_NO_THROW(VrfName(std::string(100, 'v')));
  EXPECT_EQ(errorOf([] { VrfName(std::string(101, 'v')); }), kTooLong);
  EXPECT_EQ(refusal<VrfName>("\"" + std::string(101, 'v') + "\""), kTooLong);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out.string(std::string(101, 'v'));
  EXPECT_EQ(logRefusal<VrfName>(bytes), kTooLong);
}

TEST(VrfName, DefaultVrfSortsFirst) {
  EXPECT_EQ(VrfName::defaultVrf().name(), "default");
  EXPECT_TRUE(VrfName::defaultVrf().isDefaultVrf());
  EXPECT_TRUE(VrfName().empty());
  std::vector<VrfName> v = {VrfName("red"),     VrfName(""),          VrfName("blue"),
                            VrfName("default"), VrfName("defaulted"), VrfName("a")};
  std::sort(v.begin(), v.end());
  std::string order;
  for (const VrfName& n : v) order += n.name().stdString() + "|";
  EXPECT_EQ(order, "default||a|blue|defaulted|red|");
  EXPECT_EQ(VrfName("default") <=> VrfName::defaultVrf(), std::strong_ordering::equal);
}

TEST(VrfName, QuotedTextAndStringLogForm) {
  EXPECT_EQ(parsesBack<VrfName>("\"default\""), VrfName::defaultVrf());
  EXPECT_EQ(parsesBack<VrfName>("\"\""), VrfName());
  EXPECT_EQ(parsesBack<VrfName>("\"odd, name) \\\"x\\\"\\x00\""), VrfName(std::string("odd, name) \"x\"\0", 15)));
  expectRefused<VrfName>({"default", "\"open"});
  EXPECT_EQ(hex(logsBack(VrfName("red"))), "00000003726564");
  EXPECT_EQ(VrfName("red").hash(), VrfName(std::string("red")).hash());
  EXPECT_NE(VrfName("red").hash(), VrfName("blue").hash());
}

}  // namespace
