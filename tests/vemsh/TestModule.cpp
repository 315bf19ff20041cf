// A hand-written module that registers what the type library does not define yet: an enumeration, an
// entity with attributes, a keyed collection and a method. The shell must show it like any other.
#include "TestModule.h"

#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <string_view>

namespace vemshtest {

namespace {

// Both name tables are sorted, as the registry's bisection requires.
constexpr char typeNames[] =
    "U32\0"                // 0
    "VemshTest::Colour\0"  // 4
    "VemshTest::Switch\0"  // 22
    "bool\0";              // 40
constexpr char memberNames[] =
    "\0"        // 0
    "blue\0"    // 1
    "colour\0"  // 6
    "find\0"    // 13
    "green\0"   // 18
    "port\0"    // 24
    "ports\0"   // 29
    "red\0"     // 35
    "strict\0"; // 39
static_assert(std::string_view(typeNames + 22) == "VemshTest::Switch" && std::string_view(typeNames + 40) == "bool");
static_assert(std::string_view(memberNames + 29) == "ports" && std::string_view(memberNames + 39) == "strict");

constexpr Vem::TypeRecord types[] = {
    Vem::makeTypeRecord(Vem::TypeKind::enumeration, 4, Vem::layoutOf<uint8_t>(), 3, 0, 0, Vem::BuiltinType::u8),
    Vem::makeTypeRecord(Vem::TypeKind::entity | Vem::TypeKind::protobufForm, 22, 48 << 3 | 3, 3, 3, 4,
                        Vem::BuiltinType::entityBase),
};

constexpr Vem::MemberRecord members[] = {
    Vem::makeMemberRecord(0, 0x2888, 0, 35, 0, 1, 0, -1),  // red = 1
    Vem::makeMemberRecord(1, 0x2888, 0, 18, 0, 2, 0, -1),  // green = 2
    Vem::makeMemberRecord(2, 0x2888, 0, 1, 0, 4, 0, -1),   // blue = 4
    Vem::makeMemberRecord(2, 0xdc00, 0x0001, 6, 0, 0, 0, -1),                                        // colour
    Vem::makeMemberRecord(3, 0xdc01, 0x8009, 29, Vem::BuiltinType::string, 0, 0, Vem::BuiltinType::u32),  // ports
    Vem::makeMemberRecord(4, 0x0810, 0, 13, Vem::BuiltinType::boolean, 0, 1, -1),                  // find
};

constexpr Vem::ParamRecord params[] = {
    Vem::makeParamRecord(0, 0),
    Vem::makeParamRecord(24, 0),   // find(port: U32,
    Vem::makeParamRecord(39, 40),  //      strict: bool)
    Vem::makeParamRecord(0, 0),
    Vem::makeParamRecord(24, 0),   // Switch(port: U32)
    Vem::makeParamRecord(0, 0),
};

extern const Vem::VemModule module;

const Vem::TypeRefEntry typeRefs[] = {
    {&module, 0},  // VemshTest::Colour
};

const Vem::ImplEntry impls[] = {
    {nullptr, nullptr, &Vem::GenericIfImpl::GenericIfEnumMethods<uint8_t>::table, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
};

const Vem::VemModule module = {types, members, params, typeNames, memberNames, typeRefs, impls, 2};

[[maybe_unused]] const bool registered = (Vem::vemModuleIs(&module, moduleName, moduleTag), true);

}  // namespace

}  // namespace vemshtest
