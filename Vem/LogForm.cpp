#include <Vem/LogForm.h>

#include <Vem/Registry.h>

#include <array>

namespace Vem {

namespace {

struct ModuleForms {
  const VemModule* module;
  const ValueLogForm* const* perType;
};

// Filled at load, before threads start, like the registry; never allocates.
std::array<ModuleForms, Registry::capacity> g_forms{};
std::size_t g_count = 0;

}  // namespace

void valueLogFormsIs(const VemModule* module, const ValueLogForm* const* perType) noexcept {
  for (std::size_t i = 0; i < g_count; ++i)
    if (g_forms[i].module == module) return;
  if (g_count == g_forms.size()) return;
  g_forms[g_count++] = {module, perType};
}

const ValueLogForm* valueLogForm(const VemType& type) noexcept {
  if (!type.valid()) return nullptr;
  for (std::size_t i = 0; i < g_count; ++i)
    if (g_forms[i].module == type.module()) return g_forms[i].perType[type.index()];
  return nullptr;
}

const ValueLogForm* builtinLogForm(int16_t code) noexcept {
  switch (code) {
    case BuiltinType::u8: return &ValueLogFormOf<uint8_t>::table;
    case BuiltinType::u16: return &ValueLogFormOf<uint16_t>::table;
    case BuiltinType::u32: return &ValueLogFormOf<uint32_t>::table;
    case BuiltinType::s32: return &ValueLogFormOf<int32_t>::table;
    case BuiltinType::u64: return &ValueLogFormOf<uint64_t>::table;
    case BuiltinType::boolean: return &ValueLogFormOf<bool>::table;
    case BuiltinType::string: return &ValueLogFormOf<Lumo::String>::table;
    case BuiltinType::seconds: return &ValueLogFormOf<double>::table;
    default: return nullptr;
  }
}

}  // namespace Vem
