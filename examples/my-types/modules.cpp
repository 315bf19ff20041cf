// Lists the modules registered in this process. It calls nothing in the type libraries it links: linking
// them is enough, because loading a type library registers its modules. (The OrvTypes package keeps such
// libraries on the link line even where the linker drops unneeded ones by default.)
#include <Vem/Registry.h>

#include <cstddef>
#include <iostream>

int main() {
  for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) {
    const Vem::RegisteredModule& module = Vem::Registry::module(i);
    std::cout << module.name << ' ' << Vem::descriptorSymbol(module) << '\n';
  }
  return 0;
}
