/// \file
/// Keyed collections of entities: HashMap2018 (key to value) and HSet (keys only), thin typed fronts
/// over the collection engine. Generated code names a node type and holds one:
///
///   using HN_Ports = Vem::HashMap2018Node<Lumo::String, bool, Vem::KeyStringLegacy, 0x5a1e9b27u>;
///   Vem::HashMap2018<HN_Ports> ports_;
///
/// Every change (insert, value change, erase, clear) moves version() on; setting an entry to the value
/// it has is not a change. Deletion marks support full resends: mark everything, set what is still
/// there (which unmarks it), then erase what is still marked.
#pragma once

#include <Vem/HashMap2018Engine.h>

#include <new>
#include <utility>

namespace Vem {

template <class Node>
class HashMap2018 {
  using Engine = HashMap2018Engine<Node>;
  using Place = typename Engine::Place;

 public:
  using Key = typename Node::Key;
  using Value = typename Node::Value;
  using Iterator = typename Engine::Iterator;
  using SetResult = Vem::SetResult;

  std::size_t size() const noexcept { return engine_.size(); }
  bool empty() const noexcept { return engine_.size() == 0; }
  uint32_t version() const noexcept { return engine_.version(); }

  const Value* find(const Key& k) const noexcept {
    const Node* n = engine_.find(k);
    return n != nullptr ? &Node::valueOf(*n) : nullptr;
  }
  bool contains(const Key& k) const noexcept { return engine_.find(k) != nullptr; }

  /// Inserts or replaces. `unchanged` leaves the entry as it is, but the set still clears its deletion
  /// mark; `replaced` moves the old value to *oldOut when given.
  SetResult set(const Key& k, const Value& v, Value* oldOut = nullptr, const Value** storedOut = nullptr)
    requires(!requires { Node::keysOnly; })
  {
    if constexpr (requires { Node::internalKey; })
      assert(KeyOrder<Key>::equal(k, Node::keyOfValue(v)) && "Vem/HashMap2018: key differs from the value's own");
    return setNode(k, v, oldOut, storedOut);
  }
  /// For nodes that hold only a value carrying its key.
  SetResult set(const Value& v, Value* oldOut = nullptr, const Value** storedOut = nullptr)
    requires requires { Node::internalKey; }
  {
    return set(Node::keyOfValue(v), v, oldOut, storedOut);
  }

  bool erase(const Key& k, Value* removedOut = nullptr) {
    if (engine_.size() == 0) return false;
    const Place p = engine_.locate(k);
    if (!p.found) return false;
    engine_.eraseAt(p, [&](Node& n, bool movable) {
      if (removedOut == nullptr) return;
      if (movable)
        *removedOut = std::move(Node::valueOf(n));
      else
        *removedOut = Node::valueOf(n);
    });
    return true;
  }

  void clear() noexcept { engine_.clear(); }

  Iterator begin() const noexcept { return engine_.begin(); }
  std::default_sentinel_t end() const noexcept { return {}; }
  /// At the key when present, else where the map would place it (the next key in iteration order).
  Iterator lowerBound(const Key& k) const noexcept { return engine_.lowerBound(k); }

  /// Calls fn(key, value) for each entry, in iteration order.
  template <class Fn>
  void forEach(Fn&& fn) const {
    for (Iterator it = begin(); it.valid(); it.next()) fn(it.key(), Node::valueOf(it.node()));
  }

  /// ---- deletion marks ----
  void markAllForDeletion() { engine_.markAllForDeletion(); }
  // Called after every entry a mirror applies; only during a full resend is anything marked.
  [[gnu::always_inline]] void unmark(const Key& k) {
    if (engine_.markedCount() != 0) [[unlikely]]
      unmarkMarked(k);
  }
  bool isMarked(const Key& k) const noexcept {
    if (engine_.markedCount() == 0) return false;
    const Place p = engine_.locate(k);
    return p.found && engine_.markedAt(p);
  }
  std::size_t markedCount() const noexcept { return engine_.markedCount(); }
  /// Erases every marked entry, calling fn(key, removedValue) for each once it has left the map.
  template <class Fn>
  void eraseMarked(Fn&& fn) {
    engine_.eraseMarked([&](Node& n) { fn(Node::keyOf(n), Node::valueOf(n)); });
  }

  std::size_t bucketCount() const noexcept { return engine_.bucketCount(); }
  std::size_t allocatedBytes() const noexcept { return engine_.allocatedBytes(); }

 protected:
  /// `storedOut`, when given, learns where a replaced value now sits; after an insert it stays as it was
  /// (the node's final place is the engine's business).
  SetResult setNode(const Key& k, const Value& v, Value* oldOut, const Value** storedOut) {
    const Place p = engine_.locateForWrite(k);
    if (p.found) {
      if constexpr (requires { Node::keysOnly; }) {
        engine_.unmarkAt(p);
        return SetResult::unchanged;
      } else {
        if (Node::valueOf(engine_.nodeAt(p)) == v) {
          if (engine_.markedCount() != 0) engine_.unmarkAt(p);
          return SetResult::unchanged;
        }
        Value& stored = Node::valueOf(engine_.ownedNodeAt(p));
        if (oldOut != nullptr) *oldOut = std::move(stored);
        stored = v;
        if (engine_.markedCount() != 0) engine_.unmarkAt(p);
        engine_.valueChanged();
        if (storedOut != nullptr) *storedOut = &stored;
        return SetResult::replaced;
      }
    }
    insertNew(p, k, v);
    return SetResult::inserted;
  }
  // Out of line, so that the update of a present key (a lookup and a store) inlines into its caller
  // without the insert path's frame and spills. The node is built here from the key and the value
  // themselves: a builder passed in would be a closure made in memory on every set.
  [[gnu::noinline]] void insertNew(Place p, const Key& k, const Value& v) {
    alignas(Node) unsigned char storage[sizeof(Node)];
    if constexpr (requires { Node::keysOnly; })
      ::new (static_cast<void*>(storage)) Node{k};
    else if constexpr (requires { Node::internalKey; })
      ::new (static_cast<void*>(storage)) Node{v};
    else
      ::new (static_cast<void*>(storage)) Node{k, v};
    engine_.insertAt(p, std::launder(reinterpret_cast<Node*>(storage)));  // consumes the node
  }
  [[gnu::noinline]] void unmarkMarked(const Key& k) {
    const Place p = engine_.locate(k);
    if (p.found) engine_.unmarkAt(p);
  }
  Engine engine_;
};

/// A set: the keys are all that matter; every value reads `true`.
template <class Node>
class HSet : public HashMap2018<Node> {
  using Base = HashMap2018<Node>;

 public:
  using Key = typename Node::Key;
  /// True when the key was not there. Inserting a present key clears its deletion mark.
  bool insert(const Key& k) {
    return this->setNode(k, true, nullptr, nullptr) == SetResult::inserted;
  }
  SetResult set(const Key& k) {
    return this->setNode(k, true, nullptr, nullptr);
  }
};

}  // namespace Vem
