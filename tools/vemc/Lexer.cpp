#include "Lexer.h"

#include "Diagnostics.h"

#include <cctype>
#include <cstdint>
#include <string_view>

namespace vemc {

namespace {

bool identStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool identChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

}  // namespace

std::vector<Token> tokenize(const std::string& file, const std::string& text) {
  std::vector<Token> out;
  int line = 1;
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    char c = text[i];
    if (c == '\n') {
      ++line;
      ++i;
    } else if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
    } else if (c == '/' && i + 1 < n && text[i + 1] == '/') {
      while (i < n && text[i] != '\n') ++i;
    } else if (identStart(c)) {
      // Qualified names are one token: Orv::Loopback::Request.
      std::size_t start = i;
      for (;;) {
        while (i < n && identChar(text[i])) ++i;
        if (i + 2 < n && text[i] == ':' && text[i + 1] == ':' && identStart(text[i + 2]))
          i += 2;
        else
          break;
      }
      out.push_back({Token::Kind::identifier, text.substr(start, i - start), 0, line});
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      std::size_t start = i;
      uint64_t v = 0;
      bool hex = c == '0' && i + 1 < n && (text[i + 1] == 'x' || text[i + 1] == 'X');
      if (hex) i += 2;
      unsigned base = hex ? 16 : 10;
      std::size_t digits = 0;
      while (i < n && std::isxdigit(static_cast<unsigned char>(text[i]))) {
        char d = text[i];
        unsigned dv = std::isdigit(static_cast<unsigned char>(d)) ? unsigned(d - '0') : unsigned(std::tolower(d) - 'a' + 10);
        if (dv >= base) break;
        if (v > (UINT64_MAX - dv) / base) throw CompileError(file, line, "number too large");
        v = v * base + dv;
        ++i;
        ++digits;
      }
      if (digits == 0) throw CompileError(file, line, "malformed number");
      if (i < n && identChar(text[i])) throw CompileError(file, line, "malformed number '" + text.substr(start, i + 1 - start) + "'");
      out.push_back({Token::Kind::integer, text.substr(start, i - start), v, line});
    } else if (c == '"') {
      std::string s;
      ++i;
      for (;;) {
        if (i >= n || text[i] == '\n') throw CompileError(file, line, "unterminated string");
        char d = text[i++];
        if (d == '"') break;
        if (d == '\\') {
          if (i >= n) throw CompileError(file, line, "unterminated string");
          char e = text[i++];
          if (e == 'n') s.push_back('\n');
          else if (e == 't') s.push_back('\t');
          else if (e == '"' || e == '\\') s.push_back(e);
          else throw CompileError(file, line, std::string("unknown escape '\\") + e + "' in string");
        } else {
          s.push_back(d);
        }
      }
      out.push_back({Token::Kind::string, s, 0, line});
    } else if (c == '<' || c == '>' || c == '=' || c == '!') {
      if (i + 1 < n && text[i + 1] == '=') {
        out.push_back({Token::Kind::punct, text.substr(i, 2), 0, line});
        i += 2;
      } else if (c == '!') {
        throw CompileError(file, line, "unexpected character '!'");
      } else {
        out.push_back({Token::Kind::punct, std::string(1, c), 0, line});
        ++i;
      }
    } else if (c == '-' && i + 1 < n && text[i + 1] == '>') {
      out.push_back({Token::Kind::punct, "->", 0, line});
      i += 2;
    } else if (std::string_view("{}();:,-").find(c) != std::string_view::npos) {
      out.push_back({Token::Kind::punct, std::string(1, c), 0, line});
      ++i;
    } else {
      throw CompileError(file, line, std::string("unexpected character '") + c + "'");
    }
  }
  out.push_back({Token::Kind::end, "", 0, line});
  return out;
}

}  // namespace vemc
