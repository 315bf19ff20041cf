// The type compiler's checks: a bad definition gives "file:line: what is wrong"; a good one gives
// deterministic tables.
#include "Checker.h"
#include "CppGenerator.h"
#include "Diagnostics.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class CompilerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("vemc-test-" + std::to_string(getpid()));
    fs::create_directories(dir_ / "lib");
    write("lib/Base.vem", "module Base;\nnamespace Base {\n  enum Mode { off, on }\n  value Pair { field a : U8; field b : U8; }\n}\n");
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string write(const std::string& name, const std::string& text) {
    fs::path p = dir_ / name;
    std::ofstream(p) << text;
    return p.string();
  }

  // Loads `text` as module file `name` into c_ and generates its C++ into g_.
  const vemc::ModuleDecl& build(const std::string& text, const std::string& name = "Mod.vem") {
    c_.emplace(std::vector<std::string>{(dir_ / "lib").string()});
    const vemc::ModuleDecl& m = c_->load(write(name, text));
    g_ = vemc::generateCpp(m, *c_);
    return m;
  }

  // Compiles module Mod from the given text; returns "" on success, else the error.
  std::string compile(const std::string& text) {
    try {
      build(text);
      return "";
    } catch (const vemc::CompileError& e) {
      std::string what = e.what();
      return what.substr(what.find("Mod.vem:") + 4);
    }
  }

  // Opens module Mod and namespace N; text appended to it continues line 2.
  const std::string kOpen = "module Mod;\nnamespace N {";
  fs::path dir_;
  std::optional<vemc::Compilation> c_;
  vemc::GeneratedFiles g_;
};

TEST_F(CompilerTest, GrammarErrorsNameTheLine) {
  EXPECT_EQ(compile("modul Mod;"), "vem:1: expected 'module', found 'modul'");
  EXPECT_EQ(compile(kOpen + "\n  value V {\n    field x U8;\n  }\n}\n"), "vem:4: expected ':', found 'U8'");
  EXPECT_EQ(compile(kOpen + "\n  value V { field x : U8; }\n"), "vem:4: missing '}' closing namespace N");
  EXPECT_EQ(compile(kOpen + " value V { thing x : U8; } }"), "vem:2: unknown member kind 'thing'");
  EXPECT_EQ(compile(kOpen + " value V { field x : U8 = \"text; } }"), "vem:2: unterminated string");
  EXPECT_EQ(compile("module Mod;\nvalue V { }"), "vem:2: type V must be declared inside a namespace");
  EXPECT_EQ(compile("module Other;"), "vem:1: module Other must be defined in a file named Other.vem");
  EXPECT_EQ(compile(kOpen + " value V { field x : U8 = 1x; } }"), "vem:2: malformed number '1x'");
}

TEST_F(CompilerTest, MeaningErrors) {
  EXPECT_EQ(compile(kOpen + "\n value V { field x : Nope; } }"), "vem:3: unknown type 'Nope'");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : Base::Pair; } }"), "vem:3: unknown type 'Base::Pair'");
  write("lib/Mid.vem", "module Mid;\nimport Base;\nnamespace Mid { value M { field p : Base::Pair; } }\n");
  EXPECT_EQ(compile("module Mod;\nimport Mid;\nnamespace N {\n value V { field x : Base::Pair; } }"),
            "vem:4: type Base::Pair is defined by module Base, which this module does not import");
  EXPECT_EQ(compile("module Mod;\nimport Missing;\n"), "vem:1: cannot find module Missing (Missing.vem) on the import path");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8;\n field x : U16; } }"), "vem:4: member x of N::V is declared twice");
  EXPECT_EQ(compile(kOpen + " value V {}\n value V {} }"), "vem:3: type N::V is already defined");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8 = 256; } }"), "vem:3: default of x: 256 does not fit U8");
  EXPECT_EQ(compile("module Mod;\nimport Base;\nnamespace N {\n value V { field m : Base::Mode = dim; } }"),
            "vem:4: default of m: dim is not an enumerator of Base::Mode");
  EXPECT_EQ(compile(kOpen + "\n enum E { a = 300 } }"),
            "vem:3: code 300 of a does not fit U8; declare the enumeration ': U32'");
  EXPECT_EQ(compile(kOpen + "\n enum E { a, b = 0 } }"), "vem:3: code 0 is used twice in N::E");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8;\n check x <= y; } }"),
            "vem:4: check: y is not a stored integer field of V");
  EXPECT_EQ(compile(kOpen + "\n value V { field s : Vem::String;\n computed h : U32 = mix(hash s); } }"),
            "vem:4: 'hash s': a built-in field has no hash of its own; use raw or single");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8; field y : U8;\n ctor(x = 1, y); } }"),
            "vem:4: ctor parameter y needs a default: an earlier one has one");
  EXPECT_EQ(compile(kOpen + "\n value V { input i : U8; } }"), "vem:3: input i must be listed in the ctor clause");
  EXPECT_EQ(compile(kOpen + "\n value V {\n mutable v : V; } }"), "vem:4: value N::V holds itself through member v of N::V");
  EXPECT_EQ(compile(kOpen + "\n value A { field b : B; }\n value B {\n field a : A; } }"),
            "vem:5: value N::A holds itself through member a of N::B");
  EXPECT_EQ(compile(kOpen + "\n value A : B {}\n value B : A {} }"),
            "vem:3: value N::A must be declared after its base N::B");
  // Names resolve from the innermost namespace outwards, imported types included.
  EXPECT_EQ(compile("module Mod;\nimport Base;\nnamespace Base {\n namespace Inner {\n"
                    "  value V { field p : Pair; field m : Mode = on; } } }"),
            "");
}

TEST_F(CompilerTest, DerivedValuesAndHandWrittenParts) {
  // A derived value numbers its members from 130 and takes its base's constructor parameters first.
  const vemc::ModuleDecl& m = build("module Mod;\nnamespace N {\n value B { field a : U8; computed c : U8 settable; }\n"
                                    " value D : B { field d : U16; }\n value E : B { computed e : U8; ctor(c, e); }\n}\n");
  const vemc::TypeDecl& d = m.types[1];
  EXPECT_EQ(d.members[0].attributeId, 130);
  ASSERT_EQ(d.ctorParams.size(), 2u);
  EXPECT_TRUE(d.ctorParams[0].fromBase);
  EXPECT_EQ(d.ctorParams[1].name, "d");
  EXPECT_FALSE(d.handwrittenCtor);
  EXPECT_TRUE(m.types[2].handwrittenCtor);  // a computed member and a base's member as parameters
  EXPECT_NE(g_.header.find("class D : public N::B {"), std::string::npos);
  EXPECT_NE(g_.header.find("using VemFields = Vem::ConcatFields<N::B::VemFields, VemOwnFields>::type;"), std::string::npos);
  EXPECT_NE(g_.header.find("void cIs(uint8_t value);"), std::string::npos);
  EXPECT_NE(g_.source.find(": B(a), d_(d) {"), std::string::npos);

  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8;\n method stringValue(n : U8) : Vem::String; stream stringValue; } }"),
            "vem:4: stringValue takes no parameters and returns Vem::String");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8; stream stringValue; } }"),
            "vem:3: 'stream stringValue' needs a member 'stringValue' of type Vem::String without parameters");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8; text handwritten;\n stream stringValue; computed stringValue : Vem::String; } }"),
            "vem:3: with 'text handwritten' the stream output is already written by hand");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8;\n order handwritten; order handwritten; } }"),
            "vem:4: 'order handwritten' is given twice");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8;\n ctor(x, y); } }"), "vem:4: ctor names no member y of V");
  EXPECT_EQ(compile(kOpen + "\n value V { field x : U8; order handwritten; hash handwritten;\n"
                    " method stringValue() : Vem::String; stream stringValue; } }"),
            "");
}

TEST_F(CompilerTest, OutputIsDeterministicAndTablesSorted) {
  const std::string text =
      "module Mod tag 0x12345678;\nimport Base;\nnamespace N {\n value Zeta { field b : Base::Pair; field a : U32; }\n"
      " value Alpha { mutable z : bool; method m(q : U16, p : Base::Mode) : void; }\n}\n";
  build(text);
  const vemc::GeneratedFiles first = g_;
  const vemc::ModuleDecl& m1 = build(text);  // a fresh compilation of the same file
  EXPECT_EQ(g_.header, first.header);
  EXPECT_EQ(g_.source, first.source);
  EXPECT_NE(g_.source.find("_Mod_12345678_vemModule"), std::string::npos);

  const vemc::Tables& t = c_->tables();
  // Type names: the module's types and parameter types, sorted; member names start with "".
  EXPECT_EQ(t.typeNames, std::string("Base::Mode\0Base::Pair\0N::Alpha\0N::Zeta\0U16\0U32\0", 47));
  EXPECT_EQ(t.memberNames, std::string("\0a\0b\0m\0p\0q\0z\0", 13));
  ASSERT_EQ(t.typeRefs.size(), 1u);
  EXPECT_EQ(t.typeRefs[0]->qualifiedName(), "Base::Pair");
  // Zeta's ctor (b, a), then Alpha::m's (q, p): each list ends with a terminator after row 0.
  ASSERT_EQ(t.params.size(), 7u);
  EXPECT_EQ(t.params[1].nameOffset, 3u);  // b
  EXPECT_EQ(t.params[2].nameOffset, 1u);  // a
  EXPECT_EQ(t.params[3].nameOffset, 0u);
  EXPECT_EQ(t.params[4].nameOffset, 9u);  // q
  EXPECT_EQ(t.params[5].typeNameOffset, 0u);  // p: Base::Mode
  // Member ids and flags.
  EXPECT_EQ(m1.types[0].members[0].attributeId, 2);
  EXPECT_EQ(m1.types[0].members[1].attributeId, 3);
  EXPECT_EQ(m1.types[0].members[0].typeRef, 0);
  EXPECT_EQ(m1.types[1].members[0].flagsA, 0x9c00);
  EXPECT_EQ(m1.types[1].members[1].flagsA, 0x0810);
  EXPECT_EQ(m1.types[1].members[1].typeRef, -4);
}

TEST_F(CompilerTest, DerivedEntitiesContinueTheirBasesIdsAndConstructors) {
  const vemc::ModuleDecl& m = build("module Mod;\nnamespace N {\n"
                                    "  entity Root { key k : U32; attr a : U8 ctor; attr b : U16; }\n"
                                    "  entity Mid : Root { attr c : U8 ctor; key d : bool; }\n"
                                    "  entity Leaf : Mid factory { attr e : U32; }\n"
                                    "  entity Named { attr x : U8; }\n"
                                    "  entity NamedMore : Named { attr y : U8; }\n}\n");
  const auto& mid = m.types[1];
  ASSERT_EQ(mid.members.size(), 2u);  // only its own
  EXPECT_EQ(mid.members[0].attributeId, 386);
  EXPECT_EQ(mid.members[1].attributeId, 387);
  EXPECT_EQ(m.types[2].members[0].attributeId, 514);
  std::vector<std::string> ctor;
  for (const auto& p : m.types[2].ctorParams) ctor.push_back(p.name);
  EXPECT_EQ(ctor, (std::vector<std::string>{"k", "a", "c", "d"}));
  EXPECT_EQ(mid.baseRef, c_->tables().typeRefIndex.at("N::Root"));
  EXPECT_EQ(m.types[0].baseRef, -3);
  // A type derived from one built from a name is built from it too, and inherits its nameString.
  const auto& namedMore = m.types[4];
  ASSERT_EQ(namedMore.members.size(), 1u);
  EXPECT_EQ(namedMore.members[0].attributeId, 386);
  ASSERT_EQ(namedMore.ctorParams.size(), 1u);
  EXPECT_EQ(namedMore.ctorParams[0].name, "name");

  EXPECT_EQ(compile(kOpen + " value V { field x : U8; }\n entity E : V { attr y : U8; } }"),
            "vem:3: entity N::E can derive only from an entity type");
  EXPECT_EQ(compile(kOpen + "\n entity E : F { attr y : U8; }\n entity F { attr x : U8; } }"),
            "vem:3: entity N::E must be declared after its base N::F");
  EXPECT_EQ(compile(kOpen + "\n entity F { attr x : U8; }\n entity E : F { attr x : U16; } }"),
            "vem:4: member x of N::E hides the one it inherits from N::F");
  EXPECT_EQ(compile(kOpen + " entity E : Nowhere { attr y : U8; } }"), "vem:2: unknown type 'Nowhere'");
}

TEST_F(CompilerTest, TypesNestInValueTypes) {
  const std::string text =
      "module Mod;\nnamespace N {\n value Outer {\n  enum Kind { a, b }\n  value Key { mutable k : Kind = b; }\n"
      "  field key : Key;\n  mutable kind : Kind;\n }\n}\n";
  const vemc::ModuleDecl& m = build(text);
  // Numbered in declaration order, the enclosing type once its body is read.
  ASSERT_EQ(m.types.size(), 3u);
  EXPECT_EQ(m.types[0].qualifiedName(), "N::Outer::Kind");
  EXPECT_EQ(m.types[1].qualifiedName(), "N::Outer::Key");
  EXPECT_EQ(m.types[2].qualifiedName(), "N::Outer");
  EXPECT_EQ(m.types[1].members[0].typeName, "N::Outer::Kind");  // found from the enclosing type's scope
  EXPECT_EQ(m.types[2].members[0].typeName, "N::Outer::Key");
  // C++: nested in the class; free functions in the namespace, named with the class path.
  EXPECT_NE(g_.header.find("class Outer {\n public:\n  enum class Kind : uint8_t {"), std::string::npos) << g_.header;
  EXPECT_NE(g_.header.find("  class Key {"), std::string::npos);
  EXPECT_NE(g_.header.find("Outer::Kind KindInstance(uint32_t code);"), std::string::npos);
  EXPECT_NE(g_.header.find("std::ostream& operator<<(std::ostream& os, const Outer::Key& value);"), std::string::npos);
  EXPECT_NE(g_.source.find("Outer::Key::Key(Vem::CharRange& text)"), std::string::npos);
  EXPECT_EQ(compile(kOpen + " entity E { value V { field x : U8; } } }"), "vem:2: unknown attribute kind 'value'");
}

TEST_F(CompilerTest, NamedEntitiesWithFixedParametersAndQuietCounters) {
  const std::string text =
      "module Mod;\nimport Base;\nnamespace N {\n entity Chip { key name : Vem::String; key mode : Base::Mode; key id : U32; }\n"
      " entity Owner { children chip : Chip; }\n"
      " entity Queue { ordered event : U32 -> U64; attr next : U32 = 0 counter silent unlogged nosetter; }\n}\n";
  const vemc::ModuleDecl& m = build(text);
  const vemc::TypeDecl& chip = m.types[0];
  ASSERT_EQ(chip.ctorParams.size(), 3u);
  EXPECT_EQ(chip.ctorParams[0].name, "name");
  EXPECT_EQ(chip.members[0].name, "nameString");
  EXPECT_EQ(chip.members[0].attributeId, 154);
  EXPECT_EQ(chip.members[1].attributeId, 258);  // mode: the name takes no attribute id
  // A differing enumeration is reported through the registry, a number as a number.
  EXPECT_NE(g_.source.find("Vem::Impl::throwMutatorReinstVal(existing, 258"), std::string::npos);
  EXPECT_NE(g_.source.find("Vem::throwMutatorReinstantiating(existing, 259, static_cast<uint32_t>"), std::string::npos);
  // The quiet counter: no public setter, an unlogged attribute record, an announcement-free increment.
  EXPECT_NE(g_.header.find("using VemEvent = Vem::RbTreeMap<uint32_t, uint64_t>::Node;"), std::string::npos);
  EXPECT_NE(g_.header.find("Vem::Attribute<259, Vem::AttrKind::scalar, &Queue::next_, &Queue::nextIs, nullptr, false>"),
            std::string::npos);
  EXPECT_NE(g_.source.find("Vem::counterInc(*this, next_, step, 259, false)"), std::string::npos);
  const std::size_t queue = g_.header.find("class Queue :");
  const std::string publicPart = g_.header.substr(queue, g_.header.find("protected:", queue) - queue);
  EXPECT_EQ(publicPart.find("nextIs"), std::string::npos);
  EXPECT_NE(publicPart.find("uint64_t eventDel(const Vem::RbTreeMap<uint32_t, uint64_t>::Iterator& at);"), std::string::npos);
  EXPECT_EQ(compile(kOpen + " value V { field a : U8; order none; }\n entity E { collection c : V -> U8; } }"),
            "vem:3: N::V has no order and cannot be a key");
  EXPECT_EQ(compile(kOpen + " value V { field a : U8; order none; }\n value W { field v : V; } }"),
            "vem:3: N::V has no order: N::W needs 'order none;' too");
  EXPECT_EQ(compile(kOpen + " entity E { attr x : U32 nosetter; } }"), "vem:2: x: only a counter can do without a setter");
  EXPECT_EQ(compile(kOpen + " entity E { key name : U32; } }"), "vem:2: an entity's name is a Vem::String");
}

TEST_F(CompilerTest, ViewsMessageFormsBackupAndOwnTextForms) {
  const std::string text =
      "module Mod;\nnamespace N {\n"
      " value P { field k : U64; field f : U64; message handwritten; }\n"
      " value T { field a : U8; method stringValue() : Vem::String; }\n"
      " value R { mutable on : bool; unhashable; }\n"
      " entity E factory { set names : Vem::String; view ids : Vem::String -> U16 over names;\n"
      "   collection byK : P by k backup; }\n}\n";
  const vemc::ModuleDecl& m = build(text);
  EXPECT_FALSE(m.types[1].handwrittenText) << "a declared stringValue leaves the generic text form";
  {
    // Declared once in T's class: as its member, not again by the shape.
    const std::size_t begin = g_.header.find("class T {"), end = g_.header.find("};", begin);
    const std::string cls = g_.header.substr(begin, end - begin);
    const std::size_t first = cls.find("Lumo::String stringValue() const;");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(cls.find("Lumo::String stringValue() const;", first + 1), std::string::npos);
  }
  const vemc::TypeDecl& e = m.types[3];
  // nameString, names, ids, byK: the view is numbered like an attribute but has no storage.
  EXPECT_EQ(e.members[2].attributeId, 259);
  EXPECT_EQ(e.members[2].flagsA, 0x8801);
  EXPECT_EQ(e.members[2].flagsB, 0);
  EXPECT_EQ(e.members[2].keyTypeRef, -18);
  EXPECT_EQ(e.members[3].flagsB, 0x9101);
  EXPECT_NE(g_.source.find("(Vem::TypeKind::value | Vem::TypeKind::protobufForm)"), std::string::npos);
  EXPECT_NE(g_.source.find("(Vem::TypeKind::entity | Vem::TypeKind::protobufForm)"), std::string::npos);
  EXPECT_NE(g_.header.find("static constexpr bool vemUnhashable = true;"), std::string::npos);
  EXPECT_NE(g_.header.find("using VemBackup = Vem::BackupAttributes<260>;"), std::string::npos);
  EXPECT_NE(g_.header.find("void idsIs(const Lumo::String& key, uint16_t value);"), std::string::npos);
  EXPECT_EQ(g_.header.find("ids_"), std::string::npos) << "a view stores nothing";
  EXPECT_EQ(g_.header.find("Vem::Attribute<259"), std::string::npos) << "nor is it announced or logged";

  EXPECT_EQ(compile(kOpen + " entity E { set s : U8;\n view v : U16 -> U8 over s; } }"),
            "vem:3: view v is keyed by U16, s by U8");
  EXPECT_EQ(compile(kOpen + " entity E { attr s : U8;\n view v : U8 -> U8 over s; } }"),
            "vem:3: view v: s is no set or collection of E");
  EXPECT_EQ(compile(kOpen + " entity E { set s : U8 backup; } }"), "vem:2: option 'backup' does not apply to set s");
}

TEST_F(CompilerTest, PlatformEntitiesArePassedToMethodsAsCountedReferences) {
  build("module Util;\nnamespace Util { platform entity Sink in \"Util/Sink.h\"; }\n", "lib/Util.vem");
  EXPECT_NE(g_.header.find("#include <Util/Sink.h>"), std::string::npos);
  EXPECT_NE(g_.source.find("Vem::makeTypeRecord(Vem::TypeKind::entity, 0, Vem::layoutOf<Util::Sink>(), 0, 0, 0, -3)"),
            std::string::npos) << g_.source;
  EXPECT_NE(g_.source.find("&Vem::GenericIfImpl::GenericIfPtrInterfaceMethods<Util::Sink>::table, nullptr, "
                           "&Vem::GenericIfImpl::memberlessAttributeOp"),
            std::string::npos);

  const std::string text =
      "module Mod;\nimport Util;\nnamespace N {\n"
      " value V { field a : U8; method to(sink : Util::Sink) : bool; }\n"
      " entity E factory { attr x : U8; method dump(sink : Util::Sink, depth : U32) : void; }\n}\n";
  const vemc::ModuleDecl& m = build(text);
  EXPECT_NE(g_.header.find("bool to(const Lumo::Ptr<const Util::Sink>& sink) const;"), std::string::npos) << g_.header;
  EXPECT_NE(g_.header.find("void dump(const Lumo::Ptr<const Util::Sink>& sink, uint32_t depth) const;"), std::string::npos);
  EXPECT_NE(g_.header.find("Vem::Method<259, static_cast<void (E::*)(const Lumo::Ptr<const Util::Sink>&, uint32_t) const>"),
            std::string::npos);
  // The parameter records name the type; a type only parameters name needs no type reference.
  EXPECT_NE(c_->tables().typeNames.find("Util::Sink"), std::string::npos);
  EXPECT_EQ(c_->tables().typeRefs.size(), 0u);
  EXPECT_EQ(m.types[1].members[2].flagsA, 0x0810) << "an entity's method is flagged as a value's is";

  // Nothing stores, keys, logs or returns one.
  const std::string head = "module Mod;\nimport Util;\nnamespace N {\n";
  EXPECT_EQ(compile(head + " entity E { attr s : Util::Sink; } }"),
            "vem:4: s: platform entity Util::Sink can only be a method parameter");
  EXPECT_EQ(compile(head + " entity E { collection s : Util::Sink -> U8; } }"), "vem:4: an entity cannot be a key");
  EXPECT_EQ(compile(head + " value V { field s : Util::Sink; } }"),
            "vem:4: s: platform entity Util::Sink can only be a method parameter");
  EXPECT_EQ(compile(head + " entity E { method m() : Util::Sink; } }"),
            "vem:4: m: platform entity Util::Sink can only be a method parameter");
  EXPECT_EQ(compile(kOpen + " platform thing T in \"x.h\"; }"), "vem:2: expected 'value', found 'thing'");
}

TEST_F(CompilerTest, EveryValueTypeGetsAFreeParser) {
  build("module Mod;\nnamespace N {\n value A { field a : U8; text handwritten; }\n"
        " value B { value K { field k : U8; } field k : K; }\n}\n");
  for (const char* type : {"A", "B", "B::K"}) {
    const std::string decl = std::string("bool sequenceToValue(Vem::CharRange& text, ") + type + "* value)";
    EXPECT_NE(g_.header.find(decl + ";"), std::string::npos) << type;
    EXPECT_NE(g_.source.find(decl + " { return Vem::parseInto(text, value); }"), std::string::npos) << type;
  }
}

TEST_F(CompilerTest, DefaultTagAlwaysHasEightDigits) {
  for (const char* name : {"A", "OrvPortVlanPair", "x", "VeryLongModuleNameForTesting"})
    EXPECT_GE(vemc::defaultTag(name), 0x10000000u) << name;
  EXPECT_EQ(vemc::defaultTag("Same"), vemc::defaultTag("Same"));
}

}  // namespace
