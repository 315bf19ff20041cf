// Splitting a typed line into words. Values are written in their text forms, which contain blanks
// ("Orv::PortVlanPair(port=Et1, vlan=5)") and double-quoted strings that must keep their quotes, so a
// blank ends a word only outside double quotes and brackets. Single quotes group and are dropped, as a
// command shell would drop them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vemsh {

// The words of `line`; a '#' at the start of a word begins a comment that runs to the end of the line.
// Raises UserError for an unterminated quote.
std::vector<std::string> splitWords(std::string_view line);

}  // namespace vemsh
