#include "Tree.h"

#include "Watch.h"

#include <Vem/Module.h>

#include <string>
#include <utility>
#include <vector>

namespace vemsh {

void writeTree(std::ostream& out, const Vem::GenericEntity& e, std::string_view label, std::string_view indent) {
  out << indent << label << "  " << e.type().name() << '\n';
  const std::string inner = std::string(indent) + "  ";
  std::vector<std::pair<std::string, Vem::GenericEntity>> children;
  for (const Vem::MemberRecord& m : e.type().members()) {
    if ((m.flagsA & Vem::MemberFlagsA::entityAttribute) == 0 || (m.flagsA & Vem::MemberFlagsA::method) != 0) continue;
    const std::string_view name = e.type().memberName(m);
    const bool instantiating = (m.flagsA & Vem::MemberFlagsA::instantiating) != 0;
    if (!Vem::GenericEntity::isCollection(m)) {
      Vem::AnyValue v = e.get(name);
      if (instantiating) {
        if (const auto& child = v.as<Lumo::Ptr<Vem::Entity>>()) children.emplace_back(childLabel(label, name, ""), Vem::GenericEntity(child));
      } else {
        out << inner << name << " = " << v.text() << '\n';
      }
      continue;
    }
    const bool set = (m.flagsB & Vem::MemberFlagsB::set) != 0;
    out << inner << name << " (" << e.count(name) << ")";
    std::string entries;
    e.forEach(name, [&](const Vem::AnyValue& k, const Vem::AnyValue& v) {
      entries += entries.empty() ? " " : ", ";
      entries += k.text().view();
      if (instantiating) {
        if (const auto& child = v.as<Lumo::Ptr<Vem::Entity>>())
          children.emplace_back(childLabel(label, name, k.text().view()), Vem::GenericEntity(child));
      } else if (!set) {
        entries += " -> ";
        entries += v.text().view();
      }
    });
    out << entries << '\n';
  }
  for (const auto& [childName, child] : children) writeTree(out, child, childName, indent);
}

}  // namespace vemsh
