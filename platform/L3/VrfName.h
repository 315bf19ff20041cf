// L3::VrfName: the name of a VRF, a string of at most 100 bytes; the default is the empty name, and
// defaultVrf() is the VRF named "default". Ordered with "default" before every other name, the rest by
// their bytes. Text: a quoted string as for Vem::String ("default" with its quotes), so that any name
// round-trips inside a value's text. Log form: the string (4-byte length, then the bytes).
// A longer name is refused everywhere with Vem::RangeException
// "Vem::String::bytes > maxLength() not allowed".
#pragma once

#include <Lumo/String.h>
#include <Vem/Forward.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace L3 {

class VrfName {
 public:
  static constexpr std::size_t maxLength() noexcept { return 100; }

  VrfName() noexcept = default;
  explicit VrfName(const Lumo::String& name);
  explicit VrfName(std::string_view name) : VrfName(Lumo::String(name)) {}
  explicit VrfName(const std::string& name) : VrfName(Lumo::String(name)) {}
  explicit VrfName(const char* name) : VrfName(std::string_view(name)) {}
  explicit VrfName(Vem::CharRange& text);
  VrfName(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  // The VRF named "default" (shared: copying it allocates nothing).
  static const VrfName& defaultVrf();

  const Lumo::String& name() const noexcept { return name_; }
  bool isDefaultVrf() const noexcept { return name_ == std::string_view("default"); }
  bool empty() const noexcept { return name_.empty(); }

  Lumo::String stringValue() const;

  friend bool operator==(const VrfName& a, const VrfName& b) noexcept { return a.name_ == b.name_; }
  friend std::strong_ordering operator<=>(const VrfName& a, const VrfName& b) noexcept {
    const bool ad = a.isDefaultVrf(), bd = b.isDefaultVrf();
    if (ad || bd) return bd <=> ad;  // the default VRF first
    return a.name_ <=> b.name_;
  }
  uint32_t hash() const noexcept;

 private:
  Lumo::String name_;
};

std::ostream& operator<<(std::ostream& os, const VrfName& v);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const VrfName& v);
inline std::size_t attrLogSize(const VrfName* v) noexcept { return 4 + v->name().size(); }

}  // namespace L3
