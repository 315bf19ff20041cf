#pragma once

#include <cstddef>
#include <cstdint>

namespace Lumo {

using AttributeId = uint16_t;
using KeyEqualityFn = bool (*)(const void*, const void*);

/// Receives an entity's announcements: which attribute changed, its key (null for a singleton
/// attribute) and its old value (null when there was none).
class Subscriber {
public:
  virtual ~Subscriber();
  virtual void onChange(AttributeId attributeId, const void* key, const void* oldValue) = 0;
  /// Called instead of onChange on the first subscriber of a publish that knows where the new value is
  /// stored: nothing has run between the store and this call, so `storedValue` points at the current
  /// value (valid during the call only). A writer of the change saves looking the key up again.
  virtual void onChangeStored(AttributeId attributeId, const void* key, const void* oldValue, const void* storedValue) {
    (void)storedValue;
    onChange(attributeId, key, oldValue);
  }
};

/// An entity's subscriber list. Costs one null pointer until the first subscriber arrives and is freed
/// again when the last one leaves. Subscribers are called in subscription order on the publishing
/// thread. Calls may change the list and publish again (recursively): a subscriber removed before its
/// turn is not called, one added during a publish waits for the next, and nobody is called twice. The
/// publisher must outlive its own publishChangeRecursive() calls.
class Publisher {
public:
  Publisher() noexcept = default;
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  bool empty() const noexcept { return list_ == nullptr; }
  /// A subscriber added twice is called twice; subscriberDel removes its earliest entry. Removing one
  /// that is not subscribed does nothing.
  void subscriberAdd(Subscriber* s);
  void subscriberDel(Subscriber* s) noexcept;
  std::size_t subscriberCount() const noexcept;

  /// keyEquality (two keys of the attribute, or null for singletons) is part of the generated
  /// setters' calling convention; dispatching to subscribers does not need it. `storedValue`, where the
  /// caller knows it, is where the new value of a keyed entry now sits (see onChangeStored).
  void publishChangeRecursive(AttributeId attributeId, const void* key, const void* oldValue,
                              KeyEqualityFn keyEquality, const void* storedValue = nullptr) const;

private:
  struct List;
  void freeIfUnused() const noexcept;

  mutable List* list_ = nullptr;
};

}  // namespace Lumo
