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
  const bool plainPrompt = !reader.editing() && ::isatty(0) && ::isatty(1);
  std::deque<std::string> lines;
  bool failed = false;
  bool prompted = false;
  auto blocked = [&] { return server && server->blocked(); };
  for (;;) {
    while (!lines.empty() && !blocked()) {
      const std::string line = std::move(lines.front());
      lines.pop_front();
      prompted = false;
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
    if (plainPrompt && !prompted && lines.empty()) {
      out << "vemsh> " << std::flush;
      prompted = true;
    }
    std::vector<pollfd> fds;
    if (!reader.atEnd()) fds.push_back({reader.fd(), POLLIN, 0});
    if (server) server->pollSet(fds);
    if (::poll(fds.data(), fds.size(), 20) < 0 && errno != EINTR) break;
    if (!reader.atEnd() && fds[0].revents != 0)
      for (std::string& l : reader.readAvailable()) lines.push_back(std::move(l));
    if (server) server->handle(fds);
  }
  if (plainPrompt) out << '\n';
  if (server) server->finish();
  return failed ? 1 : 0;
}

}  // namespace vemsh
