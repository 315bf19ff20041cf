/// \file
/// A type's run-time identity: its module descriptor and its index there, with readers over the
/// registration tables. Cheap to copy; compares by identity.
#pragma once

#include <Lumo/Descriptors.h>
#include <Vem/Module.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace Vem {

class VemType {
 public:
  constexpr VemType() noexcept = default;
  constexpr VemType(const VemModule* module, uint16_t index) noexcept : module_(module), index_(index) {}

  constexpr const VemModule* module() const noexcept { return module_; }
  constexpr uint16_t index() const noexcept { return index_; }
  constexpr bool valid() const noexcept { return module_ != nullptr && index_ < module_->typeCount; }
  explicit constexpr operator bool() const noexcept { return valid(); }

  const TypeRecord& record() const noexcept { return module_->types[index_]; }
  const ImplEntry& impl() const noexcept { return module_->impls[index_]; }
  std::string_view name() const noexcept { return module_->typeNames + record().nameOffset(); }
  uint8_t kind() const noexcept { return record().kind; }
  bool isEnumeration() const noexcept { return (kind() & 0x7f) == TypeKind::enumeration; }
  bool isEntity() const noexcept { return (kind() & 0x7f) == TypeKind::entity; }
  bool isValue() const noexcept { return (kind() & 0x7f) == TypeKind::value; }
  bool isPolymorphic() const noexcept { return (kind() & TypeKind::polymorphic) != 0; }

  std::span<const MemberRecord> members() const noexcept {
    return {module_->members + record().firstMember, record().memberCount};
  }
  std::string_view memberName(const MemberRecord& m) const noexcept { return module_->memberNames + m.nameOffset(); }
  /// A member of this type or, for a derived type, of one of its bases (whose members it inherits
  /// without listing them).
  const MemberRecord* memberById(uint16_t attributeId) const noexcept;
  const MemberRecord* memberByName(std::string_view name) const noexcept;
  /// The type, this one or a base, whose records list `m`: type references and names in `m` are that
  /// type's module's. An invalid VemType when `m` is none of theirs.
  VemType declaringType(const MemberRecord& m) const noexcept;
  /// The generic interface's handle of `m`, a member of this type or of a base: the declaring type's
  /// member table and the member's index there.
  Lumo::FieldDescriptor fieldOf(const MemberRecord& m) const noexcept;

  /// Constructor parameters (or a member's parameter list): the records from `first` up to the terminator.
  std::span<const ParamRecord> params(uint16_t first) const noexcept;
  std::span<const ParamRecord> ctorParams() const noexcept { return params(record().firstParam); }
  std::string_view paramName(const ParamRecord& p) const noexcept { return module_->memberNames + p.nameOffset(); }
  std::string_view paramTypeName(const ParamRecord& p) const noexcept { return module_->typeNames + p.typeNameOffset; }

  /// Resolves a type reference of this module: a built-in code gives an invalid VemType.
  VemType resolve(int16_t typeRef) const noexcept;
  /// The name of a type reference of this module: a built-in's name or the referenced type's name.
  std::string_view refName(int16_t typeRef) const noexcept;

  /// The base type of a derived type, or an invalid VemType.
  VemType base() const noexcept { return record().baseType >= 0 ? resolve(record().baseType) : VemType(); }
  bool isDerivedFrom(const VemType& other) const noexcept;

  friend constexpr bool operator==(const VemType&, const VemType&) noexcept = default;

 private:
  const VemModule* module_ = nullptr;
  uint16_t index_ = 0;
};

}  // namespace Vem
