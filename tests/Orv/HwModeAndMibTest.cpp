// Hardware mode and chip inventory: the two different initial modes, the fixed parameters of a chip
// (checked in order, the existing chip never changed), and a chip inventory mirrored through the
// attribute log with all its constructor parameters.
#include <Orv/HwOrv.h>
#include <Orv/OrvMibInfo.h>

#include "MirrorTestSupport.h"

#include "AnnouncementLog.h"
#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Orv;
using ChipType = EntityMib::Chip::ChipType;
using Lumo::String;

using Recorder = OrvTest::AnnouncementLines;

TEST(MibInfo, ConflictingParametersFailInOrderAndChangeNothing) {
  auto mib = mibInfoFactory(String("slot3"));
  auto chip = mib->chipIs(String("c"), ChipType::chipTypeSwitch, 7, String("model"), String("fw1"));
  Recorder r(*mib);
  auto failure = [&](ChipType type, uint32_t id, const char* model, const char* fw) {
    return OrvTest::errorOf<Vem::EntityError>([&] { mib->chipIs(String("c"), type, id, String(model), String(fw)); });
  };
  // Every parameter differs: the chip type, compared first, is reported, by its enumerator name.
  std::string all = failure(ChipType::chipTypeFabric, 8, "other", "fw2");
  EXPECT_NE(all.find("attribute 258"), std::string::npos) << all;
  EXPECT_NE(all.find("chipTypeSwitch"), std::string::npos) << all;
  EXPECT_NE(all.find("chipTypeFabric"), std::string::npos) << all;
  EXPECT_NE(failure(ChipType::chipTypeSwitch, 8, "other", "fw2").find("attribute 259 is 7, requested 8"), std::string::npos);
  EXPECT_NE(failure(ChipType::chipTypeSwitch, 7, "other", "fw2").find("attribute 260 is \"model\""), std::string::npos);
  EXPECT_NE(failure(ChipType::chipTypeSwitch, 7, "model", "fw2").find("attribute 261 is \"fw1\", requested \"fw2\""),
            std::string::npos);

  EXPECT_TRUE(r.take().empty());
  EXPECT_EQ(mib->chip(String("c")), chip);
  EXPECT_EQ(chip->chipType(), ChipType::chipTypeSwitch);
  EXPECT_EQ(chip->chipId(), 7u);
  EXPECT_EQ(chip->chipFirmwareRev().stdString(), "fw1");
  EXPECT_EQ(mib->chip().size(), 1u);

  // A new firmware revision takes a removal and a new chip.
  EXPECT_EQ(mib->chipDel(String("c")), chip);
  EXPECT_EQ(chip->parent(), nullptr);
  auto renewed = mib->chipIs(String("c"), ChipType::chipTypeSwitch, 7, String("model"), String("fw2"));
  EXPECT_NE(renewed, chip);
  EXPECT_EQ(renewed->chipFirmwareRev().stdString(), "fw2");
  EXPECT_EQ(mib->chipDel(String("absent")), nullptr);
}

TEST(MibInfo, MirrorBuildsChipsFromAllTheirParameters) {
  auto mib = mibInfoFactory(String("slot1"));
  mib->slotIdIs(Fru::SlotId(1));
  mib->chipIs(String("a"), ChipType::chipTypeSwitch, 0, String("J2"), String("1.0"));
  MirrorTest::Pair p;
  p.sender.attach(mib);
  p.drain();
  mib->chipIs(String("b"), ChipType::chipTypePhy, 1, String("P1"), String("2.0"));
  mib->chipDel(String("a"));
  p.drain();
  ASSERT_TRUE(p.mirror);
  auto& m = p.mirrorAs<MibInfo>();
  EXPECT_EQ(m.slotId(), Fru::SlotId(1));
  ASSERT_EQ(m.chip().size(), 1u);
  auto b = m.chip(String("b"));
  ASSERT_TRUE(b);
  EXPECT_EQ(b->chipType(), ChipType::chipTypePhy);
  EXPECT_EQ(b->chipId(), 1u);
  EXPECT_EQ(b->chipModel().stdString(), "P1");
  EXPECT_EQ(b->chipFirmwareRev().stdString(), "2.0");
}

}  // namespace
