/// \file
/// Carrying an attribute log from a Sender to a Demuxer: in memory (tests, one process) or over a byte
/// stream socket (Unix-domain or TCP), where writes and reads may each move any part of a record.
#pragma once

#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogSa.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Vem::NboAttrLog {

/// Moves up to maxBytes of the sender's output into the demuxer, then lets the sender resume withheld
/// output into the room made. Returns the bytes moved.
std::size_t pump(Sender& sender, Demuxer& demuxer, std::size_t maxBytes = std::numeric_limits<std::size_t>::max());

/// One end of a stream socket, owned and switched to non-blocking.
class SocketLink {
 public:
  explicit SocketLink(int fd);
  ~SocketLink();
  SocketLink(const SocketLink&) = delete;
  SocketLink& operator=(const SocketLink&) = delete;

  int fd() const noexcept { return fd_; }
  /// Writes what the socket takes now, resuming withheld output as room appears. False once the peer is
  /// gone; raises std::system_error on other failures.
  bool flush(Sender& sender);
  /// Feeds the demuxer what has arrived. False at the end of the stream.
  bool receive(Demuxer& demuxer);
  /// Waits until the socket is readable (or writable); false on timeout.
  bool wait(bool forWrite, int timeoutMs) const;

 private:
  int fd_;
};

/// A connected pair of Unix-domain stream sockets.
void unixSocketPair(int fds[2]);
/// A TCP listener on 127.0.0.1 at a free port, written to *port.
int tcpListenLoopback(uint16_t* port);
int tcpAccept(int listenFd);
int tcpConnectLoopback(uint16_t port);

}  // namespace Vem::NboAttrLog
