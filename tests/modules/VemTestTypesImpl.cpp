// Hand-written operations of the test module, beside its definition as for every module.
#include <modules/VemTestTypes.h>

namespace VemTest {

uint16_t Bounded::sharing() const { return max_; }

uint64_t Everything::scaled(uint32_t factor, Color by) const {
  return uint64_t(count_) * factor + static_cast<uint64_t>(by);
}

// Null counts as speed 0, so that a generic call with a null reference shows it reached the method.
uint32_t Everything::speedOf(const Lumo::Ptr<const Port>& port) const { return port ? port->speed() + count_ : 0; }

uint32_t Dir::speedTimes(const Lumo::Ptr<const Port>& port, uint32_t times) const { return port ? port->speed() * times : 0; }

Lumo::String Dir::describe(const Lumo::String& prefix, uint32_t times) const {
  std::string out;
  for (uint32_t i = 0; i < times; ++i) out += prefix.stdString();
  return Lumo::String(out + std::to_string(port().size()));
}

}  // namespace VemTest
