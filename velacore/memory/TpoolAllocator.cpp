#include <velacore/memory/TpoolAllocator.h>

#include <velacore/environment/VelaEnv.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kDefaultPoolLimit = std::size_t(8) << 20;
constexpr unsigned kMagazineBlocks = vela::memory_internal::kPoolMagazineBlocks;
constexpr unsigned kMagazineBatch = 16;   // blocks moved to or from the shared list at once

std::atomic<std::size_t> gPoolLimit{0};  // 0 until read

std::size_t readPoolLimit() {
  const char* value = VelaGetEnv("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE");
  const int megabytes = value != nullptr ? std::atoi(value) : 0;
  return megabytes > 0 ? static_cast<std::size_t>(megabytes) << 20 : kDefaultPoolLimit;
}

struct TpoolRegistry {
  TmtCriticalSection lock;
  TpoolAllocator** pools = nullptr;
  std::size_t count = 0;
  std::size_t capacity = 0;
  TpoolAllocator* slotOwner[vela::memory_internal::kPoolCacheSlots] = {};
  vela::memory_internal::TpoolThreadCache* caches = nullptr;  // every thread's cache
};

TpoolRegistry& registry() {
  static TpoolRegistry* sRegistry = new TpoolRegistry();
  return *sRegistry;
}

}  // namespace

using vela::memory_internal::gPoolNoCache;
using vela::memory_internal::TpoolMagazine;
using vela::memory_internal::TpoolThreadCache;
using vela::memory_internal::tPoolCache;

// Reaches the pools' private lists for the thread-exit flush.
struct TpoolCacheAccess {
  static void flush(TpoolThreadCache* cache);
};

namespace {

struct TcacheReaper {
  ~TcacheReaper() {
    TpoolThreadCache* cache = tPoolCache;
    tPoolCache = &gPoolNoCache;
    if (cache != &gPoolNoCache) TpoolCacheAccess::flush(cache);
  }
};
thread_local TcacheReaper tReaper;

void deleteBlocks(TpoolMagazine& m) {
  for (unsigned i = 0; i < m.count; ++i) ::operator delete(m.blocks[i]);
  m.count = 0;
}

// The calling thread's magazine for `slot`; with `create`, the thread's cache is made (and
// listed) on first use. Null when there is none and none could be made.
TpoolMagazine* magazineOf(int slot, bool create) {
  TpoolThreadCache* cache = tPoolCache;
  if (cache == &gPoolNoCache) {
    if (!create) return nullptr;
    cache = static_cast<TpoolThreadCache*>(std::calloc(1, sizeof(TpoolThreadCache)));
    if (cache == nullptr) return nullptr;
    for (int i = 0; i < vela::memory_internal::kPoolCacheSlots; ++i)
      cache->slots[i].limit = vela::memory_internal::kPoolMagazineBlocks;
    TpoolRegistry& r = registry();
    {
      TmtScopedLock guard(r.lock);
      cache->next = r.caches;
      if (r.caches != nullptr) r.caches->prev = cache;
      r.caches = cache;
    }
    tPoolCache = cache;
    static_cast<void>(tReaper);  // the first touch registers the thread-exit flush
  }
  return &cache->slots[slot];
}

}  // namespace

void TpoolCacheAccess::flush(TpoolThreadCache* cache) {
  TpoolRegistry& r = registry();
  {
    TmtScopedLock guard(r.lock);
    for (int slot = 0; slot < vela::memory_internal::kPoolCacheSlots; ++slot) {
      TpoolMagazine& m = cache->slots[slot];
      TpoolAllocator* owner = r.slotOwner[slot];
      if (m.count == 0 || owner == nullptr) continue;
      TmtScopedLock poolGuard(owner->fLock);
      for (unsigned i = 0; i < m.count; ++i) owner->pushLocked(m.blocks[i]);
      m.count = 0;
    }
    if (cache->prev != nullptr)
      cache->prev->next = cache->next;
    else
      r.caches = cache->next;
    if (cache->next != nullptr) cache->next->prev = cache->prev;
  }
  for (TpoolMagazine& m : cache->slots) deleteBlocks(m);
  std::free(cache);
}

TpoolAllocator::TpoolAllocator(int blockBytes)
    : fBlockWords((static_cast<std::size_t>(blockBytes > 0 ? blockBytes : 1) + 7) / 8) {
  if (gPoolLimit.load(std::memory_order_acquire) == 0) {
    std::size_t expected = 0;
    gPoolLimit.compare_exchange_strong(expected, readPoolLimit());
  }
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  if (r.count == r.capacity) {
    const std::size_t grown = r.capacity + 64;
    auto* pools = static_cast<TpoolAllocator**>(std::realloc(r.pools, grown * sizeof(TpoolAllocator*)));
    if (pools == nullptr) throw std::bad_alloc();
    r.pools = pools;
    r.capacity = grown;
  }
  r.pools[r.count++] = this;
  if (blockBytes <= static_cast<int>(kThreadCachedBytes)) {
    for (int slot = 0; slot < vela::memory_internal::kPoolCacheSlots; ++slot) {
      if (r.slotOwner[slot] == nullptr) {
        r.slotOwner[slot] = this;
        fCacheId = slot;
        fMagazineOffset = static_cast<std::size_t>(slot) * sizeof(TpoolMagazine);
        break;
      }
    }
  }
}

TpoolAllocator::~TpoolAllocator() {
  {
    TpoolRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    for (std::size_t i = 0; i < r.count; ++i) {
      if (r.pools[i] == this) {
        r.pools[i] = r.pools[--r.count];
        break;
      }
    }
    if (fCacheId >= 0) {
      // Every thread's blocks of this pool go now, so the slot's next owner starts empty.
      for (TpoolThreadCache* cache = r.caches; cache != nullptr; cache = cache->next)
        deleteBlocks(cache->slots[fCacheId]);
      r.slotOwner[fCacheId] = nullptr;
    }
  }
  cleanUpFreeList();
}

void TpoolAllocator::freeThreadCache() {
  if (fCacheId < 0) return;
  if (TpoolMagazine* m = magazineOf(fCacheId, false)) deleteBlocks(*m);
}

void* TpoolAllocator::allocateSlow() {
  // The magazine first: making it takes the registry lock, which is never taken under a pool's.
  TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr;
  {
    TmtScopedLock guard(fLock);
    if (fCount != 0) {
      // Refill this thread's cache with a batch while the lock is held anyway.
      if (m != nullptr) {
        while (fCount > 1 && m->count < kMagazineBatch) m->blocks[m->count++] = fFreeList[--fCount];
      }
      return fFreeList[--fCount];
    }
  }
  return ::operator new(fBlockWords * 8);
}

inline void TpoolAllocator::pushLocked(void* p) {
  if (fCount == fCapacity) {
    void** grown = nullptr;
    if (fBlockWords * 8 * fCapacity <= sPoolLimit())
      grown = static_cast<void**>(std::realloc(fFreeList, (fCapacity + kGrowthStep) * sizeof(void*)));
    if (grown == nullptr) {
      ::operator delete(p);
      return;
    }
    fFreeList = grown;
    fCapacity += kGrowthStep;
  }
  fFreeList[fCount++] = p;
}

void TpoolAllocator::freeSlow(void* p) {
  if (p == nullptr) return;
  if (TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr) {
    if (m->count < kMagazineBlocks) {
      m->blocks[m->count++] = p;
      return;
    }
    // Full: hand a batch (and this block) to the shared list under one lock.
    TmtScopedLock guard(fLock);
    for (unsigned i = 0; i < kMagazineBatch; ++i) pushLocked(m->blocks[--m->count]);
    pushLocked(p);
    return;
  }
  TmtScopedLock guard(fLock);
  pushLocked(p);
}

void TpoolAllocator::cleanUpFreeList() {
  void** list = nullptr;
  std::size_t count = 0;
  {
    TmtScopedLock guard(fLock);
    list = fFreeList;
    count = fCount;
    fFreeList = nullptr;
    fCount = fCapacity = 0;
  }
  for (std::size_t i = 0; i < count; ++i) ::operator delete(list[i]);
  std::free(list);
}

std::size_t TpoolAllocator::cachedCount() const {
  TmtScopedLock guard(fLock);
  return fCount;
}

std::size_t TpoolAllocator::threadCachedCount() const {
  if (fCacheId < 0) return 0;
  const TpoolMagazine* m = magazineOf(fCacheId, false);
  return m != nullptr ? m->count : 0;
}

std::size_t TpoolAllocator::capacity() const {
  TmtScopedLock guard(fLock);
  return fCapacity;
}

void TpoolAllocator::resetAllPools() {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) {
    r.pools[i]->freeThreadCache();
    r.pools[i]->cleanUpFreeList();
  }
}

std::size_t TpoolAllocator::sPoolLimit() {
  std::size_t limit = gPoolLimit.load(std::memory_order_relaxed);
  if (limit == 0) {
    limit = readPoolLimit();
    gPoolLimit.store(limit, std::memory_order_relaxed);
  }
  return limit;
}

void TpoolAllocator::sReloadPoolLimit() { gPoolLimit.store(readPoolLimit()); }
