// What the fuzz targets and the seed writer share: every registered type, a canonical dump of a mirror
// that checks the mirror's consistency on the way, and a generic filler that gives an entity of any
// type some state (for seeds).
#pragma once

#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/Reflect.h>
#include <Vem/VemType.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

// Reports a broken invariant and aborts, so that the fuzzing engine keeps the input.
[[noreturn]] void fail(const std::string& what);
inline void check(bool ok, const std::string& what) {
  if (!ok) fail(what);
}

// Every type of every registered module, in registration order.
std::vector<Vem::VemType> registeredTypes();
// The built-in types, then every registered value and enumeration type: everything with a text form.
std::vector<Vem::TypeHandle> textTypes();
// Entity types that can be built from a name alone.
std::vector<Vem::VemType> constructibleEntityTypes();

// An entity and everything it instantiates, as text with collections in sorted key order, so that two
// mirrors of the same state compare equal whatever their bucket counts. On the way it checks what must
// hold after any input: each collection's count equals the entries its walk visits, each child's parent
// is the entity holding it, and (given a demuxer) each entity reached is bound to a stream id. Entities
// reached are appended to `reached` parents first.
std::string dump(const Lumo::Ptr<Vem::Entity>& entity, const Vem::NboAttrLog::Demuxer* demuxer,
                 std::vector<Lumo::Ptr<Vem::Entity>>* reached);

// Gives an entity a value in each scalar and `entries` entries in each collection, children filled in
// turn down to `depth`; varies with `seed`. Values are built from text or defaults, through the
// registry only.
void fill(Vem::GenericEntity& entity, int entries, int depth, uint32_t seed);
// A value of the type that differs from its default where text can say one generically.
Vem::AnyValue sample(const Vem::TypeHandle& type, uint32_t seed);

// Drops every pointer in `reached`, checking that each is the last user of its entity once everything
// that owns or files it is gone: nothing else still holds a mirror.
void releaseChecked(std::vector<Lumo::Ptr<Vem::Entity>>& reached);

}  // namespace Fuzz
