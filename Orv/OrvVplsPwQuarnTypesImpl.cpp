#include <Orv/OrvVplsPwQuarnTypesDump.h>

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

void dumpState(const HwVplsPwDecapConfig& config, const Lumo::Ptr<const Brek::DumpContext>& dumpCtx,
               uint32_t indentCount) {
  const uint32_t header = indentCount + 2, entry = indentCount + 4;
  printIndented(dumpCtx, indentCount, title);

  printIndented(dumpCtx, header, vlanTagInfoHeader, static_cast<unsigned>(config.vlanTagInfo().size()));
  for (const auto& [key, vlan] : config.vlanTagInfo())
    printIndented(dumpCtx, entry, vlanTagInfoEntry, key.pwIntfId().stringValue().c_str(),
                  static_cast<unsigned>(key.vlan().value()), static_cast<unsigned>(vlan.value()));

  printIndented(dumpCtx, header, encapHwFecIdHeader, static_cast<unsigned>(config.encapHwFecId().size()));
  for (const auto& [intf, fec] : config.encapHwFecId())
    printIndented(dumpCtx, entry, encapHwFecIdEntry, intf.stringValue().c_str(),
                  static_cast<unsigned long long>(fec.value()));

  printIndented(dumpCtx, header, decapLabelHeader, static_cast<unsigned>(config.decapLabel().size()));
  for (const auto& [intf, label] : config.decapLabel())
    printIndented(dumpCtx, entry, decapLabelEntry, intf.stringValue().c_str(), static_cast<unsigned>(label.value()));
}

Lumo::Ptr<VplsVlanPwIntfSet> vplsVlanPwIntfSetFactory(const Bridging::VlanId& vlanId) {
  return VplsVlanPwIntfSetIs(vlanId);
}

}  // namespace Orv
