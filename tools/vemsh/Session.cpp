#include "Session.h"

#include "Commands.h"
#include "Dispatch.h"
#include "TextTable.h"
#include "Words.h"

#include <Vem/EntityOps.h>
#include <Vem/Module.h>
#include <Vem/RangeException.h>
#include <Vem/Registry.h>

#include <algorithm>
#include <array>
#include <sstream>

namespace vemsh {

namespace {

// Commands that only read the registry, shared with the program's arguments.
constexpr std::array<std::string_view, 5> registryCommands{"modules", "types", "describe", "value", "enum"};
constexpr std::array<std::string_view, 11> sessionCommands{"new", "cd", "ls", "get", "set", "del",
                                                           "watch", "log", "pwd", "help", "quit"};

// A failure whose message is already out.
struct AlreadyReported {};

bool isInstantiating(const Vem::MemberRecord& m) noexcept { return (m.flagsA & Vem::MemberFlagsA::instantiating) != 0; }
bool isSet(const Vem::MemberRecord& m) noexcept { return (m.flagsB & Vem::MemberFlagsB::set) != 0; }
bool isAttribute(const Vem::MemberRecord& m) noexcept {
  return (m.flagsA & Vem::MemberFlagsA::entityAttribute) != 0 && (m.flagsA & Vem::MemberFlagsA::method) == 0;
}

Vem::AnyValue parse(const Vem::TypeHandle& type, std::string_view text) {
  try {
    return Vem::AnyValue(type, text);
  } catch (const Vem::RangeException& e) {
    throw UserError(std::string(type.name()) + ": " + e.what());
  }
}

std::string unquoted(std::string_view s) {
  if (s.size() >= 2 && s.front() == '"' && s.back() == '"') s = s.substr(1, s.size() - 2);
  return std::string(s);
}

void need(const std::vector<std::string>& w, std::size_t min, std::size_t max, std::string_view usage) {
  if (w.size() - 1 < min || w.size() - 1 > max) throw UserError("usage: " + std::string(usage));
}

void addMatches(std::vector<std::string>& to, std::string_view word, std::string_view candidate) {
  if (candidate.starts_with(word)) to.emplace_back(candidate);
}

}  // namespace

// The records a root's changes produce, shown as they are written: a stream with unlimited room whose
// output nobody but the decoder reads.
struct Session::LogTap {
  explicit LogTap(const Vem::GenericEntity& r) : root(r) { sender.attach(root.entity()); }
  Vem::GenericEntity root;
  Vem::NboAttrLog::Sender sender;
  RecordDecoder decoder;

  // Everything written so far, and whatever the adapters still owe, through the decoder.
  void drain(std::ostream& out) {
    for (;;) {
      sender.flowOut();
      const std::string_view bytes = sender.output();
      if (bytes.empty()) return;
      decoder.feed(out, bytes);
      sender.consume(bytes.size());
    }
  }
};

Session::Session(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}
Session::~Session() = default;

std::string Session::where() const { return path_.empty() ? "/" : path_.back().label; }

const Session::Place& Session::here() const {
  if (path_.empty()) throw UserError("not in an entity: create one with new TYPE NAME, or cd NAME");
  return path_.back();
}

Session::Outcome Session::run(std::string_view line) {
  try {
    const std::vector<std::string> w = splitWords(line);
    if (w.empty()) return Outcome::done;
    if (w[0] == "quit" || w[0] == "exit") return Outcome::quit;
    dispatch(w);
    return Outcome::done;
  } catch (const UserError& e) {
    err_ << "vemsh: " << e.what() << '\n';
  } catch (const Vem::ReflectError& e) {
    err_ << "vemsh: " << e.what() << '\n';
  } catch (const Vem::EntityError& e) {
    err_ << "vemsh: " << e.what() << '\n';
  } catch (const Vem::RangeException& e) {
    err_ << "vemsh: " << e.what() << '\n';
  } catch (const AlreadyReported&) {
  } catch (const std::exception& e) {
    // Not the user's doing, but one failed line must not end a session.
    err_ << "vemsh: internal error: " << e.what() << '\n';
  }
  err_.flush();
  return Outcome::failed;
}

void Session::dispatch(const std::vector<std::string>& w) {
  const std::string& c = w[0];
  if (std::find(registryCommands.begin(), registryCommands.end(), c) != registryCommands.end()) {
    std::vector<std::string_view> words(w.begin(), w.end());
    // runCommand reports its own errors; only the outcome is needed here.
    if (runCommand(words, out_, err_) != exitOk) throw AlreadyReported{};
    return;
  }
  if (c == "help") return help();
  if (c == "new") return create(w);
  if (c == "cd") return changeDirectory(w);
  if (c == "pwd") {
    out_ << where() << '\n';
    return;
  }
  if (c == "ls") return list(w);
  if (c == "get") return get(w);
  if (c == "set") return set(w);
  if (c == "del") return del(w);
  if (c == "watch") return watch(w);
  if (c == "log") return log(w);
  if (extra_ && extra_(w)) return;
  throw UserError("unknown command '" + c + "' (help lists them)");
}

void Session::help() {
  TextTable t;
  t.addRow({"new TYPE NAME", "create an entity of a factory type by name, and stand in it"});
  t.addRow({"cd NAME | cd ATTR [KEY] | cd .. | cd /", "stand in a created entity, in a child, one up, or nowhere"});
  t.addRow({"ls [ATTR]", "the attributes here with their values, or one collection's entries"});
  t.addRow({"get ATTR [KEY]", "an attribute's value, or one entry of a collection"});
  t.addRow({"set ATTR VALUE | set ATTR KEY [VALUE]", "set an attribute, or an entry (a set member or child: KEY alone)"});
  t.addRow({"del ATTR KEY", "delete a collection entry"});
  t.addRow({"watch [off]", "print every announcement of this entity and its children as it happens"});
  t.addRow({"log [whole|off]", "print the attribute-log records of this entity's changes, decoded (whole: its state first)"});
  t.addRow({"modules | types | describe | value | enum", "the registry commands (vemsh help)"});
  t.addRow({"quit", "leave (so does the end of input)"});
  t.write(out_, "  ");
  if (!extraHelp_.empty()) out_ << extraHelp_;
  out_ << "Values and keys are text forms: strings in double quotes (\"Ethernet1\"), numbers in decimal,\n"
          "enumerations by name, values as Type(field=value, ...). Tab completes names.\n";
}

void Session::create(const std::vector<std::string>& w) {
  need(w, 2, 2, "new TYPE NAME");
  const std::string name = unquoted(w[2]);
  if (roots_.count(name) != 0) throw UserError("an entity named " + name + " exists already");
  Vem::GenericEntity e = [&] {
    try {
      return Vem::GenericEntity::create(w[1], Lumo::String(name));
    } catch (const Vem::RangeException& err) {
      throw UserError(err.what());
    }
  }();
  roots_.emplace(name, e);
  path_.assign(1, Place{e, name});
  out_ << "created " << e.type().name() << ' ' << name << '\n';
  if (onRootCreated_) onRootCreated_(e);
  drainLog();
}

void Session::changeDirectory(const std::vector<std::string>& w) {
  need(w, 0, 2, "cd NAME | cd ATTR [KEY] | cd .. | cd /");
  if (w.size() == 1 || w[1] == "/") {
    path_.clear();
  } else if (w[1] == "..") {
    if (!path_.empty()) path_.pop_back();
  } else if (path_.empty()) {
    auto it = roots_.find(unquoted(w[1]));
    if (it == roots_.end()) throw UserError("no entity named " + w[1] + " (new TYPE NAME creates one)");
    path_.push_back(Place{it->second, it->first});
  } else {
    const Place& p = here();
    const Vem::MemberRecord& m = p.entity.member(w[1]);
    if (!isInstantiating(m)) throw UserError(w[1] + " holds no child entities");
    Lumo::Ptr<Vem::Entity> child;
    std::string keyText;
    if (Vem::GenericEntity::isCollection(m)) {
      if (w.size() != 3) throw UserError("usage: cd " + w[1] + " KEY");
      Vem::AnyValue key = parse(p.entity.keyType(m), w[2]);
      child = p.entity.lookup(w[1], key).as<Lumo::Ptr<Vem::Entity>>();
      keyText = key.text().stdString();
      if (!child) throw UserError(w[1] + " has no entry " + keyText);
    } else {
      child = p.entity.get(w[1]).as<Lumo::Ptr<Vem::Entity>>();
      if (!child) throw UserError(w[1] + " holds no child");
    }
    path_.push_back(Place{Vem::GenericEntity(child), childLabel(p.label, w[1], keyText)});
  }
  out_ << where() << '\n';
}

void Session::list(const std::vector<std::string>& w) {
  need(w, 0, 1, "ls [ATTR]");
  if (path_.empty()) {
    if (w.size() == 2) throw UserError("not in an entity");
    for (const auto& [name, e] : roots_) out_ << name << "  " << e.type().name() << '\n';
    return;
  }
  const Vem::GenericEntity& e = here().entity;
  if (w.size() == 2) {
    const Vem::MemberRecord& m = e.member(w[1]);
    if (!Vem::GenericEntity::isCollection(m)) throw UserError(w[1] + " is not a collection (get " + w[1] + ")");
    out_ << w[1] << " (" << e.count(w[1]) << "):\n";
    e.forEach(w[1], [&](const Vem::AnyValue& k, const Vem::AnyValue& v) {
      out_ << "  " << k.text();
      if (!isSet(m)) out_ << " -> " << v.text();
      out_ << '\n';
    });
    return;
  }
  out_ << e.type().name() << ' ' << e.name() << '\n';
  TextTable t;
  for (const Vem::MemberRecord& m : e.type().members()) {
    if (!isAttribute(m)) continue;
    const std::string_view name = e.type().memberName(m);
    if (Vem::GenericEntity::isCollection(m))
      t.addRow({std::string(name), std::to_string(e.count(name)) + (e.count(name) == 1 ? " entry" : " entries"),
                std::string(isInstantiating(m) ? "children " : isSet(m) ? "set of " : "") +
                    std::string(e.keyType(m).name()) + (isSet(m) ? "" : " -> " + std::string(e.valueType(m).name()))});
    else
      t.addRow({std::string(name), "= " + e.get(name).text().stdString(), std::string(e.valueType(m).name())});
  }
  t.write(out_, "  ");
}

void Session::get(const std::vector<std::string>& w) {
  need(w, 1, 2, "get ATTR [KEY]");
  const Vem::GenericEntity& e = here().entity;
  const Vem::MemberRecord& m = e.member(w[1]);
  if (w.size() == 2) {
    if (Vem::GenericEntity::isCollection(m)) throw UserError(w[1] + " is a collection: get " + w[1] + " KEY, or ls " + w[1]);
    out_ << w[1] << " = " << e.get(w[1]).text() << '\n';
    return;
  }
  if (!Vem::GenericEntity::isCollection(m)) throw UserError(w[1] + " is not a collection: get " + w[1]);
  Vem::AnyValue key = parse(e.keyType(m), w[2]);
  if (!e.contains(w[1], key)) throw UserError(w[1] + " has no entry " + key.text().stdString());
  out_ << w[1] << '[' << key.text() << "] = " << (isSet(m) ? Lumo::String("true") : e.lookup(w[1], key).text()) << '\n';
}

void Session::set(const std::vector<std::string>& w) {
  need(w, 2, 3, "set ATTR VALUE | set ATTR KEY [VALUE]");
  here();  // raises outside every entity
  Vem::GenericEntity& e = path_.back().entity;
  const Vem::MemberRecord& m = e.member(w[1]);
  std::string keyText;
  if (!Vem::GenericEntity::isCollection(m)) {
    if (w.size() != 3) throw UserError("usage: set " + w[1] + " VALUE");
    e.set(w[1], parse(e.valueType(m), w[2]));
  } else if (isInstantiating(m) || isSet(m)) {
    if (w.size() != 3) throw UserError("usage: set " + w[1] + " KEY (" + w[1] + " takes keys alone)");
    Vem::AnyValue key = parse(e.keyType(m), w[2]);
    keyText = key.text().stdString();
    e.create(w[1], key);
  } else {
    if (w.size() != 4) throw UserError("usage: set " + w[1] + " KEY VALUE");
    // Both parsed before anything changes.
    Vem::AnyValue key = parse(e.keyType(m), w[2]);
    Vem::AnyValue value = parse(e.valueType(m), w[3]);
    keyText = key.text().stdString();
    e.set(w[1], key, value);
  }
  drainLog();
  if (afterChange_) afterChange_(e, path_.back().label, m, keyText);
}

void Session::del(const std::vector<std::string>& w) {
  need(w, 2, 2, "del ATTR KEY");
  here();  // raises outside every entity
  Vem::GenericEntity& e = path_.back().entity;
  const Vem::MemberRecord& m = e.member(w[1]);
  if (!Vem::GenericEntity::isCollection(m)) throw UserError(w[1] + " is not a collection");
  Vem::AnyValue key = parse(e.keyType(m), w[2]);
  if (!e.contains(w[1], key)) throw UserError(w[1] + " has no entry " + key.text().stdString());
  const std::string label = here().label;
  e.del(w[1], key);
  drainLog();
  if (afterChange_) afterChange_(e, label, m, key.text().stdString());
}

void Session::watch(const std::vector<std::string>& w) {
  need(w, 0, 1, "watch [off]");
  if (w.size() == 2) {
    if (w[1] != "off") throw UserError("usage: watch [off]");
    watches_.clear();
    out_ << "watching nothing\n";
    return;
  }
  const Place& p = here();
  for (const auto& existing : watches_)
    if (existing->root() == p.entity.entity().get()) throw UserError("already watching " + p.label);
  watches_.push_back(std::make_unique<Watch>(out_, p.entity, p.label, "announce "));
  out_ << "watching " << p.label << '\n';
}

void Session::log(const std::vector<std::string>& w) {
  need(w, 0, 1, "log [whole|off]");
  if (w.size() == 2 && w[1] != "off" && w[1] != "whole") throw UserError("usage: log [whole|off]");
  if (w.size() == 2 && w[1] == "off") {
    log_.reset();
    out_ << "log off\n";
    return;
  }
  const Place& root = path_.empty() ? here() : path_.front();
  log_ = std::make_unique<LogTap>(root.entity);
  if (w.size() == 2) {
    out_ << "log of " << root.label << ": the whole state, as a new receiver gets it, then every change\n";
    drainLog();
    return;
  }
  // The whole state still goes through the decoder, unseen, so that it knows every entity's id.
  std::ostringstream unseen;
  log_->drain(unseen);
  out_ << "log of " << root.label << ": the records of every change from now on\n";
}

void Session::drainLog() {
  if (!log_) return;
  log_->drain(out_);
  out_.flush();
}

std::vector<std::string> Session::complete(std::string_view before, std::string_view word) const {
  std::vector<std::string> matches;
  std::vector<std::string> w;
  try {
    w = splitWords(before);
  } catch (const UserError&) {
    return matches;
  }
  if (w.empty()) {
    for (std::string_view c : sessionCommands) addMatches(matches, word, c);
    for (std::string_view c : registryCommands) addMatches(matches, word, c);
    return matches;
  }
  const std::string& c = w[0];
  if (w.size() == 1 && (c == "new" || c == "describe" || c == "value" || c == "enum")) {
    for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) {
      const Vem::RegisteredModule& mod = Vem::Registry::module(i);
      for (uint16_t t = 0; t < mod.descriptor->typeCount; ++t) {
        Vem::VemType type(mod.descriptor, t);
        if (c == "enum" && !type.isEnumeration()) continue;
        if (c == "new" && (!type.isEntity() || type.impl().newEntityForDir == nullptr)) continue;
        if (c == "value" && type.isEntity()) continue;
        addMatches(matches, word, type.name());
      }
    }
  } else if (w.size() == 1 && c == "types") {
    for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) addMatches(matches, word, Vem::Registry::module(i).name);
  } else if (c == "cd" && path_.empty() && w.size() == 1) {
    for (const auto& [name, e] : roots_) addMatches(matches, word, name);
  } else if ((c == "cd" || c == "get" || c == "set" || c == "del" || c == "ls") && !path_.empty()) {
    const Vem::GenericEntity& e = path_.back().entity;
    if (w.size() == 1) {
      for (const Vem::MemberRecord& m : e.type().members())
        if (isAttribute(m) && (c != "cd" || isInstantiating(m)) && (c != "ls" || Vem::GenericEntity::isCollection(m)))
          addMatches(matches, word, e.type().memberName(m));
    } else if (w.size() == 2 && c != "ls") {
      // The keys a collection holds, for the commands that take one.
      const Vem::MemberRecord* m = e.type().memberByName(w[1]);
      if (m != nullptr && Vem::GenericEntity::isCollection(*m) && isAttribute(*m))
        e.forEach(w[1], [&](const Vem::AnyValue& k, const Vem::AnyValue&) { addMatches(matches, word, k.text().view()); });
    }
  }
  std::sort(matches.begin(), matches.end());
  return matches;
}

}  // namespace vemsh
