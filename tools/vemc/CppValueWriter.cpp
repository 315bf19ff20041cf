#include "CppWriter.h"

#include "CppSyntax.h"

#include <algorithm>
#include <string>

namespace vemc {

void CppWriter::enumDeclaration(std::ostringstream& h, const TypeDecl& t) {
  std::string holding = t.holdingType == "U8" ? "uint8_t" : "uint32_t";
  h << "\nenum class " << t.name << " : " << holding << " {\n";
  for (const Member& e : t.members) h << "  " << e.name << " = " << e.enumValue << ",\n";
  h << "};\n";
}

// Free functions of an enumeration, in its namespace (found by argument-dependent lookup even when
// the enumeration is nested in a class).
void CppWriter::enumFunctions(std::ostringstream& h, const TypeDecl& t) {
  const std::string& e = t.classPath;
  h << "// By code or by enumerator name; a code or name that no enumerator has raises Vem::RangeException.\n"
    << e << " " << t.name << "Instance(uint32_t code);\n"
    << e << " " << t.name << "Instance(std::string_view name);\n"
    << "Lumo::String stringValue(" << e << " value);\n"
    << "bool sequenceToValue(Vem::CharRange& text, " << e << "* value);\n"
    << "std::ostream& operator<<(std::ostream& os, const " << e << "& value);\n";
}

std::string CppWriter::ctorSignature(const TypeDecl& t, bool withDefaults) {
  std::string s;
  for (const CtorParam& p : t.ctorParams) {
    const TypeDecl* type = typeOf(p.typeName);
    if (!s.empty()) s += ", ";
    s += argType(p.typeName, type) + " " + p.name;
    if (withDefaults && p.defaultValue) s += " = " + literalCpp(*p.defaultValue, p.typeName, type);
  }
  return s;
}

std::string CppWriter::paramList(const Member& mem) {
  std::string s;
  for (const Param& p : mem.params) {
    if (!s.empty()) s += ", ";
    s += methodParamType(p.typeName, typeOf(p.typeName)) + " " + p.name;
  }
  return s;
}

void CppWriter::classDeclaration(std::ostringstream& h, const TypeDecl& t) {
  const std::string n = t.name;
  h << "\nclass " << n << (t.base ? " : public " + t.base->qualifiedName() : std::string()) << " {\n public:\n";
  for (const TypeDecl* inner : nestedIn(t)) {
    std::ostringstream body;
    if (inner->kind == TypeDecl::Kind::enumeration) enumDeclaration(body, *inner);
    else classDeclaration(body, *inner);
    h << indented(body.str().substr(1)) << "\n";
  }
  for (const Member& mem : t.members)
    if (mem.kind == Member::Kind::valueCollection)
      h << "  using HN_" << capitalized(mem.name) << " = " << nodeType(mem) << ";\n";
  h << "  " << n << "() = default;\n";
  if (!t.ctorParams.empty())
    h << "  " << (t.ctorParams.size() == 1 ? "explicit " : "") << n << "(" << ctorSignature(t, true) << ");"
      << (t.handwrittenCtor ? "  // written by hand beside the module" : "") << "\n";
  h << (t.handwrittenText ? "  // Parses the type's own text form (written by hand beside the module); raises Vem::RangeException.\n"
                          : "  // Parses the generic text form; raises Vem::RangeException.\n")
    << "  explicit " << n << "(Vem::CharRange& text);\n"
    << "  // Reads the attribute-log form; raises Vem::RangeException.\n"
    << "  " << n << "(Vem::NboAttrLog::In* in, Vem::StreamBogon);\n\n";
  for (const Member& mem : t.members) {
    const std::string ret = argType(mem.typeName, mem.type);
    switch (mem.kind) {
      case Member::Kind::field:
        h << "  " << ret << " " << mem.name << "() const noexcept { return " << storage(mem) << "; }\n";
        break;
      case Member::Kind::mutableField:
        h << "  " << ret << " " << mem.name << "() const noexcept { return " << storage(mem) << "; }\n"
          << "  void " << mem.name << "Is(" << ret << " value) { " << storage(mem) << " = value; }\n";
        break;
      case Member::Kind::computed:
        h << "  " << cppType(mem.typeName) << " " << mem.name << "() const;"
          << (mem.mix.empty() ? "  // written by hand beside the module" : "") << "\n";
        if (mem.settable) h << "  void " << mem.name << "Is(" << ret << " value);  // written by hand beside the module\n";
        break;
      case Member::Kind::method:
        h << "  " << cppType(mem.typeName) << " " << mem.name << "(" << paramList(mem) << ") const;"
          << (mem.mix.empty() ? "  // written by hand beside the module" : "") << "\n";
        break;
      case Member::Kind::staticMethod:
        h << "  static " << cppType(mem.typeName) << " " << mem.name << "(" << paramList(mem)
          << ");  // written by hand beside the module\n";
        break;
      case Member::Kind::constant:
        if (passByValue(mem.typeName))
          h << "  static constexpr " << cppType(mem.typeName) << " " << mem.name << "() noexcept { return "
            << literalCpp(*mem.defaultValue, mem.typeName, mem.type) << "; }\n";
        else
          h << "  static " << argType(mem.typeName, mem.type) << " " << mem.name << "() { return "
            << literalCpp(*mem.defaultValue, mem.typeName, mem.type) << "; }\n";
        break;
      case Member::Kind::valueCollection: {
        const std::string key = argType(mem.keyTypeName, mem.keyType);
        if (mem.keysOnly) {
          h << "  const Vem::HSet<HN_" << capitalized(mem.name) << ">& " << mem.name << "() const noexcept { return "
            << storage(mem) << "; }\n"
            << "  bool " << mem.name << "Has(" << key << " key) const noexcept { return " << storage(mem)
            << ".contains(key); }\n"
            << "  void " << mem.name << "Is(" << key << " key) { " << storage(mem) << ".insert(key); }\n"
            << "  // True when the key was there.\n"
            << "  bool " << mem.name << "Del(" << key << " key) { return " << storage(mem) << ".erase(key); }\n"
            << "  void " << mem.name << "DelAll() { " << storage(mem) << ".clear(); }\n";
          break;
        }
        h << "  // The value under `key`, or the value type's default when there is none.\n"
          << "  " << cppType(mem.typeName) << " " << mem.name << "(" << key << " key) const;\n"
          << "  const Vem::HashMap2018<HN_" << capitalized(mem.name) << ">& " << mem.name << "() const noexcept { return "
          << storage(mem) << "; }\n"
          << "  void " << mem.name << "Is(" << key << " key, " << ret << " value);\n"
          << "  " << cppType(mem.typeName) << " " << mem.name << "Del(" << key << " key);\n"
          << "  void " << mem.name << "DelAll();\n";
        break;
      }
      default:  // inputs have no accessor; enumerators and entity attributes are not value members
        break;
    }
  }
  h << "\n  bool operator==(const " << n << "& other) const noexcept { return Vem::valueEqual(*this, other); }\n";
  if (t.unordered) {
    // Equality and hashes only: the type has no order.
  } else if (t.handwrittenOrder)
    h << "  bool operator<(const " << n << "& other) const;  // written by hand beside the module\n"
      << "  std::weak_ordering operator<=>(const " << n << "& other) const { return Vem::orderFromLess(*this, other); }\n";
  else if (t.base)
    h << "  // The base's order first, then the fields this type adds.\n"
      << "  std::strong_ordering operator<=>(const " << n << "& other) const noexcept(Vem::nothrowOrdered<"
      << t.base->qualifiedName() << ">) {\n    return Vem::derivedCompare<" << t.base->qualifiedName()
      << ">(*this, other);\n  }\n"
      << "  bool operator<(const " << n << "& other) const noexcept(Vem::nothrowOrdered<" << t.base->qualifiedName()
      << ">) { return (*this <=> other) < 0; }\n";
  else
    h << "  std::strong_ordering operator<=>(const " << n
      << "& other) const noexcept { return Vem::valueCompare(*this, other); }\n";
  h << "  static bool isEq(const void* a, const void* b) noexcept {\n"
    << "    return *static_cast<const " << n << "*>(a) == *static_cast<const " << n << "*>(b);\n  }\n"
    << "  // Seeded hash, for keyed collections.\n";
  if (t.handwrittenHash)
    h << "  uint32_t hash(uint32_t seed) const noexcept;  // written by hand beside the module\n";
  else
    h << "  uint32_t hash(uint32_t seed) const noexcept { return Vem::valueHash(*this, seed); }\n";
  h << "  // True unless equal to the default value.\n"
    << "  explicit operator bool() const { return Vem::valueIsSet(*this); }\n";
  // A type may declare its own `stringValue` member; the generic text form is then `operator<<` alone.
  if (!declaresStringValue(t))
    h << "  Lumo::String stringValue() const;" << (t.handwrittenText ? "  // written by hand beside the module" : "") << "\n";
  if (t.streamsStringValue)
    h << "  // The stream output writes stringValue(); the generic interface keeps the generic text.\n"
      << "  using VemGenericText = void;\n";
  h << "\n"
    << "  static constexpr std::string_view vemTypeName = " << quoted(t.qualifiedName()) << ";\n"
    << "  static Vem::VemType vemType() noexcept { return Vem::VemType(&" << descriptorSymbol(m_) << ", "
    << t.index << "); }\n";
  if (t.unhashable) h << "  // Never a key: the generic interface refuses its hash.\n  static constexpr bool vemUnhashable = true;\n";
  if (t.pbMessage)
    h << "\n  // Protocol-buffers form, written by hand beside the module. Field numbers are the attribute ids.\n"
      << "  // The message's fields, without a length prefix.\n"
      << "  void writeMessage(Lumo::Pb::Writer& out) const;\n"
      << "  // The message with its length prefix.\n"
      << "  void writePbMessage(Lumo::Pb::Writer& out) const;\n"
      << "  // Reads a length-prefixed message over the fields it holds; unknown fields are skipped. Raises\n"
      << "  // Lumo::Pb::DecodeError and changes nothing on malformed input.\n"
      << "  void readMessage(Lumo::Pb::Reader& in);\n"
      << "  // Reads one field whose tag has been read.\n"
      << "  void readMessageField(Lumo::Pb::Reader& in, uint32_t field, Lumo::Pb::WireType type);\n"
      << "  // Clears every field, then reads a length-prefixed message: a missing field stays cleared.\n"
      << "  void constructFromPbMessage(Lumo::Pb::Reader& in);\n";
  bool anyStored = std::any_of(t.members.begin(), t.members.end(), [](const Member& m) { return m.stored(); });
  if (anyStored) {
    h << "\n private:\n";
    for (const Member& mem : t.members) {
      if (!mem.stored()) continue;
      std::string type = mem.kind != Member::Kind::valueCollection ? cppType(mem.typeName)
                         : mem.keysOnly ? "Vem::HSet<HN_" + capitalized(mem.name) + ">"
                                        : "Vem::HashMap2018<HN_" + capitalized(mem.name) + ">";
      h << "  " << type << " " << storage(mem);
      if (mem.defaultValue) h << " = " << literalCpp(*mem.defaultValue, mem.typeName, mem.type);
      else h << "{}";
      h << ";\n";
    }
  }
  h << "\n public:\n  // The stored fields in declaration order: what equality, ordering, hashing and the text form walk.\n"
    << "  using " << (t.base ? "VemOwnFields" : "VemFields") << " = Vem::FieldList<";
  bool first = true;
  for (const Member& mem : t.members) {
    if (!mem.stored()) continue;
    h << (first ? "" : ",") << "\n      Vem::Field<&" << n << "::" << storage(mem) << ", " << quoted(mem.name) << ">";
    first = false;
  }
  h << ">;\n";
  if (t.base)
    h << "  // A derived value holds its base's fields first.\n"
      << "  using VemFields = Vem::ConcatFields<" << t.base->qualifiedName() << "::VemFields, VemOwnFields>::type;\n";
  h << ""
    << "  // What the generic interface reads by attribute id: stored fields and computed members.\n"
    << "  using VemReadable = Vem::ReadableList<";
  first = true;
  for (const Member& mem : t.members) {
    std::string target;
    if (mem.kind == Member::Kind::valueCollection) continue;  // read through the typed API only
    if (mem.stored()) target = "&" + n + "::" + storage(mem);
    else if (mem.kind == Member::Kind::computed)
      target = "static_cast<" + cppType(mem.typeName) + " (" + n + "::*)() const>(&" + n + "::" + mem.name + ")";
    else continue;
    h << (first ? "" : ",") << "\n      Vem::Readable<" << mem.attributeId << ", " << target << ">";
    first = false;
  }
  h << ">;\n" << methodList(t) << "};\n";
}

// The free functions of a value type (and of the types nested in it), after its class.
void CppWriter::classFunctions(std::ostringstream& h, const TypeDecl& t) {
  for (const TypeDecl* inner : nestedIn(t)) {
    if (inner->kind == TypeDecl::Kind::enumeration) enumFunctions(h, *inner);
    else classFunctions(h, *inner);
  }
  const std::string& n = t.classPath;
  h << "// Parses like " << t.name << "(Vem::CharRange&) and returns true; on failure raises what it raises and leaves\n"
    << "// `value` and `text` as they were.\n"
    << "bool sequenceToValue(Vem::CharRange& text, " << n << "* value);\n"
    << "std::ostream& operator<<(std::ostream& os, const " << n << "& value);\n"
    << "Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const " << n << "& value);\n"
    << "std::size_t attrLogSize(const " << n << "* value);\n";
}

void CppWriter::enumDefinitions(std::ostringstream& s, const TypeDecl& t) {
  openNamespace(s, t.cppNamespace);
  const std::string u = t.holdingType == "U8" ? "uint8_t" : "uint32_t";
  const std::string vt = "Vem::VemType(&" + descriptorSymbol(m_) + ", " + std::to_string(t.index) + ")";
  const std::string n = t.classPath;  // the enumeration as named in its namespace
  s << "\n" << n << " " << t.name << "Instance(uint32_t code) {\n"
    << "  return static_cast<" << n << ">(Vem::EnumType<" << u << ">::instance(" << vt << ", code));\n}\n"
    << n << " " << t.name << "Instance(std::string_view name) {\n"
    << "  return static_cast<" << n << ">(Vem::EnumType<" << u << ">::instance(" << vt << ", name));\n}\n"
    << "Lumo::String stringValue(" << n << " value) {\n"
    << "  return Vem::EnumType<" << u << ">::stringValue(" << vt << ", static_cast<" << u << ">(value));\n}\n"
    << "bool sequenceToValue(Vem::CharRange& text, " << n << "* value) {\n"
    << "  return Vem::EnumType<" << u << ">::sequenceToValue(" << vt << ", text, reinterpret_cast<" << u
    << "*>(value));\n}\n"
    << "std::ostream& operator<<(std::ostream& os, const " << n << "& value) { return os << stringValue(value); }\n";
}

std::string CppWriter::checksCode(const TypeDecl& t, bool fromConstructor) {
  std::string out;
  for (const Check& c : t.checks) {
    // The constructor names the parameter that gave the bound; the parser names the stored field.
    std::string bound = c.bound;
    if (c.boundIsField) {
      bound = c.bound + "_";
      if (fromConstructor)
        for (const CtorParam& p : t.ctorParams)
          if (p.field == c.bound) bound = p.name;
    }
    std::string rhs = c.boundIsField ? c.bound + "_" : c.bound;
    out += "  if (" + c.field + "_ " + negate(c.op) + " " + rhs + ")\n    Vem::throwBoundViolation(" +
           quoted(t.qualifiedName()) + ", " + quoted(c.field) + ", " + quoted(negate(c.op)) + ", " + quoted(bound) + ");\n";
  }
  return out;
}

void CppWriter::valueDefinitions(std::ostringstream& s, const TypeDecl& t) {
  openNamespace(s, t.cppNamespace);
  const std::string n = t.name, cls = t.classPath;
  if (!t.ctorParams.empty() && !t.handwrittenCtor) {
    s << "\n" << cls << "::" << n << "(" << ctorSignature(t, false) << ")";
    std::string baseArgs, init;
    for (const CtorParam& p : t.ctorParams) {
      if (p.fromBase) baseArgs += (baseArgs.empty() ? "" : ", ") + p.name;
      else init += (init.empty() ? "" : ", ") + p.field + "_(" + p.name + ")";
    }
    if (!baseArgs.empty()) init = t.base->name + "(" + baseArgs + ")" + (init.empty() ? "" : ", " + init);
    s << "\n    : " << init << " {\n" << checksCode(t, true) << "}\n";
  }
  if (holdsCollection(t))
    s << "\n" << cls << "::" << n << "(Vem::CharRange&) { Vem::throwNoStringConstructor(" << quoted(n) << "); }\n";
  else if (t.handwrittenText)
    ;  // the parser is written by hand beside the module
  else
    s << "\n" << cls << "::" << n << "(Vem::CharRange& text) {\n  Vem::parseFields(text, *this);\n" << checksCode(t, false)
      << "}\n";
  s << "bool sequenceToValue(Vem::CharRange& text, " << cls << "* value) { return Vem::parseInto(text, value); }\n";
  s << ""
    << "\n" << cls << "::" << n << "(Vem::NboAttrLog::In* in, Vem::StreamBogon) {\n  Vem::valueFromLog(*in, *this);\n"
    << checksCode(t, false) << "}\n";
  for (const Member& mem : t.members) {
    if (mem.kind != Member::Kind::valueCollection || mem.keysOnly) continue;
    const std::string key = argType(mem.keyTypeName, mem.keyType), val = argType(mem.typeName, mem.type);
    const std::string v = storage(mem), x = mem.name, V = cppType(mem.typeName);
    s << "\n" << V << " " << cls << "::" << x << "(" << key << " key) const {\n"
      << "  const auto* value = " << v << ".find(key);\n  return value ? *value : " << V << "{};\n}\n"
      << "void " << cls << "::" << x << "Is(" << key << " key, " << val << " value) { " << v << ".set(key, value); }\n"
      << V << " " << cls << "::" << x << "Del(" << key << " key) {\n  " << V << " removed{};\n  " << v
      << ".erase(key, &removed);\n  return removed;\n}\n"
      << "void " << cls << "::" << x << "DelAll() { " << v << ".clear(); }\n";
  }
  for (const Member& mem : t.members) {
    if (mem.mix.empty()) continue;
    s << "\nuint32_t " << cls << "::" << mem.name << "() const {\n  Brek::HashMix h(0);\n";
    for (const MixItem& item : mem.mix) {
      const Member& f = member(t, item.field);
      const std::string v = f.name + "_";
      switch (item.how) {
        case MixItem::How::raw:
          if (f.typeName == "Vem::String") s << "  h.mixBytes(" << v << ".data(), " << v << ".size());\n";
          else if (f.typeName == "bool") s << "  h.mix(static_cast<uint8_t>(" << v << "));\n";
          else if (f.typeName == "S32") s << "  h.mix(static_cast<uint32_t>(" << v << "));\n";
          else if (Compilation::isBuiltin(f.typeName)) s << "  h.mix(" << v << ");\n";
          else s << "  h.mixBytes(&" << v << ", sizeof " << v << ");\n";
          break;
        case MixItem::How::hash:
          s << "  h.mix(static_cast<uint32_t>(Vem::fieldHash(" << v << ")));\n";
          break;
        case MixItem::How::single:
          s << "  h.mix(Vem::hashSingleAttr(" << v << ", 0));\n";
          break;
      }
    }
    s << "  return h.result();\n}\n";
  }
  if (t.handwrittenText || t.streamsStringValue)
    s << "\nstd::ostream& operator<<(std::ostream& os, const " << cls << "& value) { return os << value.stringValue(); }\n";
  else
    s << (declaresStringValue(t) ? "\n" : "\nLumo::String " + cls + "::stringValue() const { return Vem::valueToString(*this); }\n")
      << "std::ostream& operator<<(std::ostream& os, const " << cls << "& value) {\n"
      << "  Vem::valueToStrep(os, value);\n  return os;\n}\n";
  s << ""
    << "Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const " << cls << "& value) {\n"
    << "  Vem::valueToLog(out, value);\n  return out;\n}\n"
    << "std::size_t attrLogSize(const " << cls << "* value) { return Vem::valueLogSize(*value); }\n";
}

}  // namespace vemc
