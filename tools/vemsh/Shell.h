// The interactive shell: lines from a terminal (edited, with history and completion) or from a script
// on standard input, run by a Session; with a Server when it serves mirrors over a socket. One loop
// waits on the input and the sockets together, so clients are served while the user types.
#pragma once

#include <ostream>
#include <string>

namespace vemsh {

struct ShellOptions {
  std::string servePath;  // empty: no server
  bool edit = true;       // line editing when the input is a terminal
  bool echo = false;      // print each line read, after the prompt, as a transcript would show it
};

// Returns 0 when every line succeeded, 1 when any failed (each failure is reported as it happens).
int runShell(const ShellOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vemsh
