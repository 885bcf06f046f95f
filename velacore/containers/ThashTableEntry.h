// ThashTableEntry: one link of a ThashTable chain, and ThashEntryPool, the entries' allocator.
//
// A derived entry adds its key and value after the two fields here. The table stores the key's
// full 32-bit hash in the entry when it is inserted, so growing or shrinking the table moves
// entries by their stored hash without reading a key again.
//
//   struct TnameEntry : ThashTableEntry { Tstring key; int value; };
//
// The table owns its entries and destroys them through the virtual destructor. Entries of
// TdataHashTable come from a ThashEntryPool: slabs of equal-sized cells taken from the heap (or,
// for big tables, from large-page mappings), so a table never allocates through the library's
// arenas (the arenas may keep their own records in hash tables), an insertion costs no heap call
// in the common case, and entries sit next to each other in insertion order.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

class ThashTable;

class VELACORE_API ThashTableEntry {
 public:
  ThashTableEntry() = default;
  ThashTableEntry(const ThashTableEntry&) = delete;
  ThashTableEntry& operator=(const ThashTableEntry&) = delete;
  virtual ~ThashTableEntry();

  /// The next entry of the same chain, or null.
  [[nodiscard]] ThashTableEntry* next() const { return fNext; }
  /// The full hash of the key, as stored at insertion.
  [[nodiscard]] unsigned hash() const { return fHash; }

 private:
  friend class ThashTable;
  ThashTableEntry* fNext = nullptr;
  unsigned fHash = 0;
};

/// Fixed-size cells for hash-table entries, carved from slabs that grow geometrically. Slabs
/// start on a cache-line boundary (so cells whose size divides 64 never straddle two lines);
/// slabs of a large page come from large-page mappings, small ones from the heap. Freed cells
/// are reused by later allocations; the slabs go back only on releaseAll() or destruction.
/// Not thread-safe (one pool per table).
class VELACORE_API ThashEntryPool {
 public:
  /// A pool of cells of at least `cellSize` bytes aligned to `alignment` (at most 64).
  ThashEntryPool(std::size_t cellSize, std::size_t alignment);
  ThashEntryPool(const ThashEntryPool&) = delete;
  ThashEntryPool& operator=(const ThashEntryPool&) = delete;
  ~ThashEntryPool();

  /// A cell; throws TmemoryException when no new slab can be had.
  [[nodiscard]] void* allocate() {
    if (fFree != nullptr) {
      void* cell = fFree;
      fFree = *static_cast<void**>(cell);
      return cell;
    }
    if (fNext != fEnd) {
      void* cell = fNext;
      fNext += fCellSize;
      return cell;
    }
    return allocateSlow();
  }
  /// Returns a cell for reuse (its object must already be destroyed).
  void release(void* cell) {
    *static_cast<void**>(cell) = fFree;
    fFree = cell;
  }
  /// Frees every slab at once; every cell handed out becomes invalid.
  void releaseAll();
  /// Bytes held in slabs.
  [[nodiscard]] std::size_t bytesReserved() const { return fBytes; }
  /// The size of each cell (the requested size rounded up to the alignment).
  [[nodiscard]] std::size_t cellSize() const { return fCellSize; }

 private:
  [[nodiscard]] void* allocateSlow();

  void* fFree = nullptr;
  char* fNext = nullptr;
  char* fEnd = nullptr;
  void* fSlabs = nullptr;  // each slab starts with a header linking to the previous one
  std::size_t fCellSize;
  std::size_t fSlabCells;  // the number of cells in the next slab
  std::size_t fBytes = 0;
};
