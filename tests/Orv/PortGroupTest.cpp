// Port groups as an agent keeps them: every real change is announced once, in order, with its key and
// old value; nothing is announced when nothing changes; children are created, parented and released.
#include <Orv/OrvPortGroupTypes.h>

#include <Lumo/Publisher.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using Lumo::String;
using namespace Orv;

// Records announcements as text: "258 key=eth1 old=none". Old values are printed by the attribute:
// a port list's ports (258) and hiddenFromCli (259) are flags, a group's modes (258) port lists and its
// defaultMode (259) a string.
class Recorder : public Lumo::Subscriber {
 public:
  explicit Recorder(Vem::Entity& e) : entity_(e) { entity_.publisher().subscriberAdd(this); }
  ~Recorder() override { entity_.publisher().subscriberDel(this); }

  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    std::string line = std::to_string(id);
    if (key) line += " key=" + static_cast<const String*>(key)->stdString();
    line += " old=";
    if (!old)
      line += "none";
    else if (entity_.typeData() == PortList::vemType())
      line += *static_cast<const bool*>(old) ? "true" : "false";
    else if (id == 258)
      line += "list:" + (*static_cast<const Lumo::Ptr<PortList>*>(old))->name().stdString();
    else
      line += static_cast<const String*>(old)->stdString();
    lines.push_back(line);
  }

  std::vector<std::string> take() { return std::exchange(lines, {}); }
  std::vector<std::string> lines;

 private:
  Vem::Entity& entity_;
};

using Lines = std::vector<std::string>;

TEST(PortList, DeleteAllIsOneStepWithoutSubscribersAndKeyByKeyWithThem) {
  auto list = PortListIs(String("m"));
  for (const char* p : {"Ethernet1", "Ethernet2", "Ethernet3"}) list->portsIs(String(p), true);
  list->portsDelAll();
  EXPECT_EQ(list->ports().size(), 0u);

  for (const char* p : {"Ethernet1", "Ethernet2", "Ethernet3"}) list->portsIs(String(p), true);
  Recorder r(*list);
  list->portsDelAll();
  Lines lines = r.take();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (Lines{"258 key=Ethernet1 old=true", "258 key=Ethernet2 old=true", "258 key=Ethernet3 old=true"}));
  EXPECT_EQ(list->ports().size(), 0u);
}

TEST(PortGroup, ChildrenAreCreatedOnceParentedAndReleased) {
  auto group = PortGroupIs(String("g1"));
  Recorder r(*group);
  auto a = group->modeIs(String("fourPorts"));
  auto again = group->modeIs(String("fourPorts"));
  EXPECT_EQ(a, again);  // the same child, announced once
  EXPECT_EQ(a->parent(), group.get());
  EXPECT_EQ(r.take(), (Lines{"258 key=fourPorts old=none"}));
  EXPECT_EQ(group->mode(String("fourPorts")), a);
  EXPECT_EQ(group->mode(String("absent")), nullptr);

  group->defaultModeIs(String("noSuchMode"));  // a plain name: nothing checks it
  EXPECT_EQ(r.take(), (Lines{"259 old="}));

  // A deleted child lives on while another pointer holds it, without a parent.
  auto removed = group->modeDel(String("fourPorts"));
  EXPECT_EQ(removed, a);
  EXPECT_EQ(a->parent(), nullptr);
  EXPECT_EQ(r.take(), (Lines{"258 key=fourPorts old=list:fourPorts"}));
  EXPECT_EQ(group->modeDel(String("fourPorts")), nullptr);  // absent: null, nothing announced
  EXPECT_TRUE(r.take().empty());
  a->portsIs(String("Ethernet1"), true);  // still usable
  EXPECT_TRUE(a->ports(String("Ethernet1")));
}

TEST(PortGroup, DeleteAllOfChildrenIsAlwaysKeyByKey) {
  auto group = PortGroupIs(String("g"));
  auto a = group->modeIs(String("a"));
  auto b = group->modeIs(String("b"));
  group->modeDelAll();  // no subscribers, still one removal per child: parents are cleared
  EXPECT_EQ(a->parent(), nullptr);
  EXPECT_EQ(b->parent(), nullptr);
  EXPECT_EQ(group->mode().size(), 0u);

  group->modeIs(String("a"));
  group->modeIs(String("b"));
  Recorder r(*group);
  group->modeDelAll();
  Lines lines = r.take();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (Lines{"258 key=a old=list:a", "258 key=b old=list:b"}));
}

TEST(PortGroupTypes, EntitiesAreCountedByTheirTrackerAndFreedWithTheirLastUser) {
  const auto& tracker = PortList::memAllocationTracker_;
  auto liveBefore = tracker.live();
  {
    auto group = PortGroupIs(String("g"));
    auto kept = group->modeIs(String("kept"));
    group->modeIs(String("dropped"));
    EXPECT_EQ(tracker.live(), liveBefore + 2);
    group.reset();  // the owner goes: its collection drops its references
    EXPECT_EQ(tracker.live(), liveBefore + 1);
    EXPECT_EQ(kept->parent(), nullptr);
    EXPECT_EQ(kept->useCount(), 1u);
  }
  EXPECT_EQ(tracker.live(), liveBefore);
}

}  // namespace
