#include <Vem/Entity.h>

#include <Vem/GenericIf.h>

namespace Vem {

Entity::~Entity() = default;

void Entity::handleParent(const Lumo::Ptr<Entity>& parent) { parent_ = parent.get(); }

namespace {

std::string describe(const Entity& e) {
  std::string name(e.typeData().name());
  return name;
}

}  // namespace

void throwMutatorReinstantiating(const Entity& existing, AttributeId attributeId, const Lumo::String& existingValue,
                                 const Lumo::String& requested) {
  throw EntityError("re-instantiating " + describe(existing) + ": attribute " + std::to_string(attributeId) + " is \"" +
                    existingValue.stdString() + "\", requested \"" + requested.stdString() + "\"");
}

void throwMutatorReinstantiating(const Entity& existing, AttributeId attributeId, uint32_t existingValue,
                                 uint32_t requested) {
  throw EntityError("re-instantiating " + describe(existing) + ": attribute " + std::to_string(attributeId) + " is " +
                    std::to_string(existingValue) + ", requested " + std::to_string(requested));
}

namespace Impl {

void throwMutatorReinstVal(const Entity& existing, AttributeId attributeId, const VemType& argumentType,
                           const void* existingValue, const void* requested) {
  const auto* methods = GenericIfImpl::valueMethods(argumentType);
  std::string a = methods ? methods->strRep(existingValue, argumentType, 0).stdString() : "?";
  std::string b = methods ? methods->strRep(requested, argumentType, 0).stdString() : "?";
  throw EntityError("re-instantiating " + describe(existing) + ": attribute " + std::to_string(attributeId) + " is " + a +
                    ", requested " + b);
}

}  // namespace Impl

void throwMutatorArgNullPointerException(const VemType& owner, AttributeId attributeId) {
  throw EntityError(std::string(owner.name()) + ": attribute " + std::to_string(attributeId) +
                    " refuses a null reference");
}

void throwNewEntityArgsException(const VemType& type) {
  throw EntityError(std::string(type.name()) + " cannot be built from these arguments");
}

}  // namespace Vem
