#include "Attach.h"

#include "RecordDecoder.h"
#include "Tree.h"
#include "UnixSocket.h"
#include "Watch.h"

#include <Vem/NboAttrLogDemux.h>
#include <Vem/RangeException.h>
#include <Vem/Reflect.h>

#include <cerrno>
#include <memory>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace vemsh {

namespace {

// One connection: a fresh stream, so a fresh demultiplexer and fresh mirrors.
int session(int fd, const AttachOptions& o, std::ostream& out) {
  Vem::NboAttrLog::Demuxer demuxer;
  RecordDecoder decoder(true);
  std::vector<Vem::GenericEntity> mirrors;
  std::vector<std::unique_ptr<Watch>> watches;
  demuxer.rootObserverIs([&](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& root) {
    Vem::GenericEntity e(root);
    out << "mirror: built " << e.type().name() << ' ' << e.name() << '\n';
    mirrors.push_back(e);
    watches.push_back(std::make_unique<Watch>(out, e, e.name().stdString(), "mirror announces "));
  });
  int status = 0;
  char buffer[16384];
  for (;;) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, -1) < 0 && errno != EINTR) break;
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (n <= 0) break;
    const std::string_view bytes(buffer, static_cast<std::size_t>(n));
    try {
      if (o.records)
        decoder.feed(out, bytes, "  ", [&](std::string_view record) { demuxer.feed(record); });
      else
        demuxer.feed(bytes);
    } catch (const Vem::RangeException& e) {
      out << "mirror: refused the stream: " << e.what() << '\n';
      status = 1;
      break;
    }
    out.flush();
  }
  out << "mirror: the stream ended after " << demuxer.recordsApplied() << " records; the mirror holds:\n";
  watches.clear();
  for (const Vem::GenericEntity& m : mirrors) writeTree(out, m, m.name().view(), "  ");
  out.flush();
  return status;
}

}  // namespace

int runAttach(const AttachOptions& o, std::ostream& out, std::ostream& err) {
  for (unsigned attempt = 0;; ++attempt) {
    const int fd = connectUnix(o.path, o.connectTimeoutMs);
    if (fd < 0) {
      err << "vemsh: nobody serves at " << o.path << '\n';
      return 1;
    }
    out << "mirror: connected to " << o.path << '\n';
    out.flush();
    const int status = session(fd, o, out);
    ::close(fd);
    if (status != 0 || attempt == o.reconnects) return status;
    out << "mirror: reconnecting\n";
  }
}

}  // namespace vemsh
