#include "Commands.h"

#include "Describe.h"
#include "RecordDecoder.h"
#include "TextTable.h"

#include <Lumo/String.h>
#include <Vem/GenericIf.h>
#include <Vem/RangeException.h>
#include <Vem/Registry.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace vemsh {

namespace {

std::string moduleName(const Vem::RegisteredModule& m) { return m.name[0] != '\0' ? m.name : "(unnamed)"; }

Vem::VemType findType(std::string_view name) {
  std::optional<Vem::VemType> type = Vem::Registry::typeByName(name);
  if (!type) throw UserError("no type named " + std::string(name));
  return *type;
}

void addTypeRows(TextTable& table, const Vem::RegisteredModule& m) {
  for (uint16_t i = 0; i < m.descriptor->typeCount; ++i) {
    Vem::VemType t(m.descriptor, i);
    const Vem::TypeRecord& r = t.record();
    table.addRow({moduleName(m), std::to_string(i), std::string(t.name()), kindName(r.kind), std::to_string(r.size()),
                  std::to_string(r.alignment()), std::to_string(r.memberCount)});
  }
}

// Storage for one value of a type known only by its record: sized and aligned as the record says, the
// value built and destroyed through the type's methods table.
class ValueHolder {
 public:
  ValueHolder(const Vem::VemType& type, const Vem::GenericIfImpl::ValueMethodsTable& methods)
      : methods_(methods),
        alignment_(static_cast<std::align_val_t>(type.record().alignment())),
        // A C++ object occupies at least one byte, whatever a malformed record claims.
        storage_(::operator new(std::max<std::size_t>(type.record().size(), 1), alignment_)) {
    try {
      methods_.construct(storage_, nullptr);
    } catch (...) {
      ::operator delete(storage_, alignment_);
      throw;
    }
  }
  ~ValueHolder() {
    methods_.destruct(storage_);
    ::operator delete(storage_, alignment_);
  }
  ValueHolder(const ValueHolder&) = delete;
  ValueHolder& operator=(const ValueHolder&) = delete;

  void* get() const noexcept { return storage_; }

 private:
  const Vem::GenericIfImpl::ValueMethodsTable& methods_;
  std::align_val_t alignment_;
  void* storage_;
};

}  // namespace

void listModules(std::ostream& out) {
  TextTable table({"#", "MODULE", "DESCRIPTOR SYMBOL", "TYPES"});
  for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) {
    const Vem::RegisteredModule& m = Vem::Registry::module(i);
    table.addRow({std::to_string(i), moduleName(m), Vem::descriptorSymbol(m), std::to_string(m.descriptor->typeCount)});
  }
  table.write(out);
}

void listTypes(std::ostream& out, std::string_view name) {
  TextTable table({"MODULE", "INDEX", "TYPE", "KIND", "SIZE", "ALIGN", "MEMBERS"});
  if (name.empty()) {
    for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) addTypeRows(table, Vem::Registry::module(i));
  } else {
    const Vem::RegisteredModule* m = Vem::Registry::moduleByName(name);
    if (m == nullptr) throw UserError("no module named " + std::string(name));
    addTypeRows(table, *m);
  }
  table.write(out);
}

void describeType(std::ostream& out, std::string_view typeName) { describe(out, findType(typeName)); }

void showValue(std::ostream& out, std::string_view typeName, std::string_view text) {
  const Vem::VemType type = findType(typeName);
  if (type.isEntity()) throw UserError(std::string(typeName) + " is an entity type, not a value");
  const Vem::GenericIfImpl::ValueMethodsTable* methods = Vem::GenericIfImpl::valueMethods(type);
  if (methods == nullptr || !methods->construct || !methods->destruct || !methods->strepToValue || !methods->strRep ||
      !methods->hash)
    throw UserError(std::string(typeName) + " has no value methods to parse it with");

  ValueHolder value(type, *methods);
  try {
    methods->strepToValue(value.get(), Lumo::String(text), type, 0);
  } catch (const Vem::RangeException& e) {
    throw UserError(e.what());
  }
  const Lumo::String back = methods->strRep(value.get(), type, 0);
  char hash[16];
  std::snprintf(hash, sizeof hash, "0x%08x", static_cast<unsigned>(methods->hash(value.get(), type)));
  out << "text: " << back.view() << '\n' << "hash: " << hash << '\n';
  const Vem::TypeHandle handle(type);
  if (logFormOf(handle) == nullptr)
    out << "log form: none registered\n";
  else
    describeValueBytes(out, handle, value.get(), "");
}

void showEnum(std::ostream& out, std::string_view typeName, std::string_view codeOrName) {
  const Vem::VemType type = findType(typeName);
  if (!type.isEnumeration()) throw UserError(std::string(typeName) + " is not an enumeration");
  struct Enumerator {
    uint32_t code;
    std::string_view name;
  };
  std::vector<Enumerator> enumerators;
  for (const Vem::MemberRecord& m : type.members())
    if (m.flagsA & Vem::MemberFlagsA::enumerator) enumerators.push_back({m.extra, type.memberName(m)});
  if (codeOrName.empty()) {
    out << type.name() << ", held in " << type.refName(type.record().baseType) << ", " << enumerators.size()
        << " enumerators\n";
    TextTable table({"CODE", "NAME"});
    for (const Enumerator& e : enumerators) table.addRow({std::to_string(e.code), std::string(e.name)});
    table.write(out, "  ");
    return;
  }
  uint32_t code = 0;
  auto [end, ec] = std::from_chars(codeOrName.data(), codeOrName.data() + codeOrName.size(), code);
  const bool numeric = ec == std::errc() && end == codeOrName.data() + codeOrName.size();
  for (const Enumerator& e : enumerators) {
    if (numeric ? e.code == code : e.name == codeOrName) {
      out << e.code << ' ' << e.name << '\n';
      return;
    }
  }
  if (numeric) throw UserError(std::string(typeName) + " has no enumerator with code " + std::string(codeOrName));
  throw UserError(std::string(typeName) + " has no enumerator named " + std::string(codeOrName));
}

}  // namespace vemsh
