/// \file
/// The type system's trace facility: hand-written operations note what they decide, per source (a
/// module's name) and level (0 to 31), when someone has switched that level on.
///
///   const Vem::TraceHelper trace("OrvEcmpLagTypes");
///   VEM_TRACE(trace, 3, "hasSameMember" << " return true ");
///
/// A line costs one relaxed atomic load and a bit test while its level is off: VEM_TRACE checks before
/// it formats anything. Lines that are written go to a bounded in-memory buffer, read back with
/// Vem::Trace::lines(), and optionally to a stream as well. Levels may be switched before or after the
/// source's helper exists; the helper and the switch share one per-source word.
///
/// Thread safety: switching levels and checking them may race freely (atomics); writing, reading back and
/// reconfiguring the buffer are serialised by one lock, taken only when a line is actually written.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Vem {

/// One written trace line as the buffer keeps it.
struct TraceLine {
  std::string source;
  uint8_t level = 0;
  std::string text;
  bool operator==(const TraceLine&) const = default;
};

namespace Impl {
/// What a source's helpers and its switches share; lives until the process ends.
struct TraceSource {
  explicit TraceSource(std::string_view n) : name(n) {}
  const std::string name;
  std::atomic<uint32_t> levels{0};
};
TraceSource& traceSource(std::string_view name);
}  // namespace Impl

class TraceHelper {
 public:
  static constexpr unsigned kLevels = 32;

  explicit TraceHelper(std::string_view source) : source_(&Impl::traceSource(source)) {}

  bool enabled(unsigned level) const noexcept {
    return level < kLevels && ((source_->levels.load(std::memory_order_relaxed) >> level) & 1u) != 0;
  }
  /// Writes one line unconditionally; VEM_TRACE calls it only when the level is on.
  void write(unsigned level, std::string_view text) const;
  const std::string& source() const noexcept { return source_->name; }

 private:
  Impl::TraceSource* source_;
};

namespace Trace {
/// Switches one level of a source on or off; a level of 32 or more is refused (Vem::RangeException).
void levelIs(std::string_view source, unsigned level, bool on);
/// Sets every level of a source at once: bit n is level n.
void levelsIs(std::string_view source, uint32_t mask);
uint32_t levels(std::string_view source);
/// Applies a switch list such as "OrvEcmpLagTypes/3,OrvTypes/0-4,Other/*": each item names a source and
/// a level, a range of levels, or every level, and switches them on. The whole list is checked before
/// anything changes; a malformed list raises Vem::RangeException naming the item.
void configure(std::string_view spec);

/// The written lines, oldest first. The buffer keeps the most recent `linesCapacity()` lines.
std::vector<TraceLine> lines();
void linesDelAll();
std::size_t linesCapacity();
void linesCapacityIs(std::size_t capacity);
/// Also writes every line to `os` as "<source>/<level>: <text>" (null: only to the buffer). The stream
/// must outlive its use.
void echoIs(std::ostream* os);
}  // namespace Trace

}  // namespace Vem

// Formats and writes `expr` (anything that streams) only when `level` of the helper's source is on.
#define VEM_TRACE(helper, level, expr)                 \
  do {                                                 \
    if ((helper).enabled(level)) {                     \
      std::ostringstream vemTraceText_;                \
      vemTraceText_ << expr;                           \
      (helper).write((level), vemTraceText_.view());   \
    }                                                  \
  } while (false)
