// Hand-written operations of OrvAclQuarnTypes: the ACL key's compact text form and its parser.
#include <Orv/AclKeyText.h>
#include <Orv/OrvAclQuarnTypes.h>

#include <Vem/CharRange.h>
#include <Vem/EnumType.h>
#include <Vem/RangeException.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Orv {

uint16_t AclVlanIdOrNone::vlanSharingId() const { return max_; }

bool AclKey::isRacl() const { return vlanId_.value() != 0; }

Lumo::String AclKey::valueToStrep() const { return stringValue(); }

namespace {

// The platform enumerations of the key's `type` and `direction`, found through the key's own member
// records, so that printing reads their names without building strings.
struct AclEnumTypes {
  Vem::VemType type, direction;
};
const AclEnumTypes& aclEnumTypes() {
  static const AclEnumTypes types = [] {
    const Vem::VemType key = AclKey::vemType();
    return AclEnumTypes{key.resolve(key.memberByName("type")->type), key.resolve(key.memberByName("direction")->type)};
  }();
  return types;
}

// An enumerator's name; a code without one (from a damaged log record) is written as its number.
void appendEnumerator(std::string& text, const Vem::VemType& type, uint8_t code) {
  const std::string_view name = Vem::EnumType<uint8_t>::nameOf(type, code);
  if (name.empty())
    text += std::to_string(code);
  else
    text += name;
}

// A decimal digit run as std::stoi converts it: any number of leading zeros, and std::out_of_range
// "stoi" (what std::stoi raises) when the number does not fit a signed 32-bit integer.
int32_t decimalToS32(std::string_view digits) {
  int64_t value = 0;
  for (char c : digits) {
    value = value * 10 + (c - '0');
    if (value > std::numeric_limits<int32_t>::max()) throw std::out_of_range("stoi");
  }
  return static_cast<int32_t>(value);
}

// The enumerators the key's text can name, looked up once: the scan has already told which one it is.
struct AclTextCodes {
  Acl::AclType ip, ipv6, mac;
  Acl::AclDirection in, out;
};
const AclTextCodes& aclTextCodes() {
  static const AclTextCodes codes{Acl::AclTypeInstance("ip"), Acl::AclTypeInstance("ipv6"),
                                  Acl::AclTypeInstance("mac"), Acl::AclDirectionInstance("in"),
                                  Acl::AclDirectionInstance("out")};
  return codes;
}

}  // namespace

// name-type-direction(std=B,vlanId=N,aclGroup=G); the VLAN's max is not written.
Lumo::String AclKey::stringValue() const {
  std::string text;
  text.reserve(name_.size() + aclGroup_.size() + 56);  // the longest enumerator names and VLAN id fit
  text.append(name_.view()).append("-");
  appendEnumerator(text, aclEnumTypes().type, static_cast<uint8_t>(type_));
  text.append("-");
  appendEnumerator(text, aclEnumTypes().direction, static_cast<uint8_t>(direction_));
  text.append(standard_ ? "(std=true" : "(std=false").append(",vlanId=").append(std::to_string(vlanId_.value()));
  text.append(",aclGroup=").append(aclGroup_.view()).append(")");
  return Lumo::String(text);
}

// Reads the key at the range's position (text after its closing parenthesis is left unread, so that an
// enclosing value's parser continues there) and moves the range past it. Nothing is built on failure.
AclKey::AclKey(Vem::CharRange& text) {
  const std::optional<AclKeyText::Groups> groups = AclKeyText::match(text.rest());
  if (!groups) throw Vem::RangeException("Invalid AclKey");
  const int32_t vlan = decimalToS32(groups->vlanId);
  // Above 65535 the number is refused by the same bound as 4096 is.
  const AclVlanIdOrNone vlanId(static_cast<uint16_t>(std::min<int32_t>(vlan, 0xffff)));
  name_ = Lumo::String(groups->name);
  // The scan matched one of "ip", "ipv6", "mac" and one of "in", "out": their lengths tell them apart.
  const AclTextCodes& codes = aclTextCodes();
  type_ = groups->type.size() == 2 ? codes.ip : groups->type.size() == 4 ? codes.ipv6 : codes.mac;
  direction_ = groups->direction.size() == 2 ? codes.in : codes.out;
  standard_ = groups->standard == "true";
  vlanId_ = vlanId;
  aclGroup_ = Lumo::String(groups->aclGroup);
  text.advance(groups->length);
}

}  // namespace Orv
