/// \file
/// The backup store: a copy of chosen collections kept outside the entity, byte for byte, so that an
/// agent can rebuild them after a restart. A backup adapter subscribes to an entity and mirrors every
/// change of the collections its type lists in `T::VemBackup` into the store (the key's bytes as held in
/// memory, and the entry's); reconstructFromBackup() refills those collections from the store through
/// their setters, with mirroring switched off so that nothing is written back.
#pragma once

#include <Lumo/Ptr.h>
#include <Lumo/Publisher.h>
#include <Vem/NboAttrLogFlow.h>
#include <Vem/RangeException.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Vem {

/// An entry of the store whose size is not that of the type it must hold: the store was written by
/// another definition of the type, or damaged. "backup size mismatch: L2Rib::ObjTuple is 8 bytes, not 7"
class BackupSizeMismatch : public RangeException {
 public:
  using RangeException::RangeException;
};
[[noreturn]] void throwBackupSizeMismatch(std::string_view typeName, std::size_t expected, std::size_t found);

class BackupStore {
 public:
  void set(AttributeId attribute, std::string_view key, std::string_view value);
  /// True when the key was there.
  bool del(AttributeId attribute, std::string_view key);
  /// The keys held under the attribute, in byte order.
  std::vector<std::string> keys(AttributeId attribute) const;
  std::optional<std::string> get(AttributeId attribute, std::string_view key) const;
  std::size_t size() const noexcept;

  /// Whether adapters write changes into the store; a restore switches it off while it runs.
  bool mirroring() const noexcept { return mirroring_; }
  void mirroringIs(bool on) noexcept { mirroring_ = on; }

 private:
  std::map<AttributeId, std::map<std::string, std::string, std::less<>>> entries_;
  bool mirroring_ = true;
};

template <AttributeId... Ids>
struct BackupAttributes {
  template <AttributeId Id>
  static constexpr bool has = ((Id == Ids) || ...);
};

namespace BackupImpl {

template <class T>
using Attrs = typename T::VemAttributes;
template <class T, std::size_t I>
using A = AttrAt<I, Attrs<T>>;
template <class T, std::size_t I>
using Map = StoredOf<T, A<T, I>>;

template <class T, std::size_t I>
constexpr bool backedUp() {
  if constexpr (A<T, I>::kind != AttrKind::collection && A<T, I>::kind != AttrKind::keyedValues) {
    return false;
  } else if constexpr (!T::VemBackup::template has<A<T, I>::id>) {
    return false;
  } else {
    using K = typename Map<T, I>::Key;
    using V = typename Map<T, I>::Value;
    static_assert(std::is_trivially_copyable_v<K> && std::is_trivially_copyable_v<V>,
                  "a backed-up collection holds keys and values that are plain bytes");
    return true;
  }
}

template <class X>
std::string_view bytesOf(const X& x) noexcept {
  return std::string_view(reinterpret_cast<const char*>(&x), sizeof x);
}

template <class X>
X fromBytes(std::string_view bytes, std::string_view typeName) {
  if (bytes.size() != sizeof(X)) throwBackupSizeMismatch(typeName, sizeof(X), bytes.size());
  X x;
  std::memcpy(static_cast<void*>(&x), bytes.data(), sizeof x);
  return x;
}

/// The name a size-mismatch error gives a stored type.
template <class X>
std::string_view typeNameOf() noexcept {
  if constexpr (requires { X::vemTypeName; })
    return X::vemTypeName;
  else
    return "a backed-up value";
}

}  // namespace BackupImpl

/// Mirrors an entity's backed-up collections into a store while it is subscribed.
template <class T>
class BackupAdapter final : public Lumo::Subscriber {
 public:
  BackupAdapter(const Lumo::Ptr<T>& entity, BackupStore& store) : entity_(entity), store_(store) {
    entity_->publisher().subscriberAdd(this);
  }
  ~BackupAdapter() override { entity_->publisher().subscriberDel(this); }
  BackupAdapter(const BackupAdapter&) = delete;
  BackupAdapter& operator=(const BackupAdapter&) = delete;

  void onChange(AttributeId attribute, const void* key, const void*) override {
    if (!store_.mirroring() || key == nullptr) return;
    anyAttr<BackupImpl::Attrs<T>>([&]<std::size_t I>() {
      if constexpr (BackupImpl::backedUp<T, I>()) {
        if (BackupImpl::A<T, I>::id != attribute) return false;
        using K = typename BackupImpl::Map<T, I>::Key;
        const K& k = *static_cast<const K*>(key);
        if (const auto* v = ((*entity_).*BackupImpl::A<T, I>::field).find(k))
          store_.set(attribute, BackupImpl::bytesOf(k), BackupImpl::bytesOf(*v));
        else
          store_.del(attribute, BackupImpl::bytesOf(k));
        return true;
      } else {
        return false;
      }
    });
  }

 private:
  Lumo::Ptr<T> entity_;
  BackupStore& store_;
};

/// Refills the entity's backed-up collections from the store through their setters (so the entity
/// announces each entry). Mirroring is off meanwhile and is switched back on however the restore ends.
/// An entry of the wrong size raises BackupSizeMismatch; entries restored before it stay.
template <class T>
void reconstructFromBackup(T& entity, BackupStore& store) {
  struct MirroringOff {
    BackupStore& store;
    bool was;
    ~MirroringOff() { store.mirroringIs(was); }
  } off{store, store.mirroring()};
  store.mirroringIs(false);
  anyAttr<BackupImpl::Attrs<T>>([&]<std::size_t I>() {
    if constexpr (BackupImpl::backedUp<T, I>()) {
      using Attr = BackupImpl::A<T, I>;
      using K = typename BackupImpl::Map<T, I>::Key;
      using V = typename BackupImpl::Map<T, I>::Value;
      for (const std::string& keyBytes : store.keys(Attr::id)) {
        const K key = BackupImpl::fromBytes<K>(keyBytes, BackupImpl::typeNameOf<K>());
        const std::optional<std::string> valueBytes = store.get(Attr::id, keyBytes);
        const V value = BackupImpl::fromBytes<V>(valueBytes ? std::string_view(*valueBytes) : std::string_view(),
                                                 BackupImpl::typeNameOf<V>());
        if constexpr (Attr::kind == AttrKind::keyedValues)
          (entity.*Attr::set)(value);
        else
          (entity.*Attr::set)(key, value);
      }
    }
    return false;
  });
}

}  // namespace Vem
