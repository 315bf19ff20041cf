/// \file
/// The attribute-log form of values for tools that know no type at compile time: write, read and size
/// through one small table per type. Generated modules register a table for every value type and every
/// enumeration beside their descriptor; built-in types have theirs here. A tool can then show the bytes
/// a value travels as, and decode the payloads of records it did not write.
#pragma once

#include <Vem/NboAttrLog.h>
#include <Vem/VemType.h>

#include <cstddef>
#include <cstdint>

namespace Vem {

struct ValueLogForm {
  void (*write)(NboAttrLog::Out& out, const void* value);
  /// Reads into a constructed value; raises RangeException for bytes that are not a value of the type.
  void (*read)(NboAttrLog::In& in, void* value);
  std::size_t (*size)(const void* value);
};

template <class T>
struct ValueLogFormOf {
  static void write(NboAttrLog::Out& out, const void* v) { LogTraits<T>::write(out, *static_cast<const T*>(v)); }
  static void read(NboAttrLog::In& in, void* v) { LogTraits<T>::read(in, *static_cast<T*>(v)); }
  static std::size_t size(const void* v) { return LogTraits<T>::size(*static_cast<const T*>(v)); }
  static constexpr ValueLogForm table{&write, &read, &size};
};

/// An enumeration travels as a U32 whatever integer holds it; a code wider than the holder is refused.
template <class U>
struct EnumLogForm {
  static void write(NboAttrLog::Out& out, const void* v) { out.u32(*static_cast<const U*>(v)); }
  static void read(NboAttrLog::In& in, void* v) {
    const uint32_t code = in.u32();
    if (code > static_cast<uint32_t>(static_cast<U>(~U{}))) NboAttrLog::In::refuseEnumCode();
    *static_cast<U*>(v) = static_cast<U>(code);
  }
  static std::size_t size(const void*) { return 4; }
  static constexpr ValueLogForm table{&write, &read, &size};
};

/// Registers a module's tables, one per type in type order (null for entity types). Called at load,
/// after the module's own registration; a second call for the same module is ignored.
void valueLogFormsIs(const VemModule* module, const ValueLogForm* const* perType) noexcept;

/// The table of a registered type, or null (entity types, modules that registered none).
const ValueLogForm* valueLogForm(const VemType& type) noexcept;
/// The table of a built-in type reference (U8 ... Vem::Seconds), or null.
const ValueLogForm* builtinLogForm(int16_t code) noexcept;

}  // namespace Vem
