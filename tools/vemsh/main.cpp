// vemsh: the state browser. Reads only the module registry and the generic interface, so it shows
// whatever type libraries it is linked with or loads (--load), without knowing any of their types.
//
//   vemsh [--load LIBRARY]... COMMAND [ARGUMENTS]      (vemsh help lists the commands)
#include "Dispatch.h"

#include <exception>
#include <iostream>
#include <string_view>
#include <vector>

int main(int argc, char** argv) {
  std::vector<std::string_view> words(argv + 1, argv + argc);
  try {
    return vemsh::runCommand(words, std::cout, std::cerr);
  } catch (const std::exception& e) {
    // Not the user's doing (a registered module's entry point failed in a way it must not), but still
    // reported as one line rather than an abort.
    std::cerr << "vemsh: internal error: " << e.what() << '\n';
    return vemsh::exitUserError;
  }
}
