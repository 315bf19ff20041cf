/// \file
/// The operations generated entity setters are made of: compare first, change, then announce the change
/// (attribute id, key or none, old value or none) to the entity's subscribers, on the calling thread.
/// Generated code calls these with its own fields, so every entity type behaves alike.
#pragma once

#include <Lumo/Ptr.h>
#include <Lumo/Publisher.h>
#include <Vem/Entity.h>
#include <Vem/HashMap2018.h>
#include <Vem/Value.h>

#include <utility>
#include <vector>

namespace Vem {

/// The key type's equality, as announcements carry it.
template <class K>
bool keyEquality(const void* a, const void* b) {
  return ValueTraits<K>::equal(*static_cast<const K*>(a), *static_cast<const K*>(b));
}

inline void announce(const Entity& e, AttributeId id, const void* key, const void* oldValue,
                     Lumo::KeyEqualityFn keyEq, const void* storedValue = nullptr) {
  Lumo::Publisher& p = e.publisher();
  if (!p.empty()) p.publishChangeRecursive(id, key, oldValue, keyEq, storedValue);
}

/// Scalar attribute: store and announce only a real change.
template <class T>
void scalarSet(const Entity& e, T& field, const T& value, AttributeId id) {
  if (ValueTraits<T>::equal(field, value)) return;
  T old = std::move(field);
  field = value;
  announce(e, id, nullptr, &old, nullptr);
}

/// Counter: adds modulo the attribute's width, announces a real change, returns the new value.
template <class T>
T counterInc(const Entity& e, T& field, T step, AttributeId id, bool announces = true) {
  T next = static_cast<T>(field + step);
  if (next != field) {
    T old = field;
    field = next;
    if (announces) announce(e, id, nullptr, &old, nullptr);
  }
  return next;
}

/// Keyed collection entry: insert or replace; nothing happens when the stored value is already equal.
template <class Map>
void collectionSet(const Entity& e, Map& map, const typename Map::Key& key, const typename Map::Value& value,
                   AttributeId id) {
  typename Map::Value old{};
  const typename Map::Value* stored = nullptr;
  SetResult r = map.set(key, value, &old, &stored);
  if (r == SetResult::unchanged) return;
  announce(e, id, &key, r == SetResult::replaced ? &old : nullptr, &keyEquality<typename Map::Key>, stored);
}

/// Removes a key; returns the removed value, or the value type's default when the key was absent (and
/// then announces nothing).
template <class Map>
typename Map::Value collectionDel(const Entity& e, Map& map, const typename Map::Key& key, AttributeId id) {
  typename Map::Value removed{};
  if (!map.erase(key, &removed)) return removed;
  announce(e, id, &key, &removed, &keyEquality<typename Map::Key>);
  return removed;
}

/// Every key, in iteration order, so that removals can be made one by one.
template <class Map>
std::vector<typename Map::Key> collectionKeys(const Map& map) {
  std::vector<typename Map::Key> keys;
  keys.reserve(map.size());
  for (auto it = map.begin(); it.valid(); it.next()) keys.push_back(it.key());
  return keys;
}

/// Without subscribers the collection empties in one step; with them, key by key, each announced.
template <class Map>
void collectionDelAll(const Entity& e, Map& map, AttributeId id) {
  if (e.publisher().empty()) {
    map.clear();
    return;
  }
  for (const auto& key : collectionKeys(map)) collectionDel(e, map, key, id);
}

/// Set membership: adding a present key changes nothing.
template <class Set>
void setInsert(const Entity& e, Set& set, const typename Set::Key& key, AttributeId id) {
  if (set.insert(key)) announce(e, id, &key, nullptr, &keyEquality<typename Set::Key>);
}
template <class Set>
bool setDel(const Entity& e, Set& set, const typename Set::Key& key, AttributeId id) {
  if (!set.erase(key)) return false;
  static const bool wasPresent = true;
  announce(e, id, &key, &wasPresent, &keyEquality<typename Set::Key>);
  return true;
}
template <class Set>
void setDelAll(const Entity& e, Set& set, AttributeId id) {
  if (e.publisher().empty()) {
    set.clear();
    return;
  }
  for (const auto& key : collectionKeys(set)) setDel(e, set, key, id);
}

/// Instantiating collection: returns the existing child (after `reconcile` has checked or applied the
/// further constructor arguments) or creates one with `make`, parents it, files it and announces it.
template <class Map, class Make, class Reconcile>
typename Map::Value childIs(Entity& owner, Map& map, const typename Map::Key& key, AttributeId id, Make&& make,
                            Reconcile&& reconcile) {
  if (const typename Map::Value* existing = map.find(key)) {
    reconcile(**existing);
    return *existing;
  }
  typename Map::Value child = make();
  child->handleParent(Lumo::Ptr<Entity>(&owner));
  map.set(child);
  announce(owner, id, &key, nullptr, &keyEquality<typename Map::Key>);
  return child;
}

/// Removes a child: clears its parent, announces with the child as old value, returns it (null when the
/// key was absent). The child lives on while other pointers hold it.
template <class Map>
typename Map::Value childDel(Entity& owner, Map& map, const typename Map::Key& key, AttributeId id) {
  typename Map::Value removed;
  if (!map.erase(key, &removed)) return removed;
  removed->handleParent(Lumo::Ptr<Entity>());
  announce(owner, id, &key, &removed, &keyEquality<typename Map::Key>);
  return removed;
}

/// Instantiating collections always empty key by key, so every child is released and every removal told.
template <class Map>
void childDelAll(Entity& owner, Map& map, AttributeId id) {
  for (const auto& key : collectionKeys(map)) childDel(owner, map, key, id);
}

/// At destruction: children that outlive their owner lose their parent link.
template <class Map>
void childrenRelease(Map& map) noexcept {
  for (auto it = map.begin(); it.valid(); it.next()) it.value()->parentIs(nullptr);
  map.clear();
}

/// Instantiating singleton. A child under the same key is kept (its further arguments reconciled); a
/// different key replaces it: the old child is released and is the announcement's old value.
template <class Child, class Key, class Make, class Reconcile>
Lumo::Ptr<Child> singletonIs(Entity& owner, Lumo::Ptr<Child>& slot, AttributeId id, const Key& key, Make&& make,
                             Reconcile&& reconcile) {
  if (slot && ValueTraits<Key>::equal(slot->vemKey(), key)) {
    reconcile(*slot);
    return slot;
  }
  Lumo::Ptr<Child> previous = std::move(slot);
  slot = make();
  if (previous) previous->handleParent(Lumo::Ptr<Entity>());
  slot->handleParent(Lumo::Ptr<Entity>(&owner));
  announce(owner, id, nullptr, previous ? &previous : nullptr, nullptr);
  return slot;
}
template <class Child>
Lumo::Ptr<Child> singletonDel(Entity& owner, Lumo::Ptr<Child>& slot, AttributeId id) {
  Lumo::Ptr<Child> removed = std::move(slot);
  slot.reset();
  if (!removed) return removed;
  removed->handleParent(Lumo::Ptr<Entity>());
  announce(owner, id, nullptr, &removed, nullptr);
  return removed;
}

/// Collection of references: files the entity under its name; filing the same entity again is no change.
template <class Map>
void referenceSet(const Entity& e, Map& map, const typename Map::Value& entity, AttributeId id) {
  typename Map::Value old{};
  SetResult r = map.set(entity, &old);
  if (r == SetResult::unchanged) return;
  const auto& key = entity->vemKey();
  announce(e, id, &key, r == SetResult::replaced ? &old : nullptr, &keyEquality<typename Map::Key>);
}

/// Reads an entity's key (its name, or its first constructor attribute) for the collections that hold it.
template <class Child>
struct EntityKey {
  static const auto& key(const Lumo::Ptr<Child>& child) noexcept { return child->vemKey(); }
};
template <class Child>
using EntityNameKey = EntityKey<Child>;

/// Collection of values that carry their own key: files the value under that key.
template <class Map>
void collectionSetValue(const Entity& e, Map& map, const typename Map::Key& key, const typename Map::Value& value,
                        AttributeId id) {
  typename Map::Value old{};
  const typename Map::Value* stored = nullptr;
  SetResult r = map.set(value, &old, &stored);
  if (r == SetResult::unchanged) return;
  announce(e, id, &key, r == SetResult::replaced ? &old : nullptr, &keyEquality<typename Map::Key>, stored);
}

}  // namespace Vem
