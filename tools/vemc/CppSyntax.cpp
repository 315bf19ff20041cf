#include "CppSyntax.h"

#include "Checker.h"

#include <cstdio>
#include <map>

namespace vemc {

namespace {

const std::map<std::string, std::string>& builtinCpp() {
  static const std::map<std::string, std::string> table = {
      {"U8", "uint8_t"},   {"U16", "uint16_t"}, {"U32", "uint32_t"},         {"S32", "int32_t"},
      {"U64", "uint64_t"}, {"bool", "bool"},    {"Vem::String", "Lumo::String"}, {"Vem::Seconds", "Vem::Seconds"},
      {"void", "void"}};
  return table;
}

}  // namespace

std::string cppType(const std::string& typeName) {
  auto it = builtinCpp().find(typeName);
  return it != builtinCpp().end() ? it->second : typeName;
}

bool passByValue(const std::string& typeName) {
  return Compilation::isBuiltin(typeName) && typeName != "Vem::String";
}

// How a value of the type is taken as a parameter or returned from a getter.
std::string argType(const std::string& typeName, const TypeDecl* type) {
  if (passByValue(typeName) || (type && type->kind == TypeDecl::Kind::enumeration)) return cppType(typeName);
  return "const " + cppType(typeName) + "&";
}

// How a method takes a parameter: values as above, entities as counted references it cannot change.
std::string methodParamType(const std::string& typeName, const TypeDecl* type) {
  if (type && type->isEntity()) return "const Lumo::Ptr<const " + typeName + ">&";
  return argType(typeName, type);
}

std::string hex(uint32_t v, int width) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%0*x", width, v);
  return buf;
}

std::string quoted(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') out += '\\', out += static_cast<char>(c);
    else if (c == '\n') out += "\\n";
    else if (c == '\t') out += "\\t";
    else if (c < 0x20 || c >= 0x7f) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\%03o", c);
      out += buf;
    } else out += static_cast<char>(c);
  }
  return out + "\"";
}

std::string descriptorSymbol(const ModuleDecl& m) {
  char tag[16];
  std::snprintf(tag, sizeof tag, "%x", m.tag);
  return "_" + m.name + "_" + tag + "_vemModule";
}

std::string negate(const std::string& op) {
  if (op == "<=") return ">";
  if (op == "<") return ">=";
  if (op == ">=") return "<";
  if (op == ">") return "<=";
  if (op == "==") return "!=";
  return "==";
}

// The C++ value of a literal given for a member of the given type.
std::string literalCpp(const Literal& l, const std::string& typeName, const TypeDecl* type) {
  if (type && type->kind == TypeDecl::Kind::enumeration) return type->qualifiedName() + "::" + l.text;
  switch (l.kind) {
    case Literal::Kind::string: return "Vem::constantString<" + quoted(l.text) + ">()";
    case Literal::Kind::boolean: return l.text;
    case Literal::Kind::integer: {
      std::string v = (l.negative ? "-" : "") + l.text;
      if (typeName == "Vem::Seconds") return v + ".0";
      if (typeName == "U64") return v + "ull";
      if (typeName == "U32") return v + "u";
      return v;
    }
    case Literal::Kind::identifier: return l.text;
  }
  return l.text;
}

}  // namespace vemc
