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
  std::uint64_t usedSlots = 0;  // bit per cache slot in use
  std::uint64_t nextSerial = 1;
};

TpoolRegistry& registry() {
  static TpoolRegistry* sRegistry = new TpoolRegistry();
  return *sRegistry;
}

}  // namespace

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
    TpoolCacheAccess::flush(tPoolCache);
    tPoolCache = nullptr;
  }
};
thread_local TcacheReaper tReaper;

TpoolMagazine* magazineOf(int slot, bool create) {
  TpoolThreadCache* cache = tPoolCache;
  if (cache == nullptr) {
    if (!create) return nullptr;
    cache = static_cast<TpoolThreadCache*>(std::calloc(1, sizeof(TpoolThreadCache)));
    if (cache == nullptr) return nullptr;
    tPoolCache = cache;
    (void)&tReaper;  // the first touch registers the thread-exit flush
    static_cast<void>(tReaper);
  }
  return &cache->slots[slot];
}

void deleteBlocks(TpoolMagazine& m) {
  for (unsigned i = 0; i < m.count; ++i) ::operator delete(m.blocks[i]);
  m.count = 0;
}

}  // namespace

void TpoolCacheAccess::flush(TpoolThreadCache* cache) {
  if (cache == nullptr) return;
  TpoolRegistry& r = registry();
  {
    TmtScopedLock guard(r.lock);
    for (TpoolMagazine& m : cache->slots) {
      if (m.count == 0) continue;
      bool alive = false;
      for (std::size_t i = 0; i < r.count; ++i) alive |= r.pools[i] == m.owner && m.owner->fSerial == m.serial;
      if (!alive) continue;
      TmtScopedLock poolGuard(m.owner->fLock);
      for (unsigned i = 0; i < m.count; ++i) m.owner->pushLocked(m.blocks[i]);
      m.count = 0;
    }
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
  fSerial = r.nextSerial++;
  if (blockBytes <= static_cast<int>(kThreadCachedBytes) && ~r.usedSlots != 0) {
    fCacheId = __builtin_ctzll(~r.usedSlots);
    r.usedSlots |= std::uint64_t(1) << fCacheId;
    fMagazineOffset = static_cast<std::size_t>(fCacheId) * sizeof(TpoolMagazine);
    fCacheSerial = fSerial;
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
    if (fCacheId >= 0) r.usedSlots &= ~(std::uint64_t(1) << fCacheId);
  }
  freeThreadCache();
  cleanUpFreeList();
}

void TpoolAllocator::freeThreadCache() {
  if (fCacheId < 0) return;
  TpoolMagazine* m = magazineOf(fCacheId, false);
  if (m != nullptr && m->serial == fSerial) deleteBlocks(*m);
}

void* TpoolAllocator::allocateSlow() {
  {
    TmtScopedLock guard(fLock);
    if (fCount != 0) {
      // Refill this thread's cache with a batch while the lock is held anyway.
      TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr;
      if (m != nullptr && m->serial != fSerial) {
        deleteBlocks(*m);
        m->owner = this;
        m->serial = fSerial;
      }
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
  TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr;
  if (m != nullptr) {
    if (m->serial != fSerial) {
      deleteBlocks(*m);  // left by a pool that no longer exists
      m->owner = this;
      m->serial = fSerial;
    }
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
  return m != nullptr && m->serial == fSerial ? m->count : 0;
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
