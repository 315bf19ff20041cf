// Port status: the directory files references to port statuses made elsewhere (null refused, the same
// entity changes nothing, another one replaces), setters announce real changes only, kernel interfaces
// keep entries whose value is false; LAG creator directories own their LAG children.
#include <Orv/OrvInterfaceTypes.h>
#include <Orv/OrvLagTypes.h>

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

TEST(OrvPortStatus, DefaultsAndSettersAnnounceOnlyChanges) {
  auto port = OrvPortStatusIs(et1);
  EXPECT_EQ(port->intfName(), et1);
  EXPECT_EQ(port->linkStatus(), Interface::LinkStatus::linkUnknown);
  EXPECT_EQ(port->faultType(), FaultType::none);
  EXPECT_EQ(port->partnerAutonegAdvertisement(), Interface::AutonegAdvertisement());
  EXPECT_EQ(port->autonegResult(), Interface::AutonegState::autonegUnknown);
  Seen seen(*port);
  port->linkStatusIs(Interface::LinkStatus::linkUp);
  port->linkStatusIs(Interface::LinkStatus::linkUp);
  port->faultTypeIs(FaultType::none);
  port->faultTypeIs(FaultType::local);
  port->partnerAutonegAdvertisementIs(Interface::AutonegAdvertisement(0x10, 1, 0));
  port->partnerAutonegAdvertisementIs(Interface::AutonegAdvertisement(0x10, 1, 0));
  port->autonegResultIs(Interface::AutonegState::autonegSucceeded);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{259, 260, 261, 262}));
}

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

TEST(KernelInterfaceStatus, AFalseEntryIsPresent) {
  auto kernel = kernelInterfaceStatusFactory(Lumo::String("kernel"));
  Seen seen(*kernel);
  kernel->interfaceIs(et1, false);
  EXPECT_EQ(kernel->interface().size(), 1u);
  EXPECT_TRUE(kernel->interface().contains(et1));
  kernel->interfaceIs(et1, false);  // unchanged
  kernel->interfaceIs(et1, true);
  EXPECT_TRUE(kernel->interfaceDel(et1));
  EXPECT_FALSE(kernel->interfaceDel(et1));
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{258, 258, 258}));
}

TEST(LagCreator, DirectoriesOwnTheirLagsAndLagsFileMembersByInterface) {
  auto lagType = Orv::LagInfo::vemType();
  EXPECT_EQ(lagType.memberById(258)->flagsA, 0x2c00);
  EXPECT_EQ(lagType.memberById(259)->flagsA, 0xdc01);
  EXPECT_EQ(Orv::LagCreatorStatusDir::vemType().memberById(259)->flagsA, 0xdd21);

  const IntfId lag("Port-Channel3");
  auto info = Orv::lagInfoFactory(lag);
  EXPECT_EQ(info->lagIntfId(), lag);
  Seen seen(*info);
  using Hardware::Lag::PortProgType, Hardware::Lag::ProgType;
  info->memberIs(PortProgType(et1, ProgType::progTypeHardware));
  info->memberIs(PortProgType(et1, ProgType::progTypeHardware));  // unchanged
  info->memberIs(PortProgType(et1, ProgType::progTypeRxOnly));    // replaces under the same interface
  EXPECT_EQ(info->member().size(), 1u);
  EXPECT_EQ(info->member(et1).progType(), ProgType::progTypeRxOnly);
  EXPECT_EQ(seen.ids, (std::vector<uint16_t>{259, 259}));

  auto status = Orv::lagCreatorStatusDirFactory(Lumo::String("status"));
  auto created = status->lagToPortIs(lag);
  EXPECT_EQ(status->lagToPortIs(lag), created);
  EXPECT_EQ(created->parent(), status.get());
  EXPECT_EQ(status->configMapLagToPort(lag), nullptr);  // the two collections are separate
  auto configured = status->configMapLagToPortIs(lag);
  EXPECT_NE(configured, created);
  status->lagToPortDelAll();
  EXPECT_EQ(created->parent(), nullptr);
  EXPECT_EQ(status->configMapLagToPort(lag), configured);
  EXPECT_EQ(Orv::lagCreatorConfigDirFactory(Lumo::String("config"))->lagToPortIs(lag)->lagIntfId(), lag);
}

}  // namespace
