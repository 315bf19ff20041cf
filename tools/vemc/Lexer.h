// Splits a .vem text into tokens. Comments run from // to the end of the line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vemc {

struct Token {
  enum class Kind { identifier, integer, string, punct, end };
  Kind kind = Kind::end;
  std::string text;  // identifier (may contain ::), punctuation, or string contents
  uint64_t integer = 0;
  int line = 0;
};

// Raises CompileError on characters that start no token, unterminated strings and oversized numbers.
std::vector<Token> tokenize(const std::string& file, const std::string& text);

}  // namespace vemc
