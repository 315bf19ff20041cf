// Gives a parsed module its meaning: loads its imports, resolves every type name, numbers members,
// computes flags, and lays out the string, type-reference and parameter tables of its descriptor.
#pragma once

#include "Ast.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vemc {

struct ParamRow {
  uint32_t nameOffset = 0;
  uint16_t typeNameOffset = 0;
  std::string comment;  // "PortVlanPair(port: Pelix::IntfId)" for the reader of the generated code
};

// The constant tables of one module, ready to print.
struct Tables {
  std::string typeNames;  // NUL-terminated strings, sorted
  std::map<std::string, uint16_t> typeNameOffset;
  std::string memberNames;  // starts with the empty string
  std::map<std::string, uint32_t> memberNameOffset;
  std::vector<const TypeDecl*> typeRefs;  // sorted by qualified name
  std::map<std::string, int16_t> typeRefIndex;
  std::vector<ParamRow> params;  // row 0 is the terminator
  std::vector<const Member*> members;  // all members, type by type
};

class Compilation {
 public:
  explicit Compilation(std::vector<std::string> importPaths) : importPaths_(std::move(importPaths)) {}

  // Parses and checks `file` and everything it imports.
  const ModuleDecl& load(const std::string& file);
  const Tables& tables() const { return tables_; }

  static bool isBuiltin(const std::string& typeName);
  static int16_t builtinCode(const std::string& typeName);
  // Modules the given one imports (loaded), in import order.
  std::vector<const ModuleDecl*> importsOf(const ModuleDecl& m) const;

 private:
  ModuleDecl& loadFile(const std::string& file, std::vector<std::string>& loading);
  std::string findImport(const std::string& name, const ModuleDecl& from) const;
  void check(ModuleDecl& m);
  void checkValue(ModuleDecl& m, TypeDecl& t);
  void checkEnumeration(ModuleDecl& m, TypeDecl& t);
  void checkEntity(ModuleDecl& m, TypeDecl& t);
  void refusePlatformEntity(const ModuleDecl& m, const Member& mem) const;
  void refuseValueHoldingItself(const ModuleDecl& m, const TypeDecl& t) const;
  void refuseBaseDeclaredLater(const ModuleDecl& m, const TypeDecl& t, const TypeDecl& base, const char* kind) const;
  void resolveEntityBase(ModuleDecl& m, TypeDecl& t);
  void checkCollectionKey(ModuleDecl& m, const TypeDecl& t, Member& mem);
  void finishEntityCtor(TypeDecl& t);
  void checkDefault(const ModuleDecl& m, const Member& member, const Literal& l, const std::string& typeName);
  const TypeDecl* resolve(const ModuleDecl& m, const std::string& scope, const std::string& name, int line) const;
  void buildTables(ModuleDecl& m);

  std::vector<std::string> importPaths_;
  std::deque<ModuleDecl> modules_;
  std::map<std::string, ModuleDecl*> byName_;
  std::map<std::string, const TypeDecl*> types_;  // every loaded type by qualified name
  Tables tables_;
};

uint32_t defaultTag(const std::string& moduleName);
// The key forms the collection engine knows.
bool isKeyForm(const std::string& name);

}  // namespace vemc
