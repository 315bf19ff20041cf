#include "Watch.h"

#include <Vem/Module.h>

#include <vector>

namespace vemsh {

namespace {

bool instantiating(const Vem::MemberRecord& m) noexcept { return (m.flagsA & Vem::MemberFlagsA::instantiating) != 0; }
bool isSet(const Vem::MemberRecord& m) noexcept { return (m.flagsB & Vem::MemberFlagsB::set) != 0; }

}  // namespace

std::string textOf(const Vem::TypeHandle& type, const void* value) {
  return type.valid() ? type.methods()->strRep(value, type.type(), 0).stdString() : "?";
}

std::string childLabel(std::string_view parent, std::string_view attribute, std::string_view keyText) {
  std::string label(parent);
  label += '/';
  label += attribute;
  if (!keyText.empty()) {
    label += '[';
    label += keyText;
    label += ']';
  }
  return label;
}

class Watch::Subscription : public Lumo::Subscriber {
 public:
  Subscription(Watch& watch, const Vem::GenericEntity& e, std::string label)
      : watch_(watch), entity_(e), label_(std::move(label)) {
    entity_.entity()->publisher().subscriberAdd(this);
  }
  ~Subscription() override { entity_.entity()->publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override { watch_.announce(*this, id, key, old); }

  const Vem::GenericEntity& entity() const noexcept { return entity_; }
  const std::string& label() const noexcept { return label_; }

 private:
  Watch& watch_;
  Vem::GenericEntity entity_;
  std::string label_;
};

Watch::Watch(std::ostream& out, const Vem::GenericEntity& root, std::string label, std::string prefix)
    : out_(out), prefix_(std::move(prefix)), root_(root.entity().get()) {
  follow(root, std::move(label));
}

Watch::~Watch() = default;

void Watch::follow(const Vem::GenericEntity& e, std::string label) {
  if (subscriptions_.count(e.entity().get()) != 0) return;
  auto s = std::make_unique<Subscription>(*this, e, label);
  subscriptions_.emplace(e.entity().get(), std::move(s));
  followChildren(e, label);
}

// Children that exist already: every entry of every instantiating collection, every instantiating
// singleton that is set.
void Watch::followChildren(const Vem::GenericEntity& e, const std::string& label) {
  for (const Vem::MemberRecord& m : e.type().members()) {
    if (!instantiating(m)) continue;
    const std::string_view name = e.type().memberName(m);
    if (Vem::GenericEntity::isCollection(m)) {
      std::vector<std::pair<std::string, Lumo::Ptr<Vem::Entity>>> children;
      e.forEach(name, [&](const Vem::AnyValue& k, const Vem::AnyValue& v) {
        children.emplace_back(k.text().stdString(), v.as<Lumo::Ptr<Vem::Entity>>());
      });
      for (auto& [key, child] : children)
        if (child) follow(Vem::GenericEntity(child), childLabel(label, name, key));
    } else {
      Vem::AnyValue v = e.get(name);
      if (const auto& child = v.as<Lumo::Ptr<Vem::Entity>>()) follow(Vem::GenericEntity(child), childLabel(label, name, ""));
    }
  }
}

void Watch::unfollow(const Vem::Entity* e) {
  // Children go with their owner: drop every subscription whose label lies below the one removed.
  auto it = subscriptions_.find(e);
  if (it == subscriptions_.end()) return;
  const std::string below = it->second->label() + "/";
  for (auto i = subscriptions_.begin(); i != subscriptions_.end();) {
    if (i->second->label().starts_with(below))
      i = subscriptions_.erase(i);
    else
      ++i;
  }
  subscriptions_.erase(e);
}

void Watch::announce(Subscription& s, Lumo::AttributeId id, const void* key, const void* old) {
  const Vem::GenericEntity& e = s.entity();
  const Vem::VemType t = e.type();
  const Vem::MemberRecord* m = t.memberById(id);
  out_ << prefix_ << s.label() << ": ";
  if (m == nullptr) {
    out_ << "attribute " << id << " (not in the type)\n";
    out_.flush();
    return;
  }
  const std::string_view name = t.memberName(*m);
  out_ << name << " (" << id << ")";
  std::string keyText;
  if (key != nullptr) {
    keyText = textOf(e.keyType(*m), key);
    out_ << " key " << keyText;
  }
  const Vem::TypeHandle valueType =
      isSet(*m) ? Vem::TypeHandle::builtin(Vem::BuiltinType::boolean) : e.valueType(*m);
  out_ << " old " << (old != nullptr ? textOf(valueType, old) : "(none)");

  // The value held now: setters store before they announce.
  std::string now;
  Lumo::Ptr<Vem::Entity> child;
  if (Vem::GenericEntity::isCollection(*m) && key != nullptr) {
    // A copy of the announced key, to look it up with.
    Vem::AnyValue k(e.keyType(*m));
    k.type().methods()->destruct(k.data());
    k.type().methods()->construct(k.data(), key);
    if (!e.contains(name, k)) {
      now = "(deleted)";
    } else if (isSet(*m)) {
      now = "true";
    } else {
      Vem::AnyValue v = e.lookup(name, k);
      now = v.text().stdString();
      if (instantiating(*m)) child = v.as<Lumo::Ptr<Vem::Entity>>();
    }
  } else {
    Vem::AnyValue v = e.get(name);
    now = v.text().stdString();
    if (instantiating(*m)) child = v.as<Lumo::Ptr<Vem::Entity>>();
  }
  out_ << " new " << now << '\n';
  out_.flush();

  if (!instantiating(*m)) return;
  // A child that went away, or was replaced, stops being followed; a new one starts.
  if (old != nullptr) {
    const auto& previous = *static_cast<const Lumo::Ptr<Vem::Entity>*>(old);
    if (previous && previous != child) unfollow(previous.get());
  }
  if (child && subscriptions_.count(child.get()) == 0) follow(Vem::GenericEntity(child), childLabel(s.label(), name, keyText));
}

}  // namespace vemsh
