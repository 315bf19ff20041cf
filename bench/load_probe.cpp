// Loads one shared library in this fresh process and prints how long dlopen took, in nanoseconds:
// mapping, relocation and the static initialisers that register its modules.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: load_probe LIBRARY\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  void* handle = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  const auto end = std::chrono::steady_clock::now();
  if (handle == nullptr) {
    std::fprintf(stderr, "load_probe: %s\n", dlerror());
    return 1;
  }
  std::printf("%lld\n", static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count()));
  return 0;
}
