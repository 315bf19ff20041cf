#include "Commands.h"
#include "Describe.h"
#include "TestModule.h"

#include <Orv/OrvPortVlanPair.h>

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

namespace {

// `describe` output read back: the type's labelled lines, and each member's heading and labelled lines.
struct Described {
  struct Member {
    std::string heading;  // "member 2 port: field"
    std::map<std::string, std::string> fields;
  };
  std::string heading;
  std::map<std::string, std::string> type;
  std::map<std::string, Member> members;
};

Described describeAndRead(std::string_view typeName) {
  std::ostringstream out;
  vemsh::describeType(out, typeName);
  Described d;
  std::map<std::string, std::string>* fields = &d.type;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("type ", 0) == 0) {
      d.heading = line;
    } else if (line.rfind("member ", 0) == 0) {
      // "member <id> <name>: <kind>"
      std::size_t nameAt = line.find(' ', 7) + 1;
      std::string name = line.substr(nameAt, line.find(':', nameAt) - nameAt);
      d.members[name].heading = line;
      fields = &d.members[name].fields;
    } else {
      // "  <label>  <value>": the label ends at the first run of two blanks.
      EXPECT_EQ(line.rfind("  ", 0), 0u) << "unexpected line: " << line;
      std::size_t gap = line.find("  ", 2);
      std::size_t valueAt = line.find_first_not_of(' ', gap);
      (*fields)[line.substr(2, gap - 2)] = line.substr(valueAt);
    }
  }
  return d;
}

TEST(VemshDescribe, ValueTypeRecordAndMembers) {
  Described d = describeAndRead("Orv::PortVlanPair");
  EXPECT_EQ(d.heading, "type Orv::PortVlanPair");
  EXPECT_EQ(d.type["module"], "OrvPortVlanPair, index 0");
  EXPECT_EQ(d.type["kind"], "value (0x21)");
  // The layout word must decode to what the compiler laid out (it differs between 64- and 32-bit x86).
  EXPECT_EQ(d.type["layout"], "size " + std::to_string(sizeof(Orv::PortVlanPair)) + ", alignment " +
                                  std::to_string(alignof(Orv::PortVlanPair)));
  EXPECT_EQ(d.type["base"], "none");
  EXPECT_EQ(d.type["constructor"], "port: Pelix::IntfId, vlan: U16");
  EXPECT_EQ(d.type["entry points"], "value methods, construct from arguments, attribute operation");
  EXPECT_EQ(d.type["members"], "3");
  ASSERT_EQ(d.members.size(), 3u);

  const auto& port = d.members["port"];
  EXPECT_EQ(port.heading, "member 2 port: field");
  EXPECT_EQ(port.fields.at("flags A"), "0x2c00  stored, fixed, readable");
  EXPECT_EQ(port.fields.at("flags B"), "0x2101  constructor parameter, stored member, stored data");
  EXPECT_EQ(port.fields.at("type"), "Pelix::IntfId");  // resolved through the type-reference table

  EXPECT_EQ(d.members["vlan"].heading, "member 3 vlan: field");
  EXPECT_EQ(d.members["vlan"].fields.at("type"), "U16");

  const auto& hash = d.members["hash"];
  EXPECT_EQ(hash.heading, "member 4 hash: computed");
  EXPECT_EQ(hash.fields.at("flags A"), "0x2800  fixed, readable");
  EXPECT_EQ(hash.fields.at("flags B"), "0x0000");
  EXPECT_EQ(hash.fields.at("type"), "U32");
  EXPECT_EQ(hash.fields.count("key type"), 0u);
}

TEST(VemshDescribe, EnumerationShowsHoldingTypeAndCodes) {
  Described d = describeAndRead("VemshTest::Colour");
  EXPECT_EQ(d.type["kind"], "enumeration (0x25)");
  EXPECT_EQ(d.type["held in"], "U8");
  EXPECT_EQ(d.type["constructor"], "none");
  EXPECT_EQ(d.members["green"].heading, "member 1 green: enumerator");
  EXPECT_EQ(d.members["green"].fields.at("flags A"), "0x2888  fixed, readable, enumerator, constant");
  EXPECT_EQ(d.members["green"].fields.at("code"), "2");
  EXPECT_EQ(d.members["blue"].fields.at("code"), "4");
  EXPECT_EQ(d.members["blue"].fields.count("type"), 0u);
}

TEST(VemshDescribe, EntityAttributesCollectionsAndMethods) {
  Described d = describeAndRead("VemshTest::Switch");
  EXPECT_EQ(d.type["kind"], "entity+protobuf (0xe0)");
  EXPECT_EQ(d.type["base"], "Vem::Entity");
  EXPECT_EQ(d.type["constructor"], "port: U32");
  EXPECT_EQ(d.type["entry points"], "none");

  const auto& colour = d.members["colour"];
  EXPECT_EQ(colour.heading, "member 2 colour: attribute");
  EXPECT_EQ(colour.fields.at("flags A"), "0xdc00  entity attribute, stored, changes, readable, setter");
  EXPECT_EQ(colour.fields.at("type"), "VemshTest::Colour");

  const auto& ports = d.members["ports"];
  EXPECT_EQ(ports.heading, "member 3 ports: collection");
  EXPECT_EQ(ports.fields.at("flags B"), "0x8009  stored data, set, protobuf values");
  EXPECT_EQ(ports.fields.at("type"), "Vem::String");
  EXPECT_EQ(ports.fields.at("key type"), "U32");

  const auto& find = d.members["find"];
  EXPECT_EQ(find.heading, "member 4 find: method");
  EXPECT_EQ(find.fields.at("flags A"), "0x0810  readable, method");
  EXPECT_EQ(find.fields.at("returns"), "bool");
  EXPECT_EQ(find.fields.at("parameters"), "port: U32, strict: bool");
}

TEST(VemshFlags, WordsForBitsAndCombinationsTheCompilerDoesNotEmit) {
  // One bit: constant on data, static on methods.
  EXPECT_EQ(vemsh::flagsAWords(0x0818), "readable, method, static");
  // Bits with no meaning are shown, not dropped.
  EXPECT_EQ(vemsh::flagsAWords(0x2c42), "stored, fixed, readable, 0x0042");
  EXPECT_EQ(vemsh::flagsBWords(0x0410), "0x0410");
  EXPECT_EQ(vemsh::memberKind(0xdd21), "owned-collection");
  EXPECT_EQ(vemsh::memberKind(0x0c18), "static method");
  EXPECT_EQ(vemsh::memberKind(0x0881), "enumerator");
  EXPECT_EQ(vemsh::memberKind(0x8400), "mutable");
  EXPECT_EQ(vemsh::memberKind(0x0000), "other");
  EXPECT_EQ(vemsh::kindName(0x61), "value+polymorphic");
  EXPECT_EQ(vemsh::kindName(0xb3), "kind 0xb3");
}

}  // namespace
