// `vemsh --load`: a type library the shell is not linked with registers its modules when loaded, and
// every command sees them; a library that cannot be loaded stops the shell before the command runs.
#include "Dispatch.h"
#include "Program.h"

#include <Vem/Registry.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using Outcome = vemshtest::ProgramResult;
using vemshtest::runCommand;

TEST(VemshLoad, LoadedLibraryRegistersItsModulesForTheCommand) {
  ASSERT_EQ(Vem::Registry::moduleByName("VemshLoadable"), nullptr) << "the test program must not link it";
  Outcome value = runCommand({"--load", VEMSH_LOADABLE_LIBRARY, "value", "VemshLoadable::Link",
                       "VemshLoadable::Link(port=Ethernet7, mode=off)"});
  EXPECT_EQ(value.status, vemsh::exitOk) << value.err;
  EXPECT_THAT(value.out, StartsWith("text: VemshLoadable::Link(port=Ethernet7, mode=off)\nhash: 0x"));
  EXPECT_EQ(value.err, "");
  ASSERT_NE(Vem::Registry::moduleByName("VemshLoadable"), nullptr);

  // Loading it again (twice in one command line too) registers nothing new.
  std::size_t count = Vem::Registry::moduleCount();
  Outcome again = runCommand({"--load", VEMSH_LOADABLE_LIBRARY, "--load", VEMSH_LOADABLE_LIBRARY, "types", "VemshLoadable"});
  EXPECT_EQ(again.status, vemsh::exitOk) << again.err;
  EXPECT_THAT(again.out, HasSubstr("VemshLoadable::Link"));
  EXPECT_THAT(again.out, HasSubstr("VemshLoadable::Mode"));
  EXPECT_EQ(Vem::Registry::moduleCount(), count);

  // A good library before a bad one does not let the command run either. (This and the next load the
  // library, so they come after the checks above, in this test.)
  Outcome second = runCommand({"--load", VEMSH_LOADABLE_LIBRARY, "--load", "/nonexistent/libnothing.so", "modules"});
  EXPECT_EQ(second.status, vemsh::exitUserError);
  EXPECT_EQ(second.out, "");

  // A library but no command: the usage.
  Outcome usage = runCommand({"--load", VEMSH_LOADABLE_LIBRARY});
  EXPECT_EQ(usage.status, vemsh::exitUsage);
  EXPECT_EQ(usage.out, "");
  EXPECT_THAT(usage.err, HasSubstr("usage: vemsh"));
}

TEST(VemshLoad, UnloadableLibraryIsOneErrorLineAndNoCommand) {
  // Missing, and present but not a library: the loader's reason, without repeating the path.
  Outcome missing = runCommand({"--load", "/nonexistent/libnothing.so", "modules"});
  EXPECT_EQ(missing.status, vemsh::exitUserError);
  EXPECT_EQ(missing.out, "") << "the command must not run";
  EXPECT_THAT(missing.err, StartsWith("vemsh: cannot load /nonexistent/libnothing.so: "));
  EXPECT_THAT(missing.err, Not(HasSubstr(": /nonexistent/libnothing.so:")));
  EXPECT_EQ(std::count(missing.err.begin(), missing.err.end(), '\n'), 1);

  Outcome notLibrary = runCommand({"--load", "/dev/null", "modules"});
  EXPECT_EQ(notLibrary.status, vemsh::exitUserError);
  EXPECT_EQ(notLibrary.out, "");
  EXPECT_THAT(notLibrary.err, StartsWith("vemsh: cannot load /dev/null: "));
}

}  // namespace
