#include "Shell.h"

#include "Commands.h"
#include "LineReader.h"
#include "Server.h"
#include "Session.h"

#include <cerrno>
#include <deque>
#include <memory>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace vemsh {

int runShell(const ShellOptions& o, std::ostream& out, std::ostream& err) {
  Session session(out, err);
  std::unique_ptr<Server> server;
  if (!o.servePath.empty()) {
    try {
      server = std::make_unique<Server>(o.servePath, out);
    } catch (const UserError& e) {
      err << "vemsh: " << e.what() << '\n';
      return 1;
    }
    session.extraCommandIs([&](const std::vector<std::string>& w) { return server->command(w); }, Server::helpText());
    session.onRootCreatedIs([&](const Vem::GenericEntity& e) { server->carry(e); });
    session.afterChangeIs([&](const Vem::GenericEntity& e, const std::string& label, const Vem::MemberRecord& m,
                              const std::string& key) { server->noteChange(e, label, m, key); });
  }
  LineReader reader("vemsh> ", [&](std::string_view before, std::string_view word) { return session.complete(before, word); },
                    o.edit);
  std::deque<std::string> lines;
  bool failed = false;
  auto blocked = [&] { return server && server->blocked(); };
  for (;;) {
    while (!lines.empty() && !blocked()) {
      const std::string line = std::move(lines.front());
      lines.pop_front();
      if (o.echo) out << "vemsh> " << line << '\n';
      const Session::Outcome outcome = session.run(line);
      out.flush();
      if (server) server->flush();
      if (outcome == Session::Outcome::quit) {
        lines.clear();
        if (server) server->finish();
        return failed ? 1 : 0;
      }
      failed = failed || outcome == Session::Outcome::failed;
    }
    if (reader.atEnd() && lines.empty() && !blocked()) break;
    if (lines.empty() && !blocked()) {
      out.flush();
      reader.ready();
    }
    std::vector<pollfd> fds;
    if (!reader.atEnd()) fds.push_back({reader.fd(), POLLIN, 0});
    if (server) server->pollSet(fds);
    if (::poll(fds.data(), fds.size(), 20) < 0 && errno != EINTR) break;
    if (!reader.atEnd() && fds[0].revents != 0)
      for (std::string& l : reader.readAvailable()) lines.push_back(std::move(l));
    if (server) server->handle(fds);
  }
  if (::isatty(0) && ::isatty(1)) out << '\n';  // the end of input leaves the cursor after a prompt
  if (server) server->finish();
  return failed ? 1 : 0;
}

}  // namespace vemsh
