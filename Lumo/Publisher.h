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

  bool empty() const noexcept { return word_ == 0; }
  /// A subscriber added twice is called twice; subscriberDel removes its earliest entry. Removing one
  /// that is not subscribed does nothing.
  void subscriberAdd(Subscriber* s);
  void subscriberDel(Subscriber* s) noexcept;
  std::size_t subscriberCount() const noexcept;

  /// keyEquality (two keys of the attribute, or null for singletons) is part of the generated
  /// setters' calling convention; dispatching to subscribers does not need it. `storedValue`, where the
  /// caller knows it, is where the new value of a keyed entry now sits (see onChangeStored).
  ///
  /// A lone subscriber is called right here: nothing is read after its call returns, so whatever it
  /// does to the list (leave, bring others, publish again) needs no bookkeeping for this round.
  void publishChangeRecursive(AttributeId attributeId, const void* key, const void* oldValue,
                              KeyEqualityFn keyEquality, const void* storedValue = nullptr) const {
    if ((word_ & kListTag) != 0) {
      publishToList(attributeId, key, oldValue, storedValue);
    } else if (word_ != 0) {
      Subscriber* s = reinterpret_cast<Subscriber*>(word_);
      if (storedValue != nullptr)
        s->onChangeStored(attributeId, key, oldValue, storedValue);
      else
        s->onChange(attributeId, key, oldValue);
    }
    (void)keyEquality;
  }

private:
  struct List;
  /// The one word holds nothing (0), the only subscriber, or a List with its low bit set. Most entities
  /// have one subscriber (the log adapter that mirrors them, or one agent), and for them a publish is a
  /// test and a virtual call.
  static constexpr uintptr_t kListTag = 1;
  static_assert(alignof(Subscriber) > kListTag, "a subscriber's address must leave the tag bit free");
  List* list() const noexcept { return reinterpret_cast<List*>(word_ & ~kListTag); }
  void publishToList(AttributeId attributeId, const void* key, const void* oldValue, const void* storedValue) const;
  /// Between publishes: frees an emptied list and turns a list of one back into the lone subscriber.
  void settle() const noexcept;

  mutable uintptr_t word_ = 0;
};

}  // namespace Lumo
