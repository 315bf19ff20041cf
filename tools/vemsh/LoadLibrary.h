// Type libraries the shell is not linked with: their modules register as the library loads, and from
// then on every command sees them like the linked ones.
#pragma once

#include <string>
#include <string_view>

namespace vemsh {

// Loads the shared library at `path` (a name without a slash is searched for as the dynamic loader
// searches). Returns "" on success, else the loader's reason, without the path it already names.
std::string loadTypeLibrary(std::string_view path);

}  // namespace vemsh
