// `vemsh serve`: every entity the session creates is carried to each attached process by the attribute
// log, one stream per client. Each stream's room can be limited (`room N`): records that do not fit are
// withheld by the stream adapters, and the shell shows the keys they owe until room returns and they
// drain.
#pragma once

#include <Vem/NboAttrLogSa.h>
#include <Vem/Reflect.h>
#include <Vem/Transport.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <poll.h>

namespace vemsh {

class Server {
 public:
  Server(std::string path, std::ostream& out);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Starts carrying a root entity to every client, present and future.
  void carry(const Vem::GenericEntity& root);
  // After a change to `e`: notes, per client, the change its stream withheld.
  void noteChange(const Vem::GenericEntity& e, const std::string& label, const Vem::MemberRecord& m,
                  const std::string& keyText);

  // room | wait | sleep | drop | clients. False for any other word.
  bool command(const std::vector<std::string>& words);
  static const char* helpText();
  // While a wait or sleep runs, no further line is taken.
  bool blocked();

  // Adds the listening socket and the clients to a poll set, and handles what poll reported.
  void pollSet(std::vector<pollfd>& fds) const;
  void handle(const std::vector<pollfd>& fds);
  // Moves output to the clients; reports withheld changes that have drained.
  void flush();
  // At the end: everything out (for up to two seconds), then the connections closed.
  void finish();

 private:
  struct Client;
  void accept();
  void drop(std::size_t i, std::string_view why);

  std::string path_;
  std::ostream& out_;
  int listenFd_;
  std::size_t room_ = Vem::NboAttrLog::Sender::kUnlimited;
  unsigned nextClient_ = 1;
  std::vector<std::unique_ptr<Client>> clients_;
  std::vector<Vem::GenericEntity> roots_;
  std::size_t waitFor_ = 0;
  std::chrono::steady_clock::time_point until_{};
};

}  // namespace vemsh
