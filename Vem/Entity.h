/// \file
/// Base of every entity type: a counted node with a parent link and an attribute-log hook. Concrete
/// types add their publisher, their name and their attributes; these virtual operations, in this order,
/// are what the rest of the system calls on an entity it does not know.
#pragma once

#include <Lumo/Node.h>
#include <Lumo/Ptr.h>
#include <Lumo/Publisher.h>
#include <Lumo/String.h>
#include <Vem/VemType.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Vem {

namespace NboAttrLog {
class Sender;
class FlowOut;
template <class T>
class FlowOutFor;
}  // namespace NboAttrLog

using AttributeId = Lumo::AttributeId;

/// The node flag that an entity clears first when it is destroyed.
inline constexpr uint32_t kEntityLiveFlag = 0x20000000;

class Entity : public Lumo::Node {
 public:
  Entity() noexcept = default;
  ~Entity() override;

  /// The list of subscribers to this entity's changes.
  virtual Lumo::Publisher& publisher() const = 0;
  virtual VemType typeData() const = 0;
  /// Called when an owner adopts this entity (or, with a null pointer, releases it).
  virtual void handleParent(const Lumo::Ptr<Entity>& parent);

  Entity* parent() const noexcept { return parent_; }
  void parentIs(Entity* parent) noexcept { parent_ = parent; }

  uintptr_t attrLogHook() const noexcept { return attrLogHook_; }
  void attrLogHookIs(uintptr_t hook) noexcept { attrLogHook_ = hook; }

  /// The attribute-log stream adapter of this entity on one output (Vem/NboAttrLogSa.h); the hook word
  /// heads the list of this entity's adapters.
  class VemNboAttrLogSa;
  VemNboAttrLogSa* vemNboAttrLogSa(const NboAttrLog::Sender* sender) const noexcept;

 private:
  Entity* parent_ = nullptr;  // not counted: an owner outlives the link (it clears it on release)
  uintptr_t attrLogHook_ = 0;
};

/// Errors of entity mutators. Each is raised before anything changes.
class EntityError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Re-creating a child under an existing key with a fixed constructor argument that differs.
[[noreturn]] void throwMutatorReinstantiating(const Entity& existing, AttributeId attributeId,
                                              const Lumo::String& existingValue, const Lumo::String& requested);
[[noreturn]] void throwMutatorReinstantiating(const Entity& existing, AttributeId attributeId, uint32_t existingValue,
                                              uint32_t requested);
namespace Impl {
/// The same for arguments of other types: their text forms come from the registry.
[[noreturn]] void throwMutatorReinstVal(const Entity& existing, AttributeId attributeId, const VemType& argumentType,
                                        const void* existingValue, const void* requested);
}  // namespace Impl
/// A null reference given to the setter of a collection of references.
[[noreturn]] void throwMutatorArgNullPointerException(const VemType& owner, AttributeId attributeId);
/// The generic constructor cannot build this type from the given arguments.
[[noreturn]] void throwNewEntityArgsException(const VemType& type);

}  // namespace Vem
