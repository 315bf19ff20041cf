// How the definitions' types, names and literals are spelled in the generated C++.
#pragma once

#include "Ast.h"

#include <cstdint>
#include <string>

namespace vemc {

// The C++ spelling of a definition's type name (built-in names mapped, others as they stand).
std::string cppType(const std::string& typeName);

// Built-in types other than strings: cheaper to copy than to refer to.
bool passByValue(const std::string& typeName);

// How a value of the type is taken as a parameter or returned from a getter.
std::string argType(const std::string& typeName, const TypeDecl* type);

// How a method takes a parameter: values as above, entities as counted references it cannot change.
std::string methodParamType(const std::string& typeName, const TypeDecl* type);

// "0x" and the value in lower-case hex, zero-padded to `width` digits.
std::string hex(uint32_t v, int width = 0);

// A C++ string literal holding exactly these bytes.
std::string quoted(const std::string& s);

// The exported symbol of the module's descriptor, made of its name and tag.
std::string descriptorSymbol(const ModuleDecl& m);

// The comparison that holds exactly where `op` fails.
std::string negate(const std::string& op);

// The C++ value of a literal given for a member of the given type.
std::string literalCpp(const Literal& l, const std::string& typeName, const TypeDecl* type);

}  // namespace vemc
