#include <Lumo/BufferIterator.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Lumo::BufferIterator;
using Lumo::BufferOverrun;
using Lumo::BufferWriter;

TEST(BufferIterator, ReadsWhatTheWriterWroteInNetworkOrder) {
  std::string out;
  BufferWriter w(out);
  w.u8(0xab);
  w.u16(0x0102);
  w.u32(0x03040506);
  w.u64(0x0708090a0b0c0d0eull);
  w.bytes("xyz");
  EXPECT_EQ(out.substr(0, 7), std::string("\xab\x01\x02\x03\x04\x05\x06"));

  BufferIterator it(out);
  EXPECT_EQ(it.u8(), 0xab);
  EXPECT_EQ(it.u16(), 0x0102);
  EXPECT_EQ(it.u32(), 0x03040506u);
  EXPECT_EQ(it.u64(), 0x0708090a0b0c0d0eull);
  char copy[2];
  it.bytes(copy, 2);
  EXPECT_EQ(std::string(copy, 2), "xy");
  EXPECT_EQ(it.bytes(1), "z");
  EXPECT_TRUE(it.atEnd());
  EXPECT_EQ(it.bytes(0), "");
}

TEST(BufferIterator, OverrunsThrowAndLeaveTheCursor) {
  const std::string data("\x00\x01\x02\x03\x04", 5);
  BufferIterator it(data);
  it.skip(2);
  EXPECT_TRUE(it.has(3));
  EXPECT_FALSE(it.has(4));
  EXPECT_FALSE(it.has(static_cast<std::size_t>(-1)));
  try {
    it.u32();
    FAIL();
  } catch (const BufferOverrun& e) {
    EXPECT_STREQ(e.what(), "buffer overrun: wanted 4 bytes at offset 2 of 5");
    EXPECT_EQ(e.offset(), 2u);
    EXPECT_EQ(e.wanted(), 4u);
  }
  EXPECT_EQ(it.offset(), 2u);
  EXPECT_THROW(it.bytes(static_cast<std::size_t>(-1)), BufferOverrun);
  EXPECT_THROW(it.u64(), BufferOverrun);
  EXPECT_EQ(it.u16(), 0x0203);
  EXPECT_EQ(it.u8(), 0x04);
  EXPECT_THROW(it.u8(), BufferOverrun);
  EXPECT_EQ(it.remaining(), 0u);
}

}  // namespace
