#include "EntityCommand.h"

#include "Commands.h"

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/Transport.h>
#include <Vem/Reflect.h>
#include <Vem/TextForm.h>

#include <iostream>
#include <functional>
#include <memory>
#include <string>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vemsh {

namespace {

using Vem::AnyValue;
using Vem::GenericEntity;
using Vem::TypeHandle;

// Prints each announcement as it happens: the attribute, then its key and old value where there are.
class AnnouncementPrinter : public Lumo::Subscriber {
 public:
  AnnouncementPrinter(std::ostream& out, const GenericEntity& e, std::string prefix = "  ")
      : out_(out), entity_(e), prefix_(std::move(prefix)) {
    entity_.entity()->publisher().subscriberAdd(this);
  }
  ~AnnouncementPrinter() override { entity_.entity()->publisher().subscriberDel(this); }

  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    Vem::VemType t = entity_.type();
    const Vem::MemberRecord* m = t.memberById(id);
    out_ << prefix_ << "announced " << (m ? std::string(t.memberName(*m)) : "?") << " (" << id << ")";
    if (m && key) out_ << " key " << text(entity_.keyType(*m), key);
    if (m && old) {
      bool set = (m->flagsB & Vem::MemberFlagsB::set) != 0;
      out_ << " old " << text(set ? TypeHandle::builtin(Vem::BuiltinType::boolean) : entity_.valueType(*m), old);
    } else {
      out_ << " (new)";
    }
    out_ << "\n";
    out_.flush();
  }

 private:
  static std::string text(const TypeHandle& type, const void* value) {
    return type.valid() ? type.methods()->strRep(value, type.type(), 0).stdString() : "?";
  }
  std::ostream& out_;
  const GenericEntity& entity_;
  std::string prefix_;
};

AnyValue parse(const TypeHandle& type, std::string_view text) {
  try {
    return AnyValue(type, text);
  } catch (const Vem::RangeException& e) {
    throw UserError(std::string(type.name()) + ": " + e.what());
  }
}

// Runs the operations in order; `afterEach` runs after every one (the mirror command sends there).
void runOperations(std::ostream& out, GenericEntity& e, std::span<const std::string_view> args,
                   const std::function<void()>& afterEach);

GenericEntity createEntity(std::span<const std::string_view> args) {
  if (args.size() < 2) throw UserError("needs TYPE NAME and operations");
  try {
    return GenericEntity::create(args[0], Lumo::String(args[1]));
  } catch (const std::exception& err) {
    throw UserError(err.what());
  }
}

}  // namespace

void runEntity(std::ostream& out, std::span<const std::string_view> args) {
  GenericEntity e = createEntity(args);
  out << "created " << e.type().name() << " " << e.name() << "\n";
  AnnouncementPrinter printer(out, e);
  runOperations(out, e, args.subspan(2), [] {});
}

namespace {

void runOperations(std::ostream& out, GenericEntity& e, std::span<const std::string_view> args,
                   const std::function<void()>& afterEach) {
  auto need = [&](std::size_t i, std::size_t n, std::string_view op) {
    if (i + n >= args.size()) throw UserError(std::string(op) + " needs " + std::to_string(n) + " argument(s)");
  };
  for (std::size_t i = 0; i < args.size(); afterEach()) {
    std::string_view op = args[i];
    try {
      if (op == "get") {
        need(i, 1, op);
        Lumo::String value = e.get(args[i + 1]).text();
        out << args[i + 1] << " = " << value << "\n";
        i += 2;
      } else if (op == "set") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        e.set(args[i + 1], parse(e.valueType(m), args[i + 2]));
        out << "set " << args[i + 1] << "\n";
        i += 3;
      } else if (op == "put") {
        need(i, 3, op);
        const auto& m = e.member(args[i + 1]);
        e.set(args[i + 1], parse(e.keyType(m), args[i + 2]), parse(e.valueType(m), args[i + 3]));
        out << "put " << args[i + 1] << "\n";
        i += 4;
      } else if (op == "add") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        e.create(args[i + 1], parse(e.keyType(m), args[i + 2]));
        out << "added to " << args[i + 1] << "\n";
        i += 3;
      } else if (op == "del") {
        need(i, 2, op);
        const auto& m = e.member(args[i + 1]);
        AnyValue removed = e.del(args[i + 1], parse(e.keyType(m), args[i + 2]));
        out << "deleted from " << args[i + 1] << ": " << removed.text() << "\n";
        i += 3;
      } else if (op == "ls") {
        need(i, 1, op);
        out << args[i + 1] << " (" << e.count(args[i + 1]) << "):\n";
        e.forEach(args[i + 1], [&](const AnyValue& k, const AnyValue& v) { out << "  " << k.text() << " -> " << v.text() << "\n"; });
        i += 2;
      } else if (op == "count") {
        need(i, 1, op);
        out << args[i + 1] << " has " << e.count(args[i + 1]) << " entries\n";
        i += 2;
      } else {
        throw UserError("unknown operation '" + std::string(op) + "' (get, set, put, add, del, ls, count)");
      }
    } catch (const Vem::ReflectError& err) {
      throw UserError(err.what());
    } catch (const Vem::EntityError& err) {
      throw UserError(err.what());
    }
  }
}

}  // namespace

}  // namespace vemsh

namespace vemsh {

namespace {

// The receiving process: applies what arrives, printing the mirror's announcements, then its state.
int mirrorProcess(int fd) {
  try {
    Vem::NboAttrLog::SocketLink link(fd);
    Vem::NboAttrLog::Demuxer demuxer;
    std::unique_ptr<GenericEntity> mirror;
    std::unique_ptr<AnnouncementPrinter> printer;
    demuxer.rootObserverIs([&](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& root) {
      if (mirror) return;
      mirror = std::make_unique<GenericEntity>(root);
      std::cout << "mirror: built " << mirror->type().name() << " " << mirror->name() << "\n";
      printer = std::make_unique<AnnouncementPrinter>(std::cout, *mirror, "mirror:   ");
    });
    while (link.receive(demuxer)) link.wait(false, 5000);
    if (demuxer.failed()) {
      std::cout << "mirror: refused the stream: " << demuxer.error() << "\n";
      return 1;
    }
    std::cout << "mirror: " << demuxer.recordsApplied() << " records applied\n";
    printer.reset();
    std::cout.flush();
    return 0;
  } catch (const std::exception& e) {
    std::cout << "mirror: " << e.what() << "\n";
    return 1;
  }
}

void sendAll(Vem::NboAttrLog::SocketLink& link, Vem::NboAttrLog::Sender& sender) {
  while (sender.buffered() != 0 || sender.withheld()) {
    link.wait(true, 1000);
    if (!link.flush(sender)) throw UserError("the mirror process went away");
  }
}

}  // namespace

void runMirror(std::ostream& out, std::span<const std::string_view> args) {
  GenericEntity e = createEntity(args);
  int fds[2];
  Vem::NboAttrLog::unixSocketPair(fds);
  out.flush();
  std::cout.flush();
  const pid_t pid = ::fork();
  if (pid < 0) throw UserError("cannot start the mirror process");
  if (pid == 0) {
    ::close(fds[0]);
    std::_Exit(mirrorProcess(fds[1]));
  }
  ::close(fds[1]);
  int status = 0;
  {
    Vem::NboAttrLog::SocketLink link(fds[0]);
    Vem::NboAttrLog::Sender sender;
    sender.attach(e.entity());
    out << "sender: created " << e.type().name() << " " << e.name() << "\n";
    sendAll(link, sender);
    runOperations(out, e, args.subspan(2), [&] {
      out.flush();
      sendAll(link, sender);
    });
    ::shutdown(link.fd(), SHUT_WR);
    out.flush();
    ::waitpid(pid, &status, 0);
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw UserError("the mirror process failed");
}

}  // namespace vemsh
