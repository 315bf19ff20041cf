// HashMap2018 against absl::flat_hash_map and std::unordered_map: lookup hit and miss, insert, update,
// erase, iterate, at 1e3 and 1e6 keys, with interface-id keys and string keys, and bytes per entry.
//
// Interface ids use the key form the compiler gives them (hashed as their 64 bits), as generated
// collections do. scripts/run-benchmarks runs this and compares medians.
#include <Pelix/IntfId.h>
#include <Vem/HashMap2018.h>

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// Counts bytes held by the anchors' containers.
inline std::size_t countedBytes = 0;
template <class T>
struct CountingAllocator {
  using value_type = T;
  CountingAllocator() noexcept = default;
  template <class U>
  CountingAllocator(const CountingAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) {
    countedBytes += n * sizeof(T);
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* p, std::size_t n) noexcept {
    countedBytes -= n * sizeof(T);
    std::allocator<T>().deallocate(p, n);
  }
  template <class U>
  bool operator==(const CountingAllocator<U>&) const noexcept {
    return true;
  }
};

struct IntfIdHash {
  std::size_t operator()(const Pelix::IntfId& k) const noexcept { return absl::Hash<uint64_t>()(k.raw()); }
};
struct IntfIdStdHash {
  std::size_t operator()(const Pelix::IntfId& k) const noexcept { return std::hash<uint64_t>()(k.raw()); }
};

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(const Lumo::String& s) const noexcept { return absl::Hash<std::string_view>()(s.view()); }
};

template <class K>
struct VemMap {
  using Node = std::conditional_t<std::is_same_v<K, Lumo::String>,
                                  Vem::HashMap2018Node<Lumo::String, uint64_t, Vem::KeyString, 0x51u>,
                                  Vem::HashMap2018Node<Pelix::IntfId, uint64_t, Vem::KeyAndRhashSeedArg, 0x51u>>;
  Vem::HashMap2018<Node> m;
  bool find(const K& k) const { return m.find(k) != nullptr; }
  void set(const K& k, uint64_t v) { m.set(k, v); }
  void erase(const K& k) { m.erase(k); }
  std::size_t bytes() const { return m.allocatedBytes(); }
  template <class Fn>
  void forEach(Fn&& fn) const {
    m.forEach(fn);
  }
};

template <class K>
using AnchorHash = std::conditional_t<std::is_same_v<K, Lumo::String>, StringHash, IntfIdHash>;
template <class K>
using StdHash = std::conditional_t<std::is_same_v<K, Lumo::String>, std::hash<K>, IntfIdStdHash>;

// The anchors share one adapter: both count their bytes through CountingAllocator.
template <class Container>
struct AnchorMap {
  using K = typename Container::key_type;
  Container m;
  bool find(const K& k) const { return m.find(k) != m.end(); }
  void set(const K& k, uint64_t v) { m.insert_or_assign(k, v); }
  void erase(const K& k) { m.erase(k); }
  std::size_t bytes() const { return countedBytes; }
  template <class Fn>
  void forEach(Fn&& fn) const {
    for (const auto& [k, v] : m) fn(k, v);
  }
};

template <class K>
using AnchorAllocator = CountingAllocator<std::pair<const K, uint64_t>>;
template <class K>
using AbslMap = AnchorMap<absl::flat_hash_map<K, uint64_t, AnchorHash<K>, std::equal_to<K>, AnchorAllocator<K>>>;
template <class K>
using StdMap = AnchorMap<std::unordered_map<K, uint64_t, StdHash<K>, std::equal_to<K>, AnchorAllocator<K>>>;

template <class K>
K makeKey(uint64_t i);
template <>
Pelix::IntfId makeKey<Pelix::IntfId>(uint64_t i) {
  // Module, port and sub-interface numbers as a switch has them, every key distinct.
  return Pelix::IntfId::fromRaw((uint64_t(1) << 56) | ((i / 48 + 1) << 32) | ((i % 48 + 1) << 24) | (i / 4096 + 1));
}
template <>
Lumo::String makeKey<Lumo::String>(uint64_t i) {
  return Lumo::String("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1));
}

// Keys [0, n) are in the map, inserted in the order of `present`; keys [n, 2n) are not. Lookups, updates
// and erases take the present keys in another order (`probes`): node-based maps lay their nodes out in
// insertion order, and replaying that order would walk their memory in sequence.
template <class K>
struct Keys {
  std::vector<K> present, probes, absent;
  explicit Keys(std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) present.push_back(makeKey<K>(i));
    for (std::size_t i = n; i < 2 * n; ++i) absent.push_back(makeKey<K>(i));
    std::mt19937_64 rng(1);
    std::shuffle(present.begin(), present.end(), rng);
    std::shuffle(absent.begin(), absent.end(), rng);
    probes = present;
    std::shuffle(probes.begin(), probes.end(), rng);
  }
};

template <class K>
const Keys<K>& keysFor(std::size_t n) {
  static std::vector<std::pair<std::size_t, Keys<K>*>> cache;
  for (auto& [size, keys] : cache)
    if (size == n) return *keys;
  cache.emplace_back(n, new Keys<K>(n));
  return *cache.back().second;
}

template <class Map, class K>
void fill(Map& map, const Keys<K>& keys) {
  uint64_t v = 0;
  for (const K& k : keys.present) map.set(k, ++v);
}

// Looks up the keys of one of the lists in turn, one per iteration, in a map holding the present keys.
template <class Map, class K>
void lookUpInTurn(benchmark::State& state, std::vector<K> Keys<K>::*list) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  const std::vector<K>& probes = keys.*list;
  Map map;
  fill(map, keys);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(probes[i]));
    if (++i == probes.size()) i = 0;
  }
}

template <class Map, class K>
void BM_LookupHit(benchmark::State& state) {
  lookUpInTurn<Map, K>(state, &Keys<K>::probes);
}

template <class Map, class K>
void BM_LookupMiss(benchmark::State& state) {
  lookUpInTurn<Map, K>(state, &Keys<K>::absent);
}

// Builds the whole map from empty: time per insert, growth included.
template <class Map, class K>
void BM_Insert(benchmark::State& state) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    Map map;
    fill(map, keys);
    benchmark::DoNotOptimize(map);
    state.PauseTiming();
    { Map gone(std::move(map)); }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys.present.size()));
}

template <class Map, class K>
void BM_Update(benchmark::State& state) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  Map map;
  fill(map, keys);
  std::size_t i = 0;
  uint64_t v = 0;
  for (auto _ : state) {
    map.set(keys.probes[i], ++v);
    if (++i == keys.probes.size()) i = 0;
  }
}

// Erases every key of a full map.
template <class Map, class K>
void BM_Erase(benchmark::State& state) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    Map map;
    fill(map, keys);
    state.ResumeTiming();
    for (const K& k : keys.probes) map.erase(k);
    benchmark::DoNotOptimize(map);
    state.PauseTiming();
    { Map gone(std::move(map)); }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys.present.size()));
}

// Visits every entry, summing the values.
template <class Map, class K>
void BM_Iterate(benchmark::State& state) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  Map map;
  fill(map, keys);
  for (auto _ : state) {
    uint64_t sum = 0;
    map.forEach([&](const K&, uint64_t v) { sum += v; });
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * keys.present.size()));
}

template <class Map, class K>
void BM_Bytes(benchmark::State& state) {
  const auto& keys = keysFor<K>(static_cast<std::size_t>(state.range(0)));
  double perEntry = 0;
  for (auto _ : state) {
    countedBytes = 0;
    Map map;
    fill(map, keys);
    perEntry = double(map.bytes()) / double(keys.present.size());
  }
  state.counters["bytes_per_entry"] = perEntry;
}

#define VEM_BENCH_ALL(BM, K)                                                            \
  BENCHMARK_TEMPLATE(BM, VemMap<K>, K)->Arg(1000)->Arg(1000000)->Name(#BM "/Vem/" #K);  \
  BENCHMARK_TEMPLATE(BM, AbslMap<K>, K)->Arg(1000)->Arg(1000000)->Name(#BM "/Absl/" #K); \
  BENCHMARK_TEMPLATE(BM, StdMap<K>, K)->Arg(1000)->Arg(1000000)->Name(#BM "/Std/" #K)

using String = Lumo::String;
using IntfId = Pelix::IntfId;
VEM_BENCH_ALL(BM_LookupHit, IntfId);
VEM_BENCH_ALL(BM_LookupHit, String);
VEM_BENCH_ALL(BM_LookupMiss, IntfId);
VEM_BENCH_ALL(BM_LookupMiss, String);
VEM_BENCH_ALL(BM_Insert, IntfId);
VEM_BENCH_ALL(BM_Insert, String);
VEM_BENCH_ALL(BM_Update, IntfId);
VEM_BENCH_ALL(BM_Update, String);
VEM_BENCH_ALL(BM_Erase, IntfId);
VEM_BENCH_ALL(BM_Erase, String);
VEM_BENCH_ALL(BM_Iterate, IntfId);
VEM_BENCH_ALL(BM_Iterate, String);
VEM_BENCH_ALL(BM_Bytes, IntfId)->Iterations(1);
VEM_BENCH_ALL(BM_Bytes, String)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
