// The shell's parts that a script does not reach well: word splitting, completion, and the decoding of
// log bytes checked against the bytes the generated code really writes.
#include "Commands.h"
#include "RecordDecoder.h"
#include "Session.h"
#include "Words.h"

#include <Orv/OrvAclQuarnTypes.h>
#include <Orv/OrvInterfaceTypes.h>
#include <Orv/OrvPortGroupTypes.h>
#include <Orv/OrvPortVlanPair.h>
#include <Vem/LogForm.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/Registry.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST(VemshWords, BlanksSplitOnlyOutsideQuotesAndBrackets) {
  EXPECT_THAT(vemsh::splitWords("  set ports \"Ethernet 1\"  true "), ElementsAre("set", "ports", "\"Ethernet 1\"", "true"));
  EXPECT_THAT(vemsh::splitWords("value Orv::PortVlanPair Orv::PortVlanPair(port=Et1, vlan=5)"),
              ElementsAre("value", "Orv::PortVlanPair", "Orv::PortVlanPair(port=Et1, vlan=5)"));
  // Single quotes group and go, as in a command shell; double quotes belong to the text form.
  EXPECT_THAT(vemsh::splitWords("set ports '\"a b\"' true"), ElementsAre("set", "ports", "\"a b\"", "true"));
  EXPECT_THAT(vemsh::splitWords("set ports \"a\\\"b\" true"), ElementsAre("set", "ports", "\"a\\\"b\"", "true"));
  EXPECT_THAT(vemsh::splitWords("ls # the rest is a comment"), ElementsAre("ls"));
  EXPECT_THAT(vemsh::splitWords("   "), IsEmpty());
  EXPECT_THROW(vemsh::splitWords("set ports \"open"), vemsh::UserError);
  EXPECT_THROW(vemsh::splitWords("set ports 'open"), vemsh::UserError);
}

struct SessionAt {
  std::ostringstream out, err;
  vemsh::Session session{out, err};
  void run(std::string_view line) { ASSERT_EQ(session.run(line), vemsh::Session::Outcome::done) << err.str(); }
};

TEST(VemshCompletion, CommandsTypesAttributesAndKeys) {
  SessionAt s;
  EXPECT_THAT(s.session.complete("", "wa"), ElementsAre("watch"));
  // new offers only types it can create by name; enum only enumerations.
  EXPECT_THAT(s.session.complete("new ", "Orv::PortGroup"), ElementsAre("Orv::PortGroupConfig", "Orv::PortGroupDir"));
  EXPECT_THAT(s.session.complete("enum ", "Orv::AclIntf"), ElementsAre("Orv::AclIntfState"));
  EXPECT_THAT(s.session.complete("describe ", "Orv::PortL"), ElementsAre("Orv::PortList"));
  s.run("new Orv::PortGroupDir groups");
  s.run("set portGroup \"g1\"");
  s.run("set portGroup \"g2\"");
  EXPECT_THAT(s.session.complete("set ", "gen"), ElementsAre("generateActivePortsList"));
  EXPECT_THAT(s.session.complete("cd ", ""), ElementsAre("portGroup"));
  EXPECT_THAT(s.session.complete("cd portGroup ", "\"g"), ElementsAre("\"g1\"", "\"g2\""));
  s.run("cd /");
  EXPECT_THAT(s.session.complete("cd ", "gr"), ElementsAre("groups"));
}

TEST(VemshSession, PlacesAndTheirErrors) {
  SessionAt s;
  EXPECT_EQ(s.session.run("get x"), vemsh::Session::Outcome::failed);
  EXPECT_THAT(s.err.str(), HasSubstr("not in an entity"));
  s.run("new Orv::PortGroupDir groups");
  EXPECT_EQ(s.session.run("new Orv::PortGroupDir groups"), vemsh::Session::Outcome::failed);
  EXPECT_THAT(s.err.str(), HasSubstr("exists already"));
  EXPECT_EQ(s.session.run("new Orv::PortList loose"), vemsh::Session::Outcome::failed);
  EXPECT_EQ(s.session.run("cd portGroup \"absent\""), vemsh::Session::Outcome::failed);
  EXPECT_EQ(s.session.where(), "groups");
  s.run("set portGroup \"g1\"");
  s.run("cd portGroup \"g1\"");
  EXPECT_EQ(s.session.where(), "groups/portGroup[\"g1\"]");
  s.run("cd ..");
  EXPECT_EQ(s.session.where(), "groups");
  // Deleting a child here; the place stays valid.
  s.run("del portGroup \"g1\"");
  s.run("ls portGroup");
  EXPECT_THAT(s.out.str(), HasSubstr("portGroup (0):"));
}

const Vem::ValueLogForm* formOf(const char* typeName) {
  const auto type = Vem::Registry::typeByName(typeName);
  return type ? Vem::valueLogForm(*type) : nullptr;
}

TEST(VemshLogForm, RegisteredFormsWriteWhatTheGeneratedCodeWrites) {
  const Vem::ValueLogForm* form = formOf("Orv::PortVlanPair");
  ASSERT_NE(form, nullptr);
  const Orv::PortVlanPair v(Pelix::IntfId("Ethernet3/1"), 100);
  std::string bytes, real;
  Vem::NboAttrLog::Out out(bytes), realOut(real);
  form->write(out, &v);
  Vem::LogTraits<Orv::PortVlanPair>::write(realOut, v);
  EXPECT_EQ(bytes, real);
  EXPECT_EQ(form->size(&v), 10u);
  Orv::PortVlanPair back;
  Vem::NboAttrLog::In in(bytes);
  form->read(in, &back);
  EXPECT_EQ(back, v);
  // Entity types travel as entities, not as values.
  EXPECT_TRUE(Vem::Registry::typeByName("Orv::PortList"));
  EXPECT_EQ(formOf("Orv::PortList"), nullptr);
}

TEST(VemshLogForm, EnumerationsTravelAsU32AndRefuseWideCodes) {
  const Vem::ValueLogForm* form = formOf("Orv::AclIntfState");
  ASSERT_NE(form, nullptr);
  const auto code = static_cast<uint8_t>(Orv::AclIntfState::aclIntfBlocked);
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  form->write(out, &code);
  EXPECT_EQ(bytes, std::string("\0\0\0\2", 4));
  uint8_t back = 0;
  Vem::NboAttrLog::In wide(std::string_view("\0\0\1\0", 4));
  EXPECT_THROW(form->read(wide, &back), Vem::RangeException);
  EXPECT_EQ(back, 0);
}

TEST(VemshEnum, ByCodeByNameAndAll) {
  std::ostringstream out;
  vemsh::showEnum(out, "Orv::AclIntfState", "aclIntfBlocked");
  vemsh::showEnum(out, "Orv::AclIntfState", "3");
  EXPECT_EQ(out.str(), "2 aclIntfBlocked\n3 aclIntfWaitingToUnblock\n");
  std::ostringstream all;
  vemsh::showEnum(all, "Orv::AclIntfState", "");
  EXPECT_THAT(all.str(), HasSubstr("Orv::AclIntfState, held in U8, 4 enumerators"));
  EXPECT_THAT(all.str(), HasSubstr("0     aclIntfUnblocked"));
  std::ostringstream none;
  EXPECT_THROW(vemsh::showEnum(none, "Orv::AclIntfState", "4"), vemsh::UserError);
  EXPECT_THROW(vemsh::showEnum(none, "Orv::AclIntfState", "nosuch"), vemsh::UserError);
  EXPECT_THROW(vemsh::showEnum(none, "Orv::PortVlanPair", ""), vemsh::UserError);
  EXPECT_EQ(none.str(), "");
}

// The decoder follows a real sender's stream: it learns the child's id from its owner's record.
TEST(VemshRecords, DecodesARealStreamAndSurvivesACorruptOne) {
  auto dir = Orv::portGroupDirFactory(Lumo::String("groups"));
  Vem::NboAttrLog::Sender sender;
  sender.attach(dir);
  auto group = dir->portGroupIs(Lumo::String("g1"));
  auto mode = group->modeIs(Lumo::String("fast"));
  mode->portsIs(Lumo::String("Et1"), true);
  sender.flowOut();
  vemsh::RecordDecoder brief(true);
  std::ostringstream out;
  brief.feed(out, sender.output());
  EXPECT_THAT(out.str(), HasSubstr("(Orv::PortList), attribute record, attribute 258 ports: key \"Et1\", value true"));
  EXPECT_THAT(out.str(), HasSubstr("attribute 258 mode: child entity id"));
  EXPECT_THAT(out.str(), Not(HasSubstr("not decoded")));
  EXPECT_EQ(brief.partial(), 0u);

  // A record whose payload lies about its contents: shown as undecoded bytes, nothing read past it.
  vemsh::RecordDecoder decoder;
  std::ostringstream bad;
  const std::string_view lying("\0\0\0\1\0\x01\x02\0\0\0\3\0\0\x09", 14);
  decoder.feed(bad, lying);
  EXPECT_THAT(bad.str(), HasSubstr("not decoded"));
  // A length beyond any record: the stream is declared corrupt.
  std::ostringstream corrupt;
  decoder.feed(corrupt, std::string_view("\0\0\0\1\0\x01\x02\xff\xff\xff\xff", 11));
  EXPECT_THAT(corrupt.str(), HasSubstr("the stream is corrupt"));
  EXPECT_EQ(decoder.partial(), 0u);
}

// An entry of a collection of references: the key, then the id of the entity its root record announced.
TEST(VemshRecords, DecodesAReferenceAndTheRootBeforeIt) {
  auto dir = OrvTypes::orvPortStatusDirFactory(Lumo::String("ports"));
  Vem::NboAttrLog::Sender sender;
  sender.attach(dir);
  dir->portStatusIs(OrvTypes::OrvPortStatusIs(Pelix::IntfId("Ethernet1")));
  vemsh::RecordDecoder brief(true);
  std::ostringstream out;
  brief.feed(out, sender.output());
  EXPECT_THAT(out.str(), HasSubstr("record: entity 2, new root record, attribute 0: type OrvTypes::OrvPortStatus"));
  EXPECT_THAT(out.str(), HasSubstr("attribute 258 portStatus: key Ethernet1, referenced entity id 2"));
  EXPECT_THAT(out.str(), Not(HasSubstr("not decoded")));
}

}  // namespace
