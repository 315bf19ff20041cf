/// \file
/// The shared shape of generated value types. A generated type lists its stored fields once, in
/// declaration order, as `VemFields`; equality, ordering and the seeded hash are these templates walking
/// that list, so every type behaves alike and the compiler inlines them flat.
#pragma once

#include <Lumo/String.h>
#include <Vem/Hash.h>

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Vem {

using Seconds = double;

/// A string usable as a template argument (field names).
template <std::size_t N>
struct FixedString {
  char chars[N];
  constexpr FixedString(const char (&s)[N]) noexcept {
    for (std::size_t i = 0; i < N; ++i) chars[i] = s[i];
  }
  constexpr std::string_view view() const noexcept { return {chars, N - 1}; }
};

template <class M>
struct MemberPointerTraits;
template <class C, class T>
struct MemberPointerTraits<T C::*> {
  using Class = C;
  using Type = T;
};

/// One stored field: where it lives and what it is called.
template <auto MemberPtr, FixedString Name>
struct Field {
  static constexpr auto member = MemberPtr;
  static constexpr std::string_view name = Name.view();
  using Type = std::remove_cv_t<typename MemberPointerTraits<decltype(MemberPtr)>::Type>;
};

template <class... Fields>
struct FieldList {
  static constexpr std::size_t size = sizeof...(Fields);
};

/// Two lists of one kind joined: a derived type's lists are its base's followed by its own.
template <class A, class B>
struct ListCatImpl;
template <template <class...> class L, class... X, class... Y>
struct ListCatImpl<L<X...>, L<Y...>> {
  using type = L<X..., Y...>;
};
template <class A, class B>
using ListCat = typename ListCatImpl<A, B>::type;

/// Types produced by the compiler from a definition carry their field list.
template <class T>
concept GeneratedValue = requires { typename T::VemFields; };

/// Platform value types (hand-written classes registered by the sibling libraries) opt in here.
template <class T>
inline constexpr bool isPlatformValue = false;

/// The hash a platform value contributes as a field: its unseeded hash where it has one.
template <class T>
uint32_t platformHash(const T& v) noexcept {
  if constexpr (requires { { v.hash() } -> std::convertible_to<uint32_t>; })
    return v.hash();
  else
    return v.hash(0u);
}

/// The 32-bit hash a value contributes where a declared hash mixes "its own hash": the unseeded `hash()`
/// where the type has one, else the seeded hash with seed 0.
template <class T>
uint32_t fieldHash(const T& v) noexcept {
  if constexpr (requires { { v.hash() } -> std::convertible_to<uint32_t>; })
    return v.hash();
  else
    return v.hash(0u);
}

/// Whether comparing two values of the type can raise: only orders written by hand may (a value whose
/// stored form cannot be read, for instance).
template <class T>
inline constexpr bool nothrowOrdered = [] {
  if constexpr (std::is_enum_v<T> || std::is_arithmetic_v<T>)
    return true;
  else if constexpr (requires(const T& a, const T& b) { { a <=> b } -> std::convertible_to<std::strong_ordering>; })
    return noexcept(std::declval<const T&>() <=> std::declval<const T&>());
  else
    return noexcept(std::declval<const T&>() < std::declval<const T&>());
}();

/// Equality, ordering and seeded-hash contribution of one field type.
template <class T>
struct ValueTraits {
  static bool equal(const T& a, const T& b) noexcept { return a == b; }
  /// A type ordered only by `<` (or weakly) compares equal when neither value is before the other.
  static std::strong_ordering compare(const T& a, const T& b) noexcept(nothrowOrdered<T>) {
    if constexpr (std::is_enum_v<T>) {
      using U = std::underlying_type_t<T>;
      return static_cast<U>(a) <=> static_cast<U>(b);
    } else if constexpr (requires { { a <=> b } -> std::convertible_to<std::strong_ordering>; }) {
      return a <=> b;
    } else {
      return a < b ? std::strong_ordering::less : b < a ? std::strong_ordering::greater : std::strong_ordering::equal;
    }
  }
  static void hashInto(Hash& h, const T& v) noexcept {
    if constexpr (std::is_enum_v<T>)
      h.hashMix(static_cast<uint32_t>(v));  // an enumeration mixes as 4 bytes whatever its width
    else if constexpr (std::is_same_v<T, bool>)
      h.hashMix(static_cast<uint8_t>(v));
    else if constexpr (std::is_integral_v<T>)
      h.hashMix(static_cast<std::make_unsigned_t<T>>(v));
    else if constexpr (GeneratedValue<T>)
      h.hashMix(v.hash(0u));
    else
      h.hashMix(platformHash(v));
  }
};

template <>
struct ValueTraits<Lumo::String> {
  static bool equal(const Lumo::String& a, const Lumo::String& b) noexcept { return a == b; }
  static std::strong_ordering compare(const Lumo::String& a, const Lumo::String& b) noexcept { return a <=> b; }
  static void hashInto(Hash& h, const Lumo::String& v) noexcept { h.mixNi(v.data(), v.size()); }
};

template <>
struct ValueTraits<double> {
  /// A NaN is unequal to everything, itself included, as the platform's time values are.
  static bool equal(double a, double b) noexcept { return a == b; }
  static std::strong_ordering compare(double a, double b) noexcept {
    if (a < b) return std::strong_ordering::less;
    if (b < a) return std::strong_ordering::greater;
    if (a == b) return std::strong_ordering::equal;
    // Unordered (a NaN): order NaNs after numbers so that sorting stays total.
    return (a != a) ? ((b != b) ? std::strong_ordering::equal : std::strong_ordering::greater)
                    : std::strong_ordering::less;
  }
  static void hashInto(Hash& h, double v) noexcept {
    uint64_t bits;
    static_assert(sizeof bits == sizeof v);
    __builtin_memcpy(&bits, &v, sizeof bits);
    h.hashMix(bits);
  }
};

/// Equality of two values of a generated type: every stored field, in declaration order.
template <GeneratedValue T>
bool valueEqual(const T& a, const T& b) noexcept {
  if (&a == &b) return true;
  return []<class... F>(FieldList<F...>, const T& x, const T& y) {
    return (ValueTraits<typename F::Type>::equal(x.*F::member, y.*F::member) && ...);
  }(typename T::VemFields{}, a, b);
}

/// Lexicographic order of the stored fields; the first difference decides.
template <GeneratedValue T>
std::strong_ordering valueCompare(const T& a, const T& b) noexcept {
  if (&a == &b) return std::strong_ordering::equal;
  std::strong_ordering r = std::strong_ordering::equal;
  []<class... F>(FieldList<F...>, const T& x, const T& y, std::strong_ordering& out) {
    (void)(((out = ValueTraits<typename F::Type>::compare(x.*F::member, y.*F::member)) == 0) && ...);
  }(typename T::VemFields{}, a, b, r);
  return r;
}

/// The order of a derived value: its base's order (whatever it is), then the fields the derived type adds,
/// lexicographically.
template <class Base, GeneratedValue T>
std::strong_ordering derivedCompare(const T& a, const T& b) noexcept(nothrowOrdered<Base>) {
  if (&a == &b) return std::strong_ordering::equal;
  std::strong_ordering r = ValueTraits<Base>::compare(a, b);
  if (r != 0) return r;
  []<class... F>(FieldList<F...>, const T& x, const T& y, std::strong_ordering& out) {
    (void)(((out = ValueTraits<typename F::Type>::compare(x.*F::member, y.*F::member)) == 0) && ...);
  }(typename T::VemOwnFields{}, a, b, r);
  return r;
}

/// The three-way form of an order written by hand as `operator<`: equivalent when neither is before the
/// other, which need not mean equal.
template <class T>
std::weak_ordering orderFromLess(const T& a, const T& b) {
  if (a < b) return std::weak_ordering::less;
  if (b < a) return std::weak_ordering::greater;
  return std::weak_ordering::equivalent;
}

/// The seeded hash: the accumulator started from the seed, fed every stored field in order.
template <GeneratedValue T>
uint32_t valueHash(const T& v, uint32_t seed) noexcept {
  Hash h(seed);
  []<class... F>(FieldList<F...>, const T& x, Hash& acc) {
    (ValueTraits<typename F::Type>::hashInto(acc, x.*F::member), ...);
  }(typename T::VemFields{}, v, h);
  return h.result();
}

/// True unless the value equals a default-constructed one.
template <GeneratedValue T>
bool valueIsSet(const T& v) {
  static const T defaultValue{};
  return !valueEqual(v, defaultValue);
}

}  // namespace Vem

namespace Vem {

/// A string constant shared by every default-constructed value: copying it costs a use-count increment,
/// not an allocation.
template <FixedString Text>
const Lumo::String& constantString() {
  static const Lumo::String value(Text.view());
  return value;
}

/// The stored field of V named Name, as a member pointer (found in V's field list at compile time).
template <FixedString Name, class F, class... Rest>
consteval auto findFieldMember(FieldList<F, Rest...>) {
  if constexpr (F::name == Name.view())
    return F::member;
  else
    return findFieldMember<Name>(FieldList<Rest...>{});
}

/// Reads the key of a value that carries its own key, for collections of such values.
template <class V, FixedString Name>
struct FieldKey {
  static constexpr auto member = findFieldMember<Name>(typename V::VemFields{});
  static const auto& key(const V& v) noexcept { return v.*member; }
};

/// The field list of a derived value type: its base's fields, then its own.
template <class A, class B>
struct ConcatFields;
template <class... A, class... B>
struct ConcatFields<FieldList<A...>, FieldList<B...>> {
  using type = FieldList<A..., B...>;
};

}  // namespace Vem
