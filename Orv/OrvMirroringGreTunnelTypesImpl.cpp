#include <Orv/OrvMirroringGreTunnelTypes.h>

#include <Vem/CharRange.h>
#include <Vem/RangeException.h>

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

template <class F>
F parseField(Vem::CharRange& text, const char* name) {
  try {
    return F(text);
  } catch (const Vem::RangeException& e) {
    Vem::rethrowFromDeserializeAttr(e, name);
  }
}
}  // namespace

// The operator-facing form: " macAddr <mac> l3Intf: <intf> l2Intf: <intf>" (no colon after macAddr).
Lumo::String GreTunnelNextHop::stringValue() const {
  std::string out;
  appendNextHop(out, *this, " macAddr ");
  return Lumo::String(out);
}

GreTunnelNextHop::GreTunnelNextHop(Vem::CharRange& text) {
  text.expect(" macAddr ");
  const auto mac = parseField<Pelix::EthAddr>(text, "macAddr");
  text.expect(" l3Intf: ");
  const auto l3 = parseField<Pelix::IntfId>(text, "l3Intf");
  text.expect(" l2Intf: ");
  const auto l2 = parseField<Pelix::IntfId>(text, "l2Intf");
  macAddr_ = mac;
  l3Intf_ = l3;
  l2Intf_ = l2;
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
