// Hand-written operations of the test module, beside its definition as for every module.
#include <modules/VemTestTypes.h>

namespace VemTest {

uint16_t Bounded::sharing() const { return max_; }

uint64_t Everything::scaled(uint32_t factor, Color by) const {
  return uint64_t(count_) * factor + static_cast<uint64_t>(by);
}

}  // namespace VemTest
