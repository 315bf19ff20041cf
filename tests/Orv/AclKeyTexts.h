// ACL key texts for comparing the key parser with the regular expression that defines it: the
// expression itself and a generator of texts from a fixed seed, valid, mutated and shuffled, that reach
// every outcome (parsed, no match, VLAN id above its bound, number too large to convert). Shared by the
// differential test and the parse benchmark so that both run on the same kind of input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace AclKeyTexts {

// ECMAScript grammar, searched (not matched whole) over the text.
inline constexpr const char* kExpression =
    R"(^(\S+)-(ip|ipv6|mac)-(in|out)\(std=(false|true),vlanId=(\d+),aclGroup=(\S+)\))";

// Texts from a fixed seed. Only the engine's raw output is used (its distributions differ between
// standard libraries), so every platform sees the same texts.
class TextGenerator {
 public:
  explicit TextGenerator(uint32_t seed) : rng_(seed) {}

  std::size_t below(std::size_t n) { return rng_() % n; }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <std::size_t N>
  const char* pick(const char* const (&items)[N]) {
    return items[below(N)];
  }

  // A name or group: mostly plain, often holding the characters and words that can mislead a scan.
  std::string word() {
    static const char* const pieces[] = {"a", "web", "Z9", "0", "-", "--", "(", ")", "()", "=", ",", "_", "x-y",
                                         "-ip-", "-ipv6-", "-mac-", "in", "out(", "std=", "vlanId=", ",aclGroup=",
                                         "ip", "ipv6", "-ip-in(std=true,vlanId=1,aclGroup=g)", ")x", "\x01", "\xff"};
    std::string w;
    const std::size_t n = 1 + below(4);
    for (std::size_t i = 0; i < n; ++i) w += chance(60) ? std::string(1, static_cast<char>('a' + below(26))) : pick(pieces);
    if (chance(4)) w.insert(below(w.size() + 1), pick(blanks));
    if (chance(2)) w.insert(below(w.size() + 1), 1, '\0');
    return w;
  }

  std::string number() {
    static const char* const edges[] = {"0", "1", "4095", "4096", "65535", "65536", "2147483647", "2147483648",
                                        "4294967296", "99999999999999999999999", "00004095", "0000000000000000000000001",
                                        "9223372036854775808"};
    if (chance(40)) return pick(edges);
    std::string n(chance(20) ? below(6) : 0, '0');
    const std::size_t digits = chance(15) ? 10 + below(40) : 1 + below(5);
    for (std::size_t i = 0; i < digits; ++i) n += static_cast<char>('0' + below(10));
    return n;
  }

  std::string validKey() {
    static const char* const types[] = {"ip", "ipv6", "mac"};
    static const char* const directions[] = {"in", "out"};
    std::string text = word() + "-" + pick(types) + "-" + pick(directions) + "(std=" + (chance(50) ? "true" : "false") +
                       ",vlanId=" + number() + ",aclGroup=" + word() + ")";
    if (chance(30)) text += chance(50) ? pick(blanks) + word() : word();
    return text;
  }

  // One small change: a character deleted, inserted, replaced or doubled, a cut, or two texts joined.
  std::string mutate(std::string text) {
    static const char alphabet[] = "-()=,0123456789ipvmacnoutsdfrelIG \t\n\r\v\f\x80";
    const std::size_t rounds = 1 + below(3);
    for (std::size_t r = 0; r < rounds; ++r) {
      const std::size_t at = below(text.size() + 1);
      const char c = alphabet[below(sizeof alphabet - 1)];
      switch (below(7)) {
        case 0:
          if (at < text.size()) text.erase(at, 1);
          break;
        case 1: text.insert(at, 1, c); break;
        case 2:
          if (at < text.size()) text[at] = c;
          break;
        case 3:
          if (at < text.size()) text.insert(at, text.substr(at, 1 + below(8)));
          break;
        case 4: text.resize(at); break;
        case 5: text = text.substr(0, at) + validKey(); break;
        case 6: text += chance(50) ? validKey() : word(); break;
      }
    }
    return text;
  }

  // Words and fragments of the form in any order.
  std::string soup() {
    static const char* const fragments[] = {"-", "ip", "ipv6", "mac", "in", "out", "(std=", "true", "false",
                                            ",vlanId=", "42", ",aclGroup=", ")", "(", " ", "g"};
    std::string text;
    const std::size_t n = below(14);
    for (std::size_t i = 0; i < n; ++i) text += chance(80) ? pick(fragments) : word();
    return text;
  }

 private:
  static constexpr const char* blanks[] = {" ", "\t", "\n", "\r", "\v", "\f"};
  std::mt19937 rng_;
};

// `valid` well-formed keys, then `mutated` keys with small changes, then `soup` fragment shuffles.
inline std::vector<std::string> generate(TextGenerator& gen, std::size_t valid, std::size_t mutated, std::size_t soup) {
  std::vector<std::string> texts;
  texts.reserve(valid + mutated + soup);
  for (std::size_t i = 0; i < valid; ++i) texts.push_back(gen.validKey());
  for (std::size_t i = 0; i < mutated; ++i) texts.push_back(gen.mutate(gen.validKey()));
  for (std::size_t i = 0; i < soup; ++i) texts.push_back(gen.soup());
  return texts;
}

}  // namespace AclKeyTexts
