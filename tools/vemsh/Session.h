// The interactive shell's state and its commands: entities created by type and name, the entity the
// user stands in, watches that print announcements, and a log tap that shows the records the changes
// produce. One line at a time, from a terminal or a script; errors are reported and change nothing.
#pragma once

#include "RecordDecoder.h"
#include "Watch.h"

#include <Vem/NboAttrLogSa.h>
#include <Vem/Reflect.h>

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vemsh {

class Session {
 public:
  enum class Outcome { done, failed, quit };
  // Commands a host adds (the server's room, wait, ...): true when it knew the command.
  using ExtraCommand = std::function<bool(const std::vector<std::string>& words)>;

  Session(std::ostream& out, std::ostream& err);
  ~Session();

  // Runs one line. Failures are reported on the error stream as "vemsh: ..." and change nothing.
  Outcome run(std::string_view line);

  // The words that may complete `word`, given the text before it on the line.
  std::vector<std::string> complete(std::string_view before, std::string_view word) const;

  void extraCommandIs(ExtraCommand c, std::string helpText) {
    extra_ = std::move(c);
    extraHelp_ = std::move(helpText);
  }
  // Told of every root entity created, and of each command that may have changed something.
  void onRootCreatedIs(std::function<void(const Vem::GenericEntity&)> f) { onRootCreated_ = std::move(f); }
  using ChangeObserver = std::function<void(const Vem::GenericEntity& e, const std::string& label,
                                            const Vem::MemberRecord& m, const std::string& keyText)>;
  void afterChangeIs(ChangeObserver f) { afterChange_ = std::move(f); }

  const std::map<std::string, Vem::GenericEntity>& roots() const noexcept { return roots_; }
  // "groups/portGroup["g1"]", or "/" outside every entity.
  std::string where() const;

 private:
  struct Place {
    Vem::GenericEntity entity;
    std::string label;
  };
  struct LogTap;

  void dispatch(const std::vector<std::string>& w);
  void help();
  void create(const std::vector<std::string>& w);
  void changeDirectory(const std::vector<std::string>& w);
  void list(const std::vector<std::string>& w);
  void get(const std::vector<std::string>& w);
  void set(const std::vector<std::string>& w);
  void del(const std::vector<std::string>& w);
  void watch(const std::vector<std::string>& w);
  void log(const std::vector<std::string>& w);
  void drainLog();
  const Place& here() const;

  std::ostream& out_;
  std::ostream& err_;
  std::map<std::string, Vem::GenericEntity> roots_;
  std::vector<Place> path_;
  std::vector<std::unique_ptr<Watch>> watches_;
  std::unique_ptr<LogTap> log_;
  ExtraCommand extra_;
  std::string extraHelp_;
  std::function<void(const Vem::GenericEntity&)> onRootCreated_;
  ChangeObserver afterChange_;
};

}  // namespace vemsh
