#include <Lumo/BufferIterator.h>

namespace Lumo {

BufferOverrun::BufferOverrun(std::size_t offset, std::size_t wanted, std::size_t size)
    : std::runtime_error("buffer overrun: wanted " + std::to_string(wanted) + " bytes at offset " +
                         std::to_string(offset) + " of " + std::to_string(size)),
      offset_(offset),
      wanted_(wanted) {}

void ThrowBufferOverrun::refuse(std::size_t offset, std::size_t wanted, std::size_t size) {
  throw BufferOverrun(offset, wanted, size);
}

}  // namespace Lumo
