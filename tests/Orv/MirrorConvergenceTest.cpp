// Flow control end to end: output withheld under a finite room, passes interrupted and resumed, keys
// changed meanwhile sent by the dirty-key pass; random changes under random room converge; the
// multicast path; and a mirror in another process over a socket.
#include "MirrorTestSupport.h"

#include <Vem/NboAttrLogFlow.h>
#include <Vem/TypeImpl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Orv;
using MirrorTest::dump;
using MirrorTest::Pair;
using Vem::NboAttrLog::pump;

TEST(MirrorFlow, InterruptedPassResumesAtItsKeyAndSendsChangedKeys) {
  auto list = PortListIs("pl");
  for (int i = 0; i < 40; ++i) list->portsIs("Ethernet" + std::to_string(i), i % 2 == 0);
  Pair p(120);  // room for a few entries at a time
  p.sender.attach(list);
  auto* sa = list->vemNboAttrLogSa(&p.sender);
  ASSERT_NE(sa->flowOut(), nullptr);
  EXPECT_TRUE(sa->flowOut()->hasBookmark());
  EXPECT_EQ(sa->flowOut()->bookmarkAttribute(), 258);
  // Changes while the pass waits: behind and ahead of the bookmark, and a deletion.
  list->portsIs("Ethernet0", false);
  list->portsDel("Ethernet39");
  list->portsIs("New", true);
  list->hiddenFromCliIs(true);
  int rounds = 0;
  while (p.sender.buffered() != 0 || p.sender.withheld()) {
    pump(p.sender, p.demuxer, 50);  // the transport takes little at a time
    ++rounds;
    ASSERT_LT(rounds, 10000);
  }
  EXPECT_GT(rounds, 5);
  EXPECT_EQ(sa->flowOut(), nullptr);  // dropped once everything went out
  EXPECT_EQ(MirrorTest::dump(p.mirrorAs<PortList>()), MirrorTest::dump(*list));
}

// An agent subscribed ahead of the sender reacts to each change by changing the same entry again (or
// removing it): the record of the outer change, written after the agent ran, must carry what the entry
// holds then, not what the setter stored; and the sender subscribed first still writes each change.
TEST(MirrorFlow, RecordsFollowAnEntryChangedAgainByAnEarlierSubscriber) {
  struct Reactor : Lumo::Subscriber {
    PortList* list = nullptr;
    void onChange(Lumo::AttributeId id, const void* key, const void*) override {
      if (id != 258 || key == nullptr) return;
      const auto& k = *static_cast<const Lumo::String*>(key);
      const bool* v = list->ports().find(k);
      if (v == nullptr || !*v) return;
      if (k.view().starts_with("drop"))
        list->portsDel(k);
      else
        list->portsIs(k, false);  // nested change: the sender writes it before the outer one
    }
  };
  for (bool reactorFirst : {true, false}) {
    auto list = PortListIs("pl");
    Reactor reactor;
    reactor.list = list.get();
    Pair p;
    if (reactorFirst) list->publisher().subscriberAdd(&reactor);
    p.sender.attach(list);
    if (!reactorFirst) list->publisher().subscriberAdd(&reactor);
    // Present first (the reactor ignores false), so that setting true replaces a stored value.
    for (int i = 0; i < 20; ++i) {
      list->portsIs("keep" + std::to_string(i), false);
      list->portsIs("drop" + std::to_string(i), false);
    }
    for (int i = 0; i < 20; ++i) {
      list->portsIs("keep" + std::to_string(i), true);
      list->portsIs("drop" + std::to_string(i), true);
    }
    p.drain();
    EXPECT_EQ(list->ports().size(), 20u);
    EXPECT_EQ(dump(p.mirrorAs<PortList>()), dump(*list)) << (reactorFirst ? "reactor first" : "sender first");
    list->publisher().subscriberDel(&reactor);
  }
}

TEST(MirrorFlow, FreeResyncStateDropsOnlyItsOwnBookmark) {
  auto list = PortListIs("pl");
  for (int i = 0; i < 10; ++i) list->portsIs(std::to_string(i), true);
  Vem::NboAttrLog::Sender sender(80);
  sender.attach(list);
  auto* f = list->vemNboAttrLogSa(&sender)->flowOut();
  ASSERT_TRUE(f->hasBookmark());
  const auto& group = *Vem::attrLogHandlersOf(PortGroup::vemType());
  f->vemHasSyncedIs(258, true);
  EXPECT_TRUE(Vem::attrLogHandlersOf(PortList::vemType())->freeResyncState(*f));
  EXPECT_FALSE(f->hasBookmark());
  EXPECT_FALSE(group.freeResyncState(*f));
}

struct Sink : Vem::NboAttrLog::MulticastSink {
  std::vector<std::string> records;
  bool take = true;
  bool offer(std::string_view r) override {
    if (take) records.emplace_back(r);
    return take;
  }
};

TEST(MirrorFlow, MulticastModeOffersRecordsToTheMulticastPath) {
  auto list = PortListIs("pl");
  Pair p;
  p.sender.attach(list);
  p.drain();
  Sink sink;
  p.sender.multicastSinkIs(&sink);
  auto* sa = list->vemNboAttrLogSa(&p.sender);
  using Sa = Vem::Entity::VemNboAttrLogSa;
  sa->stateIs(sa->state() | Sa::kMulticast);
  list->hiddenFromCliIs(true);
  list->portsIs("a", true);
  EXPECT_EQ(sink.records.size(), 2u);
  EXPECT_EQ(p.sender.buffered(), 0u);
  p.demuxer.feed(sink.records[0] + sink.records[1]);  // the same records as the stream's
  EXPECT_TRUE(p.mirrorAs<PortList>().hiddenFromCli());
  sa->stateIs(sa->state() | Sa::kMulticastHeldA);  // held: the ordinary path again
  list->portsIs("b", true);
  EXPECT_EQ(sink.records.size(), 2u);
  sa->stateIs(sa->state() & ~Sa::kMulticastHeldA);
  sink.take = false;  // refused by the multicast path: the ordinary path again
  list->portsIs("c", true);
  p.drain();
  EXPECT_EQ(dump(p.mirrorAs<PortList>()), dump(*list));
}

// A pass whose next entry cannot fit beside its markers makes no progress: it writes nothing at all
// (no begin or resume marker after marker), says that it is stalled and how much room it wants, and
// goes on once the room grows to that.
TEST(MirrorFlow, APassThatCannotPlaceAnEntryWritesNothingUntilTheRoomGrows) {
  auto list = PortListIs("pl");
  for (const char* port : {"a", "b", "c", "d"}) list->portsIs(port, true);
  list->portsIs(std::string(30, 'x'), true);  // a 46-byte record: with both markers, more than the room
  list->hiddenFromCliIs(true);
  Pair p(64);
  p.sender.attach(list);
  std::size_t late = 0;
  for (int round = 0; round < 200; ++round) {
    const std::size_t moved = pump(p.sender, p.demuxer);
    // Output waiting for the transport is back-pressure, not a stall.
    if (p.sender.buffered() != 0) {
      EXPECT_FALSE(p.sender.stalled()) << round;
    }
    if (round >= 20) late += moved;
  }
  EXPECT_EQ(late, 0u);
  EXPECT_EQ(p.sender.buffered(), 0u);
  EXPECT_TRUE(p.sender.withheld());
  ASSERT_TRUE(p.sender.stalled());
  // The big entry's record beside a begin marker and the end marker held back for it.
  EXPECT_EQ(p.sender.roomWanted(), 46 + 2 * Vem::NboAttrLog::Frame::kMarkerSize);

  p.sender.roomIs(p.sender.roomWanted());
  for (int round = 0; p.sender.buffered() != 0 || p.sender.withheld(); ++round) {
    ASSERT_LT(round, 100);
    pump(p.sender, p.demuxer);
    ASSERT_FALSE(p.sender.stalled()) << round;
  }
  EXPECT_EQ(dump(p.mirrorAs<PortList>()), dump(*list));
}

// One random change to a port-group tree, from small pools of names so that keys collide.
void randomChange(PortGroupDir& dir, std::mt19937& rng) {
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  const std::string g = "g" + std::to_string(pick(4));
  switch (pick(12)) {
    case 0: dir.portGroupIs(g); return;
    case 1: if (pick(3) == 0) dir.portGroupDel(g); return;
    case 2: dir.noActiveInactiveDuplicatesIs(pick(2) == 0); return;
    case 3: dir.generateActivePortsListIs(pick(2) == 0); return;
    default: break;
  }
  auto group = dir.portGroup(g);
  if (!group) group = dir.portGroupIs(g);
  const std::string m = "m" + std::to_string(pick(3));
  switch (pick(9)) {
    case 0: group->defaultModeIs(m); return;
    case 1: group->limitationsIs("l" + std::to_string(pick(5)), std::string(pick(30), 'x')); return;
    case 2: group->limitationsDel("l" + std::to_string(pick(5))); return;
    case 3: group->warningsIs("w" + std::to_string(pick(3)), "warn" + std::to_string(pick(3))); return;
    case 4: if (pick(3) == 0) group->modeDel(m); else group->modeIs(m); return;
    case 5: if (pick(8) == 0) group->warningsDelAll(); return;
    default: break;
  }
  auto mode = group->mode(m);
  if (!mode) mode = group->modeIs(m);
  if (pick(6) == 0)
    mode->hiddenFromCliIs(pick(2) == 0);
  else if (pick(4) == 0)
    mode->portsDel("Ethernet" + std::to_string(pick(12)));
  else
    mode->portsIs("Ethernet" + std::to_string(pick(12)), pick(2) == 0);
}

// Announces of the mirror root: which group keys it told of.
struct KeysSeen : Lumo::Subscriber {
  Vem::Entity& e;
  std::set<std::string> keys;
  explicit KeysSeen(Vem::Entity& entity) : e(entity) { e.publisher().subscriberAdd(this); }
  ~KeysSeen() override { e.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void*) override {
    if (id == 258 && key) keys.insert(static_cast<const Lumo::String*>(key)->stdString());
  }
};

// A transport that grows its room only when the sender says that it stalled, and only to the room it
// asked for, still carries everything: each stall asks for more than the room it stalled at.
void drainGrowingOnStall(Pair& p) {
  for (int i = 0; p.sender.buffered() != 0 || p.sender.withheld(); ++i) {
    ASSERT_LT(i, 10000) << "the sender does not drain";
    pump(p.sender, p.demuxer);
    if (!p.sender.stalled()) continue;
    ASSERT_EQ(p.sender.buffered(), 0u);
    ASSERT_GT(p.sender.roomWanted(), p.sender.room());
    p.sender.roomIs(p.sender.roomWanted());
  }
}

void convergeOnce(uint32_t seed) {
  std::mt19937 rng(seed);
  auto dir = portGroupDirFactory("dir");
  for (int i = 0; i < 20; ++i) randomChange(*dir, rng);
  Pair p(rng() % 400);
  p.sender.attach(dir);
  for (int i = 0; i < 200 && !p.mirror; ++i) {
    p.sender.roomIs(rng() % 400);
    pump(p.sender, p.demuxer, rng() % 200);
  }
  if (!p.mirror) p.drain();
  ASSERT_TRUE(p.mirror);
  KeysSeen seen(*p.mirror);
  std::set<std::string> before, after, addedOrRemoved;
  p.mirrorAs<PortGroupDir>().portGroup().forEach([&](const Lumo::String& k, const auto&) { before.insert(k.stdString()); });
  const int steps = 10 + static_cast<int>(rng() % 30);
  for (int step = 0; step < steps; ++step) {
    for (int n = static_cast<int>(rng() % 4); n >= 0; --n) randomChange(*dir, rng);
    p.sender.roomIs(rng() % 3 == 0 ? 0 : rng() % 400);
    pump(p.sender, p.demuxer, rng() % 300);
  }
  if (seed % 2 == 0)
    p.drain();
  else
    drainGrowingOnStall(p);
  ASSERT_EQ(dump(p.mirrorAs<PortGroupDir>()), dump(*dir)) << "seed " << seed;
  ASSERT_FALSE(p.sender.withheld());
  dir->portGroup().forEach([&](const Lumo::String& k, const auto&) { after.insert(k.stdString()); });
  std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                std::inserter(addedOrRemoved, addedOrRemoved.end()));
  for (const auto& k : addedOrRemoved)
    ASSERT_TRUE(seen.keys.count(k)) << "seed " << seed << ": group " << k << " added or removed without an announcement";
}

TEST(MirrorConvergence, RandomChangesUnderRandomRoom) {
  for (uint32_t seed = 1; seed <= 2000; ++seed) {
    try {
      convergeOnce(seed);
    } catch (const std::exception& e) {
      FAIL() << "seed " << seed << ": " << e.what();
    }
    if (::testing::Test::HasFatalFailure()) return;
  }
}

// A mirror in a child process over a Unix-domain socket, then over TCP on loopback: the child applies
// what arrives and answers with the dump of its mirror.
void mirrorInChildProcess(int senderFd, int receiverFd) {
  auto dir = portGroupDirFactory("dir");
  std::mt19937 rng(99);
  for (int i = 0; i < 60; ++i) randomChange(*dir, rng);
  const pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    ::close(senderFd);
    int code = 0;
    try {
      Vem::NboAttrLog::SocketLink link(receiverFd);
      Pair p;
      while (link.receive(p.demuxer)) link.wait(false, 1000);
      const std::string state = p.mirror ? dump(p.mirrorAs<PortGroupDir>()) : "none";
      std::string reply = std::to_string(state.size()) + "\n" + state;
      for (std::size_t at = 0; at < reply.size();) {
        link.wait(true, 1000);
        const ssize_t n = ::send(link.fd(), reply.data() + at, reply.size() - at, MSG_NOSIGNAL);
        if (n > 0) at += static_cast<std::size_t>(n);
      }
    } catch (...) {
      code = 1;
    }
    ::_exit(code);
  }
  ::close(receiverFd);
  {
    Vem::NboAttrLog::SocketLink link(senderFd);
    Vem::NboAttrLog::Sender sender(256);  // a small room: the initial sync alone needs many resumptions
    sender.attach(dir);
    for (int step = 0; step < 200; ++step) {
      randomChange(*dir, rng);
      ASSERT_TRUE(link.flush(sender));
    }
    while (sender.buffered() != 0 || sender.withheld()) {
      link.wait(true, 1000);
      ASSERT_TRUE(link.flush(sender));
    }
    ::shutdown(link.fd(), SHUT_WR);
    std::string reply;
    char buffer[4096];
    for (;;) {
      link.wait(false, 5000);
      const ssize_t n = ::recv(link.fd(), buffer, sizeof buffer, 0);
      if (n > 0) reply.append(buffer, static_cast<std::size_t>(n));
      else if (n == 0) break;
      else if (errno != EAGAIN && errno != EINTR) break;
    }
    const std::size_t nl = reply.find('\n');
    ASSERT_NE(nl, std::string::npos);
    EXPECT_EQ(reply.substr(nl + 1), dump(*dir));
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(MirrorProcess, OverAUnixDomainSocket) {
  int fds[2];
  Vem::NboAttrLog::unixSocketPair(fds);
  mirrorInChildProcess(fds[0], fds[1]);
}

TEST(MirrorProcess, OverTcpOnLoopback) {
  uint16_t port = 0;
  const int listener = Vem::NboAttrLog::tcpListenLoopback(&port);
  const int client = Vem::NboAttrLog::tcpConnectLoopback(port);
  const int server = Vem::NboAttrLog::tcpAccept(listener);
  ::close(listener);
  mirrorInChildProcess(client, server);
}

}  // namespace
