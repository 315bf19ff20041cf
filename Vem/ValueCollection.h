/// \file
/// A collection held inside a value type (a LAG's VLAN membership, a component's destinations), a map or a
/// set of keys. The value is copied by value, and the engine's shared buckets make such copies cheap. Its
/// forms:
///   equality   the maps as wholes (same keys, equal values)
///   ordering   the smaller collection first; at equal size entries in key order, lexicographically
///   hash       independent of the engine's iteration order
///   text       {key: value, key: value} in key order; a value holding a collection has no parser
///   log        each entry as key then value (a set: the key alone) in iteration order, ended by one
///              default key (0, or the empty string), which therefore cannot be carried; a duplicate key
///              on input is refused
/// Equality, order and hash depend on contents only: the engine's iteration order also depends on its
/// table size, so two equal collections with different histories may iterate differently.
#pragma once

#include <Vem/HashMap2018.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>
#include <Vem/TextForm.h>
#include <Vem/Value.h>

#include <algorithm>
#include <ostream>
#include <utility>
#include <vector>

namespace Vem {

template <class Node>
inline constexpr bool isSetNode = requires { Node::keysOnly; };

template <class Node>
std::vector<std::pair<typename Node::Key, typename Node::Value>> sortedEntries(const HashMap2018<Node>& map) {
  std::vector<std::pair<typename Node::Key, typename Node::Value>> out;
  out.reserve(map.size());
  for (auto it = map.begin(); it.valid(); it.next()) out.emplace_back(it.key(), it.value());
  std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
    return ValueTraits<typename Node::Key>::compare(a.first, b.first) < 0;
  });
  return out;
}

template <class Node>
struct ValueTraits<HashMap2018<Node>> {
  using Map = HashMap2018<Node>;
  static constexpr bool keysOnly = isSetNode<Node>;
  using K = typename Node::Key;
  using V = typename Node::Value;
  static bool equal(const Map& a, const Map& b) {
    if (a.size() != b.size()) return false;
    for (auto it = a.begin(); it.valid(); it.next()) {
      const V* other = b.find(it.key());
      if (other == nullptr || !ValueTraits<V>::equal(it.value(), *other)) return false;
    }
    return true;
  }
  static std::strong_ordering compare(const Map& a, const Map& b) {
    if (auto bySize = a.size() <=> b.size(); bySize != 0) return bySize;
    auto x = sortedEntries(a), y = sortedEntries(b);
    for (std::size_t i = 0; i < x.size(); ++i) {
      if (auto c = ValueTraits<K>::compare(x[i].first, y[i].first); c != 0) return c;
      if (auto c = ValueTraits<V>::compare(x[i].second, y[i].second); c != 0) return c;
    }
    return std::strong_ordering::equal;
  }
  static void hashInto(Hash& h, const Map& m) {
    uint32_t sum = 0;
    for (auto it = m.begin(); it.valid(); it.next()) {
      Hash entry(0);
      ValueTraits<K>::hashInto(entry, it.key());
      if constexpr (!keysOnly) ValueTraits<V>::hashInto(entry, it.value());
      sum += entry.result();
    }
    h.hashMix(static_cast<uint32_t>(m.size()));
    h.hashMix(sum);
  }
};

template <class Node>
struct TextTraits<HashMap2018<Node>> {
  static void write(std::ostream& os, const HashMap2018<Node>& map) {
    os << '{';
    bool first = true;
    for (const auto& [k, v] : sortedEntries(map)) {
      os << (first ? "" : ", ");
      TextTraits<typename Node::Key>::write(os, k);
      if constexpr (!isSetNode<Node>) {
        os << ": ";
        TextTraits<typename Node::Value>::write(os, v);
      }
      first = false;
    }
    os << '}';
  }
  static void read(CharRange& in, HashMap2018<Node>&) { in.fail("a collection inside a value has no text parser"); }
};

template <class Node>
struct LogTraits<HashMap2018<Node>> {
  using K = typename Node::Key;
  using V = typename Node::Value;
  static bool isDefaultKey(const K& k) { return ValueTraits<K>::equal(k, K{}); }
  static void write(NboAttrLog::Out& out, const HashMap2018<Node>& map) {
    for (auto it = map.begin(); it.valid(); it.next())
      if (isDefaultKey(it.key())) failWithAttrLogValueCollectionDefaultKey();
    for (auto it = map.begin(); it.valid(); it.next()) {
      LogTraits<K>::write(out, it.key());
      if constexpr (!isSetNode<Node>) LogTraits<V>::write(out, it.value());
    }
    LogTraits<K>::write(out, K{});
  }
  template <class Collection>
  static void read(NboAttrLog::In& in, Collection& map) {
    Collection read;
    for (;;) {
      K key{};
      LogTraits<K>::read(in, key);
      if (isDefaultKey(key)) break;
      if (read.contains(key)) throw RangeException("attribute log: duplicate key in a collection inside a value");
      if constexpr (isSetNode<Node>) {
        read.insert(key);
      } else {
        V value{};
        LogTraits<V>::read(in, value);
        read.set(key, value);
      }
    }
    map = std::move(read);
  }
  static std::size_t size(const HashMap2018<Node>& map) {
    std::size_t n = LogTraits<K>::size(K{});
    for (auto it = map.begin(); it.valid(); it.next()) {
      n += LogTraits<K>::size(it.key());
      if constexpr (!isSetNode<Node>) n += LogTraits<V>::size(it.value());
    }
    return n;
  }
  [[noreturn]] static void failWithAttrLogValueCollectionDefaultKey() {
    throw RangeException("attribute log: a collection inside a value cannot carry the default key, which ends it");
  }
};

/// A set inside a value has the forms of a map whose values are not written.
template <class Node>
struct ValueTraits<HSet<Node>> : ValueTraits<HashMap2018<Node>> {};
template <class Node>
struct TextTraits<HSet<Node>> : TextTraits<HashMap2018<Node>> {};
template <class Node>
struct LogTraits<HSet<Node>> : LogTraits<HashMap2018<Node>> {};

}  // namespace Vem
