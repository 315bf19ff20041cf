#pragma once

#include <Lumo/Node.h>
#include <Lumo/Ptr.h>

#include <ostream>
#include <string>
#include <string_view>

namespace Brek {

/// Where human-readable dumps go: a caller's stream (not owned) or a string kept here. Dump routines
/// receive the context as const; writing is still allowed because the sink is not part of its value.
class DumpContext : public Lumo::Node {
public:
  DumpContext() noexcept = default;                       // collects into str()
  explicit DumpContext(std::ostream& out) noexcept : out_(&out) {}

  void write(std::string_view text) const;
  bool writesToStream() const noexcept { return out_ != nullptr; }
  const std::string& str() const noexcept { return text_; }  // empty when writing to a stream
  void clear() noexcept { text_.clear(); }

private:
  std::ostream* out_ = nullptr;
  mutable std::string text_;
};

/// printf into the context; a null context discards the output.
void _objDumpPrintf(const Lumo::Ptr<const DumpContext>& ctx, const char* fmt, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace Brek
