// Finds an ACL key's text at the start of a string, without a regular-expression engine.
//
// The key's text is defined by what this ECMAScript expression, searched over the string, matches:
//
//   ^(\S+)-(ip|ipv6|mac)-(in|out)\(std=(false|true),vlanId=(\d+),aclGroup=(\S+)\)
//
// with greedy groups and backtracking; anything after the closing parenthesis is not examined. The
// scan below gives the same groups, for these reasons:
//  - Every piece of the expression matches only non-blank characters (blank: space, \t, \n, \v, \f, \r,
//    the classic locale's white space), so a match lies inside the string's leading non-blank run.
//  - Group 1 is greedy: the engine tries it longest first and backs off one character at a time; it can
//    only end before a '-'. So the candidates are the dashes of that run, right to left, and the first
//    candidate after which the rest matches decides.
//  - After the dash the alternatives cannot compete: "ip" and "ipv6" differ in the character after
//    "ip" ('-' or 'v'), "in"/"out" and "false"/"true" in their first character.
//  - Group 5 is a greedy digit run that must be followed by ','; no shorter run is followed by ',', so
//    it is the whole run.
//  - Group 6 is greedy and must be followed by ')': it ends at the last ')' of the leading non-blank
//    run, provided that leaves it at least one character; otherwise this candidate fails.
// The "search" finds nothing but a match at offset 0: '^' matches only there (no multiline mode).
// Each candidate costs a fixed number of comparisons plus its digit run, and digit runs of different
// candidates cannot overlap (each starts after its own '='), so a scan is linear in the text.
// tests/Orv/AclKeyParserTest.cpp compares this against std::regex on many generated texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace Orv::AclKeyText {

// The six groups, as views into the text scanned, and the length of the whole match (through the
// closing parenthesis).
struct Groups {
  std::string_view name, type, direction, standard, vlanId, aclGroup;
  std::size_t length = 0;
};

constexpr bool isBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// The length of the text's leading run of non-blank characters. Eight bytes at a time: every blank is
// below 0x21, so a word with no byte below 0x21 holds no blank; a word with one is checked bytewise.
inline std::size_t nonBlankRun(std::string_view text) noexcept {
  constexpr uint64_t kOnes = 0x0101010101010101u;
  std::size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) {
    uint64_t word;
    std::memcpy(&word, text.data() + i, 8);
    if (((word - kOnes * 0x21) & ~word & (kOnes << 7)) == 0) continue;
    for (std::size_t j = i; j < i + 8; ++j)
      if (isBlank(text[j])) return j;
  }
  while (i < text.size() && !isBlank(text[i])) ++i;
  return i;
}

// The offset of the last `c` among the first `end` characters of `text`, or npos (the C library's
// backward search, which reads many bytes per step).
inline std::size_t lastOf(std::string_view text, char c, std::size_t end) noexcept {
  const void* at = end == 0 ? nullptr : ::memrchr(text.data(), c, end);
  return at == nullptr ? std::string_view::npos : static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
}

namespace Impl {

// Consumes `literal` at `pos` in `run`.
constexpr bool take(std::string_view run, std::size_t& pos, std::string_view literal) noexcept {
  if (run.substr(pos, literal.size()) != literal) return false;
  pos += literal.size();
  return true;
}

// Consumes the first alternative that matches at `pos` and stores it in `out`.
template <std::size_t N>
constexpr bool takeOneOf(std::string_view run, std::size_t& pos, const std::string_view (&alternatives)[N],
                         std::string_view& out) noexcept {
  for (std::string_view a : alternatives)
    if (take(run, pos, a)) {
      out = a;
      return true;
    }
  return false;
}

// Everything after group 1, which ends at `dash`; `close` is the last ')' of the non-blank run.
constexpr std::optional<Groups> matchAfterName(std::string_view run, std::size_t dash, std::size_t close) noexcept {
  // "ip" is listed before "ipv6" as in the expression; the '-' that follows rules out the wrong one.
  constexpr std::string_view types[] = {"ip-", "ipv6-", "mac-"};
  constexpr std::string_view directions[] = {"in(std=", "out(std="};
  constexpr std::string_view standards[] = {"false,vlanId=", "true,vlanId="};
  Groups g;
  g.name = run.substr(0, dash);
  std::size_t pos = dash + 1;
  if (!takeOneOf(run, pos, types, g.type) || !takeOneOf(run, pos, directions, g.direction) ||
      !takeOneOf(run, pos, standards, g.standard))
    return std::nullopt;
  g.type.remove_suffix(1);
  g.direction.remove_suffix(5);
  g.standard.remove_suffix(8);
  const std::size_t digits = pos;
  while (pos < run.size() && isDigit(run[pos])) ++pos;
  if (pos == digits) return std::nullopt;
  g.vlanId = run.substr(digits, pos - digits);
  if (!take(run, pos, ",aclGroup=") || close <= pos) return std::nullopt;
  g.aclGroup = run.substr(pos, close - pos);
  g.length = close + 1;
  return g;
}

}  // namespace Impl

// The groups of the key at the start of `text`, or nothing where the expression finds no match.
inline std::optional<Groups> match(std::string_view text) noexcept {
  const std::string_view run = text.substr(0, nonBlankRun(text));
  const std::size_t close = lastOf(run, ')', run.size());
  if (close == std::string_view::npos || close == 0) return std::nullopt;
  // Group 1 has at least one character, so its dash is at offset 1 or later.
  for (std::size_t dash = lastOf(run, '-', close); dash != std::string_view::npos && dash > 0;
       dash = lastOf(run, '-', dash))
    if (auto g = Impl::matchAfterName(run, dash, close)) return g;
  return std::nullopt;
}

}  // namespace Orv::AclKeyText
