// Every text parser reachable through the registry: the first two bytes choose a type among the
// built-in types and every registered value and enumeration type (so a newly linked module is fuzzed
// without a change here), the rest is the text. A text that parses must print to a text that parses
// back to an equal value with the same text and hash; one that does not must be refused with an
// exception that says why. A first byte of 0xff instead compares the ACL key's scanner with the
// expression that defines it.
#include "FuzzSupport.h"

#include <Orv/AclKeyText.h>
#include <Vem/GenericIfOps.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include <regex>

namespace {

using Fuzz::check;
using Vem::AnyValue;
using Vem::TypeHandle;

const std::vector<TypeHandle>& types() {
  static const std::vector<TypeHandle> all = Fuzz::textTypes();
  return all;
}

bool equal(const AnyValue& a, const AnyValue& b) {
  if (!a.type().type().valid()) return a.text() == b.text();
  bool eq = false;
  const int rc = a.type().type().impl().attributeOp(&eq, const_cast<void*>(a.data()), nullptr, Vem::OpCode::equal,
                                                    b.data(), nullptr);
  check(rc == 0, std::string(a.type().name()) + ": no equality");
  return eq;
}

void parseRegistered(const TypeHandle& type, std::string_view text) {
  std::string printed;
  {
    std::unique_ptr<AnyValue> value;
    try {
      value = std::make_unique<AnyValue>(type, text);
    } catch (const std::exception& e) {
      check(*e.what() != '\0', std::string(type.name()) + ": refused without saying why");
      return;
    }
    printed = value->text().stdString();
    std::unique_ptr<AnyValue> back;
    try {
      back = std::make_unique<AnyValue>(type, printed);
    } catch (const std::exception& e) {
      Fuzz::fail(std::string(type.name()) + ": its own text \"" + printed + "\" is refused: " + e.what());
    }
    check(back->text().stdString() == printed, std::string(type.name()) + ": \"" + printed + "\" reads back as \"" +
                                                   back->text().stdString() + "\"");
    // A floating-point NaN makes a value unequal even to itself, by definition: only text can compare it.
    if (equal(*value, AnyValue(*value)))
      check(equal(*value, *back), std::string(type.name()) + ": \"" + printed + "\" reads back as another value");
    if (type.methods()->hash != nullptr)
      check(value->hash() == back->hash(), std::string(type.name()) + ": equal values hash differently");
  }
}

const std::regex& aclKeyExpression() {
  static const std::regex expression(
      R"(^(\S+)-(ip|ipv6|mac)-(in|out)\(std=(false|true),vlanId=(\d+),aclGroup=(\S+)\))", std::regex::ECMAScript);
  return expression;
}

void aclKeyScanner(std::string_view text) {
  // The expression engine recurses per character: keep texts short enough for its stack.
  if (text.size() > 160) return;
  const std::string s(text);
  std::smatch m;
  const bool matched = std::regex_search(s, m, aclKeyExpression());
  const auto g = Orv::AclKeyText::match(text);
  check(matched == g.has_value(), "ACL key scanner and expression disagree on a match: " + s);
  if (!matched) return;
  const std::string_view groups[] = {g->name, g->type, g->direction, g->standard, g->vlanId, g->aclGroup};
  for (int i = 0; i < 6; ++i)
    check(m[i + 1].str() == groups[i], "ACL key group " + std::to_string(i + 1) + " differs: " + s);
  check(static_cast<std::size_t>(m.position(0) + m.length(0)) == g->length, "ACL key match length differs: " + s);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
  if (data[0] == 0xff) {
    aclKeyScanner(text);
    return 0;
  }
  const std::size_t pick = (std::size_t(data[0]) << 8 | data[1]) % types().size();
  parseRegistered(types()[pick], text);
  return 0;
}
