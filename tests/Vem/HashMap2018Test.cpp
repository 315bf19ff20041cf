// HashMap2018 behaviour the randomised model does not single out: copy-on-write sharing, iterator
// refusal after a resize, the key order of the glue, key forms and internal-key nodes.
#include <Vem/HashMap2018.h>
#include <Vem/HashMap2018NodeInternalKey.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

struct Counted {
  static inline long live = 0;
  static inline long copies = 0;
  int v = 0;
  Counted() noexcept { ++live; }
  Counted(int x) noexcept : v(x) { ++live; }
  Counted(const Counted& o) noexcept : v(o.v) { ++live, ++copies; }
  Counted(Counted&& o) noexcept : v(o.v) { ++live; }
  Counted& operator=(const Counted&) noexcept = default;
  Counted& operator=(Counted&&) noexcept = default;
  ~Counted() { --live; }
  friend bool operator==(const Counted& a, const Counted& b) noexcept { return a.v == b.v; }
};

using IntNode = Vem::HashMap2018Node<uint32_t, Counted, Vem::KeyU32, 0x10u>;
using Map = Vem::HashMap2018<IntNode>;

TEST(HashMap2018, CopySharesBucketsUntilWritten) {
  {
    Map a;
    for (uint32_t i = 0; i < 1000; ++i) a.set(i, Counted(int(i)));
    const long liveBefore = Counted::live;
    Counted::copies = 0;
    Map b = a;
    EXPECT_EQ(Counted::copies, 0) << "a copy shares nodes";
    EXPECT_EQ(Counted::live, liveBefore);

    b.set(5, Counted(-5));  // copies only the bucket holding 5
    EXPECT_GT(Counted::copies, 0);
    EXPECT_LT(Counted::copies, 20);
    EXPECT_EQ(a.find(5)->v, 5);
    EXPECT_EQ(b.find(5)->v, -5);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(HashMap2018, MovedFromMapIsEmptyAndRefusesItsIterators) {
  Map a;
  for (uint32_t i = 0; i < 50; ++i) a.set(i, Counted(1));
  {
    auto it = a.begin();
    Map b = std::move(a);
    EXPECT_EQ(b.size(), 50u);
    EXPECT_TRUE(a.empty());
    EXPECT_THROW(it.next(), Vem::IteratorInvalidated);
  }
  a.set(1, Counted(2));
  EXPECT_EQ(a.find(1)->v, 2);
}

TEST(HashMap2018, IteratorRefusedAfterResizeWithClearMessage) {
  Map m;
  m.set(1, Counted(1));
  auto it = m.begin();
  // Growth waits while an iterator is live, then happens anyway.
  uint32_t k = 2;
  const std::size_t buckets = m.bucketCount();
  while (m.bucketCount() == buckets) m.set(k++, Counted(0));
  EXPECT_GT(k, 8 * buckets) << "growth was not held back by the live iterator";
  try {
    it.next();
    FAIL() << "expected IteratorInvalidated";
  } catch (const Vem::IteratorInvalidated& e) {
    EXPECT_NE(std::string(e.what()).find("Vem/HashMap2018"), std::string::npos);
  }
  // The refused iterator still reads the node it was on.
  EXPECT_EQ(it.key(), 1u);
}

TEST(HashMap2018, EraseEveryEntryWhileIterating) {
  Map m;
  for (uint32_t i = 0; i < 2000; ++i) m.set(i, Counted(int(i)));
  std::vector<bool> seen(2000);
  for (auto it = m.begin(); it.valid(); it.next()) {
    ASSERT_FALSE(seen[it.key()]);
    seen[it.key()] = true;
    Counted out;
    ASSERT_TRUE(m.erase(it.key(), &out));
    EXPECT_EQ(out.v, int(it.key()));
  }
  EXPECT_TRUE(m.empty());
  for (bool s : seen) EXPECT_TRUE(s);
}

TEST(HashMap2018, LowerBoundStartsAtTheKeyOrItsSuccessor) {
  Map m;
  for (uint32_t i = 0; i < 300; i += 3) m.set(i, Counted(int(i)));
  auto at = m.lowerBound(30);
  ASSERT_TRUE(at.valid());
  EXPECT_EQ(at.key(), 30u);
  EXPECT_EQ(at.value().v, 30);
  // An absent key starts a walk at its successor: part of the map, not all of it.
  std::size_t n = 0;
  for (auto from = m.lowerBound(31); from.valid(); from.next()) ++n;
  EXPECT_LT(n, m.size());
  EXPECT_TRUE(!Map().lowerBound(1).valid());
}

TEST(HashMap2018, ValueReadThroughIteratorFollowsChanges) {
  Map m;
  m.set(7, Counted(1));
  auto it = m.begin();
  m.set(7, Counted(2));
  EXPECT_EQ(it.value().v, 2);
  m.erase(7);
  EXPECT_EQ(it.key(), 7u);  // still readable after its entry left
  it.next();
  EXPECT_FALSE(it.valid());
}

TEST(HashMap2018, VersionWrapsAt23Bits) {
  Map m;
  m.set(1, Counted(0));
  const uint32_t start = m.version();
  for (int i = 1; i < (1 << 23); ++i) {
    m.set(1, Counted(i & 1));
    ASSERT_LT(m.version(), 1u << 23);
  }
  EXPECT_NE(m.version(), start);
  m.set(1, Counted(2));
  EXPECT_EQ(m.version(), start) << "2^23 changes bring the version round";
}

// Shrinking merges bucket pairs in key order; a wrong merge shows as a key that a walk resumed after a
// change skips or meets twice.
template <class Node, class MakeKey>
void expectShrinkKeepsEveryKey(MakeKey key) {
  Vem::HashMap2018<Node> m;
  constexpr uint32_t kKeys = 100000, kKept = 100;
  for (uint32_t i = 0; i < kKeys; ++i) m.set(key(i), int(i));
  const std::size_t peak = m.bucketCount();
  for (uint32_t i = kKept; i < kKeys; ++i) ASSERT_TRUE(m.erase(key(i))) << i;
  EXPECT_LE(m.bucketCount(), std::size_t{16 * kKept * 2}) << "the table shrank from " << peak;
  // A walk resumes by that order after every change: here an insert before each step.
  std::vector<bool> seen(kKept);
  uint32_t added = kKeys;
  for (auto it = m.begin(); it.valid(); it.next()) {
    const int v = *m.find(it.key());
    if (v < int(kKept)) {
      EXPECT_FALSE(seen[v]) << "met twice: " << v;
      seen[v] = true;
    }
    m.set(key(added), int(added));
    ++added;
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), int(kKept));
  for (uint32_t i = kKeys; i < added; ++i) m.erase(key(i));
  for (uint32_t i = 0; i < 2 * kKept; ++i) m.set(key(i), int(i));  // half present, half new
  EXPECT_EQ(m.size(), 2u * kKept);
  for (uint32_t i = 0; i < 2 * kKept; ++i) EXPECT_EQ(*m.find(key(i)), int(i)) << i;
  for (uint32_t i = 0; i < 2 * kKept; ++i) m.erase(key(i));
  EXPECT_LE(m.bucketCount(), 1024u);
  EXPECT_EQ(m.allocatedBytes(), m.bucketCount() * (sizeof(void*) + sizeof(uint32_t))) << "only the table is left";
}

TEST(HashMap2018, ErasingGivesALargeTableBackAndKeepsASmallOne) {
  expectShrinkKeepsEveryKey<Vem::HashMap2018Node<uint32_t, int, Vem::KeyU32, 3u>>([](uint32_t i) { return i; });
  expectShrinkKeepsEveryKey<Vem::HashMap2018Node<Lumo::String, int, Vem::KeyString, 3u>>(
      [](uint32_t i) { return Lumo::String("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1)); });

  // Emptied and refilled, a small map keeps its table and does not grow it again.
  Map small;
  for (uint32_t i = 0; i < 1000; ++i) small.set(i, Counted(1));
  const std::size_t buckets = small.bucketCount();
  for (uint32_t i = 0; i < 1000; ++i) small.erase(i);
  EXPECT_EQ(small.bucketCount(), buckets);
  small.set(7, Counted(7));
  EXPECT_EQ(small.find(7)->v, 7);
}

TEST(HashMap2018, MarksOnSharedBucketsStayWithTheirMap) {
  Map a;
  for (uint32_t i = 0; i < 100; ++i) a.set(i, Counted(int(i)));
  Map b = a;
  a.markAllForDeletion();
  EXPECT_FALSE(b.isMarked(3));
  a.unmark(3);
  std::vector<uint32_t> gone;
  a.eraseMarked([&](uint32_t k, const Counted& v) {
    EXPECT_EQ(v.v, int(k));
    gone.push_back(k);
  });
  EXPECT_EQ(gone.size(), 99u);
  EXPECT_EQ(a.size(), 1u);
  EXPECT_TRUE(a.contains(3));
  EXPECT_EQ(b.size(), 100u);
}

// ---- glue operations ----

using StrNode = Vem::HashMap2018Node<Lumo::String, Counted, Vem::KeyString, 0u>;
using Glue = Vem::HashMap2018Glue<StrNode>;

TEST(HashMap2018Glue, CompareOrdersStringsByBytesAndIntegersUnsigned) {
  StrNode a{"ab", 0}, b{"ab\xff", 0}, c{"b", 0};
  EXPECT_EQ(Glue::compareOrLruUnlink(nullptr, &a, b), Vem::kKeyBefore);
  EXPECT_EQ(Glue::compareOrLruUnlink(nullptr, &c, b), Vem::kKeyAfter);
  const Lumo::String key("ab");
  EXPECT_EQ(Glue::compareOrLruUnlink(&key, nullptr, a), Vem::kKeyEqual);
  EXPECT_TRUE(Glue::keyEqualsNode(key, a));

  using SignedNode = Vem::HashMap2018Node<int32_t, int, Vem::KeyU32, 0u>;
  SignedNode minus{-1, 0}, one{1, 0};
  EXPECT_EQ(Vem::HashMap2018Glue<SignedNode>::compareOrLruUnlink(nullptr, &one, minus), Vem::kKeyBefore);
}

// ---- key forms and node kinds ----

// A platform key held as one 64-bit number opts into integer hashing through raw().
class PortId {
 public:
  explicit PortId(uint64_t r) : raw_(r) {}
  uint64_t raw() const noexcept { return raw_; }
  friend bool operator==(PortId a, PortId b) noexcept { return a.raw_ == b.raw_; }
  friend std::strong_ordering operator<=>(PortId a, PortId b) noexcept { return a.raw_ <=> b.raw_; }

 private:
  uint64_t raw_;
};

struct Pair {
  uint32_t a, b;
  uint32_t hash(uint32_t seed) const noexcept { return Vem::hashSingleAttr(uint64_t(a) << 32 | b, seed); }
  uint32_t hash() const noexcept { return hash(0); }
  friend bool operator==(const Pair&, const Pair&) = default;
  friend std::strong_ordering operator<=>(const Pair&, const Pair&) = default;
};

template <class Node, class MakeKey>
void expectWorksAsMap(MakeKey make) {
  Vem::HashMap2018<Node> m;
  for (uint32_t i = 0; i < 500; ++i) m.set(make(i), int(i));
  for (uint32_t i = 0; i < 500; ++i) {
    ASSERT_NE(m.find(make(i)), nullptr);
    EXPECT_EQ(*m.find(make(i)), int(i));
  }
  EXPECT_EQ(m.find(make(1000)), nullptr);
}

TEST(HashMap2018, EveryKeyFormFindsItsKeys) {
  expectWorksAsMap<Vem::HashMap2018Node<PortId, int, Vem::KeyU64, 1u>>([](uint32_t i) { return PortId(uint64_t(i) << 40); });
  expectWorksAsMap<Vem::HashMap2018Node<Pair, int, Vem::KeyAndRhashSeedArg, 1u>>([](uint32_t i) { return Pair{i, i * 7}; });
  expectWorksAsMap<Vem::HashMap2018Node<Pair, int, Vem::KeyAndRhashLegacy, 1u>>([](uint32_t i) { return Pair{i, 1}; });
  expectWorksAsMap<Vem::HashMap2018Node<Pair, int, Vem::KeyAndRhashNoSeedArg, 1u>>([](uint32_t i) { return Pair{1, i}; });
}

TEST(HashMap2018, SeededFormsDependOnTheSeedConstantLegacyDoesNot) {
  const Lumo::String k("Ethernet1");
  const uint32_t seed = Vem::HashHelper::hashSeed32();
  EXPECT_EQ(Vem::KeyFormHash<Vem::KeyStringLegacy>::hash(k, seed), Vem::hashSingleAttr(k, 0u));
  EXPECT_EQ(Vem::KeyFormHash<Vem::KeyString>::hash(k, seed ^ 5u), Vem::hashSingleAttr(k, seed ^ 5u));
  EXPECT_EQ(Vem::KeyFormHash<Vem::KeyU64>::hash(PortId(9), 3u), Vem::hashSingleAttr(uint64_t(9), 3u));
  // The flat integer hashes are the accumulator's, bit for bit.
  std::mt19937_64 rng(3);
  for (int i = 0; i < 1000; ++i) {
    const uint64_t v = rng();
    const uint32_t s = static_cast<uint32_t>(rng());
    ASSERT_EQ(Vem::KeyFormHash<Vem::KeyU64>::hash(v, s), Vem::hashSingleAttr(v, s));
    ASSERT_EQ(Vem::KeyFormHash<Vem::KeyU32>::hash(uint32_t(v), s), Vem::hashSingleAttr(uint32_t(v), s));
  }
}

struct Flat {
  uint32_t v;
  uint32_t hash() const noexcept { return 0; }
  friend bool operator==(const Flat&, const Flat&) = default;
  friend std::strong_ordering operator<=>(const Flat&, const Flat&) = default;
};

TEST(HashMap2018, AllKeysInOneBucketStillWork) {
  // A composite key whose hash ignores it: one bucket, searched by halves once it is large.
  Vem::HashMap2018<Vem::HashMap2018Node<Flat, int, Vem::KeyAndRhashLegacy, 0u>> m;
  for (uint32_t i = 0; i < 300; ++i) m.set(Flat{(i * 37) % 300}, int(i));
  for (uint32_t i = 0; i < 300; ++i) EXPECT_TRUE(m.contains(Flat{i}));
  uint32_t prev = 0, n = 0;
  for (auto [k, v] : m) {
    if (n++ != 0) {
      EXPECT_GT(k.v, prev) << "a bucket keeps its nodes in key order";
    }
    prev = k.v;
  }
  for (uint32_t i = 0; i < 300; i += 2) EXPECT_TRUE(m.erase(Flat{i}));
  EXPECT_EQ(m.size(), 150u);
  EXPECT_FALSE(m.contains(Flat{4}));
  EXPECT_TRUE(m.contains(Flat{5}));
}

// A key whose hash is chosen by the test: the top five bits pick the slot summary bit, the low bits the
// bucket.
struct Aimed {
  uint32_t v;
  uint32_t h;
  uint32_t hash() const noexcept { return h; }
  friend bool operator==(const Aimed& a, const Aimed& b) noexcept { return a.v == b.v; }
  friend std::strong_ordering operator<=>(const Aimed& a, const Aimed& b) noexcept { return a.v <=> b.v; }
};

TEST(HashMap2018, SlotSummaryFollowsErasesAndCopies) {
  using AimedMap = Vem::HashMap2018<Vem::HashMap2018Node<Aimed, int, Vem::KeyAndRhashLegacy, 0u>>;
  const uint32_t bitA = 3u << 27, bitB = 9u << 27;
  AimedMap m;
  // Same bucket (low bits 0), two keys sharing summary bit A and one with bit B.
  m.set(Aimed{1, bitA}, 1);
  m.set(Aimed{2, bitA}, 2);
  m.set(Aimed{3, bitB}, 3);
  EXPECT_FALSE(m.contains(Aimed{4, 17u << 27})) << "a miss on a clear summary bit";
  EXPECT_TRUE(m.erase(Aimed{1, bitA}));
  EXPECT_TRUE(m.contains(Aimed{2, bitA})) << "erasing one key keeps the bit another key shares";
  EXPECT_TRUE(m.erase(Aimed{3, bitB}));
  EXPECT_FALSE(m.contains(Aimed{3, bitB}));

  // A copy shares the bucket; each side's summary follows its own erases.
  AimedMap copy = m;
  EXPECT_TRUE(copy.erase(Aimed{2, bitA}));
  EXPECT_FALSE(copy.contains(Aimed{2, bitA}));
  EXPECT_TRUE(m.contains(Aimed{2, bitA}));

}

// Child entities keyed by their own name.
struct Child {
  Lumo::String name;
  int weight;
  friend bool operator==(const Child&, const Child&) = default;
};
struct ChildName {
  static const Lumo::String& key(const Child& c) noexcept { return c.name; }
};

TEST(HashMap2018, InternalKeyNodesAreKeyedByTheirValue) {
  using Node = Vem::HashMap2018NodeInternalKey<Child, ChildName, Vem::KeyString, 0x42u>;
  Vem::HashMap2018<Node> m;
  EXPECT_EQ(m.set(Child{"eth0", 1}), Vem::SetResult::inserted);
  EXPECT_EQ(m.set(Child{"eth1", 2}), Vem::SetResult::inserted);
  EXPECT_EQ(m.set(Child{"eth0", 1}), Vem::SetResult::unchanged);
  Child old{"", 0};
  EXPECT_EQ(m.set(Child{"eth0", 5}, &old), Vem::SetResult::replaced);
  EXPECT_EQ(old.weight, 1);
  ASSERT_NE(m.find("eth0"), nullptr);
  EXPECT_EQ(m.find("eth0")->weight, 5);
  EXPECT_TRUE(m.erase("eth1"));
  EXPECT_EQ(m.size(), 1u);
}

// Wider than a register, so lookups filter by the tag in each node's mark byte, eight marks at a time.
struct Tagged {
  uint32_t v;
  uint32_t h;
  uint32_t unused = 0;
  uint32_t hash() const noexcept { return h; }
  friend bool operator==(const Tagged& a, const Tagged& b) noexcept { return a.v == b.v; }
  friend std::strong_ordering operator<=>(const Tagged& a, const Tagged& b) noexcept { return a.v <=> b.v; }
};

TEST(HashMap2018, TagScanFindsEveryKeyOfALargeBucket) {
  using TaggedMap = Vem::HashMap2018<Vem::HashMap2018Node<Tagged, int, Vem::KeyAndRhashLegacy, 0u>>;
  // One bucket (low bits 0) of 45 keys: six words of marks, the last one partly filled. Tags repeat, so
  // candidates must be told apart by their keys.
  const auto key = [](uint32_t v) { return Tagged{v, (v % 5 + 1) << 25}; };
  TaggedMap m;
  for (uint32_t v = 0; v < 45; ++v) m.set(key(v), int(v));
  for (uint32_t v = 0; v < 45; ++v) {
    ASSERT_NE(m.find(key(v)), nullptr) << v;
    EXPECT_EQ(*m.find(key(v)), int(v));
  }
  EXPECT_FALSE(m.contains(key(45))) << "same tag as present keys, absent key";
  EXPECT_FALSE(m.contains(Tagged{3, 6u << 25})) << "a tag no node has, though the slot summary lets it through";
  for (uint32_t v = 0; v < 45; v += 2) EXPECT_TRUE(m.erase(key(v)));
  for (uint32_t v = 0; v < 45; ++v) EXPECT_EQ(m.contains(key(v)), v % 2 == 1) << v;
  // A copy shares the bucket and reads it the same way.
  const TaggedMap copy = m;
  for (uint32_t v = 1; v < 45; v += 2) EXPECT_TRUE(copy.contains(key(v))) << v;
}

TEST(HashMap2018, StringHashSeesEveryByteAndTheLength) {
  // Every length around the eight-byte steps; flipping any one byte, or cutting the last, changes it.
  std::string text;
  for (std::size_t n = 0; n <= 33; ++n) {
    const Lumo::String base(text);
    const uint32_t h = Vem::hashSingleAttr(base, 7u);
    EXPECT_NE(h, Vem::hashSingleAttr(base, 8u)) << "seed ignored at length " << n;
    for (std::size_t i = 0; i < n; ++i) {
      std::string changed = text;
      changed[i] = static_cast<char>(changed[i] ^ 0x20);
      EXPECT_NE(h, Vem::hashSingleAttr(Lumo::String(changed), 7u)) << "byte " << i << " of " << n;
    }
    text.push_back(static_cast<char>('a' + n % 26));
    EXPECT_NE(h, Vem::hashSingleAttr(Lumo::String(text), 7u)) << "length " << n << " and one more";
  }
  EXPECT_NE(Vem::hashSingleAttr(Lumo::String(std::string("\0", 1)), 0u), Vem::hashSingleAttr(Lumo::String(), 0u));
}

TEST(HashMap2018, StringHashSpreadsNamesThatDifferInTheirLastDigits) {
  // Interface names share a long prefix and differ in a few digits at the end. Hashed into 512
  // buckets (the table of 1000 keys), they must fill them about as a random function would: a lookup
  // that hits compares about 1 + load/2 = 2 nodes, and no bucket is many times the load.
  for (uint32_t seed : {0u, 0x51u, 0x9e3779b9u}) {
    std::vector<unsigned> bucket(512);
    for (std::size_t i = 0; i < 1000; ++i) {
      const Lumo::String name("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1));
      ++bucket[Vem::hashSingleAttr(name, seed) & 511];
    }
    double squares = 0;
    unsigned longest = 0;
    for (unsigned n : bucket) {
      squares += double(n) * n;
      longest = std::max(longest, n);
    }
    EXPECT_LT(squares / 1000 / 2 + 0.5, 2.3) << "seed " << seed;
    EXPECT_LE(longest, 10u) << "seed " << seed;
  }
}

}  // namespace
