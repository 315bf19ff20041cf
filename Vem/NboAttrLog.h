/// \file
/// Attribute-log streams: values in network byte order. Out appends to a byte buffer; In reads a bounded
/// buffer and raises Vem::RangeException instead of reading past its end, so a record that does not fit
/// its bytes is refused before anything is applied. The log forms of every value kind are LogTraits below.
#pragma once

#include <Lumo/BufferIterator.h>
#include <Lumo/ByteOrder.h>
#include <Lumo/String.h>
#include <Vem/RangeException.h>
#include <Vem/StreamBogon.h>
#include <Vem/Value.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Vem {

namespace NboAttrLog {

/// The identity of an entity on one stream: assigned by the sending side when the entity first goes out,
/// never reused on that stream. 0 names no entity.
struct EntityId {
  uint32_t value = 0;
  explicit operator bool() const noexcept { return value != 0; }
  friend bool operator==(EntityId, EntityId) noexcept = default;
};

// Every record's header and every length go through these, with a constant width.
using Lumo::getBigEndian;
using Lumo::putBigEndian;

/// Appends a stream's values: the writer's big-endian integers and bytes, strings and entity ids.
class Out : public Lumo::BufferWriter {
 public:
  using BufferWriter::BufferWriter;

  /// A string: its 4-byte length, then its bytes, no terminator.
  void string(std::string_view s) {
    u32(static_cast<uint32_t>(s.size()));
    bytes(s);
  }
  void entityId(EntityId id) { u32(id.value); }
};

/// A record's payload, refused with a RangeException where it would be read past its end.
struct RefuseTruncatedRecord {
  [[noreturn]] static void refuse(std::size_t offset, std::size_t wanted, std::size_t size);
};

class In : public Lumo::BasicBufferIterator<RefuseTruncatedRecord> {
 public:
  using BasicBufferIterator::BasicBufferIterator;

  Lumo::String string() {
    uint32_t n = u32();
    return Lumo::String(bytes(n));
  }

  /// The readers under the names the generated handlers use.
  uint8_t nextU8() { return u8(); }
  uint16_t nextU16() { return u16(); }
  uint32_t nextU32() { return u32(); }
  int32_t nextS32() { return static_cast<int32_t>(u32()); }
  uint64_t nextU64() { return u64(); }
  bool nextbool() {
    uint8_t b = u8();
    if (b > 1) refuseBoolByte();
    return b != 0;
  }
  Lumo::String nextString() { return string(); }
  /// A string that must fill exactly `length` bytes: its 4-byte length and its bytes.
  Lumo::String nextValidString(uint32_t length) {
    uint32_t n = u32();
    if (length < 4 || n != length - 4) throw RangeException("attribute log: string length does not match its record");
    return Lumo::String(bytes(n));
  }
  EntityId nextEntity() { return EntityId{u32()}; }
  /// The entity id at the read position, left unread.
  EntityId peekEntityId() const { return EntityId{static_cast<uint32_t>(getBigEndian(peek(4), 4))}; }

  // The refusals are out of line, so that the readers stay small enough to inline into the handlers.
  [[noreturn]] static void refuseBoolByte();
  [[noreturn]] static void refuseEnumCode();
  [[noreturn]] void refuseBytesPastValue() const;
};

}  // namespace NboAttrLog

/// The log form of one field type: write, read, and size in bytes.
template <class T>
struct LogTraits {
  static void write(NboAttrLog::Out& out, const T& v) {
    if constexpr (std::is_enum_v<T>) {
      out.u32(static_cast<uint32_t>(v));  // every enumeration travels as a U32
    } else if constexpr (std::is_same_v<T, bool>) {
      out.u8(v ? 1 : 0);
    } else if constexpr (std::is_integral_v<T>) {
      using U = std::make_unsigned_t<T>;
      if constexpr (sizeof(T) == 1) out.u8(static_cast<U>(v));
      else if constexpr (sizeof(T) == 2) out.u16(static_cast<U>(v));
      else if constexpr (sizeof(T) == 4) out.u32(static_cast<U>(v));
      else out.u64(static_cast<U>(v));
    } else {
      out << v;
    }
  }
  static void read(NboAttrLog::In& in, T& v) {
    if constexpr (std::is_enum_v<T>) {
      uint32_t code = in.u32();
      using U = std::underlying_type_t<T>;
      if (code > static_cast<uint32_t>(static_cast<U>(~U{}))) NboAttrLog::In::refuseEnumCode();
      v = static_cast<T>(code);
    } else if constexpr (std::is_same_v<T, bool>) {
      v = in.nextbool();
    } else if constexpr (std::is_integral_v<T>) {
      if constexpr (sizeof(T) == 1) v = static_cast<T>(in.u8());
      else if constexpr (sizeof(T) == 2) v = static_cast<T>(in.u16());
      else if constexpr (sizeof(T) == 4) v = static_cast<T>(in.u32());
      else v = static_cast<T>(in.u64());
    } else {
      v = T(&in, StreamBogon{});
    }
  }
  static std::size_t size(const T& v) {
    if constexpr (std::is_enum_v<T>) return 4;
    else if constexpr (std::is_integral_v<T>) return sizeof(T);
    else return attrLogSize(&v);
  }
  /// The same bytes as write(), stored at `to` (room for size(v) bytes is there); returns where they end.
  static char* put(char* to, const T& v) noexcept
    requires(std::is_enum_v<T> || std::is_integral_v<T>)
  {
    if constexpr (std::is_enum_v<T>) {
      NboAttrLog::putBigEndian(to, static_cast<uint32_t>(v), 4);
      return to + 4;
    } else if constexpr (std::is_same_v<T, bool>) {
      *to = v ? 1 : 0;
      return to + 1;
    } else {
      NboAttrLog::putBigEndian(to, static_cast<std::make_unsigned_t<T>>(v), sizeof(T));
      return to + sizeof(T);
    }
  }
};

template <>
struct LogTraits<Lumo::String> {
  static void write(NboAttrLog::Out& out, const Lumo::String& v) { out.string(v.view()); }
  static void read(NboAttrLog::In& in, Lumo::String& v) { v = in.string(); }
  static std::size_t size(const Lumo::String& v) { return 4 + v.size(); }
  static char* put(char* to, const Lumo::String& v) noexcept {
    const std::size_t n = v.size();
    NboAttrLog::putBigEndian(to, n, 4);
    const char* from = v.data();
    if (n >= 8 && n <= 16) {
      // Names, the usual keys: two overlapping words instead of a library call.
      uint64_t head, tail;
      std::memcpy(&head, from, 8);
      std::memcpy(&tail, from + n - 8, 8);
      std::memcpy(to + 4, &head, 8);
      std::memcpy(to + 4 + n - 8, &tail, 8);
    } else {
      std::memcpy(to + 4, from, n);
    }
    return to + 4 + n;
  }
};

/// Log forms whose bytes can be stored straight into room reserved for them (their size is known before
/// writing, and writing cannot fail): records made only of these skip the growing output stream.
template <class T>
concept LogPuttable = requires(char* to, const T& v) {
  { LogTraits<T>::put(to, v) } -> std::same_as<char*>;
};

[[noreturn]] void failWithAttrLogValueCollectionDefaultKey();
[[noreturn]] void failWithAttrLogValueCollectionDuplicateKey();

/// A keyed collection held inside a value: its entries as key then value in iteration order, ended by
/// one default key. The default key itself therefore cannot be carried, and a key read twice is refused.
template <class C>
concept LogValueCollection = requires(const C& c, C& m, const typename C::Key& k, const typename C::Value& v) {
  { c.begin().valid() } -> std::convertible_to<bool>;
  c.begin().key();
  c.begin().value();
  { c.contains(k) } -> std::convertible_to<bool>;
  m.set(k, v);
  m.clear();
};

template <class C>
  requires LogValueCollection<C>
struct LogTraits<C> {
  using K = typename C::Key;
  using V = typename C::Value;
  static void write(NboAttrLog::Out& out, const C& c) {
    for (auto it = c.begin(); it.valid(); it.next())
      if (it.key() == K{}) failWithAttrLogValueCollectionDefaultKey();
    for (auto it = c.begin(); it.valid(); it.next()) {
      LogTraits<K>::write(out, it.key());
      LogTraits<V>::write(out, it.value());
    }
    LogTraits<K>::write(out, K{});
  }
  static void read(NboAttrLog::In& in, C& c) {
    C fresh;
    for (;;) {
      K k{};
      LogTraits<K>::read(in, k);
      if (k == K{}) break;
      V v{};
      LogTraits<V>::read(in, v);
      if (fresh.contains(k)) failWithAttrLogValueCollectionDuplicateKey();
      fresh.set(k, v);
    }
    c = std::move(fresh);
  }
  static std::size_t size(const C& c) {
    std::size_t n = LogTraits<K>::size(K{});
    for (auto it = c.begin(); it.valid(); it.next()) n += LogTraits<K>::size(it.key()) + LogTraits<V>::size(it.value());
    return n;
  }
};

/// Vem::Seconds travels as the 8 bytes of its IEEE-754 double, big-endian.
template <>
struct LogTraits<double> {
  static void write(NboAttrLog::Out& out, double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    out.u64(bits);
  }
  static void read(NboAttrLog::In& in, double& v) {
    uint64_t bits = in.u64();
    std::memcpy(&v, &bits, 8);
  }
  static std::size_t size(double) { return 8; }
  static char* put(char* to, double v) noexcept {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    NboAttrLog::putBigEndian(to, bits, 8);
    return to + 8;
  }
};

/// A generated value: its stored fields in declaration order. A value that cannot be written (a
/// collection inside it holds the default key) leaves the output as it found it.
template <GeneratedValue T>
void valueToLog(NboAttrLog::Out& out, const T& v) {
  const std::size_t start = out.size();
  try {
    []<class... F>(FieldList<F...>, NboAttrLog::Out& o, const T& x) {
      (LogTraits<typename F::Type>::write(o, x.*F::member), ...);
    }(typename T::VemFields{}, out, v);
  } catch (...) {
    out.buffer().resize(start);
    throw;
  }
}
template <GeneratedValue T>
void valueFromLog(NboAttrLog::In& in, T& v) {
  []<class... F>(FieldList<F...>, NboAttrLog::In& i, T& x) {
    (LogTraits<typename F::Type>::read(i, x.*F::member), ...);
  }(typename T::VemFields{}, in, v);
}
template <GeneratedValue T>
std::size_t valueLogSize(const T& v) {
  return []<class... F>(FieldList<F...>, const T& x) {
    return (std::size_t{0} + ... + LogTraits<typename F::Type>::size(x.*F::member));
  }(typename T::VemFields{}, v);
}

}  // namespace Vem
