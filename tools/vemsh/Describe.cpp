#include "Describe.h"

#include <Vem/Registry.h>

#include <array>
#include <cstdio>

namespace vemsh {

namespace {

struct BitWord {
  uint16_t bit;
  std::string_view word;
};

// Listed in reading order rather than bit order: what a member is, then how it may be used.
constexpr std::array flagsAWordTable{
    BitWord{Vem::MemberFlagsA::entityAttribute, "entity attribute"},
    BitWord{Vem::MemberFlagsA::stored, "stored"},
    BitWord{Vem::MemberFlagsA::fixedAfterConstruction, "fixed"},
    BitWord{Vem::MemberFlagsA::changesAfterConstruction, "changes"},
    BitWord{Vem::MemberFlagsA::readable, "readable"},
    BitWord{Vem::MemberFlagsA::mutableSetter, "setter"},
    BitWord{Vem::MemberFlagsA::instantiating, "instantiates"},
    BitWord{Vem::MemberFlagsA::collection, "collection"},
    BitWord{Vem::MemberFlagsA::holdsEntities, "holds entities"},
    BitWord{Vem::MemberFlagsA::method, "method"},
    BitWord{Vem::MemberFlagsA::enumerator, "enumerator"},
};

constexpr std::array flagsBWordTable{
    BitWord{Vem::MemberFlagsB::constructorParameter, "constructor parameter"},
    BitWord{Vem::MemberFlagsB::member, "stored member"},
    BitWord{Vem::MemberFlagsB::storedData, "stored data"},
    BitWord{Vem::MemberFlagsB::set, "set"},
    BitWord{Vem::MemberFlagsB::protobufValues, "protobuf values"},
};

void appendWord(std::string& list, std::string_view word) {
  if (!list.empty()) list += ", ";
  list += word;
}

template <std::size_t N>
std::string spell(uint16_t flags, const std::array<BitWord, N>& table, uint16_t alreadySpelled) {
  std::string words;
  uint16_t known = alreadySpelled;
  for (const BitWord& b : table) {
    known |= b.bit;
    if (flags & b.bit) appendWord(words, b.word);
  }
  if (uint16_t unknown = flags & ~known) appendWord(words, hex(unknown, 4));
  return words;
}

struct KindOfFlags {
  uint16_t flagsA;
  std::string_view kind;
};

// The combinations the compiler emits.
constexpr std::array knownCombinations{
    KindOfFlags{0x2c00, "field"},       KindOfFlags{0x2800, "computed"},
    KindOfFlags{0x9c00, "mutable"},     KindOfFlags{0x9c01, "collection"},
    KindOfFlags{0xdc00, "attribute"},   KindOfFlags{0xdc01, "collection"},
    KindOfFlags{0xdd20, "singleton"},   KindOfFlags{0xdd21, "owned-collection"},
    KindOfFlags{0xdc21, "ref-collection"}, KindOfFlags{0x0810, "method"},
    KindOfFlags{0x0818, "static method"}, KindOfFlags{0x2808, "constant"},
    KindOfFlags{0x2888, "enumerator"},  KindOfFlags{0x1800, "internal"},
    KindOfFlags{0x1c00, "internal"},    KindOfFlags{0x2000, "input"},
};

bool has(uint16_t flags, uint16_t bit) noexcept { return (flags & bit) != 0; }

void line(std::ostream& out, std::string_view label, std::string_view text) {
  out << "  " << label;
  for (std::size_t n = label.size(); n < 14; ++n) out << ' ';
  out << text << '\n';
}

std::string moduleLine(const Vem::VemType& type) {
  const Vem::RegisteredModule* m = Vem::Registry::moduleByDescriptor(type.module());
  std::string name = m != nullptr && m->name[0] != '\0' ? m->name : "(unnamed module)";
  return name + ", index " + std::to_string(type.index());
}

// The base line of a type record: what it derives from, or the integer an enumeration is held in.
void writeBase(std::ostream& out, const Vem::VemType& type) {
  int16_t base = type.record().baseType;
  if (base == Vem::BuiltinType::u8 || base == Vem::BuiltinType::u32 || type.isEnumeration()) {
    line(out, "held in", type.refName(base));
  } else if (base == Vem::BuiltinType::none) {
    line(out, "base", "none");
  } else {
    line(out, "base", type.refName(base));
  }
}

void writeEntryPoints(std::ostream& out, const Vem::VemType& type) {
  const Vem::ImplEntry& impl = type.impl();
  std::string points;
  if (impl.newEntityForDir) appendWord(points, "new entity in directory");
  if (impl.attrLogHandlers) appendWord(points, "attribute-log handlers");
  if (impl.methods) appendWord(points, type.isEntity() ? "entity-pointer methods" : "value methods");
  if (impl.constructFromCtorArgs) appendWord(points, "construct from arguments");
  if (impl.attributeOp) appendWord(points, "attribute operation");
  if (impl.iterator) appendWord(points, "iterator");
  line(out, "entry points", points.empty() ? "none" : points);
}

void writeMember(std::ostream& out, const Vem::VemType& type, const Vem::MemberRecord& m) {
  const std::string_view kind = memberKind(m.flagsA);
  out << "member " << m.attributeId << ' ' << type.memberName(m) << ": " << kind << '\n';
  std::string a = flagsAWords(m.flagsA);
  std::string b = flagsBWords(m.flagsB);
  line(out, "flags A", a.empty() ? hex(m.flagsA, 4) : hex(m.flagsA, 4) + "  " + a);
  line(out, "flags B", b.empty() ? hex(m.flagsB, 4) : hex(m.flagsB, 4) + "  " + b);
  if (has(m.flagsA, Vem::MemberFlagsA::enumerator)) {
    line(out, "code", std::to_string(m.extra));
    return;
  }
  if (has(m.flagsA, Vem::MemberFlagsA::method)) {
    line(out, "returns", type.refName(m.type));
    line(out, "parameters", paramList(type, m.firstParam));
    return;
  }
  line(out, "type", type.refName(m.type));
  if (has(m.flagsA, Vem::MemberFlagsA::collection)) {
    line(out, "key type", m.keyType == Vem::BuiltinType::none ? "none (sequence or set)" : type.refName(m.keyType));
    // Values carrying their own key name the key field here.
    if (m.extra != 0) line(out, "key field", type.module()->memberNames + m.extra);
  }
}

}  // namespace

std::string hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, static_cast<unsigned>(value));
  return text;
}

std::string kindName(uint8_t kind) {
  std::string name;
  switch (kind & 0x7f) {
    case Vem::TypeKind::value: name = "value"; break;
    case Vem::TypeKind::enumeration: name = "enumeration"; break;
    // Entities are polymorphic by kind: their kind byte already carries the polymorphic bit.
    case Vem::TypeKind::entity: name = "entity"; break;
    case Vem::TypeKind::value | Vem::TypeKind::polymorphic: name = "value+polymorphic"; break;
    default: return "kind " + hex(kind, 2);
  }
  if (kind & Vem::TypeKind::protobufForm) name += "+protobuf";
  return name;
}

std::string flagsAWords(uint16_t flagsA) {
  // One bit means "constant" on data and "static" on methods.
  std::string words = spell(flagsA, flagsAWordTable, Vem::MemberFlagsA::constantOrStatic);
  if (has(flagsA, Vem::MemberFlagsA::constantOrStatic))
    appendWord(words, has(flagsA, Vem::MemberFlagsA::method) ? "static" : "constant");
  return words;
}

std::string flagsBWords(uint16_t flagsB) { return spell(flagsB, flagsBWordTable, 0); }

std::string_view memberKind(uint16_t flagsA) {
  for (const KindOfFlags& k : knownCombinations)
    if (k.flagsA == flagsA) return k.kind;
  using namespace Vem::MemberFlagsA;
  if (has(flagsA, enumerator)) return "enumerator";
  if (has(flagsA, method)) return has(flagsA, constantOrStatic) ? "static method" : "method";
  if (has(flagsA, collection)) return "collection";
  if (has(flagsA, constantOrStatic)) return "constant";
  if (has(flagsA, entityAttribute)) return "attribute";
  if (has(flagsA, stored)) return has(flagsA, mutableSetter) ? "mutable" : "field";
  return "other";
}

std::string paramList(const Vem::VemType& type, uint16_t firstParam) {
  std::string list;
  for (const Vem::ParamRecord& p : type.params(firstParam)) {
    std::string param(type.paramName(p));
    param += ": ";
    param += type.paramTypeName(p);
    appendWord(list, param);
  }
  return list.empty() ? "none" : list;
}

void describe(std::ostream& out, const Vem::VemType& type) {
  const Vem::TypeRecord& r = type.record();
  out << "type " << type.name() << '\n';
  line(out, "module", moduleLine(type));
  line(out, "kind", kindName(r.kind) + " (" + hex(r.kind, 2) + ")");
  line(out, "layout", "size " + std::to_string(r.size()) + ", alignment " + std::to_string(r.alignment()));
  writeBase(out, type);
  line(out, "constructor", paramList(type, r.firstParam));
  writeEntryPoints(out, type);
  line(out, "members", std::to_string(r.memberCount));
  for (const Vem::MemberRecord& m : type.members()) writeMember(out, type, m);
}

}  // namespace vemsh
