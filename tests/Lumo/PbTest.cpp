#include <Lumo/Pb.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace Lumo::Pb;
using namespace std::string_literals;

TEST(Pb, VarintAndZigzagEdgeValuesRoundTrip) {
  const uint64_t values[] = {0, 1, 127, 128, 300, 16383, 16384, 0xffffffffull, 1ull << 63,
                             std::numeric_limits<uint64_t>::max()};
  std::string out;
  Writer w(out);
  std::size_t expectedSize = 0;
  for (uint64_t v : values) {
    w.varint(v);
    expectedSize += Writer::varintSize(v);
  }
  EXPECT_EQ(out.size(), expectedSize);
  EXPECT_EQ(Writer::varintSize(127), 1u);
  EXPECT_EQ(Writer::varintSize(128), 2u);
  EXPECT_EQ(Writer::varintSize(std::numeric_limits<uint64_t>::max()), 10u);
  Reader r(out.data(), out.size());
  for (uint64_t v : values) EXPECT_EQ(r.varint(), v);
  EXPECT_TRUE(r.atEnd());

  std::string small;
  Writer(small).varint(300);
  EXPECT_EQ(small, "\xac\x02"s);

  for (int64_t v : {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()})
    EXPECT_EQ(zigzagDecode64(zigzagEncode64(v)), v);
  EXPECT_EQ(zigzagEncode64(-1), 1u);
  EXPECT_EQ(zigzagDecode32(zigzagEncode32(std::numeric_limits<int32_t>::min())),
            std::numeric_limits<int32_t>::min());
}

TEST(Pb, FieldsRoundTrip) {
  std::string out;
  Writer w(out);
  w.fieldVarint(1, 150);
  w.fieldSint64(2, -3);
  w.fieldFixed32(3, 0xdeadbeef);
  w.fieldFixed64(kMaxFieldNumber, 0x0102030405060708ull);
  w.fieldBytes(16, "a\0b"s);
  EXPECT_EQ(out.substr(0, 3), "\x08\x96\x01"s);

  Reader r(out.data(), out.size());
  EXPECT_EQ(r.tag(), std::make_pair(1u, WireType::varint));
  EXPECT_EQ(r.varint(), 150u);
  EXPECT_EQ(r.tag(), std::make_pair(2u, WireType::varint));
  EXPECT_EQ(r.sint64(), -3);
  EXPECT_EQ(r.tag(), std::make_pair(3u, WireType::fixed32));
  EXPECT_EQ(r.fixed32(), 0xdeadbeefu);
  EXPECT_EQ(r.tag(), std::make_pair(kMaxFieldNumber, WireType::fixed64));
  EXPECT_EQ(r.fixed64(), 0x0102030405060708ull);
  EXPECT_EQ(r.tag(), std::make_pair(16u, WireType::lengthDelimited));
  EXPECT_EQ(r.bytes(), "a\0b"s);
  EXPECT_TRUE(r.atEnd());
}

// Reads every field, skipping payloads; returns how many were read.
int readAll(const std::string& bytes) {
  Reader r(bytes.data(), bytes.size());
  int fields = 0;
  while (!r.atEnd()) {
    r.skip(r.tag().second);
    ++fields;
  }
  return fields;
}

TEST(Pb, EveryCutInsideAFieldIsRefused) {
  std::string msg;
  Writer w(msg);
  std::vector<std::size_t> boundaries{0};
  w.fieldVarint(1, std::numeric_limits<uint64_t>::max());
  boundaries.push_back(msg.size());
  w.fieldFixed32(2000, 7);
  boundaries.push_back(msg.size());
  w.fieldFixed64(3, 9);
  boundaries.push_back(msg.size());
  w.fieldBytes(4, std::string(200, 'x'));
  boundaries.push_back(msg.size());
  ASSERT_EQ(readAll(msg), 4);

  for (std::size_t cut = 0; cut < msg.size(); ++cut) {
    const std::string prefix = msg.substr(0, cut);  // own allocation: ASan sees any overread
    const auto at = std::find(boundaries.begin(), boundaries.end(), cut);
    if (at != boundaries.end()) {
      EXPECT_EQ(readAll(prefix), at - boundaries.begin()) << cut;
    } else {
      EXPECT_THROW(readAll(prefix), DecodeError) << cut;
    }
  }
}

TEST(Pb, MalformedInputIsRefusedWithoutMoving) {
  auto refuses = [](const std::string& bytes, auto read, const std::string& message) {
    Reader r(bytes.data(), bytes.size());
    try {
      read(r);
      ADD_FAILURE() << "accepted " << message;
    } catch (const DecodeError& e) {
      EXPECT_EQ(e.what(), message);
      EXPECT_EQ(r.offset(), 0u);
    }
  };
  auto varint = [](Reader& r) { r.varint(); };
  auto tag = [](Reader& r) { r.tag(); };
  auto bytes = [](Reader& r) { r.bytes(); };

  refuses(std::string(10, '\x80') + "\x01"s, varint, "protobuf: varint longer than 10 bytes at offset 0");
  refuses(std::string(9, '\xff') + "\x02"s, varint, "protobuf: varint overflows 64 bits at offset 0");
  refuses("\x80\x80"s, varint, "protobuf: truncated varint at offset 0");
  refuses(""s, varint, "protobuf: truncated varint at offset 0");
  refuses("\x00"s, tag, "protobuf: field number 0 at offset 0");
  refuses("\x02"s, tag, "protobuf: field number 0 at offset 0");
  for (int type : {3, 4, 6, 7}) {
    refuses(std::string(1, static_cast<char>(8 | type)), tag,
            "protobuf: unsupported wire type " + std::to_string(type) + " at offset 0");
  }
  refuses("\x80\x80\x80\x80\x10"s, tag, "protobuf: field number too large at offset 0");
  refuses("\x05" "abcd"s, bytes, "protobuf: length 5 beyond end at offset 0");
  refuses(std::string(9, '\xff') + "\x01"s, bytes,
          "protobuf: length 18446744073709551615 beyond end at offset 0");
  refuses("abc"s, [](Reader& r) { r.fixed32(); }, "protobuf: truncated fixed32 at offset 0");

  // A 10-byte varint whose last byte is 1 is the largest valid one.
  const std::string max = std::string(9, '\xff') + "\x01"s;
  Reader r(max.data(), max.size());
  EXPECT_EQ(r.varint(), std::numeric_limits<uint64_t>::max());
}

TEST(Pb, ErrorsNameTheOffset) {
  const std::string bytes = "\x08\x01\x12\x09xy"s;  // field 1 = 1, then field 2 claims 9 bytes
  Reader r(bytes.data(), bytes.size());
  r.skip(r.tag().second);
  EXPECT_EQ(r.tag().second, WireType::lengthDelimited);
  try {
    r.bytes();
    FAIL();
  } catch (const DecodeError& e) {
    EXPECT_STREQ(e.what(), "protobuf: length 9 beyond end at offset 3");
  }
  EXPECT_EQ(r.remaining(), 3u);
}

}  // namespace
