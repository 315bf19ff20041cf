/// \file
/// The generic text form of values:  Qualified::Type(field=value, field=value)
/// Strings are quoted with C-style escapes, so any bytes round-trip; numbers are decimal; booleans are
/// true/false; enumerations are written by enumerator name; nested values nest. Only generated source
/// units include this header (it brings in the stream library).
#pragma once

#include <Lumo/String.h>
#include <Vem/CharRange.h>
#include <Vem/RangeException.h>
#include <Vem/Value.h>

#include <cstdint>
#include <exception>
#include <utility>
#include <limits>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace Vem {

/// "No String constructor for <Type> - has collection": values holding a collection have no parser.
[[noreturn]] void throwNoStringConstructor(const char* typeName);

/// Primitive readers and writers (TextForm.cpp).
void writeQuoted(std::ostream& os, std::string_view bytes);
Lumo::String parseQuoted(CharRange& in);
uint64_t parseUnsigned(CharRange& in, uint64_t max, const char* typeName);
int64_t parseSigned(CharRange& in, int64_t min, int64_t max, const char* typeName);
bool parseBool(CharRange& in);
double parseDouble(CharRange& in);
void writeDouble(std::ostream& os, double v);
/// An identifier-like token (enumerator names, platform names): letters, digits and _ - / . :
std::string_view parseToken(CharRange& in);

/// Reads "Type(field=": the type name introduces the first field.
void needPre(CharRange& in, std::string_view typeName, std::string_view fieldName);
/// Reads ", field=": each further field is introduced by its name.
void needSep(CharRange& in, std::string_view fieldName);
/// Reads ")" that closes a value.
void needPost(CharRange& in);
/// Reads "Type()": a value with no stored fields.
void needEmpty(CharRange& in, std::string_view typeName);

template <GeneratedValue T>
void valueToStrep(std::ostream& os, const T& v);

template <class T>
struct TextTraits {
  static void write(std::ostream& os, const T& v) {
    if constexpr (requires { typename T::VemGenericText; })
      valueToStrep(os, v);  // its stream output is a text of its own; the generic form stays generic
    else if constexpr (std::is_same_v<T, bool>)
      os << (v ? "true" : "false");
    else if constexpr (std::is_enum_v<T>)
      os << v;  // the enumeration's own stream operator writes its enumerator name
    else if constexpr (std::is_integral_v<T>)
      os << +v;  // U8 as a number, never a character
    else
      os << v;
  }
  static void read(CharRange& in, T& v) {
    if constexpr (std::is_same_v<T, bool>) {
      v = parseBool(in);
    } else if constexpr (std::is_enum_v<T>) {
      if (!sequenceToValue(in, &v)) in.fail("unknown enumerator");
    } else if constexpr (std::is_integral_v<T> && std::is_unsigned_v<T>) {
      v = static_cast<T>(parseUnsigned(in, std::numeric_limits<T>::max(), integerName()));
    } else if constexpr (std::is_integral_v<T>) {
      v = static_cast<T>(parseSigned(in, std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), integerName()));
    } else if constexpr (requires { sequenceToValue(in, &v); }) {
      if (!sequenceToValue(in, &v)) in.fail("malformed value");
    } else {
      v = T(in);
    }
  }
  static constexpr const char* integerName() {
    if constexpr (sizeof(T) == 1) return std::is_signed_v<T> ? "S8" : "U8";
    else if constexpr (sizeof(T) == 2) return std::is_signed_v<T> ? "S16" : "U16";
    else if constexpr (sizeof(T) == 4) return std::is_signed_v<T> ? "S32" : "U32";
    else return std::is_signed_v<T> ? "S64" : "U64";
  }
};

template <>
struct TextTraits<Lumo::String> {
  static void write(std::ostream& os, const Lumo::String& v) { writeQuoted(os, v.view()); }
  static void read(CharRange& in, Lumo::String& v) { v = parseQuoted(in); }
};

template <>
struct TextTraits<double> {
  static void write(std::ostream& os, double v) { writeDouble(os, v); }
  static void read(CharRange& in, double& v) { v = parseDouble(in); }
};

/// Writes a generated value's stored fields in declaration order under their names.
template <GeneratedValue T>
void valueToStrep(std::ostream& os, const T& v) {
  os << T::vemTypeName << '(';
  []<class... F>(FieldList<F...>, std::ostream& out, const T& x) {
    bool first = true;
    ((out << (first ? "" : ", ") << F::name << '=', TextTraits<typename F::Type>::write(out, x.*F::member),
      first = false),
     ...);
  }(typename T::VemFields{}, os, v);
  os << ')';
}

template <GeneratedValue T>
Lumo::String valueToString(const T& v) {
  std::ostringstream os;
  valueToStrep(os, v);
  return Lumo::String(os.str());
}

/// Reads one field's value; a failure inside it is raised again with the field's name attached.
template <class V>
void desAttrValue(CharRange& in, std::string_view fieldName, V& out) {
  try {
    TextTraits<V>::read(in, out);
  } catch (const RangeException& e) {
    rethrowFromDeserializeAttr(e, std::string(fieldName).c_str());
  }
}
/// The first field: "Type(field=" and its value.
template <class V>
void desAttrPre(CharRange& in, std::string_view typeName, std::string_view fieldName, V& out) {
  needPre(in, typeName, fieldName);
  desAttrValue(in, fieldName, out);
}
/// A middle field: ", field=" and its value.
template <class V>
void desAttrIntra(CharRange& in, std::string_view fieldName, V& out) {
  needSep(in, fieldName);
  desAttrValue(in, fieldName, out);
}
/// The last field: ", field=", its value and the closing.
template <class V>
void desAttrPost(CharRange& in, std::string_view fieldName, V& out) {
  needSep(in, fieldName);
  desAttrValue(in, fieldName, out);
  needPost(in);
}

/// Reads the closing of a value when the parse that owns it ends normally; for hand-written parsers whose
/// last field is read by another type's parser.
class DesAttrPost {
 public:
  explicit DesAttrPost(CharRange& in) noexcept : in_(in), exceptions_(std::uncaught_exceptions()) {}
  DesAttrPost(const DesAttrPost&) = delete;
  DesAttrPost& operator=(const DesAttrPost&) = delete;
  ~DesAttrPost() noexcept(false) {
    if (std::uncaught_exceptions() == exceptions_) needPost(in_);
  }

 private:
  CharRange& in_;
  int exceptions_;
};

/// Parses the generic text form into `v` (whose fields already hold their defaults). Constraints are the
/// caller's to check afterwards.
template <GeneratedValue T>
void parseFields(CharRange& in, T& v) {
  []<class... F, std::size_t... I>(FieldList<F...>, std::index_sequence<I...>, CharRange& text, T& x) {
    constexpr std::size_t n = sizeof...(F);
    if constexpr (n == 0) {
      needEmpty(text, T::vemTypeName);
    } else if constexpr (n == 1) {
      (desAttrPre(text, T::vemTypeName, F::name, x.*F::member), ...);
      needPost(text);
    } else {
      ((I == 0       ? desAttrPre(text, T::vemTypeName, F::name, x.*F::member)
        : I == n - 1 ? desAttrPost(text, F::name, x.*F::member)
                     : desAttrIntra(text, F::name, x.*F::member)),
       ...);
    }
  }(typename T::VemFields{}, std::make_index_sequence<T::VemFields::size>{}, in, v);
}

/// The free parser `sequenceToValue(text, &v)` of a generated value type: its parser constructor runs on a
/// copy of the range and the result is assigned only once it is complete, so a failure (the constructor's
/// own exception) leaves both the target and the range as they were.
template <class T>
bool parseInto(CharRange& text, T* value) {
  if (value == nullptr) throw std::invalid_argument(std::string(T::vemTypeName) + ": sequenceToValue without a target");
  CharRange probe = text;
  T parsed(probe);
  *value = std::move(parsed);
  text = probe;
  return true;
}

/// Parses the whole of `text` as a T; text left over is an error.
template <class T>
T strepToValue(std::string_view text) {
  CharRange in(text);
  T v{};
  TextTraits<T>::read(in, v);
  if (!in.atEnd()) in.fail("unexpected text after the value");
  return v;
}

}  // namespace Vem
