#include <Lumo/Allocator.h>
#include <Lumo/String.h>

#include <cstring>
#include <limits>
#include <stdexcept>

namespace Lumo {

namespace {
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t blockBytes(std::size_t size) { return kHeaderSize + size + 1; }
}  // namespace

String::Block* String::make(const char* s, std::size_t n) {
  static_assert(sizeof(Block) == kHeaderSize);
  if (n > std::numeric_limits<uint32_t>::max() - kHeaderSize - 1) {
    throw std::length_error("Lumo::String: length " + std::to_string(n) + " too large");
  }
  auto b = static_cast<Block*>(SlabAllocator::allocate(blockBytes(n)));
  b->useCount = 1;
  b->size = static_cast<uint32_t>(n);
  auto bytes = reinterpret_cast<char*>(b + 1);
  std::memcpy(bytes, s, n);
  bytes[n] = '\0';
  return b;
}

void String::destroy(Block* b) noexcept { SlabAllocator::deallocate(b, blockBytes(b->size)); }

bool String::equalHeap(const String& a, const String& b) noexcept { return equal(a.view(), b.view()); }

}  // namespace Lumo
