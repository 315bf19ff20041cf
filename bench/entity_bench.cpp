// Entities on the attribute log against the bare containers and serialisers they stand in for:
//  - a collection setter (store, announce) with and without the log record an attached sender writes,
//    against a bare absl::flat_hash_map insert of the same key and value;
//  - a mirror applying recorded changes (read the record, set, announce to one subscriber), against
//    the same bare insert;
//  - a full resend of a 1e6-entry collection to a fresh sender, against libprotobuf serialising the
//    same map, in bytes per second.
#include "port_list.pb.h"

#include <Lumo/Publisher.h>
#include <Orv/OrvPortGroupTypes.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogSa.h>

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Vem::NboAttrLog::Demuxer;
using Vem::NboAttrLog::Sender;
namespace Frame = Vem::NboAttrLog::Frame;

constexpr std::size_t kKeys = 1000;
constexpr std::size_t kResendKeys = 1000000;
// The transport takes what the sender wrote once this much has gathered.
constexpr std::size_t kDrainAt = 64 * 1024;

// Distinct for every i: the slot and the port within it.
std::string portName(std::size_t i) { return "Ethernet" + std::to_string(i / 48 + 1) + "/" + std::to_string(i % 48 + 1); }

const std::vector<Lumo::String>& portNames() {
  static const std::vector<Lumo::String> names = [] {
    std::vector<Lumo::String> v;
    for (std::size_t i = 0; i < kKeys; ++i) v.emplace_back(portName(i));
    return v;
  }();
  return names;
}

// A changed entry of `ports` on the log: header, key string (4 + length), value (1).
std::size_t entryRecordSize(const Lumo::String& key) { return Frame::kHeaderSize + 4 + key.size() + 1; }

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

Lumo::Ptr<Orv::PortList> listOfAllPorts() {
  auto list = Orv::PortListIs(Lumo::String("modeA"));
  for (const auto& n : portNames()) list->portsIs(n, false);
  return list;
}

// Sets each of the 1000 present keys in turn, flipping the value every round, so each call is a real change.
template <class Set>
void changeLoop(benchmark::State& state, Set set) {
  const auto& names = portNames();
  std::size_t i = 0;
  bool value = true;
  for (auto _ : state) {
    set(names[i], value);
    if (++i == names.size()) {
      i = 0;
      value = !value;
    }
  }
}

// Store and announce; nothing is on the log.
void BM_SetterAnnounce_Vem(benchmark::State& state) {
  auto list = listOfAllPorts();
  AnnouncementSink sink;
  list->publisher().subscriberAdd(&sink);
  changeLoop(state, [&](const Lumo::String& key, bool value) { list->portsIs(key, value); });
  list->publisher().subscriberDel(&sink);
  if (sink.seen != static_cast<std::size_t>(state.iterations())) state.SkipWithError("announcements missing");
}

// Store, announce to the entity's one subscriber, its log adapter, which writes the record into the
// sender's output; the transport takes the output in 64 KiB pieces.
void BM_SetterAnnounceLog_Vem(benchmark::State& state) {
  auto list = listOfAllPorts();
  Sender sender;
  sender.attach(list);
  sender.consume(sender.buffered());
  std::size_t written = 0;
  changeLoop(state, [&](const Lumo::String& key, bool value) {
    list->portsIs(key, value);
    if (sender.buffered() >= kDrainAt) {
      written += sender.buffered();
      sender.consume(sender.buffered());
    }
  });
  written += sender.buffered();
  // Exactly one record per change, whatever the key.
  const auto& names = portNames();
  const std::size_t n = static_cast<std::size_t>(state.iterations());
  std::size_t expected = 0;
  for (std::size_t i = 0; i < names.size(); ++i) expected += entryRecordSize(names[i]) * (n / names.size() + (i < n % names.size()));
  if (written != expected) state.SkipWithError("log records missing or malformed");
}

struct StringHash {
  std::size_t operator()(const Lumo::String& s) const noexcept { return absl::Hash<std::string_view>()(s.view()); }
};

void BM_SetterAnnounce_AbslInsert(benchmark::State& state) {
  absl::flat_hash_map<Lumo::String, bool, StringHash> map;
  for (const auto& n : portNames()) map.insert_or_assign(n, false);
  changeLoop(state, [&](const Lumo::String& key, bool value) { map.insert_or_assign(key, value); });
  benchmark::DoNotOptimize(map);
}

// A mirror of a 1000-port list and the records of two rounds of changes to it (every port to true,
// then every port back to false), cut at record boundaries: replaying them in a loop changes the
// mirror with every record.
struct RecordedChanges {
  Demuxer demuxer;
  Lumo::Ptr<Vem::Entity> mirror;
  std::string stream;
  std::vector<std::size_t> starts;  // record i is stream[starts[i], starts[i + 1])

  RecordedChanges() {
    auto list = listOfAllPorts();
    Sender sender;
    demuxer.rootObserverIs([this](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& e) { mirror = e; });
    sender.attach(list);
    demuxer.feed(sender.output());
    sender.consume(sender.buffered());
    for (bool value : {true, false})
      for (const auto& n : portNames()) {
        starts.push_back(sender.buffered());
        list->portsIs(n, value);
      }
    starts.push_back(sender.buffered());
    stream = std::string(sender.output());
  }
  std::size_t records() const { return starts.size() - 1; }
  // Each change wrote exactly its own entry record.
  bool oneRecordPerChange() const {
    for (std::size_t i = 0; i < records(); ++i)
      if (starts[i + 1] - starts[i] != entryRecordSize(portNames()[i % kKeys])) return false;
    return true;
  }
};

void BM_MirrorApply_Vem(benchmark::State& state) {
  RecordedChanges recorded;
  if (!recorded.mirror || !recorded.oneRecordPerChange()) {
    state.SkipWithError("no mirror, or not one record per change");
    return;
  }
  AnnouncementSink sink;
  recorded.mirror->publisher().subscriberAdd(&sink);
  const uint64_t appliedBefore = recorded.demuxer.recordsApplied();
  const char* data = recorded.stream.data();
  std::size_t i = 0;
  for (auto _ : state) {
    recorded.demuxer.feed(data + recorded.starts[i], recorded.starts[i + 1] - recorded.starts[i]);
    if (++i == recorded.records()) i = 0;
  }
  recorded.mirror->publisher().subscriberDel(&sink);
  const auto n = static_cast<uint64_t>(state.iterations());
  if (sink.seen != n || recorded.demuxer.recordsApplied() - appliedBefore != n)
    state.SkipWithError("a record was not applied as a change");
}

// A list of 1e6 ports, built once; both sides of the resend serialise the same entries.
const Lumo::Ptr<Orv::PortList>& bigList() {
  static const Lumo::Ptr<Orv::PortList> list = [] {
    auto l = Orv::PortListIs(Lumo::String("modeA"));
    for (std::size_t i = 0; i < kResendKeys; ++i) l->portsIs(Lumo::String(portName(i)), i % 3 == 0);
    return l;
  }();
  return list;
}

// Attaches the list to a fresh sender and lets a transport take its output until nothing is withheld:
// the root record and one whole-collection pass, resumed each time the room is freed. Returns the bytes
// written; each piece goes to `take`.
template <class Take>
std::size_t resend(Take take) {
  Sender sender(kDrainAt);
  sender.attach(bigList());
  std::size_t written = 0;
  for (;;) {
    written += sender.buffered();
    take(sender.output());
    sender.consume(sender.buffered());
    if (!sender.withheld()) break;
    sender.flowOut();
  }
  return written;
}

// Once: the resend, fed to a demuxer, rebuilds every entry.
bool resendRebuildsTheList() {
  Demuxer demuxer;
  Lumo::Ptr<Vem::Entity> mirror;
  demuxer.rootObserverIs([&](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& e) { mirror = e; });
  resend([&](std::string_view piece) { demuxer.feed(piece); });
  if (!mirror) return false;
  const auto& ports = static_cast<const Orv::PortList&>(*mirror).ports();
  return ports.size() == kResendKeys && ports.contains(Lumo::String(portName(kResendKeys - 1)));
}

void BM_FullResend_Vem(benchmark::State& state) {
  bigList();
  static const bool rebuilds = resendRebuildsTheList();
  if (!rebuilds) {
    state.SkipWithError("the resend does not rebuild the list");
    return;
  }
  std::size_t bytes = 0;
  for (auto _ : state) bytes += resend([](std::string_view piece) { benchmark::DoNotOptimize(piece.data()); });
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void BM_FullResend_Protobuf(benchmark::State& state) {
  BenchPb::PortList message;
  message.set_name("modeA");
  auto& ports = *message.mutable_ports();
  bigList()->ports().forEach([&](const Lumo::String& k, bool v) { ports[k.stdString()] = v; });
  if (ports.size() != kResendKeys) {
    state.SkipWithError("the message does not hold every entry");
    return;
  }
  std::size_t bytes = 0;
  std::string out;
  for (auto _ : state) {
    out.clear();
    message.SerializeToString(&out);
    bytes += out.size();
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

BENCHMARK(BM_SetterAnnounce_Vem);
BENCHMARK(BM_SetterAnnounceLog_Vem);
BENCHMARK(BM_SetterAnnounce_AbslInsert);
BENCHMARK(BM_MirrorApply_Vem);
BENCHMARK(BM_FullResend_Vem)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FullResend_Protobuf)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
