/// \file
/// The attribute-log handlers of every entity type, as templates walking the type's attribute list
/// (`T::VemAttributes`). The compiler emits no handler code per type: the registration table points at
/// TypeImpl<T>::table, and these templates write one record per announced change, resume withheld output
/// attribute by attribute, and apply received records through the type's own setters (so a mirror
/// announces every change it receives).
#pragma once

#include <Lumo/Ptr.h>
#include <Lumo/String.h>
#include <Vem/Entity.h>
#include <Vem/GenericIfOps.h>
#include <Vem/NboAttrLog.h>
#include <Vem/NboAttrLogDemux.h>
#include <Vem/NboAttrLogFlow.h>
#include <Vem/NboAttrLogSa.h>
#include <Vem/RangeException.h>

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Vem {

namespace NboAttrLog {
/// A collection pass found its collection changed under it: the pass is refused rather than walk stale
/// nodes. The handlers never change a collection while they walk it, so only a fault reaches this.
[[noreturn]] void throwPassOnChangedCollection(AttributeId attribute);
[[noreturn]] void failRecordTooLong();
}  // namespace NboAttrLog

/// The platform's read-only-proxy error: a record would write an attribute of an entity this process
/// may only observe.
[[noreturn]] void throwWriteUpdateFromReadOnlyProxyException(const VemType& type, AttributeId attribute);

/// Sets the adapter's active bit for a scope; does nothing without an adapter.
class AttrLogActiveScope {
 public:
  explicit AttrLogActiveScope(Entity::VemNboAttrLogSa* sa) noexcept : sa_(sa), was_(sa && sa->isActive()) {
    if (sa_) sa_->isActiveIs(true);
  }
  ~AttrLogActiveScope() {
    if (sa_) sa_->isActiveIs(was_);
  }
  AttrLogActiveScope(const AttrLogActiveScope&) = delete;
  AttrLogActiveScope& operator=(const AttrLogActiveScope&) = delete;

 private:
  Entity::VemNboAttrLogSa* sa_;
  bool was_;
};

template <class T>
struct TypeImpl {
  using Attrs = typename T::VemAttributes;
  using Sa = Entity::VemNboAttrLogSa;
  using Flow = NboAttrLog::FlowOutFor<T>;
  using In = NboAttrLog::In;
  using Out = NboAttrLog::Out;
  template <std::size_t I>
  using A = AttrAt<I, Attrs>;
  template <std::size_t I>
  using S = StoredOf<T, A<I>>;
  template <class Stored>
  using ChildOf = std::remove_cvref_t<decltype(*std::declval<typename Stored::Value>())>;
  template <class Ptr>
  using PointeeOf = std::remove_cvref_t<decltype(*std::declval<Ptr>())>;

  static constexpr bool hasKind(bool (*pred)(AttrKind)) {
    return []<std::size_t... I>(std::index_sequence<I...>, bool (*p)(AttrKind)) {
      return (p(A<I>::kind) || ... || false);
    }(std::make_index_sequence<AttrCount<Attrs>::value>{}, pred);
  }
  static constexpr bool kHasCollections = hasKind([](AttrKind k) { return isKeyedKind(k); });
  static constexpr bool kHasInstantiating =
      hasKind([](AttrKind k) { return k == AttrKind::children || k == AttrKind::child; });
  static constexpr bool kHasReferences = hasKind([](AttrKind k) { return k == AttrKind::refs; });

  // ---- construction ----------------------------------------------------------------------------

  /// Constructor parameters: the constructor attributes that the compiler lists in constructor order (the
  /// name first for a type built from one, else the key), wherever they stand among the attributes.
  static constexpr bool kByName = requires(const T& t) { t.name(); };
  template <class L>
  struct CtorFieldsOf;
  template <class... F>
  struct CtorFieldsOf<FieldList<F...>> {
    using Values = std::tuple<typename F::Type...>;
    template <std::size_t J>
    using At = std::tuple_element_t<J, std::tuple<F...>>;
  };
  using CtorFields = CtorFieldsOf<typename T::VemCtorFields>;
  template <std::size_t J>
  using CF = typename CtorFields::template At<J>;
  static constexpr std::size_t kCtorCount = T::VemCtorFields::size;
  using CtorValues = typename CtorFields::Values;
  /// A fixed constructor attribute has no setter: its value came with the constructor, so a record of it
  /// is not applied. Settable constructor attributes change afterwards like any other.
  static constexpr bool isCtorAttribute(AttributeId id) {
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return (((A<I>::id == id) && A<I>::kind == AttrKind::scalar &&
               std::is_same_v<decltype(A<I>::set), const std::nullptr_t>) || ... || false);
    }(std::make_index_sequence<AttrCount<Attrs>::value>{});
  }

  static CtorValues readCtor(In& in) {
    CtorValues v;
    std::apply([&](auto&... x) { (LogTraits<std::remove_cvref_t<decltype(x)>>::read(in, x), ...); }, v);
    return v;
  }
  static Lumo::Ptr<Entity> newEntityForAttrLog(In& in) {
    CtorValues v = readCtor(in);
    if constexpr (kByName || kCtorCount > 0)
      return std::apply([](const auto&... x) { return Lumo::Ptr<Entity>(Lumo::newNode<T>(x...)); }, v);
    else
      throw RangeException("attribute log: " + std::string(T::vemType().name()) + " cannot be built from the log");
  }
  static std::size_t attrLogSizeCtorParams(const Entity* e) {
    const T& t = *static_cast<const T*>(e);
    return [&]<std::size_t... J>(std::index_sequence<J...>) {
      return (std::size_t{0} + ... + LogTraits<typename CF<J>::Type>::size(t.*CF<J>::member));
    }(std::make_index_sequence<kCtorCount>{});
  }
  static void serializeConstructorParams(Out& out, const Entity* e) {
    const T& t = *static_cast<const T*>(e);
    [&]<std::size_t... J>(std::index_sequence<J...>) {
      (LogTraits<typename CF<J>::Type>::write(out, t.*CF<J>::member), ...);
    }(std::make_index_sequence<kCtorCount>{});
  }

  // ---- flow-out records --------------------------------------------------------------------------

  /// s: the first attribute the receiver still needs; negative when it needs none.
  static Lumo::Ptr<NboAttrLog::FlowOut> newFlowOut(Sa& sa, bool, int32_t s) {
    Lumo::Ptr<Flow> f = Lumo::Ptr<Flow>::adopt(new Flow(&sa, s));
    anyAttr<Attrs>([&]<std::size_t I>() {
      if constexpr (!A<I>::logged)
        return false;  // never sent, so never owed
      else if constexpr (isKeyedKind(A<I>::kind))
        f->vemHasSyncedIs(A<I>::id, s < 0 || A<I>::id < s);
      else if constexpr (!std::is_same_v<decltype(A<I>::set), const std::nullptr_t>)  // attributes fixed at construction travel with it
        f->vemIsDirtyIs(A<I>::id, s >= 0 && A<I>::id >= s);
      return false;
    });
    return f;
  }

  static bool freeResyncState(NboAttrLog::FlowOut& f) {
    if (!f.hasBookmark()) return false;
    const bool mine = anyAttr<Attrs>(
        [&]<std::size_t I>() { return isKeyedKind(A<I>::kind) && A<I>::id == f.bookmarkAttribute(); });
    if (!mine) return false;
    f.bookmarkFree();
    return true;
  }

  // ---- writing -----------------------------------------------------------------------------------

  template <class V>
  static void writeValue(Out& out, const void* v) {
    LogTraits<V>::write(out, *static_cast<const V*>(v));
  }
  template <class K, class V>
  struct Entry {
    const K* key;
    const V* value;  // null for a deletion
  };
  template <class K, class V>
  static void writeEntry(Out& out, const void* p) {
    const auto& e = *static_cast<const Entry<K, V>*>(p);
    LogTraits<K>::write(out, *e.key);
    if (e.value != nullptr) LogTraits<V>::write(out, *e.value);
  }
  /// Writes a granted record's payload and commits it; a value that cannot be written leaves nothing.
  static void writeGranted(Sa& sa, Out& out, void (*write)(Out&, const void*), const void* what) {
    try {
      write(out, what);
    } catch (...) {
      sa.sender()->abandonRecord();
      throw;
    }
    sa.outSmCommitMessage();
  }

  template <std::size_t I>
  static bool writeScalar(Sa& sa) {
    using V = S<I>;
    const V& v = sa.entityAs<T>().*A<I>::field;
    const std::size_t size = LogTraits<V>::size(v);
    if (sa.multicastMode() && sa.doMessageMulticast(A<I>::id, size, &writeValue<V>, &v)) return true;
    if constexpr (LogPuttable<V>) {
      char* to = sa.singletonRecordAt(A<I>::id, size);
      if (to == nullptr) return false;
      LogTraits<V>::put(to, v);
      return true;
    }
    Out* out = sa.singletonSerializeCheck(A<I>::id, size);
    if (out == nullptr) return false;
    writeGranted(sa, *out, &writeValue<V>, &v);
    return true;
  }

  /// After an entry went out (or was withheld): a withheld key is owed by the dirty-key pass, one that
  /// went out is owed no more.
  template <std::size_t I>
  static void noteEntryWritten(Sa& sa, const typename S<I>::Key& k, bool written) {
    Flow* f = sa.flowOutAs<Flow>();
    if (f == nullptr) return;
    auto& dirty = f->template dirtyKeys<I>();
    if (written)
      dirty.erase(k);
    else
      dirty.insert(k);
    f->vemIsCollDirtyIs(A<I>::id, !written);
  }

  template <std::size_t I>
  static void writeCollEntry(Sa& sa, const typename S<I>::Key& k, const typename S<I>::Value* stored = nullptr) {
    using K = typename S<I>::Key;
    using V = typename S<I>::Value;
    const V* v = stored != nullptr ? stored : (sa.entityAs<T>().*A<I>::field).find(k);
    const bool deleted = v == nullptr;
    const Entry<K, V> entry{&k, v};
    const std::size_t size = LogTraits<K>::size(k) + (deleted ? 0 : LogTraits<V>::size(*v));
    const AttributeId wire = deleted ? NboAttrLog::negated(A<I>::id) : A<I>::id;
    if (sa.multicastMode() && sa.doMessageMulticast(wire, size, &writeEntry<K, V>, &entry)) return;
    if constexpr (LogPuttable<K> && LogPuttable<V>) {
      char* to = sa.collRecordAt(A<I>::id, deleted, size);
      if (to != nullptr) {
        to = LogTraits<K>::put(to, k);
        if (!deleted) LogTraits<V>::put(to, *v);
      }
      noteEntryWritten<I>(sa, k, to != nullptr);
      return;
    }
    Out* out = sa.collSerializeCheck(A<I>::id, deleted, size);
    if (out != nullptr) writeGranted(sa, *out, &writeEntry<K, V>, &entry);
    noteEntryWritten<I>(sa, k, out != nullptr);
  }

  template <std::size_t I>
  static void writeChildEntry(Sa& sa, const typename S<I>::Key& k) {
    using K = typename S<I>::Key;
    using Child = ChildOf<S<I>>;
    if (const void* old = sa.announcedOldValue()) sa.releaseChild(static_cast<const Lumo::Ptr<Child>*>(old)->get());
    const Lumo::Ptr<Child>* found = (sa.entityAs<T>().*A<I>::field).find(k);
    const bool deleted = found == nullptr;
    Flow* f = sa.flowOutAs<Flow>();
    const bool wasDirty = !deleted && f != nullptr && f->template dirtyKeys<I>().contains(k);
    Sa* childSa = nullptr;
    bool ephemeral = false;
    if (!deleted) {
      childSa = (*found)->vemNboAttrLogSa(sa.sender());
      if (childSa != nullptr && childSa->referencedRoot()) childSa = nullptr;  // goes out as a new child
      if (childSa == nullptr && f != nullptr) ephemeral = f->template ephemeralKeys<I>().contains(k);
    }
    // A present child travels with its constructor parameters (its key first); a deletion with the key.
    const bool written =
        deleted ? sa.handleInstantiatingCollSerializationImpl(A<I>::id, LogTraits<K>::size(k), &writeValue<K>, &k,
                                                              nullptr, nullptr, false)
                : sa.handleInstantiatingCollSerializationImpl(
                      A<I>::id, TypeImpl<Child>::attrLogSizeCtorParams(found->get()), &writeCtorOf<Child>,
                      found->get(), found->get(), childSa, ephemeral);
    if ((f = sa.flowOutAs<Flow>()) != nullptr) {
      auto& dirty = f->template dirtyKeys<I>();
      if (written)
        dirty.erase(k);
      else
        dirty.insert(k);
      f->vemIsCollDirtyIs(A<I>::id, !written);
      if (!written && wasDirty)
        f->template ephemeralKeys<I>().insert(k);
      else
        f->template ephemeralKeys<I>().erase(k);
    }
  }

  template <class Child>
  static void writeCtorOf(Out& out, const void* child) {
    TypeImpl<Child>::serializeConstructorParams(out, static_cast<const Child*>(child));
  }

  template <std::size_t I>
  static bool writeChild(Sa& sa) {
    using Child = PointeeOf<S<I>>;
    if (const void* old = sa.announcedOldValue()) sa.releaseChild(static_cast<const Lumo::Ptr<Child>*>(old)->get());
    return sa.handleChildSingletonSerialization(A<I>::id, (sa.entityAs<T>().*A<I>::field).get());
  }

  template <class K>
  struct RefEntry {
    const K* key;
    EntityId target;
  };
  template <class K>
  static void writeRefEntryPayload(Out& out, const void* p) {
    const auto& e = *static_cast<const RefEntry<K>*>(p);
    LogTraits<K>::write(out, *e.key);
    out.entityId(e.target);
  }

  /// An entry of a collection of references: the key and the target's id on this stream (the target
  /// carried from then on), or the key alone under the negated id for a deletion.
  template <std::size_t I>
  static void writeRefEntry(Sa& sa, const typename S<I>::Key& k) {
    using K = typename S<I>::Key;
    const auto* found = (sa.entityAs<T>().*A<I>::field).find(k);
    const std::size_t keySize = LogTraits<K>::size(k);
    Out* out = nullptr;
    if (found == nullptr) {
      if (sa.multicastMode() && sa.doMessageMulticast(NboAttrLog::negated(A<I>::id), keySize, &writeValue<K>, &k)) return;
      out = sa.collSerializeCheck(A<I>::id, true, keySize);
      if (out != nullptr) writeGranted(sa, *out, &writeValue<K>, &k);
    } else {
      RefEntry<K> entry{&k, EntityId{}};
      // The multicast path takes single records: only a target the stream already announced.
      const Sa* targetSa = (*found)->vemNboAttrLogSa(sa.sender());
      if (sa.multicastMode() && targetSa != nullptr && (targetSa->state() & Sa::kRootPending) == 0) {
        entry.target = targetSa->id();
        if (sa.doMessageMulticast(A<I>::id, keySize + 4, &writeRefEntryPayload<K>, &entry)) return;
      }
      out = sa.refCollSerializeCheck(A<I>::id, keySize, **found, &entry.target);
      if (out != nullptr) writeGranted(sa, *out, &writeRefEntryPayload<K>, &entry);
    }
    noteEntryWritten<I>(sa, k, out != nullptr);
  }

  template <std::size_t I>
  static void writeKeyed(Sa& sa, const typename S<I>::Key& k) {
    if constexpr (A<I>::kind == AttrKind::children)
      writeChildEntry<I>(sa, k);
    else if constexpr (A<I>::kind == AttrKind::refs)
      writeRefEntry<I>(sa, k);
    else
      writeCollEntry<I>(sa, k);
  }

  /// Calls fn(I, target as the collection's entity type, its key) for each collection of references
  /// that could file `target`; stops at the first true.
  template <class Fn>
  static bool anyRefsFor(const Entity& target, Fn&& fn) {
    return anyAttr<Attrs>([&]<std::size_t I>() {
      if constexpr (A<I>::kind == AttrKind::refs && A<I>::logged) {
        using Target = ChildOf<S<I>>;
        const auto* t = dynamic_cast<const Target*>(&target);
        return t != nullptr && fn.template operator()<I>(*t);
      } else {
        return false;
      }
    });
  }
  static bool refersTo(const Entity& holder, const Entity& target) {
    const T& h = static_cast<const T&>(holder);
    return anyRefsFor(target, [&]<std::size_t I>(const auto& t) {
      const auto* filed = (h.*A<I>::field).find(t.vemKey());
      return filed != nullptr && filed->get() == &t;
    });
  }
  static void resendReferencesTo(Sa& sa, const Entity& target) {
    const T& h = sa.entityAs<T>();
    anyRefsFor(target, [&]<std::size_t I>(const auto& t) {
      const auto* filed = (h.*A<I>::field).find(t.vemKey());
      if (filed != nullptr && filed->get() == &t)
        static_cast<Flow&>(sa.ensureFlowOut()).template dirtyKeys<I>().insert(t.vemKey());
      return false;
    });
  }

  /// One announced change. False for an attribute the type does not have.
  static bool streamAdapterOnAttribute(Sa& sa, AttributeId id, const void* key) {
    return anyAttr<Attrs>([&]<std::size_t I>() {
      if (A<I>::id != id) return false;
      if constexpr (!A<I>::logged)
        return true;  // each copy keeps its own
      else if constexpr (A<I>::kind == AttrKind::scalar)
        writeScalar<I>(sa);
      else if constexpr (A<I>::kind == AttrKind::child)
        writeChild<I>(sa);
      else if constexpr (A<I>::kind == AttrKind::collection || A<I>::kind == AttrKind::keyedValues)
        // The setter of this very attribute told where the new value sits, or nothing.
        writeCollEntry<I>(sa, *static_cast<const typename S<I>::Key*>(key),
                          static_cast<const typename S<I>::Value*>(sa.announcedStoredValue()));
      else if constexpr (A<I>::kind != AttrKind::refs)
        writeKeyed<I>(sa, *static_cast<const typename S<I>::Key*>(key));
      else {
        writeRefEntry<I>(sa, *static_cast<const typename S<I>::Key*>(key));
        if (const void* old = sa.announcedOldValue())
          sa.referenceDropped(static_cast<const Lumo::Ptr<ChildOf<S<I>>>*>(old)->get());
      }
      return true;
    });
  }

  /// One entry of a whole-collection pass, at the iterator. A plain entry goes out with the value the
  /// iterator holds (the map has not changed since the pass began), not looked up again by its key.
  template <std::size_t I, class It>
  static void writePassEntry(Sa& sa, const It& it) {
    if constexpr (A<I>::kind == AttrKind::collection || A<I>::kind == AttrKind::keyedValues) {
      writeCollEntry<I>(sa, it.key(), &it.value());
    } else {
      const typename S<I>::Key k = it.key();
      writeKeyed<I>(sa, k);
    }
  }

  template <class Map>
  static uint32_t layoutOf(const Map& map) noexcept {
    if constexpr (requires { map.bucketCount(); })
      return static_cast<uint32_t>(map.bucketCount());
    else
      return 0;  // ordered by key: resuming at a key is right whatever changed
  }

  /// The whole-collection pass, then the dirty-key pass. True when the collection is completely sent.
  template <std::size_t I>
  static bool collPass(Sa& sa, Flow* f) {
    using K = typename S<I>::Key;
    constexpr AttributeId id = A<I>::id;
    const S<I>& map = sa.entityAs<T>().*A<I>::field;
    if (!sa.collPassCheck()) return false;
    if (!sa.readyToSerialize()) return true;
    if (f == nullptr) {
      sa.passBegin(id, StreamAdapter::begin);
      const uint32_t version = map.version();
      for (auto it = map.begin(); it.valid(); it.next()) {
        if (map.version() != version) NboAttrLog::throwPassOnChangedCollection(id);
        writePassEntry<I>(sa, it);
      }
      sa.passEnd(id);
      return true;
    }
    const bool resuming = f->hasBookmark() && f->bookmarkAttribute() == id;
    if (!f->vemHasSynced(id) || resuming) {
      assert((resuming || !f->hasBookmark()) && "Vem/NboAttrLogFlow: a pass starts while another is interrupted");
      uint8_t type = StreamAdapter::begin;
      auto it = map.begin();
      if (resuming) {
        const bool sameLayout = f->bookmarkLayout() == layoutOf(map);
        const K at = f->template bookmarkTake<K>();
        // On another layout the iteration order changed: start again, marking afresh on the receiver.
        if (sameLayout) {
          it = map.lowerBound(at);
          type = StreamAdapter::resume;
        }
      }
      const std::size_t markerEnd = sa.passBegin(id, type);
      // Interrupted before anything followed its marker, the pass takes the marker back: resumed again
      // and again without room for its next entry, it writes nothing rather than marker after marker.
      // A begin taken back drops its bookmark too, so that the next try begins afresh.
      const auto interrupted = [&] {
        if (sa.passInterrupted(markerEnd) && type == StreamAdapter::begin && f->hasBookmark() &&
            f->bookmarkAttribute() == id)
          f->bookmarkFree();
        return false;
      };
      const uint32_t version = map.version();
      auto& dirty = f->template dirtyKeys<I>();
      for (; it.valid(); it.next()) {
        if (map.version() != version) NboAttrLog::throwPassOnChangedCollection(id);
        const K& k = it.key();  // the iterator holds its entry
        if (!sa.continueFlowOut()) {
          f->bookmarkIs(id, k, layoutOf(map));
          return interrupted();
        }
        dirty.erase(k);
        writePassEntry<I>(sa, it);
        if (f->hasBookmark()) return interrupted();
        if (f->vemIsCollDirty(id)) {
          f->bookmarkIs(id, k, layoutOf(map));
          return interrupted();
        }
      }
      sa.passEnd(id);
      f->vemHasSyncedIs(id, true);
    }
    auto& dirty = f->template dirtyKeys<I>();
    while (!dirty.empty()) {
      if (!sa.continueFlowOut()) return false;
      const K k = dirty.begin().key();
      dirty.erase(k);
      writeKeyed<I>(sa, k);
      if (f->vemIsCollDirty(id)) return false;
    }
    return true;
  }

  /// Resumes withheld output from attribute a (0: the first): 0 when all is sent, else the attribute to
  /// resume at; -1 for an id the type does not have.
  static int32_t handleAttrFlowOut(Sa& sa, AttributeId a, NboAttrLog::FlowOut& fo) {
    Flow& f = static_cast<Flow&>(fo);
    if (a != 0 && !anyAttr<Attrs>([&]<std::size_t I>() { return A<I>::id == a; })) return -1;
    int32_t stop = 0;
    anyAttr<Attrs>([&]<std::size_t I>() {
      if (A<I>::id < a) return false;
      bool done = true;
      if constexpr (!A<I>::logged)
        done = true;
      else if constexpr (isKeyedKind(A<I>::kind))
        done = collPass<I>(sa, &f);
      else if (f.vemIsDirty(A<I>::id))
        done = flowOutOnAttributeForConnection<I>(sa);
      if (done) return false;
      stop = A<I>::id;
      return true;
    });
    return stop;
  }

  template <std::size_t I>
  static bool flowOutOnAttributeForConnection(Sa& sa) {
    if constexpr (A<I>::kind == AttrKind::child)
      return writeChild<I>(sa);
    else
      return writeScalar<I>(sa);
  }

  /// The instantiating collections, whole.
  static bool vemInstantiateSerialize(Sa& sa) {
    bool done = true;
    anyAttr<Attrs>([&]<std::size_t I>() {
      if constexpr (A<I>::kind == AttrKind::children && A<I>::logged) done = collPass<I>(sa, sa.flowOutAs<Flow>()) && done;
      return false;
    });
    return done;
  }

  // ---- reading -----------------------------------------------------------------------------------

  static const char* attributeName(AttributeId id) noexcept {
    const MemberRecord* m = T::vemType().memberById(id);
    return m != nullptr ? T::vemType().memberName(*m).data() : "?";
  }
  /// Reads a record's payload whole; a malformed one is refused naming the attribute.
  template <class Fn>
  static void readAttr(AttributeId id, In& in, Fn&& read) {
    try {
      read();
      if (!in.atEnd()) in.refuseBytesPastValue();
    } catch (const RangeException& e) {
      rethrowFromDeserializeAttr(e, attributeName(id));
    }
  }

  template <std::size_t I>
  static void applyScalar(Sa& sa, In& in) {
    S<I> v{};
    readAttr(A<I>::id, in, [&] { LogTraits<S<I>>::read(in, v); });
    AttrLogActiveScope active(&sa);
    if constexpr (!std::is_same_v<decltype(A<I>::set), const std::nullptr_t>) (sa.entityAs<T>().*A<I>::set)(v);
  }

  template <std::size_t I>
  static void applyEntry(Sa& sa, In& in) {
    using K = typename S<I>::Key;
    using V = typename S<I>::Value;
    K k{};
    V v{};
    readAttr(A<I>::id, in, [&] {
      LogTraits<K>::read(in, k);
      LogTraits<V>::read(in, v);
      if constexpr (A<I>::kind == AttrKind::set)
        if (!v) throw RangeException("attribute log: a set entry must read true");
    });
    T& e = sa.entityAs<T>();
    AttrLogActiveScope active(&sa);
    if constexpr (A<I>::kind == AttrKind::set)
      (e.*A<I>::set)(k);
    else if constexpr (requires { (e.*A<I>::set)(k, v); })
      (e.*A<I>::set)(k, v);
    else
      (e.*A<I>::set)(v);  // the value carries its key
    (e.*A<I>::field).unmark(k);
  }

  /// An entry of a collection of references: the id must name a mirror on this stream, of the
  /// collection's entity type, whose key is the entry's key; it is filed through the setter.
  template <std::size_t I>
  static void applyRefEntry(Sa& sa, In& in) {
    using K = typename S<I>::Key;
    using Target = ChildOf<S<I>>;
    K k{};
    EntityId id;
    Target* target = nullptr;
    readAttr(A<I>::id, in, [&] {
      LogTraits<K>::read(in, k);
      id = in.nextEntity();
      Entity* bound = sa.streamDemuxer().entityOf(id);
      if (bound == nullptr)
        throw RangeException("attribute log: the reference names entity " + std::to_string(id.value) +
                             ", which is not on this stream");
      target = dynamic_cast<Target*>(bound);
      if (target == nullptr)
        throw RangeException("attribute log: the reference names entity " + std::to_string(id.value) + ", a " +
                             std::string(bound->typeData().name()) + ", not a " + std::string(Target::vemType().name()));
      if (!ValueTraits<K>::equal(target->vemKey(), k))
        throw RangeException("attribute log: the key differs from the key of the referenced entity " +
                             std::to_string(id.value));
    });
    T& e = sa.entityAs<T>();
    AttrLogActiveScope active(&sa);
    (e.*A<I>::set)(Lumo::Ptr<Target>(target));
    (e.*A<I>::field).unmark(k);
  }

  template <std::size_t I>
  static void deleteKey(Sa& sa, const typename S<I>::Key& k) {
    T& e = sa.entityAs<T>();
    AttrLogActiveScope active(&sa);
    if constexpr (A<I>::kind == AttrKind::children) {
      auto removed = (e.*A<I>::del)(k);
      if (removed) sa.streamDemuxer().unbind(removed.get());
    } else {
      (e.*A<I>::del)(k);
    }
  }

  template <std::size_t I>
  static void applyDeletion(Sa& sa, In& in, uint32_t length) {
    using K = typename S<I>::Key;
    K k{};
    readAttr(A<I>::id, in, [&] {
      if constexpr (std::is_same_v<K, Lumo::String>)
        k = in.nextValidString(length);
      else
        LogTraits<K>::read(in, k);
    });
    deleteKey<I>(sa, k);
  }

  /// A child under this key that the stream does not know as `id` was replaced by the sender (created
  /// and removed between two flows): the mirror drops it, so that a fresh one is built.
  template <std::size_t I>
  static void checkEphemeralEntityDeletion(Sa& sa, const typename S<I>::Key& k, EntityId id) {
    const auto* existing = (sa.entityAs<T>().*A<I>::field).find(k);
    if (existing == nullptr || sa.streamDemuxer().idOf(existing->get()) == id) return;
    deleteKey<I>(sa, k);
    sa.streamDemuxer().noteReplacedChild();
  }

  template <std::size_t I>
  static void applyChildEntry(Sa& sa, In& in) {
    using Child = ChildOf<S<I>>;
    NboAttrLog::Demuxer& d = sa.streamDemuxer();
    EntityId id;
    typename TypeImpl<Child>::CtorValues values;
    readAttr(A<I>::id, in, [&] {
      id = in.peekEntityId();
      in.nextEntity();
      in.nextU8();  // flags: informational
      values = TypeImpl<Child>::readCtor(in);
      if (!id) throw RangeException("attribute log: a child needs an entity id");
    });
    const auto& k = std::get<0>(values);
    T& e = sa.entityAs<T>();
    const auto* existing = (e.*A<I>::field).find(k);
    Entity* bound = d.entityOf(id);
    if (bound != nullptr && (existing == nullptr || existing->get() != bound))
      d.failIdInUse(id);
    checkEphemeralEntityDeletion<I>(sa, k, id);
    Lumo::Ptr<Entity> child;
    {
      AttrLogActiveScope active(&sa);
      child = std::apply([&](const auto&... x) { return (e.*A<I>::set)(x...); }, values);
    }
    (e.*A<I>::field).unmark(k);  // an existing child resent by a pass stays
    if (bound == nullptr) d.bind(id, child, sa.id());
  }

  template <std::size_t I>
  static void applyChild(Sa& sa, In& in) {
    using Child = PointeeOf<S<I>>;
    NboAttrLog::Demuxer& d = sa.streamDemuxer();
    EntityId id;
    typename TypeImpl<Child>::CtorValues values;
    readAttr(A<I>::id, in, [&] {
      id = in.nextEntity();
      if (id) {
        in.nextU8();
        values = TypeImpl<Child>::readCtor(in);
      }
    });
    T& e = sa.entityAs<T>();
    const auto& slot = e.*A<I>::field;
    Entity* bound = id ? d.entityOf(id) : nullptr;
    if (bound != nullptr && slot.get() != bound) d.failIdInUse(id);
    AttrLogActiveScope active(&sa);
    if (slot && (!id || bound == nullptr)) {
      auto removed = (e.*A<I>::del)();
      d.unbind(removed.get());
      if (id) d.noteReplacedChild();
    }
    if (!id) return;
    Lumo::Ptr<Entity> child = std::apply([&](const auto&... x) { return (e.*A<I>::set)(x...); }, values);
    if (bound == nullptr) d.bind(id, child, sa.id());
  }

  static void doHandleAttrDeserialization(Sa& sa, AttributeId id, uint8_t, uint32_t length, In& in) {
    if (sa.readOnlyProxy() && !sa.streamDemuxer().allowWriteFromReadOnlyRemote(sa, id))
      throwWriteUpdateFromReadOnlyProxyException(T::vemType(), id);
    const bool handled = anyAttr<Attrs>([&]<std::size_t I>() {
      using Attr = A<I>;
      if constexpr (!Attr::logged) {
        return false;  // not carried: a record for it is an unknown attribute
      } else if constexpr (isKeyedKind(Attr::kind)) {
        if (id == Attr::id) {
          if constexpr (Attr::kind == AttrKind::children)
            applyChildEntry<I>(sa, in);
          else if constexpr (Attr::kind == AttrKind::refs)
            applyRefEntry<I>(sa, in);
          else
            applyEntry<I>(sa, in);
          return true;
        }
        if (id == NboAttrLog::negated(Attr::id)) {
          applyDeletion<I>(sa, in, length);
          return true;
        }
        return false;
      } else {
        if (id != Attr::id || isCtorAttribute(id)) return false;
        if constexpr (Attr::kind == AttrKind::child)
          applyChild<I>(sa, in);
        else
          applyScalar<I>(sa, in);
        return true;
      }
    });
    if (!handled) sa.doBaseVemNboAttrLogSaMsg(id, length, in);
  }

  /// Begin marks every entry of the collection for deletion; end deletes what no record unmarked.
  static bool doHandleAttrTransaction(Sa& sa, AttributeId id, uint8_t type) {
    return anyAttr<Attrs>([&]<std::size_t I>() {
      if constexpr (!isKeyedKind(A<I>::kind) || !A<I>::logged) {
        return false;
      } else {
        if (A<I>::id != id) return false;
        auto& map = sa.entityAs<T>().*A<I>::field;
        if (type == StreamAdapter::begin) {
          map.markAllForDeletion();
        } else if (type == StreamAdapter::end && map.markedCount() != 0) {
          std::vector<typename S<I>::Key> marked;
          marked.reserve(map.markedCount());
          for (auto it = map.begin(); it.valid(); it.next())
            if (map.isMarked(it.key())) marked.push_back(it.key());
          for (const auto& k : marked) deleteKey<I>(sa, k);
        }
        return true;
      }
    });
  }

  static constexpr AttrLogHandlers table = {
      &newEntityForAttrLog,
      &newFlowOut,
      kHasCollections ? &freeResyncState : nullptr,
      &attrLogSizeCtorParams,
      &serializeConstructorParams,
      kHasInstantiating ? &vemInstantiateSerialize : nullptr,
      &handleAttrFlowOut,
      kHasCollections ? &doHandleAttrTransaction : nullptr,
      &doHandleAttrDeserialization,
      &streamAdapterOnAttribute,
      kHasReferences ? &refersTo : nullptr,
      kHasReferences ? &resendReferencesTo : nullptr,
      kHasCollections ? &GenericIfImpl::iterObj : nullptr,
      kHasCollections ? &GenericIfImpl::iterKey : nullptr,
      kHasCollections ? &GenericIfImpl::iterNonnull : nullptr,
      kHasCollections ? &GenericIfImpl::iterInc : nullptr,
  };
};

}  // namespace Vem
