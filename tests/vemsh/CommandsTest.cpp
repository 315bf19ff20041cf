#include "Commands.h"
#include "Dispatch.h"
#include "Program.h"
#include "RecordDecoder.h"
#include "TestModule.h"

#include <Orv/OrvPortVlanPair.h>
#include <Vem/Hash.h>
#include <Vem/LogForm.h>
#include <Vem/NboAttrLogSa.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

std::vector<std::string> words(const std::string& line) {
  std::vector<std::string> result;
  std::istringstream in(line);
  for (std::string w; in >> w;) result.push_back(w);
  return result;
}

std::string hashText(uint32_t hash) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(hash));
  return text;
}

using Outcome = vemshtest::ProgramResult;
using vemshtest::runCommand;

std::string commandLine(const std::vector<std::string_view>& args) {
  std::string line = "vemsh";
  for (std::string_view a : args) line += " " + std::string(a);
  return line;
}

// A user error is one line on the error stream, before any output, and exit status 1.
void expectUserError(const std::vector<std::string_view>& args, const std::string& message) {
  SCOPED_TRACE(commandLine(args));
  Outcome r = runCommand(args);
  EXPECT_EQ(r.status, vemsh::exitUserError);
  EXPECT_EQ(r.out, "");
  if (message.empty()) {
    EXPECT_THAT(r.err, StartsWith("vemsh: "));
    EXPECT_EQ(lines(r.err).size(), 1u);
  } else {
    EXPECT_EQ(r.err, "vemsh: " + message + "\n");
  }
}

TEST(VemshModules, LoadOrderSymbolsAndCounts) {
  std::ostringstream out;
  vemsh::listModules(out);
  std::vector<std::string> rows = lines(out.str());
  ASSERT_GE(rows.size(), 4u);
  EXPECT_EQ(words(rows[0]), (std::vector<std::string>{"#", "MODULE", "DESCRIPTOR", "SYMBOL", "TYPES"}));
  std::vector<std::string> names;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    std::vector<std::string> w = words(rows[i]);
    ASSERT_EQ(w.size(), 4u) << rows[i];
    EXPECT_EQ(w[0], std::to_string(i - 1));
    // Every module has a tag but the type system's own, _Vem_PtrInterface_vemModule.
    EXPECT_THAT(w[2], ::testing::MatchesRegex("_" + w[1] + "(_[0-9a-f]+)?_vemModule"));
    EXPECT_EQ(rows[i].find(w[2]), rows[0].find("DESCRIPTOR")) << "columns are aligned";
    names.push_back(w[1]);
  }
  // A library's modules register before those of the libraries and programs that depend on it (a
  // library another test loads may follow).
  EXPECT_THAT(names, ::testing::IsSupersetOf({"Pelix", "OrvPortVlanPair", "VemshTest"}));
  auto at = [&](const char* name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
  EXPECT_THAT(words(rows[at("VemshTest") + 1]),
              ::testing::ElementsAre(::testing::_, "VemshTest", "_VemshTest_5e11ab1e_vemModule", "2"));
  EXPECT_LT(at("Pelix"), at("OrvPortVlanPair"));
  EXPECT_LT(at("OrvPortVlanPair"), at("VemshTest"));
}

TEST(VemshTypes, OneModuleOrAll) {
  std::ostringstream one;
  vemsh::listTypes(one, "VemshTest");
  std::vector<std::string> rows = lines(one.str());
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(words(rows[0]), (std::vector<std::string>{"MODULE", "INDEX", "TYPE", "KIND", "SIZE", "ALIGN", "MEMBERS"}));
  EXPECT_EQ(words(rows[1]),
            (std::vector<std::string>{"VemshTest", "0", "VemshTest::Colour", "enumeration", "1", "1", "3"}));
  EXPECT_EQ(words(rows[2]),
            (std::vector<std::string>{"VemshTest", "1", "VemshTest::Switch", "entity+protobuf", "48", "8", "3"}));
  EXPECT_EQ(rows[1].find("VemshTest::"), rows[0].find("TYPE"));

  std::ostringstream all;
  vemsh::listTypes(all, "");
  for (const char* type : {"Pelix::IntfId", "Orv::PortVlanPair", "VemshTest::Switch"})
    EXPECT_THAT(all.str(), HasSubstr(type));
}

TEST(VemshValue, TextHashAndLogBytesNamedFieldByField) {
  std::ostringstream out;
  vemsh::showValue(out, "Orv::PortVlanPair", "Orv::PortVlanPair(port=Ethernet3/1, vlan=100)");
  const Orv::PortVlanPair v(Pelix::IntfId("Ethernet3/1"), 100);
  std::string bytes;  // what the generated code writes
  Vem::NboAttrLog::Out log(bytes);
  Vem::LogTraits<Orv::PortVlanPair>::write(log, v);
  const std::string hex = vemsh::hexBytes(bytes);
  EXPECT_THAT(out.str(), StartsWith("text: Orv::PortVlanPair(port=Ethernet3/1, vlan=100)\nhash: " + hashText(v.hash()) +
                                    "\nlog form, 10 bytes: " + hex + "\n"));
  EXPECT_THAT(out.str(), HasSubstr("  " + hex.substr(0, 16)));
  EXPECT_THAT(out.str(), HasSubstr("port: Ethernet3/1\n"));
  EXPECT_THAT(out.str(), HasSubstr("  0064"));
  EXPECT_THAT(out.str(), HasSubstr("vlan: 100\n"));

  // A platform value, through the same table; its log form is its own, one field.
  std::ostringstream platform;
  vemsh::showValue(platform, "Pelix::IntfId", "Ethernet3/1");
  EXPECT_THAT(platform.str(), StartsWith("text: Ethernet3/1\nhash: " + hashText(Pelix::IntfId("Ethernet3/1").hash()) +
                                         "\nlog form, 8 bytes: "));
  EXPECT_THAT(platform.str(), HasSubstr("Pelix::IntfId\n"));

  // The tests' own module is written by hand and registers no log forms.
  std::ostringstream colour;
  vemsh::showValue(colour, "VemshTest::Colour", "green");
  EXPECT_EQ(colour.str(),
            "text: green\nhash: " + hashText(Vem::hashSingleAttr(uint32_t{2}, 0)) + "\nlog form: none registered\n");
}

TEST(VemshDispatch, UserErrorsNameTheirCause) {
  expectUserError({"types", "OrvNoSuchModule"}, "no module named OrvNoSuchModule");
  expectUserError({"describe", "Orv::NoSuchType"}, "no type named Orv::NoSuchType");
  expectUserError({"describe", "PortVlanPair"}, "no type named PortVlanPair");  // names are qualified
  expectUserError({"value", "Orv::Nope", "x"}, "no type named Orv::Nope");
  expectUserError({"value", "VemshTest::Switch", "x"}, "VemshTest::Switch is an entity type, not a value");
  expectUserError({"value", "VemshTest::Colour", "purple"}, "VemshTest::Colour: no enumerator is named 'purple'");
  EXPECT_THAT(runCommand({"value", "VemshTest::Colour", "green red"}).err, HasSubstr("green red"));
}

TEST(VemshDispatch, TextThatDoesNotParseIsAUserError) {
  const char* bad[] = {
      "Orv::PortVlanPair(port=Ethernet1, vlan=70000)",       // out of range for U16
      "Orv::PortVlanPair(port=Ethernet1, vlan=x)",           // not a number
      "Orv::PortVlanPair(port=Ethernet1)",                   // missing field
      "Orv::PortVlanPair(port=Ethernet1, vlan=5) trailing",  // text after the value
      "Orv::PortVlanPair(port=Ethernet0x, vlan=5)",          // not an interface name
      "Orv::Other(port=Ethernet1, vlan=5)",                  // another type's form
      "",
  };
  for (const char* text : bad) expectUserError({"value", "Orv::PortVlanPair", text}, "");
}

TEST(VemshDispatch, ExitStatusAndStreams) {
  // --load needs a library, and is only recognised before the command.
  for (auto args : {std::vector<std::string_view>{},
                    {"bogus"},
                    {"describe"},
                    {"types", "a", "b"},
                    {"modules", "x"},
                    {"--load"},
                    {"modules", "--load", VEMSH_LOADABLE_LIBRARY}}) {
    SCOPED_TRACE(commandLine(args));
    Outcome usage = runCommand(args);
    EXPECT_EQ(usage.status, vemsh::exitUsage);
    EXPECT_EQ(usage.out, "");
    EXPECT_THAT(usage.err, HasSubstr("usage: vemsh"));
  }
  EXPECT_THAT(runCommand({"bogus"}).err, StartsWith("vemsh: unknown command 'bogus'\n"));
  EXPECT_EQ(runCommand({"describe"}).err, "usage: vemsh describe TYPE\n");

  Outcome help = runCommand({"help"});
  EXPECT_EQ(help.status, vemsh::exitOk);
  EXPECT_THAT(help.out, StartsWith("usage: vemsh [--load LIBRARY]... COMMAND [ARGUMENTS]\n"));
  for (const char* command : {"modules", "types [MODULE]", "describe TYPE", "value TYPE TEXT", "help"})
    EXPECT_THAT(help.out, HasSubstr("\n  " + std::string(command))) << command;
}

}  // namespace
