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
// Hazards: blocks are 8-byte granular and new-aligned; a block from one pool must go back to a
// pool of the same block size; resetAllPools() frees the cached blocks of every pool, so call it
// only where no other thread is freeing into a pool.
#pragma once

#include <velacore/base/TmtCriticalSection.h>

#include <cstddef>

class TpoolAllocator {
 public:
  /// How many entries the free list grows by.
  static constexpr std::size_t kGrowthStep = 1024;

  /// A pool of blocks of `blockBytes` bytes (rounded up to 8).
  explicit TpoolAllocator(int blockBytes);
  ~TpoolAllocator();
  TpoolAllocator(const TpoolAllocator&) = delete;
  TpoolAllocator& operator=(const TpoolAllocator&) = delete;

  /// A block of the pool's size: a cached one when there is one, else a new one. Throws
  /// std::bad_alloc (or TmemoryException) when memory is exhausted.
  [[nodiscard]] void* mpAlloc();
  /// Caches a block for reuse, or frees it when the cache is at the process limit. Null is ignored.
  void mpFree(void* p);
  /// Frees every cached block and the list.
  void cleanUpFreeList();

  /// Block size in bytes.
  [[nodiscard]] std::size_t blockBytes() const { return fBlockWords * 8; }
  /// Cached blocks, and the capacity of the list.
  [[nodiscard]] std::size_t cachedCount() const;
  [[nodiscard]] std::size_t capacity() const;

  /// Frees the cached blocks of every pool.
  static void resetAllPools();
  /// The process limit of a pool's cache in bytes (read once from the environment).
  [[nodiscard]] static std::size_t sPoolLimit();
  /// Re-reads VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE; meant for tests.
  static void sReloadPoolLimit();

 private:
  mutable TmtCriticalSection fLock;
  std::size_t fBlockWords;
  void** fFreeList = nullptr;
  std::size_t fCapacity = 0;
  std::size_t fCount = 0;
};
