// Text of network addresses, shared by the Pelix address, prefix and MAC types (and by the sibling
// libraries that print addresses). Parsers take the whole token and answer whether it is well formed;
// the types wrap them with their own messages.
#pragma once

#include <Vem/CharRange.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Pelix::AddressText {

// Dotted quad: four decimal numbers 0..255, no leading zeros ("10.0.0.1").
bool parseIp4(std::string_view text, uint32_t* hostOrder) noexcept;
void appendIp4(std::string& out, uint32_t hostOrder);

// IPv6 text as RFC 4291 allows it: hexadecimal groups of 1 to 4 digits in either case, one "::" for a
// run of zero groups, a dotted quad as the last 32 bits.
bool parseIp6(std::string_view text, std::array<uint8_t, 16>* bytes) noexcept;
// The canonical text of RFC 5952: lower case, no leading zeros, the longest run of two or more zero
// groups (the first of equally long ones) as "::", IPv4-mapped addresses as ::ffff:a.b.c.d.
void appendIp6(std::string& out, const std::array<uint8_t, 16>& bytes);

// Six pairs of hexadecimal digits separated by colons, either case ("00:1a:2b:3c:4d:5e").
bool parseMac(std::string_view text, std::array<uint8_t, 6>* bytes) noexcept;
void appendMac(std::string& out, const std::array<uint8_t, 6>& bytes);

// A decimal number of at most `max`, no leading zeros.
bool parseSmallDecimal(std::string_view text, unsigned max, unsigned* value) noexcept;

// The token an address or prefix text occupies: the longest run of letters, digits and . : / _ -.
// Leaves `text` unchanged; the caller advances it by the token's size once the token is accepted.
std::string_view peekToken(const Vem::CharRange& text) noexcept;

// Raises Vem::RangeException "<typeName>: '<token>' is not <what> at offset N"; `text` is unchanged.
[[noreturn]] void refuse(const Vem::CharRange& text, const char* typeName, std::string_view token, const char* what);

// The whole of `text` as a T, read by T's constructor from a Vem::CharRange: what that constructor
// leaves unread is refused as above, naming the whole text.
template <class T>
T parseWhole(std::string_view text, const char* typeName, const char* what) {
  Vem::CharRange in(text);
  T value(in);
  if (!in.atEnd()) refuse(Vem::CharRange(text), typeName, text, what);
  return value;
}

}  // namespace Pelix::AddressText
