#include "Dispatch.h"

#include "Commands.h"
#include "Attach.h"
#include "EntityCommand.h"
#include "LineReader.h"
#include "LoadLibrary.h"
#include "Shell.h"
#include "TextTable.h"

#include <array>
#include <string>

#include <unistd.h>

namespace vemsh {

namespace {

using Args = std::span<const std::string_view>;

struct CommandSpec {
  std::string_view name;
  std::string_view arguments;
  std::string_view summary;
  std::size_t minArgs;
  std::size_t maxArgs;
  int (*run)(std::ostream& out, std::ostream& err, Args args);
};

template <void (*F)(std::ostream&, Args)>
int done(std::ostream& out, std::ostream&, Args a) {
  F(out, a);
  return exitOk;
}

// SHELL/SERVE options: --no-edit (plain lines even on a terminal), --echo (print each line read).
int shellCommand(std::ostream& out, std::ostream& err, Args a, std::string servePath) {
  ShellOptions o;
  o.servePath = std::move(servePath);
  for (std::string_view w : a) {
    if (w == "--no-edit")
      o.edit = false;
    else if (w == "--echo")
      o.echo = true;
    else
      throw UserError("unknown option '" + std::string(w) + "' (--no-edit, --echo)");
  }
  return runShell(o, out, err);
}

int attachCommand(std::ostream& out, std::ostream& err, Args a) {
  AttachOptions o;
  o.path = std::string(a[0]);
  for (std::size_t i = 1; i < a.size(); ++i) {
    if (a[i] == "--records") {
      o.records = true;
    } else if (a[i] == "--reconnect" && i + 1 < a.size()) {
      const std::string n(a[++i]);
      if (n.empty() || n.find_first_not_of("0123456789") != std::string::npos || n.size() > 4)
        throw UserError("--reconnect takes a count, not '" + n + "'");
      o.reconnects = static_cast<unsigned>(std::stoul(n));
    } else {
      throw UserError("unknown option '" + std::string(a[i]) + "' (--records, --reconnect N)");
    }
  }
  return runAttach(o, out, err);
}

constexpr std::array commands{
    CommandSpec{"modules", "", "the registered modules in load order", 0, 0,
                done<[](std::ostream& out, Args) { listModules(out); }>},
    CommandSpec{"types", "[MODULE]", "the types of one module, or of all", 0, 1,
                done<[](std::ostream& out, Args a) { listTypes(out, a.empty() ? std::string_view() : a[0]); }>},
    CommandSpec{"describe", "TYPE", "a type's registration records, decoded", 1, 1,
                done<[](std::ostream& out, Args a) { describeType(out, a[0]); }>},
    CommandSpec{"value", "TYPE TEXT", "parse a value's text form; print it back, its hash and its log bytes", 2, 2,
                done<[](std::ostream& out, Args a) { showValue(out, a[0], a[1]); }>},
    CommandSpec{"enum", "TYPE [CODE|NAME]", "an enumeration's enumerators, or the one a code or name names", 1, 2,
                done<[](std::ostream& out, Args a) { showEnum(out, a[0], a.size() > 1 ? a[1] : std::string_view()); }>},
    CommandSpec{"entity", "TYPE NAME OP...", "build an entity by name and run get/set/put/add/del/ls/count", 2, 64,
                done<[](std::ostream& out, Args a) { runEntity(out, a); }>},
    CommandSpec{"mirror", "TYPE NAME OP...", "the same, with a mirror in a second process over a socket", 2, 64,
                done<[](std::ostream& out, Args a) { runMirror(out, a); }>},
    CommandSpec{"shell", "[--no-edit] [--echo]", "the interactive shell (also what vemsh alone starts)", 0, 2,
                [](std::ostream& out, std::ostream& err, Args a) { return shellCommand(out, err, a, {}); }},
    CommandSpec{"serve", "SOCKET [--no-edit] [--echo]", "the shell, mirroring its entities to attached processes", 1, 3,
                [](std::ostream& out, std::ostream& err, Args a) { return shellCommand(out, err, a.subspan(1), std::string(a[0])); }},
    CommandSpec{"attach", "SOCKET [--records] [--reconnect N]", "a live mirror of what a serve process carries", 1, 4,
                attachCommand},
    CommandSpec{"help", "", "this text", 0, 0, done<[](std::ostream& out, Args) { writeUsage(out); }>},
};

const CommandSpec* findCommand(std::string_view name) {
  for (const CommandSpec& c : commands)
    if (c.name == name) return &c;
  return nullptr;
}

}  // namespace

void writeUsage(std::ostream& out) {
  out << "usage: vemsh [--load LIBRARY]... COMMAND [ARGUMENTS]\n"
         "Browses the types registered by the libraries this program loads.\n"
         "--load loads a further type library (a shared library built with vem_add_module)\n"
         "before the command runs, so that its types are registered too.\n"
         "\n"
         "commands:\n";
  TextTable table;
  for (const CommandSpec& c : commands)
    table.addRow({std::string(c.name) + (c.arguments.empty() ? "" : " ") + std::string(c.arguments),
                  std::string(c.summary)});
  table.write(out, "  ");
  out << "\n"
         "TYPE is a qualified name (Orv::PortVlanPair); TEXT is the value's text form,\n"
         "for example 'Orv::PortVlanPair(port=Ethernet3/1, vlan=100)'. Strings are quoted: '\"Ethernet1\"'.\n"
         "entity operations: get ATTR | set ATTR VALUE | put ATTR KEY VALUE | add ATTR KEY |\n"
         "del ATTR KEY | ls ATTR | count ATTR\n"
         "The shell (vemsh alone, or vemsh shell) reads commands line by line from a terminal or a\n"
         "script; type help there. "
      << (LineReader::editingBuilt() ? "This build edits lines with readline.\n"
                                     : "This build has no line editing (no readline for its target).\n");
}

int runCommand(Args words, std::ostream& out, std::ostream& err) {
  while (!words.empty() && words[0] == "--load") {
    if (words.size() < 2) {
      err << "usage: vemsh --load LIBRARY [--load LIBRARY]... COMMAND [ARGUMENTS]\n";
      return exitUsage;
    }
    if (std::string reason = loadTypeLibrary(words[1]); !reason.empty()) {
      err << "vemsh: cannot load " << words[1] << ": " << reason << '\n';
      return exitUserError;
    }
    words = words.subspan(2);
  }
  if (words.empty()) {
    // Alone on a terminal: the interactive shell. Anywhere else the usage, as before scripts relied on.
    if (::isatty(0) && ::isatty(1)) return runShell(ShellOptions{}, out, err);
    writeUsage(err);
    return exitUsage;
  }
  if (words[0] == "--help" || words[0] == "-h") {
    writeUsage(out);
    return exitOk;
  }
  const CommandSpec* command = findCommand(words[0]);
  if (command == nullptr) {
    err << "vemsh: unknown command '" << words[0] << "'\n";
    writeUsage(err);
    return exitUsage;
  }
  Args args = words.subspan(1);
  if (args.size() < command->minArgs || args.size() > command->maxArgs) {
    err << "usage: vemsh " << command->name << (command->arguments.empty() ? "" : " ") << command->arguments << '\n';
    return exitUsage;
  }
  try {
    return command->run(out, err, args);
  } catch (const UserError& e) {
    err << "vemsh: " << e.what() << '\n';
    return exitUserError;
  }
}

}  // namespace vemsh
