#pragma once

#include <Lumo/ByteOrder.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Lumo {

class BufferOverrun : public std::runtime_error {
public:
  BufferOverrun(std::size_t offset, std::size_t wanted, std::size_t size);
  std::size_t offset() const noexcept { return offset_; }
  std::size_t wanted() const noexcept { return wanted_; }

private:
  std::size_t offset_;
  std::size_t wanted_;
};

/// Bounded read cursor over network-byte-order (big-endian) records. A read that does not fit calls
/// `Overrun::refuse(offset, wanted, size)`, which throws, and leaves the cursor where it was. The policy
/// lets each user raise its own error; kept out of line, the refusal leaves the readers small enough to
/// inline where records are decoded.
template <class Overrun>
class BasicBufferIterator {
public:
  BasicBufferIterator(const void* data, std::size_t size) noexcept
      : data_(static_cast<const uint8_t*>(data)), size_(size) {}
  explicit BasicBufferIterator(std::string_view bytes) noexcept : BasicBufferIterator(bytes.data(), bytes.size()) {}

  std::size_t offset() const noexcept { return pos_; }
  std::size_t remaining() const noexcept { return size_ - pos_; }
  bool has(std::size_t n) const noexcept { return n <= remaining(); }
  bool atEnd() const noexcept { return pos_ == size_; }

  uint8_t u8() { return static_cast<uint8_t>(bigEndian(1)); }
  uint16_t u16() { return static_cast<uint16_t>(bigEndian(2)); }
  uint32_t u32() { return static_cast<uint32_t>(bigEndian(4)); }
  uint64_t u64() { return bigEndian(8); }

  /// The next n bytes, pointing into the buffer.
  std::string_view bytes(std::size_t n) {
    const uint8_t* p = take(n);
    return {reinterpret_cast<const char*>(p), n};
  }
  void bytes(void* out, std::size_t n) {
    const uint8_t* p = take(n);
    if (n != 0) std::memcpy(out, p, n);
  }
  void skip(std::size_t n) { take(n); }

protected:
  /// The next n bytes, left unread.
  const uint8_t* peek(std::size_t n) const {
    if (!has(n)) Overrun::refuse(pos_, n, size_);
    return data_ + pos_;
  }

private:
  const uint8_t* take(std::size_t n) {
    const uint8_t* p = peek(n);
    pos_ += n;
    return p;
  }
  uint64_t bigEndian(std::size_t n) { return getBigEndian(take(n), n); }

  const uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

struct ThrowBufferOverrun {
  [[noreturn]] static void refuse(std::size_t offset, std::size_t wanted, std::size_t size);
};
using BufferIterator = BasicBufferIterator<ThrowBufferOverrun>;

/// Appends big-endian integers and raw bytes to a caller's string.
class BufferWriter {
public:
  explicit BufferWriter(std::string& out) noexcept : out_(out) {}

  void u8(uint8_t v) { out_.push_back(static_cast<char>(v)); }
  void u16(uint16_t v) { bigEndian(v, 2); }
  void u32(uint32_t v) { bigEndian(v, 4); }
  void u64(uint64_t v) { bigEndian(v, 8); }
  void bytes(std::string_view b) { out_.append(b); }
  void bytes(const void* p, std::size_t n) { out_.append(static_cast<const char*>(p), n); }

  std::size_t size() const noexcept { return out_.size(); }
  std::string& buffer() noexcept { return out_; }

private:
  void bigEndian(uint64_t v, std::size_t n) {
    char buffer[8];
    putBigEndian(buffer, v, n);
    out_.append(buffer, n);
  }

  std::string& out_;
};

}  // namespace Lumo
