// Generic entry points for entity types: references to entities are the values that tools hold, copy
// and hash; factory types can be built from their constructor arguments.
#pragma once

#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/GenericIf.h>

#include <new>

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
  static Lumo::String genericIfStrRep(const void* value, const VemType&, uint32_t) {
    const Ref& ref = *static_cast<const Ref*>(value);
    return ref ? Lumo::String(ref->typeData().name()) : Lumo::String("null");
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
