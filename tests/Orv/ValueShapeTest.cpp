// The generated value-type shape on a test module that uses every kind of field: bounds, enumerations
// of both widths, strings with awkward bytes, nested values, constants and declared hashes.
#include <modules/VemTestTypes.h>

#include <Vem/GenericIf.h>
#include <Vem/NboAttrLog.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include "OrvTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using namespace VemTest;

// The parser's refusal, with its own message, is in FreeParserCommitsOnlyAWholeValue.
TEST(ValueBound, ConstructorAndRegistryConstructionRefuse) {
  EXPECT_EQ(Bounded(4095).value(), 4095);
  EXPECT_EQ(Bounded(10, 10).max(), 10);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([] { Bounded(4096); }), "VemTest::Bounded::value > _max not allowed");
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([] { Bounded(11, 10); }), "VemTest::Bounded::value > _max not allowed");
  EXPECT_EQ(Bounded(3, 9).sharing(), 9);  // hand-written beside the module
  // Constructed from arguments through the registry, the bound still holds.
  auto t = Bounded::vemType();
  uint16_t value = 5, max = 4;
  const void* args[] = {&value, &max};
  alignas(Bounded) unsigned char storage[sizeof(Bounded)];
  EXPECT_THROW(t.impl().constructFromCtorArgs(storage, args), Vem::RangeException);
}

TEST(Enumerations, ByCodeByNameAndText) {
  EXPECT_EQ(ColorInstance(2), Color::blue);
  EXPECT_EQ(ColorInstance("green"), Color::green);
  EXPECT_EQ(WideInstance(70000), Wide::high);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([] { WideInstance(0); }), "VemTest::Wide: no enumerator has the code 0");
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([] { ColorInstance("purple"); }), "VemTest::Color: no enumerator is named 'purple'");
  EXPECT_EQ(stringValue(Color::red), "red");
  EXPECT_EQ(stringValue(static_cast<Color>(9)), "9");
  Vem::CharRange in("magenta, rest");
  Inner::Color c{};
  EXPECT_TRUE(sequenceToValue(in, &c));
  EXPECT_EQ(c, Inner::Color::magenta);
  EXPECT_EQ(in.rest(), ", rest");
  Vem::CharRange bad("greenish");
  Color d = Color::red;
  EXPECT_FALSE(sequenceToValue(bad, &d));
  EXPECT_EQ(bad.offset(), 0u);
  EXPECT_EQ(sizeof(Color), 1u);
  EXPECT_EQ(sizeof(Wide), 4u);
}

// The kind, the U8 holder and the enumerator flags are shown by `vemsh describe` (tests/vemsh); here the
// U32 holder and the enumerator ids.
TEST(Enumerations, RegisteredWithHoldingWidthAndEnumeratorRecords) {
  EXPECT_EQ(Vem::Registry::typeByName("VemTest::Color").value().record().layout(), 0x0008);
  auto wide = Vem::Registry::typeByName("VemTest::Wide").value();
  EXPECT_EQ(wide.record().baseType, -9);
  auto members = wide.members();
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(members[1].extra, 70000u);
  // Enumerator ids are their positions in the module's member table: unique within the module.
  EXPECT_EQ(members[0].attributeId, wide.record().firstMember);
  EXPECT_EQ(members[1].attributeId, wide.record().firstMember + 1);
  // Nested namespaces keep their own enumerations apart.
  EXPECT_TRUE(Vem::Registry::typeByName("VemTest::Inner::Color").has_value());
}

TEST(ValueText, EveryFieldKindAndSpecialNumbersRoundTrip) {
  Everything v;
  EXPECT_EQ(v.name(), "default name");
  EXPECT_EQ(v.color(), Color::green);
  EXPECT_EQ(v.count(), 7u);
  EXPECT_EQ(v.delta(), -5);
  EXPECT_TRUE(v.flag());
  EXPECT_FALSE(static_cast<bool>(v));
  v.countIs(4000000000u);
  v.bigIs(UINT64_MAX);
  v.deltaIs(INT32_MIN);
  v.flagIs(false);
  v.whenIs(1234.5678);
  v.portIs(Pelix::IntfId("Ethernet1/2"));
  v.boundedIs(Bounded(7, 8));
  EXPECT_TRUE(static_cast<bool>(v));
  Everything back = Vem::strepToValue<Everything>(v.stringValue().view());
  EXPECT_EQ(back, v) << v.stringValue();
  EXPECT_EQ(back.stringValue(), v.stringValue());

  v.whenIs(std::nan(""));
  back = Vem::strepToValue<Everything>(v.stringValue().view());
  EXPECT_TRUE(std::isnan(back.when()));
  EXPECT_NE(back, v);  // a NaN time is unequal even to itself
  EXPECT_EQ(v, v);     // except when it is the very same value
  for (double when : {double(-INFINITY), 0.1}) {
    v.whenIs(when);
    EXPECT_EQ(Vem::strepToValue<Everything>(v.stringValue().view()).when(), when);
  }
}

TEST(ValueText, StringsWithAnyBytesRoundTrip) {
  const std::string awkward[] = {std::string(), std::string("a\0b", 3), "quote\" and \\ backslash", "line\nbreak\ttab\r",
                                 "\x01\x7f\x80\xff", "Orv::PortVlanPair(port=, vlan=1)", std::string(300, ','), "\\x41"};
  for (const std::string& s : awkward) {
    Everything v(Lumo::String(s), Color::red, Wide::high);
    Everything back = Vem::strepToValue<Everything>(v.stringValue().view());
    EXPECT_EQ(back.name().view(), s);
    EXPECT_EQ(back, v);
  }
}

TEST(ValueText, FreeParserCommitsOnlyAWholeValue) {
  // The bound is checked after every field has been read: the range must still be put back.
  const std::string bad = "VemTest::Bounded(value=11, max=10), next";
  Vem::CharRange range(bad);
  Bounded target(3, 9);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { sequenceToValue(range, &target); }), "VemTest::Bounded::value > max_ not allowed");
  EXPECT_EQ(target, Bounded(3, 9));
  EXPECT_EQ(range.offset(), 0u);

  const std::string good = "VemTest::Bounded(value=10, max=10), next";
  Vem::CharRange fine(good);
  EXPECT_TRUE(sequenceToValue(fine, &target));
  EXPECT_EQ(target, Bounded(10, 10));
  EXPECT_EQ(fine.rest(), ", next");

  // A nested field's failure carries its path, through either parser; a value holding a collection has no
  // parser at all.
  Everything e;
  e.countIs(1);
  std::string text = Everything().stringValue().stdString();
  text.replace(text.find("max=4095"), 8, "max=99999");
  Vem::CharRange nested(text);
  const std::string nestedError = "bounded: max: number too large for U16 at of";
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { sequenceToValue(nested, &e); }).substr(0, 44), nestedError);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { Vem::strepToValue<Everything>(text); }).substr(0, 44), nestedError);
  EXPECT_EQ(e.count(), 1u);
  EXPECT_EQ(nested.offset(), 0u);
  const std::string membership = Membership().stringValue().stdString();
  Vem::CharRange refused(membership);
  Membership m;
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { sequenceToValue(refused, &m); }), "No String constructor for Membership - has collection");

  // Types nested in a namespace are found by argument-dependent lookup as well.
  const Inner::Tagged tagged(Inner::Color::magenta, Color::red);
  const std::string taggedText = tagged.stringValue().stdString();
  Vem::CharRange inner(taggedText);
  Inner::Tagged parsed;
  EXPECT_TRUE(sequenceToValue(inner, &parsed));
  EXPECT_EQ(parsed, tagged);
  EXPECT_TRUE(inner.atEnd());
}

TEST(ValueShape, ConstantsMethodsAndEmptyValues) {
  EXPECT_EQ(Everything::label(), "a label");
  static_assert(Everything::limit() == 42);
  Everything v;
  v.countIs(3);
  EXPECT_EQ(v.scaled(10, Color::blue), 32u);
  Everything w = v;
  EXPECT_EQ(v.digest(), w.digest());
  w.portIs(Pelix::IntfId("Ethernet2"));
  EXPECT_NE(v.digest(), w.digest());
  // A value with no stored fields: all equal, never set, text of its name alone.
  EXPECT_EQ(Empty(), Empty());
  EXPECT_FALSE(static_cast<bool>(Empty()));
  EXPECT_EQ(Empty().stringValue(), "VemTest::Empty()");
  EXPECT_EQ(Vem::strepToValue<Empty>("VemTest::Empty()"), Empty());
  EXPECT_THROW(Vem::strepToValue<Empty>("VemTest::Empty(x=1)"), Vem::RangeException);
}

TEST(ValueShape, OrderingIsLexicographicOverStoredFields) {
  Everything a(Lumo::String("a"), Color::blue, Wide::high);
  Everything b(Lumo::String("b"), Color::red, Wide::low);
  EXPECT_LT(a, b);
  Everything c = a;
  c.countIs(8);
  EXPECT_LT(a, c);  // equal up to count, 7 < 8
  // Strings order by unsigned bytes.
  EXPECT_LT(Everything(Lumo::String("z"), Color::red, Wide::low),
            Everything(Lumo::String("\xc3\xa9"), Color::red, Wide::low));
}

TEST(ValueLog, EveryFieldKindRoundTripsAndBoundsHoldOnInput) {
  Everything v(Lumo::String("n\0m", 3), Color::blue, Wide::high);
  v.bigIs(0x0102030405060708ull);
  v.deltaIs(-2);
  v.whenIs(-0.5);
  v.portIs(Pelix::IntfId("Ethernet9"));
  v.boundedIs(Bounded(1, 2));
  const std::string bytes = OrvTest::logBytes(v);
  // name 4+3, color 4 (an enumeration is a U32 whatever its width), wide 4, count 4, big 8, delta 4,
  // flag 1, when 8, port 8, bounded 2+2.
  EXPECT_EQ(bytes.size(), 7u + 4 + 4 + 4 + 8 + 4 + 1 + 8 + 8 + 4);
  OrvTest::expectLogReadsBack(v);

  std::string bad;
  Vem::NboAttrLog::Out badOut(bad);
  badOut.u16(9);
  badOut.u16(8);  // value 9 above max 8
  Vem::NboAttrLog::In badIn(bad);
  EXPECT_EQ(OrvTest::errorOf<Vem::RangeException>([&] { Bounded(&badIn, Vem::StreamBogon{}); }), "VemTest::Bounded::value > max_ not allowed");
}

TEST(ValueCollection, WholeMapEqualityOrderAndHash) {
  Membership a(Pelix::IntfId("Port-Channel1")), b(Pelix::IntfId("Port-Channel1"));
  EXPECT_EQ(a, b);
  EXPECT_FALSE(static_cast<bool>(Membership()));
  for (uint32_t v = 1; v <= 50; ++v) a.vlanIs(v, v * 2);
  for (uint32_t v = 50; v >= 1; --v) b.vlanIs(v, v * 2);  // another insertion order, same map
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(3), b.hash(3));
  EXPECT_TRUE(static_cast<bool>(a));
  Membership c = a;  // a copy is independent
  c.vlanIs(7, 0);
  EXPECT_NE(a, c);
  EXPECT_EQ(a.vlan(7), 14u);
  EXPECT_EQ(c.vlan(7), 0u);
  EXPECT_LT(c, a);  // first difference in key order: key 7, value 0 < 14
  EXPECT_EQ(c.vlanDel(7), 0u);
  EXPECT_EQ(c.vlanDel(7), 0u);  // absent: the default
  EXPECT_NE(a, c);
  c.vlanDelAll();
  EXPECT_EQ(c.vlan().size(), 0u);
  EXPECT_EQ(c.stringValue(), "VemTest::Membership(intfId=Port-Channel1, vlan={}, names={})");
  Membership d;
  d.vlanIs(3, 4);
  d.vlanIs(1, 2);
  d.namesIs(Lumo::String("b"), true);
  EXPECT_EQ(d.stringValue(), "VemTest::Membership(intfId=, vlan={1: 2, 3: 4}, names={\"b\": true})");
}

TEST(ValueCollection, LogFormEndsWithTheDefaultKeyWhichCannotBeCarried) {
  Membership m(Pelix::IntfId("Ethernet1"));
  m.vlanIs(10, 100);
  m.vlanIs(20, 200);
  m.namesIs(Lumo::String("x"), true);
  // intfId 8, two U32 entries of 8, the U32 0 end mark, then one string entry (4+1 and 1) and the empty-string end.
  EXPECT_EQ(OrvTest::logBytes(m).size(), 8u + 2 * 8 + 4 + (5 + 1) + 4);
  OrvTest::expectLogReadsBack(m);  // and every truncation is refused

  Membership zero;
  zero.vlanIs(0, 5);
  std::string refused = "kept";
  Vem::NboAttrLog::Out refusedOut(refused);
  EXPECT_THROW(refusedOut << zero, Vem::RangeException);
  EXPECT_EQ(refused, "kept");  // the interface id written before the refusal is taken back
  // A key given twice on input: see AttrLogRecord.ValueCollectionsEndWithTheDefaultKey.
}

}  // namespace
