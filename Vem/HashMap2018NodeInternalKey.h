/// \file
/// The node of a collection whose values carry their own key (child entities keyed by name, values
/// with a key field): it holds the value only, and KeyOf reads the key from it.
#pragma once

#include <Vem/HashMap2018Node.h>

namespace Vem {

/// KeyOf: a type with `static const Key& key(const Value&)`.
template <class V, class KeyOf, class Form, uint32_t SeedConstant>
struct HashMap2018NodeInternalKey {
  using Key = std::remove_cvref_t<decltype(KeyOf::key(std::declval<const V&>()))>;
  using Value = V;
  using KeyForm = Form;
  static constexpr uint32_t seedConstant = SeedConstant;
  static constexpr bool internalKey = true;
  static const Key& keyOf(const HashMap2018NodeInternalKey& n) noexcept { return KeyOf::key(n.value); }
  static const Key& keyOfValue(const Value& v) noexcept { return KeyOf::key(v); }
  static const Value& valueOf(const HashMap2018NodeInternalKey& n) noexcept { return n.value; }
  static Value& valueOf(HashMap2018NodeInternalKey& n) noexcept { return n.value; }

  Value value;
};

template <class V, class KeyOf, class F, uint32_t S>
inline constexpr bool relocatableByBytes<HashMap2018NodeInternalKey<V, KeyOf, F, S>> = relocatableByBytes<V>;

}  // namespace Vem
