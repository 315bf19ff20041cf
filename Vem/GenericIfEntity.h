/// \file
/// Generic entry points for entity types: references to entities are the values that tools hold, copy
/// and hash; factory types can be built from their constructor arguments.
#pragma once

#include <Lumo/Descriptors.h>
#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/GenericIf.h>

#include <new>
#include <string>
#include <type_traits>
#include <utility>

namespace Vem::GenericIfImpl {

template <class E>
struct GenericIfPtrInterfaceMethods {
  using Ref = Lumo::Ptr<E>;
  static void genericIfConstruct(void* destination, const void* source) {
    if (source != nullptr)
      new (destination) Ref(*static_cast<const Ref*>(source));
    else
      new (destination) Ref();
  }
  static void genericIfDestruct(void* value) { static_cast<Ref*>(value)->~Ref(); }
  static void genericIfStrepToValue(void*, const Lumo::String&, const VemType& type, uint32_t) {
    throw RangeException(std::string(type.name()) + ": an entity reference cannot be parsed from text");
  }
  /// "Type(name)" for entities built from a name, else the type's name alone; "null" for no entity.
  static Lumo::String genericIfStrRep(const void* value, const VemType& type, uint32_t) {
    const Ref& ref = *static_cast<const Ref*>(value);
    if (!ref) return Lumo::String("null");
    if constexpr (std::is_base_of_v<Entity, E>)
      return entityText(*ref);
    else
      return Lumo::String(type.name());  // a platform entity: no registered name to read
  }
  static Lumo::String entityText(Entity& entity) {
    VemType t = entity.typeData();
    std::string text(t.name());
    if (const MemberRecord* m = t.memberById(154); m != nullptr && t.impl().attributeOp != nullptr) {
      const Lumo::FieldDescriptor field = t.fieldOf(*m);  // a derived type inherits nameString
      Lumo::String name;
      if (t.impl().attributeOp(&name, &entity, &field, 10, nullptr, nullptr) == 0)
        text += "(" + name.stdString() + ")";
    }
    return Lumo::String(text);
  }
  static uint32_t genericIfHash(const void* value, const VemType&) {
    return hashSingleAttr(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(static_cast<const Ref*>(value)->get())), 0);
  }

  static constexpr ValueMethodsTable table{&genericIfConstruct, &genericIfDestruct, &genericIfStrepToValue,
                                           &genericIfStrRep,    nullptr,             nullptr,
                                           &genericIfHash,      &genericIfVoidPtrIs};
};

/// Builds a Lumo::Ptr<Vem::Entity> in place from pointers to the constructor arguments, in order.
template <class T, class... P>
void constructEntityFromCtorArgs(void* destination, const void* const* arguments) {
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    new (destination) Lumo::Ptr<Entity>(Lumo::newNode<T>(*static_cast<const P*>(arguments[I])...));
  }(std::index_sequence_for<P...>{});
}

/// Creates an entity of a top-level type by name. With a directory (a Vem::Entity), the entity is made
/// inside it: through the directory's instantiating collection of this type, or filed in its collection of
/// references to this type. Returns the entity with one user, which the caller takes over; null when the
/// directory holds no collection of this type.
template <class T>
void* newEntityForDir(const void* name, void* directory) {
  const Lumo::String& key = *static_cast<const Lumo::String*>(name);
  if (directory == nullptr) return Lumo::newNode<T>(key).release();
  Entity* dir = static_cast<Entity*>(directory);
  const VemType dirType = dir->typeData();
  for (const MemberRecord& m : dirType.members()) {
    if ((m.flagsA != 0xdd21 && m.flagsA != 0xdc21) || dirType.resolve(m.type) != T::vemType()) continue;
    const Lumo::FieldDescriptor field = dirType.fieldOf(m);
    Lumo::Ptr<Entity> made;
    if (m.flagsA == 0xdc21) {
      made = Lumo::newNode<T>(key);
      dirType.impl().attributeOp(nullptr, dir, &field, 1, &key, &made);
    } else {
      dirType.impl().attributeOp(nullptr, dir, &field, 1, &key, nullptr);
      dirType.impl().attributeOp(&made, dir, &field, 0, &key, nullptr);
    }
    return made.release();
  }
  return nullptr;
}

}  // namespace Vem::GenericIfImpl
