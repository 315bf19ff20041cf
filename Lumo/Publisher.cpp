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

Publisher::~Publisher() { delete list_; }

void Publisher::subscriberAdd(Subscriber* s) {
  if (list_ == nullptr) {
    auto fresh = std::make_unique<List>();
    fresh->entries.push_back(s);
    list_ = fresh.release();
  } else {
    list_->entries.push_back(s);
  }
  ++list_->live;
}

void Publisher::subscriberDel(Subscriber* s) noexcept {
  if (list_ == nullptr || s == nullptr) return;
  auto& entries = list_->entries;
  auto it = std::find(entries.begin(), entries.end(), s);
  if (it == entries.end()) return;
  --list_->live;
  if (list_->publishDepth != 0) {
    *it = nullptr;
    list_->hasHoles = true;
    return;
  }
  entries.erase(it);
  freeIfUnused();
}

std::size_t Publisher::subscriberCount() const noexcept { return list_ == nullptr ? 0 : list_->live; }

void Publisher::freeIfUnused() const noexcept {
  if (list_->live == 0) {
    delete list_;
    list_ = nullptr;
  }
}

void Publisher::publishChangeRecursive(AttributeId attributeId, const void* key, const void* oldValue,
                                       KeyEqualityFn keyEquality, const void* storedValue) const {
  (void)keyEquality;
  if (list_ == nullptr) return;
  List& list = *list_;

  struct DepthGuard {
    const Publisher& publisher;
    List& list;
    explicit DepthGuard(const Publisher& p, List& l) noexcept : publisher(p), list(l) {
      ++list.publishDepth;
    }
    ~DepthGuard() {
      if (--list.publishDepth != 0) return;
      if (list.hasHoles) {
        std::erase(list.entries, nullptr);
        list.hasHoles = false;
      }
      if (list.live == 0) publisher.freeIfUnused();  // checked here: this runs after every publish
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
