// Runs the real vemsh program, as users run it, with a text on its standard input, and collects what
// it writes. Every run has a time limit: a process still running then is killed and the test fails.
// Also runs one command line inside the test program, through the same dispatcher.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace vemshtest {

struct ProgramResult {
  int status = -1;  // exit status, or -1 when it did not exit normally (killed by the time limit)
  std::string out;
  std::string err;
};

// One command line dispatched in this process: exit status and both streams.
ProgramResult runCommand(std::vector<std::string_view> args);

// The program's path (and, in a cross build, the emulator before it), from the build.
std::vector<std::string> vemshCommand(const std::vector<std::string>& args);

// Runs to completion within `timeoutMs`.
ProgramResult runVemsh(const std::vector<std::string>& args, const std::string& input, int timeoutMs = 10000);

// A process started in the background, collected later.
class Background {
 public:
  Background(const std::vector<std::string>& args, const std::string& input);
  ~Background();  // kills it if still running
  ProgramResult wait(int timeoutMs);

 private:
  pid_t pid_ = -1;
  int outFd_ = -1;
  int errFd_ = -1;
};

// A fresh directory for sockets, removed with its contents by the destructor.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

}  // namespace vemshtest
