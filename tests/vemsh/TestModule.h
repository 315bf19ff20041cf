// The shell tests' own module, registered at load beside the type library's.
#pragma once

#include <cstdint>

namespace vemshtest {

inline constexpr const char* moduleName = "VemshTest";
inline constexpr uint32_t moduleTag = 0x5e11ab1e;

}  // namespace vemshtest
