// Vxlan::SwTunnelGroupId: a group of remote VXLAN tunnel endpoints (VTEP addresses) over which traffic
// is spread in software, as one small value.
//
// Design: groups are interned in one process-wide table. Each distinct set of VTEPs has one slot holding
// the sorted addresses, their hash and a use count; a value is a pointer to its slot (null for the empty
// group, which needs none). Copying a value takes a use of the slot, destroying it gives the use back,
// and the slot is recycled when its last use goes. So values are one word, copies allocate nothing,
// equality is one pointer comparison, and the members of a group are stored once however many MAC
// entries point at it. Slots never move while in use. In the platform's thread-safe mode the table and
// the use counts are guarded by a lock; otherwise they are plain.
//
// Text: the VTEPs in ascending order joined by '+' ("10.0.0.1+10.0.0.2"), "none" for the empty group;
// the parser takes the addresses in any order and refuses repeats. Ordered by the sorted address lists.
// Log form: the number of VTEPs as U16, then each address in Pelix::IpGenAddr's log form.
#pragma once

#include <Pelix/IpGenAddr.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Vxlan {

class SwTunnelGroupId {
 public:
  static constexpr std::size_t maxVteps = 0xffff;

  SwTunnelGroupId() noexcept = default;
  // The group of these addresses (any order); raises Vem::RangeException for a repeated address, a
  // "none" address or more than maxVteps addresses.
  explicit SwTunnelGroupId(std::span<const Pelix::IpGenAddr> vteps);
  explicit SwTunnelGroupId(Vem::CharRange& text);
  SwTunnelGroupId(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  SwTunnelGroupId(const SwTunnelGroupId& other) noexcept;
  SwTunnelGroupId(SwTunnelGroupId&& other) noexcept : slot_(other.slot_) { other.slot_ = nullptr; }
  SwTunnelGroupId& operator=(const SwTunnelGroupId& other) noexcept;
  SwTunnelGroupId& operator=(SwTunnelGroupId&& other) noexcept;
  ~SwTunnelGroupId();

  // The VTEPs in ascending order.
  std::span<const Pelix::IpGenAddr> vteps() const noexcept;
  bool empty() const noexcept { return slot_ == nullptr; }
  // How many values share this group (0 for the empty group).
  uint32_t useCount() const noexcept;
  // How many distinct non-empty groups are in use in the process.
  static std::size_t groupsInUse() noexcept;

  Lumo::String stringValue() const;

  friend bool operator==(const SwTunnelGroupId& a, const SwTunnelGroupId& b) noexcept { return a.slot_ == b.slot_; }
  friend std::strong_ordering operator<=>(const SwTunnelGroupId& a, const SwTunnelGroupId& b) noexcept;
  uint32_t hash() const noexcept;

  struct Slot;

 private:
  Slot* slot_ = nullptr;
};

std::ostream& operator<<(std::ostream& os, const SwTunnelGroupId& g);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const SwTunnelGroupId& g);
std::size_t attrLogSize(const SwTunnelGroupId* g) noexcept;

}  // namespace Vxlan
