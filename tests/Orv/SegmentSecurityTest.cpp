// Segment-security status and its single-child holder: a holder asked for a child of another name
// replaces its child.
#include <Orv/OrvSegmentSecurityTypes.h>
#include <Orv/OrvTarskRoutingTypes.h>

#include "AnnouncementLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Orv;
using Lumo::String;

// Announcement lines, and the child that the last announcement carried as its old value.
struct Recorder : OrvTest::AnnouncementLines {
  using AnnouncementLines::AnnouncementLines;
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    AnnouncementLines::onChange(id, key, old);
    if (old) oldChild = *static_cast<const Lumo::Ptr<SegmentSecurityStatus>*>(old);
  }
  Lumo::Ptr<SegmentSecurityStatus> oldChild;
};

// Asking for another name replaces the child: the old one is detached, a fresh one (every attribute 0 or
// false) takes its place, and one announcement carries the old child.
TEST(SegmentSecurityStatusWrap, AnotherNameReplacesTheChild) {
  auto wrap = SegmentSecurityStatusWrapIs(String("holder"));
  auto first = wrap->segSecStatusIs(String("first"));
  first->segmentSecurityRoutingDisableInc(7);
  first->enabledIs(true);
  Recorder r(*wrap);
  auto second = wrap->segSecStatusIs(String("second"));
  ASSERT_NE(second, first);
  EXPECT_EQ(second->name(), "second");
  EXPECT_EQ(second->parent(), wrap.get());
  EXPECT_EQ(first->parent(), nullptr);
  EXPECT_EQ(second->segmentSecurityRoutingDisable(), 0u);
  EXPECT_FALSE(second->enabled());
  EXPECT_EQ(wrap->segSecStatus(), second);
  EXPECT_EQ(r.take(), std::vector<std::string>{"258 old"});
  EXPECT_EQ(r.oldChild, first);
}

}  // namespace
