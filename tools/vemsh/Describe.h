// Decoding of registration records into words: what a browser shows of a type and its members. Only the
// registry's readers are used, so any registered module can be shown, whoever generated it.
#pragma once

#include <Vem/Module.h>
#include <Vem/VemType.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace vemsh {

// "0x" and `digits` lower-case hex digits.
std::string hex(uint32_t value, int digits);

// "value", "value+polymorphic", "enumeration" or "entity", then "+protobuf" for the protobuf form;
// "kind 0x.." for a kind byte that names none.
std::string kindName(uint8_t kind);

// The set bits of a member's flags as comma-separated words; bits with no known meaning appear in hex.
std::string flagsAWords(uint16_t flagsA);
std::string flagsBWords(uint16_t flagsB);

// One word for what a member is ("field", "computed", "mutable", "collection", "method", ...), from the
// flag combinations the compiler emits, or from the deciding bits for any other combination.
std::string_view memberKind(uint16_t flagsA);

// "name: Type, name: Type" for a parameter list of `type`'s module ("none" when empty).
std::string paramList(const Vem::VemType& type, uint16_t firstParam);

// The decoded type record and every member record of `type`.
void describe(std::ostream& out, const Vem::VemType& type);

}  // namespace vemsh
