// Pelix::MplsLabel: a 20-bit MPLS label, 0 to 1048575, or 1048576 for no label (the default).
// Text: the label in decimal, "none" for no label. Ordered as the number (no label last); logged as U32.
#pragma once

#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace Pelix {

class MplsLabel {
 public:
  static constexpr uint32_t maxLabel = 0xfffff;
  static constexpr uint32_t none = 0x100000;

  constexpr MplsLabel() noexcept = default;
  // Raises Vem::RangeException "Pelix::MplsLabel::value > 1048576 not allowed".
  explicit MplsLabel(uint32_t value);
  explicit MplsLabel(Vem::CharRange& text);
  MplsLabel(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  constexpr uint32_t value() const noexcept { return value_; }
  constexpr bool isNone() const noexcept { return value_ == none; }

  Lumo::String stringValue() const;

  friend constexpr bool operator==(MplsLabel, MplsLabel) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(MplsLabel, MplsLabel) noexcept = default;
  uint32_t hash() const noexcept;

 private:
  uint32_t value_ = none;
};

std::ostream& operator<<(std::ostream& os, const MplsLabel& label);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const MplsLabel& label);
constexpr std::size_t attrLogSize(const MplsLabel*) noexcept { return 4; }

}  // namespace Pelix
