/// \file
/// A typed convenience layer over the generic entry points, for tools and tests that know no type at
/// compile time: values of any registered or built-in type built from text, and entities read and changed
/// attribute by attribute by name. Everything goes through the registration tables and the entry points.
#pragma once

#include <Lumo/Ptr.h>
#include <Lumo/String.h>
#include <Vem/Entity.h>
#include <Vem/GenericIf.h>
#include <Vem/VemType.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Vem {

/// A tool's misuse of the generic interface (unknown member, operation that does not apply).
class ReflectError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Either a built-in type or a registered one (for entity types the value is a Lumo::Ptr<Vem::Entity>).
class TypeHandle {
 public:
  TypeHandle() = default;
  explicit TypeHandle(const VemType& type) noexcept : type_(type) {}
  static TypeHandle builtin(int16_t code) noexcept;
  /// A type reference of `within`'s module: a built-in code or a type-reference index.
  static TypeHandle ofReference(const VemType& within, int16_t typeRef) noexcept;
  static TypeHandle byName(std::string_view name);  // built-in or registered; raises ReflectError

  bool valid() const noexcept { return methods() != nullptr; }
  bool isEntity() const noexcept { return type_.valid() && type_.isEntity(); }
  const VemType& type() const noexcept { return type_; }
  std::string_view name() const noexcept;
  const GenericIfImpl::ValueMethodsTable* methods() const noexcept;
  std::size_t size() const noexcept;
  std::size_t alignment() const noexcept;

 private:
  VemType type_;
  int16_t builtin_ = 0;
};

/// An owned value of any type, in storage of the type's size and alignment.
class AnyValue {
 public:
  explicit AnyValue(const TypeHandle& type);  // the type's default value
  AnyValue(const TypeHandle& type, std::string_view text);  // parsed; raises RangeException
  AnyValue(const AnyValue& other);
  AnyValue& operator=(const AnyValue& other);
  ~AnyValue();

  const TypeHandle& type() const noexcept { return type_; }
  void* data() noexcept { return data_; }
  const void* data() const noexcept { return data_; }
  template <class T>
  const T& as() const noexcept { return *static_cast<const T*>(data_); }
  Lumo::String text() const;
  /// The generic hash; raises ReflectError for types that have none.
  uint32_t hash() const;

 private:
  TypeHandle type_;
  void* data_ = nullptr;
};

/// An entity reached through the generic interface only.
class GenericEntity {
 public:
  explicit GenericEntity(Lumo::Ptr<Entity> entity);
  /// Builds an entity of a generically constructible type from its name; raises ReflectError otherwise.
  static GenericEntity create(std::string_view typeName, const Lumo::String& name);

  const Lumo::Ptr<Entity>& entity() const noexcept { return entity_; }
  VemType type() const noexcept { return entity_->typeData(); }
  Lumo::String name() const;

  const MemberRecord& member(std::string_view name) const;  // raises ReflectError
  TypeHandle valueType(const MemberRecord& m) const noexcept {
    return TypeHandle::ofReference(type().declaringType(m), m.type);
  }
  TypeHandle keyType(const MemberRecord& m) const noexcept {
    return TypeHandle::ofReference(type().declaringType(m), m.keyType);
  }
  static bool isCollection(const MemberRecord& m) noexcept { return (m.flagsA & MemberFlagsA::collection) != 0; }

  /// Scalars: get and set. Collections: look up, set (instantiating: key only), delete, count, version,
  /// contains. Raise ReflectError when the operation does not apply.
  AnyValue get(std::string_view attribute) const;
  void set(std::string_view attribute, const AnyValue& value);
  AnyValue lookup(std::string_view attribute, const AnyValue& key) const;
  void set(std::string_view attribute, const AnyValue& key, const AnyValue& value);
  void create(std::string_view attribute, const AnyValue& key);
  AnyValue del(std::string_view attribute, const AnyValue& key);
  uint32_t count(std::string_view attribute) const;
  uint32_t version(std::string_view attribute) const;
  bool contains(std::string_view attribute, const AnyValue& key) const;
  /// Walks a collection from its first entry (or from `startKey`) with the generic iterator.
  void forEach(std::string_view attribute, const std::function<void(const AnyValue& key, const AnyValue& value)>& fn,
               const AnyValue* startKey = nullptr) const;

 private:
  int op(const MemberRecord& m, uint8_t code, void* result, const void* arg1, const void* arg2) const;
  Lumo::Ptr<Entity> entity_;
};

}  // namespace Vem
