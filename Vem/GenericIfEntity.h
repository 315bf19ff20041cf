// Generic entry points for entity types: references to entities are the values that tools hold, copy
// and hash; factory types can be built from their constructor arguments.
#pragma once

#include <Lumo/Descriptors.h>
#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/GenericIf.h>

#include <new>
#include <string>

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
  // "Type(name)" for entities built from a name, else the type's name alone; "null" for no entity.
  static Lumo::String genericIfStrRep(const void* value, const VemType&, uint32_t) {
    const Ref& ref = *static_cast<const Ref*>(value);
    if (!ref) return Lumo::String("null");
    VemType t = ref->typeData();
    std::string text(t.name());
    if (const MemberRecord* m = t.memberById(154); m != nullptr && t.impl().attributeOp != nullptr) {
      auto field = Lumo::FieldDescriptor::of(t.module()->members, static_cast<uint16_t>(m - t.module()->members));
      Lumo::String name;
      if (t.impl().attributeOp(&name, ref.get(), &field, 10, nullptr, nullptr) == 0) text += "(" + name.stdString() + ")";
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

// Builds a Lumo::Ptr<Vem::Entity> in place from the one constructor argument of entities, their name.
template <class T>
void constructEntityFromCtorArgs(void* destination, const void* const* arguments) {
  new (destination) Lumo::Ptr<Entity>(Lumo::newNode<T>(*static_cast<const Lumo::String*>(arguments[0])));
}

}  // namespace Vem::GenericIfImpl
