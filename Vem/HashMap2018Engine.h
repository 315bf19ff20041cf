/// \file
/// The collection engine behind HashMap2018 and HSet: a power-of-two table of slots, each a pointer to a
/// small bucket (a contiguous array of nodes sorted by key) and a 32-bit summary of the bucket's hash
/// tags, kept in an array of their own so that most misses end in that small array without touching a
/// bucket. Buckets are reference-counted and shared by copies of a map and by iterators, and copied on
/// the first write to a shared one, so copying a map costs one pointer and one count per bucket.
///
/// The engine knows keys only through the node's key form (hashing) and the glue operations of
/// HashMap2018Glue<Node> (ordering, placing, shifting, assembling, unreferencing).
#pragma once

#include <Vem/HashMap2018Node.h>
#include <Vem/IteratorInvalidated.h>

#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

namespace Vem {

enum class SetResult : uint8_t { unchanged, inserted, replaced };

/// The two summary bits of each 7-bit tag (its top five bits and its low five): one load on the lookup
/// path instead of two shifts. Outside the engine template, so that every map shares one copy.
inline constexpr std::array<uint32_t, 128> hashMap2018SummaryBits = [] {
  std::array<uint32_t, 128> bits{};
  for (uint32_t tag = 0; tag < 128; ++tag) bits[tag] = uint32_t(1) << (tag >> 2) | uint32_t(1) << (tag & 31);
  return bits;
}();

template <class Node>
class HashMap2018Engine {
  static_assert(std::is_nothrow_move_constructible_v<Node> && std::is_nothrow_copy_constructible_v<Node>,
                "Vem/HashMap2018: keys and values must copy and move without throwing");

 public:
  using Glue = HashMap2018Glue<Node>;
  using Layout = HashMap2018BucketLayout<Node>;
  using Bucket = HashMap2018BucketHeader;
  using Run = HashMap2018NodeRun<Node>;
  using Key = typename Node::Key;
  static constexpr uint32_t kVersionMask = (1u << 23) - 1;
  /// Average nodes per bucket above which the table doubles; while iterators are live it waits longer,
  /// since a resize refuses them.
  static constexpr std::size_t kGrowLoad = 2;
  static constexpr std::size_t kGrowLoadWithIterators = 8;
  /// A table of more than kKeptBuckets slots halves when erasing leaves fewer than one node per
  /// kShrinkLoad slots, and is freed when the last node goes. A map that held a million keys and keeps a
  /// hundred gives its table back, while one emptied and refilled (as full resends do) merges few
  /// buckets on its way down and keeps a small table for the refill: a table of 12 KiB is not worth
  /// freeing, and merging at a quarter full took a fifth of the time of erasing every key.
  static constexpr std::size_t kShrinkLoad = 16;
  static constexpr std::size_t kKeptBuckets = 1024;

  HashMap2018Engine() noexcept : seed_(HashHelper::hashSeed32() ^ Node::seedConstant) {}

  /// Copies share buckets and allocate only the slot array. They are noexcept, so that values holding a
  /// map can themselves be kept in maps; running out of memory there ends the process.
  HashMap2018Engine(const HashMap2018Engine& o) noexcept : seed_(o.seed_) { shareFrom(o); }
  HashMap2018Engine(HashMap2018Engine&& o) noexcept : seed_(o.seed_) { takeFrom(o); }
  HashMap2018Engine& operator=(const HashMap2018Engine& o) noexcept {
    if (this != &o) {
      releaseAll();
      shareFrom(o);
      changed();
    }
    return *this;
  }
  HashMap2018Engine& operator=(HashMap2018Engine&& o) noexcept {
    if (this != &o) {
      releaseAll();
      takeFrom(o);
      changed();
    }
    return *this;
  }
  ~HashMap2018Engine() {
    assert(liveIterators_ == 0 && "Vem/HashMap2018: map destroyed while its iterators are live");
    releaseAll();
  }

  std::size_t size() const noexcept { return size_; }
  uint32_t version() const noexcept { return version_; }
  std::size_t bucketCount() const noexcept { return buckets_ ? std::size_t(mask_) + 1 : 0; }
  std::size_t markedCount() const noexcept { return marked_; }

  [[gnu::always_inline]] uint32_t hashOf(const Key& k) const noexcept {
    return KeyFormHash<typename Node::KeyForm>::hash(k, seed_);
  }

  /// Each node has a meta byte: bit 0 its deletion mark and, where lookups filter by tag, the other
  /// seven the top of its key's hash, so that a lookup compares keys only where those bits agree (a miss
  /// rarely touches a string's bytes). The top bits do not select the bucket, so the tag survives
  /// resizes. Keys compared in a register are not filtered and keep the mark alone: while such a bucket
  /// has no marks its meta bytes are all zero and inserts and erases leave them be, which spares them the
  /// load of those bytes (kept after the nodes, often on another cache line).
  static constexpr uint8_t kMark = 1;
  static uint8_t tagOf(uint32_t hash) noexcept { return static_cast<uint8_t>((hash >> 25) << 1); }
  static constexpr bool kFilterByTag = Layout::kFilterByTag;
  static uint8_t metaOf(uint8_t tag) noexcept { return kFilterByTag ? tag : 0; }
  /// Whether inserting or erasing in the bucket must move its meta bytes along with the nodes.
  static bool metaMoves(const Bucket* b) noexcept { return kFilterByTag || b->marked != 0; }
  /// The slot's summary is a 32-bit filter of its bucket's tags: each tag sets two bits, one chosen by
  /// its top five bits and one by its low five (mark bit excluded), and a key whose two bits are not
  /// both set is absent. With one bit per tag, 6% of the misses in a map of a million keys went on to
  /// the bucket (a cache miss that cost more than the rest of the miss together); with two, 3%. An
  /// empty slot's summary is zero.
  static uint32_t summaryBits(uint8_t meta) noexcept { return hashMap2018SummaryBits[meta >> 1]; }
  static bool summaryAdmits(uint32_t summary, uint8_t tag) noexcept {
    const uint32_t bits = summaryBits(tag);
    return (summary & bits) == bits;
  }

  /// The first of a bucket's n nodes whose key equals k, or n. With the tag filter the marks are
  /// compared eight at a time: a zero byte of (marks without mark bits) ^ (tag in every byte) is a
  /// candidate, so the loop branches once per candidate instead of once per node. The zero-byte test
  /// may also flag a byte above a true zero; the key comparison sorts that out. Buckets rarely hold
  /// more than eight nodes, so the first word is checked inline and the rest out of line.
  [[gnu::always_inline]] static uint32_t scan(const Bucket* b, const Key& k, uint8_t tag) noexcept {
    const uint32_t n = b->count;
    if constexpr (!kFilterByTag) {
      const Node* nodes = Layout::nodes(b);
      for (uint32_t p = 0; p < n; ++p)
        if (Glue::keyEqualsNode(k, nodes[p])) return p;
      return n;
    } else {
      assert(n != 0 && "Vem/HashMap2018: an empty bucket left in a slot");
      const uint32_t p = scanWord(b, k, tag, 0, n < 8 ? n : 8);
      return p == n && n > 8 ? scanFrom(b, k, tag, 8) : p;
    }
  }

  static constexpr uint64_t kEveryByte = 0x0101010101010101u;

  /// The first match among nodes [base, base + inWord) (at most 8), or the bucket's count.
  [[gnu::always_inline]] static uint32_t scanWord(const Bucket* b, const Key& k, uint8_t tag, uint32_t base,
                                                 uint32_t inWord) noexcept {
    uint64_t word;
    std::memcpy(&word, Layout::marks(b) + base, 8);  // the marks take whole words
    const uint64_t diff = (word & ~(kEveryByte * kMark)) ^ (kEveryByte * tag);
    // Only the bytes of nodes in this word: a shift, not a branch on the count.
    uint64_t hits = (diff - kEveryByte) & ~diff & (kEveryByte << 7) & (~uint64_t{0} >> (64 - 8 * inWord));
    const Node* nodes = Layout::nodes(b);
    for (; hits != 0; hits &= hits - 1) {
      const uint32_t p = base + static_cast<uint32_t>(std::countr_zero(hits)) / 8;
      if (Glue::keyEqualsNode(k, nodes[p])) return p;
    }
    return b->count;
  }
  /// The words after the first, for the rare bucket longer than eight nodes.
  [[gnu::noinline]] static uint32_t scanFrom(const Bucket* b, const Key& k, uint8_t tag, uint32_t base) noexcept {
    const uint32_t n = b->count;
    for (; base < n; base += 8) {
      const uint32_t p = scanWord(b, k, tag, base, n - base < 8 ? n - base : 8);
      if (p != n) return p;
    }
    return n;
  }

  const Node* find(const Key& k) const noexcept {
    if (size_ == 0) return nullptr;
    const uint32_t h = hashOf(k);
    const uint32_t i = h & mask_;
    const uint8_t tag = tagOf(h);
    if (!summaryAdmits(summaries_[i], tag)) return nullptr;
    const Bucket* b = buckets_[i];
    const uint32_t p = scan(b, k, tag);
    return p == b->count ? nullptr : Layout::nodes(b) + p;
  }

  /// Where a key is or would go: bucket index, position in it, whether it is there. A found place also
  /// carries its bucket and node, so that updating the value does not walk from the table again.
  struct Place {
    uint32_t index;
    uint32_t pos;
    bool found;
    uint8_t tag;
    Bucket* bucket = nullptr;
    Node* node = nullptr;
  };
  Place locateForWrite(const Key& k) {
    if (buckets_ == nullptr) allocateTable(1);
    return locate(k);
  }
  // Inlined into every caller: returned through memory, the place's byte fields stall the load that
  // reads them back (a failed store-to-load forward) on every lookup. The summary is not consulted:
  // writes and erases are mostly of present keys, and an insert reads the bucket anyway to place the
  // key, so the filter would only add work.
  [[gnu::always_inline]] Place locate(const Key& k) const noexcept {
    assert(buckets_ != nullptr && "Vem/HashMap2018: locate without a table");
    const uint32_t h = hashOf(k);
    const uint32_t i = h & mask_;
    Bucket* b = buckets_[i];
    const uint8_t tag = tagOf(h);
    if (b == nullptr) return {i, 0, false, tag};
    const uint32_t p = scan(b, k, tag);
    if (p != b->count) return {i, p, true, tag, b, Layout::nodes(b) + p};
    bool found;
    const uint32_t pos = seek(b, k, found);
    return {i, pos, found, tag, b, found ? Layout::nodes(b) + pos : nullptr};
  }
  const Node& nodeAt(Place p) const noexcept {
    assert(p.found && "Vem/HashMap2018: no node at a place not found");
    return *p.node;
  }
  bool markedAt(Place p) const noexcept { return (Layout::marks(buckets_[p.index])[p.pos] & kMark) != 0; }

  /// The node at a found place, in a bucket this map alone holds (copied first when shared).
  Node& ownedNodeAt(Place p) {
    assert(p.found && p.bucket == buckets_[p.index] && "Vem/HashMap2018: a place used after a change");
    if (!hashMap2018Shared(p.bucket)) [[likely]]
      return *p.node;
    return Layout::nodes(copyShared(p.index, 0))[p.pos];
  }

  void unmarkAt(Place p) {
    if (!markedAt(p)) return;
    Bucket* b = own(p.index, 0);
    Layout::marks(b)[p.pos] &= ~kMark;
    --b->marked;
    --marked_;
  }
  void valueChanged() noexcept { changed(); }

  /// Inserts the node at a place that was not found. `node` is consumed; the place is stale afterwards.
  void insertAt(Place p, Node* node) {
    Bucket* b = buckets_[p.index];
    if (b == nullptr) {
      Bucket* nb = Layout::allocate(kFirstCapacity);
      const Run run{node, 1, true};
      Glue::newBucketAssemble(1, Layout::nodes(nb), &run);
      if constexpr (kFilterByTag) Layout::marks(nb)[0] = p.tag;  // else already zero
      nb->count = 1;
      buckets_[p.index] = nb;
    } else if (hashMap2018Shared(b)) {
      // Copy with room for one more, then open the slot: the copy is the only step that can fail.
      b = own(p.index, 1);
      openSlot(b, p.pos, node, p.tag);
    } else if (b->count < b->capacity) {
      openSlot(b, p.pos, node, p.tag);
    } else {
      const uint32_t count = b->count;
      Bucket* nb = Layout::allocate(grownCapacity(count));
      const Run runs[3] = {{Layout::nodes(b), p.pos, true}, {node, 1, true}, {Layout::nodes(b) + p.pos, count - p.pos, true}};
      Glue::newBucketAssemble(count + 1, Layout::nodes(nb), runs);
      nb->count = count + 1;
      if (metaMoves(b)) {
        const uint8_t* from = Layout::marks(b);
        uint8_t* to = Layout::marks(nb);
        std::memcpy(to, from, p.pos);
        to[p.pos] = metaOf(p.tag);
        std::memcpy(to + p.pos + 1, from + p.pos, count - p.pos);
        nb->marked = b->marked;
      }
      Layout::free(b);  // its nodes were relocated
      buckets_[p.index] = nb;
    }
    summaries_[p.index] |= summaryBits(p.tag);
    ++size_;
    changed();
    if (size_ > kGrowLoad * bucketCount() && (liveIterators_ == 0 || size_ > kGrowLoadWithIterators * bucketCount()))
      resize(bucketCount() * 2);
  }

  /// Removes the node at a found place. `take(Node&, bool movable)` sees it first (to move or copy out
  /// what the caller wants).
  template <class Take>
  void eraseAt(Place p, Take&& take) {
    Bucket* b = buckets_[p.index];
    const uint32_t count = b->count;
    // The header's count of marks spares most erases the load of the marks, which for keys stored
    // without a tag filter lie past the nodes, often on another cache line.
    const bool wasMarked = b->marked != 0 && (Layout::marks(b)[p.pos] & kMark) != 0;
    Node* nodes = Layout::nodes(b);
    if (hashMap2018Shared(b)) {
      take(nodes[p.pos], false);
      Bucket* nb = nullptr;
      if (count > 1) {
        nb = Layout::allocate(count - 1);
        const Run runs[2] = {{nodes, p.pos, false}, {nodes + p.pos + 1, count - p.pos - 1, false}};
        Glue::newBucketAssemble(count - 1, Layout::nodes(nb), runs);
        nb->count = count - 1;
        const uint8_t* from = Layout::marks(b);
        uint8_t* to = Layout::marks(nb);
        std::memcpy(to, from, p.pos);
        std::memcpy(to + p.pos, from + p.pos + 1, count - p.pos - 1);
        nb->marked = b->marked - (wasMarked ? 1 : 0);
      }
      buckets_[p.index] = nb;
      Glue::bktHdrRefDec(b);
    } else {
      take(nodes[p.pos], true);
      if (count == 1) {
        Glue::bktHdrRefDec(b);
        buckets_[p.index] = nullptr;
      } else {
        Glue::shift(nodes, nullptr, count, p.pos, -1);
        if (metaMoves(b)) {
          uint8_t* marks = Layout::marks(b);
          for (uint32_t i = p.pos; i + 1 < count; ++i) marks[i] = marks[i + 1];
          marks[count - 1] = 0;
        }
        b->count = count - 1;
        if (wasMarked) --b->marked;
      }
    }
    // The summary only has to cover the bucket: a bit left set costs a bucket visit, never a wrong
    // answer, and recomputing it would read the marks on every erase. Resizes rebuild it.
    if (buckets_[p.index] == nullptr) summaries_[p.index] = 0;
    if (wasMarked) --marked_;
    --size_;
    changed();
    const std::size_t buckets = std::size_t(mask_) + 1;
    if (size_ * kShrinkLoad < buckets && buckets > kKeptBuckets && liveIterators_ == 0) [[unlikely]]
      shrink();
  }

  void clear() noexcept {
    if (buckets_ == nullptr) return;
    const bool hadNodes = size_ != 0;
    if (liveIterators_ != 0) {
      // Iterators keep the layout: they find their buckets empty and end.
      for (uint32_t i = 0; i <= mask_; ++i) {
        if (buckets_[i] != nullptr) Glue::bktHdrRefDec(buckets_[i]);
        setSlot(i, nullptr, 0);
      }
      size_ = 0;
      marked_ = 0;
    } else {
      releaseAll();
      ++layout_;
    }
    if (hadNodes) changed();
  }

  // ---- deletion marks ----

  void markAllForDeletion() {
    if (size_ == 0) return;
    for (uint32_t i = 0; i <= mask_; ++i) {
      const Bucket* b0 = buckets_[i];
      if (b0 == nullptr || b0->marked == b0->count) continue;
      Bucket* b = own(i, 0);
      uint8_t* meta = Layout::marks(b);
      for (uint32_t p = 0; p < b->count; ++p) meta[p] |= kMark;
      b->marked = b->count;
    }
    marked_ = static_cast<uint32_t>(size_);
  }

  /// Removes every marked node, handing each to `fn(Node&)` after it has left the map (so that `fn` sees
  /// the map without it).
  template <class Fn>
  void eraseMarked(Fn&& fn) {
    if (marked_ == 0) return;
    alignas(Node) unsigned char storage[sizeof(Node)];
    Node* removed = reinterpret_cast<Node*>(storage);
    // A callback that resizes the map can move marked nodes behind the scan; scan again then.
    for (uint32_t pass = layout_ - 1; marked_ != 0 && pass != layout_;) {
      pass = layout_;
      for (uint32_t i = 0; marked_ != 0 && buckets_ != nullptr && i <= mask_;) {
        const Bucket* b = buckets_[i];
        if (b == nullptr || b->marked == 0) {
          ++i;
          continue;
        }
        const uint8_t* marks = Layout::marks(b);
        uint32_t pos = 0;
        while ((marks[pos] & kMark) == 0) ++pos;
        eraseAt(Place{i, pos, true, 0}, [&](Node& n, bool movable) { Glue::place(removed, n, movable); });
        struct Destroy {
          Node* n;
          ~Destroy() { n->~Node(); }
        } destroy{removed};
        fn(*removed);
        if (layout_ != pass) break;
      }
    }
  }

  // ---- memory ----

  /// Bytes this map's table and buckets take from the allocator (shared buckets counted in full).
  std::size_t allocatedBytes() const noexcept {
    if (buckets_ == nullptr) return 0;
    std::size_t total = Lumo::SlabPool::blockSize(tableBytes(bucketCount()));
    for (uint32_t i = 0; i <= mask_; ++i)
      if (const Bucket* b = buckets_[i]) total += Lumo::SlabPool::blockSize(Layout::bytes(b->capacity));
    return total;
  }

  // ---- iteration ----

  /// Walks buckets in index order and each bucket in key order. Holds a reference to its bucket, so its
  /// node stays readable whatever the map does; after a change it continues from the first key after
  /// its own in the same bucket, and refuses (IteratorInvalidated) only after a resize.
  class Iterator {
   public:
    Iterator() noexcept = default;
    Iterator(const Iterator& o) noexcept
        : map_(o.map_), index_(o.index_), pos_(o.pos_), version_(o.version_), layout_(o.layout_) {
      hold(o.bucket_);
    }
    Iterator& operator=(const Iterator& o) noexcept {
      if (this != &o) {
        hold(nullptr);
        map_ = o.map_;
        index_ = o.index_;
        pos_ = o.pos_;
        version_ = o.version_;
        layout_ = o.layout_;
        hold(o.bucket_);
      }
      return *this;
    }
    ~Iterator() { hold(nullptr); }

    bool valid() const noexcept { return bucket_ != nullptr; }
    const Node& node() const noexcept {
      assert(bucket_ != nullptr && "Vem/HashMap2018: iterator read past the end");
      return Layout::nodes(bucket_)[pos_];
    }
    const Key& key() const noexcept { return Node::keyOf(node()); }
    // The entry's current value: looked up again when the map changed since the last step; an entry
    // erased since reads as it was.
    const typename Node::Value& value() const noexcept {
      if (map_->version_ != version_) {
        if (const Node* now = map_->find(key())) return Node::valueOf(*now);
      }
      return Node::valueOf(node());
    }

    void next() {
      if (bucket_ == nullptr) return;
      if (map_->version_ != version_) {
        reseek();
        return;
      }
      if (++pos_ < bucket_->count) return;
      settle(index_ + 1);
    }

    bool operator==(std::default_sentinel_t) const noexcept { return bucket_ == nullptr; }
    // Range-for support: `for (auto [key, value] : map)`.
    struct Entry {
      const Key& key;
      const typename Node::Value& value;
    };
    Entry operator*() const noexcept { return {key(), value()}; }
    Iterator& operator++() {
      next();
      return *this;
    }

   private:
    friend class HashMap2018Engine;
    explicit Iterator(const HashMap2018Engine* map) noexcept
        : map_(map), version_(map->version_), layout_(map->layout_) {}

    void hold(Bucket* b) noexcept {
      Bucket* old = bucket_;
      if (b != nullptr) hashMap2018RefInc(b);
      bucket_ = b;
      if (old == nullptr && b != nullptr) ++map_->liveIterators_;
      if (old != nullptr && b == nullptr) --map_->liveIterators_;
      if (old != nullptr) Glue::bktHdrRefDec(old);
    }
    // Moves to the first node of the first non-empty bucket from `index` on, or to the end.
    void settle(uint32_t index) noexcept {
      if (map_->buckets_ != nullptr) {
        for (; index <= map_->mask_; ++index) {
          if (Bucket* b = map_->buckets_[index]) {
            hold(b);
            index_ = index;
            pos_ = 0;
            return;
          }
        }
      }
      hold(nullptr);
    }
    void reseek() {
      if (map_->layout_ != layout_) throwHashMap2018IteratorInvalidated();
      version_ = map_->version_;
      const Node& current = Layout::nodes(bucket_)[pos_];
      Bucket* b = map_->buckets_[index_];
      if (b != nullptr) {
        const Node* nodes = Layout::nodes(b);
        uint32_t p = 0;
        while (p < b->count && Glue::compareOrLruUnlink(nullptr, &current, nodes[p]) != kKeyBefore) ++p;
        if (p < b->count) {
          hold(b);
          pos_ = p;
          return;
        }
      }
      settle(index_ + 1);
    }

    const HashMap2018Engine* map_ = nullptr;
    Bucket* bucket_ = nullptr;  // one reference held; null at the end
    uint32_t index_ = 0;
    uint32_t pos_ = 0;
    uint32_t version_ = 0;
    uint32_t layout_ = 0;
  };

  Iterator begin() const noexcept {
    Iterator it(this);
    it.settle(0);
    return it;
  }
  Iterator lowerBound(const Key& k) const noexcept {
    Iterator it(this);
    if (buckets_ == nullptr) return it;
    const uint32_t i = hashOf(k) & mask_;
    if (Bucket* b = buckets_[i]) {
      bool found;
      const uint32_t pos = seek(b, k, found);
      if (pos < b->count) {
        it.hold(b);
        it.index_ = i;
        it.pos_ = pos;
        return it;
      }
    }
    it.settle(i + 1);
    return it;
  }

 private:
  /// Position of the key in the bucket, or where it would be inserted.
  static uint32_t seek(const Bucket* b, const Key& k, bool& found) noexcept {
    const Node* nodes = Layout::nodes(b);
    uint32_t lo = 0;
    uint32_t hi = b->count;
    if (hi <= 8) {
      for (; lo < hi; ++lo) {
        const int c = Glue::compareOrLruUnlink(&k, nullptr, nodes[lo]);
        if (c != kKeyAfter) {
          found = c == kKeyEqual;
          return lo;
        }
      }
      found = false;
      return hi;
    }
    while (lo < hi) {
      const uint32_t mid = lo + (hi - lo) / 2;
      const int c = Glue::compareOrLruUnlink(&k, nullptr, nodes[mid]);
      if (c == kKeyEqual) {
        found = true;
        return mid;
      }
      if (c == kKeyBefore)
        hi = mid;
      else
        lo = mid + 1;
    }
    found = false;
    return lo;
  }

  /// Buckets keep spare room so that most inserts shift nodes in place instead of reallocating: at the
  /// growth load a bucket holds two nodes on average.
  static constexpr uint32_t kFirstCapacity = 2;
  static uint32_t grownCapacity(uint32_t count) noexcept { return count < 4 ? count * 2 : count + count / 2; }
  /// The table is one block: the bucket pointers, then the summaries.
  static std::size_t tableBytes(std::size_t buckets) noexcept {
    return buckets * (sizeof(Bucket*) + sizeof(uint32_t));
  }
  void setSlot(uint32_t i, Bucket* b, uint32_t summary) noexcept {
    buckets_[i] = b;
    summaries_[i] = summary;
  }

  void changed() noexcept { version_ = (version_ + 1) & kVersionMask; }

  void openSlot(Bucket* b, uint32_t pos, Node* node, uint8_t tag) noexcept {
    assert(b->count < b->capacity && "Vem/HashMap2018: no room to open a slot");
    Glue::shift(Layout::nodes(b), node, b->count, pos, 1);
    if (metaMoves(b)) {
      uint8_t* marks = Layout::marks(b);
      for (uint32_t i = b->count; i > pos; --i) marks[i] = marks[i - 1];
      marks[pos] = metaOf(tag);
    }
    ++b->count;
  }

  /// Makes bucket i this map's own, with room for `extra` more nodes, copying it when shared.
  Bucket* own(uint32_t i, uint32_t extra) {
    Bucket* b = buckets_[i];
    if (!hashMap2018Shared(b)) [[likely]]
      return b;
    return copyShared(i, extra);
  }
  /// Kept out of line: the write paths inline only the unshared case.
  [[gnu::noinline]] Bucket* copyShared(uint32_t i, uint32_t extra) {
    Bucket* b = buckets_[i];
    Bucket* nb = Layout::allocate(b->count + extra);
    const Run run{Layout::nodes(b), b->count, false};
    Glue::newBucketAssemble(b->count, Layout::nodes(nb), &run);
    nb->count = b->count;
    std::memcpy(Layout::marks(nb), Layout::marks(b), b->count);
    nb->marked = b->marked;
    buckets_[i] = nb;
    Glue::bktHdrRefDec(b);
    return nb;
  }

  void allocateTable(std::size_t buckets) {
    void* table = Lumo::SlabAllocator::allocate(tableBytes(buckets));
    std::memset(table, 0, tableBytes(buckets));
    buckets_ = static_cast<Bucket**>(table);
    summaries_ = reinterpret_cast<uint32_t*>(buckets_ + buckets);
    mask_ = static_cast<uint32_t>(buckets - 1);
  }

  /// Moves node `from` (relocated when the bucket is owned, copied when shared) to slot `to` of `nb`.
  static void transfer(Bucket* nb, const Bucket* from, uint32_t pos, bool owned) noexcept {
    const Run run{Layout::nodes(const_cast<Bucket*>(from)) + pos, 1, owned};
    Glue::newBucketAssemble(1, Layout::nodes(nb) + nb->count, &run);
    if (((Layout::marks(nb)[nb->count] = Layout::marks(from)[pos]) & kMark) != 0) ++nb->marked;
    ++nb->count;
  }
  static void retire(Bucket* b, bool owned) noexcept {
    if (owned)
      Layout::free(b);  // nodes relocated
    else
      Glue::bktHdrRefDec(b);
  }

  /// Rebuilds the table with twice or half the buckets. Doubling splits each bucket in two by one more
  /// hash bit (each half stays sorted); halving merges bucket pairs in key order.
  void resize(std::size_t buckets) {
    Bucket** old = buckets_;
    const uint32_t* oldSummaries = summaries_;
    const std::size_t oldCount = bucketCount();
    allocateTable(buckets);
    if (buckets > oldCount) {
      const uint32_t bit = static_cast<uint32_t>(oldCount);
      // Buckets lie scattered over memory while the old slots are read in order: fetch a few buckets
      // ahead, so that splitting one overlaps with the cache misses of the next.
      constexpr uint32_t kAhead = 8;
      for (uint32_t i = 0; i < oldCount; ++i) {
        if (i + kAhead < oldCount && old[i + kAhead] != nullptr) __builtin_prefetch(old[i + kAhead]);
        Bucket* b = old[i];
        if (b == nullptr) continue;
        splitInto(b, i, bit);
      }
    } else {
      const uint32_t half = static_cast<uint32_t>(buckets);
      for (uint32_t i = 0; i < half; ++i) {
        Bucket* a = old[i];
        Bucket* b = old[i + half];
        if (a == nullptr || b == nullptr) {
          const uint32_t from = a != nullptr ? i : i + half;
          setSlot(i, old[from], oldSummaries[from]);
          continue;
        }
        const bool ownedA = !hashMap2018Shared(a);
        const bool ownedB = !hashMap2018Shared(b);
        Bucket* m = Layout::allocate(a->count + b->count);
        uint32_t pa = 0;
        uint32_t pb = 0;
        while (pa < a->count && pb < b->count) {
          if (Glue::compareOrLruUnlink(nullptr, Layout::nodes(a) + pa, Layout::nodes(b)[pb]) == kKeyBefore)
            transfer(m, a, pa++, ownedA);
          else
            transfer(m, b, pb++, ownedB);
        }
        while (pa < a->count) transfer(m, a, pa++, ownedA);
        while (pb < b->count) transfer(m, b, pb++, ownedB);
        retire(a, ownedA);
        retire(b, ownedB);
        setSlot(i, m, oldSummaries[i] | oldSummaries[i + half]);
      }
    }
    Lumo::SlabAllocator::deallocate(old, tableBytes(oldCount));
    ++layout_;
  }

  /// Places old bucket `b` (formerly at index i) into the doubled table: whole when one hash bit sends
  /// all its nodes the same way, else split in two. Each key is hashed once, and the two summaries are
  /// rebuilt from those hashes.
  void splitInto(Bucket* b, uint32_t i, uint32_t bit) {
    const Node* nodes = Layout::nodes(b);
    const uint32_t count = b->count;
    // Which nodes go high, one bit each; buckets are short at the growth load, longer ones hash twice.
    constexpr uint32_t kRemembered = 64;
    uint64_t goesHigh = 0;
    uint32_t high = 0;
    uint32_t summaryLow = 0;
    uint32_t summaryHigh = 0;
    for (uint32_t p = 0; p < count; ++p) {
      const uint32_t h = hashOf(Node::keyOf(nodes[p]));
      const bool up = (h & bit) != 0;
      (up ? summaryHigh : summaryLow) |= summaryBits(tagOf(h));
      high += up;
      if (up && p < kRemembered) goesHigh |= uint64_t(1) << p;
    }
    if (high == 0 || high == count) {
      // Shared or not, the bucket moves whole.
      setSlot(i + (high == 0 ? 0 : bit), b, summaryLow | summaryHigh);
      return;
    }
    const auto goesUp = [&](uint32_t p) {
      return p < kRemembered ? ((goesHigh >> p) & 1) != 0 : (hashOf(Node::keyOf(nodes[p])) & bit) != 0;
    };
    // One spare slot: after a split the table refills to twice its load.
    Bucket* hi = Layout::allocate(high + 1);
    if (hashMap2018Shared(b)) {
      Bucket* lo = Layout::allocate(count - high + 1);
      for (uint32_t p = 0; p < count; ++p) transfer(goesUp(p) ? hi : lo, b, p, false);
      Glue::bktHdrRefDec(b);
      b = lo;
    } else {
      // The bucket keeps its low half in place (still sorted) and only the high half moves.
      Node* own = Layout::nodes(b);
      uint8_t* marks = Layout::marks(b);
      uint32_t kept = 0;
      uint32_t keptMarked = 0;
      for (uint32_t p = 0; p < count; ++p) {
        if (goesUp(p)) {
          transfer(hi, b, p, true);
          continue;
        }
        if (kept != p) {
          Glue::copyOrRelocate(own + kept, own[p]);
          marks[kept] = marks[p];
        }
        keptMarked += (marks[kept] & kMark) != 0;
        ++kept;
      }
      for (uint32_t p = kept; p < count; ++p) marks[p] = 0;
      b->count = kept;
      b->marked = keptMarked;
    }
    setSlot(i, b, summaryLow);
    setSlot(i + bit, hi, summaryHigh);
  }

  void shareFrom(const HashMap2018Engine& o) {
    size_ = o.size_;
    marked_ = o.marked_;
    if (o.buckets_ == nullptr) return;
    allocateTable(o.bucketCount());
    for (uint32_t i = 0; i <= mask_; ++i) {
      if (Bucket* b = o.buckets_[i]) {
        hashMap2018RefInc(b);
        setSlot(i, b, o.summaries_[i]);
      }
    }
  }
  void takeFrom(HashMap2018Engine& o) noexcept {
    buckets_ = o.buckets_;
    summaries_ = o.summaries_;
    mask_ = o.mask_;
    size_ = o.size_;
    marked_ = o.marked_;
    o.buckets_ = nullptr;
    o.summaries_ = nullptr;
    o.mask_ = 0;
    o.size_ = 0;
    o.marked_ = 0;
    ++o.layout_;  // the source's iterators are refused
    o.changed();
  }
  // Out of line: the erase path only tests for it.
  [[gnu::noinline]] void shrink() {
    if (size_ == 0)
      releaseAll();
    else
      resize(bucketCount() / 2);
  }
  void releaseAll() noexcept {
    if (buckets_ != nullptr) {
      for (uint32_t i = 0; i <= mask_; ++i)
        if (buckets_[i] != nullptr) Glue::bktHdrRefDec(buckets_[i]);
      Lumo::SlabAllocator::deallocate(buckets_, tableBytes(bucketCount()));
    }
    buckets_ = nullptr;
    summaries_ = nullptr;
    mask_ = 0;
    size_ = 0;
    marked_ = 0;
    ++layout_;
  }

  // Slot i: a bucket (null when empty) and the summary of its tags (zero when empty). The summaries lie
  // apart from the pointers, so that a miss, which most often ends at the summary, reads a quarter as
  // many bytes per slot as it would from pairs of both.
  Bucket** buckets_ = nullptr;
  uint32_t* summaries_ = nullptr;
  std::size_t size_ = 0;
  uint32_t mask_ = 0;  // bucket count - 1, when there is a table
  uint32_t seed_;
  uint32_t version_ = 0;
  uint32_t layout_ = 0;   // changes when buckets move between indices
  uint32_t marked_ = 0;   // nodes carrying a deletion mark
  mutable uint32_t liveIterators_ = 0;
};

}  // namespace Vem
