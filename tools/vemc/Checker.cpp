#include "Checker.h"

#include "Diagnostics.h"
#include "Parser.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace vemc {

namespace fs = std::filesystem;

namespace {

const std::map<std::string, int16_t>& builtins() {
  static const std::map<std::string, int16_t> table = {
      {"U8", -5},  {"U16", -7},          {"U32", -9},          {"S32", -10},
      {"U64", -11}, {"bool", -13},       {"Vem::String", -18}, {"Vem::Seconds", -26},
      {"void", -4}};
  return table;
}

uint64_t integerMax(const std::string& t) {
  if (t == "U8") return 0xff;
  if (t == "U16") return 0xffff;
  if (t == "U32") return 0xffffffffu;
  if (t == "S32") return 0x7fffffff;
  return UINT64_MAX;
}

bool isInteger(const std::string& t) { return t == "U8" || t == "U16" || t == "U32" || t == "S32" || t == "U64"; }

std::string readFile(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw CompileError(file, 0, "cannot read the file");
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace

// Stable per-module tag: a 32-bit xor-then-multiply hash of the name's bytes, with the top nibble forced
// non-zero so that it always prints as eight hexadecimal digits.
uint32_t defaultTag(const std::string& moduleName) {
  uint32_t h = 2166136261u;
  for (unsigned char c : moduleName) h = (h ^ c) * 16777619u;
  if ((h >> 28) == 0) h |= 0x10000000u;
  return h;
}

bool isKeyForm(const std::string& name) {
  static const std::set<std::string> forms = {"KeyStringLegacy", "KeyString", "KeyU32", "KeyU64", "KeyU32IdHash",
                                              "KeyAndRhashSeedArg", "KeyAndRhashLegacy", "KeyAndRhashNoSeedArg"};
  return forms.count(name) != 0;
}

bool Compilation::isBuiltin(const std::string& typeName) { return builtins().count(typeName) != 0; }

int16_t Compilation::builtinCode(const std::string& typeName) { return builtins().at(typeName); }

const ModuleDecl& Compilation::load(const std::string& file) {
  std::vector<std::string> loading;
  ModuleDecl& m = loadFile(file, loading);
  buildTables(m);
  return m;
}

std::vector<const ModuleDecl*> Compilation::importsOf(const ModuleDecl& m) const {
  std::vector<const ModuleDecl*> out;
  for (const std::string& name : m.imports) out.push_back(byName_.at(name));
  return out;
}

std::string Compilation::findImport(const std::string& name, const ModuleDecl& from) const {
  std::vector<fs::path> dirs;
  dirs.push_back(fs::path(from.file).parent_path());
  for (const std::string& p : importPaths_) dirs.emplace_back(p);
  for (const fs::path& d : dirs) {
    // A module is found as <dir>/<Name>.vem or <dir>/<any folder>/<Name>.vem.
    fs::path direct = d / (name + ".vem");
    if (fs::exists(direct)) return direct.string();
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(d.empty() ? fs::path(".") : d, ec)) {
      if (!entry.is_directory()) continue;
      fs::path nested = entry.path() / (name + ".vem");
      if (fs::exists(nested)) return nested.string();
    }
  }
  return {};
}

ModuleDecl& Compilation::loadFile(const std::string& file, std::vector<std::string>& loading) {
  ModuleDecl parsed = parseModule(file, readFile(file));
  std::string expected = fs::path(file).stem().string();
  if (parsed.name != expected)
    throw CompileError(file, 1, "module " + parsed.name + " must be defined in a file named " + parsed.name + ".vem");
  if (auto it = byName_.find(parsed.name); it != byName_.end()) return *it->second;
  if (std::find(loading.begin(), loading.end(), parsed.name) != loading.end())
    throw CompileError(file, 1, "module " + parsed.name + " imports itself through a cycle");
  loading.push_back(parsed.name);
  if (!parsed.tagGiven) parsed.tag = defaultTag(parsed.name);
  parsed.headerDir = fs::absolute(file).parent_path().filename().string();
  for (const std::string& imp : parsed.imports) {
    std::string path = findImport(imp, parsed);
    if (path.empty()) throw CompileError(file, 1, "cannot find module " + imp + " (" + imp + ".vem) on the import path");
    loadFile(path, loading);
  }
  loading.pop_back();
  modules_.push_back(std::move(parsed));
  ModuleDecl& m = modules_.back();
  byName_[m.name] = &m;
  check(m);
  return m;
}

const TypeDecl* Compilation::resolve(const ModuleDecl& m, const std::string& scope, const std::string& name,
                                     int line) const {
  // Innermost namespace first: inside Orv::Loopback, "Request" may be Orv::Loopback::Request or Orv::Request.
  std::string s = scope;
  for (;;) {
    std::string candidate = s.empty() ? name : s + "::" + name;
    if (auto it = types_.find(candidate); it != types_.end()) {
      const TypeDecl* t = it->second;
      bool visible = t->module == &m;
      for (const std::string& imp : m.imports) visible = visible || t->module->name == imp;
      if (!visible)
        throw CompileError(m.file, line, "type " + candidate + " is defined by module " + t->module->name +
                                             ", which this module does not import");
      return t;
    }
    if (s.empty()) break;
    auto cut = s.rfind("::");
    s = cut == std::string::npos ? "" : s.substr(0, cut);
  }
  throw CompileError(m.file, line, "unknown type '" + name + "'");
}

void Compilation::check(ModuleDecl& m) {
  if (m.types.size() > 0xffff) throw CompileError(m.file, 1, "too many types");
  for (std::size_t i = 0; i < m.types.size(); ++i) {
    TypeDecl& t = m.types[i];
    t.module = &m;
    t.index = static_cast<uint16_t>(i);
    auto [it, fresh] = types_.emplace(t.qualifiedName(), &t);
    if (!fresh)
      throw CompileError(m.file, t.line, "type " + t.qualifiedName() + " is already defined" +
                                             (it->second->module == &m ? "" : " by module " + it->second->module->name));
  }
  uint16_t memberIndex = 0;
  for (TypeDecl& t : m.types) {
    if (t.kind == TypeDecl::Kind::entity && !t.baseName.empty()) resolveEntityBase(m, t);
    bool keyedByName = std::none_of(t.members.begin(), t.members.end(), [](const Member& x) {
      return x.kind == Member::Kind::key || x.ctorParam2;
    });
    // `key name : Vem::String;` declared first is the entity's name, ahead of further constructor
    // attributes: it is no attribute of its own but the inherited nameString.
    auto firstCtor = std::find_if(t.members.begin(), t.members.end(), [](const Member& x) {
      return x.kind == Member::Kind::key || x.ctorParam2;
    });
    if (t.kind == TypeDecl::Kind::entity && firstCtor != t.members.end() && firstCtor->kind == Member::Kind::key &&
        firstCtor->name == "name") {
      if (firstCtor->typeName != "Vem::String")
        throw CompileError(m.file, firstCtor->line, "an entity's name is a Vem::String");
      t.members.erase(firstCtor);
      t.namedWithCtor = true;
      keyedByName = true;
    }
    // A derived entity inherits nameString (if its base has one) and lists only its own members.
    if (t.kind == TypeDecl::Kind::entity && keyedByName && !t.base) {
      // Entities built from a name list the inherited read-only nameString first.
      Member nameString;
      nameString.kind = Member::Kind::nameString;
      nameString.name = "nameString";
      nameString.typeName = "Vem::String";
      nameString.line = t.line;
      t.members.insert(t.members.begin(), std::move(nameString));
    }
    std::set<std::string> names;
    for (const Member& mem : t.members)
      if (!names.insert(mem.name).second)
        throw CompileError(m.file, mem.line, "member " + mem.name + " of " + t.qualifiedName() + " is declared twice");
    if (t.kind == TypeDecl::Kind::entity)
      for (const TypeDecl* b = t.base; b; b = b->base)
        for (const Member& inherited : b->members)
          if (names.count(inherited.name))
            throw CompileError(m.file, t.line, "member " + inherited.name + " of " + t.qualifiedName() +
                                                   " hides the one it inherits from " + b->qualifiedName());
    t.firstMember = memberIndex;
    if (t.kind == TypeDecl::Kind::enumeration) checkEnumeration(m, t);
    else if (t.kind == TypeDecl::Kind::value) checkValue(m, t);
    else if (t.kind == TypeDecl::Kind::entity) checkEntity(m, t), finishEntityCtor(t);
    for (Member& mem : t.members)
      if (mem.kind == Member::Kind::enumerator) mem.attributeId = memberIndex++;
      else ++memberIndex;
  }
  // Collections of entities are keyed by their children's first constructor attribute, known only once
  // every type of the module has been checked.
  for (TypeDecl& t : m.types)
    for (Member& mem : t.members) {
      if (!mem.holdsEntities()) continue;
      const CtorParam& childKey = mem.type->ctorParams.front();
      mem.keyField = childKey.field;
      if (!mem.isCollection()) continue;
      mem.keyTypeName = childKey.typeName;
      checkCollectionKey(m, t, mem);
    }
  for (const TypeDecl& t : m.types)
    if (t.kind == TypeDecl::Kind::value) refuseValueHoldingItself(m, t);
}

// A value that holds itself, in a field or through its base, directly or through other values, would
// have no size. Imports form no cycle, so such a cycle lies within one module.
void Compilation::refuseValueHoldingItself(const ModuleDecl& m, const TypeDecl& t) const {
  std::vector<const TypeDecl*> pending{&t};
  std::set<const TypeDecl*> seen;
  while (!pending.empty()) {
    const TypeDecl* v = pending.back();
    pending.pop_back();
    const auto holds = [&](const TypeDecl* held, int line, const std::string& through) {
      if (held == &t) throw CompileError(m.file, line, "value " + t.qualifiedName() + " holds itself through " + through);
      if (seen.insert(held).second) pending.push_back(held);
    };
    if (v->base) holds(v->base, v->line, "the base of " + v->qualifiedName());
    for (const Member& mem : v->members)
      if ((mem.kind == Member::Kind::field || mem.kind == Member::Kind::mutableField) && mem.type &&
          mem.type->kind == TypeDecl::Kind::value)
        holds(mem.type, mem.line, "member " + mem.name + " of " + v->qualifiedName());
  }
}

void Compilation::refusePlatformEntity(const ModuleDecl& m, const Member& mem) const {
  // Such a class is no type of the system's own: nothing can store, log or return it.
  if (mem.type && mem.type->kind == TypeDecl::Kind::platformEntity)
    throw CompileError(m.file, mem.line, mem.name + ": platform entity " + mem.type->qualifiedName() +
                                             " can only be a method parameter");
}

void Compilation::checkEnumeration(ModuleDecl& m, TypeDecl& t) {
  std::set<uint32_t> codes;
  if (t.members.empty()) throw CompileError(m.file, t.line, "enumeration " + t.qualifiedName() + " has no enumerators");
  for (Member& e : t.members) {
    if (t.holdingType == "U8" && e.enumValue > 0xff)
      throw CompileError(m.file, e.line, "code " + std::to_string(e.enumValue) + " of " + e.name +
                                             " does not fit U8; declare the enumeration ': U32'");
    if (!codes.insert(e.enumValue).second)
      throw CompileError(m.file, e.line, "code " + std::to_string(e.enumValue) + " is used twice in " + t.qualifiedName());
    e.flagsA = 0x2888;
    e.flagsB = 0;
    e.type = &t;
  }
}

void Compilation::checkDefault(const ModuleDecl& m, const Member& member, const Literal& l, const std::string& typeName) {
  auto bad = [&](const std::string& why) { throw CompileError(m.file, l.line, "default of " + member.name + ": " + why); };
  if (isInteger(typeName)) {
    if (l.kind != Literal::Kind::integer) bad("expected a number for " + typeName);
    if (l.negative && typeName != "S32") bad(typeName + " is unsigned");
    if (l.integer > integerMax(typeName) + (l.negative ? 1 : 0)) bad(l.text + " does not fit " + typeName);
  } else if (typeName == "bool") {
    if (l.kind != Literal::Kind::boolean) bad("expected true or false");
  } else if (typeName == "Vem::String") {
    if (l.kind != Literal::Kind::string) bad("expected a string");
  } else if (typeName == "Vem::Seconds") {
    if (l.kind != Literal::Kind::integer) bad("expected a number of seconds");
  } else {
    const TypeDecl* t = member.type;
    if (t == nullptr || t->kind != TypeDecl::Kind::enumeration)
      bad("only built-in and enumeration fields take a default; " + typeName + " starts as its own default");
    if (l.kind != Literal::Kind::identifier) bad("expected an enumerator of " + t->qualifiedName());
    bool found = std::any_of(t->members.begin(), t->members.end(), [&](const Member& e) { return e.name == l.text; });
    if (!found) bad(l.text + " is not an enumerator of " + t->qualifiedName());
  }
}

void Compilation::checkValue(ModuleDecl& m, TypeDecl& t) {
  // Names resolve from the type's own scope outwards, so that its nested types come first.
  const std::string scope = t.qualifiedName();
  uint16_t firstId = 2;
  if (!t.baseName.empty()) {
    t.base = resolve(m, t.nameSpace, t.baseName, t.line);
    if (t.base->kind != TypeDecl::Kind::value)
      throw CompileError(m.file, t.line, t.qualifiedName() + " can derive only from a value type of this library");
    refuseBaseDeclaredLater(m, t, *t.base, "value");
    firstId = static_cast<uint16_t>(2 + 128);
    for (const TypeDecl* b = t.base->base; b; b = b->base) firstId = static_cast<uint16_t>(firstId + 128);
  }
  std::map<std::string, Member*> byName;
  uint16_t id = firstId;
  for (Member& mem : t.members) {
    byName[mem.name] = &mem;
    mem.attributeId = id++;
    if (!isBuiltin(mem.typeName)) mem.type = resolve(m, scope, mem.typeName, mem.line);
    refusePlatformEntity(m, mem);
    if (mem.typeName == "void" && mem.kind != Member::Kind::method && mem.kind != Member::Kind::staticMethod)
      throw CompileError(m.file, mem.line, "only methods return void");
    for (Param& p : mem.params)
      if (!isBuiltin(p.typeName) || p.typeName == "void") {
        if (p.typeName == "void") throw CompileError(m.file, p.line, "a parameter cannot be void");
        p.typeName = resolve(m, scope, p.typeName, p.line)->qualifiedName();
      }
    if (mem.type) mem.typeName = mem.type->qualifiedName();
    if (mem.defaultValue) checkDefault(m, mem, *mem.defaultValue, mem.typeName);
    if (mem.stored() && mem.type && mem.type->unordered && !t.unordered)
      throw CompileError(m.file, mem.line, mem.typeName + " has no order: " + t.qualifiedName() + " needs 'order none;' too");
    switch (mem.kind) {
      case Member::Kind::field: mem.flagsA = 0x2c00; mem.flagsB = 0x0101; break;
      case Member::Kind::mutableField: mem.flagsA = 0x9c00; mem.flagsB = 0x0101; break;
      case Member::Kind::computed: mem.flagsA = 0x2800; break;
      case Member::Kind::method: mem.flagsA = 0x0810; break;
      case Member::Kind::staticMethod: mem.flagsA = 0x0818; break;
      case Member::Kind::constant: mem.flagsA = 0x2808; break;
      case Member::Kind::input: mem.flagsA = 0x2000; mem.flagsB = 0x2000; break;
      case Member::Kind::valueCollection:
        mem.flagsA = 0x9c01;
        mem.flagsB = mem.keysOnly ? 0x0109 : 0x0101;
        if (mem.type && mem.type->isEntity())
          throw CompileError(m.file, mem.line, "a value cannot hold entities");
        checkCollectionKey(m, t, mem);
        break;
      default:
        throw CompileError(m.file, mem.line, "member " + mem.name + " cannot be declared in a value type");
    }
    if (mem.kind == Member::Kind::method && mem.name == "stringValue") {
      // A type's own stringValue stands in for the generated one, so it has that one's signature.
      if (mem.typeName != "Vem::String" || !mem.params.empty() || !mem.mix.empty())
        throw CompileError(m.file, mem.line, "stringValue takes no parameters and returns Vem::String");
    }
    if (!mem.mix.empty()) {
      if (mem.typeName != "U32" || !mem.params.empty())
        throw CompileError(m.file, mem.line, "a mix() body computes a U32 and takes no parameters");
      for (const MixItem& item : mem.mix) {
        auto it = std::find_if(t.members.begin(), t.members.end(), [&](const Member& x) { return x.name == item.field; });
        if (it == t.members.end() || !it->stored() || it->kind == Member::Kind::valueCollection)
          throw CompileError(m.file, item.line, "mix() ingredient " + item.field + " is not a stored field of " + t.name);
        if (item.how == MixItem::How::hash && isBuiltin(it->typeName))
          throw CompileError(m.file, item.line, "'hash " + item.field + "': a built-in field has no hash of its own; use raw or single");
      }
    }
  }
  // Constructor parameters: the ctor clause, or every `field` in order (after the base's parameters,
  // which a derived value passes on to its base's constructor).
  if (t.ctorClause) {
    std::set<std::string> seen;
    for (const CtorParam& p : *t.ctorClause) {
      Member* mem = nullptr;
      if (auto it = byName.find(p.field); it != byName.end()) mem = it->second;
      for (const TypeDecl* b = t.base; b && !mem; b = b->base)
        for (const Member& x : b->members)
          if (x.name == p.field) mem = const_cast<Member*>(&x);
      if (mem == nullptr) throw CompileError(m.file, p.line, "ctor names no member " + p.field + " of " + t.name);
      bool own = byName.count(p.field) != 0;
      if ((!mem->stored() && mem->kind != Member::Kind::input && mem->kind != Member::Kind::computed) ||
          mem->kind == Member::Kind::valueCollection)
        throw CompileError(m.file, p.line, "ctor parameter " + p.field + " must be a field, mutable field, input or computed member");
      if (!seen.insert(p.field).second) throw CompileError(m.file, p.line, "ctor lists " + p.field + " twice");
      if (p.defaultValue) checkDefault(m, *mem, *p.defaultValue, mem->typeName);
      // Anything but a stored field of this type is consumed by a constructor written by hand.
      if (!own || !mem->stored()) t.handwrittenCtor = true;
      t.ctorParams.push_back(p);
      t.ctorParams.back().typeName = mem->typeName;
      if (own) {
        mem->ctorParam = true;
        if (mem->stored()) mem->flagsB = 0x2101;
      }
    }
  } else {
    if (t.base)
      for (CtorParam p : t.base->ctorParams) {
        p.fromBase = true;
        t.ctorParams.push_back(std::move(p));
      }
    for (Member& mem : t.members)
      if (mem.kind == Member::Kind::field) {
        t.ctorParams.push_back(CtorParam{mem.name, mem.name, std::nullopt, mem.line, mem.typeName});
        mem.ctorParam = true;
        mem.flagsB = 0x2101;
      }
  }
  for (const Member& mem : t.members)
    if (mem.kind == Member::Kind::input && !mem.ctorParam)
      throw CompileError(m.file, mem.line, "input " + mem.name + " must be listed in the ctor clause");
  for (const Member& mem : t.members)
    if (mem.settable && mem.kind != Member::Kind::computed)
      throw CompileError(m.file, mem.line, "only a computed member is 'settable'");
  if (t.streamsStringValue) {
    auto own = std::find_if(t.members.begin(), t.members.end(), [](const Member& x) { return x.name == "stringValue"; });
    if (own == t.members.end() || own->typeName != "Vem::String" || !own->params.empty() ||
        (own->kind != Member::Kind::method && own->kind != Member::Kind::computed))
      throw CompileError(m.file, t.line, "'stream stringValue' needs a member 'stringValue' of type Vem::String without parameters");
    if (t.handwrittenText)
      throw CompileError(m.file, t.line, "with 'text handwritten' the stream output is already written by hand");
  }
  bool defaultSeen = false;
  for (const CtorParam& p : t.ctorParams) {
    if (p.defaultValue) defaultSeen = true;
    else if (defaultSeen) throw CompileError(m.file, p.line, "ctor parameter " + p.name + " needs a default: an earlier one has one");
  }
  for (const Check& c : t.checks) {
    auto it = byName.find(c.field);
    if (it == byName.end() || !it->second->stored() || !isInteger(it->second->typeName))
      throw CompileError(m.file, c.line, "check: " + c.field + " is not a stored integer field of " + t.name);
    if (c.boundIsField) {
      auto b = byName.find(c.bound);
      if (b == byName.end() || !b->second->stored() || !isInteger(b->second->typeName))
        throw CompileError(m.file, c.line, "check: " + c.bound + " is not a stored integer field of " + t.name);
    }
  }
}

void Compilation::checkCollectionKey(ModuleDecl& m, const TypeDecl& t, Member& mem) {
  if (mem.keyTypeName == "void" || mem.keyTypeName == "Vem::Seconds")
    throw CompileError(m.file, mem.line, mem.keyTypeName + " cannot be a key");
  if (!isBuiltin(mem.keyTypeName)) {
    mem.keyType = resolve(m, t.qualifiedName(), mem.keyTypeName, mem.line);
    if (mem.keyType->isEntity()) throw CompileError(m.file, mem.line, "an entity cannot be a key");
    if (mem.keyType->unordered)
      throw CompileError(m.file, mem.line, mem.keyType->qualifiedName() + " has no order and cannot be a key");
    mem.keyTypeName = mem.keyType->qualifiedName();
  }
  if (!mem.keyForm.empty() && !isKeyForm(mem.keyForm))
    throw CompileError(m.file, mem.line, "unknown key form '" + mem.keyForm + "'");
  if (mem.keyForm.empty()) {
    const std::string& k = mem.keyTypeName;
    if (k == "Vem::String") mem.keyForm = "KeyStringLegacy";
    else if (k == "U64") mem.keyForm = "KeyU64";
    else if (isBuiltin(k) || (mem.keyType && mem.keyType->kind == TypeDecl::Kind::enumeration)) mem.keyForm = "KeyU32";
    else mem.keyForm = "KeyAndRhashSeedArg";
  }
  mem.seedConstant = defaultTag(m.name + "." + t.qualifiedName() + "." + mem.name);
}

void Compilation::resolveEntityBase(ModuleDecl& m, TypeDecl& t) {
  const TypeDecl* base = resolve(m, t.nameSpace, t.baseName, t.line);
  if (base->kind != TypeDecl::Kind::entity)
    throw CompileError(m.file, t.line, "entity " + t.qualifiedName() + " can derive only from an entity type");
  refuseBaseDeclaredLater(m, t, *base, "entity");
  t.base = base;
}

// Types are checked and generated in declaration order, so a base within the module must come first;
// the rule also leaves no room for a cycle of bases.
void Compilation::refuseBaseDeclaredLater(const ModuleDecl& m, const TypeDecl& t, const TypeDecl& base,
                                          const char* kind) const {
  if (base.module == &m && base.index >= t.index)
    throw CompileError(m.file, t.line,
                       std::string(kind) + " " + t.qualifiedName() + " must be declared after its base " + base.qualifiedName());
}

void Compilation::checkEntity(ModuleDecl& m, TypeDecl& t) {
  // Nested types are found from inside their enclosing type first.
  const std::string scope = t.qualifiedName();
  // Own attributes start at 258, 128 higher for each level of derivation; inherited ones keep their ids.
  // The constructor takes the base's arguments first, then the type's own.
  uint16_t id = 258;
  for (const TypeDecl* b = t.base; b; b = b->base) id = static_cast<uint16_t>(id + 128);
  if (t.base) t.ctorParams = t.base->ctorParams;
  for (Member& mem : t.members) {
    if (mem.kind == Member::Kind::nameString) {
      mem.attributeId = 154;
      mem.flagsA = 0x2800;
      continue;
    }
    mem.attributeId = id++;
    if (mem.kind == Member::Kind::method || mem.kind == Member::Kind::staticMethod ||
        mem.kind == Member::Kind::computed || mem.kind == Member::Kind::constant) {
      // Operations of an entity: typed and flagged as in value types, written by hand.
      if (!isBuiltin(mem.typeName)) {
        mem.type = resolve(m, scope, mem.typeName, mem.line);
        mem.typeName = mem.type->qualifiedName();
      }
      refusePlatformEntity(m, mem);
      for (Param& p : mem.params) {
        if (p.typeName == "void") throw CompileError(m.file, p.line, "a parameter cannot be void");
        if (!isBuiltin(p.typeName)) p.typeName = resolve(m, scope, p.typeName, p.line)->qualifiedName();
      }
      mem.flagsA = mem.kind == Member::Kind::method         ? 0x0810
                   : mem.kind == Member::Kind::staticMethod ? 0x0818
                   : mem.kind == Member::Kind::computed     ? 0x2800
                                                            : 0x2808;
      mem.flagsB = 0;
      if (!mem.mix.empty()) throw CompileError(m.file, mem.line, "mix() bodies belong to value types");
      continue;
    }
    if (mem.typeName == "void") throw CompileError(m.file, mem.line, "an attribute cannot be void");
    if (!isBuiltin(mem.typeName)) {
      mem.type = resolve(m, scope, mem.typeName, mem.line);
      mem.typeName = mem.type->qualifiedName();
    }
    refusePlatformEntity(m, mem);
    if (mem.kind == Member::Kind::view) {
      // A view stores nothing and is neither announced nor logged: readable and settable, no storage.
      auto base = std::find_if(t.members.begin(), t.members.end(), [&](const Member& x) { return x.name == mem.viewOf; });
      if (base == t.members.end() || (base->kind != Member::Kind::set && base->kind != Member::Kind::collection))
        throw CompileError(m.file, mem.line, "view " + mem.name + ": " + mem.viewOf + " is no set or collection of " + t.name);
      if (mem.type && mem.type->isEntity())
        throw CompileError(m.file, mem.line, "view " + mem.name + " cannot hold entities");
      checkCollectionKey(m, t, mem);
      if (mem.keyTypeName != base->keyTypeName)
        throw CompileError(m.file, mem.line, "view " + mem.name + " is keyed by " + mem.keyTypeName + ", " + mem.viewOf +
                                                 " by " + base->keyTypeName);
      mem.flagsA = 0x8801;
      mem.flagsB = 0;
      continue;
    }
    bool entityValued = mem.type && mem.type->kind == TypeDecl::Kind::entity;
    if (mem.holdsEntities() && !entityValued)
      throw CompileError(m.file, mem.line, mem.name + " holds entities: " + mem.typeName + " is not an entity type");
    if (!mem.holdsEntities() && entityValued)
      throw CompileError(m.file, mem.line, mem.name + ": entity " + mem.typeName +
                                               " can only be held by children, child or refs");
    if (mem.isCollection()) {
      // Children and references are keyed once their type's constructor is known (after this pass);
      // values carrying their own key were keyed above.
      if (!mem.holdsEntities() && mem.keyField.empty()) checkCollectionKey(m, t, mem);
    }
    if (mem.defaultValue) checkDefault(m, mem, *mem.defaultValue, mem.typeName);
    if (mem.counter && !isInteger(mem.typeName))
      throw CompileError(m.file, mem.line, "counter " + mem.name + " must be an integer attribute");
    if (mem.noSetter && !mem.counter)
      throw CompileError(m.file, mem.line, mem.name + ": only a counter can do without a setter");
    if (mem.kind == Member::Kind::collection && !mem.keyField.empty()) {
      // Values that carry their own key: the key is one of the value's stored fields.
      if (!mem.type || mem.type->kind != TypeDecl::Kind::value)
        throw CompileError(m.file, mem.line, mem.name + ": only a value type of a definition can carry its own key");
      auto f = std::find_if(mem.type->members.begin(), mem.type->members.end(),
                            [&](const Member& x) { return x.name == mem.keyField && x.stored(); });
      if (f == mem.type->members.end())
        throw CompileError(m.file, mem.line, mem.keyField + " is not a stored field of " + mem.typeName);
      mem.keyTypeName = f->typeName;
      checkCollectionKey(m, t, mem);
    }
    if (mem.kind == Member::Kind::key) {
      if (mem.type && mem.type->isEntity()) throw CompileError(m.file, mem.line, "a key cannot be an entity");
      if (mem.defaultValue) throw CompileError(m.file, mem.line, "a key is given at construction and takes no default");
    }
    mem.flagsB = (mem.kind == Member::Kind::key || mem.ctorParam2) ? 0x2101 : 0x0101;
    if (mem.kind == Member::Kind::key || mem.ctorParam2)
      t.ctorParams.push_back(CtorParam{mem.name, mem.name, std::nullopt, mem.line, mem.typeName});
    if (mem.isCollection() && mem.type && mem.type->pbMessage) {
      // Its values have a message form, and so, through them, has the entity.
      mem.flagsB = 0x9101;
      t.pbHolder = true;
    }
    if (mem.backup && (mem.kind != Member::Kind::collection || mem.unlogged))
      throw CompileError(m.file, mem.line, "backup applies to a logged keyed collection");
    switch (mem.kind) {
      case Member::Kind::key: mem.flagsA = 0x2c00; break;
      case Member::Kind::attr: mem.flagsA = 0xdc00; break;
      case Member::Kind::collection:
      case Member::Kind::ordered: mem.flagsA = 0xdc01; break;
      case Member::Kind::set: mem.flagsA = 0xdc01; mem.flagsB = 0x0109; break;
      case Member::Kind::children: mem.flagsA = 0xdd21; break;
      case Member::Kind::child: mem.flagsA = 0xdd20; break;
      case Member::Kind::refs: mem.flagsA = 0xdc21; break;
      default:
        throw CompileError(m.file, mem.line, "member " + mem.name + " cannot be declared in an entity");
    }
  }
}

void Compilation::finishEntityCtor(TypeDecl& t) {
  // Entities are built from their name unless they declare constructor attributes; a named one with
  // further constructor attributes takes its name first.
  if (t.ctorParams.empty() || t.namedWithCtor)
    t.ctorParams.insert(t.ctorParams.begin(), CtorParam{"name", "name", std::nullopt, t.line, "Vem::String"});
}

void Compilation::buildTables(ModuleDecl& m) {
  Tables& tb = tables_;
  tb = Tables{};
  // Type names: the module's types and every type named by a parameter record.
  std::set<std::string> typeNames;
  std::set<std::string> memberNames;
  std::set<std::string> refs;
  for (const TypeDecl& t : m.types) {
    typeNames.insert(t.qualifiedName());
    if (t.base) refs.insert(t.base->qualifiedName());
    for (const CtorParam& p : t.ctorParams) {
      memberNames.insert(p.name);
      typeNames.insert(p.typeName);
    }
    for (const Member& mem : t.members) {
      memberNames.insert(mem.name);
      if (mem.type) refs.insert(mem.type->qualifiedName());
      if (mem.keyType) refs.insert(mem.keyType->qualifiedName());
      if (!mem.keyField.empty()) memberNames.insert(mem.keyField);  // the key field inside the held values
      if (mem.kind == Member::Kind::children || mem.kind == Member::Kind::child) {
        // Their records list the child's constructor arguments.
        for (const CtorParam& p : mem.type->ctorParams) {
          memberNames.insert(p.name);
          typeNames.insert(p.typeName);
        }
      }
      for (const Param& p : mem.params) {
        memberNames.insert(p.name);
        typeNames.insert(p.typeName);
      }
    }
  }
  for (const std::string& n : typeNames) {
    tb.typeNameOffset[n] = static_cast<uint16_t>(tb.typeNames.size());
    tb.typeNames += n;
    tb.typeNames.push_back('\0');
  }
  if (tb.typeNames.size() > 0xfff) throw CompileError(m.file, 1, "the type-name table exceeds 4095 bytes");
  tb.memberNames.push_back('\0');
  tb.memberNameOffset[""] = 0;
  for (const std::string& n : memberNames) {
    tb.memberNameOffset[n] = static_cast<uint32_t>(tb.memberNames.size());
    tb.memberNames += n;
    tb.memberNames.push_back('\0');
  }
  if (tb.memberNames.size() > 0xfff) throw CompileError(m.file, 1, "the member-name table exceeds 4095 bytes");
  for (const std::string& r : refs) {
    tb.typeRefIndex[r] = static_cast<int16_t>(tb.typeRefs.size());
    tb.typeRefs.push_back(types_.at(r));
  }
  // Parameter records: row 0 ends the empty list; each list is followed by a terminator.
  tb.params.push_back(ParamRow{0, 0, "the empty list"});
  for (TypeDecl& t : m.types) {
    t.baseRef = t.base                                    ? tb.typeRefIndex.at(t.base->qualifiedName())
                : t.kind == TypeDecl::Kind::enumeration ? (t.holdingType == "U8" ? -5 : -9)
                : t.isEntity()                          ? -3
                                                        : -1;
    if (!t.ctorParams.empty()) {
      t.firstParam = static_cast<uint16_t>(tb.params.size());
      for (const CtorParam& p : t.ctorParams)
        tb.params.push_back(ParamRow{tb.memberNameOffset.at(p.name), tb.typeNameOffset.at(p.typeName),
                                     t.name + "(" + p.name + ": " + p.typeName + ")"});
      tb.params.push_back(ParamRow{0, 0, "end"});
    }
    for (Member& mem : t.members) {
      // An enumerator's type is its own enumeration.
      mem.typeRef = mem.type ? tb.typeRefIndex.at(mem.type->qualifiedName()) : builtinCode(mem.typeName);
      if (mem.isCollection() || mem.kind == Member::Kind::view)
        mem.keyTypeRef = mem.keyType ? tb.typeRefIndex.at(mem.keyType->qualifiedName()) : builtinCode(mem.keyTypeName);
      if (!mem.keyField.empty() && mem.isCollection()) mem.enumValue = tb.memberNameOffset.at(mem.keyField);
      if (mem.kind == Member::Kind::children || mem.kind == Member::Kind::child) {
        mem.firstParam = static_cast<uint16_t>(tb.params.size());
        for (const CtorParam& p : mem.type->ctorParams)
          tb.params.push_back(ParamRow{tb.memberNameOffset.at(p.name), tb.typeNameOffset.at(p.typeName),
                                       t.name + "::" + mem.name + "(" + p.name + ": " + p.typeName + ")"});
        tb.params.push_back(ParamRow{0, 0, "end"});
      }
      if (mem.params.empty()) continue;
      mem.firstParam = static_cast<uint16_t>(tb.params.size());
      for (const Param& p : mem.params)
        tb.params.push_back(ParamRow{tb.memberNameOffset.at(p.name), tb.typeNameOffset.at(p.typeName),
                                     t.name + "::" + mem.name + "(" + p.name + ": " + p.typeName + ")"});
      tb.params.push_back(ParamRow{0, 0, "end"});
    }
    for (const Member& mem : t.members) tb.members.push_back(&mem);
  }
  if (tb.params.size() > 0xffff || tb.members.size() > 0xffff) throw CompileError(m.file, 1, "too many members");
}

}  // namespace vemc
