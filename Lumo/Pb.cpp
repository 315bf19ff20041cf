#include <Lumo/Pb.h>

namespace Lumo::Pb {

namespace {
[[noreturn]] void fail(const char* what, std::size_t offset) {
  throw DecodeError(std::string("protobuf: ") + what + " at offset " + std::to_string(offset));
}
}  // namespace

uint64_t Reader::varintSlow() {
  uint64_t v = 0;
  for (std::size_t i = 0; i < 10; ++i) {
    if (pos_ + i == size_) fail("truncated varint", pos_);
    const uint8_t b = data_[pos_ + i];
    if (i == 9) {
      if (b >= 0x80) fail("varint longer than 10 bytes", pos_);
      if (b > 1) fail("varint overflows 64 bits", pos_);
    }
    v |= static_cast<uint64_t>(b & 0x7f) << (7 * i);
    if (b < 0x80) {
      pos_ += i + 1;
      return v;
    }
  }
  __builtin_unreachable();  // the tenth byte either ends the varint or fails above
}

std::pair<uint32_t, WireType> Reader::tag() {
  const std::size_t start = pos_;
  const uint64_t v = varint();
  const uint64_t field = v >> 3;
  const auto type = static_cast<uint8_t>(v & 7);
  if (field == 0) {
    pos_ = start;
    fail("field number 0", start);
  }
  if (field > kMaxFieldNumber) {
    pos_ = start;
    fail("field number too large", start);
  }
  switch (type) {
    case 0: case 1: case 2: case 5:
      return {static_cast<uint32_t>(field), static_cast<WireType>(type)};
    default:
      pos_ = start;
      throw DecodeError("protobuf: unsupported wire type " + std::to_string(type) + " at offset " +
                        std::to_string(start));
  }
}

uint64_t Reader::fixedLittleEndian(std::size_t bytes) {
  if (remaining() < bytes) fail(bytes == 4 ? "truncated fixed32" : "truncated fixed64", pos_);
  uint64_t v = 0;
  for (std::size_t i = 0; i < bytes; ++i) v |= static_cast<uint64_t>(data_[pos_ + i]) << (8 * i);
  pos_ += bytes;
  return v;
}

std::string_view Reader::bytes() {
  const std::size_t start = pos_;
  const uint64_t length = varint();
  if (length > remaining()) {
    pos_ = start;
    throw DecodeError("protobuf: length " + std::to_string(length) + " beyond end at offset " +
                      std::to_string(start));
  }
  std::string_view payload(reinterpret_cast<const char*>(data_ + pos_), static_cast<std::size_t>(length));
  pos_ += static_cast<std::size_t>(length);
  return payload;
}

void Reader::skip(WireType type) {
  switch (type) {
    case WireType::varint: varint(); return;
    case WireType::fixed64: fixedLittleEndian(8); return;
    case WireType::lengthDelimited: bytes(); return;
    case WireType::fixed32: fixedLittleEndian(4); return;
  }
  throw DecodeError("protobuf: unsupported wire type " +
                    std::to_string(static_cast<unsigned>(type)) + " at offset " + std::to_string(pos_));
}

}  // namespace Lumo::Pb
