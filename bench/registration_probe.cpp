// Counts the heap allocations made while one shared library loads in this fresh process (its static
// initialisers register its modules, and those of the libraries it brings): all of them, and those made
// within a module's registration (Vem::vemModuleIs on the stack); and the modules and types the load
// registered. Prints "allocations inRegistration modules types". With --backtrace, each allocation made
// during the load also prints a backtrace to stderr, to find where it comes from.
//
// The counting operator new below replaces the standard library's for the whole process (the program
// exports it), so every library loaded allocates through it. Our code allocates only through operator
// new; the loader's own bookkeeping goes through malloc and is not registration, so it is not counted.
// The probe links the run-time so that it can read the registry after the load.
#include <Vem/Module.h>
#include <Vem/Registry.h>

#include <dlfcn.h>
#include <execinfo.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

bool counting = false;
bool tracing = false;
bool inNote = false;
std::size_t allocations = 0;
std::size_t inRegistration = 0;

// Whether a frame lies in the registry's entry point (its mangled name, whatever its parameters).
bool isRegistration(void* frame) noexcept {
  Dl_info info;
  static constexpr char kName[] = "_ZN3Vem11vemModuleIsE";
  return dladdr(frame, &info) != 0 && info.dli_sname != nullptr &&
         std::strncmp(info.dli_sname, kName, sizeof kName - 1) == 0;
}

void note() noexcept {
  if (!counting || inNote) return;
  inNote = true;
  ++allocations;
  void* frames[64];
  const int n = backtrace(frames, 64);
  for (int i = 0; i < n; ++i)
    if (isRegistration(frames[i])) {
      ++inRegistration;
      break;
    }
  if (tracing) {
    std::fprintf(stderr, "allocation %zu during the load:\n", allocations);
    backtrace_symbols_fd(frames, n, 2);
  }
  inNote = false;
}

void* allocate(std::size_t size, std::size_t alignment = 0) noexcept {
  note();
  if (size == 0) size = 1;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
  void* p = nullptr;
  return posix_memalign(&p, alignment, size) == 0 ? p : nullptr;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment = 0) {
  if (void* p = allocate(size, alignment)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t n) { return allocateOrThrow(n); }
void* operator new[](std::size_t n) { return allocateOrThrow(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocateOrThrow(n, static_cast<std::size_t>(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocateOrThrow(n, static_cast<std::size_t>(a)); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, static_cast<std::size_t>(a));
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3 || (argc == 3 && std::strcmp(argv[2], "--backtrace") != 0)) {
    std::fprintf(stderr, "usage: registration_probe LIBRARY [--backtrace]\n");
    return 2;
  }
  tracing = argc == 3;
  // The first backtrace loads the unwinder; that happens before counting starts.
  void* frame[1];
  backtrace(frame, 1);
  // The name check must recognise the entry point itself, or "none within registration" would mean nothing.
  if (!isRegistration(reinterpret_cast<void*>(&Vem::vemModuleIs))) {
    std::fprintf(stderr, "registration_probe: cannot tell the registry's entry point by its name\n");
    return 1;
  }
  const std::size_t modulesBefore = Vem::Registry::moduleCount();
  counting = true;
  void* handle = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  counting = false;
  if (handle == nullptr) {
    std::fprintf(stderr, "registration_probe: %s\n", dlerror());
    return 1;
  }
  const std::size_t modulesAfter = Vem::Registry::moduleCount();
  std::size_t types = 0;
  for (std::size_t i = modulesBefore; i < modulesAfter; ++i) types += Vem::Registry::module(i).descriptor->typeCount;
  std::printf("%zu %zu %zu %zu\n", allocations, inRegistration, modulesAfter - modulesBefore, types);
  return 0;
}
