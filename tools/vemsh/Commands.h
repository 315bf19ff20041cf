// The shell's commands, one function each. A command writes its report to `out` and raises UserError
// for input the user can correct (an unknown name, text that does not parse), before writing anything;
// how the error is shown is the caller's business.
#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vemsh {

class UserError : public std::runtime_error {
 public:
  explicit UserError(const std::string& message) : std::runtime_error(message) {}
};

// The registered modules in load order: name, descriptor symbol, type count.
void listModules(std::ostream& out);
// The types of the module named `moduleName`, or of every module when it is empty.
void listTypes(std::ostream& out, std::string_view moduleName);
// The decoded records of the type with this qualified name.
void describeType(std::ostream& out, std::string_view typeName);
// Parses `text` as a value of the named type and prints its text form, its generic hash, and the bytes
// it travels as in the attribute log, field by field.
void showValue(std::ostream& out, std::string_view typeName, std::string_view text);
// An enumeration's enumerators (code and name), or the one that `codeOrName` names.
void showEnum(std::ostream& out, std::string_view typeName, std::string_view codeOrName);

}  // namespace vemsh
