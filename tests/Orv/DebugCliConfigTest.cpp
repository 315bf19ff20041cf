// Debug commands: review requests by counter (announced only on a real change, wrapping at 2^32) and
// single-review objects that refuse an overlong VRF name.
#include <Orv/OrvDebugCliConfig.h>

#include <Vem/CharRange.h>
#include <Vem/RangeException.h>

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

TEST(DebugCliConfig, OverlongVrfNameBuildsNoReviewObject) {
  const std::string longName(101, 'v');
  EXPECT_THROW(SingleAdjReview(1, L3::VrfName(longName)), Vem::RangeException);
  EXPECT_NO_THROW(SingleAdjReview(1, L3::VrfName(std::string(100, 'v'))));

  // Nor does the parser: the text of a valid value, with the name made too long.
  const SingleAdjReview valid(3, L3::VrfName("abc"));
  std::string text = valid.stringValue().stdString();
  {
    Vem::CharRange in(text);
    EXPECT_EQ(SingleAdjReview(in), valid);
  }
  text.replace(text.find("abc"), 3, longName);
  Vem::CharRange in(text);
  EXPECT_THROW(SingleAdjReview{in}, Vem::RangeException);
}

}  // namespace
