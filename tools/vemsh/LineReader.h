// Lines typed or piped into the shell. On a terminal, with readline where the build has it: line
// editing, history and tab completion. Otherwise (a script on standard input, or a build without
// readline) plain lines. Either way the reader never blocks: the caller polls fd() and calls
// readAvailable() when it is readable, so that sockets are served while the user types.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vemsh {

class LineReader {
 public:
  // Candidates for the word being completed, given the line before it.
  using Completer = std::function<std::vector<std::string>(std::string_view before, std::string_view word)>;

  // Reads standard input. Line editing only when it is a terminal and `edit` is true.
  LineReader(std::string prompt, Completer completer, bool edit);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  int fd() const noexcept { return 0; }
  bool editing() const noexcept { return editing_; }
  // Takes what is readable now; returns the complete lines. Sets atEnd() at the end of input.
  std::vector<std::string> readAvailable();
  bool atEnd() const noexcept { return atEnd_; }
  // Ready for the next line: shows the prompt (when reading a terminal) unless it shows already.
  // Between a line and this call the shell's output has the screen to itself.
  void ready();

  // Whether this build has line editing.
  static bool editingBuilt() noexcept;

 private:
  std::string prompt_;
  Completer completer_;
  bool editing_ = false;
  bool atEnd_ = false;
  bool prompting_ = false;
  std::string pending_;
};

}  // namespace vemsh
