#include <Brek/HashMix.h>
#include <Lumo/ThreadControl.h>
#include <Pelix/AddressText.h>
#include <Vem/CharRange.h>
#include <Vem/NboAttrLog.h>
#include <Vem/RangeException.h>
#include <Vxlan/SwTunnelGroupId.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <unordered_map>

namespace Vxlan {

struct SwTunnelGroupId::Slot {
  std::vector<Pelix::IpGenAddr> vteps;
  std::string key;  // the canonical bytes the table is indexed by
  uint32_t hash = 0;
  uint32_t uses = 0;
};

namespace {

constexpr const char* kTypeName = "Vxlan::SwTunnelGroupId";

class GroupTable {
 public:
  using Slot = SwTunnelGroupId::Slot;

  // Returns the slot of the sorted, repeat-free `vteps` with one more use.
  Slot* intern(std::vector<Pelix::IpGenAddr>&& vteps) {
    std::string key = keyOf(vteps);
    auto lock = guard();
    if (auto it = index_.find(key); it != index_.end()) {
      ++it->second->uses;
      return it->second;
    }
    Slot* slot;
    if (!free_.empty()) {
      slot = free_.back();
      free_.pop_back();
    } else {
      slot = slots_.emplace_back(std::make_unique<Slot>()).get();
    }
    slot->hash = hashOf(key);
    slot->vteps = std::move(vteps);
    slot->key = std::move(key);
    slot->uses = 1;
    index_.emplace(slot->key, slot);
    return slot;
  }

  void use(Slot* slot) noexcept {
    auto lock = guard();
    ++slot->uses;
  }

  void release(Slot* slot) noexcept {
    auto lock = guard();
    if (--slot->uses != 0) return;
    index_.erase(slot->key);
    slot->vteps.clear();
    slot->key.clear();
    try {
      free_.push_back(slot);
    } catch (...) {
      // Out of memory while recycling: the slot is simply not reused.
    }
  }

  std::size_t inUse() noexcept {
    auto lock = guard();
    return index_.size();
  }

 private:
  std::optional<std::unique_lock<std::mutex>> guard() {
    if (!Lumo::ThreadControl::tsp_) return std::nullopt;
    return std::optional<std::unique_lock<std::mutex>>(std::in_place, mutex_);
  }

  static std::string keyOf(const std::vector<Pelix::IpGenAddr>& vteps) {
    std::string key;
    key.reserve(vteps.size() * 17);
    for (const Pelix::IpGenAddr& a : vteps) {
      key.push_back(static_cast<char>(a.family()));
      key.append(reinterpret_cast<const char*>(a.storage().data()), a.storage().size());
    }
    return key;
  }

  static uint32_t hashOf(const std::string& key) noexcept {
    Brek::HashMix h;
    h.mixBytes(key.data(), key.size());
    return h.result();
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<Slot>> slots_;
  std::vector<Slot*> free_;
  std::unordered_map<std::string_view, Slot*> index_;
};

// Never destroyed, so that values in other static objects may outlive the end of main.
GroupTable& table() {
  static GroupTable* t = new GroupTable;
  return *t;
}

// Sorts the addresses and refuses what no group holds.
std::vector<Pelix::IpGenAddr> canonical(std::vector<Pelix::IpGenAddr> vteps) {
  if (vteps.size() > SwTunnelGroupId::maxVteps)
    throw Vem::RangeException(std::string(kTypeName) + ": more than 65535 VTEPs");
  std::sort(vteps.begin(), vteps.end());
  for (std::size_t i = 0; i < vteps.size(); ++i) {
    if (vteps[i].isNone()) throw Vem::RangeException(std::string(kTypeName) + ": a VTEP address is none");
    if (i != 0 && vteps[i] == vteps[i - 1])
      throw Vem::RangeException(std::string(kTypeName) + ": VTEP " + vteps[i].stringValue().stdString() +
                                " is repeated");
  }
  return vteps;
}

SwTunnelGroupId::Slot* internCanonical(std::vector<Pelix::IpGenAddr>&& vteps) {
  if (vteps.empty()) return nullptr;
  return table().intern(canonical(std::move(vteps)));
}

bool isGroupChar(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == '.' || c == ':' || c == '+';
}

}  // namespace

SwTunnelGroupId::SwTunnelGroupId(std::span<const Pelix::IpGenAddr> vteps)
    : slot_(internCanonical(std::vector<Pelix::IpGenAddr>(vteps.begin(), vteps.end()))) {}

SwTunnelGroupId::SwTunnelGroupId(Vem::CharRange& text) {
  const std::string_view rest = text.rest();
  if (rest.substr(0, 4) == "none" && (rest.size() == 4 || !isGroupChar(rest[4]))) {
    text.advance(4);
    return;
  }
  std::size_t n = 0;
  while (n < rest.size() && isGroupChar(rest[n])) ++n;
  const std::string_view token = rest.substr(0, n);
  std::vector<Pelix::IpGenAddr> vteps;
  std::string_view remaining = token;
  for (;;) {
    const std::size_t plus = remaining.find('+');
    Pelix::IpGenAddr a;
    if (!Pelix::AddressText::parseGenAddr(remaining.substr(0, plus), &a) || a.isNone())
      Pelix::AddressText::refuse(text, kTypeName, token, "a '+'-separated list of VTEP addresses or none");
    vteps.push_back(a);
    if (plus == std::string_view::npos) break;
    remaining.remove_prefix(plus + 1);
  }
  slot_ = internCanonical(std::move(vteps));
  text.advance(n);
}

SwTunnelGroupId::SwTunnelGroupId(Vem::NboAttrLog::In* in, Vem::StreamBogon) {
  const uint16_t count = in->u16();
  std::vector<Pelix::IpGenAddr> vteps;
  vteps.reserve(std::min<std::size_t>(count, in->remaining()));
  for (uint16_t i = 0; i < count; ++i) vteps.emplace_back(in, Vem::StreamBogon{});
  slot_ = internCanonical(std::move(vteps));
}

SwTunnelGroupId::SwTunnelGroupId(const SwTunnelGroupId& other) noexcept : slot_(other.slot_) {
  if (slot_) table().use(slot_);
}

SwTunnelGroupId& SwTunnelGroupId::operator=(const SwTunnelGroupId& other) noexcept {
  if (other.slot_) table().use(other.slot_);
  if (slot_) table().release(slot_);
  slot_ = other.slot_;
  return *this;
}

SwTunnelGroupId& SwTunnelGroupId::operator=(SwTunnelGroupId&& other) noexcept {
  if (this != &other) {
    if (slot_) table().release(slot_);
    slot_ = other.slot_;
    other.slot_ = nullptr;
  }
  return *this;
}

SwTunnelGroupId::~SwTunnelGroupId() {
  if (slot_) table().release(slot_);
}

std::span<const Pelix::IpGenAddr> SwTunnelGroupId::vteps() const noexcept {
  if (!slot_) return {};
  return slot_->vteps;
}

uint32_t SwTunnelGroupId::useCount() const noexcept { return slot_ ? slot_->uses : 0; }

std::size_t SwTunnelGroupId::groupsInUse() noexcept { return table().inUse(); }

uint32_t SwTunnelGroupId::hash() const noexcept { return slot_ ? slot_->hash : 0; }

std::strong_ordering operator<=>(const SwTunnelGroupId& a, const SwTunnelGroupId& b) noexcept {
  if (a.slot_ == b.slot_) return std::strong_ordering::equal;
  const auto x = a.vteps(), y = b.vteps();
  return std::lexicographical_compare_three_way(x.begin(), x.end(), y.begin(), y.end());
}

Lumo::String SwTunnelGroupId::stringValue() const {
  if (!slot_) return Lumo::String("none");
  std::string out;
  for (const Pelix::IpGenAddr& a : slot_->vteps) {
    if (!out.empty()) out += '+';
    if (a.isV4())
      Pelix::AddressText::appendIp4(out, a.v4().host());
    else
      Pelix::AddressText::appendIp6(out, a.storage());
  }
  return Lumo::String(out);
}

std::ostream& operator<<(std::ostream& os, const SwTunnelGroupId& g) { return os << g.stringValue(); }

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const SwTunnelGroupId& g) {
  const auto vteps = g.vteps();
  out.u16(static_cast<uint16_t>(vteps.size()));
  for (const Pelix::IpGenAddr& a : vteps) out << a;
  return out;
}

std::size_t attrLogSize(const SwTunnelGroupId* g) noexcept {
  std::size_t n = 2;
  for (const Pelix::IpGenAddr& a : g->vteps()) n += attrLogSize(&a);
  return n;
}

}  // namespace Vxlan
