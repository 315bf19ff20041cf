#include <Vem/EnumType.h>

#include <Vem/RangeException.h>
#include <Vem/TextForm.h>

#include <string>

namespace Vem {

namespace {

bool isEnumerator(const MemberRecord& m) noexcept { return (m.flagsA & MemberFlagsA::enumerator) != 0; }

}  // namespace

template <class U>
std::string_view EnumType<U>::nameOf(const VemType& type, uint32_t code) noexcept {
  for (const MemberRecord& m : type.members())
    if (isEnumerator(m) && m.extra == code) return type.memberName(m);
  return {};
}

template <class U>
std::optional<U> EnumType<U>::codeOf(const VemType& type, std::string_view name) noexcept {
  for (const MemberRecord& m : type.members())
    if (isEnumerator(m) && type.memberName(m) == name) return static_cast<U>(m.extra);
  return std::nullopt;
}

template <class U>
U EnumType<U>::instance(const VemType& type, uint32_t code) {
  if (nameOf(type, code).empty())
    throw RangeException(std::string(type.name()) + ": no enumerator has the code " + std::to_string(code));
  return static_cast<U>(code);
}

template <class U>
U EnumType<U>::instance(const VemType& type, std::string_view name) {
  if (auto code = codeOf(type, name)) return *code;
  throw RangeException(std::string(type.name()) + ": no enumerator is named '" + std::string(name) + "'");
}

template <class U>
Lumo::String EnumType<U>::stringValue(const VemType& type, uint32_t code) {
  std::string_view name = nameOf(type, code);
  return name.empty() ? Lumo::String(std::to_string(code)) : Lumo::String(name);
}

template <class U>
bool EnumType<U>::sequenceToValue(const VemType& type, CharRange& in, U* out) noexcept {
  CharRange probe = in;
  std::string_view token = parseToken(probe);
  auto code = codeOf(type, token);
  if (!code || token.empty()) return false;
  *out = *code;
  in = probe;
  return true;
}

template class EnumType<uint8_t>;
template class EnumType<uint32_t>;

}  // namespace Vem
