#include <Brek/Seqno32.h>

#include <gtest/gtest.h>

namespace {

using Brek::Seqno32;

TEST(Seqno32, OrdersAcrossTheWrap) {
  Seqno32 last(0xffffffffu);
  Seqno32 next = last;
  ++next;
  EXPECT_EQ(next.value(), 0u);
  EXPECT_LT(last, next);
  EXPECT_GT(next, last);
  EXPECT_LE(last, next);
  EXPECT_FALSE(next < last);

  Seqno32 a(0x7ffffff0u);
  Seqno32 b = a + 0x20;  // crosses the signed midpoint
  EXPECT_LT(a, b);
  EXPECT_GE(b, a);
}

TEST(Seqno32, EqualityIsExactAndArithmeticWraps) {
  Seqno32 s;
  EXPECT_EQ(s.value(), 0u);
  EXPECT_EQ(s++, Seqno32(0));
  EXPECT_EQ(s, Seqno32(1));
  EXPECT_NE(s, Seqno32(2));
  EXPECT_LE(s, s);
  EXPECT_FALSE(s < s);
  s += 0xffffffffu;
  EXPECT_EQ(s, Seqno32(0));
}

}  // namespace
