// Debug commands: review requests by counter, announced only on a real change and wrapping at 2^32. (The
// single-review objects' overlong VRF names are refused by the VRF name itself: see tests/platform.)
#include <Orv/OrvDebugCliConfig.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Orv;
using Lumo::String;

using Recorder = OrvTest::AnnouncementLines;
using Lines = std::vector<std::string>;

TEST(DebugCliConfig, CountersAnnounceOnlyRealChangesAndWrap) {
  auto config = debugCliConfigFactory(String("debug"));
  Recorder r(*config);
  EXPECT_EQ(config->forceNhgReviewInc(0), 0u);
  EXPECT_TRUE(r.take().empty());
  config->forceNhgReviewIs(0xffffffffu);
  EXPECT_EQ(config->forceNhgReviewInc(0), 0xffffffffu);
  EXPECT_EQ(config->forceNhgReviewInc(1), 0u);
  EXPECT_EQ(r.take(), (Lines{"259 old", "259 old"}));
  config->forceL3AdjReviewIs(0);
  EXPECT_TRUE(r.take().empty());

  // Each counter is its own attribute.
  EXPECT_EQ(config->forceIpv6RouteReviewInc(8), 8u);
  EXPECT_EQ(r.take(), (Lines{"266 old"}));
  EXPECT_EQ(config->forceNhgReview(), 0u);
}

}  // namespace
