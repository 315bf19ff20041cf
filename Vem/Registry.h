/// \file
/// The module registry: modules announce themselves at load with vemModuleIs; afterwards a type can be
/// found by (descriptor, index) or by its qualified name. Registration never allocates: modules sit in a
/// fixed table and names are found by bisection of each module's sorted tables.
#pragma once

#include <Vem/VemType.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Vem {

struct RegisteredModule {
  const VemModule* descriptor;
  const char* name;  // module name as given at registration ("" if unknown)
  uint32_t tag;
};

/// Registers a module. A second registration of the same descriptor is ignored. The name and tag identify
/// the module to tools (its descriptor symbol is _<name>_<tag in hex>_vemModule).
void vemModuleIs(const VemModule* descriptor, const char* moduleName = "", uint32_t tag = 0) noexcept;

class Registry {
 public:
  static constexpr std::size_t capacity = 1024;

  static std::size_t moduleCount() noexcept;
  /// Modules in registration (load) order.
  static const RegisteredModule& module(std::size_t i) noexcept;
  static const RegisteredModule* moduleByName(std::string_view name) noexcept;
  static const RegisteredModule* moduleByDescriptor(const VemModule* descriptor) noexcept;
  static bool isRegistered(const VemModule* descriptor) noexcept { return moduleByDescriptor(descriptor) != nullptr; }

  /// A type defined by a registered module, by its fully qualified name ("Orv::PortVlanPair").
  static std::optional<VemType> typeByName(std::string_view qualifiedName) noexcept;
  /// The type of a module at a given name-table offset, if the module defines a type by that name.
  static std::optional<VemType> typeInModule(const VemModule* descriptor, std::string_view qualifiedName) noexcept;
};

/// "_<name>_<tag>_vemModule", the exported symbol of a module's descriptor.
std::string descriptorSymbol(const RegisteredModule& module);

}  // namespace Vem
