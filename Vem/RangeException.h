/// \file
/// The error of constructors, parsers and attribute-log readers: a value or text broke a constraint or
/// could not be read. Raised before anything is changed.
#pragma once

#include <stdexcept>
#include <string>

namespace Vem {

class RangeException : public std::range_error {
 public:
  explicit RangeException(const std::string& message) : std::range_error(message) {}
};

/// "<qualified type>::<field> <failed comparison> <bound> not allowed"
[[noreturn]] void throwBoundViolation(const char* typeName, const char* field, const char* failedComparison,
                                      const char* bound);

/// A parse error inside a field, raised again with the field's name in front.
[[noreturn]] void rethrowFromDeserializeAttr(const RangeException& inner, const char* fieldName);

}  // namespace Vem
