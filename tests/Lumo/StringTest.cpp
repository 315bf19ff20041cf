#include <Lumo/String.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Lumo::String;
using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(String, EmptyIsANullPointer) {
  static_assert(sizeof(Vem::String) == sizeof(void*));
  String e, fromEmpty(""), fromNull(static_cast<const char*>(nullptr)), fromView(std::string_view{});
  for (const String* s : {&e, &fromEmpty, &fromNull, &fromView}) {
    EXPECT_TRUE(s->empty());
    EXPECT_EQ(s->size(), 0u);
    ASSERT_NE(s->data(), nullptr);
    EXPECT_EQ(*s->c_str(), '\0');
    EXPECT_TRUE(s->sharesBytesWith(e));
  }
  EXPECT_EQ(e, String());
}

TEST(String, HoldsArbitraryBytes) {
  const std::string raw("a\0b\xff\0"s);
  String s(raw);
  EXPECT_EQ(s.size(), 5u);
  EXPECT_EQ(s.view(), raw);
  EXPECT_EQ(s[1], '\0');
  EXPECT_EQ(s[3], '\xff');
  EXPECT_EQ(s.c_str()[5], '\0');
  EXPECT_EQ(s.stdString(), raw);
  EXPECT_NE(s, String("a"));  // not cut at the first NUL
  std::ostringstream os;
  os << s;
  EXPECT_EQ(os.str(), raw);
}

TEST(String, OrdersByUnsignedBytesShorterPrefixFirst) {
  EXPECT_LT(String("a"), String("a\0"sv));
  EXPECT_LT(String(""), String("\0"sv));
  EXPECT_LT(String("z"), String("\x80"));
  EXPECT_LT(String("\x7f"), String("\xff"));
  EXPECT_LT(String("ab"), String("b"));
  EXPECT_GT(String("b"), "abc");
  EXPECT_EQ(String("abc") <=> String("abc"), std::strong_ordering::equal);
}

TEST(String, ComparesWithOtherStringForms) {
  String s("key");
  EXPECT_TRUE(s == "key" && "key" == s);
  EXPECT_TRUE(s == "key"sv && "key"sv == s);
  EXPECT_TRUE(s == "key"s && "key"s == s);
  EXPECT_TRUE(s < "kez"s && "kex"sv < s && s != "kez");
  EXPECT_TRUE(s.lengthWithin(3));
  EXPECT_FALSE(s.lengthWithin(2));
  std::string_view v = s;
  EXPECT_EQ(v.data(), s.data());
}

// Equality reads short strings a word at a time: every length around the word sizes, with the one
// differing byte at every position, and equal bytes in separate blocks.
TEST(String, EqualityCatchesEveryDifferingByteAtEveryLength) {
  for (std::size_t n = 0; n <= 40; ++n) {
    std::string bytes;
    for (std::size_t i = 0; i < n; ++i) bytes += static_cast<char>('a' + i % 26);
    const String base(bytes);
    EXPECT_TRUE(base == String(bytes) && base == std::string_view(bytes)) << n;
    EXPECT_FALSE(base == String(bytes + "x")) << n;
    for (std::size_t at = 0; at < n; ++at) {
      std::string other = bytes;
      other[at] = static_cast<char>(other[at] ^ 0x80);
      EXPECT_FALSE(base == String(other)) << n << " at " << at;
      EXPECT_FALSE(base == std::string_view(other)) << n << " at " << at;
    }
  }
}

TEST(String, CopiesShareMovesEmpty) {
  String a("shared bytes");
  String b = a;
  EXPECT_TRUE(b.sharesBytesWith(a));
  EXPECT_EQ(b.data(), a.data());
  String c("shared bytes");
  EXPECT_EQ(c, a);
  EXPECT_FALSE(c.sharesBytesWith(a));

  String& alias = a;
  a = alias;
  EXPECT_EQ(a, "shared bytes");
  a = std::move(alias);
  EXPECT_EQ(a, "shared bytes");

  String moved = std::move(b);
  EXPECT_TRUE(b.empty());
  EXPECT_TRUE(moved.sharesBytesWith(a));
  b = moved;
  moved = String();
  a = String();
  EXPECT_EQ(b, "shared bytes");  // the last holder still reads the block
}

}  // namespace
