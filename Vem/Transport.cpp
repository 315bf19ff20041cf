#include <Vem/Transport.h>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Vem::NboAttrLog {

namespace {

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

std::size_t pump(Sender& sender, Demuxer& demuxer, std::size_t maxBytes) {
  const std::string_view out = sender.output();
  const std::size_t n = out.size() < maxBytes ? out.size() : maxBytes;
  if (n != 0) {
    demuxer.feed(out.data(), n);
    sender.consume(n);
  }
  sender.flowOut();
  return n;
}

SocketLink::SocketLink(int fd) : fd_(fd) {
  const int flags = ::fcntl(fd_, F_GETFL, 0);
  if (flags < 0 || ::fcntl(fd_, F_SETFL, flags | O_NONBLOCK) < 0) fail("attribute log: fcntl");
}

SocketLink::~SocketLink() { ::close(fd_); }

bool SocketLink::flush(Sender& sender) {
  for (;;) {
    if (sender.buffered() == 0) {
      sender.flowOut();
      if (sender.buffered() == 0) return true;
    }
    const std::string_view out = sender.output();
    const ssize_t n = ::send(fd_, out.data(), out.size(), MSG_NOSIGNAL);
    if (n > 0) {
      sender.consume(static_cast<std::size_t>(n));
      sender.flowOut();
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    if (n < 0 && (errno == EPIPE || errno == ECONNRESET)) return false;
    fail("attribute log: send");
  }
}

bool SocketLink::receive(Demuxer& demuxer) {
  char buffer[16384];
  for (;;) {
    const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
    if (n > 0) {
      demuxer.feed(buffer, static_cast<std::size_t>(n));
      continue;
    }
    if (n == 0) return false;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    if (errno == ECONNRESET) return false;
    fail("attribute log: recv");
  }
}

bool SocketLink::wait(bool forWrite, int timeoutMs) const {
  pollfd p{fd_, static_cast<short>(forWrite ? POLLOUT : POLLIN), 0};
  for (;;) {
    const int r = ::poll(&p, 1, timeoutMs);
    if (r >= 0) return r > 0;
    if (errno != EINTR) fail("attribute log: poll");
  }
}

void unixSocketPair(int fds[2]) {
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) fail("attribute log: socketpair");
}

int tcpListenLoopback(uint16_t* port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) fail("attribute log: socket");
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || ::listen(fd, 1) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
    const int e = errno;
    ::close(fd);
    errno = e;
    fail("attribute log: listen");
  }
  *port = ntohs(a.sin_port);
  return fd;
}

int tcpAccept(int listenFd) {
  for (;;) {
    const int fd = ::accept(listenFd, nullptr, nullptr);
    if (fd >= 0) return fd;
    if (errno != EINTR) fail("attribute log: accept");
  }
}

int tcpConnectLoopback(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) fail("attribute log: socket");
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(port);
  while (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    if (errno == EINTR) continue;
    const int e = errno;
    ::close(fd);
    errno = e;
    fail("attribute log: connect");
  }
  return fd;
}

}  // namespace Vem::NboAttrLog
