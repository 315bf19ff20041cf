#include "UnixSocket.h"

#include "Commands.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vemsh {

namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof a.sun_path) throw UserError("socket path must be 1 to " + std::to_string(sizeof a.sun_path - 1) + " bytes: " + path);
  std::memcpy(a.sun_path, path.data(), path.size());
  return a;
}

}  // namespace

int listenUnix(const std::string& path) {
  const sockaddr_un a = addressOf(path);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw UserError(std::string("socket: ") + std::strerror(errno));
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) != 0 || ::listen(fd, 16) != 0) {
    const int e = errno;
    ::close(fd);
    throw UserError("cannot listen at " + path + ": " + std::strerror(e));
  }
  return fd;
}

int connectUnix(const std::string& path, int timeoutMs) {
  const sockaddr_un a = addressOf(path);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) throw UserError(std::string("socket: ") + std::strerror(errno));
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0) return fd;
    ::close(fd);
    if (std::chrono::steady_clock::now() >= deadline) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace vemsh
