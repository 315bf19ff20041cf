/// \file
/// Entry points through which tools that know no type at compile time build, print, parse and hash
/// values. The registration tables point at one methods table per type; these templates make them.
#pragma once

#include <Lumo/Pb.h>
#include <Lumo/String.h>
#include <Vem/EnumType.h>
#include <Vem/TextForm.h>
#include <Vem/VemType.h>

#include <cstdint>
#include <new>
#include <string>

namespace Vem {

class TypeException : public std::logic_error {
 public:
  explicit TypeException(const std::string& message) : std::logic_error(message) {}
};
[[noreturn]] void throwTypeException(const VemType& to, const VemType& from);

namespace GenericIfImpl {

/// The slots of a value-methods table, in their fixed order.
struct ValueMethodsTable {
  void (*construct)(void* destination, const void* sourceOrNull);
  void (*destruct)(void* value);
  void (*strepToValue)(void* destination, const Lumo::String& text, const VemType& type, uint32_t flags);
  Lumo::String (*strRep)(const void* value, const VemType& type, uint32_t flags);
  const void* unused;
  bool (*pbMessageSerDes)(std::string* buffer, void* value, bool read);
  uint32_t (*hash)(const void* value, const VemType& type);
  void* (*voidPtrIs)(void* pointer, const VemType& toType, const VemType& fromType);
};

/// Converts a pointer between related types: unchanged unless a polymorphic type is seen as a
/// non-polymorphic base, which starts after the virtual-table pointer.
void* genericIfVoidPtrIs(void* pointer, const VemType& toType, const VemType& fromType);

/// Builds a value in place from pointers to its constructor parameters, in parameter order; the
/// constructor applies the type's constraints.
template <class T, class... P>
void constructFromCtorArgs(void* destination, const void* const* arguments) {
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    new (destination) T(*static_cast<const P*>(arguments[I])...);
  }(std::index_sequence_for<P...>{});
}

template <class T>
struct GenericIfValueMethods {
  static void genericIfConstruct(void* destination, const void* source) {
    if (source != nullptr)
      new (destination) T(*static_cast<const T*>(source));
    else
      new (destination) T();
  }
  static void genericIfDestruct(void* value) { static_cast<T*>(value)->~T(); }
  static void genericIfStrepToValue(void* destination, const Lumo::String& text, const VemType&, uint32_t) {
    *static_cast<T*>(destination) = strepToValue<T>(text.view());
  }
  static Lumo::String genericIfStrRep(const void* value, const VemType&, uint32_t) {
    std::ostringstream os;
    TextTraits<T>::write(os, *static_cast<const T*>(value));
    return Lumo::String(os.str());
  }
  static uint32_t genericIfHash(const void* value, const VemType&) {
    const T& v = *static_cast<const T*>(value);
    if constexpr (std::is_same_v<T, bool>)
      return hashSingleAttr(uint32_t{v}, 0);
    else if constexpr (std::is_integral_v<T>)
      return hashSingleAttr(static_cast<uint64_t>(v), 0);
    else if constexpr (std::is_same_v<T, Lumo::String>)
      return hashSingleAttr(v, 0);
    else if constexpr (std::is_same_v<T, double>) {
      Hash h(0);
      ValueTraits<double>::hashInto(h, v);
      return h.result();
    } else
      return fieldHash(v);
  }

  /// A value with no stored fields has nothing to hash, and one declared unhashable is never a key: the
  /// generic interface refuses their hash.
  static constexpr bool hashable = [] {
    if constexpr (requires { T::vemUnhashable; })
      return !T::vemUnhashable;
    else if constexpr (GeneratedValue<T>)
      return T::VemFields::size != 0;
    else
      return true;
  }();

  /// Types with a protocol-buffers form: writes the value as one length-prefixed message, or reads one
  /// back from the buffer's start. Raises Lumo::Pb::DecodeError on malformed input.
  static constexpr bool hasPbMessage = requires(T& v, Lumo::Pb::Writer& w, Lumo::Pb::Reader& r) {
    v.writePbMessage(w);
    v.constructFromPbMessage(r);
  };
  static bool genericIfPbMessageSerDes(std::string* buffer, void* value, bool read) {
    if constexpr (hasPbMessage) {
      if (read) {
        Lumo::Pb::Reader in(*buffer);
        static_cast<T*>(value)->constructFromPbMessage(in);
      } else {
        Lumo::Pb::Writer out(*buffer);
        static_cast<const T*>(value)->writePbMessage(out);
      }
      return true;
    } else {
      return false;
    }
  }

  static constexpr ValueMethodsTable table{&genericIfConstruct,
                                           &genericIfDestruct,
                                           &genericIfStrepToValue,
                                           &genericIfStrRep,
                                           nullptr,
                                           hasPbMessage ? &genericIfPbMessageSerDes : nullptr,
                                           hashable ? &genericIfHash : nullptr,
                                           &genericIfVoidPtrIs};
};

/// Shared by every enumeration of one holding width: it works from the enumerator records alone.
template <class U>
struct GenericIfEnumMethods {
  static void genericIfConstruct(void* destination, const void* source) {
    new (destination) U(source ? *static_cast<const U*>(source) : U());
  }
  static void genericIfDestruct(void*) {}
  static void genericIfStrepToValue(void* destination, const Lumo::String& text, const VemType& type, uint32_t) {
    CharRange in(text.view());
    U code{};
    if (!EnumType<U>::sequenceToValue(type, in, &code) || !in.atEnd())
      throw RangeException(std::string(type.name()) + ": no enumerator is named '" + text.stdString() + "'");
    *static_cast<U*>(destination) = code;
  }
  static Lumo::String genericIfStrRep(const void* value, const VemType& type, uint32_t) {
    return EnumType<U>::stringValue(type, *static_cast<const U*>(value));
  }
  static uint32_t genericIfHash(const void* value, const VemType&) {
    return hashSingleAttr(static_cast<uint32_t>(*static_cast<const U*>(value)), 0);
  }

  static constexpr ValueMethodsTable table{&genericIfConstruct, &genericIfDestruct, &genericIfStrepToValue,
                                           &genericIfStrRep,    nullptr,             nullptr,
                                           &genericIfHash,      &genericIfVoidPtrIs};
};

/// The methods of a built-in type (U8 ... Vem::Seconds) by its type-reference code; null for other codes.
const ValueMethodsTable* builtinMethods(int16_t code) noexcept;

/// The methods table of a type, whatever its kind.
inline const ValueMethodsTable* valueMethods(const VemType& type) noexcept {
  return static_cast<const ValueMethodsTable*>(type.impl().methods);
}

}  // namespace GenericIfImpl
}  // namespace Vem
