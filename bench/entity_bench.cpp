// A collection setter on an entity with one subscriber (store, then announce the attribute, key and old
// value) against a bare absl::flat_hash_map insert of the same key and value.
//
// The attribute-log record that an agent writes for the same change is not part of this measure yet:
// when the log writer exists, AnnouncementSink::onChange is where the record is written, and this
// measure becomes "setter + announcement + log record".
#include <Lumo/Publisher.h>
#include <Orv/OrvPortGroupTypes.h>

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

constexpr std::size_t kKeys = 1000;

const std::vector<Lumo::String>& portNames() {
  static const std::vector<Lumo::String> names = [] {
    std::vector<Lumo::String> v;
    for (std::size_t i = 0; i < kKeys; ++i)
      v.emplace_back("Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1));
    return v;
  }();
  return names;
}

// The one subscriber: reads what an agent reads from each announcement.
class AnnouncementSink : public Lumo::Subscriber {
 public:
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    benchmark::DoNotOptimize(id);
    benchmark::DoNotOptimize(key);
    benchmark::DoNotOptimize(old);
    ++seen;
  }
  std::size_t seen = 0;
};

// Each call changes the value of one of 1000 present keys, so each is a real change and announced.
void BM_SetterAnnounce_Vem(benchmark::State& state) {
  const auto& names = portNames();
  auto list = Orv::PortListIs(Lumo::String("modeA"));
  for (const auto& n : names) list->portsIs(n, false);
  AnnouncementSink sink;
  list->publisher().subscriberAdd(&sink);
  std::size_t i = 0;
  bool value = true;
  for (auto _ : state) {
    list->portsIs(names[i], value);
    if (++i == names.size()) {
      i = 0;
      value = !value;
    }
  }
  list->publisher().subscriberDel(&sink);
  if (sink.seen != static_cast<std::size_t>(state.iterations())) state.SkipWithError("announcements missing");
}

struct StringHash {
  std::size_t operator()(const Lumo::String& s) const noexcept { return absl::Hash<std::string_view>()(s.view()); }
};

void BM_SetterAnnounce_AbslInsert(benchmark::State& state) {
  const auto& names = portNames();
  absl::flat_hash_map<Lumo::String, bool, StringHash> map;
  for (const auto& n : names) map.insert_or_assign(n, false);
  std::size_t i = 0;
  bool value = true;
  for (auto _ : state) {
    map.insert_or_assign(names[i], value);
    if (++i == names.size()) {
      i = 0;
      value = !value;
    }
  }
  benchmark::DoNotOptimize(map);
}

BENCHMARK(BM_SetterAnnounce_Vem);
BENCHMARK(BM_SetterAnnounce_AbslInsert);

}  // namespace

BENCHMARK_MAIN();
