/// \file
/// The receiving side of the attribute log. A Demuxer takes the stream's bytes as they arrive (in any
/// pieces), cuts them into records, and hands each whole record to the mirror it addresses: a root
/// record builds a new mirror (newEntityForAttrLog), an attribute record goes to the mirror's type
/// handlers (doHandleAttrDeserialization), a marker to doHandleAttrTransaction. A record is read whole
/// before anything is applied; a malformed one is refused with Vem::RangeException and nothing of it is
/// applied. A stream that has been refused stays refused: its framing can no longer be trusted.
#pragma once

#include <Lumo/Ptr.h>
#include <Vem/Entity.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogSa.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace Vem::NboAttrLog {

class Demuxer {
 public:
  using Sa = Entity::VemNboAttrLogSa;
  /// Told of every new root mirror, once it exists.
  using RootObserver = std::function<void(EntityId, const Lumo::Ptr<Entity>&)>;
  /// The platform's read-only-proxy policy: may this attribute be written from the remote side?
  using WritePolicy = std::function<bool(const Sa&, AttributeId)>;

  Demuxer();
  ~Demuxer();
  Demuxer(const Demuxer&) = delete;
  Demuxer& operator=(const Demuxer&) = delete;

  /// Appends bytes and applies every record now complete. Throws Vem::RangeException on a malformed
  /// record; what came before it stays applied, nothing of it or after it is.
  void feed(const void* data, std::size_t size) {
    // Nothing pending (the input is empty between whole records): the records are read where they lie
    // and only an incomplete tail is kept.
    if (input_.empty() && !failed_) [[likely]] {
      const auto* bytes = static_cast<const char*>(data);
      const std::size_t used = applyRecords(bytes, size);
      if (used != size) input_.append(bytes + used, size - used);
      return;
    }
    feedAfterPending(data, size);
  }
  void feed(std::string_view bytes) { feed(bytes.data(), bytes.size()); }

  bool failed() const noexcept { return failed_; }
  const std::string& error() const noexcept { return error_; }
  /// Bytes of an incomplete record waiting for the rest.
  std::size_t partial() const noexcept { return input_.size() - head_; }
  uint64_t recordsApplied() const noexcept { return applied_; }
  uint64_t unknownAttributeRecords() const noexcept { return unknownAttributes_; }
  uint64_t replacedChildren() const noexcept { return replacedChildren_; }

  void rootObserverIs(RootObserver observer) { rootObserver_ = std::move(observer); }
  /// Mirrors built from now on are read-only proxies under this policy (none allowed by default).
  void readOnlyProxyIs(bool on) noexcept { readOnlyProxy_ = on; }
  void writePolicyIs(WritePolicy policy) { writePolicy_ = std::move(policy); }
  bool allowWriteFromReadOnlyRemote(const Sa& sa, AttributeId attribute) const {
    return writePolicy_ && writePolicy_(sa, attribute);
  }

  /// ---- mirrors by stream id ----
  Entity* entityOf(EntityId id) const noexcept;
  EntityId idOf(const Entity* e) const noexcept;
  Lumo::Ptr<Entity> root(EntityId id) const;
  std::size_t boundCount() const noexcept { return bindings_.size(); }

  /// ---- for the type handlers ----
  void bind(EntityId id, const Lumo::Ptr<Entity>& entity, EntityId parent);
  /// Forgets a mirror that its owner dropped, and everything below it.
  void unbind(const Entity* e) noexcept;
  void noteReplacedChild() noexcept { ++replacedChildren_; }
  void noteUnknownAttribute() noexcept { ++unknownAttributes_; }
  [[noreturn]] void failIdInUse(EntityId id) const;

 private:
  struct Binding {
    std::unique_ptr<Sa> adapter;
    EntityId parent;
    std::vector<uint32_t> children;
  };
  /// feed's other cases: a stream refused after an error, or bytes that complete a pending record.
  void feedAfterPending(const void* data, std::size_t size);
  /// Applies the complete records at the start of `bytes`; returns how many bytes they took.
  std::size_t applyRecords(const char* bytes, std::size_t size);
  /// The adapter of a bound id (a stream's records come in runs for one entity: the last is kept).
  inline Sa* adapterOf(EntityId id) const noexcept;
  Sa* boundAdapterOf(EntityId id) const noexcept;
  /// An attribute record for a bound entity goes straight to its handler; roots, markers and the
  /// errors take the out-of-line path, so the common one costs no frames of its own.
  inline void apply(EntityId id, uint8_t kind, AttributeId attribute, In& in, uint32_t length);
  [[gnu::noinline]] void applyOther(EntityId id, uint8_t kind, AttributeId attribute, In& in, uint32_t length);
  void applyRoot(EntityId id, In& in);
  void unbindId(uint32_t id) noexcept;

  std::string input_;
  std::size_t head_ = 0;
  bool failed_ = false;
  std::string error_;
  uint64_t applied_ = 0;
  uint64_t unknownAttributes_ = 0;
  uint64_t replacedChildren_ = 0;
  bool readOnlyProxy_ = false;
  RootObserver rootObserver_;
  WritePolicy writePolicy_;
  std::unordered_map<uint32_t, Binding> bindings_;
  mutable uint32_t lastId_ = 0;
  mutable Sa* lastAdapter_ = nullptr;
  std::unordered_map<const Entity*, uint32_t> ids_;
};

}  // namespace Vem::NboAttrLog
