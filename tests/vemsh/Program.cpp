#include "Program.h"

#include "Dispatch.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vemshtest {

ProgramResult runCommand(std::vector<std::string_view> args) {
  std::ostringstream out, err;
  const int status = vemsh::runCommand(args, out, err);
  return {status, out.str(), err.str()};
}

namespace {

pid_t spawn(const std::vector<std::string>& args, const std::string& input, int* outFd, int* errFd) {
  int in[2], out[2], err[2];
  if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0) throw std::runtime_error("pipe failed");
  const std::vector<std::string> command = vemshCommand(args);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(in[0], 0);
    ::dup2(out[1], 1);
    ::dup2(err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) ::close(fd);
    std::vector<char*> argv;
    for (const std::string& a : command) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    std::_Exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  // Scripts are small: they fit the pipe, so writing them whole cannot block.
  std::size_t done = 0;
  while (done < input.size()) {
    const ssize_t n = ::write(in[1], input.data() + done, input.size() - done);
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  ::close(in[1]);
  *outFd = out[0];
  *errFd = err[0];
  return pid;
}

ProgramResult collect(pid_t pid, int outFd, int errFd, int timeoutMs) {
  ProgramResult r;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  bool outOpen = true, errOpen = true;
  while (outOpen || errOpen) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0) break;
    pollfd fds[2] = {{outOpen ? outFd : -1, POLLIN, 0}, {errOpen ? errFd : -1, POLLIN, 0}};
    if (::poll(fds, 2, static_cast<int>(left)) < 0 && errno != EINTR) break;
    char buffer[4096];
    for (int i = 0; i < 2; ++i) {
      if (fds[i].revents == 0) continue;
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n <= 0) {
        (i == 0 ? outOpen : errOpen) = false;
        continue;
      }
      (i == 0 ? r.out : r.err).append(buffer, static_cast<std::size_t>(n));
    }
  }
  if (outOpen || errOpen) ::kill(pid, SIGKILL);
  int status = 0;
  ::waitpid(pid, &status, 0);
  ::close(outFd);
  ::close(errFd);
  r.status = WIFEXITED(status) && !(outOpen || errOpen) ? WEXITSTATUS(status) : -1;
  return r;
}

}  // namespace

std::vector<std::string> vemshCommand(const std::vector<std::string>& args) {
  std::vector<std::string> command;
  std::string emulator = VEMSH_EMULATOR;
  if (!emulator.empty()) command.push_back(emulator);
  command.push_back(VEMSH_PROGRAM);
  command.insert(command.end(), args.begin(), args.end());
  return command;
}

ProgramResult runVemsh(const std::vector<std::string>& args, const std::string& input, int timeoutMs) {
  int outFd = -1, errFd = -1;
  const pid_t pid = spawn(args, input, &outFd, &errFd);
  return collect(pid, outFd, errFd, timeoutMs);
}

Background::Background(const std::vector<std::string>& args, const std::string& input) {
  pid_ = spawn(args, input, &outFd_, &errFd_);
}

Background::~Background() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    ::close(outFd_);
    ::close(errFd_);
  }
}

ProgramResult Background::wait(int timeoutMs) {
  ProgramResult r = collect(pid_, outFd_, errFd_, timeoutMs);
  pid_ = -1;
  return r;
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vemsh-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

}  // namespace vemshtest
