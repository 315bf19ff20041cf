#include "CppWriter.h"

#include "CppSyntax.h"

#include <algorithm>

namespace vemc {

void CppWriter::tablesSource(std::ostringstream& s, const std::string& sym) {
  s << "\n// ---- Registration tables -------------------------------------------------------------------\n"
    << "namespace {\n\n";
  // String tables, one string per line for the reader.
  auto stringTable = [&](const char* name, const std::string& bytes) {
    s << "constexpr char " << name << "[] =";
    std::size_t start = 0;
    while (start < bytes.size()) {
      std::size_t end = bytes.find('\0', start);
      s << "\n    " << quoted(bytes.substr(start, end - start)) << " \"\\0\"  // " << start;
      start = end + 1;
    }
    s << "\n    \"\";\n\n";
  };
  stringTable("vemTypeNames", tb_.typeNames);
  stringTable("vemMemberNames", tb_.memberNames);

  s << "constexpr Vem::TypeRecord vemTypes[] = {\n";
  for (const TypeDecl& t : m_.types) {
    std::string kind = t.kind == TypeDecl::Kind::enumeration ? "Vem::TypeKind::enumeration"
                       : t.isEntity()                        ? "Vem::TypeKind::entity"
                                                             : "Vem::TypeKind::value";
    if (t.pbMessage || t.pbHolder) kind = "(" + kind + " | Vem::TypeKind::protobufForm)";
    s << "    Vem::makeTypeRecord(" << kind << ", " << tb_.typeNameOffset.at(t.qualifiedName())
      << ", Vem::layoutOf<" << t.qualifiedName() << ">(), " << t.members.size() << ", " << t.firstMember << ", "
      << t.firstParam << ", " << t.baseRef << "),  // " << t.index << " " << t.qualifiedName() << "\n";
  }
  s << "};\n\n";

  s << "constexpr Vem::MemberRecord vemMembers[] = {\n";
  if (tb_.members.empty()) s << "    Vem::makeMemberRecord(0, 0, 0, 0, 0, 0, 0, 0),  // placeholder: no members\n";
  for (std::size_t i = 0; i < tb_.members.size(); ++i) {
    const Member& mem = *tb_.members[i];
    s << "    Vem::makeMemberRecord(" << mem.attributeId << ", " << hex(mem.flagsA, 4) << ", " << hex(mem.flagsB, 4)
      << ", " << tb_.memberNameOffset.at(mem.name) << ", " << mem.typeRef << ", " << mem.enumValue << ", "
      << mem.firstParam << ", " << mem.keyTypeRef << "),  // " << i << " " << mem.name << "\n";
  }
  s << "};\n\n";

  s << "constexpr Vem::ParamRecord vemParams[] = {\n";
  for (std::size_t i = 0; i < tb_.params.size(); ++i)
    s << "    Vem::makeParamRecord(" << tb_.params[i].nameOffset << ", " << tb_.params[i].typeNameOffset << "),  // "
      << i << " " << tb_.params[i].comment << "\n";
  s << "};\n\n";

  std::string typeRefs = "nullptr";
  if (!tb_.typeRefs.empty()) {
    s << "const Vem::TypeRefEntry vemTypeRefs[] = {\n";
    for (const TypeDecl* t : tb_.typeRefs)
      s << "    {&" << descriptorSymbol(*t->module) << ", " << t->index << "},  // " << t->qualifiedName() << "\n";
    s << "};\n\n";
    typeRefs = "vemTypeRefs";
  }

  s << "const Vem::ImplEntry vemImpls[] = {\n";
  for (const TypeDecl& t : m_.types) {
    const std::string q = t.qualifiedName();
    if (t.kind == TypeDecl::Kind::entity) {
      s << "    {" << (t.factory && keyedByName(t) ? "&Vem::GenericIfImpl::newEntityForDir<" + q + ">" : std::string("nullptr"))
        << ", &Vem::TypeImpl<" << q << ">::table, &Vem::GenericIfImpl::GenericIfPtrInterfaceMethods<Vem::Entity>::table, "
        << (t.factory ? "&Vem::GenericIfImpl::constructEntityFromCtorArgs<" + q + entityCtorTypes(t) + ">" : std::string("nullptr"))
        << ", &Vem::GenericIfImpl::entityAttributeOp<" << q << ">, "
        << (std::any_of(t.members.begin(), t.members.end(), [](const Member& m) { return m.isCollection(); })
                ? "&Vem::GenericIfImpl::entityIterator<" + q + ">"
                : std::string("nullptr"))
        << "},  // " << q << "\n";
    } else if (t.kind == TypeDecl::Kind::platformEntity) {
      // Only passed to methods: a counted reference to it is the value tools hold; it has no members.
      s << "    {nullptr, nullptr, &Vem::GenericIfImpl::GenericIfPtrInterfaceMethods<" << q
        << ">::table, nullptr, &Vem::GenericIfImpl::memberlessAttributeOp, nullptr},  // " << q << "\n";
    } else if (t.kind == TypeDecl::Kind::enumeration) {
      std::string u = t.holdingType == "U8" ? "uint8_t" : "uint32_t";
      s << "    {nullptr, nullptr, &Vem::GenericIfImpl::GenericIfEnumMethods<" << u
        << ">::table, nullptr, &Vem::GenericIfImpl::enumAttributeOp<" << u << ">, nullptr},  // " << q << "\n";
    } else {
      s << "    {nullptr, nullptr, &Vem::GenericIfImpl::GenericIfValueMethods<" << q << ">::table, "
        << ctorArgsEntry(t) << ", &Vem::GenericIfImpl::valueAttributeOp<" << q << ">, nullptr},  // " << q << "\n";
    }
  }
  s << "};\n\n";

  // The log form of each value and enumeration, for tools that decode records generically.
  s << "const Vem::ValueLogForm* const vemLogForms[] = {\n";
  for (const TypeDecl& t : m_.types) {
    if (t.isEntity())
      s << "    nullptr,\n";
    else if (t.kind == TypeDecl::Kind::enumeration)
      s << "    &Vem::EnumLogForm<" << (t.holdingType == "U8" ? "uint8_t" : "uint32_t") << ">::table,\n";
    else
      s << "    &Vem::ValueLogFormOf<" << t.qualifiedName() << ">::table,\n";
  }
  if (m_.types.empty()) s << "    nullptr,\n";
  s << "};\n\n}  // namespace\n\n";

  s << "extern \"C\" const Vem::VemModule " << sym << " = {\n"
    << "    vemTypes, vemMembers, vemParams, vemTypeNames, vemMemberNames, " << typeRefs << ", vemImpls, "
    << m_.types.size() << ",\n};\n\n"
    << "namespace {\n"
    << "const std::ios_base::Init vemStreamInit;\n"
    << "[[maybe_unused]] const bool vemRegistered = (Vem::vemModuleIs(&" << sym << ", " << quoted(m_.name) << ", "
    << hex(m_.tag) << "), Vem::valueLogFormsIs(&" << sym << ", vemLogForms), true);\n"
    << "}  // namespace\n";
}

std::string CppWriter::ctorArgsEntry(const TypeDecl& t) {
  if (t.kind == TypeDecl::Kind::platformValue) return "nullptr";
  std::string args = t.qualifiedName();
  for (const CtorParam& p : t.ctorParams) args += ", " + cppType(p.typeName);
  return "&Vem::GenericIfImpl::constructFromCtorArgs<" + args + ">";
}

}  // namespace vemc
