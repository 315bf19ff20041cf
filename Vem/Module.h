/// \file
/// Registration tables of a module: the constant data that the code generator emits per module and that
/// the registry, the reflective interface and the text-form services read. Byte offsets and widths are
/// fixed (x86 is little-endian, which the packed layouts below rely on).
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vem {

struct VemModule;

/// Kind byte of a type record.
namespace TypeKind {
inline constexpr uint8_t value = 0x21;
inline constexpr uint8_t enumeration = 0x25;
inline constexpr uint8_t entity = 0x60;
inline constexpr uint8_t polymorphic = 0x40;
inline constexpr uint8_t protobufForm = 0x80;
}  // namespace TypeKind

/// Built-in types, as negative type references.
namespace BuiltinType {
inline constexpr int16_t none = -1;
inline constexpr int16_t entityBase = -3;
inline constexpr int16_t noValue = -4;
inline constexpr int16_t u8 = -5;
inline constexpr int16_t u16 = -7;
inline constexpr int16_t u32 = -9;
inline constexpr int16_t s32 = -10;
inline constexpr int16_t u64 = -11;
inline constexpr int16_t boolean = -13;
inline constexpr int16_t string = -18;
inline constexpr int16_t seconds = -26;
/// The name of a built-in type reference, or nullptr for codes that name none.
const char* name(int16_t code) noexcept;
}  // namespace BuiltinType

/// Member flags A and B.
namespace MemberFlagsA {
inline constexpr uint16_t mutableSetter = 0x8000;
inline constexpr uint16_t entityAttribute = 0x4000;
inline constexpr uint16_t fixedAfterConstruction = 0x2000;
inline constexpr uint16_t changesAfterConstruction = 0x1000;
inline constexpr uint16_t readable = 0x0800;
inline constexpr uint16_t stored = 0x0400;
inline constexpr uint16_t instantiating = 0x0100;
inline constexpr uint16_t enumerator = 0x0080;
inline constexpr uint16_t holdsEntities = 0x0020;
inline constexpr uint16_t method = 0x0010;
inline constexpr uint16_t constantOrStatic = 0x0008;
inline constexpr uint16_t collection = 0x0001;
}  // namespace MemberFlagsA
namespace MemberFlagsB {
inline constexpr uint16_t protobufValues = 0x8000;
inline constexpr uint16_t constructorParameter = 0x2000;
inline constexpr uint16_t member = 0x0100;  // set, with storedData, on every stored member
inline constexpr uint16_t storedData = 0x0001;
inline constexpr uint16_t set = 0x0008;
}  // namespace MemberFlagsB

/// 16 bytes per type, in declaration order; the position is the type's index in its module.
struct __attribute__((packed, aligned(2))) TypeRecord {
  uint8_t kind;
  uint8_t zero1;
  uint16_t nameField;  // type-name table offset << 4
  uint8_t zero4;
  uint8_t layoutLow;   // layout: size << 3 | log2(alignment), stored unaligned at offset 5
  uint8_t layoutHigh;
  uint8_t zero7;
  uint16_t memberCount;
  uint16_t firstMember;
  uint16_t firstParam;
  int16_t baseType;

  constexpr uint16_t nameOffset() const noexcept { return uint16_t(nameField >> 4); }
  constexpr uint16_t layout() const noexcept { return uint16_t(layoutLow | (layoutHigh << 8)); }
  constexpr uint32_t size() const noexcept { return layout() >> 3; }
  constexpr uint32_t alignment() const noexcept { return 1u << (layout() & 7); }
};
static_assert(sizeof(TypeRecord) == 16);

/// 20 bytes per member; a type's members are contiguous and in declaration order.
struct __attribute__((packed, aligned(2))) MemberRecord {
  uint16_t attributeId;
  uint16_t flagsA;
  uint16_t flagsB;
  uint32_t nameField;  // member-name table offset << 12
  int16_t type;        // for a collection, the type of its values
  uint32_t extra;      // enumerator value, or the key field's name offset for values carrying their key
  uint16_t firstParam;
  int16_t keyType;     // -1 unless a collection

  constexpr uint32_t nameOffset() const noexcept { return (nameField >> 12) & 0xfff; }
};
static_assert(sizeof(MemberRecord) == 20);

/// 6 bytes per parameter; lists end with an all-zero record, and record 0 is one.
struct ParamRecord {
  uint16_t nameHigh;  // name offset >> 8
  uint16_t nameLow;   // name offset & 0xff
  uint16_t typeNameOffset;

  constexpr uint32_t nameOffset() const noexcept { return uint32_t(nameHigh) << 8 | nameLow; }
  constexpr bool terminator() const noexcept { return nameHigh == 0 && nameLow == 0 && typeNameOffset == 0; }
};
static_assert(sizeof(ParamRecord) == 6);

/// One entry of the type-reference table, sorted by the name of the type it denotes.
struct TypeRefEntry {
  const VemModule* module;
  uint32_t index;
};

/// Entry-point signatures reached through the implementation table.
using NewEntityForDirFn = void* (*)(const void* name, void* directory);
using ConstructFromCtorArgsFn = void (*)(void* destination, const void* const* arguments);
using AttributeOpFn = int (*)(void* result, void* object, const void* field, uint8_t operation,
                              const void* argument1, const void* argument2);
using IteratorFn = void* (*)(void* entity, const void* startKey, const void* field, const void** iteratorOps);

/// Six pointer-sized slots per type, in type-record order.
struct ImplEntry {
  NewEntityForDirFn newEntityForDir;
  const void* attrLogHandlers;  // entity types: their handler table
  const void* methods;          // value-methods, enumeration-methods or entity-pointer table
  ConstructFromCtorArgsFn constructFromCtorArgs;
  AttributeOpFn attributeOp;
  IteratorFn iterator;
};
static_assert(sizeof(ImplEntry) == 6 * sizeof(void*));

/// The module descriptor: eight pointer-width words.
struct VemModule {
  const TypeRecord* types;
  const MemberRecord* members;
  const ParamRecord* params;
  const char* typeNames;
  const char* memberNames;
  const TypeRefEntry* typeRefs;  // null when no member names a non-built-in type
  const ImplEntry* impls;
  uintptr_t typeCount;
};
static_assert(sizeof(VemModule) == 8 * sizeof(void*));

}  // namespace Vem

namespace Vem {

/// The layout word of a type: size << 3 | log2(alignment).
template <class T>
constexpr uint16_t layoutOf() noexcept {
  uint16_t log2 = 0;
  while ((std::size_t{1} << log2) < alignof(T)) ++log2;
  return static_cast<uint16_t>(sizeof(T) << 3 | log2);
}

constexpr TypeRecord makeTypeRecord(uint8_t kind, uint16_t nameOffset, uint16_t layout, uint16_t memberCount,
                                    uint16_t firstMember, uint16_t firstParam, int16_t baseType) noexcept {
  return TypeRecord{kind, 0, static_cast<uint16_t>(nameOffset << 4), 0, static_cast<uint8_t>(layout & 0xff),
                    static_cast<uint8_t>(layout >> 8), 0, memberCount, firstMember, firstParam, baseType};
}

constexpr MemberRecord makeMemberRecord(uint16_t attributeId, uint16_t flagsA, uint16_t flagsB, uint32_t nameOffset,
                                        int16_t type, uint32_t extra, uint16_t firstParam, int16_t keyType) noexcept {
  return MemberRecord{attributeId, flagsA, flagsB, nameOffset << 12, type, extra, firstParam, keyType};
}

constexpr ParamRecord makeParamRecord(uint32_t nameOffset, uint16_t typeNameOffset) noexcept {
  return ParamRecord{static_cast<uint16_t>(nameOffset >> 8), static_cast<uint16_t>(nameOffset & 0xff), typeNameOffset};
}

}  // namespace Vem
