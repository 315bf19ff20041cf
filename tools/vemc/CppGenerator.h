// Emits the C++ of one checked module: a header with the classes, and a source unit with the operations,
// the registration tables and the static initialiser that registers them. Output depends only on the
// input, so the same definition always gives the same bytes.
#pragma once

#include "Ast.h"
#include "Checker.h"

#include <string>

namespace vemc {

struct GeneratedFiles {
  std::string header;
  std::string source;
};

GeneratedFiles generateCpp(const ModuleDecl& module, const Compilation& compilation);

}  // namespace vemc
