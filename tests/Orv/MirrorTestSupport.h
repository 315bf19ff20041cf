// Helpers of the mirroring tests: a canonical dump of a port-group tree (keys sorted, so that a source
// and its mirror compare equal whatever their iteration orders) and an in-memory sender/receiver pair.
#pragma once

#include <Orv/OrvPortGroupTypes.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/Transport.h>

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

namespace MirrorTest {

template <class Map>
std::map<std::string, std::string> sorted(const Map& m) {
  std::map<std::string, std::string> out;
  m.forEach([&](const auto& k, const auto& v) {
    if constexpr (std::is_same_v<std::remove_cvref_t<decltype(v)>, bool>)
      out[k.stdString()] = v ? "1" : "0";
    else
      out[k.stdString()] = v.stdString();
  });
  return out;
}

inline std::string dump(const Orv::PortList& l) {
  std::string s = "  mode " + l.name().stdString() + " hidden=" + (l.hiddenFromCli() ? "1" : "0") + "\n";
  for (auto& [k, v] : sorted(l.ports())) s += "   port " + k + "=" + v + "\n";
  return s;
}

inline std::string dump(const Orv::PortGroup& g) {
  std::string s = " group " + g.name().stdString() + " default=" + g.defaultMode().stdString() + "\n";
  for (auto& [k, v] : sorted(g.limitations())) s += "  limitation " + k + "=" + v + "\n";
  for (auto& [k, v] : sorted(g.warnings())) s += "  warning " + k + "=" + v + "\n";
  std::map<std::string, std::string> modes;
  g.mode().forEach([&](const Lumo::String& k, const Lumo::Ptr<Orv::PortList>& m) { modes[k.stdString()] = dump(*m); });
  for (auto& [k, v] : modes) s += v;
  return s;
}

inline std::string dump(const Orv::PortGroupDir& d) {
  std::string s = "dir " + d.name().stdString() + " noDup=" + (d.noActiveInactiveDuplicates() ? "1" : "0") +
                  " genList=" + (d.generateActivePortsList() ? "1" : "0") + "\n";
  std::map<std::string, std::string> groups;
  d.portGroup().forEach([&](const Lumo::String& k, const Lumo::Ptr<Orv::PortGroup>& g) { groups[k.stdString()] = dump(*g); });
  for (auto& [k, v] : groups) s += v;
  return s;
}

// Appends one framed record to `out`: entity id, kind, attribute, the payload that `writePayload` writes,
// and the payload's length filled in once it is known. For hand-made (and deliberately bad) records.
template <class Fn>
void appendRecord(Vem::NboAttrLog::Out& out, uint32_t entity, uint8_t kind, uint16_t attribute, Fn&& writePayload) {
  std::string& bytes = out.buffer();
  out.u32(entity);
  out.u8(kind);
  out.u16(attribute);
  const std::size_t at = bytes.size();
  out.u32(0);
  writePayload();
  Vem::NboAttrLog::putBigEndian(bytes.data() + at, bytes.size() - at - 4, 4);
}

// A sender and a demuxer in one process; the mirror root is the first root the demuxer builds.
struct Pair {
  Vem::NboAttrLog::Sender sender;
  Vem::NboAttrLog::Demuxer demuxer;
  Lumo::Ptr<Vem::Entity> mirror;
  explicit Pair(std::size_t room = Vem::NboAttrLog::Sender::kUnlimited) : sender(room) {
    demuxer.rootObserverIs([this](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& e) {
      if (!mirror) mirror = e;
    });
  }
  // Moves everything, letting the sender resume until nothing is withheld.
  void drain() {
    sender.roomIs(Vem::NboAttrLog::Sender::kUnlimited);
    for (int i = 0; sender.buffered() != 0 || sender.withheld(); ++i) {
      ASSERT_LT(i, 10000) << "the sender does not drain";
      Vem::NboAttrLog::pump(sender, demuxer);
    }
  }
  template <class T>
  T& mirrorAs() const {
    return static_cast<T&>(*mirror);
  }
  // The mirror of the entity that the sender gave `id`, root or not.
  template <class T>
  T& mirrorOf(Vem::EntityId id) const {
    Vem::Entity* e = demuxer.entityOf(id);
    // Throwing fails the calling test without touching a missing mirror.
    if (e == nullptr) throw std::runtime_error("no mirror of entity " + std::to_string(id.value));
    return dynamic_cast<T&>(*e);
  }
};

}  // namespace MirrorTest
