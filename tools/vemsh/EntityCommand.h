// `vemsh entity TYPE NAME OPERATION...`: builds an entity of a generically constructible type by name and
// runs operations on its attributes through the generic interface alone, printing each result and every
// announcement the entity makes. Keys and values are written in their types' text forms.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace vemsh {

// Operations: get ATTR | set ATTR VALUE | put ATTR KEY VALUE | add ATTR KEY | del ATTR KEY | ls ATTR |
// count ATTR. Raises UserError for an unknown type, attribute or operation, or text that does not parse.
void runEntity(std::ostream& out, std::span<const std::string_view> args);

// `vemsh mirror TYPE NAME OPERATION...`: the same, with a mirror of the entity in a second process fed
// over a Unix-domain socket by the attribute log; the mirror prints every announcement it makes as the
// records are applied, then its final state. Writes to standard output (two processes share it).
void runMirror(std::ostream& out, std::span<const std::string_view> args);

}  // namespace vemsh
