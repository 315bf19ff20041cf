#include <Lumo/String.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Lumo::String;
using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(String, EmptyIsInlineAndAllocatesNothing) {
  static_assert(sizeof(Vem::String) == 16);
  String e, fromEmpty(""), fromNull(static_cast<const char*>(nullptr)), fromView(std::string_view{});
  for (const String* s : {&e, &fromEmpty, &fromNull, &fromView}) {
    EXPECT_TRUE(s->empty());
    EXPECT_FALSE(s->onHeap());
    EXPECT_EQ(s->size(), 0u);
    ASSERT_NE(s->data(), nullptr);
    EXPECT_EQ(*s->c_str(), '\0');
    EXPECT_TRUE(s->sharesBytesWith(e));
  }
  EXPECT_EQ(e, String());
}

// Up to 15 bytes stay in the handle, longer ones go to a block; either way the bytes read back, a NUL
// follows them, and only long copies share storage.
TEST(String, ShortValuesInlineLongOnesInASharedBlock) {
  for (std::size_t n = 0; n <= 40; ++n) {
    std::string bytes;
    for (std::size_t i = 0; i < n; ++i) bytes += static_cast<char>(i % 3 == 0 ? '\0' : '0' + i % 10);
    const String s(bytes);
    EXPECT_EQ(s.onHeap(), n > String::kInlineCapacity) << n;
    EXPECT_EQ(s.size(), n);
    EXPECT_EQ(s.view(), bytes) << n;
    EXPECT_EQ(s.c_str()[n], '\0') << n;
    const String copy = s;
    EXPECT_EQ(copy, s);
    EXPECT_EQ(copy.data() == s.data(), s.onHeap()) << n;
  }
  // Zero bytes and lengths are told apart though the inline bytes past a value are zero too.
  const String nul15(std::string(15, '\0')), nul14(std::string(14, '\0')), nul16(std::string(16, '\0'));
  EXPECT_NE(nul15, String());
  EXPECT_NE(nul15, nul14);
  EXPECT_NE(nul15, nul16);
  EXPECT_LT(nul14, nul15);
  EXPECT_LT(nul15, nul16);
  EXPECT_EQ(nul15.size(), 15u);
  EXPECT_EQ(nul16, String(std::string(16, '\0')));
}

TEST(String, HoldsArbitraryBytes) {
  const std::string raw("a\0b\xff\0"s);
  String s(raw);
  EXPECT_EQ(s[1], '\0');
  EXPECT_EQ(s[3], '\xff');
  EXPECT_EQ(s.stdString(), raw);
  EXPECT_NE(s, String("a"));  // not cut at the first NUL
  std::ostringstream os;
  os << s;
  EXPECT_EQ(os.str(), raw);
}

TEST(String, ComparesWithOtherStringForms) {
  String s("key");
  EXPECT_TRUE(s == "key" && "key" == s);
  EXPECT_TRUE(s == "key"sv && "key"sv == s);
  EXPECT_TRUE(s == "key"s && "key"s == s);
  EXPECT_TRUE(s < "kez"s && "kex"sv < s && s != "kez" && s > "kaz");
  EXPECT_TRUE(s.lengthWithin(3));
  EXPECT_FALSE(s.lengthWithin(2));
  std::string_view v = s;
  EXPECT_EQ(v.data(), s.data());
}

// Equality and order read short strings a word at a time: every length around the word sizes and the
// inline limit, with the one differing byte at every position, and equal bytes in separate blocks.
TEST(String, EqualityAndOrderCatchEveryDifferingByteAtEveryLength) {
  for (std::size_t n = 0; n <= 40; ++n) {
    std::string bytes;
    for (std::size_t i = 0; i < n; ++i) bytes += static_cast<char>('a' + i % 26);
    const String base(bytes);
    EXPECT_TRUE(base == String(bytes) && base == std::string_view(bytes)) << n;
    EXPECT_FALSE(base == String(bytes + "x")) << n;
    EXPECT_LT(base, String(bytes + "x")) << n;
    EXPECT_LT(base, String(bytes + std::string(1, '\0'))) << n << ": a prefix first, though the next byte is zero";
    EXPECT_EQ(base <=> String(bytes), std::strong_ordering::equal) << n;
    for (std::size_t at = 0; at < n; ++at) {
      std::string other = bytes;
      other[at] = static_cast<char>(other[at] ^ 0x80);
      EXPECT_FALSE(base == String(other)) << n << " at " << at;
      EXPECT_FALSE(base == std::string_view(other)) << n << " at " << at;
      // Orders by that byte, unsigned, whatever follows it and whichever form each side has.
      EXPECT_LT(base, String(other)) << n << " at " << at;
      EXPECT_GT(String(other), String(bytes + "\xff")) << n << " at " << at;
    }
  }
}

TEST(String, CopiesShareMovesEmpty) {
  for (const char* text : {"shared bytes", "bytes shared by every copy"}) {
    String a(text);
    String b = a;
    EXPECT_TRUE(b.sharesBytesWith(a));
    String c(text);
    EXPECT_EQ(c, a);
    EXPECT_EQ(c.sharesBytesWith(a), !a.onHeap()) << "built apart, a long value has a block of its own";

    String& alias = a;
    a = alias;
    EXPECT_EQ(a, text);
    a = std::move(alias);
    EXPECT_EQ(a, text);

    String moved = std::move(b);
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(b.size(), 0u);
    EXPECT_TRUE(moved.sharesBytesWith(a));
    b = moved;
    moved = String();
    a = String();
    EXPECT_EQ(b, text);  // the last holder still reads the bytes
    b.swap(c);
    EXPECT_EQ(b, text);
    EXPECT_EQ(c, text);
  }
}

}  // namespace
