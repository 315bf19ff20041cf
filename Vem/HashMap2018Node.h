/// \file
/// Node types of the keyed collections and the generic glue the collection engine works through.
///
/// The engine (Vem/HashMap2018.h) knows keys and values only through a policy: the key form (how a key
/// is hashed) and six glue operations on the node type (compare, place, shift, assemble, unreference a
/// bucket). The generic glue here serves every node type; a collection only names its node type.
#pragma once

#include <Lumo/Allocator.h>
#include <Lumo/Ptr.h>
#include <Lumo/String.h>
#include <Lumo/ThreadControl.h>
#include <Vem/Hash.h>
#include <Vem/Value.h>

#include <atomic>
#include <cassert>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Vem {

// ---- Key forms: how the engine hashes a key -------------------------------------------------------

struct KeyStringLegacy {};       // string, hashed by the engine without the collection's seed
struct KeyString {};             // string, hashed with the collection's seed
struct KeyU32 {};                // integer key of up to 32 bits
struct KeyU64 {};                // integer key of up to 64 bits (or a type exposing its 64 bits)
struct KeyU32IdHash {};          // small id: the id itself, cheaply mixed with the seed
struct KeyAndRhashSeedArg {};    // composite key with `hash(uint32_t seed)`
struct KeyAndRhashLegacy {};     // composite key with `hash()`, no seed
struct KeyAndRhashNoSeedArg {};  // same as Legacy, kept apart for the generated code that names it

/// The integer a key holds, for keys hashed as integers. Integers are themselves; a platform type held
/// as one integer opts in by exposing `raw()` or by specialising KeyBits.
template <class K>
struct KeyBits {
  static auto bits(const K& k) noexcept {
    if constexpr (std::is_enum_v<K>)
      return static_cast<std::make_unsigned_t<std::underlying_type_t<K>>>(k);
    else if constexpr (std::is_integral_v<K>)
      return static_cast<std::make_unsigned_t<K>>(k);
    else
      return k.raw();
  }
};
template <class K>
auto keyBits(const K& k) noexcept {
  return KeyBits<K>::bits(k);
}

template <class Form>
struct KeyFormHash;

// The one-line forwards on the lookup path are always inlined: in the large generated units GCC's limit
// on unit growth otherwise leaves them, and the string hash and equality behind them, as calls.
template <>
struct KeyFormHash<KeyStringLegacy> {
  [[gnu::always_inline]] static uint32_t hash(const Lumo::String& k, uint32_t) noexcept { return hashSingleAttr(k, 0u); }
};
template <>
struct KeyFormHash<KeyString> {
  [[gnu::always_inline]] static uint32_t hash(const Lumo::String& k, uint32_t seed) noexcept { return hashSingleAttr(k, seed); }
};
template <>
struct KeyFormHash<KeyU32> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t seed) noexcept {
    return hashSingleAttr(static_cast<uint32_t>(keyBits(k)), seed);
  }
};
template <>
struct KeyFormHash<KeyU64> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t seed) noexcept {
    return hashSingleAttr(static_cast<uint64_t>(keyBits(k)), seed);
  }
};
template <>
struct KeyFormHash<KeyU32IdHash> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t seed) noexcept {
    // Ids are dense and mostly small: one multiply spreads them, the fold brings high bits down to the
    // bucket-selecting low ones.
    uint32_t h = (static_cast<uint32_t>(keyBits(k)) ^ seed) * 0x9e3779b1u;
    return h ^ (h >> 15);
  }
};
template <>
struct KeyFormHash<KeyAndRhashSeedArg> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t seed) noexcept {
    // A platform value held as one integer (it exposes raw()) is hashed as that integer; a platform
    // key with only an unseeded hash (a VRF name) has it folded into the seed.
    if constexpr (requires { { k.raw() } -> std::unsigned_integral; })
      return hashSingleAttr(static_cast<uint64_t>(k.raw()), seed);
    else if constexpr (requires { k.hash(seed); })
      return k.hash(seed);
    else
      return hashSingleAttr(k.hash(), seed);
  }
};
template <>
struct KeyFormHash<KeyAndRhashLegacy> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t) noexcept {
    return k.hash();
  }
};
/// Without the collection's seed: the key's unseeded hash() where it has one, else its seeded hash with
/// seed 0.
template <>
struct KeyFormHash<KeyAndRhashNoSeedArg> {
  template <class K>
  static uint32_t hash(const K& k, uint32_t) noexcept {
    if constexpr (requires { { k.hash() } -> std::convertible_to<uint32_t>; })
      return k.hash();
    else
      return k.hash(0u);
  }
};

// ---- Key order inside a bucket ---------------------------------------------------------------------

/// Strings by unsigned bytes, integers unsigned, other keys by their value ordering.
template <class K>
struct KeyOrder {
  [[gnu::always_inline]] static bool equal(const K& a, const K& b) noexcept { return a == b; }
  static std::strong_ordering compare(const K& a, const K& b) noexcept {
    if constexpr (std::is_integral_v<K> || std::is_enum_v<K>)
      return keyBits(a) <=> keyBits(b);
    else
      return ValueTraits<K>::compare(a, b);
  }
};

// ---- Relocation --------------------------------------------------------------------------------

/// True when moving an object to another address is a byte copy, with nothing to destroy at the old
/// one. Lumo's handles hold no pointer into themselves (a string's inline bytes are found from its own
/// address each time), so they qualify; other types specialise this.
template <class T>
inline constexpr bool relocatableByBytes = std::is_trivially_copyable_v<T>;
template <>
inline constexpr bool relocatableByBytes<Lumo::String> = true;
template <class T>
inline constexpr bool relocatableByBytes<Lumo::Ptr<T>> = true;

// ---- Buckets -----------------------------------------------------------------------------------

/// A bucket: this header, `capacity` node slots (the first `count` hold nodes sorted by key), then one
/// byte per slot for the engine (deletion mark and hash tag). Shared by copies of a map and by iterators; written only when its
/// reference count is one.
struct HashMap2018BucketHeader {
  uint32_t refCount;
  uint32_t count;
  uint32_t capacity;
  uint32_t marked;  // how many of the marks are set
};

template <class Node>
struct HashMap2018BucketLayout {
  static_assert(alignof(Node) <= Lumo::SlabPool::kGranule, "Vem/HashMap2018: node alignment above 8");
  using Key = typename Node::Key;
  /// Keys compared in a register gain nothing from filtering by the tags in the marks.
  static constexpr bool kFilterByTag = !(std::is_trivially_copyable_v<Key> && sizeof(Key) <= 8);
  // With the tag filter: header, marks, nodes. A lookup reads the count and the marks from the
  // bucket's first cache line and touches nodes only where a tag agrees; the marks take whole 8-byte
  // words, so that they are scanned a word at a time without reading anything else. Without it the
  // nodes come first, at a fixed offset, and the marks (read only by the deletion-mark operations) last.
  static constexpr std::size_t kHeaderBytes = sizeof(HashMap2018BucketHeader);
  static_assert(kHeaderBytes % 8 == 0);
  static constexpr std::size_t markBytes(uint32_t capacity) noexcept { return (std::size_t{capacity} + 7) & ~std::size_t{7}; }
  static std::size_t nodeOffset(uint32_t capacity) noexcept {
    return kFilterByTag ? kHeaderBytes + markBytes(capacity) : kHeaderBytes;
  }
  static std::size_t marksOffset(uint32_t capacity) noexcept {
    return kFilterByTag ? kHeaderBytes : kHeaderBytes + capacity * sizeof(Node);
  }
  static std::size_t bytes(uint32_t capacity) noexcept {
    return kHeaderBytes + markBytes(capacity) + capacity * sizeof(Node);
  }
  static Node* nodes(HashMap2018BucketHeader* b) noexcept {
    return reinterpret_cast<Node*>(reinterpret_cast<unsigned char*>(b) + nodeOffset(b->capacity));
  }
  static const Node* nodes(const HashMap2018BucketHeader* b) noexcept {
    return reinterpret_cast<const Node*>(reinterpret_cast<const unsigned char*>(b) + nodeOffset(b->capacity));
  }
  static uint8_t* marks(HashMap2018BucketHeader* b) noexcept {
    return reinterpret_cast<uint8_t*>(b) + marksOffset(b->capacity);
  }
  static const uint8_t* marks(const HashMap2018BucketHeader* b) noexcept {
    return reinterpret_cast<const uint8_t*>(b) + marksOffset(b->capacity);
  }
  /// A bucket with no nodes yet, one reference, marks clear.
  static HashMap2018BucketHeader* allocate(uint32_t capacity) {
    auto* b = static_cast<HashMap2018BucketHeader*>(Lumo::SlabAllocator::allocate(bytes(capacity)));
    b->refCount = 1;
    b->count = 0;
    b->capacity = capacity;
    b->marked = 0;
    std::memset(marks(b), 0, markBytes(capacity));
    return b;
  }
  static void free(HashMap2018BucketHeader* b) noexcept { Lumo::SlabAllocator::deallocate(b, bytes(b->capacity)); }
};

inline void hashMap2018RefInc(HashMap2018BucketHeader* b) noexcept {
  if (Lumo::ThreadControl::tsp_)
    std::atomic_ref<uint32_t>(b->refCount).fetch_add(1, std::memory_order_relaxed);
  else
    ++b->refCount;
}
/// True when that was the last reference.
inline bool hashMap2018RefDrop(HashMap2018BucketHeader* b) noexcept {
  if (Lumo::ThreadControl::tsp_)
    return std::atomic_ref<uint32_t>(b->refCount).fetch_sub(1, std::memory_order_acq_rel) == 1;
  return --b->refCount == 0;
}
inline bool hashMap2018Shared(const HashMap2018BucketHeader* b) noexcept {
  if (Lumo::ThreadControl::tsp_)
    return std::atomic_ref<const uint32_t>(b->refCount).load(std::memory_order_acquire) != 1;
  return b->refCount != 1;
}

/// A run of existing nodes to build a new bucket from: moved (and their slots left raw) when `owned`,
/// copied otherwise.
template <class Node>
struct HashMap2018NodeRun {
  Node* first;
  uint32_t count;
  bool owned;
};

/// Results of compareOrLruUnlink.
enum : int { kKeyEqual = 0, kKeyBefore = 1, kKeyAfter = 2 };

// ---- The six glue operations, generic over the node type ------------------------------------------

/// A node type provides `using Key`, `using KeyForm`, `static constexpr uint32_t seedConstant` and
/// `static const Key& keyOf(const Node&)`.
template <class Node>
struct HashMap2018Glue {
  using Key = typename Node::Key;
  using Layout = HashMap2018BucketLayout<Node>;
  static constexpr bool byBytes = relocatableByBytes<Node>;

  [[gnu::always_inline]] static bool keyEqualsNode(const Key& key, const Node& node) noexcept {
    return KeyOrder<Key>::equal(key, Node::keyOf(node));
  }

  static void copyBytes(Node* destination, const Node* source) noexcept {
    std::memcpy(static_cast<void*>(destination), static_cast<const void*>(source), sizeof(Node));
  }

  /// Moves a node to a raw slot, leaving the source slot raw.
  static void copyOrRelocate(Node* destination, Node& source) noexcept {
    if constexpr (byBytes) {
      copyBytes(destination, &source);
    } else {
      ::new (static_cast<void*>(destination)) Node(std::move(source));
      source.~Node();
    }
  }

  static void place(Node* destination, Node& source, bool move) {
    if (move)
      ::new (static_cast<void*>(destination)) Node(std::move(source));
    else
      ::new (static_cast<void*>(destination)) Node(std::as_const(source));
  }

  /// delta +1: opens the slot at `position` among `count` nodes (room for one more is there) and moves
  /// `node` into it; `node` is consumed (left destroyed). delta < 0: destroys -delta nodes at
  /// `position` and closes the gap; `node` is unused.
  static void shift(Node* slots, Node* node, uint32_t count, uint32_t position, int delta) {
    assert(position <= count && "Vem/HashMap2018: shift position past the nodes");
    if (delta > 0) {
      assert(delta == 1 && "Vem/HashMap2018: shift opens one slot at a time");
      if constexpr (byBytes) {
        // Buckets are short: node-sized copies from the back beat a call to memmove.
        for (uint32_t i = count; i > position; --i) copyBytes(slots + i, slots + i - 1);
        copyBytes(slots + position, node);
      } else {
        if (position == count) {
          ::new (static_cast<void*>(slots + count)) Node(std::move(*node));
        } else {
          ::new (static_cast<void*>(slots + count)) Node(std::move(slots[count - 1]));
          for (uint32_t i = count - 1; i > position; --i) slots[i] = std::move(slots[i - 1]);
          slots[position] = std::move(*node);
        }
        node->~Node();
      }
      return;
    }
    const uint32_t gap = static_cast<uint32_t>(-delta);
    assert(position + gap <= count && "Vem/HashMap2018: shift closes more slots than there are");
    if constexpr (byBytes) {
      std::destroy(slots + position, slots + position + gap);
      for (uint32_t i = position; i + gap < count; ++i) copyBytes(slots + i, slots + i + gap);
    } else {
      for (uint32_t i = position; i + gap < count; ++i) slots[i] = std::move(slots[i + gap]);
      std::destroy(slots + count - gap, slots + count);
    }
  }

  /// Builds `count` nodes at `destination` from the runs, in order. Owned runs are relocated (their
  /// slots are left raw); shared runs are copied. On a throwing copy, what was built is destroyed.
  static void newBucketAssemble(uint32_t count, Node* destination, const HashMap2018NodeRun<Node>* runs) {
    uint32_t built = 0;
    try {
      for (; built < count; ++runs) {
        const HashMap2018NodeRun<Node>& run = *runs;
        assert(built + run.count <= count && "Vem/HashMap2018: runs exceed the bucket");
        if (run.owned) {
          if constexpr (byBytes) {
            std::memcpy(static_cast<void*>(destination + built), static_cast<const void*>(run.first),
                        run.count * sizeof(Node));
          } else {
            for (uint32_t i = 0; i < run.count; ++i) {
              place(destination + built + i, run.first[i], true);
              run.first[i].~Node();
            }
          }
          built += run.count;
        } else {
          for (uint32_t i = 0; i < run.count; ++i, ++built) place(destination + built, run.first[i], false);
        }
      }
    } catch (...) {
      std::destroy(destination, destination + built);
      throw;
    }
  }

  /// Compares the node (when given) or else the key with `other`'s key.
  static int compareOrLruUnlink(const Key* key, const Node* node, const Node& other) noexcept {
    const Key& operand = node != nullptr ? Node::keyOf(*node) : *key;
    const std::strong_ordering c = KeyOrder<Key>::compare(operand, Node::keyOf(other));
    return c == 0 ? kKeyEqual : c < 0 ? kKeyBefore : kKeyAfter;
  }

  static void bktHdrRefDec(HashMap2018BucketHeader* bucket) noexcept {
    if (!hashMap2018RefDrop(bucket)) return;
    std::destroy(Layout::nodes(bucket), Layout::nodes(bucket) + bucket->count);
    Layout::free(bucket);
  }
};

// ---- Node types ----------------------------------------------------------------------------------

/// Key and value.
template <class K, class V, class Form, uint32_t SeedConstant>
struct HashMap2018Node {
  using Key = K;
  using Value = V;
  using KeyForm = Form;
  static constexpr uint32_t seedConstant = SeedConstant;
  static const Key& keyOf(const HashMap2018Node& n) noexcept { return n.key; }
  static const Value& valueOf(const HashMap2018Node& n) noexcept { return n.value; }
  static Value& valueOf(HashMap2018Node& n) noexcept { return n.value; }

  Key key;
  Value value;
};

/// Key only: the nodes of a set, whose values are all `true`.
template <class K, class Form, uint32_t SeedConstant>
struct HashMap2018SetNode {
  using Key = K;
  using Value = bool;
  using KeyForm = Form;
  static constexpr uint32_t seedConstant = SeedConstant;
  static constexpr bool keysOnly = true;
  static const Key& keyOf(const HashMap2018SetNode& n) noexcept { return n.key; }
  static const bool& valueOf(const HashMap2018SetNode&) noexcept {
    static constexpr bool present = true;
    return present;
  }

  Key key;
};

template <class K, class V, class F, uint32_t S>
inline constexpr bool relocatableByBytes<HashMap2018Node<K, V, F, S>> = relocatableByBytes<K> && relocatableByBytes<V>;
template <class K, class F, uint32_t S>
inline constexpr bool relocatableByBytes<HashMap2018SetNode<K, F, S>> = relocatableByBytes<K>;

}  // namespace Vem
