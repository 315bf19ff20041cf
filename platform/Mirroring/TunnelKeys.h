// The tunnel parameter records of the mirroring library: where mirrored traffic is sent and how it is
// encapsulated. Both default to the VRF named "default", which a generated record cannot express (its
// platform fields start as their own defaults), so they are written here; they still list their stored
// fields as `VemFields`, so that equality, ordering, the seeded hash, the text form and the log form are
// the generic ones of every value type ("Mirroring::GreTunnelKey(srcAddr=10.0.0.1, ...)").
#pragma once

#include <L3/VrfName.h>
#include <Pelix/IpGenAddr.h>
#include <Vem/Value.h>

namespace Mirroring {

// A GRE tunnel (ERSPAN-style): source and destination, the outer header's TTL and TOS, the GRE
// protocol type, and the VRF the tunnel is routed in.
class GreTunnelKey {
 public:
  static constexpr uint8_t defaultTtl = 128;
  static constexpr uint16_t defaultGreProtocol = 0x88be;

  GreTunnelKey() : vrfName_(L3::VrfName::defaultVrf()) {}
  GreTunnelKey(const Pelix::IpGenAddr& srcAddr, const Pelix::IpGenAddr& dstAddr, uint8_t ttl, uint8_t tos,
               uint16_t greProtocol, const L3::VrfName& vrfName)
      : srcAddr_(srcAddr), dstAddr_(dstAddr), ttl_(ttl), tos_(tos), greProtocol_(greProtocol), vrfName_(vrfName) {}
  explicit GreTunnelKey(Vem::CharRange& text);
  GreTunnelKey(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  const Pelix::IpGenAddr& srcAddr() const noexcept { return srcAddr_; }
  const Pelix::IpGenAddr& dstAddr() const noexcept { return dstAddr_; }
  uint8_t ttl() const noexcept { return ttl_; }
  uint8_t tos() const noexcept { return tos_; }
  uint16_t greProtocol() const noexcept { return greProtocol_; }
  const L3::VrfName& vrfName() const noexcept { return vrfName_; }

  bool operator==(const GreTunnelKey& other) const noexcept { return Vem::valueEqual(*this, other); }
  std::strong_ordering operator<=>(const GreTunnelKey& other) const noexcept { return Vem::valueCompare(*this, other); }
  uint32_t hash(uint32_t seed) const noexcept { return Vem::valueHash(*this, seed); }
  Lumo::String stringValue() const;

  static constexpr std::string_view vemTypeName = "Mirroring::GreTunnelKey";

 private:
  Pelix::IpGenAddr srcAddr_;
  Pelix::IpGenAddr dstAddr_;
  uint8_t ttl_ = defaultTtl;
  uint8_t tos_ = 0;
  uint16_t greProtocol_ = defaultGreProtocol;
  L3::VrfName vrfName_;

 public:
  using VemFields =
      Vem::FieldList<Vem::Field<&GreTunnelKey::srcAddr_, "srcAddr">, Vem::Field<&GreTunnelKey::dstAddr_, "dstAddr">,
                     Vem::Field<&GreTunnelKey::ttl_, "ttl">, Vem::Field<&GreTunnelKey::tos_, "tos">,
                     Vem::Field<&GreTunnelKey::greProtocol_, "greProtocol">,
                     Vem::Field<&GreTunnelKey::vrfName_, "vrfName">>;
};

std::ostream& operator<<(std::ostream& os, const GreTunnelKey& v);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const GreTunnelKey& v);
std::size_t attrLogSize(const GreTunnelKey* v);

// A VXLAN tunnel: source and destination VTEPs, the VNI, the UDP destination port and the VRF.
class VxlanTunnelKey {
 public:
  static constexpr uint16_t defaultUdpPort = 4789;

  VxlanTunnelKey() : vrfName_(L3::VrfName::defaultVrf()) {}
  VxlanTunnelKey(const Pelix::IpGenAddr& srcAddr, const Pelix::IpGenAddr& dstAddr, uint32_t vni, uint16_t udpPort,
                 const L3::VrfName& vrfName)
      : srcAddr_(srcAddr), dstAddr_(dstAddr), vni_(vni), udpPort_(udpPort), vrfName_(vrfName) {}
  explicit VxlanTunnelKey(Vem::CharRange& text);
  VxlanTunnelKey(Vem::NboAttrLog::In* in, Vem::StreamBogon);

  const Pelix::IpGenAddr& srcAddr() const noexcept { return srcAddr_; }
  const Pelix::IpGenAddr& dstAddr() const noexcept { return dstAddr_; }
  uint32_t vni() const noexcept { return vni_; }
  uint16_t udpPort() const noexcept { return udpPort_; }
  const L3::VrfName& vrfName() const noexcept { return vrfName_; }

  bool operator==(const VxlanTunnelKey& other) const noexcept { return Vem::valueEqual(*this, other); }
  std::strong_ordering operator<=>(const VxlanTunnelKey& other) const noexcept {
    return Vem::valueCompare(*this, other);
  }
  uint32_t hash(uint32_t seed) const noexcept { return Vem::valueHash(*this, seed); }
  Lumo::String stringValue() const;

  static constexpr std::string_view vemTypeName = "Mirroring::VxlanTunnelKey";

 private:
  Pelix::IpGenAddr srcAddr_;
  Pelix::IpGenAddr dstAddr_;
  uint32_t vni_ = 0;
  uint16_t udpPort_ = defaultUdpPort;
  L3::VrfName vrfName_;

 public:
  using VemFields =
      Vem::FieldList<Vem::Field<&VxlanTunnelKey::srcAddr_, "srcAddr">, Vem::Field<&VxlanTunnelKey::dstAddr_, "dstAddr">,
                     Vem::Field<&VxlanTunnelKey::vni_, "vni">, Vem::Field<&VxlanTunnelKey::udpPort_, "udpPort">,
                     Vem::Field<&VxlanTunnelKey::vrfName_, "vrfName">>;
};

std::ostream& operator<<(std::ostream& os, const VxlanTunnelKey& v);
Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const VxlanTunnelKey& v);
std::size_t attrLogSize(const VxlanTunnelKey* v);

}  // namespace Mirroring
