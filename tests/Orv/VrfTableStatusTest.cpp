// The VRF table status with its hand-written FIB-table view, and the export flags' hand-written summary:
// what an agent sees through setters and announcements, and what a mirror of the VRF table receives.
#include <Orv/OrvOpenConfigTypes.h>
#include <Orv/VrfTableTypes.h>

#include "MirrorTestSupport.h"

#include <Vem/NboAttrLog.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Orv;

using Announcements = OrvTest::AnnouncedIds;

TEST(VrfTableStatus, FibTableViewAnswersZeroAndWritesThroughToTheNameSet) {
  auto status = VrfTableStatusIs(Lumo::String("vrfs"));
  Announcements seen(*status);
  const L3::VrfName red("red");
  EXPECT_EQ(status->vrfNameToFibTableId(red).value(), 0u) << "a VRF never added";
  status->vrfNameToFibTableIdIs(red, Drove::Fib::TableId(5));
  EXPECT_TRUE(status->vrfNameHas(red));
  EXPECT_EQ(status->vrfNameToFibTableId(red).value(), 0u) << "the table id given is ignored";
  status->vrfNameToFibTableIdIs(red, Drove::Fib::TableId(7));
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{259})) << "added once, announced under the set's id";
  EXPECT_EQ(status->vrfNameToFibTableIdDel(red).value(), 0u);
  EXPECT_FALSE(status->vrfNameHas(red));
  EXPECT_EQ(seen.ids, (std::vector<Lumo::AttributeId>{259, 259}));
  EXPECT_EQ(status->getDefaultVrfTableId().value(), 0u);
}

// The view stores nothing (its registration is checked in tests/vemc): a mirror gets the name set alone.
TEST(VrfTableStatus, MirrorReceivesTheNameSetWrittenThroughTheView) {
  MirrorTest::Pair pair;
  auto status = VrfTableStatusIs(Lumo::String("vrfs"));
  status->orvL3UnicastRunningIs(true);
  status->vrfNameToFibTableIdIs(L3::VrfName::defaultVrf(), Drove::Fib::TableId(3));
  status->vrfNameIs(L3::VrfName("blue"));
  pair.sender.attach(status);
  pair.drain();
  const auto& mirror = pair.mirrorAs<VrfTableStatus>();
  EXPECT_TRUE(mirror.orvL3UnicastRunning());
  EXPECT_EQ(mirror.vrfName().size(), 2u);
  EXPECT_TRUE(mirror.vrfNameHas(L3::VrfName::defaultVrf()));
  status->vrfNameToFibTableIdDel(L3::VrfName("blue"));
  pair.drain();
  EXPECT_FALSE(mirror.vrfNameHas(L3::VrfName("blue")));
}

TEST(OcAftExportFlags, ExportEnabledWhenAnyTableIsExported) {
  auto flags = OcAftExportFlagsIs(Lumo::String("oc"));
  for (int bits = 0; bits < 8; ++bits) {
    flags->ocAftV4ExportEnabledIs(bits & 1);
    flags->ocAftV6ExportEnabledIs(bits & 2);
    flags->ocAftMplsExportEnabledIs(bits & 4);
    EXPECT_EQ(flags->ocAftExportEnabled(), bits != 0) << bits;
  }
}

}  // namespace
