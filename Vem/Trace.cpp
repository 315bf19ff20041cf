#include <Vem/Trace.h>

#include <Vem/RangeException.h>

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>

namespace Vem {

namespace {

struct TraceState {
  std::mutex sourcesLock;
  // Sources are never removed: helpers keep pointers to them for the life of the process.
  std::map<std::string, std::unique_ptr<Impl::TraceSource>, std::less<>> sources;

  std::mutex linesLock;
  std::deque<TraceLine> lines;
  std::size_t capacity = 4096;
  std::ostream* echo = nullptr;
};

// Built on first use and never destroyed, so that helpers in other libraries' static objects may use it
// during start-up and shut-down alike.
TraceState& state() {
  static TraceState* s = new TraceState;
  return *s;
}

void checkLevel(unsigned level) {
  if (level >= TraceHelper::kLevels)
    throw RangeException("Vem::Trace: level " + std::to_string(level) + " >= 32 not allowed");
}

unsigned parseLevel(std::string_view digits, std::string_view item) {
  if (digits.empty() || digits.size() > 2) throw RangeException("Vem::Trace: malformed item '" + std::string(item) + "'");
  unsigned v = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') throw RangeException("Vem::Trace: malformed item '" + std::string(item) + "'");
    v = v * 10 + static_cast<unsigned>(c - '0');
  }
  checkLevel(v);
  return v;
}

}  // namespace

Impl::TraceSource& Impl::traceSource(std::string_view name) {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.sourcesLock);
  auto it = s.sources.find(name);
  if (it == s.sources.end()) it = s.sources.emplace(std::string(name), std::make_unique<TraceSource>(name)).first;
  return *it->second;
}

void TraceHelper::write(unsigned level, std::string_view text) const {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  if (s.echo != nullptr) *s.echo << source_->name << '/' << level << ": " << text << '\n';
  if (s.capacity == 0) return;
  if (s.lines.size() == s.capacity) s.lines.pop_front();
  s.lines.push_back(TraceLine{source_->name, static_cast<uint8_t>(level), std::string(text)});
}

namespace Trace {

void levelIs(std::string_view source, unsigned level, bool on) {
  checkLevel(level);
  auto& levels = Impl::traceSource(source).levels;
  if (on) levels.fetch_or(1u << level, std::memory_order_relaxed);
  else levels.fetch_and(~(1u << level), std::memory_order_relaxed);
}

void levelsIs(std::string_view source, uint32_t mask) {
  Impl::traceSource(source).levels.store(mask, std::memory_order_relaxed);
}

uint32_t levels(std::string_view source) { return Impl::traceSource(source).levels.load(std::memory_order_relaxed); }

void configure(std::string_view spec) {
  std::vector<std::pair<std::string_view, uint32_t>> switches;
  while (!spec.empty()) {
    const std::size_t comma = spec.find(',');
    const std::string_view item = spec.substr(0, comma);
    spec = comma == std::string_view::npos ? std::string_view{} : spec.substr(comma + 1);
    const std::size_t slash = item.rfind('/');
    if (slash == std::string_view::npos || slash == 0)
      throw RangeException("Vem::Trace: malformed item '" + std::string(item) + "'");
    const std::string_view levelText = item.substr(slash + 1);
    uint32_t mask = 0;
    if (levelText == "*") {
      mask = ~0u;
    } else if (const std::size_t dash = levelText.find('-'); dash != std::string_view::npos) {
      const unsigned lo = parseLevel(levelText.substr(0, dash), item), hi = parseLevel(levelText.substr(dash + 1), item);
      if (lo > hi) throw RangeException("Vem::Trace: malformed item '" + std::string(item) + "'");
      for (unsigned l = lo; l <= hi; ++l) mask |= 1u << l;
    } else {
      mask = 1u << parseLevel(levelText, item);
    }
    switches.emplace_back(item.substr(0, slash), mask);
  }
  for (const auto& [source, mask] : switches) Impl::traceSource(source).levels.fetch_or(mask, std::memory_order_relaxed);
}

std::vector<TraceLine> lines() {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  return {s.lines.begin(), s.lines.end()};
}

void linesDelAll() {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  s.lines.clear();
}

std::size_t linesCapacity() {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  return s.capacity;
}

void linesCapacityIs(std::size_t capacity) {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  s.capacity = capacity;
  while (s.lines.size() > capacity) s.lines.pop_front();
}

void echoIs(std::ostream* os) {
  TraceState& s = state();
  std::lock_guard<std::mutex> hold(s.linesLock);
  s.echo = os;
}

}  // namespace Trace

}  // namespace Vem
