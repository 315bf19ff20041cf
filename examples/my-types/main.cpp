// Uses the MyTypes module beside the installed type library: builds, prints and parses values, keeps to
// the module's bound, sends values through the attribute-log form and back, and finds everything in the
// registry by name, as a tool that knows no type at compile time would. Exits non-zero on any mismatch.
#include <MyTypes/MyTypes.h>
#include <Orv/OrvPortVlanPair.h>

#include <Lumo/Publisher.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/Transport.h>
#include <Vem/RangeException.h>
#include <Vem/Registry.h>
#include <Vem/TextForm.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

namespace {

int failures = 0;

void check(bool ok, std::string_view what) {
  if (!ok) {
    std::cout << "FAILED: " << what << '\n';
    ++failures;
  }
}

std::string hex(std::string_view bytes) {
  std::string text;
  char two[3];
  for (unsigned char b : bytes) {
    std::snprintf(two, sizeof two, "%02x", b);
    text += two;
  }
  return text;
}

// Prints each announcement of an entity: which attribute changed, under which key.
struct Announcements : Lumo::Subscriber {
  Announcements(Vem::Entity& e, std::string who) : entity(e), name(std::move(who)) { e.publisher().subscriberAdd(this); }
  ~Announcements() override { entity.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    std::cout << name << " announces attribute " << id << (key ? " under a key" : "") << (old ? ", replacing" : ", new")
              << '\n';
    ++count;
  }
  Vem::Entity& entity;
  std::string name;
  int count = 0;
};

// An entity of our own, mirrored over the attribute log into a second copy that announces what it
// applies, as an agent in another process would see it.
void mirrorASite() {
  using MyTypes::UplinkConfig;
  auto site = MyTypes::siteFactory("lab");
  site->regionIs("west");
  Pelix::IntfId port("Ethernet49/1");
  site->configIs(port, UplinkConfig(port, "to spine 1", MyTypes::LinkRole::uplink, 9000));
  auto link = site->linkIs("Ethernet49/1");
  link->upIs(true);

  Vem::NboAttrLog::Sender sender;
  Vem::NboAttrLog::Demuxer receiver;
  Lumo::Ptr<Vem::Entity> mirror;
  receiver.rootObserverIs([&](Vem::EntityId, const Lumo::Ptr<Vem::Entity>& root) { mirror = root; });
  sender.attach(site);
  const std::size_t fullCopyBytes = Vem::NboAttrLog::pump(sender, receiver);
  std::cout << "mirror: sent " << fullCopyBytes << " bytes\n";
  check(mirror && mirror->typeData() == MyTypes::Site::vemType(), "the mirror is a Site");
  if (!mirror) return;
  auto& copy = static_cast<MyTypes::Site&>(*mirror);
  check(copy.region() == "west" && copy.config(port) == site->config(port), "the mirror holds the site's state");
  auto linkCopy = copy.link("Ethernet49/1");
  check(linkCopy && linkCopy->up(), "the mirror created the link itself");

  // A change after the first full copy travels as one record and is announced by the mirror.
  Announcements seen(*linkCopy, "mirror link");
  link->flapsInc(1);
  link->upIs(false);
  const std::size_t changeBytes = Vem::NboAttrLog::pump(sender, receiver);
  std::cout << "mirror: sent " << changeBytes << " bytes\n";
  check(seen.count == 2 && linkCopy->flaps() == 1 && !linkCopy->up(), "the mirror applied and announced both changes");
  std::cout << "mirror: link up=" << (linkCopy->up() ? "true" : "false") << " flaps=" << linkCopy->flaps() << '\n';
}

}  // namespace

int main() {
  using MyTypes::LinkRole;
  using MyTypes::UplinkConfig;

  // Both our module and the installed ones registered as the libraries loaded.
  for (const char* module : {"MyTypes", "Pelix", "OrvPortVlanPair"})
    check(Vem::Registry::moduleByName(module) != nullptr, std::string("module registered: ") + module);
  auto found = Vem::Registry::typeByName("MyTypes::UplinkConfig");
  check(found.has_value() && *found == UplinkConfig::vemType(), "MyTypes::UplinkConfig found by name");

  // A value, its text form, and the same value parsed back from that text.
  UplinkConfig uplink(Pelix::IntfId("Ethernet49/1"), "to spine 1", LinkRole::uplink, 9000);
  std::cout << "value: " << uplink << '\n';
  UplinkConfig parsed = Vem::strepToValue<UplinkConfig>(uplink.stringValue().view());
  check(parsed == uplink, "text form parses back to the same value");
  UplinkConfig typed = Vem::strepToValue<UplinkConfig>(
      "MyTypes::UplinkConfig(port=Ethernet2, description=\"lab\", role=trunk, mtu=1500, maxMtu=9214)");
  std::cout << "parsed: " << typed << '\n';
  check(typed.role() == LinkRole::trunk && typed.description() == "lab", "text typed by hand parses");
  check(UplinkConfig(typed.port(), "lab", LinkRole::trunk, 1500) == typed, "defaults match the definition");

  // The bound holds in every constructor and in the parser.
  try {
    UplinkConfig tooBig(Pelix::IntfId("Ethernet1"), "", LinkRole::access, 9500);
    check(false, "an MTU above the maximum is refused");
  } catch (const Vem::RangeException& e) {
    std::cout << "refused: " << e.what() << '\n';
  }
  try {
    Vem::strepToValue<UplinkConfig>(
        "MyTypes::UplinkConfig(port=Ethernet1, description=\"\", role=access, mtu=9500, maxMtu=9214)");
    check(false, "parsed text above the maximum is refused");
  } catch (const Vem::RangeException& e) {
    std::cout << "refused: " << e.what() << '\n';
  }

  // Beside a type of the installed type library.
  Orv::PortVlanPair pair(uplink.port(), 100);
  std::cout << "pair: " << pair << '\n';

  // Both through the attribute-log form and back, in one buffer.
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << uplink << pair;
  check(bytes.size() == attrLogSize(&uplink) + attrLogSize(&pair), "log size matches what was written");
  std::cout << "log: " << bytes.size() << " bytes " << hex(bytes) << '\n';
  Vem::NboAttrLog::In in(bytes);
  UplinkConfig uplinkBack(&in, Vem::StreamBogon{});
  Orv::PortVlanPair pairBack(&in, Vem::StreamBogon{});
  check(uplinkBack == uplink && pairBack == pair && in.atEnd(), "log form reads back to the same values");
  // A record cut short is refused, not read past.
  try {
    Vem::NboAttrLog::In shorter(bytes.data(), bytes.size() - 1);
    UplinkConfig first(&shorter, Vem::StreamBogon{});
    Orv::PortVlanPair second(&shorter, Vem::StreamBogon{});
    check(false, "a truncated record is refused");
  } catch (const Vem::RangeException&) {
  }

  mirrorASite();

  std::cout << (failures == 0 ? "my-types: all checks passed\n" : "my-types: checks failed\n");
  return failures == 0 ? 0 : 1;
}
