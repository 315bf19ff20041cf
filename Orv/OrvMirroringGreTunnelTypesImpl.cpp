#include <Orv/OrvMirroringGreTunnelTypes.h>

#include <string>

namespace Orv {

namespace {
void appendNextHop(std::string& out, const GreTunnelNextHop& hop, std::string_view macLabel) {
  out += macLabel;
  out += hop.macAddr().stringValue().view();
  out += " l3Intf: ";
  out += hop.l3Intf().stringValue().view();
  out += " l2Intf: ";
  out += hop.l2Intf().stringValue().view();
}

}  // namespace

// The operator-facing form: " macAddr <mac> l3Intf: <intf> l2Intf: <intf>" (no colon after macAddr).
Lumo::String GreTunnelNextHop::stringValue() const {
  std::string out;
  appendNextHop(out, *this, " macAddr ");
  return Lumo::String(out);
}

// The index, then one line per next hop in the collection's order; the flags are not shown.
Lumo::String GreTunnelNextHopInfoColl::stringValue() const {
  std::string out = "l2AdjIndex: " + std::to_string(l2AdjIndex_) + "\n";
  for (auto it = nextHop_.begin(); it.valid(); it.next()) {
    appendNextHop(out, it.key(), " macAddr: ");
    out += '\n';
  }
  return Lumo::String(out);
}

}  // namespace Orv
