/// \file
/// RbTreeMap: a collection iterated in key order (ValueTraits<Key>::compare), over a red-black tree
/// of reference-counted entry nodes that come from the slab allocator. Same change, version and
/// deletion-mark rules as HashMap2018. Iterators hold their entry's node and survive any change: after
/// one they continue from the first key greater than their own.
#pragma once

#include <Lumo/Allocator.h>
#include <Lumo/Node.h>
#include <Lumo/Ptr.h>
#include <Vem/HashMap2018Engine.h>
#include <Vem/IteratorInvalidated.h>
#include <Vem/Value.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <utility>

namespace Vem {

template <class T>
struct SlabStdAllocator {
  using value_type = T;
  SlabStdAllocator() noexcept = default;
  template <class U>
  SlabStdAllocator(const SlabStdAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) { return static_cast<T*>(Lumo::SlabAllocator::allocate(n * sizeof(T))); }
  void deallocate(T* p, std::size_t n) noexcept { Lumo::SlabAllocator::deallocate(p, n * sizeof(T)); }
  template <class U>
  bool operator==(const SlabStdAllocator<U>&) const noexcept {
    return true;
  }
};

template <class K, class V>
class RbTreeMap;

/// One entry of an RbTreeMap: its key and value in one reference-counted node. The map holds one
/// reference; an iterator or a caller that holds another keeps the entry readable after its removal.
template <class K, class V>
class RbTreeNode final : public Lumo::Node {
 public:
  RbTreeNode(const K& key, const V& value) : key_(key), value_(value) {}
  const K& key() const noexcept { return key_; }
  const V& value() const noexcept { return value_; }
  /// False once the entry has left its map.
  bool linked() const noexcept { return linked_; }

  static void* operator new(std::size_t size) { return Lumo::SlabAllocator::allocate(size); }
  static void operator delete(void* p, std::size_t size) noexcept { Lumo::SlabAllocator::deallocate(p, size); }

 private:
  friend class RbTreeMap<K, V>;
  const K key_;
  V value_;
  bool linked_ = true;
  bool marked_ = false;  // marked for deletion by a resend (see HashMap2018)
};

template <class K, class V>
class RbTreeMap {
  using NodePtr = Lumo::Ptr<RbTreeNode<K, V>>;
  struct Less {
    using is_transparent = void;
    static const K& keyOf(const K& k) noexcept { return k; }
    static const K& keyOf(const NodePtr& n) noexcept { return n->key_; }
    template <class A, class B>
    bool operator()(const A& a, const B& b) const noexcept {
      return ValueTraits<K>::compare(keyOf(a), keyOf(b)) < 0;
    }
  };
  using Tree = std::set<NodePtr, Less, SlabStdAllocator<NodePtr>>;
  static constexpr uint32_t kVersionMask = (1u << 23) - 1;

 public:
  using Key = K;
  using Value = V;
  using Node = RbTreeNode<K, V>;
  using SetResult = Vem::SetResult;

  RbTreeMap() = default;
  /// A copy has nodes of its own: changing one map never shows through the other.
  RbTreeMap(const RbTreeMap& o) { copyFrom(o); }
  RbTreeMap(RbTreeMap&& o) noexcept : tree_(std::move(o.tree_)), marked_(o.marked_) { o.emptied(); }
  RbTreeMap& operator=(const RbTreeMap& o) {
    if (this != &o) {
      clear();
      copyFrom(o);
      changed();
    }
    return *this;
  }
  RbTreeMap& operator=(RbTreeMap&& o) noexcept {
    if (this != &o) {
      clear();
      tree_ = std::move(o.tree_);
      marked_ = o.marked_;
      changed();
      o.emptied();
    }
    return *this;
  }
  ~RbTreeMap() { clear(); }

  std::size_t size() const noexcept { return tree_.size(); }
  bool empty() const noexcept { return tree_.empty(); }
  uint32_t version() const noexcept { return version_; }

  const V* find(const K& k) const {
    auto it = tree_.find(k);
    return it == tree_.end() ? nullptr : &(*it)->value_;
  }
  /// The entry's node, to hold it beyond its removal; null when the key is absent.
  NodePtr node(const K& k) const {
    auto it = tree_.find(k);
    return it == tree_.end() ? NodePtr() : *it;
  }
  bool contains(const K& k) const { return tree_.find(k) != tree_.end(); }

  SetResult set(const K& k, const V& v, V* oldOut = nullptr, const V** storedOut = nullptr) {
    auto it = tree_.lower_bound(k);
    if (it != tree_.end() && !Less()(k, *it)) {
      Node& n = **it;
      if (n.marked_) {
        n.marked_ = false;
        --marked_;
      }
      if (n.value_ == v) return SetResult::unchanged;
      if (oldOut != nullptr) *oldOut = std::move(n.value_);
      n.value_ = v;
      changed();
      if (storedOut != nullptr) *storedOut = &n.value_;
      return SetResult::replaced;
    }
    const auto inserted = tree_.emplace_hint(it, Lumo::newNode<Node>(k, v));
    changed();
    if (storedOut != nullptr) *storedOut = &(*inserted)->value_;
    return SetResult::inserted;
  }

  bool erase(const K& k, V* removedOut = nullptr) {
    auto it = tree_.find(k);
    if (it == tree_.end()) return false;
    NodePtr n = unlink(it);
    if (removedOut != nullptr) *removedOut = n->value_;  // a holder of the node may still read it
    return true;
  }

  void clear() noexcept {
    if (tree_.empty()) return;
    for (const NodePtr& n : tree_) n->linked_ = false;
    tree_.clear();
    marked_ = 0;
    changed();
  }

  /// ---- deletion marks ----
  void markAllForDeletion() noexcept {
    for (const NodePtr& n : tree_) n->marked_ = true;
    marked_ = tree_.size();
  }
  void unmark(const K& k) {
    if (marked_ == 0) return;
    auto it = tree_.find(k);
    if (it != tree_.end() && (*it)->marked_) {
      (*it)->marked_ = false;
      --marked_;
    }
  }
  bool isMarked(const K& k) const {
    if (marked_ == 0) return false;
    auto it = tree_.find(k);
    return it != tree_.end() && (*it)->marked_;
  }
  std::size_t markedCount() const noexcept { return marked_; }
  /// Erases every marked entry in key order, calling fn(key, removedValue) once it has left the map.
  template <class Fn>
  void eraseMarked(Fn&& fn) {
    auto it = tree_.begin();
    while (marked_ != 0 && it != tree_.end()) {
      if (!(*it)->marked_) {
        ++it;
        continue;
      }
      NodePtr n = unlink(it);
      fn(static_cast<const K&>(n->key_), static_cast<const V&>(n->value_));
      it = tree_.upper_bound(n->key_);  // fn may have changed the map
    }
  }

  /// ---- iteration ----
  /// Holds its entry's node. After the entry is removed, key() still answers and next() continues from
  /// the first key greater than it.
  class Iterator {
   public:
    Iterator() = default;
    bool valid() const noexcept { return node_ != nullptr; }
    const K& key() const noexcept { return node_->key_; }
    // The entry's current value. Refused (IteratorInvalidated) once the entry has been erased.
    const V& value() const {
      if (!node_->linked_) throwRbTreeMapEntryErased();
      return node_->value_;
    }
    const NodePtr& node() const noexcept { return node_; }
    void next() {
      if (!valid()) return;
      // A linked node's position in the tree stays valid whatever else changed.
      it_ = node_->linked_ ? std::next(it_) : map_->tree_.upper_bound(node_->key_);
      node_ = it_ == map_->tree_.end() ? NodePtr() : *it_;
    }
    bool operator==(std::default_sentinel_t) const noexcept { return !valid(); }
    struct Entry {
      const K& key;
      const V& value;
    };
    Entry operator*() const { return {key(), value()}; }
    Iterator& operator++() {
      next();
      return *this;
    }

   private:
    friend class RbTreeMap;
    Iterator(const RbTreeMap* map, typename Tree::const_iterator it)
        : map_(map), it_(it), node_(it == map->tree_.end() ? NodePtr() : *it) {}

    const RbTreeMap* map_ = nullptr;
    typename Tree::const_iterator it_{};  // meaningful while node_ is linked
    NodePtr node_;
  };

  Iterator begin() const { return Iterator(this, tree_.begin()); }
  std::default_sentinel_t end() const noexcept { return {}; }
  Iterator lowerBound(const K& k) const { return Iterator(this, tree_.lower_bound(k)); }

 private:
  void changed() noexcept { version_ = (version_ + 1) & kVersionMask; }
  void emptied() noexcept {
    tree_.clear();
    marked_ = 0;
    changed();
  }
  void copyFrom(const RbTreeMap& o) {
    for (const NodePtr& n : o.tree_) {
      NodePtr copy = Lumo::newNode<Node>(n->key_, n->value_);
      copy->marked_ = n->marked_;
      tree_.emplace_hint(tree_.end(), std::move(copy));
    }
    marked_ = o.marked_;
  }
  /// Takes the entry out of the tree; the returned reference keeps it alive for the caller.
  NodePtr unlink(typename Tree::const_iterator it) {
    NodePtr n = *it;
    if (n->marked_) --marked_;
    n->linked_ = false;
    tree_.erase(it);
    changed();
    return n;
  }

  Tree tree_;
  std::size_t marked_ = 0;
  uint32_t version_ = 0;
};

}  // namespace Vem
