/// \file
/// The generic attribute operation and iterators of every type, as templates over the per-type lists the
/// compiler emits (`VemReadable` for values, `VemAttributes` for entities). A tool names a member with a
/// field descriptor and an operation code; these run the same getters and setters as direct calls, so
/// announcements are the same.
///
/// Result and argument storage is the caller's, constructed with the member type's value methods:
///   code 0  get / look up          result: the value (entities: Lumo::Ptr<Vem::Entity>)   arg1: key
///   code 1  set / set or create    arg1: value, or key then arg2: value (instantiating: key only;
///                                  references: arg2 a Lumo::Ptr<Vem::Entity>)
///   code 2  delete                 result: the removed value or the default               arg1: key
///   code 3  count, 4 version       result: U32
///   code 5  contains               result: bool                                           arg1: key
///   code 10 nameString             result: Vem::String
///   code 11 truth, 12 equal, 13 less (whole value, null field)   result: bool             arg1: other
/// Results: 0 done, 1 the operation does not apply, 2 the descriptor names no member of this type.
#pragma once

#include <Lumo/Descriptors.h>
#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/Module.h>
#include <Vem/Value.h>

#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

namespace Vem {

namespace ResultCode {
inline constexpr int done = 0;
inline constexpr int notApplicable = 1;
inline constexpr int noSuchMember = 2;
}  // namespace ResultCode

namespace OpCode {
inline constexpr uint8_t get = 0, set = 1, del = 2, count = 3, version = 4, contains = 5, nameString = 10,
                         truth = 11, equal = 12, less = 13;
}  // namespace OpCode

/// A readable member of a value type: a stored field (data member pointer) or a computed member (getter).
template <uint16_t Id, auto Member>
struct Readable {
  static constexpr uint16_t id = Id;
  static constexpr auto member = Member;
};
template <class... R>
struct ReadableList {};

enum class AttrKind : uint8_t { scalar, collection, keyedValues, set, children, child, refs };

/// One entity attribute: its id, kind, storage and generated mutators (null where it has none), and
/// whether the attribute log carries it (an unlogged attribute is each copy's own).
template <uint16_t Id, AttrKind Kind, auto Field, auto Set = nullptr, auto Del = nullptr, bool Logged = true>
struct Attribute {
  static constexpr uint16_t id = Id;
  static constexpr AttrKind kind = Kind;
  static constexpr auto field = Field;
  static constexpr auto set = Set;
  static constexpr auto del = Del;
  static constexpr bool logged = Logged;
};
template <class... A>
struct AttributeList {};

/// A method reachable through the generic interface: code 0 calls it with arguments 1 and 2 (as many as
/// it takes) and writes its result, if it has one.
template <uint16_t Id, auto Fn>
struct Method {
  static constexpr uint16_t id = Id;
  static constexpr auto fn = Fn;
};
template <class... M>
struct MethodList {};

namespace GenericIfImpl {

/// How a method's argument of type P is read from the caller's storage, which holds the value as the
/// parameter type's registered methods build it: a P for values.
template <class P>
struct MethodArg {
  static bool fits(const void*) noexcept { return true; }
  static const P& read(const void* argument) noexcept { return *static_cast<const P*>(argument); }
};
/// An entity parameter (`Lumo::Ptr<const T>`): the caller holds a Lumo::Ptr<Vem::Entity> for an entity
/// type of a definition, whose dynamic type must be T or derive from it (null passes), and a Lumo::Ptr<T>
/// for a platform entity type.
template <class T>
struct MethodArg<Lumo::Ptr<const T>> {
  static constexpr bool definedEntity = std::is_base_of_v<Entity, T>;
  using Held = std::conditional_t<definedEntity, Lumo::Ptr<Entity>, Lumo::Ptr<T>>;
  static bool fits(const void* argument) noexcept {
    if constexpr (definedEntity) {
      const Held& held = *static_cast<const Held*>(argument);
      return !held || held->typeData().isDerivedFrom(T::vemType());
    } else {
      return true;
    }
  }
  static Lumo::Ptr<const T> read(const void* argument) noexcept {
    const Held& held = *static_cast<const Held*>(argument);
    if constexpr (definedEntity)
      return Lumo::Ptr<const T>(static_cast<const T*>(held.get()));
    else
      return held;
  }
};

template <class F>
struct MethodTraits;
template <class R, class C, class... P>
struct MethodTraits<R (C::*)(P...) const> {
  static_assert(sizeof...(P) <= 2, "the generic interface passes at most two arguments");
  using Result = R;
  static constexpr std::size_t arity = sizeof...(P);
  /// Every argument the method takes is given, and of its parameter's type.
  static bool argumentsFit(const void* a1, const void* a2) noexcept {
    const void* args[] = {a1, a2, nullptr};
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return ((args[I] != nullptr && MethodArg<std::remove_cvref_t<P>>::fits(args[I])) && ...);
    }(std::index_sequence_for<P...>{});
  }
  template <class Obj, class Fn>
  static R call(Obj& o, Fn fn, const void* a1, const void* a2) {
    const void* args[] = {a1, a2, nullptr};
    return [&]<std::size_t... I>(std::index_sequence<I...>) -> R {
      return (o.*fn)(MethodArg<std::remove_cvref_t<P>>::read(args[I])...);
    }(std::index_sequence_for<P...>{});
  }
};
template <class R, class C, class... P>
struct MethodTraits<R (C::*)(P...) const noexcept> : MethodTraits<R (C::*)(P...) const> {};

/// Runs method M on `object` if its id is `id`; rc is left alone otherwise. A missing argument or an
/// entity argument of another type does not apply, and nothing is called.
template <class M, class T>
void methodOp(const T& object, uint16_t id, uint8_t op, void* result, const void* a1, const void* a2, int& rc) {
  if (M::id != id) return;
  using Traits = MethodTraits<std::remove_const_t<decltype(M::fn)>>;
  if (op != OpCode::get || !Traits::argumentsFit(a1, a2)) {
    rc = ResultCode::notApplicable;
    return;
  }
  if constexpr (std::is_void_v<typename Traits::Result>)
    Traits::call(object, M::fn, a1, a2);
  else
    *static_cast<std::remove_cvref_t<typename Traits::Result>*>(result) = Traits::call(object, M::fn, a1, a2);
  rc = ResultCode::done;
}

template <class T>
void methodsOp(const T& object, uint16_t id, uint8_t op, void* result, const void* a1, const void* a2, int& rc) {
  if constexpr (requires { typename T::VemMethods; })
    // The list may be empty.
    []<class... M>(MethodList<M...>, [[maybe_unused]] const T& o, [[maybe_unused]] uint16_t i, [[maybe_unused]] uint8_t c,
                   [[maybe_unused]] void* r, [[maybe_unused]] const void* x, [[maybe_unused]] const void* y,
                   [[maybe_unused]] int& out) {
      (methodOp<M>(o, i, c, r, x, y, out), ...);
    }(typename T::VemMethods{}, object, id, op, result, a1, a2, rc);
}

/// The attribute id a field descriptor names, if it names a member of `type` or of one of its bases.
inline bool memberIdOf(const VemType& type, const void* field, uint16_t* id) noexcept {
  const auto* fd = static_cast<const Lumo::FieldDescriptor*>(field);
  uint16_t index = fd->index();
  for (VemType t = type; t.valid(); t = t.base()) {
    if (fd->memberTable != t.module()->members) continue;
    const TypeRecord& r = t.record();
    if (index < r.firstMember || index >= r.firstMember + r.memberCount) continue;
    *id = t.module()->members[index].attributeId;
    return true;
  }
  return false;
}

template <class T>
int valueAttributeOp(void* result, void* object, const void* field, uint8_t op, const void* arg1, const void* arg2) {
  const T& v = *static_cast<const T*>(object);
  if (field == nullptr) {
    switch (op) {
      case OpCode::truth: *static_cast<bool*>(result) = !(v == T{}); return ResultCode::done;
      case OpCode::equal: *static_cast<bool*>(result) = v == *static_cast<const T*>(arg1); return ResultCode::done;
      case OpCode::less:
        if constexpr (requires { v <=> v; } || requires { v < v; }) {
          *static_cast<bool*>(result) = ValueTraits<T>::compare(v, *static_cast<const T*>(arg1)) < 0;
          return ResultCode::done;
        } else {
          return ResultCode::notApplicable;  // a type without an order
        }
      default: return ResultCode::notApplicable;
    }
  }
  if constexpr (!requires { typename T::VemReadable; }) {
    return ResultCode::noSuchMember;  // platform values register no members
  } else {
  uint16_t id;
  if (!memberIdOf(T::vemType(), field, &id)) return ResultCode::noSuchMember;
  int rc = ResultCode::notApplicable;  // a member that is not readable (methods, constants)
  []<class... R>(ReadableList<R...>, const T& x, uint16_t want, uint8_t code, void* out, int& r) {
    [[maybe_unused]] auto one = [&]<class M>(M) {
      if (M::id != want) return;
      if (code != OpCode::get) return;
      if constexpr (std::is_member_function_pointer_v<decltype(M::member)>) {
        using Out = std::remove_cvref_t<decltype((x.*M::member)())>;
        *static_cast<Out*>(out) = (x.*M::member)();
      } else {
        using Out = std::remove_cvref_t<decltype(x.*M::member)>;
        *static_cast<Out*>(out) = x.*M::member;
      }
      r = ResultCode::done;
    };
    (one(R{}), ...);
  }(typename T::VemReadable{}, v, id, op, result, rc);
  methodsOp(v, id, op, result, arg1, arg2, rc);
  return rc;
  }
}

/// Types with no members and no whole-value operations (platform entities, which are only passed to
/// methods).
inline int memberlessAttributeOp(void*, void*, const void* field, uint8_t, const void*, const void*) noexcept {
  return field == nullptr ? ResultCode::notApplicable : ResultCode::noSuchMember;
}

/// Enumerations: whole-value operations on the holding integer.
template <class U>
int enumAttributeOp(void* result, void* object, const void* field, uint8_t op, const void* arg1, const void*) {
  if (field != nullptr) return ResultCode::noSuchMember;
  U v = *static_cast<const U*>(object);
  switch (op) {
    case OpCode::truth: *static_cast<bool*>(result) = v != 0; return ResultCode::done;
    case OpCode::equal: *static_cast<bool*>(result) = v == *static_cast<const U*>(arg1); return ResultCode::done;
    case OpCode::less: *static_cast<bool*>(result) = v < *static_cast<const U*>(arg1); return ResultCode::done;
    default: return ResultCode::notApplicable;
  }
}

template <class Map>
int collectionCommonOp(const Map& map, void* result, uint8_t op, const void* arg1) {
  switch (op) {
    case OpCode::count: *static_cast<uint32_t*>(result) = static_cast<uint32_t>(map.size()); return ResultCode::done;
    case OpCode::version: *static_cast<uint32_t*>(result) = map.version() & 0x7fffff; return ResultCode::done;
    case OpCode::contains:
      *static_cast<bool*>(result) = map.contains(*static_cast<const typename Map::Key*>(arg1));
      return ResultCode::done;
    default: return ResultCode::notApplicable;
  }
}

/// Calls a creator with the key; further constructor arguments of the child take their defaults.
template <class T, class R, class C, class K, class... Rest>
void callWithKey(T& e, R (C::*creator)(K, Rest...), const std::remove_cvref_t<K>& key) {
  (e.*creator)(key, std::remove_cvref_t<Rest>{}...);
}

template <class T, class R, class C, class K, class... Rest>
void callWithKeyAt(T& e, R (C::*creator)(K, Rest...), const void* key) {
  (e.*creator)(*static_cast<const std::remove_cvref_t<K>*>(key), std::remove_cvref_t<Rest>{}...);
}

template <class A, class T>
int attributeOp(T& e, void* result, uint8_t op, const void* arg1, const void* arg2) {
  auto& stored = e.*A::field;
  using Stored = std::remove_cvref_t<decltype(stored)>;
  using EntityRef = Lumo::Ptr<Entity>;
  if constexpr (A::kind == AttrKind::scalar) {
    if (op == OpCode::get) {
      *static_cast<Stored*>(result) = stored;
      return ResultCode::done;
    }
    if constexpr (A::set != nullptr) {
      if (op == OpCode::set) {
        (e.*A::set)(*static_cast<const Stored*>(arg1));
        return ResultCode::done;
      }
    }
    return ResultCode::notApplicable;
  } else if constexpr (A::kind == AttrKind::child) {
    if (op == OpCode::get) {
      *static_cast<EntityRef*>(result) = stored;
      return ResultCode::done;
    }
    if (op == OpCode::set) {
      callWithKeyAt(e, A::set, arg1);
      return ResultCode::done;
    }
    return ResultCode::notApplicable;
  } else {
    using Key = typename Stored::Key;
    const Key* key = static_cast<const Key*>(arg1);
    switch (op) {
      case OpCode::get: {
        if constexpr (A::kind == AttrKind::set) {
          *static_cast<bool*>(result) = stored.contains(*key);
        } else {
          using V = typename Stored::Value;
          const V* found = stored.find(*key);
          if constexpr (A::kind == AttrKind::children || A::kind == AttrKind::refs)
            *static_cast<EntityRef*>(result) = found ? EntityRef(*found) : EntityRef();
          else
            *static_cast<V*>(result) = found ? *found : V{};
        }
        return ResultCode::done;
      }
      case OpCode::set:
        if constexpr (A::kind == AttrKind::collection) {
          (e.*A::set)(*key, *static_cast<const typename Stored::Value*>(arg2));
        } else if constexpr (A::kind == AttrKind::keyedValues) {
          (e.*A::set)(*static_cast<const typename Stored::Value*>(arg2));  // the value carries its key
        } else if constexpr (A::kind == AttrKind::refs) {
          using Ref = typename Stored::Value;
          using Child = std::remove_cvref_t<decltype(*std::declval<Ref>())>;
          const EntityRef& given = *static_cast<const EntityRef*>(arg2);
          if (given && !given->typeData().isDerivedFrom(Child::vemType())) return ResultCode::notApplicable;
          (e.*A::set)(Ref(static_cast<Child*>(given.get())));
        } else {
          callWithKey(e, A::set, *key);  // sets and instantiating collections take the key alone
        }
        return ResultCode::done;
      case OpCode::del:
        if constexpr (A::kind == AttrKind::children || A::kind == AttrKind::refs)
          *static_cast<EntityRef*>(result) = (e.*A::del)(*key);
        else if constexpr (A::kind == AttrKind::set)
          *static_cast<bool*>(result) = (e.*A::del)(*key);
        else
          *static_cast<typename Stored::Value*>(result) = (e.*A::del)(*key);
        return ResultCode::done;
      default:
        return collectionCommonOp(stored, result, op, arg1);
    }
  }
}

template <class T>
int entityAttributeOp(void* result, void* object, const void* field, uint8_t op, const void* arg1, const void* arg2) {
  if (field == nullptr) return ResultCode::notApplicable;
  T& e = *static_cast<T*>(object);
  uint16_t id;
  if (!memberIdOf(T::vemType(), field, &id)) return ResultCode::noSuchMember;
  if constexpr (requires { e.name(); }) {
    if (id == 154) {
      if (op != OpCode::nameString) return ResultCode::notApplicable;
      *static_cast<Lumo::String*>(result) = e.name();
      return ResultCode::done;
    }
  }
  // The id is a member of the type: one the interface cannot reach (a static method, a constant) does not apply.
  int rc = ResultCode::notApplicable;
  [&]<class... A>(AttributeList<A...>) {
    (void)((A::id == id ? (rc = attributeOp<A>(e, result, op, arg1, arg2), true) : false) || ...);
  }(typename T::VemAttributes{});
  methodsOp(static_cast<const T&>(e), id, op, result, arg1, arg2, rc);
  return rc;
}

// ---- iterators ------------------------------------------------------------------------------------

class GenericIterator {
 public:
  virtual ~GenericIterator() = default;
  virtual bool nonnull() const = 0;
  virtual void inc() = 0;
  virtual void key(void* destination) const = 0;
  virtual void obj(void* destination) const = 0;
};

/// The iterator operations a tool calls; genericIfIterator hands them out with each iterator.
struct IteratorOps {
  void (*iterObj)(AttributeId, void* iterator, void* destination);
  void (*iterKey)(AttributeId, void* iterator, void* destination);
  bool (*iterNonnull)(AttributeId, void* iterator);
  void (*iterInc)(AttributeId, void* iterator);
  void (*iterDel)(AttributeId, void* iterator);
};
void iterObj(AttributeId, void* iterator, void* destination);
void iterKey(AttributeId, void* iterator, void* destination);
bool iterNonnull(AttributeId, void* iterator);
void iterInc(AttributeId, void* iterator);
void iterDel(AttributeId, void* iterator);
extern const IteratorOps kIteratorOps;

template <class A, class Map>
class CollectionIterator final : public GenericIterator {
 public:
  CollectionIterator(const Map& map, const void* startKey)
      : it_(startKey ? map.lowerBound(*static_cast<const typename Map::Key*>(startKey)) : map.begin()) {}
  bool nonnull() const override { return it_.valid(); }
  void inc() override { it_.next(); }
  void key(void* destination) const override { *static_cast<typename Map::Key*>(destination) = it_.key(); }
  void obj(void* destination) const override {
    if constexpr (A::kind == AttrKind::set)
      *static_cast<bool*>(destination) = true;
    else if constexpr (A::kind == AttrKind::children || A::kind == AttrKind::refs)
      *static_cast<Lumo::Ptr<Entity>*>(destination) = it_.value();
    else
      *static_cast<typename Map::Value*>(destination) = it_.value();
  }

 private:
  typename Map::Iterator it_;
};

template <class T>
void* entityIterator(void* entity, const void* startKey, const void* field, const void** iteratorOps) {
  if (field == nullptr) return nullptr;
  T& e = *static_cast<T*>(entity);
  uint16_t id;
  if (!memberIdOf(T::vemType(), field, &id)) return nullptr;
  GenericIterator* made = nullptr;
  [&]<class... A>(AttributeList<A...>) {
    [[maybe_unused]] auto one = [&]<class Attr>(Attr) {
      if constexpr (Attr::kind != AttrKind::scalar && Attr::kind != AttrKind::child) {
        if (Attr::id == id) {
          using Map = std::remove_cvref_t<decltype(e.*Attr::field)>;
          made = new (std::nothrow) CollectionIterator<Attr, Map>(e.*Attr::field, startKey);
        }
      }
    };
    (one(A{}), ...);
  }(typename T::VemAttributes{});
  if (made != nullptr && iteratorOps != nullptr) *iteratorOps = &kIteratorOps;
  return made;
}

}  // namespace GenericIfImpl
}  // namespace Vem
