// Helpers of the value and record tests: the message of what a call throws, a value's attribute-log
// bytes, and bytes as hex.
#pragma once

#include <Vem/NboAttrLog.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace OrvTest {

// The message of the exception of type E that `f` throws, or "no error". Any other exception propagates
// and fails the test.
template <class E = std::exception, class F>
std::string errorOf(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  return "no error";
}

// The value's log form; the size the value predicts must be the size written.
template <class T>
std::string logBytes(const T& v) {
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << v;
  EXPECT_EQ(attrLogSize(&v), bytes.size());
  return bytes;
}

// Bytes as lower-case hex digits, two per byte, for comparing records byte for byte.
inline std::string hex(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string s;
  for (unsigned char c : bytes) {
    s += digits[c >> 4];
    s += digits[c & 15];
  }
  return s;
}

// Reads back what was written, to the end, and refuses every truncation of it.
template <class T>
void expectLogReadsBack(const T& v) {
  const std::string bytes = logBytes(v);
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(T(&in, Vem::StreamBogon{}), v);
  EXPECT_TRUE(in.atEnd());
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    Vem::NboAttrLog::In shorter(bytes.data(), cut);
    EXPECT_THROW(T(&shorter, Vem::StreamBogon{}), Vem::RangeException) << "cut at " << cut;
  }
}

}  // namespace OrvTest
