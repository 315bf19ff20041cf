// Segment-security status, its single-child holder, and the source-IP lookup switch: registration, real
// changes announced once, counters that wrap, and the child's life under its holder.
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

// Records announcements as "id" or "id old=<value>"; the value printer knows each attribute's type.
class Recorder : public Lumo::Subscriber {
 public:
  explicit Recorder(Vem::Entity& e) : entity_(e) { entity_.publisher().subscriberAdd(this); }
  ~Recorder() override { entity_.publisher().subscriberDel(this); }

  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    EXPECT_EQ(key, nullptr) << "a scalar attribute has no key";
    std::string line = std::to_string(id);
    if (old) line += " old=" + oldText(id, old);
    lines.push_back(line);
  }
  std::vector<std::string> take() { return std::exchange(lines, {}); }
  std::vector<std::string> lines;

 private:
  std::string oldText(Lumo::AttributeId id, const void* old) const {
    if (entity_.typeData() == SegmentSecurityStatusWrap::vemType())
      return "child:" + (*static_cast<const Lumo::Ptr<SegmentSecurityStatus>*>(old))->name().stdString();
    if (entity_.typeData() == SegmentSecurityStatus::vemType() && (id == 260 || id == 261 || id == 263))
      return std::to_string(*static_cast<const uint32_t*>(old));
    return *static_cast<const bool*>(old) ? "true" : "false";
  }
  Vem::Entity& entity_;
};

using Lines = std::vector<std::string>;

TEST(SegmentSecurityRegistration, EntityRecordsIdsAndFlags) {
  const Vem::RegisteredModule* m = Vem::Registry::moduleByName("OrvSegmentSecurityTypes");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->descriptor->typeCount, 2u);
  EXPECT_NE(m->descriptor->typeRefs, nullptr);  // the holder's child type
  struct Expected {
    const char* name;
    uint16_t id, flagsA, flagsB;
    const char* type;
  };
  auto check = [](const Vem::VemType& t, std::vector<Expected> expected) {
    EXPECT_EQ(t.kind(), 0x60) << t.name();
    EXPECT_EQ(t.record().baseType, -3) << t.name();
    auto params = t.ctorParams();
    ASSERT_EQ(params.size(), 1u);
    EXPECT_EQ(t.paramName(params[0]), "name");
    EXPECT_EQ(t.paramTypeName(params[0]), "Vem::String");
    EXPECT_NE(t.impl().constructFromCtorArgs, nullptr) << t.name();  // built generically by name
    EXPECT_NE(t.impl().attrLogHandlers, nullptr) << t.name();
    EXPECT_EQ(t.impl().iterator, nullptr) << t.name();  // no collection attribute
    auto members = t.members();
    ASSERT_EQ(members.size(), expected.size()) << t.name();
    for (std::size_t i = 0; i < expected.size(); ++i) {
      SCOPED_TRACE(expected[i].name);
      EXPECT_EQ(t.memberName(members[i]), expected[i].name);
      EXPECT_EQ(members[i].attributeId, expected[i].id);
      EXPECT_EQ(members[i].flagsA, expected[i].flagsA);
      EXPECT_EQ(members[i].flagsB, expected[i].flagsB);
      EXPECT_EQ(t.refName(members[i].type), expected[i].type);
    }
  };
  check(SegmentSecurityStatus::vemType(), {{"nameString", 154, 0x2800, 0, "Vem::String"},
                                           {"enabled", 258, 0xdc00, 0x0101, "bool"},
                                           {"segmentSecurityRoutingDisableDone", 259, 0xdc00, 0x0101, "bool"},
                                           {"segmentSecurityRoutingDisable", 260, 0xdc00, 0x0101, "U32"},
                                           {"segmentSecurityRoutingEnable", 261, 0xdc00, 0x0101, "U32"},
                                           {"waitForRoutesCleanup", 262, 0xdc00, 0x0101, "bool"},
                                           {"waitForSegmentSecurityRoutingDisabledCnt", 263, 0xdc00, 0x0101, "U32"},
                                           {"segmentSecuritySetupComplete", 264, 0xdc00, 0x0101, "bool"}});
  check(SegmentSecurityStatusWrap::vemType(), {{"nameString", 154, 0x2800, 0, "Vem::String"},
                                               {"segSecStatus", 258, 0xdd20, 0x0101, "Orv::SegmentSecurityStatus"}});
  // The singleton creates its child from a name.
  const Vem::VemType wrap = SegmentSecurityStatusWrap::vemType();
  auto childArgs = wrap.params(wrap.members()[1].firstParam);
  ASSERT_EQ(childArgs.size(), 1u);
  EXPECT_EQ(wrap.paramName(childArgs[0]), "name");

  const Vem::VemType tarsk = TarskSourceIpLookupConfig::vemType();
  EXPECT_EQ(tarsk.module()->typeCount, 1u);
  EXPECT_EQ(tarsk.module()->typeRefs, nullptr);  // only built-in types
  check(tarsk, {{"nameString", 154, 0x2800, 0, "Vem::String"}, {"enabled", 258, 0xdc00, 0x0101, "bool"}});
}

TEST(SegmentSecurityStatus, SettersAnnounceOnlyRealChanges) {
  auto status = segmentSecurityStatusFactory(String("fwd"));
  EXPECT_EQ(status->nameString(), "fwd");
  Recorder r(*status);
  status->enabledIs(false);  // already false
  status->enabledIs(true);
  status->enabledIs(true);
  status->segmentSecurityRoutingDisableDoneIs(true);
  status->waitForRoutesCleanupIs(true);
  status->segmentSecuritySetupCompleteIs(true);
  status->segmentSecurityRoutingDisableIs(0);  // already 0
  status->segmentSecurityRoutingDisableIs(5);
  status->waitForSegmentSecurityRoutingDisabledCntIs(2);
  status->segmentSecurityRoutingEnableIs(9);
  EXPECT_EQ(r.take(), (Lines{"258 old=false", "259 old=false", "262 old=false", "264 old=false", "260 old=0",
                             "263 old=0", "261 old=0"}));
}

TEST(SegmentSecurityStatus, CountersAddModuloTwoToTheThirtyTwo) {
  auto status = SegmentSecurityStatusIs(String("fwd"));
  Recorder r(*status);
  EXPECT_EQ(status->segmentSecurityRoutingEnableInc(0), 0u);  // no change: nothing announced
  EXPECT_EQ(status->segmentSecurityRoutingEnableInc(), 1u);
  status->segmentSecurityRoutingDisableIs(4294967290u);
  EXPECT_EQ(status->segmentSecurityRoutingDisableInc(10), 4u);  // wraps
  EXPECT_EQ(status->segmentSecurityRoutingDisable(), 4u);
  EXPECT_EQ(status->waitForSegmentSecurityRoutingDisabledCntInc(4294967295u), 4294967295u);
  EXPECT_EQ(status->waitForSegmentSecurityRoutingDisabledCntInc(1), 0u);
  EXPECT_EQ(r.take(), (Lines{"261 old=0", "260 old=0", "260 old=4294967290", "263 old=0", "263 old=4294967295"}));
  EXPECT_EQ(status->segmentSecurityRoutingEnableInc(4294967295u), 0u);  // 1 + (2^32 - 1) wraps to 0
}

TEST(SegmentSecurityStatusWrap, SameNameReturnsTheSameChildAnnouncedOnce) {
  auto wrap = segmentSecurityStatusWrapFactory(String("holder"));
  Recorder r(*wrap);
  EXPECT_EQ(wrap->segSecStatus(), nullptr);
  auto child = wrap->segSecStatusIs(String("segsec"));
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(child->name(), "segsec");
  EXPECT_EQ(child->parent(), wrap.get());
  child->enabledIs(true);
  EXPECT_EQ(wrap->segSecStatusIs(String("segsec")), child);
  EXPECT_TRUE(wrap->segSecStatus()->enabled());
  EXPECT_EQ(r.take(), (Lines{"258"}));
}

TEST(SegmentSecurityStatusWrap, DeleteDetachesTheChildAndEmptyDeleteReturnsNone) {
  auto wrap = SegmentSecurityStatusWrapIs(String("holder"));
  Recorder r(*wrap);
  EXPECT_EQ(wrap->segSecStatusDel(), nullptr);
  EXPECT_TRUE(r.take().empty());
  auto child = wrap->segSecStatusIs(String("a"));
  child->segmentSecurityRoutingEnableInc(3);
  auto removed = wrap->segSecStatusDel();
  EXPECT_EQ(removed, child);
  EXPECT_EQ(child->parent(), nullptr);
  EXPECT_EQ(wrap->segSecStatus(), nullptr);
  EXPECT_EQ(child->segmentSecurityRoutingEnable(), 3u);  // lives on while held elsewhere
  EXPECT_EQ(r.take(), (Lines{"258", "258 old=child:a"}));
  // A new child after deletion starts from zero.
  EXPECT_EQ(wrap->segSecStatusIs(String("a"))->segmentSecurityRoutingEnable(), 0u);
}

// Asking for another name replaces the child: the old one is detached, a fresh one (every attribute 0 or
// false) takes its place, and one announcement carries the old child. Disabled until the generated
// singleton setter replaces by name; today it keeps the existing child whatever name is asked for.
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

TEST(TarskSourceIpLookupConfig, EnableFlagAnnouncedWhenChanged) {
  auto config = tarskSourceIpLookupConfigFactory(String("config"));
  EXPECT_FALSE(config->enabled());
  Recorder r(*config);
  config->enabledIs(false);
  config->enabledIs(true);
  config->enabledIs(true);
  config->enabledIs(false);
  EXPECT_EQ(r.take(), (Lines{"258 old=false", "258 old=true"}));
  EXPECT_EQ(TarskSourceIpLookupConfigIs(String("other"))->nameString(), "other");
}

}  // namespace
