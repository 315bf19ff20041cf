// Port status: the directory files references to port statuses made elsewhere: null refused with the
// attribute named, the same entity changes nothing, another one of the same interface replaces it, and
// removal drops only the directory's reference.
#include <Orv/OrvInterfaceTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace OrvTypes;
using Pelix::IntfId;

const IntfId et1("Ethernet1"), et2("Ethernet2");

struct Seen : Lumo::Subscriber {
  explicit Seen(Vem::Entity& e) : entity(e) { e.publisher().subscriberAdd(this); }
  ~Seen() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void*, const void* old) override {
    ids.push_back(id);
    olds.push_back(old);
  }
  Vem::Entity& entity;
  std::vector<uint16_t> ids;
  std::vector<const void*> olds;
};

TEST(OrvPortStatusDir, FilesReferencesWithoutOwningThem) {
  auto dir = orvPortStatusDirFactory(Lumo::String("ports"));
  auto first = OrvPortStatusIs(et1);
  Seen seen(*dir);

  try {
    dir->portStatusIs(Lumo::Ptr<OrvPortStatus>());
    ADD_FAILURE() << "a null reference was filed";
  } catch (const Vem::EntityError& e) {
    EXPECT_NE(std::string(e.what()).find("attribute 258"), std::string::npos) << e.what();
  }
  EXPECT_EQ(dir->portStatus().size(), 0u);

  dir->portStatusIs(first);
  EXPECT_EQ(first->useCount(), 2u);  // ours and the directory's
  EXPECT_EQ(first->parent(), nullptr);  // filed, not adopted
  dir->portStatusIs(first);  // the same entity: nothing
  EXPECT_EQ(seen.ids.size(), 1u);
  EXPECT_EQ(seen.olds.back(), nullptr);

  auto replacement = OrvPortStatusIs(et1);  // another entity of the same interface replaces it
  dir->portStatusIs(replacement);
  EXPECT_EQ(dir->portStatus(et1), replacement);
  EXPECT_EQ(first->useCount(), 1u);
  ASSERT_EQ(seen.ids.size(), 2u);
  ASSERT_NE(seen.olds.back(), nullptr);

  dir->portStatusIs(OrvPortStatusIs(et2));
  EXPECT_EQ(dir->portStatusDel(et1), replacement);
  EXPECT_EQ(replacement->useCount(), 1u);  // the directory's reference only was dropped
  replacement->linkStatusIs(Interface::LinkStatus::linkDown);  // and it lives on
  EXPECT_EQ(dir->portStatusDel(et1), nullptr);
  dir->portStatusDelAll();
  EXPECT_EQ(dir->portStatus().size(), 0u);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258, 258, 258, 258, 258}));
}

}  // namespace
