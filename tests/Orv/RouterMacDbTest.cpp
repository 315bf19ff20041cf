// The router MAC tables: keys that differ only in type or mask are different entries, the key's order,
// hash, text and log form.
#include <Orv/OrvRouterMacDb.h>

#include <Vem/NboAttrLog.h>
#include <Vem/TextForm.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using namespace Orv;
using Pelix::EthAddr;
using Pelix::EthAddrWithMask;
using Pelix::IntfId;

const EthAddr kMac(0x00, 0x1c, 0x73, 0x00, 0x00, 0x01);

MacTypeMask key(RouterMacType type, EthAddr mask = EthAddrWithMask::exactMask(), const char* intf = "") {
  return MacTypeMask(EthAddrWithMask(kMac, mask), type, IntfId(intf));
}

TEST(RouterMacDb, KeysDifferingInTypeMaskOrInterfaceAreDifferentEntries) {
  auto db = OrvRouterMacDbIs(Lumo::String("config"));
  auto virt = db->macDbIs(key(RouterMacType::RouterMacVirtual));
  auto vrrp = db->macDbIs(key(RouterMacType::RouterMacVrrp));
  auto narrow = db->macDbIs(key(RouterMacType::RouterMacVirtual, EthAddr(0xff, 0xff, 0xff, 0, 0, 0)));
  auto perIntf = db->macDbIs(key(RouterMacType::RouterMacInterface, EthAddrWithMask::exactMask(), "Vlan10"));
  EXPECT_NE(virt, vrrp);
  EXPECT_NE(virt, narrow);
  EXPECT_EQ(db->macDb().size(), 4u);
  EXPECT_EQ(db->macDb(key(RouterMacType::RouterMacVrrp)), vrrp);
  EXPECT_EQ(db->macDb(key(RouterMacType::RouterMacInterface, EthAddrWithMask::exactMask(), "Vlan10")), perIntf);
  EXPECT_EQ(db->macDb(key(RouterMacType::RouterMacInterface)), nullptr);
  EXPECT_EQ(vrrp->macTypeMask(), key(RouterMacType::RouterMacVrrp));
  EXPECT_EQ(vrrp->parent(), db.get());
}

TEST(MacTypeMask, OrderHashTextAndLogFollowTheFieldsInOrder) {
  // Address-with-mask first, then the type's code, then the interface as an unsigned number.
  EXPECT_LT(key(RouterMacType::RouterMacInvalid, EthAddr(0xff, 0, 0, 0, 0, 0)), key(RouterMacType::RouterMacSystem));
  EXPECT_LT(key(RouterMacType::RouterMacVirtual, EthAddrWithMask::exactMask(), "Vlan4094"), key(RouterMacType::RouterMacVrrp));
  EXPECT_LT(key(RouterMacType::RouterMacInterface, EthAddrWithMask::exactMask(), "Ethernet1"),
            key(RouterMacType::RouterMacInterface, EthAddrWithMask::exactMask(), "Ethernet2"));
  MacTypeMask def;
  EXPECT_EQ(def.macWithMask().mask(), EthAddrWithMask::exactMask());
  EXPECT_EQ(def.type(), RouterMacType::RouterMacSystem);

  MacTypeMask k = key(RouterMacType::RouterMacVrrp, EthAddrWithMask::exactMask(), "Ethernet7");
  for (uint32_t seed : {0u, 5u}) {
    Vem::Hash h(seed);
    h.hashMix(k.macWithMask().hash());
    h.hashMix(uint32_t{2});
    h.hashMix(IntfId("Ethernet7").hash());
    EXPECT_EQ(k.hash(seed), h.result());
  }

  Lumo::String text = k.stringValue();
  EXPECT_EQ(text, "Orv::MacTypeMask(macWithMask=00:1c:73:00:00:01/ff:ff:ff:ff:ff:ff, type=RouterMacVrrp, intfId=Ethernet7)");
  EXPECT_EQ(Vem::strepToValue<MacTypeMask>(text.view()), k);
  try {
    Vem::strepToValue<MacTypeMask>("Orv::MacTypeMask(macWithMask=00:1c:73:00:00:01/ff:ff:ff:ff:ff:ff, type=RouterMacNone, "
                                   "intfId=Ethernet7)");
    ADD_FAILURE() << "an unknown enumerator was accepted";
  } catch (const Vem::RangeException& e) {
    EXPECT_NE(std::string(e.what()).find("type"), std::string::npos) << e.what();
  }

  // 6 + 6 bytes of address and mask, the one-byte type as a U32, the interface as a U64.
  std::string bytes;
  Vem::NboAttrLog::Out out(bytes);
  out << k;
  ASSERT_EQ(bytes.size(), 24u);
  EXPECT_EQ(bytes.substr(12, 4), std::string("\0\0\0\x02", 4));
  Vem::NboAttrLog::In in(bytes);
  EXPECT_EQ(MacTypeMask(&in, Vem::StreamBogon{}), k);
  EXPECT_EQ(sizeof(RouterMacType), 1u);
}

}  // namespace
