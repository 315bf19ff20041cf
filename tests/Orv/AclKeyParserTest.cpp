// The ACL key parser against the regular expression that defines it: the scan of Orv/AclKeyText.h and
// the parser built on it must give exactly what std::regex gives on the same texts, generated and mutated
// from a fixed seed: the same groups, the same match length, the same error.
#include "AclKeyTexts.h"

#include <Orv/AclKeyText.h>
#include <Orv/OrvAclQuarnTypes.h>
#include <Vem/CharRange.h>
#include <Vem/RangeException.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

// GCC's std::regex, compiled with -O1 under AddressSanitizer, draws a false "may be used uninitialized"
// warning from inside the library's own headers, which -Werror would make fatal.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <regex>
#pragma GCC diagnostic pop

namespace {

using Orv::AclKey;

// What the expression says about a text: no match, or the six groups and the length of the match.
struct Expected {
  bool matched = false;
  std::string groups[6];
  std::size_t length = 0;
};

const std::regex& keyExpression() {
  static const std::regex expression(AclKeyTexts::kExpression, std::regex::ECMAScript);
  return expression;
}

Expected byRegex(const std::string& text) {
  Expected e;
  std::smatch m;
  if (!std::regex_search(text, m, keyExpression())) return e;
  e.matched = true;
  for (int i = 0; i < 6; ++i) e.groups[i] = m[i + 1].str();
  e.length = static_cast<std::size_t>(m.position(0) + m.length(0));
  return e;
}

// The parse that follows from the expression's groups: "Invalid AclKey", std::stoi's error, the bound of
// the VLAN id, or the six attributes and the length read.
std::string expectedParse(const Expected& e) {
  if (!e.matched) return "error: Invalid AclKey";
  int vlan;
  try {
    vlan = std::stoi(e.groups[4]);
  } catch (const std::out_of_range& error) {
    return std::string("out of range: ") + error.what();
  }
  if (vlan > 4095) return "error: Orv::AclVlanIdOrNone::value > _max not allowed";
  return e.groups[0] + "|" + e.groups[1] + "|" + e.groups[2] + "|" + e.groups[3] + "|" + std::to_string(vlan) + "|" +
         e.groups[5] + "|" + std::to_string(e.length);
}

std::string actualParse(const std::string& text) {
  Vem::CharRange range(text);
  try {
    AclKey key(range);
    return key.name().stdString() + "|" + Acl::stringValue(key.type()).stdString() + "|" +
           Acl::stringValue(key.direction()).stdString() + "|" + (key.standard() ? "true" : "false") + "|" +
           std::to_string(key.vlanId().value()) + "|" + key.aclGroup().stdString() + "|" + std::to_string(range.offset());
  } catch (const Vem::RangeException& error) {
    EXPECT_EQ(range.offset(), 0u) << "a refused text moved the range";
    return std::string("error: ") + error.what();
  } catch (const std::out_of_range& error) {
    EXPECT_EQ(range.offset(), 0u) << "a refused text moved the range";
    return std::string("out of range: ") + error.what();
  }
}

enum class Outcome { parsed, invalid, vlanBound, stoi };

// Compares one text both ways; returns the class of outcome, for the coverage counts.
Outcome compare(const std::string& text) {
  const Expected e = byRegex(text);
  const auto scanned = Orv::AclKeyText::match(text);
  EXPECT_EQ(scanned.has_value(), e.matched) << '"' << text << '"';
  if (scanned && e.matched) {
    const std::string_view got[6] = {scanned->name,   scanned->type,   scanned->direction,
                                     scanned->standard, scanned->vlanId, scanned->aclGroup};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(got[i], e.groups[i]) << "group " << i + 1 << " of \"" << text << '"';
    EXPECT_EQ(scanned->length, e.length) << '"' << text << '"';
  }
  const std::string expected = expectedParse(e);
  EXPECT_EQ(actualParse(text), expected) << '"' << text << '"';
  if (!e.matched) return Outcome::invalid;
  if (expected.rfind("out of range: ", 0) == 0) return Outcome::stoi;
  return expected.rfind("error: ", 0) == 0 ? Outcome::vlanBound : Outcome::parsed;
}

TEST(AclKeyParser, AgreesWithTheRegularExpressionOnGeneratedTexts) {
  AclKeyTexts::TextGenerator gen(20240611u);
  std::size_t outcomes[4] = {};
  for (const std::string& text : AclKeyTexts::generate(gen, 12000, 18000, 6000)) ++outcomes[static_cast<int>(compare(text))];
  // Every class of outcome was reached often, so the agreement above says something about each.
  EXPECT_GT(outcomes[static_cast<int>(Outcome::parsed)], 5000u);
  EXPECT_GT(outcomes[static_cast<int>(Outcome::invalid)], 5000u);
  EXPECT_GT(outcomes[static_cast<int>(Outcome::vlanBound)], 1000u);
  EXPECT_GT(outcomes[static_cast<int>(Outcome::stoi)], 1000u);
}

TEST(AclKeyParser, AgreesWithTheRegularExpressionOnChosenTexts) {
  const char* const texts[] = {
      "", "-", "a", ")", "a-ip-in(std=true,vlanId=7,aclGroup=g1)", "-ip-in(std=true,vlanId=7,aclGroup=g1)",
      "a-b-ip-out(std=true,vlanId=7,aclGroup=g1)", "x-ipv6-in(std=false,vlanId=0,aclGroup=g)trailing",
      "x-ipv6-in(std=false,vlanId=0,aclGroup=g) (more) text)",
      // Group 6 runs to the last ')' before a blank, past earlier ones.
      "n-mac-out(std=false,vlanId=1,aclGroup=a)b)c)", "n-mac-out(std=false,vlanId=1,aclGroup=))",
      "n-mac-out(std=false,vlanId=1,aclGroup=)", "n-mac-out(std=false,vlanId=1,aclGroup=) x)",
      // The name backs off to the last dash after which the rest still matches.
      "a-ip-in(std=true,vlanId=1,aclGroup=g)-ip-in(std=true,vlanId=2,aclGroup=h)",
      "a-ip-in(std=true,vlanId=1,aclGroup=g)-ip-in(std=true,vlanId=,aclGroup=h)",
      "a-ip-in(std=true,vlanId=1,aclGroup=g) -ip-in(std=true,vlanId=2,aclGroup=h)",
      "a-ipv6-ip-in(std=true,vlanId=3,aclGroup=q)", "a-ip-ipv6-out(std=false,vlanId=3,aclGroup=q)",
      "a-IP-in(std=true,vlanId=1,aclGroup=g)", "a-ip-in(std=True,vlanId=1,aclGroup=g)",
      "a-ip-in(std=true,vlanId=+1,aclGroup=g)", "a-ip-in(std=true,vlanId=-1,aclGroup=g)",
      "a-ip-in(std=true,vlanId= 1,aclGroup=g)", "a b-ip-in(std=true,vlanId=1,aclGroup=g)",
      "a-ip-in(std=true,vlanId=1,aclGroup=g h)", "\ta-ip-in(std=true,vlanId=1,aclGroup=g)",
      "line\na-ip-in(std=true,vlanId=1,aclGroup=g)", "a-ip-in(std=true,vlanId=4095,aclGroup=g)",
      "a-ip-in(std=true,vlanId=4096,aclGroup=g)", "a-ip-in(std=true,vlanId=65536,aclGroup=g)",
      "a-ip-in(std=true,vlanId=2147483647,aclGroup=g)", "a-ip-in(std=true,vlanId=2147483648,aclGroup=g)",
      "a-ip-in(std=true,vlanId=000000000000000000000000000000000004095,aclGroup=g)",
      "a-ip-in(std=true,vlanId=123456789012345678901234567890,aclGroup=g)",
      "a-ip-in(std=true,vlanId=1,aclGroup=g\xff)", "\x80-ip-in(std=true,vlanId=1,aclGroup=\x7f)",
      "a-ip-in(std=true,vlanId=1,aclGroup=g", "a-ip-in(std=true,vlanId=1,aclGroup=g\v)",
  };
  for (const char* text : texts) compare(text);
  // NUL is a character like any other to both.
  static const char withNul[] = "a\0b-ip-in(std=true,vlanId=1,aclGroup=g\0)\0tail";
  compare(std::string(withNul, sizeof withNul - 1));
}

TEST(AclKeyParser, HugeTextsWithManyFailingCandidates) {
  // Far beyond what the regular expression's recursion can take, so the results are worked out by hand:
  // a hundred thousand dashes in the group, each a candidate end of the name that fails...
  std::string text = "a-ip-in(std=true,vlanId=1,aclGroup=g";
  for (int i = 0; i < 100000; ++i) text += "-x";
  text += ") rest";
  auto g = Orv::AclKeyText::match(text);
  ASSERT_TRUE(g.has_value());
  EXPECT_EQ(g->name, "a");
  EXPECT_EQ(g->aclGroup.size(), 200001u);
  EXPECT_EQ(g->length, text.size() - 5);
  // ... and candidates that all fail at the digits.
  std::string bad = "a";
  for (int i = 0; i < 50000; ++i) bad += "-ip-in(std=true,vlanId=";
  bad += ",aclGroup=g)";
  EXPECT_FALSE(Orv::AclKeyText::match(bad).has_value());
}

}  // namespace
