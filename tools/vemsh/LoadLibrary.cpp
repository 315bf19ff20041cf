#include "LoadLibrary.h"

#include <dlfcn.h>

namespace vemsh {

std::string loadTypeLibrary(std::string_view path) {
  std::string file(path);
  // Every symbol resolved now, so that a library that cannot work fails here rather than mid-command;
  // global, so that a library loaded later that uses the types of this one finds them. Never closed:
  // the registry keeps pointers into the library's tables.
  if (dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL) != nullptr) return {};
  const char* reason = dlerror();
  std::string_view text = reason != nullptr ? reason : "unknown loader error";
  std::string prefix = file + ": ";
  if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
  return std::string(text);
}

}  // namespace vemsh
