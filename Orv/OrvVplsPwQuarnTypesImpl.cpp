// Hand-written operations of the VPLS pseudowire module: the decapsulation table's state dump and the
// per-VLAN set's factory.
#include <Orv/OrvVplsPwQuarnTypesFactory.h>

#include <Brek/DumpContext.h>

namespace Orv {

namespace {

// A "%*c" line whose indentation is 0 drops that conversion: "%*c" with width 0 would still print the
// blank, so every format exists in both shapes and the caller picks one by the indentation.
struct IndentedFormat {
  const char* indented;
  const char* flush;
};

template <class... Args>
void printIndented(const Lumo::Ptr<const Brek::DumpContext>& ctx, uint32_t indent, IndentedFormat fmt,
                   Args... args) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  if (indent == 0)
    Brek::_objDumpPrintf(ctx, fmt.flush, args...);
  else
    Brek::_objDumpPrintf(ctx, fmt.indented, static_cast<int>(indent), ' ', args...);
#pragma GCC diagnostic pop
}

constexpr IndentedFormat title{"%*cHwVplsPwDecapConfig\n", "HwVplsPwDecapConfig\n"};
constexpr IndentedFormat vlanTagInfoHeader{"%*cvlanTagInfo[] #%u\n", "vlanTagInfo[] #%u\n"};
constexpr IndentedFormat vlanTagInfoEntry{"%*c(%s, %u) -> %u\n", "(%s, %u) -> %u\n"};
constexpr IndentedFormat encapHwFecIdHeader{"%*cencapHwFecId[] #%u\n", "encapHwFecId[] #%u\n"};
constexpr IndentedFormat encapHwFecIdEntry{"%*c%s -> %llu\n", "%s -> %llu\n"};
constexpr IndentedFormat decapLabelHeader{"%*cdecapLabel[] #%u\n", "decapLabel[] #%u\n"};
constexpr IndentedFormat decapLabelEntry{"%*c%s -> %u\n", "%s -> %u\n"};

}  // namespace

// Each line is indented by `indentCount` blanks (entries by two more); a line at indentation 0 starts in
// column 0. Entries come in the maps' iteration order. Changes nothing and takes no lock.
void HwVplsPwDecapConfig::dumpState(const Lumo::Ptr<const Brek::DumpContext>& dumpCtx, uint32_t indentCount) const {
  const uint32_t header = indentCount + 2, entry = indentCount + 4;
  printIndented(dumpCtx, indentCount, title);

  printIndented(dumpCtx, header, vlanTagInfoHeader, static_cast<unsigned>(vlanTagInfo().size()));
  for (const auto& [key, vlan] : vlanTagInfo())
    printIndented(dumpCtx, entry, vlanTagInfoEntry, key.pwIntfId().stringValue().c_str(),
                  static_cast<unsigned>(key.vlan().value()), static_cast<unsigned>(vlan.value()));

  printIndented(dumpCtx, header, encapHwFecIdHeader, static_cast<unsigned>(encapHwFecId().size()));
  for (const auto& [intf, fec] : encapHwFecId())
    printIndented(dumpCtx, entry, encapHwFecIdEntry, intf.stringValue().c_str(),
                  static_cast<unsigned long long>(fec.value()));

  printIndented(dumpCtx, header, decapLabelHeader, static_cast<unsigned>(decapLabel().size()));
  for (const auto& [intf, label] : decapLabel())
    printIndented(dumpCtx, entry, decapLabelEntry, intf.stringValue().c_str(), static_cast<unsigned>(label.value()));
}

Lumo::Ptr<VplsVlanPwIntfSet> vplsVlanPwIntfSetFactory(const Bridging::VlanId& vlanId) {
  return VplsVlanPwIntfSetIs(vlanId);
}

}  // namespace Orv
