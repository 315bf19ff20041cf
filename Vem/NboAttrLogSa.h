/// \file
/// The sending side of the attribute log. A Sender is one output stream with a finite room (bytes
/// written and not yet taken by the transport); it keeps one stream adapter (Entity::VemNboAttrLogSa)
/// per entity it carries. An adapter subscribes to its entity and, for each announced change, has the
/// entity type's handlers (Vem/TypeImpl.h) write a record when the room allows, or remember the change
/// in its flow-out record (Vem/NboAttrLogFlow.h) and send it when the Sender resumes withheld output.
/// The receiving side (Vem/NboAttrLogDemux.h) uses the same adapter class, bound to its Demuxer.
/// Record framing: docs/attribute-log.md.
#pragma once

#include <Lumo/Ptr.h>
#include <Lumo/Publisher.h>
#include <Vem/Entity.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogFlow.h>

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Vem {

namespace NboAttrLog {

class Demuxer;

/// Every record: entity id (U32), kind (U8), attribute id (U16), payload length (U32), payload.
namespace Frame {
inline constexpr std::size_t kHeaderSize = 11;
inline constexpr uint32_t kMaxPayload = 1u << 24;
enum Kind : uint8_t { attribute = 0, transaction = 1, newRoot = 2 };
inline constexpr std::size_t kMarkerSize = kHeaderSize + 1;
}  // namespace Frame

/// A deleted collection key travels under the negated attribute id (65278 for 258).
constexpr AttributeId negated(AttributeId id) noexcept { return static_cast<AttributeId>(0x10000u - id); }

/// The multicast path: takes whole records (header included) or refuses them.
class MulticastSink {
 public:
  virtual ~MulticastSink() = default;
  virtual bool offer(std::string_view record) = 0;
};

}  // namespace NboAttrLog

namespace StreamAdapter {
/// Markers around a whole-collection pass. A pass resumed after an interruption begins with `resume`,
/// which leaves the receiver's deletion marks as the first begin set them.
enum AttrTransactionType : uint8_t { begin = 0, resume = 1, end = 2 };
}  // namespace StreamAdapter

using EntityId = NboAttrLog::EntityId;

/// The attribute-log handler table of an entity type (Vem::TypeImpl<T>::table), in slot order.
struct AttrLogHandlers {
  using Sa = Entity::VemNboAttrLogSa;
  Lumo::Ptr<Entity> (*newEntityForAttrLog)(NboAttrLog::In& in);
  Lumo::Ptr<NboAttrLog::FlowOut> (*newFlowOut)(Sa& adapter, bool flag, int32_t startAttribute);
  bool (*freeResyncState)(NboAttrLog::FlowOut& flowOut);
  std::size_t (*attrLogSizeCtorParams)(const Entity* entity);
  void (*serializeConstructorParams)(NboAttrLog::Out& out, const Entity* entity);
  bool (*vemInstantiateSerialize)(Sa& adapter);
  int32_t (*handleAttrFlowOut)(Sa& adapter, AttributeId attribute, NboAttrLog::FlowOut& flowOut);
  bool (*doHandleAttrTransaction)(Sa& adapter, AttributeId attribute, uint8_t type);
  void (*doHandleAttrDeserialization)(Sa& adapter, AttributeId attribute, uint8_t flag, uint32_t length,
                                      NboAttrLog::In& in);
  bool (*streamAdapterOnAttribute)(Sa& adapter, AttributeId attribute, const void* key);
  /// Collections of references (null for types without one): whether `holder` files `target`, and
  /// owing again every entry of `holder` that files `target` (its id on the stream changed).
  bool (*refersTo)(const Entity& holder, const Entity& target);
  void (*resendReferencesTo)(Sa& holder, const Entity& target);
  void (*iterObj)(AttributeId, void*, void*);
  void (*iterKey)(AttributeId, void*, void*);
  bool (*iterNonnull)(AttributeId, void*);
  void (*iterInc)(AttributeId, void*);
};
static_assert(sizeof(AttrLogHandlers) == 16 * sizeof(void*));

/// The handler table of an entity's type, from its registration.
inline const AttrLogHandlers* attrLogHandlersOf(const VemType& type) noexcept {
  return type.valid() ? static_cast<const AttrLogHandlers*>(type.impl().attrLogHandlers) : nullptr;
}

class Entity::VemNboAttrLogSa final : public Lumo::Subscriber {
 public:
  /// State word.
  static constexpr uint32_t kActive = 0x8;          // the adapter itself is applying a change
  static constexpr uint32_t kReadOnlyProxy = 0x10;  // mirrors an entity this process may not change
  static constexpr uint32_t kRootPending = 0x20;    // the root record is still to be written
  static constexpr uint32_t kReferenced = 0x40;     // carried only while a collection of references files it
  static constexpr uint32_t kMulticast = 0x4000;
  static constexpr uint32_t kMulticastHeldA = 0x80000;
  static constexpr uint32_t kMulticastHeldB = 0x100000;

  /// Sending: subscribes to the entity.
  VemNboAttrLogSa(NboAttrLog::Sender& sender, const Lumo::Ptr<Entity>& entity, EntityId id,
                  const AttrLogHandlers* handlers, VemNboAttrLogSa* parent);
  /// Receiving: applies records to the entity.
  VemNboAttrLogSa(NboAttrLog::Demuxer& demuxer, const Lumo::Ptr<Entity>& entity, EntityId id,
                  const AttrLogHandlers* handlers);
  ~VemNboAttrLogSa() override;
  VemNboAttrLogSa(const VemNboAttrLogSa&) = delete;
  VemNboAttrLogSa& operator=(const VemNboAttrLogSa&) = delete;

  Entity& entity() const noexcept { return *entity_; }
  template <class T>
  T& entityAs() const noexcept {
    return static_cast<T&>(*entity_);
  }
  EntityId id() const noexcept { return id_; }
  const AttrLogHandlers& handlers() const noexcept { return *handlers_; }
  NboAttrLog::Sender* sender() const noexcept { return sender_; }
  VemNboAttrLogSa* nextOnEntity() const noexcept { return nextOnEntity_; }

  uint32_t state() const noexcept { return state_; }
  void stateIs(uint32_t s) noexcept { state_ = s; }
  bool multicastMode() const noexcept {
    return (state_ & kMulticast) != 0 && (state_ & (kMulticastHeldA | kMulticastHeldB)) == 0;
  }
  bool isActive() const noexcept { return (state_ & kActive) != 0; }
  void isActiveIs(bool on) noexcept { state_ = on ? (state_ | kActive) : (state_ & ~kActive); }
  bool readOnlyProxy() const noexcept { return (state_ & kReadOnlyProxy) != 0; }

  /// ---- sending ----
  NboAttrLog::FlowOut* flowOut() const noexcept { return flowOut_.get(); }
  template <class F>
  F* flowOutAs() const noexcept {
    return static_cast<F*>(flowOut_.get());
  }
  /// The checks that grant room for one record: the output to write the payload to, or null when the
  /// room does not allow it (the adapter then keeps a flow-out record, and for a scalar marks it dirty).
  NboAttrLog::Out* singletonSerializeCheck(AttributeId attribute, std::size_t payloadSize);
  NboAttrLog::Out* collSerializeCheck(AttributeId attribute, bool deleted, std::size_t payloadSize);
  NboAttrLog::Out* instantiatingCollSerializeCheck(AttributeId attribute, bool deleted, std::size_t payloadSize);
  /// Room for an entry of a collection of references (the key, then the target's id). A target not yet
  /// announced on this stream gets its root record first, in the same room, and from then on is carried
  /// itself; *targetId receives its id.
  NboAttrLog::Out* refCollSerializeCheck(AttributeId attribute, std::size_t keySize, Entity& target,
                                         EntityId* targetId);
  /// The same checks for a record whose payload size is exact and whose writer cannot fail: the whole
  /// record is laid out at once (header complete) and the caller stores exactly payloadSize bytes at the
  /// address returned before anything else touches the output. Null when the room does not allow it.
  char* singletonRecordAt(AttributeId attribute, std::size_t payloadSize);
  char* collRecordAt(AttributeId attribute, bool deleted, std::size_t payloadSize);  // inline, below Sender
  /// Ends the record begun by a granted check.
  void outSmCommitMessage();
  /// Room for the begin and end markers of a whole-collection pass (held back for the end marker
  /// until passEnd).
  bool collPassCheck();
  /// Writes a begin or resume marker; returns where the output ends after it.
  std::size_t passBegin(AttributeId attribute, uint8_t type);
  void passEnd(AttributeId attribute);
  /// Ends a pass interrupted before its end marker; when nothing was written after its marker (ending
  /// at markerEnd), takes the marker back and answers true.
  bool passInterrupted(std::size_t markerEnd);
  bool readyToSerialize() const noexcept { return sender_ != nullptr; }
  /// Whether a pass should go on: room for at least a small record.
  bool continueFlowOut() const noexcept;
  /// Offers one record to the multicast path; true when it took it.
  bool doMessageMulticast(AttributeId wireAttribute, std::size_t payloadSize,
                          void (*writePayload)(NboAttrLog::Out&, const void*), const void* context);
  /// Writes one entry of an instantiating collection: the child's id and key, or the key alone for a
  /// deletion; a child new to this stream gets an adapter of its own. False when deferred.
  bool handleInstantiatingCollSerializationImpl(AttributeId attribute, std::size_t keySize,
                                                void (*writeKey)(NboAttrLog::Out&, const void*), const void* key,
                                                Entity* child, VemNboAttrLogSa* childAdapter, bool ephemeral);
  /// Writes an instantiating singleton: the child's id and name, or id 0 when there is none.
  bool handleChildSingletonSerialization(AttributeId attribute, Entity* child);
  /// The old value of the announcement being handled (null outside one, or for a new entry).
  const void* announcedOldValue() const noexcept { return announcedOld_; }
  /// Where the announced entry's new value is stored, when the setter said so (else null).
  const void* announcedStoredValue() const noexcept { return announcedStored_; }
  /// Stops carrying a child removed from this entity, and everything below it.
  void releaseChild(Entity* child);
  /// A collection of references of this entity dropped `target`: it stops being carried when nothing
  /// carried on the stream files it any more.
  void referenceDropped(Entity* target);
  bool referencedRoot() const noexcept { return (state_ & kReferenced) != 0; }
  /// Makes sure a flow-out record exists (one that owes nothing) and that the Sender will resume it.
  NboAttrLog::FlowOut& ensureFlowOut();
  void flowOutDone() noexcept { flowOut_.reset(); }
  AttributeId resumeAttribute() const noexcept { return resumeAttr_; }
  void resumeAttributeIs(AttributeId a) noexcept { resumeAttr_ = a; }

  void onChange(AttributeId attributeId, const void* key, const void* oldValue) override;
  void onChangeStored(AttributeId attributeId, const void* key, const void* oldValue, const void* storedValue) override;

  /// ---- receiving ----
  NboAttrLog::Demuxer& streamDemuxer() const;
  /// Records for ids the type does not have: nameString is fixed at construction and other ids are
  /// from a newer definition; both are skipped (the Demuxer counts them).
  void doBaseVemNboAttrLogSaMsg(AttributeId attribute, uint32_t length, NboAttrLog::In& in);

 private:
  /// Room for a collection entry's record; when there is none, the entry is owed (inline, below Sender).
  bool collGranted(std::size_t payloadSize);
  friend class NboAttrLog::Sender;
  void link() noexcept;
  void unlink() noexcept;

  Lumo::Ptr<Entity> entity_;
  NboAttrLog::Sender* sender_ = nullptr;
  NboAttrLog::Demuxer* demuxer_ = nullptr;
  EntityId id_;
  const AttrLogHandlers* handlers_;
  uint32_t state_ = 0;
  Lumo::Ptr<NboAttrLog::FlowOut> flowOut_;
  AttributeId resumeAttr_ = 0;
  const void* announcedOld_ = nullptr;
  const void* announcedStored_ = nullptr;
  VemNboAttrLogSa* nextOnEntity_ = nullptr;
  VemNboAttrLogSa* parent_ = nullptr;
  std::vector<VemNboAttrLogSa*> children_;
  bool pending_ = false;
};

namespace NboAttrLog {

/// One output stream. Bytes accumulate in output() until the transport takes them (consume); the room
/// bounds how many may wait. Records that do not fit are withheld in flow-out records and written by
/// flowOut() once the transport has made room.
class Sender {
 public:
  static constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

  explicit Sender(std::size_t room = kUnlimited);
  ~Sender();
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  /// Starts carrying an entity and everything it instantiates: its root record and its whole state
  /// follow as the room allows. Returns its id on this stream (the existing one if already carried).
  EntityId attach(const Lumo::Ptr<Entity>& root);
  /// Stops carrying a root entity (its children too). The receiver keeps its mirrors. A root that a
  /// carried collection of references still files stays carried, as a referenced entity.
  void detach(Entity& root);

  void roomIs(std::size_t bytes) noexcept { room_ = bytes; }
  std::size_t room() const noexcept { return room_; }
  std::size_t buffered() const noexcept { return written() - head_; }
  std::string_view output() const noexcept { return std::string_view(buffer_.data() + head_, written() - head_); }
  /// The transport has taken the first n bytes of output().
  void consume(std::size_t n) noexcept;
  /// Writes withheld output while the room allows. True when nothing is withheld any more.
  bool flowOut();
  bool withheld() const noexcept { return !pending_.empty(); }
  /// Whether the last flowOut() stopped with an empty output: the next withheld record does not fit
  /// even the whole room, so the flow stays where it is until the room grows. roomWanted() is then the
  /// room that the last refused record asked for, a lower bound of what lets the flow go on (a refused
  /// probe for a small record can stand in for the record itself); zero when not stalled.
  bool stalled() const noexcept { return roomWanted_ != 0; }
  std::size_t roomWanted() const noexcept { return roomWanted_; }
  std::size_t adapterCount() const noexcept { return adapters_.size(); }
  Entity::VemNboAttrLogSa* adapter(EntityId id) const noexcept;

  void multicastSinkIs(MulticastSink* sink) noexcept { multicast_ = sink; }
  MulticastSink* multicastSink() const noexcept { return multicast_; }

  /// ---- for adapters ----
  /// Room for a record of this payload size, on top of what open passes hold back for their end markers.
  /// A refusal is remembered, so that a flow that stalls can tell how much room it wanted.
  bool roomFor(std::size_t payloadSize) noexcept {
    if (room_ == kUnlimited) return true;
    const std::size_t used = buffered() + reserve_;
    if (used <= room_ && Frame::kHeaderSize + payloadSize <= room_ - used) [[likely]]
      return true;
    lastRefused_ = used + Frame::kHeaderSize + payloadSize;
    return false;
  }
  /// Begins a record and returns the output to write its payload to.
  Out* beginRecord(EntityId entity, uint8_t kind, AttributeId attribute);
  /// Appends a whole record of a known payload size, header complete, and returns where its payload
  /// goes: one step instead of a header, appends and a pass back for the length. Inline while the room
  /// already sized past the output holds the record; growing that room (512 bytes at a time) is not.
  char* appendRecord(EntityId entity, uint8_t kind, AttributeId attribute, std::size_t payloadSize) {
    assert(recordStart_ == std::string::npos && "Vem/NboAttrLogSa: a record begins inside another");
    const std::size_t size = Frame::kHeaderSize + payloadSize;
    if (payloadSize > Frame::kMaxPayload || buffer_.size() - end_ < size) [[unlikely]]
      growRoom(payloadSize);
    char* header = buffer_.data() + end_;
    end_ += size;
    putRecordHeader(header, entity, kind, attribute, payloadSize);
    return header + Frame::kHeaderSize;
  }
  void commitRecord();
  void abandonRecord() noexcept;
  void writeMarker(EntityId entity, AttributeId attribute, uint8_t type);
  /// Where the output ends now (a position for takeBackMarker).
  std::size_t outputEnd() const noexcept { return written(); }
  /// Removes the marker that ends at markerEnd, if nothing follows it and the transport has not taken it.
  bool takeBackMarker(std::size_t markerEnd) noexcept;
  void reserveIs(std::size_t bytes) noexcept { reserve_ = bytes; }
  std::size_t reserve() const noexcept { return reserve_; }
  EntityId nextId() noexcept { return EntityId{++lastId_}; }
  Entity::VemNboAttrLogSa* attachChild(Entity::VemNboAttrLogSa& parent, Entity* child, EntityId id);
  /// Starts carrying an entity that a collection of references files: writes its root record now (the
  /// caller made sure of the room) and owes its whole state.
  Entity::VemNboAttrLogSa* attachReferenced(Entity& target);
  /// Payload size of an entity's root record.
  std::size_t rootPayloadSize(const Entity& e) const;
  bool writeRoot(Entity::VemNboAttrLogSa& adapter);
  /// Stops carrying an adapter's entity and everything below it. Collections of references that still
  /// file it owe their entries again (it will go out under a new id); entities carried only because
  /// it filed them are released in turn.
  void release(Entity::VemNboAttrLogSa* adapter);
  /// Whether a carried collection of references files this entity.
  bool referenced(const Entity& target) const;
  void pendingAdd(Entity::VemNboAttrLogSa* adapter);

 private:
  static void putRecordHeader(char* to, EntityId entity, uint8_t kind, AttributeId attribute,
                              std::size_t payloadSize) noexcept {
    putBigEndian(to, entity.value, 4);
    to[4] = static_cast<char>(kind);
    putBigEndian(to + 5, attribute, 2);
    putBigEndian(to + 7, payloadSize, 4);
  }
  /// Room past the output for a record of this payload size; refuses one above the record limit.
  void growRoom(std::size_t payloadSize);
  Entity::VemNboAttrLogSa* adopt(std::unique_ptr<Entity::VemNboAttrLogSa> adapter);
  void releaseUnreferenced();
  bool resume(Entity::VemNboAttrLogSa& adapter);

  // Where the written bytes end: at end_, or, while a stream-written record is open, at the buffer's end.
  std::size_t written() const noexcept { return recordStart_ == std::string::npos ? end_ : buffer_.size(); }

  // Output is buffer_[head_, end_); the bytes past end_ are room already sized into the string, so
  // that a record of known size is laid out without growing the string. A record written through the
  // stream (out_) first trims them and appends.
  std::string buffer_;
  std::size_t head_ = 0;
  std::size_t end_ = 0;
  std::size_t room_;
  std::size_t reserve_ = 0;
  std::size_t recordStart_ = std::string::npos;
  std::size_t lastRefused_ = 0;  // the room the last refused record needed
  std::size_t roomWanted_ = 0;   // nonzero while stalled
  Out out_;
  uint32_t lastId_ = 0;
  std::unordered_map<uint32_t, std::unique_ptr<Entity::VemNboAttrLogSa>> adapters_;
  std::vector<Entity::VemNboAttrLogSa*> refHolders_;  // adapters of types with collections of references
  std::deque<Entity::VemNboAttrLogSa*> pending_;
  MulticastSink* multicast_ = nullptr;
  bool flowing_ = false;
};

}  // namespace NboAttrLog

// Every announced change of a collection comes through here: inline, so that granting and laying out
// its record costs no calls while the room allows it. A withheld entry is remembered by key in the
// flow-out record.
inline bool Entity::VemNboAttrLogSa::collGranted(std::size_t payloadSize) {
  if (sender_ == nullptr) return false;
  if ((state_ & kRootPending) == 0 && sender_->roomFor(payloadSize)) [[likely]]
    return true;
  ensureFlowOut();
  return false;
}

inline char* Entity::VemNboAttrLogSa::collRecordAt(AttributeId attribute, bool deleted, std::size_t payloadSize) {
  if (!collGranted(payloadSize)) return nullptr;
  return sender_->appendRecord(id_, NboAttrLog::Frame::attribute,
                               deleted ? NboAttrLog::negated(attribute) : attribute, payloadSize);
}

}  // namespace Vem
