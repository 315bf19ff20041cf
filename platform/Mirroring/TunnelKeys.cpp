#include <Mirroring/TunnelKeys.h>
#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

namespace Mirroring {

GreTunnelKey::GreTunnelKey(Vem::CharRange& text) : GreTunnelKey() {
  Vem::CharRange probe = text;
  Vem::parseFields(probe, *this);
  text = probe;
}

GreTunnelKey::GreTunnelKey(Vem::NboAttrLog::In* in, Vem::StreamBogon) { Vem::valueFromLog(*in, *this); }

Lumo::String GreTunnelKey::stringValue() const { return Vem::valueToString(*this); }

std::ostream& operator<<(std::ostream& os, const GreTunnelKey& v) {
  Vem::valueToStrep(os, v);
  return os;
}

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const GreTunnelKey& v) {
  Vem::valueToLog(out, v);
  return out;
}

std::size_t attrLogSize(const GreTunnelKey* v) { return Vem::valueLogSize(*v); }

VxlanTunnelKey::VxlanTunnelKey(Vem::CharRange& text) : VxlanTunnelKey() {
  Vem::CharRange probe = text;
  Vem::parseFields(probe, *this);
  text = probe;
}

VxlanTunnelKey::VxlanTunnelKey(Vem::NboAttrLog::In* in, Vem::StreamBogon) { Vem::valueFromLog(*in, *this); }

Lumo::String VxlanTunnelKey::stringValue() const { return Vem::valueToString(*this); }

std::ostream& operator<<(std::ostream& os, const VxlanTunnelKey& v) {
  Vem::valueToStrep(os, v);
  return os;
}

Vem::NboAttrLog::Out& operator<<(Vem::NboAttrLog::Out& out, const VxlanTunnelKey& v) {
  Vem::valueToLog(out, v);
  return out;
}

std::size_t attrLogSize(const VxlanTunnelKey* v) { return Vem::valueLogSize(*v); }

}  // namespace Mirroring
