// Round trips shared by the platform type tests.
#pragma once

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>

namespace PlatformTestSupport {

template <class F>
std::string errorOf(F&& f) {
  try {
    f();
  } catch (const Vem::RangeException& e) {
    return e.what();
  }
  return "no error";
}

// Parses `text` as a whole T, prints the value back (stream operator and stringValue agree) and
// returns it.
template <class T>
T parsesBack(const std::string& text) {
  T v = Vem::strepToValue<T>(text);
  std::ostringstream os;
  os << v;
  EXPECT_EQ(os.str(), text);
  if constexpr (requires { v.stringValue(); }) {
    EXPECT_EQ(v.stringValue().stdString(), text);
  }
  return v;
}

// Writes `v` to the attribute log, checks the byte count against attrLogSize, reads it back and
// returns the bytes.
template <class T>
std::string logsBack(const T& v) {
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  Vem::LogTraits<T>::write(out, v);
  EXPECT_EQ(bytes.size(), Vem::LogTraits<T>::size(v));
  Vem::NboAttrLog::In in(bytes);
  T back{};
  Vem::LogTraits<T>::read(in, back);
  EXPECT_TRUE(in.atEnd());
  EXPECT_EQ(back, v);
  return bytes;
}

inline std::string hex(const std::string& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) out += {digits[c >> 4], digits[c & 15]};
  return out;
}

// Refuses `text` as a T, leaving nothing half-read; returns the message.
template <class T>
std::string refusal(const std::string& text) {
  return errorOf([&] { Vem::strepToValue<T>(text); });
}

// Expects every text refused as a T.
template <class T>
void expectRefused(std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) EXPECT_NE(refusal<T>(text), "no error") << text;
}

// Refuses the attribute log record `bytes` as a T; returns the message.
template <class T>
std::string logRefusal(const std::string& bytes) {
  Vem::NboAttrLog::In in(bytes);
  return errorOf([&] { T(&in, Vem::StreamBogon{}); });
}

}  // namespace PlatformTestSupport
