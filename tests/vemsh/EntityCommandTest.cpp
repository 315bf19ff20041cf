// `vemsh entity`: attributes reached by name through the generic interface, announcements printed as
// they happen, and user errors for what the user can correct.
#include "Commands.h"
#include "EntityCommand.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

std::string run(std::vector<std::string_view> args) {
  std::ostringstream out;
  vemsh::runEntity(out, args);
  return out.str();
}

TEST(VemshEntity, SetsAddsListsAndDeletesByNameWithAnnouncements) {
  std::string out = run({"Orv::PortGroupDir", "dir", "set", "generateActivePortsList", "true", "set",
                         "generateActivePortsList", "true", "add", "portGroup", "\"g1\"", "ls", "portGroup", "del",
                         "portGroup", "\"g1\"", "count", "portGroup", "get", "generateActivePortsList"});
  EXPECT_EQ(out,
            "created Orv::PortGroupDir dir\n"
            "  announced generateActivePortsList (260) old false\n"
            "set generateActivePortsList\n"
            "set generateActivePortsList\n"  // the same value again: no announcement
            "  announced portGroup (258) key \"g1\" (new)\n"
            "added to portGroup\n"
            "portGroup (1):\n"
            "  \"g1\" -> Orv::PortGroup(g1)\n"
            "  announced portGroup (258) key \"g1\" old Orv::PortGroup(g1)\n"
            "deleted from portGroup: Orv::PortGroup(g1)\n"
            "portGroup has 0 entries\n"
            "generateActivePortsList = true\n");
}

TEST(VemshEntity, CollectionEntriesWithOldValues) {
  std::string out = run({"Orv::PortGroupConfig", "c", "put", "config", "\"a\"", "\"b\"", "put", "config", "\"a\"",
                         "\"c\"", "ls", "config"});
  EXPECT_NE(out.find("announced config (258) key \"a\" old \"b\""), std::string::npos) << out;
  EXPECT_NE(out.find("  \"a\" -> \"c\"\n"), std::string::npos) << out;
}

TEST(VemshEntity, UserErrors) {
  EXPECT_THROW(run({"Orv::PortList", "x"}), vemsh::UserError);  // not generically constructible
  EXPECT_THROW(run({"Orv::Nope", "x"}), vemsh::UserError);
  EXPECT_THROW(run({"Orv::PortGroupConfig", "c", "get", "nope"}), vemsh::UserError);
  EXPECT_THROW(run({"Orv::PortGroupConfig", "c", "put", "config", "unquoted", "\"v\""}), vemsh::UserError);
  EXPECT_THROW(run({"Orv::PortGroupConfig", "c", "frobnicate", "config"}), vemsh::UserError);
  EXPECT_THROW(run({"Orv::PortGroupConfig", "c", "put", "config"}), vemsh::UserError);
  EXPECT_THROW(run({"Orv::PortGroupConfig", "c", "count", "nameString"}), vemsh::UserError);
}

}  // namespace
