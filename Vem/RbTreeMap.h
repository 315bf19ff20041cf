// RbTreeMap: a collection iterated in key order (ValueTraits<Key>::compare), over a red-black tree
// whose nodes come from the slab allocator. Same change, version and deletion-mark rules as
// HashMap2018. Iterators survive any change: after one they continue from the first key greater than
// their own.
#pragma once

#include <Lumo/Allocator.h>
#include <Vem/HashMap2018Engine.h>
#include <Vem/IteratorInvalidated.h>
#include <Vem/Value.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
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
class RbTreeMap {
  struct Less {
    bool operator()(const K& a, const K& b) const noexcept { return ValueTraits<K>::compare(a, b) < 0; }
  };
  struct Slot {
    V value;
    bool marked = false;
  };
  using Tree = std::map<K, Slot, Less, SlabStdAllocator<std::pair<const K, Slot>>>;
  static constexpr uint32_t kVersionMask = (1u << 23) - 1;

 public:
  using Key = K;
  using Value = V;
  using SetResult = Vem::SetResult;

  RbTreeMap() = default;
  RbTreeMap(const RbTreeMap& o) : tree_(o.tree_), marked_(o.marked_) {}
  RbTreeMap(RbTreeMap&& o) noexcept : tree_(std::move(o.tree_)), marked_(o.marked_) { o.emptied(); }
  RbTreeMap& operator=(const RbTreeMap& o) {
    if (this != &o) {
      tree_ = o.tree_;
      marked_ = o.marked_;
      changed();
    }
    return *this;
  }
  RbTreeMap& operator=(RbTreeMap&& o) noexcept {
    if (this != &o) {
      tree_ = std::move(o.tree_);
      marked_ = o.marked_;
      changed();
      o.emptied();
    }
    return *this;
  }

  std::size_t size() const noexcept { return tree_.size(); }
  bool empty() const noexcept { return tree_.empty(); }
  uint32_t version() const noexcept { return version_; }

  const V* find(const K& k) const {
    auto it = tree_.find(k);
    return it == tree_.end() ? nullptr : &it->second.value;
  }
  bool contains(const K& k) const { return tree_.find(k) != tree_.end(); }

  SetResult set(const K& k, const V& v, V* oldOut = nullptr) {
    auto it = tree_.lower_bound(k);
    if (it != tree_.end() && !Less()(k, it->first)) {
      Slot& s = it->second;
      if (s.marked) {
        s.marked = false;
        --marked_;
      }
      if (s.value == v) return SetResult::unchanged;
      if (oldOut != nullptr) *oldOut = std::move(s.value);
      s.value = v;
      changed();
      return SetResult::replaced;
    }
    tree_.emplace_hint(it, k, Slot{v, false});
    changed();
    return SetResult::inserted;
  }

  bool erase(const K& k, V* removedOut = nullptr) {
    auto it = tree_.find(k);
    if (it == tree_.end()) return false;
    if (it->second.marked) --marked_;
    if (removedOut != nullptr) *removedOut = std::move(it->second.value);
    tree_.erase(it);
    changed();
    return true;
  }

  void clear() noexcept {
    if (tree_.empty()) return;
    tree_.clear();
    marked_ = 0;
    changed();
  }

  // ---- deletion marks ----
  void markAllForDeletion() noexcept {
    for (auto& e : tree_) e.second.marked = true;
    marked_ = tree_.size();
  }
  void unmark(const K& k) {
    if (marked_ == 0) return;
    auto it = tree_.find(k);
    if (it != tree_.end() && it->second.marked) {
      it->second.marked = false;
      --marked_;
    }
  }
  bool isMarked(const K& k) const {
    if (marked_ == 0) return false;
    auto it = tree_.find(k);
    return it != tree_.end() && it->second.marked;
  }
  std::size_t markedCount() const noexcept { return marked_; }
  // Erases every marked entry in key order, calling fn(key, removedValue) once it has left the map.
  template <class Fn>
  void eraseMarked(Fn&& fn) {
    auto it = tree_.begin();
    while (marked_ != 0 && it != tree_.end()) {
      if (!it->second.marked) {
        ++it;
        continue;
      }
      K key = it->first;
      V value = std::move(it->second.value);
      --marked_;
      tree_.erase(it);
      changed();
      fn(static_cast<const K&>(key), static_cast<const V&>(value));
      it = tree_.upper_bound(key);  // fn may have changed the map
    }
  }

  // ---- iteration ----
  class Iterator {
   public:
    Iterator() = default;
    bool valid() const noexcept { return valid_; }
    const K& key() const noexcept { return key_; }
    // The entry's current value. Refused (IteratorInvalidated) once the entry has been erased.
    const V& value() const {
      if (map_->version_ == version_) return it_->second.value;
      auto now = map_->tree_.find(key_);
      if (now == map_->tree_.end()) throwRbTreeMapEntryErased();
      return now->second.value;
    }
    void next() {
      if (!valid_) return;
      if (map_->version_ != version_) {
        it_ = map_->tree_.upper_bound(key_);
        version_ = map_->version_;
      } else {
        ++it_;
      }
      load();
    }
    bool operator==(std::default_sentinel_t) const noexcept { return !valid_; }
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
    Iterator(const RbTreeMap* map, typename Tree::const_iterator it) : map_(map), it_(it), version_(map->version_) {
      load();
    }
    void load() {
      valid_ = it_ != map_->tree_.end();
      if (valid_) key_ = it_->first;
    }

    const RbTreeMap* map_ = nullptr;
    typename Tree::const_iterator it_{};
    K key_{};  // kept so that the walk can resume after its entry is erased
    uint32_t version_ = 0;
    bool valid_ = false;
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

  Tree tree_;
  std::size_t marked_ = 0;
  uint32_t version_ = 0;
};

}  // namespace Vem
