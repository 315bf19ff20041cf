/// \file
/// The enumeration service: enumerations carry no tables of their own; their enumerator names and codes
/// are the enumerator member records of their module, found through (descriptor, type index).
#pragma once

#include <Lumo/String.h>
#include <Vem/CharRange.h>
#include <Vem/VemType.h>

#include <cstdint>
#include <optional>
#include <type_traits>
#include <string_view>

namespace Vem {

template <class U>
class EnumType {
  static_assert(std::is_same_v<U, uint8_t> || std::is_same_v<U, uint32_t>, "enumerations are held in U8 or U32");

 public:
  /// The enumerator name of a code, or an empty view when no enumerator has it.
  static std::string_view nameOf(const VemType& type, uint32_t code) noexcept;
  static std::optional<U> codeOf(const VemType& type, std::string_view name) noexcept;
  /// By code or by name; raises RangeException when nothing matches.
  static U instance(const VemType& type, uint32_t code);
  static U instance(const VemType& type, std::string_view name);
  /// The enumerator name, or the code in decimal when no enumerator has it.
  static Lumo::String stringValue(const VemType& type, uint32_t code);
  /// Reads an enumerator name; false (consuming nothing) when the text names none.
  static bool sequenceToValue(const VemType& type, CharRange& in, U* out) noexcept;
};

extern template class EnumType<uint8_t>;
extern template class EnumType<uint32_t>;

}  // namespace Vem
