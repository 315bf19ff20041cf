#include <Vem/Registry.h>

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>

namespace Vem {

const char* BuiltinType::name(int16_t code) noexcept {
  switch (code) {
    case entityBase: return "Vem::Entity";
    case noValue: return "void";
    case u8: return "U8";
    case u16: return "U16";
    case u32: return "U32";
    case s32: return "S32";
    case u64: return "U64";
    case boolean: return "bool";
    case string: return "Vem::String";
    case seconds: return "Vem::Seconds";
    default: return nullptr;
  }
}

const MemberRecord* VemType::memberById(uint16_t attributeId) const noexcept {
  for (VemType t = *this; t.valid(); t = t.base())
    for (const MemberRecord& m : t.members())
      if (m.attributeId == attributeId) return &m;
  return nullptr;
}

const MemberRecord* VemType::memberByName(std::string_view name) const noexcept {
  for (VemType t = *this; t.valid(); t = t.base())
    for (const MemberRecord& m : t.members())
      if (t.memberName(m) == name) return &m;
  return nullptr;
}

VemType VemType::declaringType(const MemberRecord& m) const noexcept {
  for (VemType t = *this; t.valid(); t = t.base()) {
    auto own = t.members();
    if (!own.empty() && &m >= own.data() && &m < own.data() + own.size()) return t;
  }
  return {};
}

Lumo::FieldDescriptor VemType::fieldOf(const MemberRecord& m) const noexcept {
  const VemType declaring = declaringType(m);
  assert(declaring.valid() && "Vem/VemType: fieldOf a member of another type");
  const MemberRecord* table = declaring.module()->members;
  return Lumo::FieldDescriptor::of(table, static_cast<uint16_t>(&m - table));
}

std::span<const ParamRecord> VemType::params(uint16_t first) const noexcept {
  if (first == 0) return {};
  const ParamRecord* begin = module_->params + first;
  const ParamRecord* end = begin;
  while (!end->terminator()) ++end;
  return {begin, static_cast<std::size_t>(end - begin)};
}

VemType VemType::resolve(int16_t typeRef) const noexcept {
  if (typeRef < 0 || module_->typeRefs == nullptr) return {};
  const TypeRefEntry& e = module_->typeRefs[typeRef];
  return VemType(e.module, static_cast<uint16_t>(e.index));
}

std::string_view VemType::refName(int16_t typeRef) const noexcept {
  if (typeRef < 0) {
    const char* n = BuiltinType::name(typeRef);
    return n ? n : "?";
  }
  VemType t = resolve(typeRef);
  return t.valid() ? t.name() : std::string_view("?");
}

bool VemType::isDerivedFrom(const VemType& other) const noexcept {
  for (VemType t = *this; t.valid(); t = t.base())
    if (t == other) return true;
  return false;
}

namespace {

// Constant-initialised, so modules registering from static initialisers of other units never see it
// unconstructed.
RegisteredModule gModules[Registry::capacity];
std::size_t gModuleCount = 0;

}  // namespace

void vemModuleIs(const VemModule* descriptor, const char* moduleName, uint32_t tag) noexcept {
  if (descriptor == nullptr || Registry::isRegistered(descriptor)) return;
  if (gModuleCount == Registry::capacity) {
    std::fprintf(stderr, "Vem: module registry full, %s not registered\n", moduleName ? moduleName : "?");
    return;
  }
  gModules[gModuleCount++] = RegisteredModule{descriptor, moduleName ? moduleName : "", tag};
}

std::size_t Registry::moduleCount() noexcept { return gModuleCount; }

const RegisteredModule& Registry::module(std::size_t i) noexcept { return gModules[i]; }

const RegisteredModule* Registry::moduleByName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < gModuleCount; ++i)
    if (name == gModules[i].name) return &gModules[i];
  return nullptr;
}

const RegisteredModule* Registry::moduleByDescriptor(const VemModule* descriptor) noexcept {
  for (std::size_t i = 0; i < gModuleCount; ++i)
    if (gModules[i].descriptor == descriptor) return &gModules[i];
  return nullptr;
}

std::optional<VemType> Registry::typeInModule(const VemModule* d, std::string_view qualifiedName) noexcept {
  // The type-name table is sorted, so the offsets of the module's own type names, in ascending order, are
  // in name order too and can be bisected. Modules define a handful of types: sorting them costs nothing.
  const char* table = d->typeNames;
  uint16_t offsets[512];
  std::size_t n = std::min<std::size_t>(d->typeCount, 512);
  for (std::size_t i = 0; i < n; ++i) offsets[i] = d->types[i].nameOffset();
  std::sort(offsets, offsets + n);
  std::size_t lo = 0, hi = n;
  while (lo < hi) {
    std::size_t mid = (lo + hi) / 2;
    int c = qualifiedName.compare(table + offsets[mid]);
    if (c == 0) {
      for (std::size_t i = 0; i < d->typeCount; ++i)
        if (d->types[i].nameOffset() == offsets[mid]) return VemType(d, static_cast<uint16_t>(i));
    }
    if (c < 0) hi = mid; else lo = mid + 1;
  }
  return std::nullopt;
}

std::optional<VemType> Registry::typeByName(std::string_view qualifiedName) noexcept {
  for (std::size_t i = 0; i < gModuleCount; ++i)
    if (auto t = typeInModule(gModules[i].descriptor, qualifiedName)) return t;
  return std::nullopt;
}

std::string descriptorSymbol(const RegisteredModule& module) {
  if (module.tag == 0) return std::string("_") + module.name + "_vemModule";  // the type system's own
  char tag[16];
  std::snprintf(tag, sizeof tag, "%x", static_cast<unsigned>(module.tag));
  return std::string("_") + module.name + "_" + tag + "_vemModule";
}

}  // namespace Vem
