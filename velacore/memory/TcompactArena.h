// TcompactArena: many blocks of one size, one bit of bookkeeping per block.
//
// Blocks carry no header: a page holds a bit per block (set while in use), and a release finds
// the block's page by binary search in an address-sorted table and the block's index from its
// offset in the page (a shift when the block size is a power of two).
// Allocation tries a hint first (the slot that follows the last one handed out), so filling a
// fresh page costs one bit test per block; otherwise a per-page summary (a bit per bit word)
// leads straight to the first word with a free block.
//
//   TcompactArena arena(32, 65536, TmallocAllocator::mallocAllocator(), "Edges");
//   void* edge = arena.allocate();
//   arena.deallocate(edge);          // true: the block was this arena's
//
// Hazards: single-threaded (TmtCompactArena locks); every block has the arena's block size,
// whatever size is asked for; a block given to the wrong compact arena is passed on to the
// compact arena with the same name pointer that owns it, and if none does, to `free` (with a
// false result), so hand back only blocks you got from an arena.
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/memory/TbaseArena.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>

class TcompactArena : public TbaseArena {
 public:
  /// Bytes of header at the start of every page.
  static constexpr std::size_t kPageHeaderBytes = 96;

  /// An arena of `blockSize`-byte blocks (raised to a multiple of 8) in pages of about
  /// `pageSize` bytes (at least one block each).
  TcompactArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                const char* name);
  ~TcompactArena() override;

  /// @name Blocks
  /// One block of blockSize() bytes; null when the allocator gives no page.
  [[nodiscard]] void* allocate();
  /// One block; the size arguments are ignored (every block has the arena's size).
  [[nodiscard]] void* allocate(std::size_t size);
  [[nodiscard]] void* allocate(std::size_t size, std::size_t count);
  /// Releases a block. True when this arena (or another compact arena of the same name) owned
  /// it; false when nobody did and it was passed to `free`. Null is ignored (true).
  bool deallocate(void* p);
  /// Makes sure `count` more blocks can be handed out without a new page being made later.
  void preAllocate(std::size_t count);
  /// Releases every block and returns every page.
  void reset();

  /// @name Geometry
  void setNumBlocksPerPage(std::size_t count);
  [[nodiscard]] std::size_t numBlocksPerPage() const { return fBlocksPerPage; }
  [[nodiscard]] std::size_t blockSize() const { return fBlockSize; }
  /// log2 of the block size when that is a power of two (offsets are shifted), else 0 (divided).
  [[nodiscard]] unsigned shift() const { return fShift; }

  /// @name Queries
  [[nodiscard]] std::int64_t allocatedMemory() const;
  [[nodiscard]] bool canFreeMemory() const;
  /// The index of a block within its page, -1 when this arena does not hold it.
  [[nodiscard]] long indexOf(const void* p) const;
  /// Checks pages, bits and counts; 0 when sound, -1 (after reporting) otherwise.
  [[nodiscard]] int checkConsistency() const;

  /// @name All compact arenas
  /// Returns the saved empty page of every compact arena.
  static void purge();
  /// Writes one line per compact arena.
  static void debug(std::ostream& out);

 protected:
  /// Set by the thread-safe variant: every operation then runs under it.
  TmtCriticalSection* fLock = nullptr;
  /// When set, kept equal to the number of blocks in use.
  int* fInUseCounter = nullptr;
  /// reset() without taking the lock.
  void resetLocked();

 private:
  struct TcompactPage;
  friend class TbaseArena;

  void* allocateLocked();
  void* allocateIn(TcompactPage* page);
  TcompactPage* makePage();
  TcompactPage* pageOf(const void* p) const;
  bool enterInTable(TcompactPage* page);
  void leaveTable(TcompactPage* page);
  bool releaseLocal(void* p);
  void releaseIn(TcompactPage* page, const void* p);
  void purgeLocked();
  std::size_t pageBytes() const;
  static std::size_t pageBytesOf(const TbaseArena* arena, const TpageLinks* page);

  std::size_t fBlockSize;
  std::size_t fBlocksPerPage = 1;
  unsigned fShift = 0;
  TcompactPage* fCurrent = nullptr;
  bool fAllFull = false;
  std::int64_t fBlocksInUse = 0;
  // The pages in use sorted by address, so that a release finds its page by binary search
  // instead of walking page headers spread over the address space.
  TcompactPage** fTable = nullptr;
  std::size_t fTableCount = 0;
  std::size_t fTableCapacity = 0;
};

/// A compact arena that may be shared between threads: each call runs under the arena's lock.
class TmtCompactArena : public TcompactArena {
 public:
  /// As TcompactArena; `inUseCounter`, when not null, is kept equal to the blocks in use.
  TmtCompactArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                  const char* name, int* inUseCounter = nullptr);
  ~TmtCompactArena() override;

 private:
  TmtCriticalSection fMutex;
};
