#include "Words.h"

#include "Commands.h"

namespace vemsh {

std::vector<std::string> splitWords(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  int depth = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (!inWord && c == '#') break;
    if ((c == ' ' || c == '\t' || c == '\r' || c == '\n') && depth == 0) {
      if (inWord) words.push_back(std::move(word));
      word.clear();
      inWord = false;
      continue;
    }
    inWord = true;
    if (c == '"' || c == '\'') {
      const std::size_t close = line.find(c, i + 1);
      if (close == std::string_view::npos) throw UserError(std::string("unterminated ") + c + " quote");
      // Inside double quotes a backslash escapes the next character: skip over escaped quotes.
      std::size_t end = close;
      if (c == '"') {
        end = i + 1;
        while (end < line.size() && line[end] != '"') end += line[end] == '\\' ? 2 : 1;
        if (end >= line.size()) throw UserError("unterminated \" quote");
        word.append(line.substr(i, end - i + 1));
      } else {
        word.append(line.substr(i + 1, close - i - 1));
      }
      i = end;
      continue;
    }
    if (c == '(' || c == '[' || c == '{') ++depth;
    if ((c == ')' || c == ']' || c == '}') && depth > 0) --depth;
    word += c;
  }
  if (inWord) words.push_back(std::move(word));
  return words;
}

}  // namespace vemsh
