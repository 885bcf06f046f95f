#include <velacore/memory/TpoolAllocator.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/TmemoryUsage.h>
#include <velacore/platform/TplatformMemory.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

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
  bool probed = false;  // whether the system's barrier across threads was tried
};

TpoolRegistry& registry() {
  static Timmortal<TpoolRegistry> sRegistry;
  return *sRegistry;
}

}  // namespace

using vela::memory_internal::gPoolNoCache;
using vela::memory_internal::TpoolMagazine;
using vela::memory_internal::TpoolThreadCache;
using vela::memory_internal::tPoolBusy;
using vela::memory_internal::tPoolCache;

// Reaches the pools' private lists for the thread-exit flush.
struct TpoolCacheAccess {
  static void flush(TpoolThreadCache* cache);
};

namespace {

// Set once the thread's cache was flushed at its exit: a release made later (from another
// thread-local object's destructor) goes to the shared list instead of building a new cache that
// no flush would ever see.
thread_local bool tCacheFlushed = false;

struct TcacheReaper {
  ~TcacheReaper() {
    TpoolThreadCache* cache = tPoolCache;
    tPoolCache = &gPoolNoCache;
    tCacheFlushed = true;
    if (cache != &gPoolNoCache) TpoolCacheAccess::flush(cache);
  }
};
thread_local TcacheReaper tReaper;

// The calling thread's magazine for `slot`; with `create`, the thread's cache is made (and
// listed) on first use. Null when there is none and none could be made.
TpoolMagazine* magazineOf(int slot, bool create) {
  TpoolThreadCache* cache = tPoolCache;
  if (cache == &gPoolNoCache) {
    if (!create || tCacheFlushed) return nullptr;
    // Every magazine starts with no room: a pool reserves some on its list at the first release.
    cache = static_cast<TpoolThreadCache*>(std::calloc(1, sizeof(TpoolThreadCache)));
    if (cache == nullptr) return nullptr;
    cache->busy = &tPoolBusy;
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

// While it lives, no thread starts to work on its magazines outside the locks, and every thread
// that was doing so has been waited out by waitIdle() before its magazine is touched. Made with
// the registry lock held (so one at a time, and gPoolTakeback has one writer), and only by a
// caller that takes other threads' blocks.
//
// Why that is enough, for an owner thread O and the taker T:
//   O: busy = 1; (compiler-only fence); read flag; [magazine step]; busy = 0 (release)
//   T: flag = 1; barrierAllThreads(); read busy (acquire) until 0; take the magazine
// barrierAllThreads() makes O execute a full fence at some point F of its instruction stream
// before it returns. If O's store of busy = 1 precedes F, the store is visible to T once the
// barrier returns, so T sees 1 (or a later 0 from O's release at the end of that step) and waits;
// the acquire read of that 0 orders O's whole step before T's take. If the store follows F, so
// does O's read of the flag, which then sees T's flag = 1 (made visible before the barrier was
// asked for) or nothing earlier, and O takes the locked way, where T holds the pool's lock. A
// step that begins after waitIdle() returned begins after F too: it sees the flag and stays off
// the magazine. Once T lowers the flag (release), a step that reads 0 (acquire) sees the emptied
// magazine. The same holds for a thread that is not running: it passes a full barrier when it
// is scheduled again.
class TtakebackWindow {
 public:
  explicit TtakebackWindow(bool needed) : fNeeded(needed) {
    if (!fNeeded) return;
    auto& flag = vela::memory_internal::gPoolTakeback;
    flag.store(flag.load(std::memory_order_relaxed) | vela::memory_internal::kPoolTakebackRunning,
               std::memory_order_seq_cst);
    // The probe at the first pool's construction found a barrier; its means stay available for
    // the life of the process. Were it ever refused, the inline paths are closed from now on.
    barrierOrCloseInlinePaths();
  }
  ~TtakebackWindow() {
    if (!fNeeded) return;
    auto& flag = vela::memory_internal::gPoolTakeback;
    flag.store(flag.load(std::memory_order_relaxed) & ~vela::memory_internal::kPoolTakebackRunning,
               std::memory_order_release);
  }
  TtakebackWindow(const TtakebackWindow&) = delete;
  TtakebackWindow& operator=(const TtakebackWindow&) = delete;

  // Waits until the thread of `cache` is done with the magazine step it began before the window
  // opened (a few instructions without locks or calls).
  static void waitIdle(const TpoolThreadCache& cache) {
    while (cache.busy->load(std::memory_order_acquire) != 0) std::this_thread::yield();
  }

  // Called once, with the registry lock held, before the first pool exists: without a barrier
  // across threads nothing could take back a magazine safely, so the inline paths stay closed.
  static void probe() { barrierOrCloseInlinePaths(); }

 private:
  // Makes every thread pass a full barrier; where the system refuses, closes the inline paths
  // for good (the flag has one writer: the registry lock is held).
  static void barrierOrCloseInlinePaths() {
    if (vela::platform::barrierAllThreads()) return;
    auto& flag = vela::memory_internal::gPoolTakeback;
    flag.store(flag.load(std::memory_order_relaxed) | vela::memory_internal::kPoolNoInlinePath,
               std::memory_order_seq_cst);
  }

  bool fNeeded;
};

}  // namespace

void TpoolCacheAccess::flush(TpoolThreadCache* cache) {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (int slot = 0; slot < vela::memory_internal::kPoolCacheSlots; ++slot) {
    TpoolMagazine& m = cache->slots[slot];
    TpoolAllocator* owner = r.slotOwner[slot];
    if (owner == nullptr) continue;  // a pool that is gone took its blocks back already
    TmtScopedLock poolGuard(owner->fLock);
    // The room goes back first, so the blocks find it on the list.
    owner->fReserved -= m.limit.exchange(0, std::memory_order_relaxed);
    const unsigned count = m.count.exchange(0, std::memory_order_acquire);
    for (unsigned i = 0; i < count; ++i) owner->pushLocked(m.blocks[i]);
  }
  if (cache->prev != nullptr)
    cache->prev->next = cache->next;
  else
    r.caches = cache->next;
  if (cache->next != nullptr) cache->next->prev = cache->prev;
  std::free(cache);
}

TpoolAllocator::TpoolAllocator(int blockBytes) : TpoolAllocator(blockBytes, nullptr) {}

TpoolAllocator::TpoolAllocator(int blockBytes, const char* name)
    : fBlockWords((static_cast<std::size_t>(blockBytes > 0 ? blockBytes : 1) + 7) / 8), fName(name) {
  if (gPoolLimit.load(std::memory_order_acquire) == 0) {
    std::size_t expected = 0;
    gPoolLimit.compare_exchange_strong(expected, readPoolLimit());
  }
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  if (!r.probed) {
    TtakebackWindow::probe();
    r.probed = true;
  }
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
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) {
    if (r.pools[i] == this) {
      r.pools[i] = r.pools[--r.count];
      break;
    }
  }
  // Every thread's blocks of this pool go now, so the slot's next owner starts empty.
  TtakebackWindow window(fCacheId >= 0);
  cleanUpUnderRegistry();
  if (fCacheId >= 0) r.slotOwner[fCacheId] = nullptr;
}

// Grows the list by one step unless it is already beyond the process limit.
bool TpoolAllocator::roomLocked() {
  if (fCount + fReserved < fCapacity) return true;
  if (fBlockWords * 8 * fCapacity > sPoolLimit()) return false;
  auto* grown = static_cast<void**>(std::realloc(fFreeList, (fCapacity + kGrowthStep) * sizeof(void*)));
  if (grown == nullptr) return false;
  fFreeList = grown;
  fCapacity += kGrowthStep;
  return true;
}

inline void TpoolAllocator::pushLocked(void* p) {
  if (roomLocked())
    fFreeList[fCount++] = p;
  else
    dropBlock(p);
}

// Cached blocks are poisoned; they go back to the heap usable.
void TpoolAllocator::dropBlock(void* p) {
  TasanPoison::unpoison(p, blockBytes());
  ::operator delete(p);
  fMade.fetch_sub(1, std::memory_order_relaxed);
}

// Tops the magazine's room up to a full magazine, as far as the list has room for it.
void TpoolAllocator::reserveLocked(TpoolMagazine& m) {
  const unsigned have = m.limit.load(std::memory_order_relaxed);
  if (have >= kMagazineBlocks) return;
  unsigned grant = 0;
  while (grant < kMagazineBlocks - have && roomLocked()) {
    const std::size_t room = fCapacity - fCount - fReserved;
    const unsigned take = static_cast<unsigned>(std::min<std::size_t>(room, kMagazineBlocks - have - grant));
    grant += take;
    fReserved += take;
  }
  m.limit.store(have + grant, std::memory_order_relaxed);
}

// Frees the blocks of a magazine of this pool (any thread's) and takes its room back.
void TpoolAllocator::takeBackLocked(TpoolMagazine& m) {
  fReserved -= m.limit.exchange(0, std::memory_order_relaxed);
  const unsigned count = m.count.exchange(0, std::memory_order_acquire);
  for (unsigned i = 0; i < count; ++i) dropBlock(m.blocks[i]);
}

void* TpoolAllocator::allocateSlow() {
  // The magazine first: making it takes the registry lock, which is never taken under a pool's.
  TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr;
  {
    TmtScopedLock guard(fLock);
    if (fCount != 0) {
      void* p = fFreeList[--fCount];
      TasanPoison::unpoison(p, blockBytes());
      // Refill this thread's cache with a batch while the lock is held anyway.
      if (m != nullptr) {
        reserveLocked(*m);
        unsigned count = m->count.load(std::memory_order_relaxed);
        const unsigned limit = std::min(m->limit.load(std::memory_order_relaxed), kMagazineBatch);
        while (fCount != 0 && count < limit) m->blocks[count++] = fFreeList[--fCount];
        m->count.store(count, std::memory_order_release);
      }
      return p;
    }
  }
  void* p = ::operator new(fBlockWords * 8);
  const std::int64_t made = fMade.fetch_add(1, std::memory_order_relaxed) + 1;
  std::int64_t peak = fPeakMade.load(std::memory_order_relaxed);
  while (made > peak && !fPeakMade.compare_exchange_weak(peak, made, std::memory_order_relaxed)) {
  }
  return p;
}

void TpoolAllocator::freeSlow(void* p) {
  if (p == nullptr) return;
  TasanPoison::poison(p, blockBytes());
  TpoolMagazine* m = fCacheId >= 0 ? magazineOf(fCacheId, true) : nullptr;
  TmtScopedLock guard(fLock);
  if (m != nullptr) {
    reserveLocked(*m);
    unsigned count = m->count.load(std::memory_order_relaxed);
    if (count < m->limit.load(std::memory_order_relaxed)) {
      m->blocks[count] = p;
      m->count.store(count + 1, std::memory_order_release);
      return;
    }
    // Full: hand a batch to the list while it has room, then this block.
    while (count > kMagazineBlocks - kMagazineBatch && roomLocked()) fFreeList[fCount++] = m->blocks[--count];
    m->count.store(count, std::memory_order_relaxed);
  }
  pushLocked(p);
}

void TpoolAllocator::cleanUpFreeList() {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  TtakebackWindow window(fCacheId >= 0);
  cleanUpUnderRegistry();
}

// The registry lock is held, so the threads' caches cannot come or go, and a take-back window is
// open for a pool with a slot.
void TpoolAllocator::cleanUpUnderRegistry() {
  void** list = nullptr;
  std::size_t count = 0;
  {
    TmtScopedLock guard(fLock);
    if (fCacheId >= 0)
      for (TpoolThreadCache* cache = registry().caches; cache != nullptr; cache = cache->next) {
        TtakebackWindow::waitIdle(*cache);
        takeBackLocked(cache->slots[fCacheId]);
      }
    list = fFreeList;
    count = fCount;
    fFreeList = nullptr;
    fCount = fCapacity = fReserved = 0;
  }
  for (std::size_t i = 0; i < count; ++i) dropBlock(list[i]);
  std::free(list);
}

std::size_t TpoolAllocator::cachedCount() const {
  TmtScopedLock guard(fLock);
  return fCount;
}

std::size_t TpoolAllocator::threadCachedCount() const {
  if (fCacheId < 0) return 0;
  const TpoolMagazine* m = magazineOf(fCacheId, false);
  return m != nullptr ? m->count.load(std::memory_order_relaxed) : 0;
}

std::size_t TpoolAllocator::allCachedCount() const {
  TmtScopedLock guard(registry().lock);
  return cachedUnderRegistry();
}

std::size_t TpoolAllocator::cachedUnderRegistry() const {
  TmtScopedLock poolGuard(fLock);
  std::size_t total = fCount;
  if (fCacheId >= 0)
    for (const TpoolThreadCache* cache = registry().caches; cache != nullptr; cache = cache->next)
      total += cache->slots[fCacheId].count.load(std::memory_order_acquire);
  return total;
}

std::size_t TpoolAllocator::capacity() const {
  TmtScopedLock guard(fLock);
  return fCapacity;
}

void TpoolAllocator::resetAllPools() {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  TtakebackWindow window(true);
  for (std::size_t i = 0; i < r.count; ++i) r.pools[i]->cleanUpUnderRegistry();
}

void TpoolAllocator::sCollectUsage(std::vector<TmemoryUsage>& out) {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) {
    const TpoolAllocator* pool = r.pools[i];
    const std::size_t cached = pool->cachedUnderRegistry();
    // Blocks made elsewhere may be given to a pool: its counts then only bound what it holds.
    const auto made = static_cast<std::size_t>(std::max<std::int64_t>(pool->fMade.load(std::memory_order_relaxed), 0));
    const auto peak = static_cast<std::size_t>(std::max<std::int64_t>(pool->fPeakMade.load(std::memory_order_relaxed), 0));
    TmemoryUsage usage;
    usage.name = pool->fName != nullptr ? pool->fName : "pool of " + std::to_string(pool->blockBytes()) + " bytes";
    usage.kind = "pool";
    usage.reserved = std::max(made, cached) * pool->blockBytes();
    usage.used = (made > cached ? made - cached : 0) * pool->blockBytes();
    usage.peak = std::max(peak * pool->blockBytes(), usage.reserved);
    out.push_back(std::move(usage));
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
