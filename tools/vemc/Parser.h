// Reads the tokens of one .vem file into a ModuleDecl. Checks only the grammar; meaning is the
// checker's.
#pragma once

#include "Ast.h"

#include <string>

namespace vemc {

ModuleDecl parseModule(const std::string& file, const std::string& text);

}  // namespace vemc
