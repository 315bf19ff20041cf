/// \file
/// The text cursor that parsers consume. It never reads outside [begin, end).
#pragma once

#include <cstddef>
#include <string_view>

namespace Vem {

class CharRange {
 public:
  constexpr CharRange() noexcept = default;
  constexpr explicit CharRange(std::string_view text) noexcept
      : begin_(text.data()), pos_(text.data()), end_(text.data() + text.size()) {}

  constexpr bool atEnd() const noexcept { return pos_ == end_; }
  constexpr std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - pos_); }
  constexpr std::size_t offset() const noexcept { return static_cast<std::size_t>(pos_ - begin_); }
  /// The next character, or '\0' at the end.
  constexpr char peek() const noexcept { return pos_ == end_ ? '\0' : *pos_; }
  constexpr std::string_view rest() const noexcept { return {pos_, remaining()}; }
  constexpr void advance(std::size_t n) noexcept { pos_ += n < remaining() ? n : remaining(); }
  constexpr char next() noexcept { return pos_ == end_ ? '\0' : *pos_++; }

  /// Consumes `literal` if the text continues with it.
  constexpr bool consume(std::string_view literal) noexcept {
    if (rest().substr(0, literal.size()) != literal) return false;
    pos_ += literal.size();
    return true;
  }
  /// Consumes `literal` or raises a RangeException naming what was expected and where.
  void expect(std::string_view literal);
  /// Raises a RangeException "<what> at offset N".
  [[noreturn]] void fail(std::string_view what) const;

 private:
  const char* begin_ = nullptr;
  const char* pos_ = nullptr;
  const char* end_ = nullptr;
};

}  // namespace Vem
