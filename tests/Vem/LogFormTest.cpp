// The attribute log's two writers of a field: the growing output stream (Out) and the store into room
// reserved for a whole record (put). Records are byte-exact on the wire, so both must give the same
// bytes for every field kind that has a put form.
#include <Vem/NboAttrLog.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

enum class Colour : uint8_t { red = 0, blue = 200 };

template <class T>
void expectPutMatchesWrite(const T& v) {
  static_assert(Vem::LogPuttable<T>);
  std::string streamed;
  Vem::NboAttrLog::Out out(streamed);
  Vem::LogTraits<T>::write(out, v);
  ASSERT_EQ(streamed.size(), Vem::LogTraits<T>::size(v));
  // Guard bytes on both sides: put writes exactly size(v) bytes and says where it stopped.
  std::string room(streamed.size() + 2, '\x5a');
  char* end = Vem::LogTraits<T>::put(room.data() + 1, v);
  EXPECT_EQ(end, room.data() + 1 + streamed.size());
  EXPECT_EQ(room.substr(1, streamed.size()), streamed);
  EXPECT_EQ(room.front(), '\x5a');
  EXPECT_EQ(room.back(), '\x5a');
}

TEST(LogForm, PutWritesTheStreamBytesForEveryPrimitiveKind) {
  expectPutMatchesWrite(true);
  expectPutMatchesWrite(false);
  expectPutMatchesWrite(uint8_t{0xfe});
  expectPutMatchesWrite(int16_t{-2});
  expectPutMatchesWrite(uint16_t{0x1234});
  expectPutMatchesWrite(int32_t{std::numeric_limits<int32_t>::min()});
  expectPutMatchesWrite(uint32_t{0xdeadbeef});
  expectPutMatchesWrite(int64_t{-1});
  expectPutMatchesWrite(uint64_t{0x0102030405060708});
  expectPutMatchesWrite(Colour::blue);
  expectPutMatchesWrite(-0.5);
  expectPutMatchesWrite(Lumo::String());
  expectPutMatchesWrite(Lumo::String("Ethernet3/1"));
  expectPutMatchesWrite(Lumo::String("Vlan1000"));            // the word copy's shortest
  expectPutMatchesWrite(Lumo::String("Port-Channel1000"));    // and its longest
  expectPutMatchesWrite(Lumo::String("Port-Channel10000"));
  expectPutMatchesWrite(Lumo::String(std::string(300, 'x')));
}

TEST(LogForm, NumbersTravelMostSignificantByteFirst) {
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out.u16(0x1234);
  out.u32(0xdeadbeef);
  out.u64(0x0102030405060708);
  EXPECT_EQ(bytes, std::string("\x12\x34\xde\xad\xbe\xef\x01\x02\x03\x04\x05\x06\x07\x08", 14));
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(in.u16(), 0x1234u);
  EXPECT_EQ(in.u32(), 0xdeadbeefu);
  EXPECT_EQ(in.u64(), 0x0102030405060708u);
  EXPECT_TRUE(in.atEnd());
  // Widths without a whole machine word take the byte loop.
  char three[3];
  Vem::NboAttrLog::putBigEndian(three, 0xabcdef, 3);
  EXPECT_EQ(std::string(three, 3), "\xab\xcd\xef");
  EXPECT_EQ(Vem::NboAttrLog::getBigEndian(reinterpret_cast<const uint8_t*>(three), 3), 0xabcdefu);
}

}  // namespace
