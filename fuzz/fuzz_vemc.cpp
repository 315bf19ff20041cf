// The type compiler on arbitrary text: lexer, parser, checker and generator. Any text either compiles
// or is refused with a CompileError that names the file and line; nothing else may escape. Imports are
// resolved against the shipped definitions, so a text can build on every real module.
#include "Checker.h"
#include "CppGenerator.h"
#include "Diagnostics.h"
#include "Parser.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "fuzz invariant broken: %s\n", what.c_str());
  std::abort();
}

const fs::path& workDir() {
  static const fs::path dir = [] {
    fs::path d = fs::temp_directory_path() / ("vemc-fuzz-" + std::to_string(::getpid()));
    fs::create_directories(d);
    std::atexit([] {
      std::error_code ec;
      fs::remove_all(workDir(), ec);
    });
    return d;
  }();
  return dir;
}

bool plainName(const std::string& s) {
  if (s.empty() || s.size() > 64 || !(std::isalpha(static_cast<unsigned char>(s[0])) || s[0] == '_')) return false;
  for (char c : s)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
  return true;
}

void compile(const std::string& text) {
  const std::string file = "Fuzz.vem";
  vemc::ModuleDecl parsed;
  try {
    parsed = vemc::parseModule(file, text);
  } catch (const vemc::CompileError& e) {
    if (std::string(e.what()).rfind(file + ":", 0) != 0) fail(std::string("an error names no place: ") + e.what());
    return;
  }
  // The checker reads definitions from files named after their modules.
  if (!plainName(parsed.name)) return;
  const fs::path path = workDir() / (parsed.name + ".vem");
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
  }
  try {
    vemc::Compilation c({std::string(VEM_SOURCE_DIR) + "/platform", std::string(VEM_SOURCE_DIR) + "/Orv"});
    const vemc::ModuleDecl& m = c.load(path.string());
    vemc::generateCpp(m, c);
  } catch (const vemc::CompileError&) {
  } catch (const std::exception& e) {
    fs::remove(path);
    fail(std::string("the compiler failed without a diagnostic: ") + e.what());
  }
  fs::remove(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  compile(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
