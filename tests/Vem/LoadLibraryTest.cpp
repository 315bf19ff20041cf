// An agent that knows no type at compile time loads the type library and finds its modules registered.
#include <Vem/GenericIf.h>
#include <Vem/Registry.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

TEST(LoadLibrary, DlopenRegistersEveryModuleOnce) {
  // Unless another test of this process loaded it already, nothing is registered before the load.
  if (dlopen(ORVTYPES_LIBRARY, RTLD_NOW | RTLD_NOLOAD) == nullptr) {
    ASSERT_EQ(Vem::Registry::moduleByName("OrvPortVlanPair"), nullptr) << "this test program must not link the library";
  }
  void* lib = dlopen(ORVTYPES_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  const Vem::RegisteredModule* m = Vem::Registry::moduleByName("OrvPortVlanPair");
  ASSERT_NE(m, nullptr);
  // The exported descriptor symbol is the registered one.
  EXPECT_EQ(dlsym(lib, Vem::descriptorSymbol(*m).c_str()), static_cast<const void*>(m->descriptor));
  ASSERT_NE(Vem::Registry::moduleByName("Pelix"), nullptr);

  auto t = Vem::Registry::typeByName("Orv::PortVlanPair");
  ASSERT_TRUE(t.has_value());
  EXPECT_EQ(t->module(), m->descriptor);
  EXPECT_FALSE(Vem::Registry::typeByName("Orv::PortVlanPai").has_value());
  EXPECT_FALSE(Vem::Registry::typeByName("Orv::PortVlanPairs").has_value());

  // Everything is reachable through the tables: parse and print a value of a type never named in code.
  const auto* methods = Vem::GenericIfImpl::valueMethods(*t);
  alignas(16) unsigned char storage[64];
  ASSERT_LE(t->record().size(), sizeof storage);
  methods->construct(storage, nullptr);
  methods->strepToValue(storage, Lumo::String("Orv::PortVlanPair(port=Ethernet4, vlan=7)"), *t, 0);
  EXPECT_EQ(methods->strRep(storage, *t, 0), "Orv::PortVlanPair(port=Ethernet4, vlan=7)");
  methods->destruct(storage);

  // Loading again registers nothing new.
  std::size_t count = Vem::Registry::moduleCount();
  void* again = dlopen(ORVTYPES_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_EQ(again, lib);
  EXPECT_EQ(Vem::Registry::moduleCount(), count);
  dlclose(again);
}

}  // namespace
