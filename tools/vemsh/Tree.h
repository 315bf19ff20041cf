// An entity and everything below it, one attribute a line: what a mirror holds, at a glance.
#pragma once

#include <Vem/Reflect.h>

#include <ostream>
#include <string_view>

namespace vemsh {

void writeTree(std::ostream& out, const Vem::GenericEntity& e, std::string_view label, std::string_view indent);

}  // namespace vemsh
