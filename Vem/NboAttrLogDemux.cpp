#include <Vem/NboAttrLogDemux.h>

#include <Vem/Registry.h>

#include <algorithm>
#include <cassert>
#include <exception>
#include <optional>

namespace Vem::NboAttrLog {

Demuxer::Demuxer() = default;

Demuxer::~Demuxer() {
  // Adapters first: they hold the mirrors, which may refer to each other only through owners.
  lastAdapter_ = nullptr;
  bindings_.clear();
}

void Demuxer::feedAfterPending(const void* data, std::size_t size) {
  if (failed_) throw RangeException("attribute log: stream refused after an earlier error (" + error_ + ")");
  input_.append(static_cast<const char*>(data), size);
  head_ += applyRecords(input_.data() + head_, input_.size() - head_);
  if (head_ == input_.size()) {
    input_.clear();
    head_ = 0;
  } else if (head_ >= 4096) {
    input_.erase(0, head_);
    head_ = 0;
  }
}

std::size_t Demuxer::applyRecords(const char* bytes, std::size_t size) {
  std::size_t at = 0;
  for (;;) {
    const std::size_t available = size - at;
    if (available < Frame::kHeaderSize) break;
    const auto* p = reinterpret_cast<const uint8_t*>(bytes) + at;
    const EntityId id{static_cast<uint32_t>(getBigEndian(p, 4))};
    const uint8_t kind = p[4];
    const auto attribute = static_cast<AttributeId>(getBigEndian(p + 5, 2));
    const uint32_t length = static_cast<uint32_t>(getBigEndian(p + 7, 4));
    try {
      if (length > Frame::kMaxPayload)
        throw RangeException("attribute log: record payload of " + std::to_string(length) + " bytes above the limit");
      if (available - Frame::kHeaderSize < length) break;
      In in(p + Frame::kHeaderSize, length);
      apply(id, kind, attribute, in, length);
    } catch (const std::exception& e) {
      failed_ = true;
      error_ = "record at byte " + std::to_string(head_ + at) + " (entity " + std::to_string(id.value) +
               ", attribute " + std::to_string(attribute) + "): " + e.what();
      throw RangeException(error_);
    }
    at += Frame::kHeaderSize + length;
    ++applied_;
  }
  return at;
}

inline Demuxer::Sa* Demuxer::adapterOf(EntityId id) const noexcept {
  if (id.value == lastId_ && lastAdapter_ != nullptr) return lastAdapter_;
  return boundAdapterOf(id);
}

Demuxer::Sa* Demuxer::boundAdapterOf(EntityId id) const noexcept {
  auto it = bindings_.find(id.value);
  if (it == bindings_.end()) return nullptr;
  lastId_ = id.value;
  lastAdapter_ = it->second.adapter.get();
  return lastAdapter_;
}

inline void Demuxer::apply(EntityId id, uint8_t kind, AttributeId attribute, In& in, uint32_t length) {
  if (kind == Frame::attribute) [[likely]] {
    if (Sa* sa = adapterOf(id)) [[likely]] {
      sa->handlers().doHandleAttrDeserialization(*sa, attribute, 0, length, in);
      return;
    }
  }
  applyOther(id, kind, attribute, in, length);
}

void Demuxer::applyOther(EntityId id, uint8_t kind, AttributeId attribute, In& in, uint32_t length) {
  if (kind == Frame::newRoot) {
    if (attribute != 0) throw RangeException("attribute log: a root record names attribute " + std::to_string(attribute));
    applyRoot(id, in);
    return;
  }
  if (kind != Frame::attribute && kind != Frame::transaction)
    throw RangeException("attribute log: unknown record kind " + std::to_string(kind));
  Sa* sa = adapterOf(id);
  if (sa == nullptr) throw RangeException("attribute log: no entity " + std::to_string(id.value) + " on this stream");
  assert(kind == Frame::transaction && "attribute records of bound entities are applied by apply");
  if (length != 1) throw RangeException("attribute log: a marker carries one byte, not " + std::to_string(length));
  const uint8_t type = in.nextU8();
  if (type > StreamAdapter::end) throw RangeException("attribute log: unknown marker type " + std::to_string(type));
  const auto handle = sa->handlers().doHandleAttrTransaction;
  if (handle == nullptr || !handle(*sa, attribute, type)) noteUnknownAttribute();
}

void Demuxer::applyRoot(EntityId id, In& in) {
  if (!id) throw RangeException("attribute log: a root needs an entity id");
  if (bindings_.count(id.value) != 0) failIdInUse(id);
  const Lumo::String typeName = in.nextString();
  const std::optional<VemType> type = Registry::typeByName(typeName.view());
  if (!type || !type->isEntity() || attrLogHandlersOf(*type) == nullptr)
    throw RangeException("attribute log: no entity type \"" + typeName.stdString() + "\" is loaded");
  Lumo::Ptr<Entity> root = attrLogHandlersOf(*type)->newEntityForAttrLog(in);
  if (!in.atEnd()) throw RangeException("attribute log: root record longer than its constructor parameters");
  bind(id, root, EntityId{});
  if (rootObserver_) rootObserver_(id, root);
}

Entity* Demuxer::entityOf(EntityId id) const noexcept {
  auto it = bindings_.find(id.value);
  return it == bindings_.end() ? nullptr : &it->second.adapter->entity();
}

EntityId Demuxer::idOf(const Entity* e) const noexcept {
  auto it = ids_.find(e);
  return it == ids_.end() ? EntityId{} : EntityId{it->second};
}

Lumo::Ptr<Entity> Demuxer::root(EntityId id) const {
  Entity* e = entityOf(id);
  return e != nullptr ? Lumo::Ptr<Entity>(e) : Lumo::Ptr<Entity>();
}

void Demuxer::bind(EntityId id, const Lumo::Ptr<Entity>& entity, EntityId parent) {
  Binding b;
  b.adapter = std::make_unique<Sa>(*this, entity, id, attrLogHandlersOf(entity->typeData()));
  if (readOnlyProxy_) b.adapter->stateIs(b.adapter->state() | Sa::kReadOnlyProxy);
  b.parent = parent;
  ids_[entity.get()] = id.value;
  bindings_.emplace(id.value, std::move(b));
  if (parent) {
    auto p = bindings_.find(parent.value);
    if (p != bindings_.end()) p->second.children.push_back(id.value);
  }
}

void Demuxer::unbind(const Entity* e) noexcept {
  auto it = ids_.find(e);
  if (it != ids_.end()) unbindId(it->second);
}

void Demuxer::unbindId(uint32_t id) noexcept {
  auto it = bindings_.find(id);
  if (it == bindings_.end()) return;
  std::vector<uint32_t> children = std::move(it->second.children);
  const EntityId parent = it->second.parent;
  for (uint32_t c : children) unbindId(c);
  it = bindings_.find(id);
  if (parent) {
    auto p = bindings_.find(parent.value);
    if (p != bindings_.end()) std::erase(p->second.children, id);
  }
  ids_.erase(&it->second.adapter->entity());
  if (id == lastId_) lastAdapter_ = nullptr;
  bindings_.erase(it);
}

void Demuxer::failIdInUse(EntityId id) const {
  throw RangeException("attribute log: entity id " + std::to_string(id.value) + " already names another entity");
}

}  // namespace Vem::NboAttrLog
