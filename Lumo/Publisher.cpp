#include <Lumo/Publisher.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace Lumo {

Subscriber::~Subscriber() = default;

// While a publish runs, removed entries are only nulled so that positions stay stable for every
// active round; the outermost publish compacts them afterwards.
struct Publisher::List {
  std::vector<Subscriber*> entries;
  std::size_t live = 0;
  uint32_t publishDepth = 0;
  bool hasHoles = false;
};

Publisher::~Publisher() {
  if ((word_ & kListTag) != 0) delete list();
}

void Publisher::subscriberAdd(Subscriber* s) {
  if (word_ == 0) {
    word_ = reinterpret_cast<uintptr_t>(s);
    return;
  }
  if ((word_ & kListTag) == 0) {
    auto fresh = std::make_unique<List>();
    fresh->entries.reserve(2);
    fresh->entries.push_back(reinterpret_cast<Subscriber*>(word_));
    fresh->live = 1;
    word_ = reinterpret_cast<uintptr_t>(fresh.release()) | kListTag;
  }
  list()->entries.push_back(s);
  ++list()->live;
}

void Publisher::subscriberDel(Subscriber* s) noexcept {
  if (word_ == 0 || s == nullptr) return;
  if ((word_ & kListTag) == 0) {
    if (reinterpret_cast<Subscriber*>(word_) == s) word_ = 0;
    return;
  }
  List& l = *list();
  auto it = std::find(l.entries.begin(), l.entries.end(), s);
  if (it == l.entries.end()) return;
  --l.live;
  if (l.publishDepth != 0) {
    *it = nullptr;
    l.hasHoles = true;
    return;
  }
  l.entries.erase(it);
  settle();
}

std::size_t Publisher::subscriberCount() const noexcept {
  if ((word_ & kListTag) != 0) return list()->live;
  return word_ == 0 ? 0 : 1;
}

void Publisher::settle() const noexcept {
  List* l = list();
  if (l->live > 1) return;
  word_ = l->live == 0 ? 0 : reinterpret_cast<uintptr_t>(l->entries.front());
  delete l;
}

void Publisher::publishToList(AttributeId attributeId, const void* key, const void* oldValue,
                              const void* storedValue) const {
  List& list = *this->list();

  struct DepthGuard {
    const Publisher& publisher;
    List& list;
    explicit DepthGuard(const Publisher& p, List& l) noexcept : publisher(p), list(l) { ++list.publishDepth; }
    ~DepthGuard() {
      if (--list.publishDepth != 0) return;
      if (list.hasHoles) {
        std::erase(list.entries, nullptr);
        list.hasHoles = false;
      }
      publisher.settle();  // checked here: this runs after every publish to a list
    }
  } guard(*this, list);

  // Subscribers appended during this round sit past `end` and wait for the next publish.
  const std::size_t end = list.entries.size();
  std::size_t i = 0;
  // Only the first subscriber called may be told where the value is: any later one may find it moved.
  if (storedValue != nullptr) {
    for (; i < end; ++i) {
      if (Subscriber* s = list.entries[i]) {
        s->onChangeStored(attributeId, key, oldValue, storedValue);
        ++i;
        break;
      }
    }
  }
  for (; i < end; ++i) {
    if (Subscriber* s = list.entries[i]) s->onChange(attributeId, key, oldValue);
  }
}

}  // namespace Lumo
