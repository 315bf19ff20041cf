// Writes the C++ of one module. One object per module; its work is split by what it writes, one
// source file each (named at each group of members below).
#pragma once

#include "Ast.h"
#include "Checker.h"
#include "CppGenerator.h"

#include <sstream>
#include <string>
#include <vector>

namespace vemc {

class CppWriter {
 public:
  CppWriter(const ModuleDecl& m, const Compilation& c) : m_(m), c_(c), tb_(c.tables()) {}

  GeneratedFiles run();

 private:
  // Module layout: the header's and the source unit's outline, namespaces, the order types are
  // written in, and lookups (CppGenerator.cpp).
  std::string header();
  void openNamespace(std::ostringstream& h, const std::string& ns);
  void closeNamespace(std::ostringstream& h);
  std::vector<const TypeDecl*> valuesInDependencyOrder();
  std::vector<const TypeDecl*> nestedIn(const TypeDecl& t) const;
  const TypeDecl* enclosingOf(const TypeDecl& t) const;
  static std::string indented(const std::string& text);
  static std::string storage(const Member& mem) { return mem.name + "_"; }
  static const Member& member(const TypeDecl& t, const std::string& name);
  const TypeDecl* findType(const std::string& qualified);
  static bool holdsCollection(const TypeDecl& t);
  static bool isOperation(const Member& m);
  static bool genericMethod(const TypeDecl& t, const Member& mem);
  const TypeDecl* typeOf(const std::string& qualified);
  const TypeDecl* findTypeAnywhere(const std::string& qualified);
  std::string vemTypeExpr(const TypeDecl& t);
  static const Member* inheritedOrOwn(const TypeDecl& t, const std::string& name);
  std::vector<const TypeDecl*> entitiesInDependencyOrder();
  static std::string capitalized(const std::string& n);
  static std::string lowerInitial(const std::string& n);
  std::string source();

  // Enumerations and value types (CppValueWriter.cpp).
  void enumDeclaration(std::ostringstream& h, const TypeDecl& t);
  void enumFunctions(std::ostringstream& h, const TypeDecl& t);
  std::string ctorSignature(const TypeDecl& t, bool withDefaults);
  std::string paramList(const Member& mem);
  void classDeclaration(std::ostringstream& h, const TypeDecl& t);
  void classFunctions(std::ostringstream& h, const TypeDecl& t);
  void enumDefinitions(std::ostringstream& s, const TypeDecl& t);
  std::string checksCode(const TypeDecl& t, bool fromConstructor);
  void valueDefinitions(std::ostringstream& s, const TypeDecl& t);

  // Entity types: classes, collections, creators and the generic entry points (CppEntityWriter.cpp).
  static bool hasMethodList(const TypeDecl& t);
  std::string methodList(const TypeDecl& t);
  static std::string entityCtorTypes(const TypeDecl& t);
  // Built from a name alone.
  static bool keyedByName(const TypeDecl& t) { return t.ctorParams.size() == 1 && t.ctorParams[0].field == "name"; }
  // Has a name (nameString), perhaps with further constructor attributes.
  static bool named(const TypeDecl& t) { return t.ctorParams.front().field == "name"; }
  std::string entityCtorParams(const TypeDecl& t, bool withTypes);
  std::string reconcileBody(const TypeDecl& child, std::size_t firstArg);
  static bool declaresStringValue(const TypeDecl& t);
  std::string nodeType(const Member& mem);
  std::string collectionType(const Member& mem);
  std::string storedType(const Member& mem);
  void entityDeclaration(std::ostringstream& h, const TypeDecl& t);
  void entityDefinitions(std::ostringstream& s, const TypeDecl& t);

  // Registration tables and the static initialiser (CppTablesWriter.cpp).
  void tablesSource(std::ostringstream& s, const std::string& sym);
  std::string ctorArgsEntry(const TypeDecl& t);

  const ModuleDecl& m_;
  const Compilation& c_;
  const Tables& tb_;
  std::string openNs_;  // the namespace open in the header being written; empty at file level
};

}  // namespace vemc
