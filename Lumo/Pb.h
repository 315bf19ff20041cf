#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// Protocol-buffer wire primitives: varints, tags, fixed-width and length-delimited fields.
namespace Lumo::Pb {

enum class WireType : uint8_t { varint = 0, fixed64 = 1, lengthDelimited = 2, fixed32 = 5 };

constexpr uint32_t kMaxFieldNumber = (1u << 29) - 1;

class DecodeError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

constexpr uint64_t zigzagEncode64(int64_t v) noexcept {
  return (static_cast<uint64_t>(v) << 1) ^ static_cast<uint64_t>(v >> 63);
}
constexpr int64_t zigzagDecode64(uint64_t v) noexcept {
  return static_cast<int64_t>(v >> 1) ^ -static_cast<int64_t>(v & 1);
}
constexpr uint32_t zigzagEncode32(int32_t v) noexcept {
  return (static_cast<uint32_t>(v) << 1) ^ static_cast<uint32_t>(v >> 31);
}
constexpr int32_t zigzagDecode32(uint32_t v) noexcept {
  return static_cast<int32_t>(v >> 1) ^ -static_cast<int32_t>(v & 1);
}

/// Appends encoded fields to a caller's string. Field numbers must be 1 .. kMaxFieldNumber.
class Writer {
public:
  explicit Writer(std::string& out) noexcept : out_(out) {}

  void varint(uint64_t v) {
    char buffer[10];
    std::size_t n = 0;
    while (v >= 0x80) {
      buffer[n++] = static_cast<char>(v | 0x80);
      v >>= 7;
    }
    buffer[n++] = static_cast<char>(v);
    out_.append(buffer, n);
  }
  void tag(uint32_t field, WireType type) {
    varint((static_cast<uint64_t>(field) << 3) | static_cast<uint8_t>(type));
  }
  void fieldVarint(uint32_t field, uint64_t v) {
    tag(field, WireType::varint);
    varint(v);
  }
  void fieldSint64(uint32_t field, int64_t v) { fieldVarint(field, zigzagEncode64(v)); }
  void fieldFixed32(uint32_t field, uint32_t v) {
    tag(field, WireType::fixed32);
    littleEndian(v, 4);
  }
  void fieldFixed64(uint32_t field, uint64_t v) {
    tag(field, WireType::fixed64);
    littleEndian(v, 8);
  }
  void fieldBytes(uint32_t field, std::string_view bytes) {
    tag(field, WireType::lengthDelimited);
    varint(bytes.size());
    out_.append(bytes);
  }

  static constexpr std::size_t varintSize(uint64_t v) noexcept {
    std::size_t n = 1;
    for (; v >= 0x80; v >>= 7) ++n;
    return n;
  }

  std::string& out() const noexcept { return out_; }

private:
  void littleEndian(uint64_t v, std::size_t bytes) {
    char buffer[8];
    for (std::size_t i = 0; i < bytes; ++i) buffer[i] = static_cast<char>(v >> (8 * i));
    out_.append(buffer, bytes);
  }

  std::string& out_;
};

/// Decodes from a caller's buffer. Never reads past it: truncated or malformed input throws DecodeError
/// naming the offset, and leaves the read position where the failed item began.
class Reader {
public:
  Reader(const void* data, std::size_t size) noexcept
      : data_(static_cast<const uint8_t*>(data)), size_(size) {}
  explicit Reader(std::string_view bytes) noexcept : Reader(bytes.data(), bytes.size()) {}

  bool atEnd() const noexcept { return pos_ == size_; }
  std::size_t remaining() const noexcept { return size_ - pos_; }
  std::size_t offset() const noexcept { return pos_; }

  uint64_t varint() {
    // Fast path for the common one-byte case.
    if (pos_ < size_ && data_[pos_] < 0x80) return data_[pos_++];
    return varintSlow();
  }
  int64_t sint64() { return zigzagDecode64(varint()); }
  /// The field number and wire type of the next field; refuses field number 0 and group or unknown
  /// wire types.
  std::pair<uint32_t, WireType> tag();
  uint32_t fixed32() { return static_cast<uint32_t>(fixedLittleEndian(4)); }
  uint64_t fixed64() { return fixedLittleEndian(8); }
  /// The payload of a length-delimited field, pointing into the buffer.
  std::string_view bytes();
  void skip(WireType type);

private:
  uint64_t varintSlow();
  uint64_t fixedLittleEndian(std::size_t bytes);

  const uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

}  // namespace Lumo::Pb
