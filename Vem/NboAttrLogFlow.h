/// \file
/// Flow-out records: what an attribute-log stream adapter still owes its receiver after the output ran
/// out of room. The base keeps the per-attribute bits (collections: synced by a whole pass; scalars:
/// dirty) and the bookmark of an interrupted collection pass; FlowOutFor<T> adds, per collection of the
/// entity type T, the set of keys changed and not yet sent, the "last entry deferred" bit, and for
/// instantiating collections the ephemeral key set.
#pragma once

#include <Lumo/Allocator.h>
#include <Lumo/Node.h>
#include <Lumo/String.h>
#include <Vem/Entity.h>
#include <Vem/GenericIfOps.h>
#include <Vem/HashMap2018.h>
#include <Vem/RbTreeMap.h>

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Vem {

// ---- walking an entity type's attribute list ---------------------------------------------------

template <class List>
struct AttrCount;
template <class... A>
struct AttrCount<AttributeList<A...>> {
  static constexpr std::size_t value = sizeof...(A);
};
template <std::size_t I, class List>
struct AttrAtImpl;
template <std::size_t I, class... A>
struct AttrAtImpl<I, AttributeList<A...>> {
  using type = std::tuple_element_t<I, std::tuple<A...>>;
};
template <std::size_t I, class List>
using AttrAt = typename AttrAtImpl<I, List>::type;

/// Calls fn.template operator()<I>() for each attribute position in order; stops at the first true.
template <class List, class Fn>
bool anyAttr(Fn&& fn) {
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return (fn.template operator()<I>() || ...);
  }(std::make_index_sequence<AttrCount<List>::value>{});
}

template <class T, class A>
using StoredOf = std::remove_cvref_t<decltype(std::declval<T&>().*A::field)>;

constexpr bool isKeyedKind(AttrKind k) noexcept {
  return k == AttrKind::collection || k == AttrKind::keyedValues || k == AttrKind::set || k == AttrKind::children ||
         k == AttrKind::refs;
}

/// The key form of a collection's dirty-key set: the collection's own where it has one.
template <class K>
struct DefaultKeyForm {
  using type = std::conditional_t<
      std::is_same_v<K, Lumo::String>, KeyStringLegacy,
      std::conditional_t<std::is_integral_v<K> || std::is_enum_v<K>,
                         std::conditional_t<(sizeof(K) > 4), KeyU64, KeyU32>,
                         std::conditional_t<requires(const K& k) { k.hash(0u); }, KeyAndRhashSeedArg, KeyAndRhashLegacy>>>;
};
template <class C>
struct CollectionKeyForm {
  using type = typename DefaultKeyForm<typename C::Key>::type;
};
template <class N>
struct CollectionKeyForm<HashMap2018<N>> {
  using type = typename N::KeyForm;
};
template <class N>
struct CollectionKeyForm<HSet<N>> {
  using type = typename N::KeyForm;
};

template <class K, class Form>
using DirtyKeySet = HSet<HashMap2018SetNode<K, Form, 0x6b1d2e0fu>>;

namespace NboAttrLog {

class FlowOut : public Lumo::Node {
 public:
  static constexpr std::size_t kMaxAttributes = 256;

  FlowOut(Entity::VemNboAttrLogSa* adapter, int32_t startAttribute, const AttributeId* ids, std::size_t count) noexcept
      : adapter_(adapter), ids_(ids), count_(count), start_(startAttribute) {
    assert(count <= kMaxAttributes && "Vem/NboAttrLogFlow: too many attributes for a flow-out record");
  }
  ~FlowOut() override { bookmarkFree(); }

  virtual bool hasDirtyCollKeys() const { return false; }

  Entity::VemNboAttrLogSa* adapter() const noexcept { return adapter_; }
  int32_t startAttribute() const noexcept { return start_; }

  /// Collections: fully sent by a whole pass. Scalars: changed and not yet sent. By attribute id; an id
  /// the type does not have reads false and is not stored.
  bool vemHasSynced(AttributeId id) const noexcept { return bit(synced_, id); }
  void vemHasSyncedIs(AttributeId id, bool on) noexcept { bitIs(synced_, id, on); }
  bool vemIsDirty(AttributeId id) const noexcept { return bit(dirty_, id); }
  void vemIsDirtyIs(AttributeId id, bool on) noexcept { bitIs(dirty_, id, on); }
  /// Collections: whether the last entry handed to the adapter was deferred (vemIs<Attribute>Dirty_).
  bool vemIsCollDirty(AttributeId id) const noexcept { return bit(collDirty_, id); }
  void vemIsCollDirtyIs(AttributeId id, bool on) noexcept { bitIs(collDirty_, id, on); }
  bool anyScalarDirty() const noexcept {
    for (uint64_t w : dirty_)
      if (w != 0) return true;
    return false;
  }

  /// The bookmark of an interrupted collection pass: a heap copy of the key to resume at, and the
  /// collection's layout when it was taken (a pass resumed on another layout starts again).
  bool hasBookmark() const noexcept { return bookmark_ != nullptr; }
  AttributeId bookmarkAttribute() const noexcept { return bookmarkAttr_; }
  uint32_t bookmarkLayout() const noexcept { return bookmarkLayout_; }
  template <class K>
  void bookmarkIs(AttributeId id, const K& key, uint32_t layout) {
    assert(bookmark_ == nullptr && "Vem/NboAttrLogFlow: a second bookmark while one is held");
    bookmark_ = new K(key);
    bookmarkDelete_ = [](void* p) { delete static_cast<K*>(p); };
    bookmarkAttr_ = id;
    bookmarkLayout_ = layout;
  }
  template <class K>
  K bookmarkTake() {
    assert(bookmark_ != nullptr && "Vem/NboAttrLogFlow: no bookmark to take");
    K key = std::move(*static_cast<K*>(bookmark_));
    bookmarkFree();
    return key;
  }
  void bookmarkFree() noexcept {
    if (bookmark_ == nullptr) return;
    bookmarkDelete_(bookmark_);
    bookmark_ = nullptr;
    bookmarkAttr_ = 0;
  }

 private:
  int position(AttributeId id) const noexcept {
    for (std::size_t i = 0; i < count_; ++i)
      if (ids_[i] == id) return static_cast<int>(i);
    return -1;
  }
  bool bit(const uint64_t (&w)[4], AttributeId id) const noexcept {
    int p = position(id);
    return p >= 0 && (w[p / 64] >> (p % 64) & 1) != 0;
  }
  void bitIs(uint64_t (&w)[4], AttributeId id, bool on) noexcept {
    int p = position(id);
    if (p < 0) return;
    const uint64_t m = uint64_t{1} << (p % 64);
    w[p / 64] = on ? (w[p / 64] | m) : (w[p / 64] & ~m);
  }

  Entity::VemNboAttrLogSa* adapter_;
  const AttributeId* ids_;
  std::size_t count_;
  int32_t start_;
  uint64_t synced_[4] = {};
  uint64_t dirty_[4] = {};
  uint64_t collDirty_[4] = {};
  void* bookmark_ = nullptr;
  void (*bookmarkDelete_)(void*) = nullptr;
  AttributeId bookmarkAttr_ = 0;
  uint32_t bookmarkLayout_ = 0;
};

/// What a flow-out record holds for one attribute: nothing for scalars, the dirty-key set for
/// collections, and the ephemeral set as well for instantiating collections.
template <class T, class A, bool Keyed = isKeyedKind(A::kind)>
struct FlowSlot {};
template <class T, class A>
struct FlowSlot<T, A, true> {
  using Stored = StoredOf<T, A>;
  using Key = typename Stored::Key;
  using Set = DirtyKeySet<Key, typename CollectionKeyForm<Stored>::type>;
  Set dirty;
};
template <class T, class A>
  requires(A::kind == AttrKind::children)
struct FlowSlot<T, A, true> {
  using Stored = StoredOf<T, A>;
  using Key = typename Stored::Key;
  using Set = DirtyKeySet<Key, typename CollectionKeyForm<Stored>::type>;
  Set dirty;
  Set ephemeral;
};

template <class T>
class FlowOutFor final : public FlowOut {
  using Attrs = typename T::VemAttributes;
  static constexpr std::size_t N = AttrCount<Attrs>::value;
  template <std::size_t... I>
  static auto slotsOf(std::index_sequence<I...>) -> std::tuple<FlowSlot<T, AttrAt<I, Attrs>>...>;
  using Slots = decltype(slotsOf(std::make_index_sequence<N>{}));
  static constexpr auto kIds = []<std::size_t... I>(std::index_sequence<I...>) {
    return std::array<AttributeId, N == 0 ? 1 : N>{AttrAt<I, Attrs>::id...};
  }(std::make_index_sequence<N>{});

 public:
  FlowOutFor(Entity::VemNboAttrLogSa* adapter, int32_t startAttribute) noexcept
      : FlowOut(adapter, startAttribute, kIds.data(), N) {}

  template <std::size_t I>
  auto& dirtyKeys() noexcept {
    return std::get<I>(slots_).dirty;
  }
  template <std::size_t I>
  auto& ephemeralKeys() noexcept {
    return std::get<I>(slots_).ephemeral;
  }

  bool hasDirtyCollKeys() const override {
    return anyAttr<Attrs>([&]<std::size_t I>() {
      if constexpr (isKeyedKind(AttrAt<I, Attrs>::kind))
        return !std::get<I>(slots_).dirty.empty();
      else
        return false;
    });
  }

  static inline Lumo::AllocationTracker memAllocationTracker_{nullptr};
  static void* operator new(std::size_t size) { return memAllocationTracker_.allocate(size); }
  static void operator delete(void* p, std::size_t size) noexcept { memAllocationTracker_.deallocate(p, size); }

 private:
  Slots slots_;
};

}  // namespace NboAttrLog
}  // namespace Vem
