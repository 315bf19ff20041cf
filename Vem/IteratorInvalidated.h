/// \file
/// The error a collection iterator raises when it cannot continue after its collection changed.
#pragma once

#include <stdexcept>

namespace Vem {

class IteratorInvalidated : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

/// Cold paths, kept out of line so that the inlined iterator steps stay small.
[[noreturn]] void throwHashMap2018IteratorInvalidated();
[[noreturn]] void throwRbTreeMapEntryErased();

}  // namespace Vem
