#pragma once

#include <Lumo/ThreadControl.h>

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace Lumo {

/// The one string type: immutable bytes (NUL allowed inside) behind a single pointer. The empty string
/// is a null pointer and allocates nothing; any other value points to a shared heap block holding a
/// use count, the size and the bytes followed by a NUL. Copying shares the block; moving leaves the
/// source empty. Ordering is by unsigned bytes, a proper prefix first.
class String {
public:
  String() noexcept = default;
  String(const char* s) : String(s, s == nullptr ? 0 : std::strlen(s)) {}
  String(std::string_view s) : String(s.data(), s.size()) {}
  String(const std::string& s) : String(s.data(), s.size()) {}
  String(const char* s, std::size_t n) : block_(n == 0 ? nullptr : make(s, n)) {}

  String(const String& o) noexcept : block_(o.block_) {
    if (block_) useCountInc(block_);
  }
  String(String&& o) noexcept : block_(o.block_) { o.block_ = nullptr; }
  String& operator=(const String& o) noexcept {
    String(o).swap(*this);
    return *this;
  }
  String& operator=(String&& o) noexcept {
    String(static_cast<String&&>(o)).swap(*this);
    return *this;
  }
  ~String() {
    if (block_) release(block_);
  }

  void swap(String& o) noexcept { std::swap(block_, o.block_); }

  std::size_t size() const noexcept { return block_ ? block_->size : 0; }
  bool empty() const noexcept { return block_ == nullptr; }
  const char* data() const noexcept { return block_ ? bytesOf(block_) : ""; }
  const char* c_str() const noexcept { return data(); }
  std::string_view view() const noexcept { return {data(), size()}; }
  operator std::string_view() const noexcept { return view(); }
  std::string stdString() const { return std::string(data(), size()); }
  char operator[](std::size_t i) const noexcept { return data()[i]; }

  /// Hook for string types with a length limit.
  bool lengthWithin(std::size_t maxLength) const noexcept { return size() <= maxLength; }

  /// True when both share one block (or both are empty): copies do, equal strings built apart do not.
  bool sharesBytesWith(const String& o) const noexcept { return block_ == o.block_; }

  friend bool operator==(const String& a, const String& b) noexcept {
    return a.block_ == b.block_ || equal(a.view(), b.view());
  }
  friend bool operator==(const String& a, std::string_view b) noexcept { return equal(a.view(), b); }
  friend bool operator==(const String& a, const char* b) noexcept { return equal(a.view(), b); }
  friend bool operator==(const String& a, const std::string& b) noexcept { return equal(a.view(), b); }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return compare(a.view(), b.view());
  }
  friend std::strong_ordering operator<=>(const String& a, std::string_view b) noexcept {
    return compare(a.view(), b);
  }
  friend std::strong_ordering operator<=>(const String& a, const char* b) noexcept {
    return compare(a.view(), b);
  }
  friend std::strong_ordering operator<=>(const String& a, const std::string& b) noexcept {
    return compare(a.view(), b);
  }

  friend std::ostream& operator<<(std::ostream& os, const String& s) {
    return os.write(s.data(), static_cast<std::streamsize>(s.size()));
  }

private:
  struct Block {
    uint32_t useCount;
    uint32_t size;
    // size bytes and a NUL follow
  };

  static const char* bytesOf(const Block* b) noexcept { return reinterpret_cast<const char*>(b + 1); }
  static Block* make(const char* s, std::size_t n);
  static void destroy(Block* b) noexcept;

  static void useCountInc(Block* b) noexcept {
    if (ThreadControl::tsp_) {
      std::atomic_ref<uint32_t>(b->useCount).fetch_add(1, std::memory_order_relaxed);
    } else {
      ++b->useCount;
    }
  }
  static void release(Block* b) noexcept {
    if (ThreadControl::tsp_) {
      if (std::atomic_ref<uint32_t>(b->useCount).fetch_sub(1, std::memory_order_acq_rel) == 1) {
        destroy(b);
      }
    } else if (--b->useCount == 0) {
      destroy(b);
    }
  }

  // Keys are mostly short names (interface names, VRF names): up to 16 bytes compare as two
  // overlapping words in registers, without a library call; never a byte outside either string.
  static bool equal(std::string_view a, std::string_view b) noexcept {
    const std::size_t n = a.size();
    if (n != b.size()) return false;
    const char* p = a.data();
    const char* q = b.data();
    if (n >= 8 && n <= 16)
      return load<uint64_t>(p) == load<uint64_t>(q) && load<uint64_t>(p + n - 8) == load<uint64_t>(q + n - 8);
    if (n >= 4 && n < 8)
      return load<uint32_t>(p) == load<uint32_t>(q) && load<uint32_t>(p + n - 4) == load<uint32_t>(q + n - 4);
    return n == 0 || std::memcmp(p, q, n) == 0;
  }
  template <class Word>
  static Word load(const char* p) noexcept {
    Word w;
    std::memcpy(&w, p, sizeof w);
    return w;
  }
  static std::strong_ordering compare(std::string_view a, std::string_view b) noexcept {
    const std::size_t common = a.size() < b.size() ? a.size() : b.size();
    const int c = common == 0 ? 0 : std::memcmp(a.data(), b.data(), common);  // unsigned bytes
    if (c != 0) return c < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
    return a.size() <=> b.size();
  }

  Block* block_ = nullptr;
};

static_assert(sizeof(String) == sizeof(void*));

}  // namespace Lumo

namespace Vem {
using String = Lumo::String;
}  // namespace Vem

template <>
struct std::hash<Lumo::String> {
  std::size_t operator()(const Lumo::String& s) const noexcept {
    return std::hash<std::string_view>()(s.view());
  }
};
