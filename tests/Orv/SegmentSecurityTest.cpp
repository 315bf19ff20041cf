// Segment-security status, its single-child holder, and the source-IP lookup switch: the registration
// records, and a holder asked for a child of another name replacing its child.
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
