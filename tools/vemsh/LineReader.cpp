#include "LineReader.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#ifdef VEMSH_READLINE
#include <cstdio>
#include <readline/history.h>
#include <readline/readline.h>
#endif

namespace vemsh {

namespace {

#ifdef VEMSH_READLINE
// readline keeps one global state, so one reader at a time feeds it.
LineReader::Completer* g_completer = nullptr;
std::vector<std::string>* g_lines = nullptr;
bool* g_atEnd = nullptr;
std::vector<std::string> g_candidates;

char* candidate(const char*, int state) {
  if (static_cast<std::size_t>(state) >= g_candidates.size()) return nullptr;
  return ::strdup(g_candidates[static_cast<std::size_t>(state)].c_str());
}

char** complete(const char* text, int start, int) {
  rl_attempted_completion_over = 1;  // no fallback to file names
  if (g_completer == nullptr) return nullptr;
  g_candidates = (*g_completer)(std::string_view(rl_line_buffer, static_cast<std::size_t>(start)), text);
  return rl_completion_matches(text, candidate);
}

void lineDone(char* line) {
  if (line == nullptr) {
    *g_atEnd = true;
    rl_callback_handler_remove();
    return;
  }
  if (*line != '\0') add_history(line);
  g_lines->push_back(line);
  std::free(line);
  // No prompt until the line has run and its output is out: ready() brings it back.
  rl_callback_handler_remove();
}
#endif

}  // namespace

bool LineReader::editingBuilt() noexcept {
#ifdef VEMSH_READLINE
  return true;
#else
  return false;
#endif
}

LineReader::LineReader(std::string prompt, Completer completer, bool edit)
    : prompt_(std::move(prompt)), completer_(std::move(completer)) {
#ifdef VEMSH_READLINE
  editing_ = edit && ::isatty(0) && ::isatty(1);
  if (editing_) {
    g_completer = &completer_;
    rl_attempted_completion_function = complete;
    // Keys and values are text forms: quotes and brackets belong to the word being completed.
    rl_basic_word_break_characters = const_cast<char*>(" \t\n");
  }
#else
  (void)edit;
#endif
}

LineReader::~LineReader() {
#ifdef VEMSH_READLINE
  if (editing_ && prompting_) rl_callback_handler_remove();
  if (editing_) g_completer = nullptr;
#endif
}

std::vector<std::string> LineReader::readAvailable() {
  std::vector<std::string> lines;
#ifdef VEMSH_READLINE
  if (editing_) {
    g_lines = &lines;
    g_atEnd = &atEnd_;
    rl_callback_read_char();
    g_lines = nullptr;
    if (!lines.empty() || atEnd_) prompting_ = false;
    return lines;
  }
#endif
  char buffer[4096];
  const ssize_t n = ::read(0, buffer, sizeof buffer);
  if (n < 0 && (errno == EINTR || errno == EAGAIN)) return lines;
  if (n <= 0) {
    atEnd_ = true;
    if (!pending_.empty()) lines.push_back(std::move(pending_));
    pending_.clear();
    return lines;
  }
  pending_.append(buffer, static_cast<std::size_t>(n));
  if (pending_.find('\n') != std::string::npos) prompting_ = false;
  std::size_t start = 0;
  for (std::size_t nl; (nl = pending_.find('\n', start)) != std::string::npos; start = nl + 1)
    lines.push_back(pending_.substr(start, nl - start));
  pending_.erase(0, start);
  return lines;
}

void LineReader::ready() {
  if (prompting_ || atEnd_) return;
  prompting_ = true;
#ifdef VEMSH_READLINE
  if (editing_) {
    rl_callback_handler_install(prompt_.c_str(), lineDone);
    return;
  }
#endif
  if (::isatty(0) && ::isatty(1)) {
    const std::string shown = prompt_;
    [[maybe_unused]] const ssize_t n = ::write(1, shown.data(), shown.size());
  }
}

}  // namespace vemsh
