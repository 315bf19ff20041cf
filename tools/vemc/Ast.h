// The parsed form of one .vem definition, annotated in place by the checker.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vemc {

struct Literal {
  enum class Kind { integer, string, boolean, identifier };
  Kind kind = Kind::integer;
  std::string text;  // string contents, identifier, or the integer as written
  uint64_t integer = 0;
  bool negative = false;
  int line = 0;
};

struct Param {
  std::string name;
  std::string typeName;
  int line = 0;
};

// One ingredient of a declared hash: the field's raw bytes, its own hash, or the type system's
// single-attribute hash of it.
struct MixItem {
  enum class How { raw, hash, single };
  How how = How::raw;
  std::string field;
  int line = 0;
};

struct TypeDecl;

struct Member {
  enum class Kind {
    field, mutableField, computed, method, staticMethod, constant, input, enumerator,
    // Entity attributes.
    attr, collection, ordered, set, children, child, refs, nameString,
    valueCollection,  // a collection held inside a value
    key,              // an entity's constructor attribute, fixed at construction
    view              // an entity's collection-shaped view derived from another attribute; no storage
  };
  Kind kind = Kind::field;
  std::string name;
  std::string typeName;  // return type for methods; empty for enumerators
  std::optional<Literal> defaultValue;
  std::vector<Param> params;
  std::vector<MixItem> mix;  // a declared hash body
  std::string keyTypeName;   // collections: the key type as written, then resolved
  std::string keyForm;       // collections: how the engine hashes the key (empty: by the key type)
  std::string keyField;      // collections of values that carry their own key: the field holding it
  bool ctorParam2 = false;   // attr: also a constructor parameter (settable afterwards)
  bool counter = false;      // attr: has xInc
  bool settable = false;     // computed: also has a setter xIs, written by hand
  bool silent = false;       // announces nothing
  bool unlogged = false;     // never written to the attribute log
  bool keysOnly = false;     // a collection inside a value that is a set: keys only, no values
  bool noSetter = false;     // attr: no public setter; only xInc changes it in code
  bool backup = false;       // collections: mirrored into the type system's backup store in backup mode
  std::string viewOf;        // views: the attribute the view is derived from
  int line = 0;

  // Filled by the checker.
  uint16_t attributeId = 0;
  uint16_t flagsA = 0;
  uint16_t flagsB = 0;
  int16_t typeRef = -1;
  const TypeDecl* type = nullptr;  // null for built-in types
  const TypeDecl* keyType = nullptr;
  int16_t keyTypeRef = -1;
  uint32_t seedConstant = 0;  // collections: decorrelates their hash tables
  uint32_t enumValue = 0;
  uint16_t firstParam = 0;
  bool ctorParam = false;

  bool stored() const { return kind == Kind::field || kind == Kind::mutableField || kind == Kind::valueCollection; }
  bool isCollection() const {
    return kind == Kind::valueCollection || kind == Kind::collection || kind == Kind::ordered || kind == Kind::set || kind == Kind::children ||
           kind == Kind::refs;
  }
  bool holdsEntities() const { return kind == Kind::children || kind == Kind::child || kind == Kind::refs; }
};

struct CtorParam {
  std::string field;  // the member it initialises
  std::string name;   // the parameter's own name (the field's unless renamed with `as`)
  std::optional<Literal> defaultValue;
  int line = 0;
  std::string typeName;  // filled by the checker
  bool fromBase = false;  // a derived value's parameter passed on to its base's constructor
};

// A bound: `check field <op> other;` where other is a field or an integer.
struct Check {
  std::string field;
  std::string op;
  std::string bound;
  bool boundIsField = false;
  int line = 0;
};

struct ModuleDecl;

struct TypeDecl {
  enum class Kind { value, enumeration, platformValue, entity, platformEntity };
  Kind kind = Kind::value;
  std::string name;           // unqualified
  std::string nameSpace;      // "Orv" or "Orv::Loopback"; for a nested type its enclosing type ("Orv::ParityEvent")
  std::string cppNamespace;   // the C++ namespace it lives in ("Orv" for Orv::ParityEvent::Key)
  std::string classPath;      // its name within that namespace ("ParityEvent::Key")
  std::string baseName;       // the base type as written (a value's or an entity's), empty for none
  std::string holdingType = "U8";  // enumerations: U8 or U32
  std::string header;         // platform values and entities: the hand-written header
  bool factory = false;       // entities: generically constructible, with a <type>Factory
  bool namedWithCtor = false;    // entities: built from a name and further constructor attributes
  bool unordered = false;        // values: equality and hash only, no order (`order none;`)
  bool handwrittenText = false;  // values: stringValue, operator<< and the parser are written by hand
  bool handwrittenOrder = false; // values: operator< is written by hand; <=> follows from it
  bool handwrittenHash = false;  // values: the seeded hash(seed) is written by hand
  bool pbMessage = false;        // values: has a protocol-buffers message form, written by hand
  bool unhashable = false;       // values: the generic interface refuses to hash it
  bool pbHolder = false;         // entities: a collection holds values with a message form (checker)
  std::vector<Member> members;
  std::optional<std::vector<CtorParam>> ctorClause;
  std::vector<Check> checks;
  int line = 0;

  // Filled by the checker.
  const ModuleDecl* module = nullptr;
  uint16_t index = 0;
  const TypeDecl* base = nullptr;
  int16_t baseRef = -1;
  std::vector<CtorParam> ctorParams;
  bool handwrittenCtor = false;  // values: a parameter is an input, a computed member or a base's member
  bool streamsStringValue = false;  // values: operator<< writes the own stringValue member; generic text stays
  uint16_t firstParam = 0;
  uint16_t firstMember = 0;

  std::string qualifiedName() const { return nameSpace.empty() ? name : nameSpace + "::" + name; }
  bool nested() const { return classPath != name; }
  // Entities of a definition and platform entities: held and passed as counted references.
  bool isEntity() const { return kind == Kind::entity || kind == Kind::platformEntity; }
};

struct ModuleDecl {
  std::string name;
  uint32_t tag = 0;
  bool tagGiven = false;
  std::string file;
  std::string headerDir;  // the folder its generated header is included from
  std::vector<std::string> imports;
  std::vector<TypeDecl> types;
};

}  // namespace vemc
