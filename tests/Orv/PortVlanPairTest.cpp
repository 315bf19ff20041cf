// Orv::PortVlanPair's own hash recipe, its text form and the parser's refusals, its registration records and
// its log bytes.
#include <Orv/OrvPortVlanPair.h>
#include <Vem/CharRange.h>
#include <Vem/GenericIf.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <Brek/HashMix.h>
#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace {

using Orv::PortVlanPair;
using Pelix::IntfId;

TEST(PortVlanPair, UnseededHashMixesRawPortBytesThenVlan) {
  for (const char* name : {"", "Ethernet3/1", "Port-Channel9"}) {
    PortVlanPair p(IntfId(name), 42);
    Brek::HashMix expected(0);
    uint64_t raw = IntfId(name).raw();
    unsigned char bytes[8];
    std::memcpy(bytes, &raw, 8);
    expected.mixBytes(bytes, 8);
    expected.mix(uint16_t{42});
    EXPECT_EQ(p.hash(), expected.result()) << name;
  }
  // The empty port still contributes its 8 bytes: a different VLAN gives a different hash.
  EXPECT_NE(PortVlanPair(IntfId(), 1).hash(), PortVlanPair(IntfId(), 2).hash());
}

// The seeded hash's recipe, its seed and the generic entry point are checked on IntfPairKey; here, that
// it spreads over the values of one field.
TEST(PortVlanPair, SeededHashSpreads) {
  std::set<uint32_t> seen;
  for (uint16_t vlan = 1; vlan <= 4094; ++vlan) seen.insert(PortVlanPair(IntfId("Ethernet1"), vlan).hash(0));
  EXPECT_EQ(seen.size(), 4094u);
}

TEST(PortVlanPair, ParserRefusesMalformedTextWithTheFieldNamed) {
  const std::pair<const char*, const char*> cases[] = {
      {"Orv::PortVlanPair(port=Ethernet1, vlan=70000)", "vlan: number too large for U16"},
      {"Orv::PortVlanPair(port=Ethernet99999, vlan=1)", "port: Pelix::IntfId"},
      {"Orv::PortVlanPair(vlan=1, port=Ethernet1)", "expected field 'port'"},
      {"Orv::PortVlanPair(port=Ethernet1, vlan=1)x", "unexpected text after the value"},
      {"Orv::PortVlanPair(port=Ethernet1, vlan=1", "expected ')'"},
      {"Orv::PortVlanPai(port=Ethernet1, vlan=1)", "expected 'Orv::PortVlanPair'"},
      {"", "expected 'Orv::PortVlanPair'"},
      {"Orv::PortVlanPair(port=Ethernet1, vlan=-1)", "vlan: expected a U16 number"},
  };
  for (const auto& [text, message] : cases) {
    const std::string error = OrvTest::errorOf<Vem::RangeException>([&] { Vem::strepToValue<PortVlanPair>(text); });
    EXPECT_NE(error.find(message), std::string::npos) << text << ": " << error;
  }
}

// Parsing through the generic interface is checked on every value type (tests/Vem), a refused parse that
// leaves the destination alone on AclKey, the stream operator of the generic form on GreTunnelNextHop.
TEST(PortVlanPair, GenericMethodsCopyAndPrint) {
  const Vem::VemType t = PortVlanPair::vemType();
  const auto* m = Vem::GenericIfImpl::valueMethods(t);
  const PortVlanPair p(IntfId("Ethernet3/1"), 100);
  alignas(PortVlanPair) unsigned char copy[sizeof(PortVlanPair)];
  m->construct(copy, &p);
  EXPECT_EQ(m->strRep(copy, t, 0), "Orv::PortVlanPair(port=Ethernet3/1, vlan=100)");
  m->destruct(copy);
}

// The registration records beyond what `vemsh describe` shows of this type (tests/vemsh): the reserved
// fields are zero and registering again is harmless. (Values built from arguments through the table: see
// DerivedValueRegistration in PrefixKeysTest.)
TEST(PortVlanPairRegistration, ReservedFieldsAndReRegistration) {
  const Vem::RegisteredModule* m = Vem::Registry::moduleByName("OrvPortVlanPair");
  ASSERT_NE(m, nullptr);
  const Vem::VemType t = PortVlanPair::vemType();
  EXPECT_EQ(m->descriptor, t.module());
  EXPECT_EQ(m->descriptor->typeCount, 1u);
  const std::size_t before = Vem::Registry::moduleCount();
  Vem::vemModuleIs(m->descriptor, "OrvPortVlanPair", m->tag);
  EXPECT_EQ(Vem::Registry::moduleCount(), before);

  const Vem::TypeRecord& r = t.record();
  EXPECT_EQ(r.zero1, 0);
  EXPECT_EQ(r.zero4, 0);
  EXPECT_EQ(r.zero7, 0);
  EXPECT_EQ(r.nameField & 0xf, 0);
  EXPECT_TRUE(t.module()->params[0].terminator());
  for (const Vem::MemberRecord& mr : t.members()) {
    SCOPED_TRACE(std::string(t.memberName(mr)));
    EXPECT_EQ(mr.extra, 0u);
    EXPECT_EQ(mr.firstParam, 0);
    EXPECT_EQ(mr.keyType, -1);
    EXPECT_EQ(mr.nameField & ~0x00fff000u, 0u);
  }
  // The foreign type is reached through the type-reference table.
  EXPECT_EQ(t.resolve(t.members()[0].type).record().size(), 8u);
}

TEST(PortVlanPairLog, TenBytesBigEndianAndBack) {
  PortVlanPair p(IntfId("Ethernet3/1"), 0x0102);
  const std::string bytes = OrvTest::logBytes(p);
  ASSERT_EQ(bytes.size(), 10u);
  uint64_t raw = IntfId("Ethernet3/1").raw();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(static_cast<uint8_t>(bytes[i]), static_cast<uint8_t>(raw >> (56 - 8 * i)));
  EXPECT_EQ(bytes.substr(8), std::string("\x01\x02", 2));
  // It reads back, and every truncation is refused without reading past the end.
  OrvTest::expectLogReadsBack(p);
}

}  // namespace
