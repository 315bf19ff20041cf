#include <Vem/NboAttrLogSa.h>

#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogFlow.h>
#include <Vem/TypeImpl.h>

#include <algorithm>
#include <cassert>
#include <stdexcept>

namespace Vem {

using NboAttrLog::Frame::kHeaderSize;
using NboAttrLog::Frame::kMarkerSize;

Entity::VemNboAttrLogSa* Entity::vemNboAttrLogSa(const NboAttrLog::Sender* sender) const noexcept {
  for (auto* sa = reinterpret_cast<VemNboAttrLogSa*>(attrLogHook_); sa != nullptr; sa = sa->nextOnEntity())
    if (sa->sender() == sender) return sa;
  return nullptr;
}

namespace NboAttrLog {

void throwPassOnChangedCollection(AttributeId attribute) {
  throw std::logic_error("Vem/NboAttrLogFlow: collection " + std::to_string(attribute) +
                         " changed during a pass; the pass is refused");
}

void failRecordTooLong() {
  throw RangeException("attribute log: record payload above " + std::to_string(Frame::kMaxPayload) + " bytes");
}

}  // namespace NboAttrLog

void throwWriteUpdateFromReadOnlyProxyException(const VemType& type, AttributeId attribute) {
  throw EntityError(std::string(type.name()) + ": attribute " + std::to_string(attribute) +
                    " cannot be written from the remote side of a read-only proxy");
}

// ---- the adapter --------------------------------------------------------------------------------

Entity::VemNboAttrLogSa::VemNboAttrLogSa(NboAttrLog::Sender& sender, const Lumo::Ptr<Entity>& entity, EntityId id,
                                         const AttrLogHandlers* handlers, VemNboAttrLogSa* parent)
    : entity_(entity), sender_(&sender), id_(id), handlers_(handlers), parent_(parent) {
  link();
  entity_->publisher().subscriberAdd(this);
}

Entity::VemNboAttrLogSa::VemNboAttrLogSa(NboAttrLog::Demuxer& demuxer, const Lumo::Ptr<Entity>& entity, EntityId id,
                                         const AttrLogHandlers* handlers)
    : entity_(entity), demuxer_(&demuxer), id_(id), handlers_(handlers) {}

Entity::VemNboAttrLogSa::~VemNboAttrLogSa() {
  if (sender_ != nullptr) {
    entity_->publisher().subscriberDel(this);
    unlink();
  }
}

void Entity::VemNboAttrLogSa::link() noexcept {
  nextOnEntity_ = reinterpret_cast<VemNboAttrLogSa*>(entity_->attrLogHook());
  entity_->attrLogHookIs(reinterpret_cast<uintptr_t>(this));
}

void Entity::VemNboAttrLogSa::unlink() noexcept {
  auto* at = reinterpret_cast<VemNboAttrLogSa*>(entity_->attrLogHook());
  if (at == this) {
    entity_->attrLogHookIs(reinterpret_cast<uintptr_t>(nextOnEntity_));
    return;
  }
  for (; at != nullptr; at = at->nextOnEntity_) {
    if (at->nextOnEntity_ == this) {
      at->nextOnEntity_ = nextOnEntity_;
      return;
    }
  }
}

NboAttrLog::FlowOut& Entity::VemNboAttrLogSa::ensureFlowOut() {
  if (!flowOut_) flowOut_ = handlers_->newFlowOut(*this, false, -1);
  sender_->pendingAdd(this);
  return *flowOut_;
}

namespace {

using Sa = Entity::VemNboAttrLogSa;

// Whether a record of a scalar may go out now. One that may not is marked dirty in the flow-out record
// and goes out when the room is freed; one that goes out is owed no more.
bool singletonGranted(Sa& sa, AttributeId attribute, std::size_t payloadSize) {
  if ((sa.state() & Sa::kRootPending) == 0 && sa.sender()->roomFor(payloadSize)) {
    if (NboAttrLog::FlowOut* f = sa.flowOut()) f->vemIsDirtyIs(attribute, false);
    return true;
  }
  sa.ensureFlowOut().vemIsDirtyIs(attribute, true);
  return false;
}

}  // namespace

NboAttrLog::Out* Entity::VemNboAttrLogSa::singletonSerializeCheck(AttributeId attribute, std::size_t payloadSize) {
  if (sender_ == nullptr || !singletonGranted(*this, attribute, payloadSize)) return nullptr;
  return sender_->beginRecord(id_, NboAttrLog::Frame::attribute, attribute);
}

char* Entity::VemNboAttrLogSa::singletonRecordAt(AttributeId attribute, std::size_t payloadSize) {
  if (sender_ == nullptr || !singletonGranted(*this, attribute, payloadSize)) return nullptr;
  return sender_->appendRecord(id_, NboAttrLog::Frame::attribute, attribute, payloadSize);
}

NboAttrLog::Out* Entity::VemNboAttrLogSa::collSerializeCheck(AttributeId attribute, bool deleted,
                                                            std::size_t payloadSize) {
  if (!collGranted(payloadSize)) return nullptr;
  return sender_->beginRecord(id_, NboAttrLog::Frame::attribute, deleted ? NboAttrLog::negated(attribute) : attribute);
}

NboAttrLog::Out* Entity::VemNboAttrLogSa::refCollSerializeCheck(AttributeId attribute, std::size_t keySize,
                                                               Entity& target, EntityId* targetId) {
  if (sender_ == nullptr) return nullptr;
  VemNboAttrLogSa* targetSa = target.vemNboAttrLogSa(sender_);
  // The receiver resolves the id when the entry arrives, so the target's root record goes first.
  const bool rootOwed = targetSa == nullptr || (targetSa->state_ & kRootPending) != 0;
  const std::size_t size = keySize + 4 + (rootOwed ? kHeaderSize + sender_->rootPayloadSize(target) : 0);
  if ((state_ & kRootPending) != 0 || !sender_->roomFor(size)) {
    ensureFlowOut();
    return nullptr;
  }
  if (targetSa == nullptr) {
    targetSa = sender_->attachReferenced(target);
  } else if (rootOwed) {
    [[maybe_unused]] const bool written = sender_->writeRoot(*targetSa);
    assert(written && "Vem/NboAttrLogSa: a root record did not fit the room granted for it");
  }
  *targetId = targetSa->id();
  return sender_->beginRecord(id_, NboAttrLog::Frame::attribute, attribute);
}

NboAttrLog::Out* Entity::VemNboAttrLogSa::instantiatingCollSerializeCheck(AttributeId attribute, bool deleted,
                                                                         std::size_t payloadSize) {
  return collSerializeCheck(attribute, deleted, payloadSize);
}

void Entity::VemNboAttrLogSa::outSmCommitMessage() { sender_->commitRecord(); }

bool Entity::VemNboAttrLogSa::collPassCheck() {
  if (sender_ == nullptr) return false;
  if ((state_ & kRootPending) == 0 && sender_->roomFor(1 + kMarkerSize)) return true;
  ensureFlowOut();
  return false;
}

std::size_t Entity::VemNboAttrLogSa::passBegin(AttributeId attribute, uint8_t type) {
  sender_->writeMarker(id_, attribute, type);
  sender_->reserveIs(sender_->reserve() + kMarkerSize);
  return sender_->outputEnd();
}

bool Entity::VemNboAttrLogSa::passInterrupted(std::size_t markerEnd) {
  passEnd(0);
  return sender_->takeBackMarker(markerEnd);
}

void Entity::VemNboAttrLogSa::passEnd(AttributeId attribute) {
  assert(sender_->reserve() >= kMarkerSize && "Vem/NboAttrLogSa: a pass ends that did not begin");
  sender_->reserveIs(sender_->reserve() - kMarkerSize);
  if (attribute != 0) sender_->writeMarker(id_, attribute, StreamAdapter::end);
}

bool Entity::VemNboAttrLogSa::continueFlowOut() const noexcept {
  return sender_ != nullptr && (state_ & kRootPending) == 0 && sender_->roomFor(1);
}

bool Entity::VemNboAttrLogSa::doMessageMulticast(AttributeId wireAttribute, std::size_t payloadSize,
                                                 void (*writePayload)(NboAttrLog::Out&, const void*),
                                                 const void* context) {
  NboAttrLog::MulticastSink* sink = sender_ != nullptr ? sender_->multicastSink() : nullptr;
  if (sink == nullptr || (state_ & kRootPending) != 0) return false;
  std::string record;
  record.reserve(kHeaderSize + payloadSize);
  NboAttrLog::Out out(record);
  out.entityId(id_);
  out.u8(NboAttrLog::Frame::attribute);
  out.u16(wireAttribute);
  out.u32(static_cast<uint32_t>(payloadSize));
  writePayload(out, context);
  assert(record.size() == kHeaderSize + payloadSize && "Vem/NboAttrLogSa: payload size differs from its record");
  return sink->offer(record);
}

bool Entity::VemNboAttrLogSa::handleInstantiatingCollSerializationImpl(
    AttributeId attribute, std::size_t keySize, void (*writeKey)(NboAttrLog::Out&, const void*), const void* key,
    Entity* child, VemNboAttrLogSa* childAdapter, bool ephemeral) {
  if (child == nullptr) {
    NboAttrLog::Out* out = instantiatingCollSerializeCheck(attribute, true, keySize);
    if (out == nullptr) return false;
    writeKey(*out, key);
    outSmCommitMessage();
    return true;
  }
  NboAttrLog::Out* out = instantiatingCollSerializeCheck(attribute, false, 4 + 1 + keySize);
  if (out == nullptr) return false;
  const EntityId id = childAdapter != nullptr ? childAdapter->id() : sender_->nextId();
  out->entityId(id);
  out->u8(static_cast<uint8_t>((childAdapter == nullptr ? 1 : 0) | (ephemeral ? 2 : 0)));
  writeKey(*out, key);
  outSmCommitMessage();
  if (childAdapter == nullptr) {
    // Carried so far as a referenced entity: from now on it travels as this child, under the new id.
    if (VemNboAttrLogSa* referenced = child->vemNboAttrLogSa(sender_)) sender_->release(referenced);
    sender_->attachChild(*this, child, id);
  }
  return true;
}

bool Entity::VemNboAttrLogSa::handleChildSingletonSerialization(AttributeId attribute, Entity* child) {
  VemNboAttrLogSa* childAdapter = child != nullptr ? child->vemNboAttrLogSa(sender_) : nullptr;
  if (childAdapter != nullptr && childAdapter->referencedRoot()) childAdapter = nullptr;  // becomes a child now
  const AttrLogHandlers* ch = child != nullptr ? attrLogHandlersOf(child->typeData()) : nullptr;
  const std::size_t size = 4 + (child != nullptr ? 1 + ch->attrLogSizeCtorParams(child) : 0);
  NboAttrLog::Out* out = singletonSerializeCheck(attribute, size);
  if (out == nullptr) return false;
  const EntityId id = child == nullptr ? EntityId{} : childAdapter != nullptr ? childAdapter->id() : sender_->nextId();
  out->entityId(id);
  if (child != nullptr) {
    out->u8(childAdapter == nullptr ? 1 : 0);
    ch->serializeConstructorParams(*out, child);
  }
  outSmCommitMessage();
  if (child != nullptr && childAdapter == nullptr) {
    if (VemNboAttrLogSa* referenced = child->vemNboAttrLogSa(sender_)) sender_->release(referenced);
    sender_->attachChild(*this, child, id);
  }
  return true;
}

void Entity::VemNboAttrLogSa::releaseChild(Entity* child) {
  if (child == nullptr || sender_ == nullptr) return;
  VemNboAttrLogSa* sa = child->vemNboAttrLogSa(sender_);
  if (sa != nullptr && !sa->referencedRoot()) sender_->release(sa);
}

void Entity::VemNboAttrLogSa::referenceDropped(Entity* target) {
  if (target == nullptr || sender_ == nullptr) return;
  VemNboAttrLogSa* sa = target->vemNboAttrLogSa(sender_);
  // An entity filing itself keeps its own adapter while that adapter handles the announcement.
  if (sa == nullptr || sa == this || !sa->referencedRoot() || sender_->referenced(*target)) return;
  sender_->release(sa);
}

void Entity::VemNboAttrLogSa::onChange(AttributeId attributeId, const void* key, const void* oldValue) {
  onChangeStored(attributeId, key, oldValue, nullptr);
}

void Entity::VemNboAttrLogSa::onChangeStored(AttributeId attributeId, const void* key, const void* oldValue,
                                             const void* storedValue) {
  if (sender_ == nullptr) return;
  struct Reset {
    Entity::VemNboAttrLogSa& sa;
    ~Reset() { sa.announcedOld_ = sa.announcedStored_ = nullptr; }
  } reset{*this};
  announcedOld_ = oldValue;
  announcedStored_ = storedValue;
  handlers_->streamAdapterOnAttribute(*this, attributeId, key);
}

NboAttrLog::Demuxer& Entity::VemNboAttrLogSa::streamDemuxer() const {
  if (demuxer_ == nullptr) throw std::logic_error("Vem/NboAttrLogSa: a sending adapter has no demultiplexer");
  return *demuxer_;
}

void Entity::VemNboAttrLogSa::doBaseVemNboAttrLogSaMsg(AttributeId, uint32_t, NboAttrLog::In& in) {
  in.bytes(in.remaining());
  if (demuxer_ != nullptr) demuxer_->noteUnknownAttribute();
}

// ---- the sender ---------------------------------------------------------------------------------

namespace NboAttrLog {

Sender::Sender(std::size_t room) : room_(room), out_(buffer_) {}

Sender::~Sender() {
  pending_.clear();
  refHolders_.clear();
  adapters_.clear();
}

Entity::VemNboAttrLogSa* Sender::adapter(EntityId id) const noexcept {
  auto it = adapters_.find(id.value);
  return it == adapters_.end() ? nullptr : it->second.get();
}

Entity::VemNboAttrLogSa* Sender::adopt(std::unique_ptr<Entity::VemNboAttrLogSa> sa) {
  Entity::VemNboAttrLogSa* raw = sa.get();
  adapters_.emplace(raw->id().value, std::move(sa));
  if (raw->handlers().refersTo != nullptr) refHolders_.push_back(raw);
  return raw;
}

EntityId Sender::attach(const Lumo::Ptr<Entity>& root) {
  if (Entity::VemNboAttrLogSa* sa = root->vemNboAttrLogSa(this)) {
    sa->state_ &= ~Entity::VemNboAttrLogSa::kReferenced;  // attached on its own account from now on
    return sa->id();
  }
  const AttrLogHandlers* handlers = attrLogHandlersOf(root->typeData());
  if (handlers == nullptr)
    throw std::invalid_argument("attribute log: " + std::string(root->typeData().name()) + " has no log handlers");
  const EntityId id = nextId();
  auto sa = std::make_unique<Entity::VemNboAttrLogSa>(*this, root, id, handlers, nullptr);
  Entity::VemNboAttrLogSa* raw = sa.get();
  raw->state_ |= Entity::VemNboAttrLogSa::kRootPending;
  raw->flowOut_ = handlers->newFlowOut(*raw, false, 0);
  adopt(std::move(sa));
  pendingAdd(raw);
  flowOut();
  return id;
}

Entity::VemNboAttrLogSa* Sender::attachReferenced(Entity& target) {
  const AttrLogHandlers* handlers = attrLogHandlersOf(target.typeData());
  if (handlers == nullptr)
    throw std::invalid_argument("attribute log: " + std::string(target.typeData().name()) + " has no log handlers");
  auto sa = std::make_unique<Entity::VemNboAttrLogSa>(*this, Lumo::Ptr<Entity>(&target), nextId(), handlers, nullptr);
  Entity::VemNboAttrLogSa* raw = sa.get();
  raw->state_ |= Entity::VemNboAttrLogSa::kReferenced | Entity::VemNboAttrLogSa::kRootPending;
  raw->flowOut_ = handlers->newFlowOut(*raw, false, 0);
  adopt(std::move(sa));
  [[maybe_unused]] const bool written = writeRoot(*raw);
  assert(written && "Vem/NboAttrLogSa: a root record did not fit the room granted for it");
  pendingAdd(raw);
  return raw;
}

std::size_t Sender::rootPayloadSize(const Entity& e) const {
  const AttrLogHandlers* handlers = attrLogHandlersOf(e.typeData());
  if (handlers == nullptr)
    throw std::invalid_argument("attribute log: " + std::string(e.typeData().name()) + " has no log handlers");
  return 4 + e.typeData().name().size() + handlers->attrLogSizeCtorParams(&e);
}

bool Sender::referenced(const Entity& target) const {
  for (const Entity::VemNboAttrLogSa* h : refHolders_)
    if (h->handlers().refersTo(h->entity(), target)) return true;
  return false;
}

Entity::VemNboAttrLogSa* Sender::attachChild(Entity::VemNboAttrLogSa& parent, Entity* child, EntityId id) {
  const AttrLogHandlers* handlers = attrLogHandlersOf(child->typeData());
  auto sa = std::make_unique<Entity::VemNboAttrLogSa>(*this, Lumo::Ptr<Entity>(child), id, handlers, &parent);
  Entity::VemNboAttrLogSa* raw = sa.get();
  parent.children_.push_back(raw);
  raw->flowOut_ = handlers->newFlowOut(*raw, false, 0);
  adopt(std::move(sa));
  pendingAdd(raw);
  return raw;
}

void Sender::detach(Entity& root) {
  Entity::VemNboAttrLogSa* sa = root.vemNboAttrLogSa(this);
  if (sa == nullptr) return;
  if (sa->parent_ == nullptr && referenced(root)) {
    sa->state_ |= Entity::VemNboAttrLogSa::kReferenced;
    return;
  }
  release(sa);
}

void Sender::release(Entity::VemNboAttrLogSa* sa) {
  std::vector<Entity::VemNboAttrLogSa*> children;
  children.swap(sa->children_);
  for (Entity::VemNboAttrLogSa* c : children) {
    c->parent_ = nullptr;
    release(c);
  }
  if (sa->parent_ != nullptr) std::erase(sa->parent_->children_, sa);
  if (sa->pending_) std::erase(pending_, sa);
  const bool holder = sa->handlers().refersTo != nullptr;
  if (holder) std::erase(refHolders_, sa);
  const Lumo::Ptr<Entity> entity(&sa->entity());  // outlives its adapter for the checks below
  adapters_.erase(sa->id().value);
  // Its id is gone: entries that file it go out again, carrying it afresh under a new id.
  for (Entity::VemNboAttrLogSa* h : refHolders_) h->handlers().resendReferencesTo(*h, *entity);
  if (holder) releaseUnreferenced();
}

void Sender::releaseUnreferenced() {
  std::vector<uint32_t> ids;
  for (const auto& [id, sa] : adapters_)
    if (sa->referencedRoot()) ids.push_back(id);
  for (uint32_t id : ids) {
    auto it = adapters_.find(id);  // an earlier release may have taken it along
    if (it != adapters_.end() && !referenced(it->second->entity())) release(it->second.get());
  }
}

void Sender::pendingAdd(Entity::VemNboAttrLogSa* sa) {
  if (sa->pending_) return;
  pending_.push_back(sa);
  sa->pending_ = true;
}

void Sender::consume(std::size_t n) noexcept {
  assert(recordStart_ == std::string::npos && "Vem/NboAttrLogSa: output taken while a record is open");
  head_ += std::min(n, buffered());
  if (head_ == end_) {
    head_ = end_ = 0;  // the bytes stay allocated as room for the next records
  } else if (head_ >= 4096 && head_ * 2 >= end_) {
    buffer_.erase(0, head_);
    end_ -= head_;
    head_ = 0;
  }
}

Out* Sender::beginRecord(EntityId entity, uint8_t kind, AttributeId attribute) {
  assert(recordStart_ == std::string::npos && "Vem/NboAttrLogSa: a record begins inside another");
  buffer_.resize(end_);  // the stream appends right after the output
  recordStart_ = end_;
  char header[kHeaderSize];
  putRecordHeader(header, entity, kind, attribute, 0);  // the length, set at commit
  buffer_.append(header, kHeaderSize);
  return &out_;
}

void Sender::growRoom(std::size_t payloadSize) {
  if (payloadSize > Frame::kMaxPayload) failRecordTooLong();
  const std::size_t size = kHeaderSize + payloadSize;
  // Room is zeroed a step at a time: a record written through the stream trims it, and the next sized
  // record should not pay for the whole capacity again.
  constexpr std::size_t kRoomStep = 512;
  if (buffer_.size() - end_ < size) buffer_.resize(end_ + std::max(size, kRoomStep));
}

void Sender::commitRecord() {
  assert(recordStart_ != std::string::npos && "Vem/NboAttrLogSa: commit without a record");
  const std::size_t length = buffer_.size() - recordStart_ - kHeaderSize;
  if (length > Frame::kMaxPayload) {
    abandonRecord();
    failRecordTooLong();
  }
  putBigEndian(buffer_.data() + recordStart_ + 7, length, 4);
  end_ = buffer_.size();
  recordStart_ = std::string::npos;
}

void Sender::abandonRecord() noexcept {
  if (recordStart_ == std::string::npos) return;
  buffer_.resize(recordStart_);
  recordStart_ = std::string::npos;
}

void Sender::writeMarker(EntityId entity, AttributeId attribute, uint8_t type) {
  Out* out = beginRecord(entity, Frame::transaction, attribute);
  out->u8(type);
  commitRecord();
}

bool Sender::takeBackMarker(std::size_t markerEnd) noexcept {
  if (recordStart_ != std::string::npos || end_ != markerEnd || markerEnd < head_ + kMarkerSize) return false;
  end_ = markerEnd - kMarkerSize;
  return true;
}

bool Sender::writeRoot(Entity::VemNboAttrLogSa& sa) {
  const Entity& e = sa.entity();
  const std::string_view type = e.typeData().name();
  const std::size_t size = 4 + type.size() + sa.handlers().attrLogSizeCtorParams(&e);
  if (!roomFor(size)) return false;
  Out* out = beginRecord(sa.id(), Frame::newRoot, 0);
  out->string(type);
  sa.handlers().serializeConstructorParams(*out, &e);
  commitRecord();
  sa.state_ &= ~Entity::VemNboAttrLogSa::kRootPending;
  return true;
}

bool Sender::resume(Entity::VemNboAttrLogSa& sa) {
  if ((sa.state_ & Entity::VemNboAttrLogSa::kRootPending) != 0 && !writeRoot(sa)) return false;
  if (!sa.flowOut_) return true;
  const AttributeId from = sa.resumeAttr_;
  int32_t r = sa.handlers().handleAttrFlowOut(sa, from, *sa.flowOut_);
  // Attributes before `from` may have been withheld again since the last resumption.
  if (r == 0 && from != 0) r = sa.handlers().handleAttrFlowOut(sa, 0, *sa.flowOut_);
  assert(r >= 0 && "Vem/NboAttrLogFlow: resumption at an attribute the type does not have");
  if (r > 0) {
    sa.resumeAttr_ = static_cast<AttributeId>(r);
    return false;
  }
  sa.resumeAttr_ = 0;
  sa.flowOut_.reset();
  return true;
}

bool Sender::flowOut() {
  if (flowing_) return pending_.empty();
  flowing_ = true;
  struct Done {
    bool& flag;
    ~Done() { flag = false; }
  } done{flowing_};
  roomWanted_ = 0;
  while (!pending_.empty()) {
    Entity::VemNboAttrLogSa* sa = pending_.front();
    if (!resume(*sa)) {
      // With nothing left for the transport to take, no later flowOut() gets further at this room.
      if (buffered() == 0) roomWanted_ = lastRefused_ > room_ ? lastRefused_ : room_ + 1;
      return false;
    }
    assert(pending_.front() == sa && "Vem/NboAttrLogFlow: the resumed adapter left the queue");
    pending_.pop_front();
    sa->pending_ = false;
  }
  return true;
}

}  // namespace NboAttrLog
}  // namespace Vem
