// Errors of the type compiler: "file:line: message". The first error stops compilation.
#pragma once

#include <stdexcept>
#include <string>

namespace vemc {

class CompileError : public std::runtime_error {
 public:
  CompileError(const std::string& file, int line, const std::string& message)
      : std::runtime_error(file + ":" + std::to_string(line) + ": " + message) {}
};

}  // namespace vemc
