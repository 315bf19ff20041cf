// Every registered type and every member, reached only through the registry and the generic entry
// points, as a tool that knows no module's headers would: values are built, printed, parsed, compared and
// read member by member; entities are created by name, their attributes set and read, their collections
// filled, walked and emptied. New modules are covered as soon as they are linked into the library.
#include <Vem/GenericIfOps.h>
#include <Vem/Reflect.h>
#include <Vem/Registry.h>

#include <Lumo/Descriptors.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <set>
#include <string>
#include <vector>

namespace {

using Vem::AnyValue;
using Vem::GenericEntity;
using Vem::MemberRecord;
using Vem::TypeHandle;
using Vem::VemType;

void loadLibrary() {
  static void* lib = dlopen(ORVTYPES_LIBRARY, RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(lib, nullptr) << dlerror();
}

template <class Fn>
void forEachType(Fn&& fn) {
  for (std::size_t i = 0; i < Vem::Registry::moduleCount(); ++i) {
    const Vem::VemModule* d = Vem::Registry::module(i).descriptor;
    for (uint16_t t = 0; t < d->typeCount; ++t) fn(VemType(d, t));
  }
}

// A value of the type that differs from its default where the type lets us say one generically.
AnyValue sample(const TypeHandle& t) {
  std::string_view n = t.name();
  if (n == "bool") return AnyValue(t, "true");
  if (n == "U8" || n == "U16" || n == "U32" || n == "U64" || n == "S32") return AnyValue(t, "7");
  if (n == "Vem::String") return AnyValue(t, "\"sample, with \\\"quotes\\\"\"");
  if (n == "Vem::Seconds") return AnyValue(t, "1.5");
  if (t.type().valid() && t.type().isEnumeration()) {
    auto members = t.type().members();
    return AnyValue(t, t.type().memberName(members.back()));
  }
  return AnyValue(t);
}

// A value holding a collection, itself or in a stored field of a value type.
bool holdsCollection(const VemType& t) {
  for (const MemberRecord& m : t.members()) {
    if (m.flagsA == 0x9c01) return true;
    if ((m.flagsA & Vem::MemberFlagsA::stored) && m.type >= 0) {
      VemType f = t.resolve(m.type);
      if (f.valid() && f.isValue() && f != t && holdsCollection(f)) return true;
    }
  }
  return false;
}

bool equalThroughInterface(const AnyValue& a, const AnyValue& b) {
  if (!a.type().type().valid()) return a.text() == b.text();
  bool eq = false;
  int rc = a.type().type().impl().attributeOp(&eq, const_cast<void*>(a.data()), nullptr, Vem::OpCode::equal, b.data(), nullptr);
  EXPECT_EQ(rc, 0);
  return eq;
}

TEST(GenericInterfaceWalk, EveryValueTypeBuildsPrintsParsesComparesAndReadsItsMembers) {
  loadLibrary();
  int types = 0, members = 0;
  forEachType([&](VemType t) {
    if (t.isEntity()) return;
    SCOPED_TRACE(std::string(t.name()));
    ++types;
    ASSERT_NE(t.impl().methods, nullptr);
    ASSERT_NE(t.impl().attributeOp, nullptr);
    TypeHandle h(t);
    // An enumeration starts from its first enumerator: code 0 need not name one.
    AnyValue def = t.isEnumeration() ? AnyValue(h, t.memberName(t.members().front())) : AnyValue(h);
    Lumo::String text = def.text();
    if (!t.isEnumeration() && holdsCollection(t)) {
      // Values holding a collection print but refuse to be built from text.
      try {
        AnyValue refused(h, text.view());
        ADD_FAILURE() << "parsed a value that holds a collection";
      } catch (const Vem::RangeException& e) {
        EXPECT_NE(std::string(e.what()).find("No String constructor for "), std::string::npos);
      }
      return;
    }
    // Types whose own text form cannot carry their default value (an ACL key with an empty name).
    static const std::set<std::string> defaultNotParsable = {"Orv::AclKey", "Orv::AclKeyWithVrf"};
    if (defaultNotParsable.count(std::string(t.name()))) {
      EXPECT_THROW(AnyValue(h, text.view()), Vem::RangeException);
      return;
    }
    AnyValue back(h, text.view());
    EXPECT_EQ(back.text(), text);
    EXPECT_TRUE(equalThroughInterface(def, back));
    bool truth = true, less = true;
    EXPECT_EQ(t.impl().attributeOp(&truth, def.data(), nullptr, Vem::OpCode::truth, nullptr, nullptr), 0);
    if (t.isEnumeration())
      EXPECT_EQ(truth, t.members().front().extra != 0);
    else
      EXPECT_FALSE(truth) << "a default value is false";
    // Types declared without an order refuse the comparison.
    static const std::set<std::string> unordered = {"Orv::ParityEvent", "Orv::OrvParityEvent"};
    if (unordered.count(std::string(t.name()))) {
      EXPECT_EQ(t.impl().attributeOp(&less, def.data(), nullptr, Vem::OpCode::less, back.data(), nullptr), 1);
    } else {
      EXPECT_EQ(t.impl().attributeOp(&less, def.data(), nullptr, Vem::OpCode::less, back.data(), nullptr), 0);
      EXPECT_FALSE(less) << "equal values are not less in either order";
    }
    EXPECT_EQ(t.impl().attributeOp(&less, def.data(), nullptr, 99, nullptr, nullptr), 1);
    if (Vem::GenericIfImpl::valueMethods(t)->hash) {
      EXPECT_EQ(def.hash(), back.hash());
    } else {
      EXPECT_THROW(def.hash(), Vem::ReflectError);
    }
    // Every readable member reads through code 0; any other code does not apply.
    for (const MemberRecord& m : t.members()) {
      auto field = t.fieldOf(m);
      bool readable = (m.flagsA & Vem::MemberFlagsA::readable) && !(m.flagsA & 0x00ff);
      if (!readable || t.isEnumeration()) continue;
      ++members;
      TypeHandle mt = TypeHandle::ofReference(t, m.type);
      ASSERT_TRUE(mt.valid()) << t.memberName(m);
      AnyValue out(mt);
      EXPECT_EQ(t.impl().attributeOp(out.data(), def.data(), &field, Vem::OpCode::get, nullptr, nullptr), 0) << t.memberName(m);
      EXPECT_EQ(t.impl().attributeOp(out.data(), def.data(), &field, Vem::OpCode::set, nullptr, nullptr), 1) << t.memberName(m);
    }
  });
  EXPECT_GT(types, 0);
  EXPECT_GT(members, 0);
}

void walkEntity(GenericEntity& e, int depth, int& attributes) {
  VemType t = e.type();
  SCOPED_TRACE(std::string(t.name()));
  for (const MemberRecord& m : t.members()) {
    std::string name(t.memberName(m));
    SCOPED_TRACE(name);
    if (m.attributeId == 154) continue;
    ++attributes;
    uint16_t a = m.flagsA;
    if (a == 0xdc00) {
      AnyValue v = sample(e.valueType(m));
      e.set(name, v);
      EXPECT_TRUE(equalThroughInterface(e.get(name), v));
    } else if (a == 0xdc01 || a == 0xdd21) {
      AnyValue key = sample(e.keyType(m));
      uint32_t version = e.version(name);
      if (a == 0xdd21 || (m.flagsB & Vem::MemberFlagsB::set))
        e.create(name, key);
      else
        e.set(name, key, sample(e.valueType(m)));
      EXPECT_EQ(e.count(name), 1u);
      EXPECT_TRUE(e.contains(name, key));
      EXPECT_NE(e.version(name), version);
      int seen = 0;
      e.forEach(name, [&](const AnyValue& k, const AnyValue&) {
        ++seen;
        EXPECT_EQ(k.text(), key.text());
      });
      EXPECT_EQ(seen, 1);
      AnyValue found = e.lookup(name, key);
      if (a == 0xdd21) {
        auto child = found.as<Lumo::Ptr<Vem::Entity>>();
        ASSERT_TRUE(child);
        EXPECT_EQ(child->parent(), e.entity().get());
        if (depth < 3) {
          GenericEntity c(child);
          walkEntity(c, depth + 1, attributes);
        }
      }
      version = e.version(name);
      e.del(name, key);
      EXPECT_EQ(e.count(name), 0u);
      EXPECT_FALSE(e.contains(name, key));
      EXPECT_NE(e.version(name), version);
    }
  }
}

TEST(GenericInterfaceWalk, EveryConstructibleEntityTypeIsBuiltByNameAndEveryAttributeWorks) {
  loadLibrary();
  int entities = 0, attributes = 0;
  forEachType([&](VemType t) {
    if (!t.isEntity() || t.impl().constructFromCtorArgs == nullptr) return;
    ++entities;
    auto params = t.ctorParams();
    if (params.size() == 1 && t.paramTypeName(params[0]) == "Vem::String") {
      GenericEntity e = GenericEntity::create(t.name(), Lumo::String("walked"));
      EXPECT_EQ(e.type(), t);
      EXPECT_EQ(e.name(), "walked");
      walkEntity(e, 0, attributes);
      return;
    }
    // Built from its constructor attributes (a key that is no name): a sample of each parameter's type.
    std::vector<AnyValue> args;
    std::vector<const void*> pointers;
    for (const auto& p : params) args.emplace_back(sample(TypeHandle::byName(t.paramTypeName(p))));
    for (const AnyValue& a : args) pointers.push_back(a.data());
    alignas(Lumo::Ptr<Vem::Entity>) unsigned char storage[sizeof(Lumo::Ptr<Vem::Entity>)];
    t.impl().constructFromCtorArgs(storage, pointers.data());
    auto* made = std::launder(reinterpret_cast<Lumo::Ptr<Vem::Entity>*>(storage));
    GenericEntity e(std::move(*made));
    made->~Ptr();
    EXPECT_EQ(e.type(), t);
    walkEntity(e, 0, attributes);
  });
  EXPECT_GT(entities, 0);
  EXPECT_GT(attributes, 0);
}

TEST(GenericInterfaceWalk, ResultCodesForWrongMembersAndOperations) {
  loadLibrary();
  GenericEntity dir = GenericEntity::create("Orv::PortGroupDir", Lumo::String("d"));
  VemType t = dir.type();
  // A member of another type is no member of this one.
  VemType list = Vem::Registry::typeByName("Orv::PortList").value();
  auto foreign = list.fieldOf(*list.memberByName("ports"));
  uint32_t n = 0;
  EXPECT_EQ(t.impl().attributeOp(&n, dir.entity().get(), &foreign, Vem::OpCode::count, nullptr, nullptr), 2);
  // nameString answers only code 10; scalars do not count; collections refuse codes above 5.
  auto nameField = t.fieldOf(*t.memberById(154));
  Lumo::String s;
  EXPECT_EQ(t.impl().attributeOp(&s, dir.entity().get(), &nameField, Vem::OpCode::get, nullptr, nullptr), 1);
  EXPECT_THROW(dir.count("generateActivePortsList"), Vem::ReflectError);
  auto groupField = t.fieldOf(*t.memberByName("portGroup"));
  EXPECT_EQ(t.impl().attributeOp(&n, dir.entity().get(), &groupField, Vem::OpCode::truth, nullptr, nullptr), 1);
  EXPECT_THROW(GenericEntity::create("Orv::PortList", Lumo::String("x")), Vem::EntityError);
  EXPECT_THROW(GenericEntity::create("Orv::NoSuchType", Lumo::String("x")), Vem::ReflectError);
}

TEST(GenericInterfaceWalk, IteratorStartsAtTheStartKeyOrWhereTheEngineWouldPlaceIt) {
  loadLibrary();
  GenericEntity config = GenericEntity::create("Orv::PortGroupConfig", Lumo::String("c"));
  TypeHandle str = TypeHandle::byName("Vem::String");
  for (const char* k : {"a", "b", "c", "d"}) config.set("config", AnyValue(str, std::string("\"") + k + "\""), AnyValue(str, "\"v\""));
  using Keys = std::vector<std::string>;
  const auto walkFrom = [&](const AnyValue* start) {
    Keys keys;
    config.forEach("config", [&](const AnyValue& k, const AnyValue&) { keys.push_back(k.text().stdString()); }, start);
    return keys;
  };
  const Keys all = walkFrom(nullptr);
  ASSERT_EQ(all.size(), 4u);
  // From a present key: the whole walk's tail that begins at it. From an absent key: some tail.
  AnyValue start(str, "\"b\"");
  EXPECT_EQ(walkFrom(&start), Keys(std::find(all.begin(), all.end(), "\"b\""), all.end()));
  const AnyValue absent(str, "\"bb\"");
  const Keys fromAbsent = walkFrom(&absent);
  EXPECT_EQ(fromAbsent, Keys(all.end() - static_cast<std::ptrdiff_t>(fromAbsent.size()), all.end()));
  // Deleting through the interface runs the generated deletion: it returns the removed value.
  EXPECT_EQ(config.del("config", start).text(), "\"v\"");
  EXPECT_EQ(config.del("config", start).text(), "\"\"");
}

}  // namespace
