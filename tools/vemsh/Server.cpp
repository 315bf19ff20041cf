#include "Server.h"

#include "Commands.h"
#include "UnixSocket.h"

#include <Vem/NboAttrLogFlow.h>

#include <charconv>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace vemsh {

namespace {

std::size_t number(const std::string& word, std::string_view what) {
  std::size_t n = 0;
  auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), n);
  if (ec != std::errc() || end != word.data() + word.size()) throw UserError(std::string(what) + " must be a number, not '" + word + "'");
  return n;
}

}  // namespace

struct Server::Client {
  Client(unsigned n, int fd, std::size_t room) : number(n), link(fd), sender(room) {}
  unsigned number;
  Vem::NboAttrLog::SocketLink link;
  Vem::NboAttrLog::Sender sender;
  std::set<std::string> withheld;  // changes the stream owes: "label attribute key"
  std::size_t stallShown = 0;       // the room wanted by the stall last reported, zero when none
};

Server::Server(std::string path, std::ostream& out) : path_(std::move(path)), out_(out), listenFd_(listenUnix(path_)) {
  out_ << "serve: listening at " << path_ << '\n';
}

Server::~Server() {
  clients_.clear();
  ::close(listenFd_);
  ::unlink(path_.c_str());
}

const char* Server::helpText() {
  return "  room N | room all        limit each client's stream to N bytes of output, or lift the limit\n"
         "  clients                   the attached clients, their streams and the changes withheld\n"
         "  wait N [SECONDS]          wait until N clients are attached (default 10 s)\n"
         "  sleep MS                  let time pass (clients go on being served)\n"
         "  drop                      close every client's connection\n";
}

void Server::carry(const Vem::GenericEntity& root) {
  roots_.push_back(root);
  for (auto& c : clients_) c->sender.attach(root.entity());
  flush();
}

void Server::noteChange(const Vem::GenericEntity& e, const std::string& label, const Vem::MemberRecord& m,
                        const std::string& keyText) {
  const std::string name(e.type().memberName(m));
  for (auto& c : clients_) {
    const Vem::Entity::VemNboAttrLogSa* sa = e.entity()->vemNboAttrLogSa(&c->sender);
    bool deferred;
    if (sa == nullptr) {
      deferred = c->sender.withheld();  // the entity itself has not gone out yet
    } else {
      const Vem::NboAttrLog::FlowOut* f = sa->flowOut();
      deferred = f != nullptr && (Vem::GenericEntity::isCollection(m) ? f->vemIsCollDirty(m.attributeId)
                                                                      : f->vemIsDirty(m.attributeId));
    }
    if (!deferred) continue;
    const std::string item = label + " " + name + (keyText.empty() ? "" : " key " + keyText);
    c->withheld.insert(item);
    out_ << "serve: client " << c->number << ": no room, withheld: " << item << '\n';
    out_ << "serve: client " << c->number << ": dirty keys now:";
    for (const std::string& w : c->withheld) out_ << "  {" << w << '}';
    out_ << '\n';
  }
}

bool Server::command(const std::vector<std::string>& w) {
  const std::string& c = w[0];
  if (c == "room") {
    if (w.size() != 2) throw UserError("usage: room N | room all");
    room_ = w[1] == "all" ? Vem::NboAttrLog::Sender::kUnlimited : number(w[1], "room");
    for (auto& cl : clients_) {
      cl->sender.roomIs(room_);
      cl->stallShown = 0;  // a stall that outlasts the new room is shown again
    }
    if (w[1] == "all")
      out_ << "serve: room unlimited\n";
    else
      out_ << "serve: room " << room_ << " bytes per client\n";
    flush();
    return true;
  }
  if (c == "clients") {
    if (clients_.empty()) out_ << "serve: no clients\n";
    for (auto& cl : clients_) {
      out_ << "serve: client " << cl->number << ": " << cl->sender.adapterCount() << " entities carried, "
           << cl->sender.buffered() << " bytes waiting, " << (cl->sender.withheld() ? "output withheld" : "nothing withheld")
           << '\n';
      for (const std::string& item : cl->withheld) out_ << "  dirty: " << item << '\n';
    }
    return true;
  }
  if (c == "wait") {
    if (w.size() < 2 || w.size() > 3) throw UserError("usage: wait N [SECONDS]");
    waitFor_ = number(w[1], "the number of clients");
    until_ = std::chrono::steady_clock::now() + std::chrono::seconds(w.size() == 3 ? number(w[2], "seconds") : 10);
    return true;
  }
  if (c == "sleep") {
    if (w.size() != 2) throw UserError("usage: sleep MS");
    waitFor_ = 0;
    until_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(number(w[1], "sleep"));
    return true;
  }
  if (c == "drop") {
    while (!clients_.empty()) drop(0, "dropped");
    return true;
  }
  return false;
}

bool Server::blocked() {
  if (until_ == std::chrono::steady_clock::time_point{}) return false;
  const bool timeUp = std::chrono::steady_clock::now() >= until_;
  if (waitFor_ != 0) {
    if (clients_.size() >= waitFor_) {
      waitFor_ = 0;
      until_ = {};
      return false;
    }
    if (timeUp) {
      out_ << "serve: only " << clients_.size() << " of " << waitFor_ << " clients attached; going on\n";
      waitFor_ = 0;
      until_ = {};
      return false;
    }
    return true;
  }
  if (timeUp) until_ = {};
  return !timeUp;
}

void Server::pollSet(std::vector<pollfd>& fds) const {
  fds.push_back({listenFd_, POLLIN, 0});
  for (const auto& c : clients_)
    fds.push_back({c->link.fd(), static_cast<short>(POLLIN | (c->sender.buffered() != 0 ? POLLOUT : 0)), 0});
}

void Server::handle(const std::vector<pollfd>& fds) {
  for (const pollfd& p : fds) {
    if (p.revents == 0) continue;
    if (p.fd == listenFd_) {
      accept();
      continue;
    }
    for (std::size_t i = 0; i < clients_.size(); ++i) {
      if (clients_[i]->link.fd() != p.fd) continue;
      if (p.revents & (POLLIN | POLLHUP | POLLERR)) {
        char b[256];
        // A client sends nothing; readable means it went away.
        if (::recv(p.fd, b, sizeof b, MSG_DONTWAIT) <= 0) drop(i, "detached");
      }
      break;
    }
  }
  flush();
}

void Server::accept() {
  const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) return;
  auto c = std::make_unique<Client>(nextClient_++, fd, room_);
  for (const auto& r : roots_) c->sender.attach(r.entity());
  out_ << "serve: client " << c->number << " attached";
  if (!roots_.empty()) out_ << "; the whole state of " << roots_.size() << (roots_.size() == 1 ? " entity" : " entities") << " goes first";
  out_ << '\n';
  clients_.push_back(std::move(c));
}

void Server::drop(std::size_t i, std::string_view why) {
  out_ << "serve: client " << clients_[i]->number << ' ' << why << '\n';
  clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(i));
}

void Server::flush() {
  for (std::size_t i = 0; i < clients_.size();) {
    Client& c = *clients_[i];
    bool alive;
    try {
      alive = c.link.flush(c.sender);
    } catch (const std::exception&) {
      alive = false;
    }
    if (!alive) {
      drop(i, "went away");
      continue;
    }
    if (c.sender.roomWanted() != c.stallShown) {
      c.stallShown = c.sender.roomWanted();
      if (c.sender.stalled())
        out_ << "serve: client " << c.number << ": stalled: the room of " << c.sender.room()
             << " bytes holds none of what is withheld; the next record needs at least " << c.stallShown
             << " bytes\n";
    }
    if (!c.withheld.empty() && !c.sender.withheld()) {
      out_ << "serve: client " << c.number << ": room returned; drained " << c.withheld.size() << " withheld change"
           << (c.withheld.size() == 1 ? "" : "s") << ":";
      for (const std::string& w : c.withheld) out_ << "  {" << w << '}';
      out_ << '\n';
      c.withheld.clear();
    }
    ++i;
  }
  out_.flush();
}

void Server::finish() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  for (;;) {
    flush();
    bool pending = false;
    for (const auto& c : clients_) pending = pending || c->sender.buffered() != 0;
    if (!pending || std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  for (const auto& c : clients_) ::shutdown(c->link.fd(), SHUT_WR);
  clients_.clear();
}

}  // namespace vemsh
