#include "Dispatch.h"

#include "Commands.h"
#include "EntityCommand.h"
#include "LoadLibrary.h"
#include "TextTable.h"

#include <array>
#include <string>

namespace vemsh {

namespace {

using Args = std::span<const std::string_view>;

struct CommandSpec {
  std::string_view name;
  std::string_view arguments;
  std::string_view summary;
  std::size_t minArgs;
  std::size_t maxArgs;
  void (*run)(std::ostream& out, Args args);
};

constexpr std::array commands{
    CommandSpec{"modules", "", "the registered modules in load order", 0, 0,
                [](std::ostream& out, Args) { listModules(out); }},
    CommandSpec{"types", "[MODULE]", "the types of one module, or of all", 0, 1,
                [](std::ostream& out, Args a) { listTypes(out, a.empty() ? std::string_view() : a[0]); }},
    CommandSpec{"describe", "TYPE", "a type's registration records, decoded", 1, 1,
                [](std::ostream& out, Args a) { describeType(out, a[0]); }},
    CommandSpec{"value", "TYPE TEXT", "parse a value's text form; print it back and its hash", 2, 2,
                [](std::ostream& out, Args a) { showValue(out, a[0], a[1]); }},
    CommandSpec{"entity", "TYPE NAME OP...", "build an entity by name and run get/set/put/add/del/ls/count", 2, 64,
                [](std::ostream& out, Args a) { runEntity(out, a); }},
    CommandSpec{"mirror", "TYPE NAME OP...", "the same, with a mirror in a second process over a socket", 2, 64,
                [](std::ostream& out, Args a) { runMirror(out, a); }},
    CommandSpec{"help", "", "this text", 0, 0, [](std::ostream& out, Args) { writeUsage(out); }},
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
         "del ATTR KEY | ls ATTR | count ATTR\n";
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
    command->run(out, args);
  } catch (const UserError& e) {
    err << "vemsh: " << e.what() << '\n';
    return exitUserError;
  }
  return exitOk;
}

}  // namespace vemsh
