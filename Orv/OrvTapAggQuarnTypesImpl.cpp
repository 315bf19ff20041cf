#include <Orv/OrvTapAggQuarnTypes.h>

#include <Vem/TextForm.h>

#include <string>

namespace Orv::OrvTapAgg {

namespace {

// The summary of one treatment, as operators read it: "None" for each part left at its default, the
// set parts in brackets with a blank inside each. Names follow the set's iteration order, unsorted.
template <class DestinationMap>
void appendTreatment(std::string& out, const DestinationMap& destination, const Bridging::IdentityTuple& identityTag,
                     const Pelix::EthAddrTuple& macAddress, Bridging::Dot1qStrip removeVlans) {
  if (destination.empty()) {
    out += "None, ";
  } else {
    out += "( ";
    bool first = true;
    for (auto it = destination.begin(); it.valid(); it.next()) {
      if (!first) out += ", ";
      out += it.key().view();
      first = false;
    }
    out += " ), ";
  }

  out += "id-tag: ";
  if (identityTag.id() == 0 && identityTag.vlanId().value() == 0) {
    out += "None, ";
  } else {
    out += "( ";
    out += std::to_string(identityTag.id());
    out += ", ";
    out += identityTag.vlanId().stringValue().view();
    out += " ), ";
  }

  out += "mac-addr: ";
  if (macAddress.dstAddr().isZero() && macAddress.srcAddr().isZero()) {
    out += "None, ";
  } else {
    out += "( ";
    out += macAddress.dstAddr().displayString().view();
    out += ", ";
    out += macAddress.srcAddr().displayString().view();
    out += " ), ";
  }

  out += "remove-tag: ";
  if (removeVlans == Bridging::Dot1qStrip::dot1qStripNone) {
    out += "None }";
  } else {
    out += stringValue(removeVlans).view();
    out += " }";
  }
}

}  // namespace

Lumo::String ComponentKey::stringValue() const {
  std::string out = "global: { dest: ";
  appendTreatment(out, destination_, identityTag_, macAddress_, removeVlans_);
  for (auto it = actionSetProperties_.begin(); it.valid(); it.next()) {
    const ActionSetProperties& set = it.value();
    out += ", ";
    out += it.key().view();
    out += ": { dest: ";
    appendTreatment(out, set.destination(), set.identityTag(), set.macAddress(), set.removeVlans());
  }
  return Lumo::String(out);
}

// Counted per set, so a name in several sets counts each time; the sum wraps at 16 bits.
uint16_t ComponentKey::numDestinations() const {
  std::size_t count = destination_.size();
  for (auto it = actionSetProperties_.begin(); it.valid(); it.next()) count += it.value().destination().size();
  return static_cast<uint16_t>(count);
}

}  // namespace Orv::OrvTapAgg
