// TpoolAllocator: a thread-safe cache of freed blocks of one size.
//
// Freed blocks are kept on a list and handed out again, so a hot allocate/free cycle of one
// object type skips the runtime heap. Every pool of the process together is capped: once a pool's
// cache would grow beyond the process limit (VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE megabytes,
// 8 MiB by default), further freed blocks go back to the heap.
//
//   static TpoolAllocator sNodePool(sizeof(Node));
//   void* raw = sNodePool.mpAlloc();
//   Node* n = new (raw) Node();
//   n->~Node();
//   sNodePool.mpFree(raw);
//
// Pools of small blocks (up to 512 bytes) keep a few freed blocks per thread in front of the
// shared list, so that an allocate/free cycle on one thread takes no lock at all. Those per-thread
// caches are slices of the list: each holds room it reserved on the list under the lock, a batch
// at a time, so the list's capacity (and the process limit on it) bounds every block the pool
// keeps, whichever thread holds it. That per-thread step is inline in this header and touches only
// the thread's own state with plain loads and stores: it marks itself busy and checks that no
// thread is taking caches back. cleanUpFreeList(), resetAllPools() and a pool's destructor take
// back the blocks that other threads hold, while they run: they raise that flag, make every thread
// pass a memory barrier (one system call), and wait out the threads still busy before they empty
// the magazines. Where the system offers no such barrier the inline steps always take the locked
// way instead.
//
// Hazards: blocks are 8-byte granular and new-aligned; a block from one pool must go back to a
// pool of the same block size; destroying a pool must not overlap with its use on any thread; a
// signal handler must not use a pool (neither path is reentrant); the child of a fork() that has
// not exec'd must not reset or destroy pools (a thread caught mid-step by the fork stays busy).
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TasanPoison.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

class TpoolAllocator;
struct TmemoryUsage;

namespace vela::memory_internal {

/// Pools that can have per-thread caches at one time.
constexpr int kPoolCacheSlots = 64;
/// Blocks a thread keeps per pool.
constexpr unsigned kPoolMagazineBlocks = 32;

/// A thread's cached blocks of one pool: the pool that holds the slot now. A pool empties the
/// magazines of its slot in every thread when it is destroyed, so a magazine never holds blocks
/// of an earlier owner. `limit` is the room the magazine reserved on the pool's list: 0 in the
/// spare magazine of pools without a slot, in the shared placeholder cache and after a reset, so
/// that the inline free never stores there. Only the owning thread raises `count` or writes
/// `blocks`; another thread (under the pool's lock, while the owner is not busy and cannot become
/// so) may only set `count` and `limit` to 0 and free the blocks it took that way.
struct VELACORE_API TpoolMagazine {
  std::atomic<unsigned> count;
  std::atomic<unsigned> limit;
  void* blocks[kPoolMagazineBlocks];
};

/// All magazines of one thread (one spare for pools without a slot), made on the thread's first
/// cached free, listed process-wide, and emptied at the thread's exit. `busy` is the thread's
/// tPoolBusy.
struct VELACORE_API TpoolThreadCache {
  TpoolMagazine slots[kPoolCacheSlots + 1];
  std::atomic<unsigned>* busy;
  TpoolThreadCache* prev;
  TpoolThreadCache* next;
};

/// What a thread's cache pointer names until the thread makes its own cache: every magazine is
/// empty and full at once, so both inline paths fall through to the out-of-line ones. These
/// variables are exported so that a program and the library share one copy of each.
VELACORE_API inline TpoolThreadCache gPoolNoCache{};

/// The calling thread's cache (the placeholder until the thread first caches a block). Never
/// null, so the inline paths make one load of it and no test; the initial-exec model makes that
/// load a single instruction.
VELACORE_API inline thread_local TpoolThreadCache* tPoolCache __attribute__((tls_model("initial-exec"))) =
    &gPoolNoCache;

/// 1 while the calling thread works on its magazines outside any lock.
VELACORE_API inline thread_local std::atomic<unsigned> tPoolBusy __attribute__((tls_model("initial-exec"))){0};

/// Bits of gPoolTakeback: a take-back of other threads' blocks is running; the system offers no
/// barrier across threads, so the inline paths are never used.
constexpr unsigned kPoolTakebackRunning = 1;
constexpr unsigned kPoolNoInlinePath = 2;
/// Nonzero while the inline paths must not touch the magazines. Written only under the registry
/// lock of the pools.
VELACORE_API inline std::atomic<unsigned> gPoolTakeback{0};

/// Marks the calling thread busy with its magazines; false (go the locked way) while a take-back
/// runs. The store and the load are kept in order against the compiler only; the taker supplies
/// the processor's half (see TtakebackWindow in TpoolAllocator.cpp for the whole argument). Call
/// poolCacheLeave() in both cases.
inline bool poolCacheEnter() {
  tPoolBusy.store(1, std::memory_order_relaxed);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  return gPoolTakeback.load(std::memory_order_acquire) == 0;
}
/// Ends the busy section: the magazine's blocks and count are published to a taker.
inline void poolCacheLeave() { tPoolBusy.store(0, std::memory_order_release); }

}  // namespace vela::memory_internal

class VELACORE_API TpoolAllocator {
 public:
  /// How many entries the free list grows by.
  static constexpr std::size_t kGrowthStep = 1024;
  /// Pools of blocks up to this size keep a small cache per thread.
  static constexpr std::size_t kThreadCachedBytes = 512;

  /// A pool of blocks of `blockBytes` bytes (rounded up to 8).
  explicit TpoolAllocator(int blockBytes);
  /// As above, listed under `name` in the memory statistics (the pointer is kept, not copied).
  TpoolAllocator(int blockBytes, const char* name);
  ~TpoolAllocator();
  TpoolAllocator(const TpoolAllocator&) = delete;
  TpoolAllocator& operator=(const TpoolAllocator&) = delete;

  /// A block of the pool's size: a cached one when there is one, else a new one. Throws
  /// std::bad_alloc (or TmemoryException) when memory is exhausted.
  [[nodiscard]] void* mpAlloc() {
    vela::memory_internal::TpoolMagazine& m = magazine(vela::memory_internal::tPoolCache);
    if (vela::memory_internal::poolCacheEnter()) {
      const unsigned count = m.count.load(std::memory_order_relaxed);
      if (count != 0) {
        void* p = m.blocks[count - 1];
        m.count.store(count - 1, std::memory_order_relaxed);
        vela::memory_internal::poolCacheLeave();
        TasanPoison::unpoison(p, blockBytes());
        return p;
      }
    }
    vela::memory_internal::poolCacheLeave();
    return allocateSlow();
  }
  /// Caches a block for reuse, or frees it when the cache is at the process limit. Null is ignored.
  void mpFree(void* p) {
    if (p != nullptr) {
      vela::memory_internal::TpoolMagazine& m = magazine(vela::memory_internal::tPoolCache);
      TasanPoison::poison(p, blockBytes());  // cached blocks are poisoned
      if (vela::memory_internal::poolCacheEnter()) {
        const unsigned count = m.count.load(std::memory_order_relaxed);
        if (count < m.limit.load(std::memory_order_relaxed)) {
          m.blocks[count] = p;
          m.count.store(count + 1, std::memory_order_relaxed);
          vela::memory_internal::poolCacheLeave();
          return;
        }
      }
      vela::memory_internal::poolCacheLeave();
    }
    freeSlow(p);
  }
  /// Frees every cached block, those in every thread's cache included, and the list.
  void cleanUpFreeList();

  /// Block size in bytes.
  [[nodiscard]] std::size_t blockBytes() const { return fBlockWords * 8; }
  /// Blocks on the shared list, and the capacity of the list (which the per-thread caches share).
  [[nodiscard]] std::size_t cachedCount() const;
  /// Blocks in the calling thread's own cache of this pool.
  [[nodiscard]] std::size_t threadCachedCount() const;
  /// Blocks the pool keeps: its list and every thread's cache of it.
  [[nodiscard]] std::size_t allCachedCount() const;
  [[nodiscard]] std::size_t capacity() const;

  /// Frees the cached blocks of every pool, in every thread.
  static void resetAllPools();
  /// The process limit of a pool's cache in bytes (read once from the environment).
  [[nodiscard]] static std::size_t sPoolLimit();
  /// Re-reads VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE; meant for tests.
  static void sReloadPoolLimit();
  /// Appends the reserved (blocks made and not freed), used and peak bytes of every pool.
  static void sCollectUsage(std::vector<TmemoryUsage>& out);

 private:
  friend struct TpoolCacheAccess;
  void* allocateSlow();
  void freeSlow(void* p);
  bool roomLocked();
  void pushLocked(void* p);
  void reserveLocked(vela::memory_internal::TpoolMagazine& m);
  void takeBackLocked(vela::memory_internal::TpoolMagazine& m);
  void cleanUpUnderRegistry();
  std::size_t cachedUnderRegistry() const;
  void dropBlock(void* p);
  vela::memory_internal::TpoolMagazine& magazine(vela::memory_internal::TpoolThreadCache* cache) const {
    return *reinterpret_cast<vela::memory_internal::TpoolMagazine*>(reinterpret_cast<char*>(cache) +
                                                                    fMagazineOffset);
  }

  mutable TmtCriticalSection fLock;
  std::size_t fBlockWords;
  const char* fName = nullptr;
  // Blocks made with operator new and not yet deleted, and the most at one time. Kept on the
  // out-of-line paths only: the inline cycle does not change them.
  std::atomic<std::int64_t> fMade{0};
  std::atomic<std::int64_t> fPeakMade{0};
  void** fFreeList = nullptr;
  std::size_t fCapacity = 0;
  std::size_t fCount = 0;
  std::size_t fReserved = 0;  // list room held by the threads' magazines
  int fCacheId = -1;  // slot in the per-thread caches, -1 for none
  // The inline paths' view of the slot: its byte offset in a thread cache (the spare magazine,
  // always empty, for a pool without a slot).
  std::size_t fMagazineOffset = std::size_t(vela::memory_internal::kPoolCacheSlots) * sizeof(vela::memory_internal::TpoolMagazine);
};
