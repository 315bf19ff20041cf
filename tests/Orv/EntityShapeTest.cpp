// Entity shapes beyond names: entities keyed by another attribute, values carrying their own key, sets,
// ordered maps and singletons, their registration, and methods called through the generic interface.
// (Children reconciled on re-creation and filed references are checked on the library's own types, in
// FlowEndPointTest and PortStatusMirrorTest.)
#include <modules/VemTestTypes.h>

#include <Lumo/Descriptors.h>
#include <Vem/GenericIfEntity.h>
#include <Vem/GenericIfOps.h>
#include <Vem/Registry.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace VemTest;
using Pelix::IntfId;

using Log = OrvTest::AnnouncementLines;
using Lines = std::vector<std::string>;

TEST(EntityShape, SingletonIsKeptUnderItsKeyAndReplacedUnderAnother) {
  auto dir = dirFactory(Lumo::String("d"));
  Log log(*dir);
  auto single = dir->singleIs(IntfId("Ethernet1"), 5);
  EXPECT_EQ(single->parent(), dir.get());
  EXPECT_EQ(dir->singleIs(IntfId("Ethernet1"), 6), single);  // same key: kept, settable argument applied
  EXPECT_EQ(single->speed(), 6u);
  auto replaced = dir->singleIs(IntfId("Ethernet2"), 7);  // another key: a new child replaces it
  EXPECT_NE(replaced, single);
  EXPECT_EQ(single->parent(), nullptr);
  EXPECT_EQ(replaced->parent(), dir.get());
  EXPECT_EQ(dir->single()->intfId(), IntfId("Ethernet2"));
  EXPECT_EQ(log.lines, (Lines{"263", "263 old"}));
  EXPECT_EQ(dir->singleDel(), replaced);
  EXPECT_EQ(replaced->parent(), nullptr);
  EXPECT_EQ(dir->single(), nullptr);
  EXPECT_EQ(dir->singleDel(), nullptr);
}

TEST(EntityShape, ValuesCarryingTheirKeySetsAndOrderedMaps) {
  auto dir = dirFactory(Lumo::String("d"));
  Log log(*dir);
  dir->boundedIs(Bounded(3, 10));
  dir->boundedIs(Bounded(3, 10));  // equal: nothing
  dir->boundedIs(Bounded(3, 11));  // same key, another value: replaced
  EXPECT_EQ(dir->bounded(3), Bounded(3, 11));
  EXPECT_EQ(dir->bounded().size(), 1u);
  dir->flagsIs(7);
  dir->flagsIs(7);
  EXPECT_TRUE(dir->flagsHas(7));
  EXPECT_TRUE(dir->flagsDel(7));
  EXPECT_FALSE(dir->flagsDel(7));
  for (uint32_t k : {5u, 1u, 3u}) dir->sortedIs(k, Lumo::String(std::to_string(k)));
  std::vector<uint32_t> order;
  for (auto it = dir->sorted().begin(); it.valid(); it.next()) order.push_back(it.key());
  EXPECT_EQ(order, (std::vector<uint32_t>{1, 3, 5}));
  EXPECT_EQ(log.lines, (Lines{"260 key", "260 key old", "261 key", "261 key old", "262 key", "262 key", "262 key"}));
}

// What a tool needs to file a child or a value under its key: the key attribute's name and type, and the
// child's constructor arguments. (The member flags come from one table in the compiler.)
TEST(EntityShape, KeyedCollectionsNameTheirKeyAttribute) {
  auto dir = Dir::vemType();
  auto keyName = [&](const char* member) { return std::string(dir.module()->memberNames + dir.memberByName(member)->extra); };
  const Vem::MemberRecord* children = dir.memberByName("port");
  EXPECT_EQ(dir.refName(children->keyType), "Pelix::IntfId");
  EXPECT_EQ(keyName("port"), "intfId");
  auto args = dir.params(children->firstParam);
  ASSERT_EQ(args.size(), 2u);
  EXPECT_EQ(dir.paramName(args[1]), "speed");
  EXPECT_EQ(keyName("bounded"), "value");
  EXPECT_EQ(dir.memberByName("bounded")->keyType, -7);
}

template <class Object>
int callThroughInterface(const Vem::VemType& t, Object* object, const char* member, void* result, const void* a1,
                         const void* a2) {
  const Vem::MemberRecord* m = t.memberByName(member);
  const Lumo::FieldDescriptor field = t.fieldOf(*m);
  return t.impl().attributeOp(result, object, &field, Vem::OpCode::get, a1, a2);
}

TEST(EntityShape, MethodsAreCalledThroughTheGenericInterface) {
  auto dir = dirFactory(Lumo::String("d"));
  dir->portIs(IntfId("Ethernet1"), 1);
  Lumo::String prefix("ab"), result;
  uint32_t times = 2;
  EXPECT_EQ(callThroughInterface(Dir::vemType(), dir.get(), "describe", &result, &prefix, &times), 0);
  EXPECT_EQ(result, "abab1");

  Everything v;
  v.countIs(5);
  uint32_t factor = 3;
  Color by = Color::blue;
  uint64_t scaled = 0;
  EXPECT_EQ(callThroughInterface(Everything::vemType(), &v, "scaled", &scaled, &factor, &by), 0);
  EXPECT_EQ(scaled, 17u);
  uint32_t digest = 0;
  EXPECT_EQ(callThroughInterface(Everything::vemType(), &v, "digest", &digest, nullptr, nullptr), 0);
  EXPECT_EQ(digest, v.digest());
}

TEST(EntityShape, EntityArgumentsArePassedAsCheckedReferences) {
  auto dir = dirFactory(Lumo::String("d"));
  auto port = dir->portIs(IntfId("Ethernet1"), 25);
  const Vem::VemType t = Dir::vemType();
  const Vem::MemberRecord* m = t.memberByName("speedTimes");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(t.paramTypeName(t.params(m->firstParam)[0]), "VemTest::Port");

  // A tool holds a reference to an entity of a definition as Lumo::Ptr<Vem::Entity>.
  Lumo::Ptr<Vem::Entity> arg(port);
  uint32_t times = 3, result = 0;
  EXPECT_EQ(callThroughInterface(t, dir.get(), "speedTimes", &result, &arg, &times), 0);
  EXPECT_EQ(result, 75u);
  Lumo::Ptr<Vem::Entity> none;
  EXPECT_EQ(callThroughInterface(t, dir.get(), "speedTimes", &result, &none, &times), 0);
  EXPECT_EQ(result, 0u);  // null is passed on
  // Another entity type, a missing argument or another code is refused before the method runs.
  Lumo::Ptr<Vem::Entity> leaf(dir->leafIs(Lumo::String("l")));
  result = 99;
  EXPECT_EQ(callThroughInterface(t, dir.get(), "speedTimes", &result, &leaf, &times), 1);
  EXPECT_EQ(callThroughInterface(t, dir.get(), "speedTimes", &result, &arg, nullptr), 1);
  EXPECT_EQ(callThroughInterface(t, dir.get(), "speedTimes", &result, nullptr, &times), 1);
  const Lumo::FieldDescriptor field = t.fieldOf(*m);
  EXPECT_EQ(t.impl().attributeOp(&result, dir.get(), &field, Vem::OpCode::set, &arg, &times), 1);
  EXPECT_EQ(result, 99u);

  // The same on a value type's method.
  Everything v;
  v.countIs(5);
  EXPECT_EQ(callThroughInterface(Everything::vemType(), &v, "speedOf", &result, &arg, nullptr), 0);
  EXPECT_EQ(result, 30u);
  EXPECT_EQ(callThroughInterface(Everything::vemType(), &v, "speedOf", &result, &leaf, nullptr), 1);
}

TEST(EntityShape, NewEntityForDirCreatesByNameInsideADirectory) {
  auto leafType = Leaf::vemType();
  ASSERT_NE(leafType.impl().newEntityForDir, nullptr);
  EXPECT_EQ(Port::vemType().impl().newEntityForDir, nullptr);  // not a top-level type built from a name
  Lumo::String name("l1");
  auto alone = Lumo::Ptr<Vem::Entity>::adopt(static_cast<Vem::Entity*>(leafType.impl().newEntityForDir(&name, nullptr)));
  ASSERT_TRUE(alone);
  EXPECT_EQ(alone->typeData(), leafType);
  EXPECT_EQ(alone->useCount(), 1u);

  auto dir = dirFactory(Lumo::String("d"));
  auto inside =
      Lumo::Ptr<Vem::Entity>::adopt(static_cast<Vem::Entity*>(leafType.impl().newEntityForDir(&name, dir.get())));
  ASSERT_TRUE(inside);
  EXPECT_EQ(dir->leaf(Lumo::String("l1")).get(), inside.get());
  EXPECT_EQ(inside->parent(), dir.get());
  EXPECT_EQ(inside->useCount(), 2u);  // the directory's and ours
  // A directory with no collection of that type makes nothing.
  auto port = PortIs(IntfId("Ethernet1"), 1);
  EXPECT_EQ(leafType.impl().newEntityForDir(&name, port.get()), nullptr);
  // The type system's own module registers the entity base, whose values are entity references.
  auto base = Vem::Registry::typeByName("Vem::Entity");
  ASSERT_TRUE(base.has_value());
  EXPECT_EQ(base->impl().methods, &Vem::GenericIfImpl::GenericIfPtrInterfaceMethods<Vem::Entity>::table);
}

}  // namespace
