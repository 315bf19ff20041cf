/// \file
/// Handles of the generic interface: a field descriptor names one member of one type (the owner's member
/// table and, in the upper 16 bits of its word, the member's index there); a null descriptor addresses the
/// value as a whole. A type descriptor is a type's identity (module descriptor and index).
#pragma once

#include <cstdint>

namespace Lumo {

struct FieldDescriptor {
  const void* memberTable = nullptr;
  uint32_t word = 0;

  static constexpr FieldDescriptor of(const void* memberTable, uint16_t index) noexcept {
    return FieldDescriptor{memberTable, static_cast<uint32_t>(index) << 16};
  }
  constexpr uint16_t index() const noexcept { return static_cast<uint16_t>(word >> 16); }
  constexpr bool isNull() const noexcept { return memberTable == nullptr; }
};

struct TypeDescriptor {
  const void* module = nullptr;
  uint16_t index = 0;
};

}  // namespace Lumo
