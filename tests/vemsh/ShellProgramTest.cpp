// The shell as users run it: the real program, fed a script on standard input or typed at through a
// pseudo-terminal, and two or three programs mirroring over a socket.
#include "LineReader.h"
#include "Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
using vemshtest::Background;
using vemshtest::runVemsh;
using vemshtest::TempDir;

// A port list two levels down, where a change to it travels.
const std::string kTree =
    "new Orv::PortGroupDir groups\n"
    "set portGroup \"g1\"\n"
    "cd portGroup \"g1\"\n"
    "set mode \"fast\"\n"
    "cd mode \"fast\"\n";
const std::string kPortList = "groups/portGroup[\"g1\"]/mode[\"fast\"]";

TEST(VemshScript, ChangesAnnouncedWithOldAndNewValues) {
  auto r = runVemsh({"shell"}, kTree +
                                   "watch\n"
                                   "set ports \"Ethernet1\" true\n"
                                   "set ports \"Ethernet1\" false\n"
                                   "set ports \"Ethernet1\" false\n"
                                   "get ports \"Ethernet1\"\n"
                                   "set hiddenFromCli true\n"
                                   "del ports \"Ethernet1\"\n"
                                   "ls\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("announce " + kPortList + ": ports (258) key \"Ethernet1\" old (none) new true\n"));
  EXPECT_THAT(r.out, HasSubstr("announce " + kPortList + ": ports (258) key \"Ethernet1\" old true new false\n"));
  // Setting the value held is no change and announces nothing.
  EXPECT_EQ(r.out.find("old false new false"), std::string::npos);
  EXPECT_THAT(r.out, HasSubstr("ports[\"Ethernet1\"] = false\n"));
  EXPECT_THAT(r.out, HasSubstr("announce " + kPortList + ": hiddenFromCli (259) old false new true\n"));
  EXPECT_THAT(r.out, HasSubstr("announce " + kPortList + ": ports (258) key \"Ethernet1\" old false new (deleted)\n"));
  EXPECT_THAT(r.out, ContainsRegex("ports +0 entries"));
}

TEST(VemshScript, WatchOnTheRootFollowsChildrenCreatedLater) {
  auto r = runVemsh({"shell"}, "new Orv::PortGroupDir groups\nwatch\nset portGroup \"g1\"\ncd portGroup \"g1\"\n"
                               "set mode \"fast\"\ncd mode \"fast\"\nset ports \"Et1\" true\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("announce groups: portGroup (258) key \"g1\" old (none) new Orv::PortGroup(g1)\n"));
  EXPECT_THAT(r.out, HasSubstr("announce " + kPortList + ": ports (258) key \"Et1\" old (none) new true\n"));
}

TEST(VemshScript, BadInputIsReportedAndChangesNothing) {
  auto r = runVemsh({"shell"}, kTree +
                                   "set ports \"Ethernet1\" true\n"
                                   "set ports \"Ethernet1\" maybe\n"
                                   "set ports Ethernet1 false\n"
                                   "set nosuch 1\n"
                                   "set ports \"Ethernet1\"\n"
                                   "cd portGroup \"g1\"\n"
                                   "set ports \"unterminated\n"
                                   "frobnicate\n"
                                   "get ports \"Ethernet1\"\n");
  EXPECT_EQ(r.status, 1) << "a script with failed lines exits 1";
  EXPECT_THAT(r.err, HasSubstr("vemsh: bool: "));
  EXPECT_THAT(r.err, HasSubstr("vemsh: Vem::String: "));
  EXPECT_THAT(r.err, HasSubstr("nosuch"));
  EXPECT_THAT(r.err, HasSubstr("usage: set ports KEY VALUE"));
  EXPECT_THAT(r.err, HasSubstr("portGroup"));
  EXPECT_THAT(r.err, HasSubstr("unterminated \" quote"));
  EXPECT_THAT(r.err, HasSubstr("unknown command 'frobnicate'"));
  // Every failure left the entry as it was.
  EXPECT_THAT(r.out, HasSubstr("ports[\"Ethernet1\"] = true\n"));
}

TEST(VemshScript, LogShowsTheRecordsOfEachChangeDecoded) {
  auto r = runVemsh({"shell"}, kTree +
                                   "log\n"
                                   "set ports \"Ethernet1\" true\n"
                                   "del ports \"Ethernet1\"\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("(Orv::PortList), attribute record, attribute 258 ports, 14 bytes of payload"));
  EXPECT_THAT(r.out, HasSubstr("0102                                      attribute id 258"));
  EXPECT_THAT(r.out, HasSubstr("0000000945746865726e657431                key \"Ethernet1\""));
  EXPECT_THAT(r.out, HasSubstr("01                                        value true"));
  EXPECT_THAT(r.out, HasSubstr("attribute 65278 (deletion in ports), 13 bytes of payload"));
  EXPECT_THAT(r.out, HasSubstr("0000000945746865726e657431                key (deleted) \"Ethernet1\""));
  // Without "whole", the state before the log began is not shown.
  EXPECT_THAT(r.out, Not(HasSubstr("new root")));
}

TEST(VemshScript, LogWholeStartsWithTheStateANewReceiverGets) {
  auto r = runVemsh({"shell"}, "new Orv::PortGroupDir groups\nlog whole\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("record: entity 1, new root record, attribute 0"));
  EXPECT_THAT(r.out, HasSubstr("type Orv::PortGroupDir"));
  EXPECT_THAT(r.out, HasSubstr("begin of a whole-collection pass"));
  EXPECT_THAT(r.out, HasSubstr("end of the pass"));
}

TEST(VemshScript, QuitStopsReadingAndRegistryCommandsWork) {
  auto r = runVemsh({"shell", "--echo"}, "enum Orv::AclIntfState 2\nquit\nnew Orv::PortGroupDir late\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("vemsh> enum Orv::AclIntfState 2\n2 aclIntfBlocked\n"));
  EXPECT_THAT(r.out, Not(HasSubstr("late")));
}

// ---- two processes ----------------------------------------------------------------------------

TEST(VemshMirror, ServeCarriesChangesToEveryAttachedProcess) {
  TempDir dir;
  const std::string socket = dir.path() + "/s";
  Background first({"attach", socket}, "");
  Background second({"attach", socket, "--records"}, "");
  auto served = runVemsh({"serve", socket}, "wait 2\n" + kTree + "set ports \"Et1\" true\nsleep 100\nquit\n");
  auto a = first.wait(10000);
  auto b = second.wait(10000);
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_THAT(served.out, HasSubstr("serve: client 1 attached"));
  EXPECT_THAT(served.out, HasSubstr("serve: client 2 attached"));
  for (const auto* m : {&a, &b}) {
    EXPECT_EQ(m->status, 0) << m->err;
    EXPECT_THAT(m->out, HasSubstr("mirror: built Orv::PortGroupDir groups"));
    EXPECT_THAT(m->out, HasSubstr("mirror announces " + kPortList + ": ports (258) key \"Et1\" old (none) new true"));
    EXPECT_THAT(m->out, HasSubstr("ports (1) \"Et1\" -> true"));
  }
  EXPECT_THAT(b.out, HasSubstr("ports: key \"Et1\", value true"));
  EXPECT_THAT(a.out, Not(HasSubstr("record:")));
}

TEST(VemshMirror, WithheldChangesShownAsDirtyKeysAndDrainedWhenRoomReturns) {
  TempDir dir;
  const std::string socket = dir.path() + "/s";
  Background mirror({"attach", socket}, "");
  auto served = runVemsh({"serve", socket}, "wait 1\n" + kTree +
                                                "sleep 100\nroom 0\n"
                                                "set ports \"Et1\" true\n"
                                                "set ports \"Et2\" true\n"
                                                "clients\n"
                                                "sleep 100\n"
                                                "room all\nsleep 100\nquit\n");
  auto m = mirror.wait(10000);
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_THAT(served.out, HasSubstr("serve: client 1: no room, withheld: " + kPortList + " ports key \"Et1\""));
  EXPECT_THAT(served.out, HasSubstr("dirty: " + kPortList + " ports key \"Et2\""));
  EXPECT_THAT(served.out, HasSubstr("serve: client 1: stalled: the room of 0 bytes holds none of what is withheld"));
  EXPECT_THAT(served.out, HasSubstr("serve: client 1: room returned; drained 2 withheld changes"));
  // Nothing reached the mirror while the room was 0: its announcements come after the drain.
  EXPECT_EQ(m.status, 0) << m.err;
  EXPECT_THAT(m.out, HasSubstr("mirror announces " + kPortList + ": ports (258) key \"Et2\" old (none) new true"));
  EXPECT_THAT(m.out, HasSubstr("ports (2)"));
}

TEST(VemshMirror, ReconnectGetsTheWholeStateAgain) {
  TempDir dir;
  const std::string socket = dir.path() + "/s";
  Background mirror({"attach", socket, "--records", "--reconnect", "1"}, "");
  auto served = runVemsh({"serve", socket}, "wait 1\n" + kTree + "set ports \"Et1\" true\nsleep 100\ndrop\n"
                                                "set ports \"Et2\" true\nwait 1\nsleep 200\nquit\n");
  auto m = mirror.wait(10000);
  EXPECT_EQ(served.status, 0) << served.err;
  EXPECT_THAT(served.out, HasSubstr("serve: client 1 dropped"));
  EXPECT_THAT(served.out, HasSubstr("serve: client 2 attached"));
  EXPECT_EQ(m.status, 0) << m.err;
  EXPECT_THAT(m.out, HasSubstr("mirror: reconnecting"));
  // The second stream starts over: a new root, then the collection's whole pass with its markers.
  const std::size_t again = m.out.find("mirror: reconnecting");
  ASSERT_NE(again, std::string::npos);
  const std::string second = m.out.substr(again);
  EXPECT_THAT(second, HasSubstr("mirror: built Orv::PortGroupDir groups"));
  EXPECT_THAT(second, HasSubstr("begin of a whole-collection pass"));
  EXPECT_THAT(second, HasSubstr("ports: key \"Et2\", value true"));
  EXPECT_THAT(second, HasSubstr("ports (2) \"Et1\" -> true, \"Et2\" -> true"));
}

TEST(VemshMirror, AttachWithNobodyServingFailsCleanly) {
  TempDir dir;
  // The connect retries for five seconds before giving up.
  auto r = runVemsh({"attach", dir.path() + "/nobody"}, "", 15000);
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.err, HasSubstr("vemsh: nobody serves at"));
}

// ---- a terminal ---------------------------------------------------------------------------------

// Types at the shell through a pseudo-terminal: the Tab completes a type name as readline does.
TEST(VemshTerminal, TabCompletesTypeNames) {
  if (!vemsh::LineReader::editingBuilt()) GTEST_SKIP() << "this build has no line editing";
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(::grantpt(master), 0);
  ASSERT_EQ(::unlockpt(master), 0);
  const std::string slave = ::ptsname(master);
  const std::vector<std::string> command = vemshtest::vemshCommand({"shell"});
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::setsid();
    const int fd = ::open(slave.c_str(), O_RDWR);
    ::dup2(fd, 0);
    ::dup2(fd, 1);
    ::dup2(fd, 2);
    ::setenv("TERM", "dumb", 1);
    std::vector<char*> argv;
    for (const std::string& a : command) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    std::_Exit(127);
  }
  std::string seen;
  auto readUntil = [&](const std::string& what, int ms) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (seen.find(what) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
      pollfd p{master, POLLIN, 0};
      if (::poll(&p, 1, 50) <= 0) continue;
      char b[1024];
      const ssize_t n = ::read(master, b, sizeof b);
      if (n <= 0) break;
      seen.append(b, static_cast<std::size_t>(n));
    }
    return seen.find(what) != std::string::npos;
  };
  auto type = [&](const std::string& text) { ASSERT_EQ(::write(master, text.data(), text.size()), static_cast<ssize_t>(text.size())); };
  EXPECT_TRUE(readUntil("vemsh> ", 10000)) << seen;
  type("new Orv::PortGroupD\t");
  EXPECT_TRUE(readUntil("Orv::PortGroupDir ", 5000)) << seen;
  type("groups\n");
  EXPECT_TRUE(readUntil("created Orv::PortGroupDir groups", 5000)) << seen;
  type("set generateAc\t");
  EXPECT_TRUE(readUntil("generateActivePortsList ", 5000)) << seen;
  type("true\nget generateActivePortsList\n");
  EXPECT_TRUE(readUntil("generateActivePortsList = true", 5000)) << seen;
  type("quit\n");
  int status = 0;
  for (int i = 0; i < 200 && ::waitpid(pid, &status, WNOHANG) == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(25));
  if (::waitpid(pid, &status, WNOHANG) == 0) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    ADD_FAILURE() << "the shell did not leave on quit";
  }
  ::close(master);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << seen;
}

}  // namespace
