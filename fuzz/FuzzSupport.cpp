#include "FuzzSupport.h"

#include <Vem/GenericIfOps.h>
#include <Vem/Registry.h>

#include <cstdio>
#include <cstdlib>
#include <map>

namespace Fuzz {

using Vem::AnyValue;
using Vem::GenericEntity;
namespace MemberFlagsA = Vem::MemberFlagsA;
using Vem::MemberRecord;
using Vem::TypeHandle;
using Vem::VemType;

void fail(const std::string& what) {
  std::fprintf(stderr, "fuzz invariant broken: %s\n", what.c_str());
  std::abort();
}

std::vector<VemType> registeredTypes() {
  std::vector<VemType> out;
  for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) {
    const Vem::VemModule* d = Vem::Registry::module(i).descriptor;
    for (uint16_t t = 0; t < d->typeCount; ++t) out.emplace_back(d, t);
  }
  return out;
}

std::vector<TypeHandle> textTypes() {
  std::vector<TypeHandle> out;
  for (const char* b : {"U8", "U16", "U32", "S32", "U64", "bool", "Vem::String", "Vem::Seconds"})
    out.push_back(TypeHandle::byName(b));
  for (const VemType& t : registeredTypes())
    if (!t.isEntity() && t.impl().methods != nullptr) out.emplace_back(t);
  return out;
}

std::vector<VemType> constructibleEntityTypes() {
  std::vector<VemType> out;
  for (const VemType& t : registeredTypes()) {
    if (!t.isEntity() || t.impl().constructFromCtorArgs == nullptr) continue;
    auto params = t.ctorParams();
    if (params.size() == 1 && t.paramTypeName(params[0]) == "Vem::String") out.push_back(t);
  }
  return out;
}

namespace {

bool holdsEntities(const MemberRecord& m) { return (m.flagsA & MemberFlagsA::holdsEntities) != 0; }
bool instantiating(const MemberRecord& m) { return (m.flagsA & MemberFlagsA::instantiating) != 0; }
// Stored state of an entity: what the log carries and a mirror holds.
bool isState(const MemberRecord& m) {
  return m.attributeId != 154 && (m.flagsA & MemberFlagsA::stored) && (m.flagsA & MemberFlagsA::readable) &&
         !(m.flagsA & (MemberFlagsA::method | MemberFlagsA::constantOrStatic | MemberFlagsA::enumerator));
}

struct Dumper {
  const Vem::NboAttrLog::Demuxer* demuxer;
  std::vector<Lumo::Ptr<Vem::Entity>>* reached;

  std::string where(const GenericEntity& e, const MemberRecord& m) const {
    return std::string(e.type().name()) + " " + e.name().stdString() + "::" + std::string(e.type().memberName(m));
  }

  std::string child(const GenericEntity& owner, const MemberRecord& m, const Lumo::Ptr<Vem::Entity>& c,
                    const std::string& indent) {
    if (!c) return "null";
    if (!instantiating(m)) return "ref " + GenericEntity(c).name().stdString();
    check(c->parent() == owner.entity().get(), where(owner, m) + ": a child's parent is not its owner");
    return "\n" + entity(c, indent + "  ");
  }

  std::string entity(const Lumo::Ptr<Vem::Entity>& ptr, const std::string& indent) {
    GenericEntity e(ptr);
    if (demuxer != nullptr) {
      const Vem::EntityId id = demuxer->idOf(ptr.get());
      check(bool(id) && demuxer->entityOf(id) == ptr.get(),
            std::string(e.type().name()) + " " + e.name().stdString() + ": a mirror bound to no stream id");
    }
    if (reached != nullptr) reached->push_back(ptr);
    std::string s = indent + std::string(e.type().name()) + " " + e.name().stdString() + "\n";
    for (const MemberRecord& m : e.type().members()) {
      if (!isState(m)) continue;
      const std::string name(e.type().memberName(m));
      s += indent + " " + name + ":";
      if (GenericEntity::isCollection(m)) {
        const uint32_t count = e.count(name);
        std::map<std::string, std::string> entries;
        uint32_t walked = 0;
        e.forEach(name, [&](const AnyValue& k, const AnyValue& v) {
          ++walked;
          const std::string key = k.text().stdString();
          std::string value;
          if (v.type().isEntity())
            value = child(e, m, v.as<Lumo::Ptr<Vem::Entity>>(), indent + " ");
          else
            value = v.text().stdString();
          check(entries.emplace(key, value).second, where(e, m) + ": the walk visits key " + key + " twice");
        });
        check(walked == count, where(e, m) + ": count " + std::to_string(count) + " but the walk visits " +
                                   std::to_string(walked));
        for (auto& [k, v] : entries) s += " [" + k + "]=" + v;
      } else {
        AnyValue v = e.get(name);
        s += " " + (v.type().isEntity() ? child(e, m, v.as<Lumo::Ptr<Vem::Entity>>(), indent + " ")
                                        : v.text().stdString());
      }
      s += "\n";
    }
    return s;
  }
};

}  // namespace

std::string dump(const Lumo::Ptr<Vem::Entity>& entity, const Vem::NboAttrLog::Demuxer* demuxer,
                 std::vector<Lumo::Ptr<Vem::Entity>>* reached) {
  Dumper d{demuxer, reached};
  return d.entity(entity, "");
}

void releaseChecked(std::vector<Lumo::Ptr<Vem::Entity>>& reached) {
  // A mirror filed by reference in another goes with that other: let go, round by round, of what only
  // our list holds; whatever is left then is held from elsewhere.
  for (bool progress = true; progress;) {
    progress = false;
    for (auto& p : reached) {
      if (p && p->useCount() == 1) {
        p = nullptr;
        progress = true;
      }
    }
  }
  for (auto& p : reached)
    if (p)
      check(false, std::string(p->typeData().name()) + ": " + std::to_string(p->useCount()) +
                       " users left once its owners are gone");
  reached.clear();
}

AnyValue sample(const TypeHandle& t, uint32_t seed) {
  const std::string_view n = t.name();
  if (n == "bool") return AnyValue(t, seed % 2 ? "true" : "false");
  if (n == "U8" || n == "U16" || n == "U32" || n == "U64" || n == "S32")
    return AnyValue(t, std::to_string(1 + seed % 100));
  if (n == "Vem::String") return AnyValue(t, "\"s" + std::to_string(seed) + (seed % 3 ? "" : "\\n\\\"x") + "\"");
  if (n == "Vem::Seconds") return AnyValue(t, std::to_string(seed % 50) + ".5");
  if (!t.type().valid()) return AnyValue(t);
  const VemType& type = t.type();
  if (type.isEnumeration()) {
    auto members = type.members();
    return AnyValue(t, type.memberName(members[seed % members.size()]));
  }
  // A value type: its fields in text form, each a sample of its own type; the default where the type's
  // own text form or constraints refuse that.
  std::string text = std::string(type.name()) + "(";
  bool first = true;
  for (const MemberRecord& m : type.members()) {
    if (GenericEntity::isCollection(m)) return AnyValue(t);
    if (!(m.flagsA & MemberFlagsA::stored) || !(m.flagsA & MemberFlagsA::readable) ||
        (m.flagsA & (MemberFlagsA::method | MemberFlagsA::constantOrStatic)))
      continue;
    TypeHandle mt = TypeHandle::ofReference(type, m.type);
    if (!mt.valid() || mt.isEntity()) return AnyValue(t);
    text += (first ? "" : ", ") + std::string(type.memberName(m)) + "=" +
            sample(mt, seed * 31 + m.attributeId).text().stdString();
    first = false;
  }
  text += ")";
  try {
    return AnyValue(t, text);
  } catch (const std::exception&) {
    return AnyValue(t);
  }
}

void fill(GenericEntity& e, int entries, int depth, uint32_t seed) {
  const VemType t = e.type();
  for (const MemberRecord& m : t.members()) {
    if (!isState(m) || !(m.flagsA & MemberFlagsA::mutableSetter)) continue;
    const std::string name(t.memberName(m));
    try {
      if (!GenericEntity::isCollection(m)) {
        if (!holdsEntities(m)) e.set(name, sample(e.valueType(m), seed + m.attributeId));
        continue;
      }
      if (holdsEntities(m) && !instantiating(m)) continue;  // references are not carried
      for (int i = 0; i < entries; ++i) {
        AnyValue key = sample(e.keyType(m), seed + 7 * i + m.attributeId);
        if (instantiating(m)) {
          e.create(name, key);
          if (depth > 0) {
            GenericEntity c(e.lookup(name, key).as<Lumo::Ptr<Vem::Entity>>());
            fill(c, entries, depth - 1, seed * 3 + i);
          }
        } else if (m.flagsB & Vem::MemberFlagsB::set) {
          e.create(name, key);
        } else {
          e.set(name, key, sample(e.valueType(m), seed + 13 * i));
        }
      }
    } catch (const std::exception&) {
      // A member the generic interface cannot fill from text (a hand-built child, a refused constraint):
      // the seed simply leaves it out.
    }
  }
}

}  // namespace Fuzz
