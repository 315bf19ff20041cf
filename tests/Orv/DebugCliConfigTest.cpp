// Debug commands: review requests by counter (announced only on a real change, wrapping at 2^32), the
// objects of single reviews, the trace selections and the trace specification per domain.
#include <Orv/OrvDebugCliConfig.h>

#include <Lumo/Publisher.h>
#include <Vem/CharRange.h>
#include <Vem/RangeException.h>
#include <Vem/Registry.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Orv;
using Lumo::String;

using Recorder = OrvTest::AnnouncementLines;
using Lines = std::vector<std::string>;

TEST(DebugCliConfigRegistration, AttributesInOrder) {
  const Vem::VemType t = DebugCliConfig::vemType();
  const char* names[] = {"forceL3AdjReview",         "forceNhgReview",           "forceSingleL3AdjReview",
                         "forceSingleNhgReview",     "forceSingleIpRouteReview", "forceSingleIpv6RouteReview",
                         "forceClearInternalError",  "forceIpRouteReview",       "forceIpv6RouteReview",
                         "singleAdjReview",          "singleNhgReview",          "singleRouteReview",
                         "selectedPrefix",           "selectedL3Adj",            "selectedL2Adj",
                         "traceSpec"};
  for (uint16_t i = 0; i < 16; ++i) {
    const Vem::MemberRecord* m = t.memberById(static_cast<uint16_t>(258 + i));
    ASSERT_NE(m, nullptr) << 258 + i;
    EXPECT_EQ(t.memberName(*m), names[i]);
  }
  for (uint16_t id : {270, 271, 272}) EXPECT_EQ(t.memberById(id)->flagsB, 0x0109) << id;  // sets
  EXPECT_EQ(t.refName(t.memberById(271)->keyType), "Drove::Fib::FecId");
  EXPECT_EQ(t.refName(t.memberById(273)->keyType), "Orv::SelectiveTraceDomain");
  EXPECT_NE(t.impl().constructFromCtorArgs, nullptr);
}

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
  EXPECT_EQ(config->forceL3AdjReviewInc(1), 1u);
  EXPECT_EQ(config->forceSingleL3AdjReviewInc(2), 2u);
  EXPECT_EQ(config->forceSingleNhgReviewInc(3), 3u);
  EXPECT_EQ(config->forceSingleIpRouteReviewInc(4), 4u);
  EXPECT_EQ(config->forceSingleIpv6RouteReviewInc(5), 5u);
  EXPECT_EQ(config->forceClearInternalErrorInc(6), 6u);
  EXPECT_EQ(config->forceIpRouteReviewInc(7), 7u);
  EXPECT_EQ(config->forceIpv6RouteReviewInc(8), 8u);
  EXPECT_EQ(r.take(), (Lines{"258 old", "260 old", "261 old", "262 old", "263 old", "264 old", "265 old", "266 old"}));
  EXPECT_EQ(config->forceL3AdjReview(), 1u);
  EXPECT_EQ(config->forceNhgReview(), 0u);
  EXPECT_EQ(config->forceIpv6RouteReview(), 8u);
}

TEST(DebugCliConfig, SingleReviewObjectsCompareFieldByField) {
  auto config = debugCliConfigFactory(String("debug"));
  Recorder r(*config);
  config->singleAdjReviewIs(SingleAdjReview());  // the default: nothing
  config->singleAdjReviewIs(SingleAdjReview(42, L3::VrfName("red")));
  config->singleAdjReviewIs(SingleAdjReview(42, L3::VrfName("red")));
  config->singleAdjReviewIs(SingleAdjReview(42, L3::VrfName("blue")));
  config->singleNhgReviewIs(String("nhg1"));
  config->singleNhgReviewIs(String("nhg1"));
  const SingleRouteReview route(Pelix::IpGenPrefix("10.1.0.0/16"), L3::VrfName("red"));
  config->singleRouteReviewIs(route);
  config->singleRouteReviewIs(route);
  EXPECT_EQ(r.take(), (Lines{"267 old", "267 old", "268 old", "269 old"}));
  EXPECT_EQ(config->singleAdjReview().cliVrfName(), L3::VrfName("blue"));
  EXPECT_EQ(config->singleRouteReview().prefixToReview(), Pelix::IpGenPrefix("10.1.0.0/16"));

  EXPECT_FALSE(static_cast<bool>(SingleRouteReview()));
  EXPECT_TRUE(static_cast<bool>(SingleAdjReview(0, L3::VrfName("x"))));
  EXPECT_LT(SingleAdjReview(1, L3::VrfName("z")), SingleAdjReview(2, L3::VrfName("a")));  // FEC id first
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

TEST(DebugCliConfig, SetsAnnounceEachMemberOnce) {
  auto config = debugCliConfigFactory(String("debug"));
  Recorder r(*config);
  config->selectedL2AdjIs(5);
  config->selectedL2AdjIs(5);
  EXPECT_FALSE(config->selectedL2AdjDel(6));
  EXPECT_TRUE(config->selectedL2AdjDel(5));
  EXPECT_EQ(r.take(), (Lines{"272 key", "272 key old"}));

  const Pelix::IpGenPrefix prefix("2001:db8::/32");
  config->selectedPrefixIs(prefix);
  config->selectedPrefixIs(prefix);
  EXPECT_TRUE(config->selectedPrefixHas(prefix));
  EXPECT_FALSE(config->selectedPrefixHas(Pelix::IpGenPrefix("2001:db8::/33")));
  config->selectedL3AdjIs(Drove::Fib::FecId(0x100000001ull));
  EXPECT_TRUE(config->selectedL3AdjHas(Drove::Fib::FecId(0x100000001ull)));
  EXPECT_FALSE(config->selectedL3AdjHas(Drove::Fib::FecId(1)));
  EXPECT_EQ(r.take(), (Lines{"270 key", "271 key"}));

  config->selectedL3AdjDelAll();
  EXPECT_EQ(r.take(), (Lines{"271 key old"}));
}

TEST(DebugCliConfig, TraceSpecAnnouncesNewKeysAndChangedTexts) {
  auto config = debugCliConfigFactory(String("debug"));
  Recorder r(*config);
  config->traceSpecIs(SelectiveTraceDomain::prefixDomain, String("10/8"));
  config->traceSpecIs(SelectiveTraceDomain::prefixDomain, String("10/8"));
  EXPECT_EQ(r.take(), (Lines{"273 key"}));
  config->traceSpecIs(SelectiveTraceDomain::prefixDomain, String("11/8"));
  EXPECT_EQ(r.take(), (Lines{"273 key old"}));
  EXPECT_EQ(config->traceSpec(SelectiveTraceDomain::prefixDomain).stdString(), "11/8");
  EXPECT_EQ(config->traceSpec(SelectiveTraceDomain::l2AdjDomain).stdString(), "");
  EXPECT_EQ(config->traceSpecDel(SelectiveTraceDomain::prefixDomain).stdString(), "11/8");
  EXPECT_EQ(r.take(), (Lines{"273 key old"}));
}

}  // namespace
