#include <Lumo/Allocator.h>
#include <Lumo/ThreadControl.h>

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#define LUMO_ASAN_POISONING 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LUMO_ASAN_POISONING 1
#endif
#endif

#ifdef LUMO_ASAN_POISONING
#include <sanitizer/asan_interface.h>
#define LUMO_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define LUMO_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define LUMO_POISON(p, n) ((void)(p), (void)(n))
#define LUMO_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace Lumo {

static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ >= SlabPool::kGranule,
              "operator new must give 8-byte alignment for slabs and large blocks");

class SlabPool::Guard {
public:
  explicit Guard(std::atomic_flag& lock) noexcept : lock_(ThreadControl::tsp_ ? &lock : nullptr) {
    if (lock_ == nullptr) return;
    while (lock_->test_and_set(std::memory_order_acquire)) {
      while (lock_->test(std::memory_order_relaxed)) {
#if defined(__i386__) || defined(__x86_64__)
        __builtin_ia32_pause();
#endif
      }
    }
  }
  ~Guard() {
    if (lock_ != nullptr) lock_->clear(std::memory_order_release);
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

private:
  std::atomic_flag* lock_;
};

namespace {

std::size_t roundToRegion(std::size_t size) noexcept {
  return (size + SlabPool::kHugeRegion - 1) & ~(SlabPool::kHugeRegion - 1);
}

/// A region of whole 2 MiB units, aligned to one, advised for huge pages (advice only: without
/// transparent huge pages it is ordinary memory).
void* allocateHugeRegion(std::size_t bytes) {
  void* p = std::aligned_alloc(SlabPool::kHugeRegion, bytes);
  if (p == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
  ::madvise(p, bytes, MADV_HUGEPAGE);
#endif
  return p;
}

void* allocateLarge(std::size_t size) {
  if (size >= SlabPool::kHugeRegion) return allocateHugeRegion(roundToRegion(size));
  return ::operator new(size);
}

void deallocateLarge(void* p, std::size_t size) noexcept {
  if (size >= SlabPool::kHugeRegion)
    std::free(p);
  else
    ::operator delete(p);
}

}  // namespace

void* SlabPool::allocate(std::size_t size) {
  if (size > kMaxBlockSize) return allocateLarge(size);
  const std::size_t bytes = blockSize(size);
  Guard guard(lock_);
  void* p;
  if (FreeBlock* b = freeLists_[classOf(bytes)]) {
    LUMO_UNPOISON(b, sizeof(FreeBlock));
    freeLists_[classOf(bytes)] = b->next;
    // A list rebuilt by freeing a large structure links blocks scattered over memory: fetch the next
    // one now, so that the following request of this size does not wait for it.
    if (b->next != nullptr) __builtin_prefetch(b->next, 1);
    p = b;
  } else {
    p = carve(bytes);
  }
  // Only the bytes asked for become addressable, so overruns into the rounding are reported too.
  LUMO_UNPOISON(p, size);
  return p;
}

void SlabPool::deallocate(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  if (size > kMaxBlockSize) {
    deallocateLarge(p, size);
    return;
  }
  Guard guard(lock_);
  push(p, blockSize(size));
}

void SlabPool::push(void* p, std::size_t blockBytes) noexcept {
  LUMO_UNPOISON(p, sizeof(FreeBlock));
  auto b = static_cast<FreeBlock*>(p);
  b->next = freeLists_[classOf(blockBytes)];
  freeLists_[classOf(blockBytes)] = b;
  LUMO_POISON(p, blockBytes);
}

void* SlabPool::carve(std::size_t blockBytes) {
  if (static_cast<std::size_t>(bumpEnd_ - bumpNext_) < blockBytes) {
    auto slab = static_cast<Slab*>(newSlab());
    if (bumpNext_ != bumpEnd_) push(bumpNext_, static_cast<std::size_t>(bumpEnd_ - bumpNext_));
    slab->next = slabs_;
    slabs_ = slab;
    ++slabCount_;
    bumpNext_ = slab->bytes;
    bumpEnd_ = slab->bytes + sizeof slab->bytes;
    LUMO_POISON(bumpNext_, sizeof slab->bytes);
  }
  void* p = bumpNext_;
  bumpNext_ += blockBytes;
  return p;
}

void* SlabPool::newSlab() {
  if (!hugeRegions_ || slabCount_ < kHugeAfterSlabs) return ::operator new(sizeof(Slab));
  if (regionNext_ == regionEnd_) {
    regionNext_ = static_cast<unsigned char*>(allocateHugeRegion(kHugeRegion));
    regionEnd_ = regionNext_ + kHugeRegion;
  }
  void* slab = regionNext_;
  regionNext_ += sizeof(Slab);
  return slab;
}

void SlabPool::releaseSlabs() noexcept {
  assert(!hugeRegions_ && "Lumo/SlabPool: a pool with huge regions keeps its slabs");
  Guard guard(lock_);
  while (slabs_ != nullptr) {
    Slab* next = slabs_->next;
    LUMO_UNPOISON(slabs_->bytes, sizeof slabs_->bytes);
    ::operator delete(slabs_);
    slabs_ = next;
  }
  slabCount_ = 0;
  bumpNext_ = bumpEnd_ = nullptr;
  for (FreeBlock*& head : freeLists_) head = nullptr;
}

namespace {
// Constant-initialised and never destroyed: objects freed during static destruction still find it.
// Unused where sanitizers bypass the slabs.
[[maybe_unused]] constinit SlabPool processPool(true);
}  // namespace

void* SlabAllocator::allocate(std::size_t size) {
  if constexpr (kBypassesSlabs) {
    return ::operator new(size);
  } else {
    return processPool.allocate(size);
  }
}

void SlabAllocator::deallocate(void* p, std::size_t size) noexcept {
  if constexpr (kBypassesSlabs) {
    ::operator delete(p);
  } else {
    processPool.deallocate(p, size);
  }
}

namespace {
// Trackers of a shared library are constructed while it loads, possibly on any thread, and unlinked
// when it unloads. A mutex with a constexpr constructor needs no initialisation order of its own.
constinit std::mutex trackerListMutex;
}  // namespace

void AllocationTracker::link() noexcept {
  std::lock_guard lock(trackerListMutex);
  next_ = head_;
  head_ = this;
}

AllocationTracker::~AllocationTracker() {
  if (name_ == nullptr) return;
  std::lock_guard lock(trackerListMutex);
  for (AllocationTracker** p = &head_; *p != nullptr; p = &(*p)->next_) {
    if (*p == this) {
      *p = next_;
      break;
    }
  }
}

const AllocationTracker* AllocationTracker::find(const char* typeName) noexcept {
  if (typeName == nullptr) return nullptr;
  std::lock_guard lock(trackerListMutex);
  for (const AllocationTracker* t = head_; t != nullptr; t = t->next_) {
    if (std::strcmp(t->name_, typeName) == 0) return t;
  }
  return nullptr;
}

}  // namespace Lumo
