// vemc: the type compiler. Reads one .vem module definition and writes <Module>.h and <Module>.cpp.
//
//   vemc [-I DIR]... -o OUTDIR MODULE.vem
//
// Imports are looked up beside the definition, then in each -I folder (directly or one folder down).
// Files are rewritten only when their content changes, so unchanged modules do not rebuild.
#include "Checker.h"
#include "CppGenerator.h"
#include "Diagnostics.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

void writeIfChanged(const std::filesystem::path& path, const std::string& content) {
  {
    std::ifstream in(path, std::ios::binary);
    if (in) {
      std::ostringstream old;
      old << in.rdbuf();
      if (old.str() == content) return;
    }
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) throw std::runtime_error("cannot write " + path.string());
}

int usage() {
  std::cerr << "usage: vemc [-I DIR]... -o OUTDIR MODULE.vem\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> importPaths;
  std::string outDir;
  std::string input;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "-I" && i + 1 < argc) importPaths.push_back(argv[++i]);
    else if (a.rfind("-I", 0) == 0 && a.size() > 2) importPaths.push_back(a.substr(2));
    else if (a == "-o" && i + 1 < argc) outDir = argv[++i];
    else if (!a.empty() && a[0] == '-') return usage();
    else if (input.empty()) input = a;
    else return usage();
  }
  if (input.empty() || outDir.empty()) return usage();
  try {
    vemc::Compilation compilation(importPaths);
    const vemc::ModuleDecl& module = compilation.load(input);
    vemc::GeneratedFiles files = vemc::generateCpp(module, compilation);
    std::filesystem::create_directories(outDir);
    writeIfChanged(std::filesystem::path(outDir) / (module.name + ".h"), files.header);
    writeIfChanged(std::filesystem::path(outDir) / (module.name + ".cpp"), files.source);
  } catch (const vemc::CompileError& e) {
    std::cerr << e.what() << "\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "vemc: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
