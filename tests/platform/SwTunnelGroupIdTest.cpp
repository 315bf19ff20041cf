// VTEP groups interned in their own table: one slot per distinct group, counted uses, recycled slots.
#include <Vxlan/Vxlan.h>

#include <vector>

#include "PlatformTestSupport.h"

namespace {

using namespace PlatformTestSupport;
using Pelix::IpGenAddr;
using Vxlan::SwTunnelGroupId;

IpGenAddr addr(const char* text) { return IpGenAddr(std::string_view(text)); }

TEST(SwTunnelGroupId, EqualGroupsShareOneCountedSlot) {
  const std::size_t before = SwTunnelGroupId::groupsInUse();
  {
    std::vector<IpGenAddr> ab = {addr("10.0.0.1"), addr("10.0.0.2")};
    std::vector<IpGenAddr> ba = {addr("10.0.0.2"), addr("10.0.0.1")};
    SwTunnelGroupId x(ab), y(ba);
    EXPECT_EQ(x, y);
    EXPECT_EQ(x.useCount(), 2u);
    EXPECT_EQ(SwTunnelGroupId::groupsInUse(), before + 1);
    {
      SwTunnelGroupId copy = x;
      SwTunnelGroupId assigned;
      assigned = copy;
      EXPECT_EQ(x.useCount(), 4u);
      SwTunnelGroupId moved = std::move(copy);
      EXPECT_EQ(x.useCount(), 4u);
      EXPECT_TRUE(copy.empty());
    }
    EXPECT_EQ(x.useCount(), 2u);
    EXPECT_EQ(x.hash(), y.hash());
    EXPECT_EQ(x.vteps().size(), 2u);
    EXPECT_EQ(x.vteps()[0], addr("10.0.0.1"));
  }
  EXPECT_EQ(SwTunnelGroupId::groupsInUse(), before);
}

TEST(SwTunnelGroupId, AReleasedSlotIsRecycledForAnotherGroup) {
  const std::vector<IpGenAddr> first = {addr("192.0.2.1")};
  const std::vector<IpGenAddr> second = {addr("2001:db8::1")};
  std::optional<SwTunnelGroupId> a(std::in_place, first);
  const std::size_t inUse = SwTunnelGroupId::groupsInUse();
  a.reset();
  SwTunnelGroupId b(second);
  EXPECT_EQ(SwTunnelGroupId::groupsInUse(), inUse);
  EXPECT_EQ(b.vteps()[0], addr("2001:db8::1"));
  SwTunnelGroupId c(first);
  EXPECT_NE(b, c);
  EXPECT_EQ(c.useCount(), 1u);
}

TEST(SwTunnelGroupId, OrderEmptyGroupTextAndLog) {
  SwTunnelGroupId empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.useCount(), 0u);
  EXPECT_EQ(empty, SwTunnelGroupId(std::vector<IpGenAddr>{}));
  const std::vector<IpGenAddr> one = {addr("10.0.0.1")}, two = {addr("10.0.0.1"), addr("10.0.0.2")},
                               other = {addr("10.0.0.3")};
  EXPECT_LT(empty, SwTunnelGroupId(one));
  EXPECT_LT(SwTunnelGroupId(one), SwTunnelGroupId(two));
  EXPECT_LT(SwTunnelGroupId(two), SwTunnelGroupId(other));
  const std::vector<IpGenAddr> repeated = {addr("10.0.0.1"), addr("10.0.0.1")};
  EXPECT_EQ(errorOf([&] { SwTunnelGroupId g(repeated); }), "Vxlan::SwTunnelGroupId: VTEP 10.0.0.1 is repeated");
  EXPECT_THROW(SwTunnelGroupId(std::vector<IpGenAddr>{IpGenAddr()}), Vem::RangeException);

  SwTunnelGroupId g = parsesBack<SwTunnelGroupId>("10.0.0.1+10.0.0.2+2001:db8::1");
  EXPECT_EQ(Vem::strepToValue<SwTunnelGroupId>("2001:db8::1+10.0.0.2+10.0.0.1"), g);
  EXPECT_EQ(parsesBack<SwTunnelGroupId>("none"), SwTunnelGroupId());
  expectRefused<SwTunnelGroupId>(
      {"", "+", "10.0.0.1+", "10.0.0.1++10.0.0.2", "10.0.0.1+none", "10.0.0.1+10.0.0.1", "10.0.0"});
  const std::string bytes = logsBack(g);
  EXPECT_EQ(bytes.size(), 2u + 5 + 5 + 17);
  EXPECT_EQ(hex(logsBack(SwTunnelGroupId())), "0000");
  // A record naming the same VTEP twice is refused, and the table is left as it was.
  const std::size_t inUse = SwTunnelGroupId::groupsInUse();
  EXPECT_NE(logRefusal<SwTunnelGroupId>(std::string("\x00\x02\x01\x0a\x00\x00\x09\x01\x0a\x00\x00\x09", 12)),
            "no error");
  EXPECT_EQ(SwTunnelGroupId::groupsInUse(), inUse);
}

}  // namespace
