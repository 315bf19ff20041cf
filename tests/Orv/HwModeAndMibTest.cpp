// Hardware mode and chip inventory: the two different initial modes, the fixed parameters of a chip
// (checked in order, the existing chip never changed), and a chip inventory mirrored through the
// attribute log with all its constructor parameters.
#include <Orv/HwOrv.h>
#include <Orv/OrvMibInfo.h>

#include "MirrorTestSupport.h"

#include <Lumo/Publisher.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Orv;
using ChipType = EntityMib::Chip::ChipType;
using Lumo::String;

using Recorder = OrvTest::AnnouncementLines;

TEST(HwMode, ConfigStartsNormalWhileStatusStartsNotConfigured) {
  EXPECT_EQ(hwConfigFactory(String("config"))->operationalMode(), HwOperationalMode::modeNormal);
  auto status = hwStatusFactory(String("status"));
  EXPECT_EQ(status->operationalMode(), HwOperationalMode::modeNotConfigured);
  EXPECT_EQ(static_cast<int>(HwOperationalMode::modeNotConfigured), 3);
}

TEST(MibInfoRegistration, ChipIsBuiltFromItsNameAndFourFixedParameters) {
  const Vem::VemType chip = ChipMibInfo::vemType();
  auto params = chip.ctorParams();
  ASSERT_EQ(params.size(), 5u);
  EXPECT_EQ(chip.paramName(params[0]), "name");
  EXPECT_EQ(chip.memberById(154)->flagsA, 0x2800);  // its name is the inherited nameString
  for (uint16_t id = 258; id <= 261; ++id) {
    ASSERT_NE(chip.memberById(id), nullptr) << id;
    EXPECT_EQ(chip.memberById(id)->flagsA, 0x2c00) << id;
    EXPECT_EQ(chip.memberById(id)->flagsB, 0x2101) << id;
  }
  EXPECT_EQ(chip.memberName(*chip.memberById(258)), "chipType");
  EXPECT_EQ(chip.impl().constructFromCtorArgs, nullptr);  // only through its MibInfo

  const Vem::VemType mib = MibInfo::vemType();
  const Vem::MemberRecord* children = mib.memberById(259);
  ASSERT_NE(children, nullptr);
  EXPECT_EQ(children->flagsA, 0xdd21);
  EXPECT_EQ(mib.params(children->firstParam).size(), 5u);
  EXPECT_EQ(mib.refName(mib.memberById(258)->type), "Fru::SlotId");
}

TEST(MibInfo, ConflictingParametersFailInOrderAndChangeNothing) {
  auto mib = mibInfoFactory(String("slot3"));
  auto chip = mib->chipIs(String("c"), ChipType::chipTypeSwitch, 7, String("model"), String("fw1"));
  Recorder r(*mib);
  auto failure = [&](ChipType type, uint32_t id, const char* model, const char* fw) -> std::string {
    try {
      mib->chipIs(String("c"), type, id, String(model), String(fw));
    } catch (const Vem::EntityError& e) {
      return e.what();
    }
    return "no error";
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
