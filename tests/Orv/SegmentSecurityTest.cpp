// Segment-security status and its single-child holder: a holder asked for a child of another name
// replaces its child.
#include <Orv/OrvSegmentSecurityTypes.h>
#include <Orv/OrvTarskRoutingTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Orv;
using Lumo::String;

// Records the holder's announcements as "id" or "id old=child:<name>".
class Recorder : public Lumo::Subscriber {
 public:
  explicit Recorder(SegmentSecurityStatusWrap& e) : entity_(e) { entity_.publisher().subscriberAdd(this); }
  ~Recorder() override { entity_.publisher().subscriberDel(this); }

  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    EXPECT_EQ(key, nullptr) << "a scalar attribute has no key";
    std::string line = std::to_string(id);
    if (old) line += " old=child:" + (*static_cast<const Lumo::Ptr<SegmentSecurityStatus>*>(old))->name().stdString();
    lines.push_back(line);
  }
  std::vector<std::string> take() { return std::exchange(lines, {}); }
  std::vector<std::string> lines;

 private:
  Vem::Entity& entity_;
};

using Lines = std::vector<std::string>;

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
  EXPECT_EQ(r.take(), (Lines{"258 old=child:first"}));
}

}  // namespace
