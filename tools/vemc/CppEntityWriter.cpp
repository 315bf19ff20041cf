#include "CppWriter.h"

#include "CppSyntax.h"

#include <algorithm>
#include <string>

namespace vemc {

bool CppWriter::hasMethodList(const TypeDecl& t) {
  for (const TypeDecl* x = &t; x; x = x->base)
    for (const Member& mem : x->members)
      if (genericMethod(*x, mem)) return true;
  return false;
}

std::string CppWriter::methodList(const TypeDecl& t) {
  std::string list;
  for (const Member& mem : t.members) {
    if (!genericMethod(t, mem)) continue;
    std::string sig = cppType(mem.typeName) + " (" + t.name + "::*)(";
    for (std::size_t i = 0; i < mem.params.size(); ++i)
      sig += (i ? ", " : "") + methodParamType(mem.params[i].typeName, typeOf(mem.params[i].typeName));
    sig += ") const";
    list += std::string(list.empty() ? "" : ",") + "\n      Vem::Method<" + std::to_string(mem.attributeId) + ", static_cast<" +
            sig + ">(&" + t.name + "::" + mem.name + ")>";
  }
  if (list.empty()) return "";
  std::string own = "Vem::MethodList<" + list + ">";
  if (t.base && hasMethodList(*t.base)) own = "Vem::ListCat<" + t.base->qualifiedName() + "::VemMethods, " + own + ">";
  return "  // Methods the generic interface calls (code 0, arguments 1 and 2).\n  using VemMethods = " + own + ";\n";
}

// ", P1, P2": the C++ types of an entity's constructor parameters, for template arguments.
std::string CppWriter::entityCtorTypes(const TypeDecl& t) {
  std::string s;
  for (const CtorParam& p : t.ctorParams) s += ", " + cppType(p.typeName);
  return s;
}

// The constructor's parameter list of an entity type, for declarations (or, without types, for calls).
std::string CppWriter::entityCtorParams(const TypeDecl& t, bool withTypes) {
  std::string s;
  for (const CtorParam& p : t.ctorParams) {
    if (!s.empty()) s += ", ";
    if (withTypes) s += argType(p.typeName, typeOf(p.typeName)) + " ";
    s += p.name;
  }
  return s;
}

// Reconciles the further constructor arguments of a child that already exists: every fixed argument
// must equal the child's value (checked first, so that a conflict changes nothing), then settable
// ones go through the child's setters.
std::string CppWriter::reconcileBody(const TypeDecl& child, std::size_t firstArg) {
  std::string out;
  for (std::size_t i = firstArg; i < child.ctorParams.size(); ++i) {
    const CtorParam& p = child.ctorParams[i];
    const Member* m = inheritedOrOwn(child, p.field);
    if (m == nullptr || m->ctorParam2) continue;
    const std::string have = "existing." + p.field + "()", want = p.name;
    std::string id = std::to_string(m->attributeId);
    std::string raise;
    const std::string& tn = p.typeName;
    if (tn == "Vem::String")
      raise = "Vem::throwMutatorReinstantiating(existing, " + id + ", " + have + ", " + want + ")";
    else if (tn == "U8" || tn == "U16" || tn == "U32" || tn == "S32" || tn == "bool")
      raise = "Vem::throwMutatorReinstantiating(existing, " + id + ", static_cast<uint32_t>(" + have +
              "), static_cast<uint32_t>(" + want + "))";
    else if (m->type)
      raise = "{\n      const auto& had = " + have + ";\n      Vem::Impl::throwMutatorReinstVal(existing, " + id + ", " +
              vemTypeExpr(*m->type) + ", &had, &" + want + ");\n    }";
    else
      raise = "Vem::throwMutatorReinstantiating(existing, " + id + ", Lumo::String(std::to_string(" + have +
              ")), Lumo::String(std::to_string(" + want + ")))";
    out += "    if (!(" + have + " == " + want + ")) " + raise + (raise.back() == '}' ? "\n" : ";\n");
  }
  for (std::size_t i = firstArg; i < child.ctorParams.size(); ++i) {
    const CtorParam& p = child.ctorParams[i];
    if (const Member* x = inheritedOrOwn(child, p.field); x && x->ctorParam2)
      out += "    existing." + p.field + "Is(" + p.name + ");\n";
  }
  return out;
}

bool CppWriter::declaresStringValue(const TypeDecl& t) {
  return std::any_of(t.members.begin(), t.members.end(), [](const Member& m) { return m.name == "stringValue"; });
}

// The collection's node type.
std::string CppWriter::nodeType(const Member& mem) {
  const std::string seed = hex(mem.seedConstant) + "u";
  const std::string form = "Vem::" + mem.keyForm;
  if (mem.kind == Member::Kind::set || mem.keysOnly)
    return "Vem::HashMap2018SetNode<" + cppType(mem.keyTypeName) + ", " + form + ", " + seed + ">";
  if (mem.holdsEntities())
    return "Vem::HashMap2018NodeInternalKey<Lumo::Ptr<" + mem.typeName + ">, Vem::EntityKey<" + mem.typeName + ">, " +
           form + ", " + seed + ">";
  if (!mem.keyField.empty())
    return "Vem::HashMap2018NodeInternalKey<" + mem.typeName + ", Vem::FieldKey<" + mem.typeName + ", " +
           quoted(mem.keyField) + ">, " + form + ", " + seed + ">";
  return "Vem::HashMap2018Node<" + cppType(mem.keyTypeName) + ", " + cppType(mem.typeName) + ", " + form + ", " + seed + ">";
}

std::string CppWriter::collectionType(const Member& mem) {
  if (mem.kind == Member::Kind::ordered)
    return "Vem::RbTreeMap<" + cppType(mem.keyTypeName) + ", " + cppType(mem.typeName) + ">";
  if (mem.kind == Member::Kind::set) return "Vem::HSet<HN_" + capitalized(mem.name) + ">";
  return "Vem::HashMap2018<HN_" + capitalized(mem.name) + ">";
}

std::string CppWriter::storedType(const Member& mem) {
  if (mem.kind == Member::Kind::child) return "Lumo::Ptr<" + mem.typeName + ">";
  if (mem.kind == Member::Kind::key) return "const " + cppType(mem.typeName);
  if (mem.isCollection()) return collectionType(mem);
  return cppType(mem.typeName);
}

void CppWriter::entityDeclaration(std::ostringstream& h, const TypeDecl& t) {
  const std::string n = t.name;
  // A derived type inherits its base's publisher, key and name, and adds its own attributes.
  const bool root = t.base == nullptr;
  const bool named = this->named(t) && root;
  h << "\nclass " << n << " : public " << (root ? std::string("Vem::Entity") : t.base->qualifiedName()) << " {\n public:\n";
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::ordered) {
      // Reference-counted: a holder keeps the entry readable after its removal.
      h << "  using Vem" << capitalized(mem.name) << " = " << collectionType(mem) << "::Node;\n";
    } else if (mem.isCollection()) {
      h << "  using HN_" << capitalized(mem.name) << " = " << nodeType(mem) << ";\n";
      if (!mem.keyField.empty() && !mem.holdsEntities())
        h << "  // Takes the key out of a value.\n  using " << capitalized(mem.name) << "KeyFunktor = Vem::FieldKey<"
          << mem.typeName << ", " << quoted(mem.keyField) << ">;\n";
    }
  }
  h << "\n  " << (t.ctorParams.size() == 1 ? "explicit " : "") << n << "(" << entityCtorParams(t, true) << ");\n"
    << "  ~" << n << "() override;\n"
    << "  " << n << "(const " << n << "&) = delete;\n"
    << "  " << n << "& operator=(const " << n << "&) = delete;\n\n"
    << "  static constexpr std::string_view vemTypeName = " << quoted(t.qualifiedName()) << ";\n"
    << "  static Vem::VemType vemType() noexcept { return " << vemTypeExpr(t) << "; }\n"
    << "  using FlowOut = Vem::NboAttrLog::FlowOutFor<" << n << ">;\n"
    << "  Vem::VemType typeData() const override { return vemType(); }\n";
  if (root) {
    const CtorParam& first = t.ctorParams.front();
    h << "  Lumo::Publisher& publisher() const override { return publisher_; }\n\n"
      << "  // The key under which collections of this type file it: its first constructor attribute.\n"
      << "  const " << cppType(first.typeName) << "& vemKey() const noexcept { return " << first.field << "_; }\n";
  }
  if (named)
    h << "  const Lumo::String& name() const noexcept { return name_; }\n"
      << "  const Lumo::String& nameString() const noexcept { return name_; }\n";
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::nameString) continue;
    const std::string x = mem.name, v = storage(mem);
    const std::string val = argType(mem.typeName, mem.type);
    const std::string key = argType(mem.keyTypeName, mem.keyType);
    const std::string ptr = "Lumo::Ptr<" + mem.typeName + ">";
    h << "\n  // " << x << " (" << mem.attributeId << ")\n";
    switch (mem.kind) {
      case Member::Kind::key:
        h << "  " << val << " " << x << "() const noexcept { return " << v << "; }\n";
        break;
      case Member::Kind::attr:
        h << "  " << val << " " << x << "() const noexcept { return " << v << "; }\n";
        if (!mem.noSetter) h << "  void " << x << "Is(" << val << " value);\n";
        if (mem.counter) h << "  " << cppType(mem.typeName) << " " << x << "Inc(" << cppType(mem.typeName) << " step = 1);\n";
        break;
      case Member::Kind::collection:
      case Member::Kind::ordered:
        h << "  // The value under `key`, or the value type's default when there is none.\n"
          << "  " << cppType(mem.typeName) << " " << x << "(" << key << " key) const;\n"
          << "  const " << collectionType(mem) << "& " << x << "() const noexcept { return " << v << "; }\n";
        if (mem.keyField.empty())
          h << "  void " << x << "Is(" << key << " key, " << val << " value);\n";
        else
          h << "  // Files the value under its own " << mem.keyField << ".\n  void " << x << "Is(" << val << " value);\n";
        h << "  " << cppType(mem.typeName) << " " << x << "Del(" << key << " key);\n";
        if (mem.kind == Member::Kind::ordered)
          h << "  // Removes the entry under the iterator (the default when it is gone already).\n"
            << "  " << cppType(mem.typeName) << " " << x << "Del(const " << collectionType(mem) << "::Iterator& at);\n";
        h << "  void " << x << "DelAll();\n";
        break;
      case Member::Kind::set:
        h << "  bool " << x << "Has(" << key << " key) const { return " << v << ".contains(key); }\n"
          << "  const " << collectionType(mem) << "& " << x << "() const noexcept { return " << v << "; }\n"
          << "  void " << x << "Is(" << key << " key);\n"
          << "  bool " << x << "Del(" << key << " key);\n"
          << "  void " << x << "DelAll();\n";
        break;
      case Member::Kind::children:
        h << "  // The child under that key, or null.\n"
          << "  " << ptr << " " << x << "(" << key << " key) const;\n"
          << "  const " << collectionType(mem) << "& " << x << "() const noexcept { return " << v << "; }\n"
          << "  // The existing child under that key (its further arguments reconciled), or a new one, parented here\n"
          << "  // and announced.\n"
          << "  " << ptr << " " << x << "Is(" << entityCtorParams(*mem.type, true) << ");\n"
          << "  " << ptr << " " << x << "Del(" << key << " key);\n"
          << "  void " << x << "DelAll();\n";
        break;
      case Member::Kind::refs:
        h << "  " << ptr << " " << x << "(" << key << " key) const;\n"
          << "  const " << collectionType(mem) << "& " << x << "() const noexcept { return " << v << "; }\n"
          << "  // Files a reference to an entity created elsewhere, under its key; refuses null.\n"
          << "  void " << x << "Is(const " << ptr << "& entity);\n"
          << "  " << ptr << " " << x << "Del(" << key << " key);\n"
          << "  void " << x << "DelAll();\n";
        break;
      case Member::Kind::child:
        h << "  const " << ptr << "& " << x << "() const noexcept { return " << v << "; }\n"
          << "  " << ptr << " " << x << "Is(" << entityCtorParams(*mem.type, true) << ");\n"
          << "  " << ptr << " " << x << "Del();\n";
        break;
      case Member::Kind::method:
        h << "  " << cppType(mem.typeName) << " " << x << "(" << paramList(mem) << ") const;  // written by hand beside the module\n";
        break;
      case Member::Kind::view:
        h << "  // A view over " << mem.viewOf << ", written by hand beside the module: it stores, announces and logs\n"
          << "  // nothing of its own.\n"
          << "  " << cppType(mem.typeName) << " " << x << "(" << key << " key) const;\n"
          << "  void " << x << "Is(" << key << " key, " << val << " value);\n"
          << "  " << cppType(mem.typeName) << " " << x << "Del(" << key << " key);\n";
        break;
      case Member::Kind::staticMethod:
        h << "  static " << cppType(mem.typeName) << " " << x << "(" << paramList(mem) << ");  // written by hand beside the module\n";
        break;
      case Member::Kind::computed:
        h << "  " << cppType(mem.typeName) << " " << x << "() const;  // written by hand beside the module\n";
        break;
      case Member::Kind::constant:
        h << "  static " << argType(mem.typeName, mem.type) << " " << x << "() { return "
          << literalCpp(*mem.defaultValue, mem.typeName, mem.type) << "; }\n";
        break;
      default:
        break;
    }
  }
  h << "\n  // Instances come from the slab allocator, counted per type.\n"
    << "  static Lumo::AllocationTracker memAllocationTracker_;\n"
    << "  static void* operator new(std::size_t size) { return memAllocationTracker_.allocate(size); }\n"
    << "  static void operator delete(void* p, std::size_t size) noexcept { memAllocationTracker_.deallocate(p, size); }\n"
    << "\n protected:  // a derived type's attribute lists name its base's storage\n";
  if (root) h << "  mutable Lumo::Publisher publisher_;\n";
  for (const Member& mem : t.members)
    if (mem.noSetter)
      h << "  // Only " << mem.name << "Inc changes " << mem.name << " in code; the generic interface writes through this.\n"
        << "  void " << mem.name << "Is(" << argType(mem.typeName, mem.type) << " value);\n";
  if (named) h << "  const Lumo::String name_;\n";
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::nameString || isOperation(mem)) continue;
    h << "  " << storedType(mem) << " " << storage(mem);
    if (mem.defaultValue) h << " = " << literalCpp(*mem.defaultValue, mem.typeName, mem.type);
    else if (mem.kind != Member::Kind::key) h << "{}";
    h << ";\n";
  }
  h << "\n public:\n  // The constructor attributes in constructor order: what the attribute log sends to build a mirror.\n"
    << "  using VemCtorFields = Vem::FieldList<";
  for (std::size_t i = 0; i < t.ctorParams.size(); ++i)
    h << (i ? "," : "") << "\n      Vem::Field<&" << n << "::" << t.ctorParams[i].field << "_, " << quoted(t.ctorParams[i].field)
      << ">";
  h << ">;\n"
    << "  // Every attribute as the generic interface and the attribute log reach it"
    << (root ? "" : ": the base's, then its own") << ".\n"
    << "  using VemAttributes = " << (root ? "" : "Vem::ListCat<" + t.base->qualifiedName() + "::VemAttributes, ")
    << "Vem::AttributeList<";
  bool firstAttr = true;
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::nameString || isOperation(mem)) continue;
    std::string kind = mem.kind == Member::Kind::attr || mem.kind == Member::Kind::key ? "scalar"
                       : mem.kind == Member::Kind::set                              ? "set"
                       : mem.kind == Member::Kind::children                         ? "children"
                       : mem.kind == Member::Kind::child                            ? "child"
                       : mem.kind == Member::Kind::refs                             ? "refs"
                       : !mem.keyField.empty()                                      ? "keyedValues"
                                                                                    : "collection";
    h << (firstAttr ? "" : ",") << "\n      Vem::Attribute<" << mem.attributeId << ", Vem::AttrKind::" << kind << ", &" << n
      << "::" << storage(mem);
    if (mem.kind != Member::Kind::key) h << ", &" << n << "::" << mem.name << "Is";
    else if (mem.unlogged) h << ", nullptr";
    if (mem.kind == Member::Kind::ordered)  // the removal by key, not the one by iterator
      h << ", static_cast<" << cppType(mem.typeName) << " (" << n << "::*)(" << argType(mem.keyTypeName, mem.keyType)
        << ")>(&" << n << "::" << mem.name << "Del)";
    else if (mem.isCollection() || mem.kind == Member::Kind::child) h << ", &" << n << "::" << mem.name << "Del";
    else if (mem.unlogged) h << ", nullptr";
    if (mem.unlogged) h << ", false";
    h << ">";
    firstAttr = false;
  }
  h << (root ? ">" : ">>") << ";\n" << methodList(t);
  std::string backedUp;
  for (const Member& mem : t.members)
    if (mem.backup) backedUp += (backedUp.empty() ? "" : ", ") + std::to_string(mem.attributeId);
  if (!backedUp.empty())
    h << "  // The collections a backup adapter mirrors into the type system's backup store.\n"
      << "  using VemBackup = Vem::BackupAttributes<" << backedUp << ">;\n"
      << "  // Refills them from the store (without writing back); raises Vem::BackupSizeMismatch on an entry of\n"
      << "  // the wrong size and stops there.\n"
      << "  void reconstructFromBackup(Vem::BackupStore& store) { Vem::reconstructFromBackup(*this, store); }\n";
  h << "};\n"
    << "Lumo::Ptr<" << n << "> " << n << "Is(" << entityCtorParams(t, true) << ");\n";
  if (t.factory) h << "Lumo::Ptr<" << n << "> " << lowerInitial(n) << "Factory(" << entityCtorParams(t, true) << ");\n";
}

void CppWriter::entityDefinitions(std::ostringstream& s, const TypeDecl& t) {
  openNamespace(s, t.nameSpace);
  const std::string n = t.name, q = t.qualifiedName();
  s << "\nLumo::AllocationTracker " << n << "::memAllocationTracker_(" << quoted(q) << ");\n\n"
    << n << "::" << n << "(" << entityCtorParams(t, true) << ")";
  bool firstInit = true;
  std::size_t inherited = 0;
  if (t.base) {
    // The base takes the leading arguments, which are its own constructor's.
    inherited = t.base->ctorParams.size();
    std::string args;
    for (std::size_t i = 0; i < inherited; ++i) args += (i ? ", " : "") + t.ctorParams[i].name;
    s << "\n    : " << t.base->qualifiedName() << "(" << args << ")";
    firstInit = false;
  }
  for (std::size_t i = inherited; i < t.ctorParams.size(); ++i) {
    const CtorParam& p = t.ctorParams[i];
    s << (firstInit ? "\n    : " : ", ") << p.field << "_(" << p.name << ")";
    firstInit = false;
  }
  s << " {}\n\n"
    << n << "::~" << n << "() {\n  nodeFlagIs(Vem::kEntityLiveFlag, false);\n";
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::children) s << "  Vem::childrenRelease(" << storage(mem) << ");\n";
    else if (mem.kind == Member::Kind::child) s << "  if (" << storage(mem) << ") " << storage(mem) << "->parentIs(nullptr);\n";
    else if (mem.isCollection()) s << "  " << storage(mem) << ".clear();\n";
  }
  s << "}\n";
  for (const Member& mem : t.members) {
    if (mem.kind == Member::Kind::nameString || mem.kind == Member::Kind::key || isOperation(mem)) continue;
    const std::string x = mem.name, v = storage(mem), id = std::to_string(mem.attributeId);
    const std::string val = argType(mem.typeName, mem.type);
    const std::string key = argType(mem.keyTypeName, mem.keyType);
    const std::string ptr = "Lumo::Ptr<" + mem.typeName + ">";
    const std::string self = n + "::";
    s << "\n";
    switch (mem.kind) {
      case Member::Kind::attr:
        if (mem.silent)
          s << "void " << self << x << "Is(" << val << " value) { " << v << " = value; }\n";
        else
          s << "void " << self << x << "Is(" << val << " value) { Vem::scalarSet(*this, " << v << ", value, " << id << "); }\n";
        if (mem.counter)
          s << cppType(mem.typeName) << " " << self << x << "Inc(" << cppType(mem.typeName) << " step) {\n"
            << "  return Vem::counterInc(*this, " << v << ", step, " << id << (mem.silent ? ", false" : "") << ");\n}\n";
        break;
      case Member::Kind::collection:
      case Member::Kind::ordered:
        s << cppType(mem.typeName) << " " << self << x << "(" << key << " key) const {\n"
          << "  const auto* value = " << v << ".find(key);\n"
          << "  return value ? *value : " << cppType(mem.typeName) << "{};\n}\n";
        if (mem.keyField.empty())
          s << "void " << self << x << "Is(" << key << " key, " << val << " value) { Vem::collectionSet(*this, " << v
            << ", key, value, " << id << "); }\n";
        else
          s << "void " << self << x << "Is(" << val << " value) {\n  Vem::collectionSetValue(*this, " << v << ", HN_"
            << capitalized(x) << "::keyOfValue(value), value, " << id << ");\n}\n";
        s << cppType(mem.typeName) << " " << self << x << "Del(" << key << " key) { return Vem::collectionDel(*this, " << v
          << ", key, " << id << "); }\n";
        if (mem.kind == Member::Kind::ordered)
          s << cppType(mem.typeName) << " " << self << x << "Del(const " << collectionType(mem)
            << "::Iterator& at) {\n  return at.valid() ? Vem::collectionDel(*this, " << v << ", at.key(), " << id << ") : "
            << cppType(mem.typeName) << "{};\n}\n";
        s << "void " << self << x << "DelAll() { Vem::collectionDelAll(*this, " << v << ", " << id << "); }\n";
        break;
      case Member::Kind::set:
        s << "void " << self << x << "Is(" << key << " key) { Vem::setInsert(*this, " << v << ", key, " << id << "); }\n"
          << "bool " << self << x << "Del(" << key << " key) { return Vem::setDel(*this, " << v << ", key, " << id << "); }\n"
          << "void " << self << x << "DelAll() { Vem::setDelAll(*this, " << v << ", " << id << "); }\n";
        break;
      case Member::Kind::children: {
        const TypeDecl& child = *mem.type;
        const std::string firstArg = child.ctorParams.front().name;
        s << ptr << " " << self << x << "(" << key << " key) const {\n"
          << "  const auto* child = " << v << ".find(key);\n  return child ? *child : " << ptr << "();\n}\n"
          << ptr << " " << self << x << "Is(" << entityCtorParams(child, true) << ") {\n"
          << "  return Vem::childIs(\n      *this, " << v << ", " << firstArg << ", " << id << ", [&] { return "
          << mem.typeName << "Is(" << entityCtorParams(child, false) << "); },\n"
          << "      [&]([[maybe_unused]] " << mem.typeName << "& existing) {\n" << reconcileBody(child, 1) << "      });\n}\n"
          << ptr << " " << self << x << "Del(" << key << " key) { return Vem::childDel(*this, " << v << ", key, " << id
          << "); }\n"
          << "void " << self << x << "DelAll() { Vem::childDelAll(*this, " << v << ", " << id << "); }\n";
        break;
      }
      case Member::Kind::refs:
        s << ptr << " " << self << x << "(" << key << " key) const {\n"
          << "  const auto* entity = " << v << ".find(key);\n  return entity ? *entity : " << ptr << "();\n}\n"
          << "void " << self << x << "Is(const " << ptr << "& entity) {\n"
          << "  if (!entity) Vem::throwMutatorArgNullPointerException(vemType(), " << id << ");\n"
          << "  Vem::referenceSet(*this, " << v << ", entity, " << id << ");\n}\n"
          << ptr << " " << self << x << "Del(" << key << " key) { return Vem::collectionDel(*this, " << v << ", key, " << id
          << "); }\n"
          << "void " << self << x << "DelAll() { Vem::collectionDelAll(*this, " << v << ", " << id << "); }\n";
        break;
      case Member::Kind::child: {
        const TypeDecl& child = *mem.type;
        s << ptr << " " << self << x << "Is(" << entityCtorParams(child, true) << ") {\n"
          << "  return Vem::singletonIs(\n      *this, " << v << ", " << id << ", " << child.ctorParams.front().name
          << ", [&] { return " << mem.typeName << "Is(" << entityCtorParams(child, false) << "); },\n"
          << "      [&]([[maybe_unused]] " << mem.typeName << "& existing) {\n" << reconcileBody(child, 1) << "      });\n}\n"
          << ptr << " " << self << x << "Del() { return Vem::singletonDel(*this, " << v << ", " << id << "); }\n";
        break;
      }
      default:
        break;
    }
  }
  s << "\nLumo::Ptr<" << n << "> " << n << "Is(" << entityCtorParams(t, true) << ") {\n  return Lumo::newNode<" << n << ">("
    << entityCtorParams(t, false) << ");\n}\n";
  if (t.factory)
    s << "Lumo::Ptr<" << n << "> " << lowerInitial(n) << "Factory(" << entityCtorParams(t, true) << ") {\n  return Lumo::newNode<"
      << n << ">(" << entityCtorParams(t, false) << ");\n}\n";
}

}  // namespace vemc
