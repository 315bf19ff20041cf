#pragma once

#include <Lumo/ByteOrder.h>
#include <Lumo/ThreadControl.h>

#include <atomic>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

namespace Lumo {

/// The one string type: immutable bytes (NUL allowed inside), always followed by a NUL. A handle of 16
/// bytes holds up to 15 bytes itself; a longer value points to a shared heap block holding a use count,
/// the size and the bytes. Keys are mostly short names (interface and VRF names), so they take no
/// allocation, their copies no count, and comparing two of them is two word compares without reading
/// memory elsewhere. Copying a long string shares its block; moving leaves the source empty. Ordering
/// is by unsigned bytes, a proper prefix first.
///
/// The last byte of the handle tells the forms apart: inline it is 15 minus the size (so a 15-byte
/// value ends in a zero that is its NUL), and the bytes past the value are zero; on the heap it is
/// kHeapTag, the block's address comes first and the rest is zero. Equal handles are thus equal
/// strings, and unequal inline handles unequal ones.
class String {
public:
  static constexpr std::size_t kInlineCapacity = 15;

  constexpr String() noexcept : bytes_{} {
    if (std::is_constant_evaluated())
      bytes_[kTagAt] = kInlineCapacity;
    else
      setHandle(0, kEmptyHigh);
  }
  String(const char* s) : String(s, s == nullptr ? 0 : std::strlen(s)) {}
  String(std::string_view s) : String(s.data(), s.size()) {}
  String(const std::string& s) : String(s.data(), s.size()) {}
  String(const char* s, std::size_t n) {
    if (n <= kInlineCapacity)
      placeInline(s, n);
    else
      setHandle(reinterpret_cast<uintptr_t>(make(s, n)), uint64_t{kHeapTag} << 56);
  }

  String(const String& o) noexcept {
    std::memcpy(bytes_, o.bytes_, sizeof bytes_);
    if (isHeap()) useCountInc(block());
  }
  String(String&& o) noexcept {
    std::memcpy(bytes_, o.bytes_, sizeof bytes_);
    o.clearHandle();
  }
  String& operator=(const String& o) noexcept {
    String(o).swap(*this);
    return *this;
  }
  String& operator=(String&& o) noexcept {
    String(static_cast<String&&>(o)).swap(*this);
    return *this;
  }
  ~String() {
    if (isHeap()) release(block());
  }

  void swap(String& o) noexcept {
    unsigned char t[kHandleSize];
    std::memcpy(t, bytes_, kHandleSize);
    std::memcpy(bytes_, o.bytes_, kHandleSize);
    std::memcpy(o.bytes_, t, kHandleSize);
  }

  std::size_t size() const noexcept { return isHeap() ? block()->size : kInlineCapacity - bytes_[kTagAt]; }
  bool empty() const noexcept { return bytes_[kTagAt] == kInlineCapacity; }
  const char* data() const noexcept {
    return isHeap() ? bytesOf(block()) : reinterpret_cast<const char*>(bytes_);
  }
  const char* c_str() const noexcept { return data(); }
  std::string_view view() const noexcept { return {data(), size()}; }
  operator std::string_view() const noexcept { return view(); }
  std::string stdString() const { return std::string(data(), size()); }
  char operator[](std::size_t i) const noexcept { return data()[i]; }

  /// Hook for string types with a length limit.
  bool lengthWithin(std::size_t maxLength) const noexcept { return size() <= maxLength; }

  /// True when both handles are alike: a copy and its original, or equal short values held inline.
  /// Equal long strings built apart have blocks of their own and are not alike.
  bool sharesBytesWith(const String& o) const noexcept { return sameHandle(*this, o); }
  /// Whether the bytes live in a shared heap block rather than in the handle.
  bool onHeap() const noexcept { return isHeap(); }
  /// An inline value's handle as two words: its bytes, zero padded, with 15 minus its length in the top
  /// byte of the second. Whether a value is inline depends on its length alone, so a hash may read these
  /// words instead of the bytes and still give equal strings equal hashes.
  uint64_t inlineWord(std::size_t i) const noexcept { return load<uint64_t>(bytes_ + 8 * i); }

  // Equal handles are equal strings; only two heap values can be equal with different handles, and
  // comparing their bytes is out of line, so that the handle compare inlines into every lookup.
  [[gnu::always_inline]] friend bool operator==(const String& a, const String& b) noexcept {
    if (sameHandle(a, b)) return true;
    return a.isHeap() && b.isHeap() && equalHeap(a, b);
  }
  friend bool operator==(const String& a, std::string_view b) noexcept { return equal(a.view(), b); }
  friend bool operator==(const String& a, const char* b) noexcept { return equal(a.view(), b); }
  friend bool operator==(const String& a, const std::string& b) noexcept { return equal(a.view(), b); }
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    if (!a.isHeap() && !b.isHeap()) return compareInline(a, b);
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
  static constexpr std::size_t kHandleSize = 16;
  static constexpr std::size_t kTagAt = kHandleSize - 1;
  static constexpr unsigned char kHeapTag = 0x80;

  bool isHeap() const noexcept { return bytes_[kTagAt] == kHeapTag; }
  Block* block() const noexcept {
    Block* b;
    std::memcpy(&b, bytes_, sizeof b);
    return b;
  }
  void clearHandle() noexcept { setHandle(0, kEmptyHigh); }
  static bool equalHeap(const String& a, const String& b) noexcept;
  static bool sameHandle(const String& a, const String& b) noexcept {
    return load<uint64_t>(a.bytes_) == load<uint64_t>(b.bytes_) &&
           load<uint64_t>(a.bytes_ + 8) == load<uint64_t>(b.bytes_ + 8);
  }

  // A handle is written whole, in one 16-byte store where the machine has one, and copied whole: word
  // and byte reads of a handle written a moment ago (a key read from a record, then hashed and compared)
  // are then served from that store. Written piecemeal, a wider read waits until every piece has
  // reached the cache, which cost a fifth of a mirror's apply.
  static_assert(std::endian::native == std::endian::little, "the tag is the handle's last byte");
  static constexpr uint64_t kEmptyHigh = uint64_t{kInlineCapacity} << 56;
  void setHandle(uint64_t low, uint64_t high) noexcept {
    using Words = long long __attribute__((vector_size(16)));
    const Words words = {static_cast<long long>(low), static_cast<long long>(high)};
    std::memcpy(bytes_, &words, kHandleSize);
  }
  // The value's bytes as the handle's two words, never reading past the source: overlapping loads
  // for lengths of 4 and more, the second word shifted down to where its bytes belong.
  void placeInline(const char* s, std::size_t n) noexcept {
    uint64_t low = 0, high = 0;
    if (n >= 8) {
      low = load<uint64_t>(s);
      if (n > 8) high = load<uint64_t>(s + n - 8) >> (8 * (16 - n));
    } else if (n >= 4) {
      low = load<uint32_t>(s) | uint64_t{load<uint32_t>(s + n - 4)} << (8 * (n - 4));
    } else {
      for (std::size_t i = 0; i < n; ++i) low |= uint64_t{static_cast<unsigned char>(s[i])} << (8 * i);
    }
    setHandle(low, high | uint64_t{kInlineCapacity - n} << 56);
  }

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

  // Up to 16 bytes compare as two overlapping words in registers, without a library call; never a
  // byte outside either string.
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
  template <class Word, class Byte>
  static Word load(const Byte* p) noexcept {
    Word w;
    std::memcpy(&w, p, sizeof w);
    return w;
  }
  // Read most significant byte first, the handles' words order two inline values by their bytes (the
  // bytes past a value are zero). Where the bytes tie, one is a prefix of the other; the tag, the last
  // byte, then decides, inverted so that it grows with the size and the shorter goes first. Keeps the
  // ordered search inside a bucket free of calls.
  static std::strong_ordering compareInline(const String& a, const String& b) noexcept {
    const uint64_t a0 = getBigEndian(a.bytes_, 8), b0 = getBigEndian(b.bytes_, 8);
    if (a0 != b0) return a0 <=> b0;
    return (getBigEndian(a.bytes_ + 8, 8) ^ 0xff) <=> (getBigEndian(b.bytes_ + 8, 8) ^ 0xff);
  }
  static std::strong_ordering compare(std::string_view a, std::string_view b) noexcept {
    const std::size_t common = a.size() < b.size() ? a.size() : b.size();
    const int c = common == 0 ? 0 : std::memcmp(a.data(), b.data(), common);  // unsigned bytes
    if (c != 0) return c < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
    return a.size() <=> b.size();
  }

  alignas(void*) unsigned char bytes_[kHandleSize];
};

static_assert(sizeof(String) == 16);

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
