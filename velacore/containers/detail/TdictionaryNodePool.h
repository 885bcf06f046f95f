// TdictionaryNodePool: the node storage of one typed dictionary (TdictionaryOf), so that a node
// costs its own bytes and no heap block of its own.
//
// Nodes of levels 1 to kLevels are carved from 4 KiB pages, each page holding blocks of one
// level only; pages come in chunks taken from the heap (whole large pages once the dictionary is
// big), and a removed node's block goes on its level's free list for the next node of that
// level. Every page starts with a small header
// naming its pool and level, so a block finds its way back from its address alone: a node's
// virtual destroy() does not know its dictionary. A dictionary names its pool by a 32-bit
// handle (kHandleBit set) that fits beside its level count, so the header node keeps its size;
// the handles index a process-wide table that only creation and destruction lock. A pool is
// used by one dictionary only and is not thread-safe (the dictionary's users lock it).
//
// Free blocks are poisoned for AddressSanitizer, so a stale node pointer is reported on use.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TasanPoison.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

class VELACORE_API TdictionaryNodePool {
 public:
  /// Levels with pages of their own; rarer, longer nodes are left to the heap.
  static constexpr int kLevels = 4;
  static constexpr std::size_t kPageBytes = 4096;
  /// Set in every handle, so that a dictionary tells a handle from a count below it.
  static constexpr std::uint32_t kHandleBit = 0x80000000u;

  /// A new pool of blocks of `levelOneBytes` (a multiple of 8) plus one pointer per further
  /// level; returns its handle.
  static std::uint32_t sCreate(std::size_t levelOneBytes);
  /// Gives the pool's pages back (blocks still in use become invalid) and frees the handle.
  static void sDestroy(std::uint32_t handle);
  /// An uninitialised block for a node of `level` (1 to kLevels) from the pool `handle`.
  static void* sAllocate(std::uint32_t handle, int level) {
    return sSlot(handle).load(std::memory_order_relaxed)->allocate(level);
  }
  /// The bytes the pool `handle` holds from the heap; 0 for a value without kHandleBit.
  static std::size_t sReservedBytes(std::uint32_t handle);

  /// Gives `block` (made by sAllocate) back to its pool.
  static void release(void* block) {
    auto* page = reinterpret_cast<Tpage*>(reinterpret_cast<std::uintptr_t>(block) &
                                          ~std::uintptr_t(kPageBytes - 1));
    page->pool->push(block, page->level);
  }

  explicit TdictionaryNodePool(std::size_t levelOneBytes) : fLevelOneBytes(levelOneBytes) {}
  TdictionaryNodePool(const TdictionaryNodePool&) = delete;
  TdictionaryNodePool& operator=(const TdictionaryNodePool&) = delete;
  ~TdictionaryNodePool();

 private:
  // The pools by handle: segments of slots that never move once made, so that a dictionary
  // finds its pool without a lock; only creation and destruction lock. A slot is read by the
  // one dictionary that owns the handle, after its creation (ordered by whatever hands the
  // dictionary between threads). Constant-initialised and never destroyed, so a static
  // dictionary destroyed after every other static still finds its pool.
  static constexpr std::uint32_t kSlotBits = 10;
  static constexpr std::uint32_t kSlots = 1u << kSlotBits;
  static constexpr std::uint32_t kSegments = 1u << 12;  // 4M pools alive at once
  struct Tsegment {
    std::atomic<TdictionaryNodePool*> fSlots[kSlots] = {};
  };
  static std::atomic<Tsegment*> fsSegments[kSegments];
  /// The slot of a handle (kHandleBit may be set or not).
  static std::atomic<TdictionaryNodePool*>& sSlot(std::uint32_t handle) {
    const std::uint32_t index = handle & ~kHandleBit;
    return fsSegments[index >> kSlotBits].load(std::memory_order_acquire)
        ->fSlots[index & (kSlots - 1)];
  }

  struct Tpage {
    TdictionaryNodePool* pool;
    int level;
  };
  static constexpr std::size_t kHeaderBytes = 16;
  static_assert(sizeof(Tpage) <= kHeaderBytes);

  [[nodiscard]] std::size_t blockBytes(int level) const {
    return fLevelOneBytes + std::size_t(level - 1) * sizeof(void*);
  }
  void* allocate(int level) {
    const int i = level - 1;
    const std::size_t bytes = blockBytes(level);
    void* block = fFree[i];
    if (block != nullptr) {
      TasanPoison::unpoison(block, bytes);
      fFree[i] = *static_cast<void**>(block);
      return block;
    }
    if (std::size_t(fEnd[i] - fNext[i]) < bytes) return allocateOnNewPage(level);
    block = fNext[i];
    fNext[i] += bytes;
    TasanPoison::unpoison(block, bytes);
    return block;
  }
  void push(void* block, int level) {
    *static_cast<void**>(block) = fFree[level - 1];
    fFree[level - 1] = block;
    TasanPoison::poison(block, blockBytes(level));
  }
  void* allocateOnNewPage(int level);

  std::size_t fLevelOneBytes;
  void* fFree[kLevels] = {};
  char* fNext[kLevels] = {};  // the unused part of each level's current page
  char* fEnd[kLevels] = {};
  char* fSpare = nullptr;  // the pages of the last chunk not yet given to a level
  char* fSpareEnd = nullptr;
  std::size_t fReserved = 0;
  struct Tchunk {
    void* base;
    std::size_t bytes;
    bool largePages;  // mapped whole large pages, else a heap block
  };
  std::vector<Tchunk> fChunks;
};
