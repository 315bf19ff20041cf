#include <Orv/OrvPrefixQuarnTypes.h>

#include <Brek/HashMix.h>
#include <Vem/Hash.h>

#include <cstdio>

namespace Orv {

namespace {

constexpr uint32_t kLenMask = 0x3f;          // bits 0-5 of the packed word
constexpr unsigned kPiggyBackShift = 6;      // caller data starts at bit 6
constexpr uint32_t kVrfIdMask = 0xffffff;    // a VRF id keeps its low 24 bits
constexpr uint32_t kVrfIdBits = 0x3fffffc0;  // where the VRF id sits in the packed word

// The 4 bytes of the VRF id as they lie in memory, then each further word, as the address keys'
// own hashes do.
template <class Id>
void mixVrfId(Brek::HashMix& h, const Id& vrfId) {
  static_assert(sizeof vrfId == 4, "a VRF id is 4 bytes");
  h.mixBytes(&vrfId, sizeof vrfId);
}

// A generic address hashes through its whole storage read as an IPv6 address, whatever its family, so
// that an IPv4 address and the IPv6 address with the same leading bytes hash alike.
uint32_t genAddrKeyHash(const auto& vrfId, const Pelix::IpGenAddr& addr, const Pelix::IntfId& intfId) {
  Brek::HashMix h(0);
  mixVrfId(h, vrfId);
  h.mix(addr.storageAsIp6().hash());
  h.mix(intfId.hash());
  return h.result();
}

}  // namespace

// ---- CompactIpPrefix ------------------------------------------------------------------------------

Pelix::Prefix CompactIpPrefix::prefix() const {
  const unsigned length = len();
  if (length == nullPrefixLen()) return Pelix::Prefix::null();
  // Refuses lengths 34-63 and host bits set after the length with the platform's own message.
  return Pelix::Prefix(addr_, length);
}

void CompactIpPrefix::prefixIs(const Pelix::Prefix& value) {
  if (value.isNull()) {
    lenIs(nullPrefixLen());  // the address is left as it was
    return;
  }
  addr_ = value.addr();
  lenIs(value.length());
}

uint8_t CompactIpPrefix::len() const { return static_cast<uint8_t>(lenAndPiggyBackData_ & kLenMask); }

void CompactIpPrefix::lenIs(uint8_t value) { lenAndPiggyBackData_ = (lenAndPiggyBackData_ & ~kLenMask) | (value & kLenMask); }

uint32_t CompactIpPrefix::piggyBackData() const { return lenAndPiggyBackData_ >> kPiggyBackShift; }

void CompactIpPrefix::piggyBackDataIs(uint32_t value) {
  lenAndPiggyBackData_ = (lenAndPiggyBackData_ & kLenMask) | (value << kPiggyBackShift);
}

// ---- PrefixAndVrfId -------------------------------------------------------------------------------

PrefixAndVrfId::PrefixAndVrfId(const Pelix::Prefix& prefix, const Orv::VrfId& vrfId) {
  uint32_t length = nullPrefixLen();
  if (prefix.length() < Pelix::Prefix::nullLength) {
    addrIs(prefix.addr());
    length = prefix.length() & kLenMask;
  }
  lenAndPiggyBackDataIs(((vrfId.value() << kPiggyBackShift) & kVrfIdBits) + length);
}

Orv::VrfId PrefixAndVrfId::vrfId() const { return Orv::VrfId((lenAndPiggyBackData() >> kPiggyBackShift) & kVrfIdMask); }

// ---- VrfAndPrefix ---------------------------------------------------------------------------------

VrfAndPrefix::VrfAndPrefix(const Orv::VrfId& vrfIdInput, const Pelix::Prefix& prefixInput)
    : storage_(prefixInput, vrfIdInput) {}

Pelix::Prefix VrfAndPrefix::prefix() const { return storage_.prefix(); }

void VrfAndPrefix::prefixIs(const Pelix::Prefix& value) { storage_.prefixIs(value); }

Orv::VrfId VrfAndPrefix::vrfId() const { return storage_.vrfId(); }

Lumo::String VrfAndPrefix::stringValue() const {
  const Lumo::String prefixText = prefix().stringValue();
  // The longest prefix text ("255.255.255.255/32") and VRF id keep well inside this.
  char out[64];
  const int n = std::snprintf(out, sizeof out, "(prefix=%s, vrfId=%u )", prefixText.c_str(),
                              static_cast<unsigned>(vrfId().value()));
  return Lumo::String(std::string_view(out, static_cast<std::size_t>(n)));
}

// VRF first; within a VRF the prefix order, under which nested prefixes sort longest first.
bool VrfAndPrefix::operator<(const VrfAndPrefix& other) const {
  const uint32_t a = vrfId().value(), b = other.vrfId().value();
  if (a != b) return a < b;
  return prefix() < other.prefix();
}

// The packed words hash as a CompactIpPrefix does, not as a value nested in this one.
uint32_t VrfAndPrefix::hash(uint32_t seed) const noexcept { return storage_.hash(seed); }

// ---- IPv6 and generic route keys ------------------------------------------------------------------

VrfAndIpGenPrefix VrfAndIpGenPrefix::linkLocal(const Orv::VrfId& vrfId, const Pelix::IpGenPrefix& prefix,
                                               const Pelix::IntfId& intfId) {
  VrfAndIpGenPrefix key(vrfId, prefix);
  key.intfIdIs(intfId);
  return key;
}

VrfAndIpGenPrefix VrfAndIpGenPrefix::makeWithoutIntf(const Orv::VrfId& vrfId, const Pelix::IpGenPrefix& prefix) {
  return VrfAndIpGenPrefix(vrfId, prefix);
}

VrfAndIpGenPrefix VrfAndIp6Prefix::asVrfAndGenPrefix() const {
  return VrfAndIpGenPrefix::linkLocal(vrfId_, Pelix::IpGenPrefix(prefix_), intfId_);
}

VrfAndIpGenPrefix VrfAndIp6Prefix::asVrfAndGenPrefixWithoutIntf() const {
  return VrfAndIpGenPrefix(vrfId_, Pelix::IpGenPrefix(prefix_));
}

VrfAndIp6Prefix VrfAndIp6Prefix::linkLocal(const Orv::VrfId& vrfId, const Pelix::Ip6Prefix& prefix,
                                           const Pelix::IntfId& intfId) {
  VrfAndIp6Prefix key(vrfId, prefix);
  key.intfIdIs(intfId);
  return key;
}

VrfAndIp6Prefix VrfAndIp6Prefix::makeWithoutIntf(const Orv::VrfId& vrfId, const Pelix::Ip6Prefix& prefix) {
  return VrfAndIp6Prefix(vrfId, prefix);
}

// ---- Address keys ---------------------------------------------------------------------------------

VrfAndIpGenAddr VrfAndIpGenAddr::fromVrfAndIp6Prefix(const VrfAndIp6Prefix& p) {
  return VrfAndIpGenAddr(p.vrfId(), Pelix::IpGenAddr(p.prefix().addr()), p.intfId());
}

VrfAndIpGenAddr VrfAndIpGenAddr::fromVrfAndIp6PrefixWithoutIntf(const VrfAndIp6Prefix& p) {
  return VrfAndIpGenAddr(p.vrfId(), Pelix::IpGenAddr(p.prefix().addr()), Pelix::IntfId());
}

uint32_t VrfAndIpGenAddr::hash() const { return genAddrKeyHash(vrfId_, ipGenAddr_, intfId_); }

VrfAndIpGenAddr VrfAndIp6Addr::asVrfAndGenAddr() const {
  return VrfAndIpGenAddr(vrfId_, Pelix::IpGenAddr(ip6Addr_), intfId_);
}

VrfAndIpGenAddr VrfAndIp6Addr::asVrfAndGenAddrWithoutIntf() const {
  return VrfAndIpGenAddr(vrfId_, Pelix::IpGenAddr(ip6Addr_), Pelix::IntfId());
}

// A length above 128 is refused by the prefix type ("Pelix::Ip6Prefix::length > 128 not allowed").
VrfAndIp6Prefix VrfAndIp6Addr::asVrfAndIp6Prefix(uint8_t length) const {
  return VrfAndIp6Prefix::linkLocal(vrfId_, Pelix::Ip6Prefix(ip6Addr_, length), intfId_);
}

VrfAndIp6Addr VrfAndIp6Addr::fromVrfAndIp6Prefix(const VrfAndIp6Prefix& p) {
  return VrfAndIp6Addr(p.vrfId(), p.prefix().addr(), p.intfId());
}

VrfAndIp6Addr VrfAndIp6Addr::fromVrfAndIp6PrefixWithoutIntf(const VrfAndIp6Prefix& p) {
  return VrfAndIp6Addr(p.vrfId(), p.prefix().addr(), Pelix::IntfId());
}

uint32_t VrfIpGenAddrIntfId::hash() const { return genAddrKeyHash(vrfId_, ipGenAddr_, intfId_); }

}  // namespace Orv
