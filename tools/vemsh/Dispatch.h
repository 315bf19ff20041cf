// From words to a command: the one place that knows the command names, their arguments and what
// each exit status means, shared by the program's arguments and any later line-by-line mode.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace vemsh {

inline constexpr int exitOk = 0;
inline constexpr int exitUserError = 1;  // one line "vemsh: ..." on the error stream
inline constexpr int exitUsage = 2;      // the usage text on the error stream

// Runs the command that `words` name (the words after the program's name) and returns its exit status.
// Leading `--load LIBRARY` pairs load those type libraries first, in order; one that fails to load stops
// everything with exitUserError.
int runCommand(std::span<const std::string_view> words, std::ostream& out, std::ostream& err);

// The usage text: synopsis and one line per command.
void writeUsage(std::ostream& out);

}  // namespace vemsh
