#include <Brek/DumpContext.h>

#include <cstdarg>
#include <cstdio>
#include <memory>

namespace Brek {

void DumpContext::write(std::string_view text) const {
  if (out_ != nullptr) {
    out_->write(text.data(), static_cast<std::streamsize>(text.size()));
  } else {
    text_.append(text);
  }
}

namespace {

// Formats with a copy of the caller's arguments so the caller's va_list stays usable.
int formatInto(char* buffer, std::size_t size, const char* fmt, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(buffer, size, fmt, copy);
  va_end(copy);
  return n;
}

void printfInto(const DumpContext& ctx, const char* fmt, va_list args) {
  // Most dump lines are short: format on the stack and only go to the heap for long ones.
  char small[512];
  const int n = formatInto(small, sizeof small, fmt, args);
  if (n < 0) return;  // encoding error: nothing sensible to write
  const auto length = static_cast<std::size_t>(n);
  if (length < sizeof small) {
    ctx.write(std::string_view(small, length));
    return;
  }
  std::unique_ptr<char[]> big(new char[length + 1]);
  formatInto(big.get(), length + 1, fmt, args);
  ctx.write(std::string_view(big.get(), length));
}

}  // namespace

void _objDumpPrintf(const Lumo::Ptr<const DumpContext>& ctx, const char* fmt, ...) {
  if (!ctx) return;
  va_list args;
  va_start(args, fmt);
  try {
    printfInto(*ctx, fmt, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

}  // namespace Brek
