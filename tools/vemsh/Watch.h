// Watching entities: every announcement an entity makes is printed as it happens, with the attribute,
// the key, the old value and the value now held. A watch follows the children that instantiating
// attributes create, so that watching a root shows the whole tree below it.
#pragma once

#include <Lumo/Publisher.h>
#include <Vem/Reflect.h>

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

namespace vemsh {

// The text form of a value, or "?" for a type with no methods.
std::string textOf(const Vem::TypeHandle& type, const void* value);

// "parent/attribute[key]": how a child is named in the shell's output.
std::string childLabel(std::string_view parent, std::string_view attribute, std::string_view keyText);

class Watch {
 public:
  // Lines start with `prefix`; the root is named `label`.
  Watch(std::ostream& out, const Vem::GenericEntity& root, std::string label, std::string prefix);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  const Vem::Entity* root() const noexcept { return root_; }
  std::size_t followed() const noexcept { return subscriptions_.size(); }

 private:
  class Subscription;
  void follow(const Vem::GenericEntity& e, std::string label);
  void followChildren(const Vem::GenericEntity& e, const std::string& label);
  void unfollow(const Vem::Entity* e);
  void announce(Subscription& s, Lumo::AttributeId id, const void* key, const void* old);

  std::ostream& out_;
  std::string prefix_;
  const Vem::Entity* root_;
  std::map<const Vem::Entity*, std::unique_ptr<Subscription>> subscriptions_;
};

}  // namespace vemsh
