// TcompactArena: many blocks of one size, one bit of bookkeeping per block.
//
// Blocks carry no header: a page holds a bit per block (set while in use), and a release finds
// the block's page through a table from address ranges to pages (a binary search over the
// address-sorted pages behind it) and the block's index from its offset in the page (a shift when the block size is a power of two, a multiply by a precomputed
// reciprocal otherwise).
// Allocation tries a hint first (the slot that follows the last one handed out), so filling a
// fresh page costs one bit test per block; otherwise a per-page summary (a bit per bit word)
// leads straight to the first word with a free block. The bits are kept in search order (each
// byte of a full 32-bit word mirrored), so "the next free slot" is one count-trailing-zeros.
// The common allocate and release run inline; pages to make, pages that empty, bad pointers,
// PURIFY mode and the locking variant go through the out-of-line paths.
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
#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TasanPoison.h>
#include <velacore/memory/TbaseArena.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>

class VELACORE_API TcompactArena : public TbaseArena {
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
  [[nodiscard]] void* allocate() {
    // The lock test comes first: a locking arena's fields may be changing under another thread.
    if (fLock == nullptr && fCurrent != nullptr) {
      if (void* p = takeFast(fCurrent)) return p;
    }
    return allocateSlow();
  }
  /// One block; the size arguments are ignored (every block has the arena's size).
  [[nodiscard]] void* allocate(std::size_t size);
  [[nodiscard]] void* allocate(std::size_t size, std::size_t count);
  /// Releases a block. True when this arena (or another compact arena of the same name) owned
  /// it; false when nobody did and it was passed to `free`. Null is ignored (true).
  bool deallocate(void* p) {
    if (fLock == nullptr && releaseFast(p)) return true;
    return deallocateSlow(p);
  }
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
  /// When set, kept equal to the number of blocks in use. Only the locking variant sets it (the
  /// inline paths, which run only without a lock, leave it alone).
  int* fInUseCounter = nullptr;
  /// reset() without taking the lock.
  void resetLocked();

 private:
  friend class TbaseArena;

  // Page header, followed by the blocks. The bit words live in a block of their own (so that a
  // page is exactly header plus blocks), in *position* order: position p of a full 32-bit word
  // is block index p ^ 7 (each byte mirrored, so the byte-then-highest-bit search order becomes
  // ascending positions), the trailing partial word keeps index = position. Positions from the
  // capacity up to the end of the bit words (one spare 64-bit word included) are kept set, so a
  // word with a clear bit always has a free block and a hint at the capacity reads as taken. A
  // summary with one bit per 64-bit bit word (set while the word has a clear bit) follows.
  struct TcompactPage {
    TpageLinks links;
    std::size_t inUse;
    std::size_t capacity;
    std::size_t hint;  // the position after the last one handed out
    char* first;
    char* end;
    std::size_t cursor;  // no 64-bit bit word before this one has a clear bit
    std::uint64_t* bits;
    std::size_t partialBits;  // blocks in the trailing partial 32-bit word
    std::uint64_t* open;      // the summary: bit w set while bits[w] has a clear bit

    // Index <-> position (the mapping is its own inverse).
    [[nodiscard]] std::size_t positionOf(std::size_t index) const {
      return index < (capacity & ~std::size_t(31)) ? index ^ 7 : index;
    }
    [[nodiscard]] std::size_t bitWords() const { return capacity / 64 + 1; }
    [[nodiscard]] std::size_t summaryWords() const { return (bitWords() + 63) / 64; }
    [[nodiscard]] bool isSet(std::size_t index) const {
      const std::size_t pos = positionOf(index);
      return (bits[pos >> 6] >> (pos & 63)) & 1;
    }
  };

  // The block at position `pos` of `page`, marked in use.
  char* claim(TcompactPage* page, std::size_t pos) {
    const std::size_t w = pos >> 6;
    const std::uint64_t word = page->bits[w] | (std::uint64_t(1) << (pos & 63));
    page->bits[w] = word;
    page->open[w >> 6] &= ~(std::uint64_t(word == ~std::uint64_t(0)) << (w & 63));
    ++page->inUse;
    page->hint = pos + 1;
    ++fBlocksInUse;
    char* block = page->first + page->positionOf(pos) * fBlockSize;
    TasanPoison::unpoison(block, fBlockSize);
    return block;
  }

  // The hint, else the first free block the summary word under the cursor leads to; null when
  // that finds nothing (a full page, or a free block beyond the first summary word).
  void* takeFast(TcompactPage* page) {
    std::size_t pos = page->hint;
    if ((page->bits[pos >> 6] >> (pos & 63)) & 1) {
      const std::size_t s = page->cursor >> 6;
      const std::uint64_t summary = page->open[s];
      if (summary == 0) return nullptr;
      const std::size_t w = s * 64 + static_cast<std::size_t>(__builtin_ctzll(summary));
      pos = w * 64 + static_cast<std::size_t>(__builtin_ctzll(~page->bits[w]));
      page->cursor = w;
    }
    return claim(page, pos);
  }

  // The page whose block area holds p; null when none does. Address ranges of about a page's
  // size ("granules") map to the one or two pages that overlap them through a small table
  // rebuilt whenever a page enters or leaves; a granule that is missing from its home slot, or
  // that overlaps more pages, takes the binary search over the sorted page table instead.
  TcompactPage* pageOf(const void* p) const {
    const auto c = reinterpret_cast<std::uintptr_t>(p);
    const std::uintptr_t granule = c >> fGranuleShift;
    const TgranuleSlot& slot = fGranules[granule & fGranuleMask];
    if (slot.granule == granule && slot.low != nullptr) {
      TcompactPage* page = c < slot.split ? slot.low : slot.high;
      return page != nullptr && c >= reinterpret_cast<std::uintptr_t>(page->first) &&
                     c < reinterpret_cast<std::uintptr_t>(page->end)
                 ? page
                 : nullptr;
    }
    return searchTable(c);
  }

  // The index of the block at `offset` bytes into the block area (exact for offsets below 4 GiB;
  // the callers check index * blockSize == offset).
  [[nodiscard]] std::size_t indexAt(std::size_t offset) const {
    if (fShift != 0) return offset >> fShift;
    __extension__ typedef unsigned __int128 Twide;
    return static_cast<std::size_t>((static_cast<Twide>(offset) * fReciprocal) >> 64);
  }

  // The release of a block of a page that stays in use; false (nothing changed) for anything
  // else, which the out-of-line path then handles or reports.
  bool releaseFast(void* p) {
    TcompactPage* page = pageOf(p);
    if (page == nullptr) return false;
    const auto offset = static_cast<std::size_t>(static_cast<char*>(p) - page->first);
    const std::size_t index = indexAt(offset);
    const std::size_t pos = page->positionOf(index);
    const std::size_t w = pos >> 6;
    const std::uint64_t bit = std::uint64_t(1) << (pos & 63);
    if (index * fBlockSize != offset || (page->bits[w] & bit) == 0 || page->inUse <= 1) return false;
    TasanPoison::poison(p, fBlockSize);
    page->bits[w] &= ~bit;
    page->open[w >> 6] |= std::uint64_t(1) << (w & 63);
    if (w < page->cursor) page->cursor = w;
    --page->inUse;
    --fBlocksInUse;
    fAllFull = false;
    // A full current page would send the next request on a walk: this page has room now.
    if (fCurrent == nullptr || fCurrent->inUse == fCurrent->capacity) fCurrent = page;
    return true;
  }

  struct TgranuleSlot {
    std::uintptr_t granule;  // ~0 when the slot is empty
    std::uintptr_t split;    // addresses from here on are in `high`
    TcompactPage* low;       // null when more than two pages overlap the granule
    TcompactPage* high;      // null when only one does
  };

  TcompactPage* searchTable(std::uintptr_t c) const;
  void rebuildGranules();
  void* allocateSlow();
  bool deallocateSlow(void* p);
  void* allocateLocked();
  void* allocateIn(TcompactPage* page);
  TcompactPage* makePage();
  bool enterInTable(TcompactPage* page);
  void leaveTable(TcompactPage* page);
  bool releaseLocal(void* p);
  void releaseIn(TcompactPage* page, const void* p);
  void purgeLocked();
  void dropPage(TcompactPage* page);
  std::size_t pageBytes() const;
  static std::size_t pageBytesOf(const TbaseArena* arena, const TpageLinks* page);

  std::size_t fBlockSize;
  std::size_t fBlocksPerPage = 1;
  unsigned fShift = 0;
  std::uint64_t fReciprocal = 0;  // ceil(2^64 / block size) when the size is no power of two
  TcompactPage* fCurrent = nullptr;
  bool fAllFull = false;
  std::int64_t fBlocksInUse = 0;
  // The pages in use sorted by address, so that a release finds its page by binary search
  // instead of walking page headers spread over the address space.
  TcompactPage** fTable = nullptr;
  std::size_t fTableCount = 0;
  std::size_t fTableCapacity = 0;
  // The granule lookup in front of the table (one empty slot until the first page).
  static const TgranuleSlot kNoGranules[1];
  const TgranuleSlot* fGranules = kNoGranules;
  TgranuleSlot* fGranuleStore = nullptr;
  std::uintptr_t fGranuleMask = 0;
  unsigned fGranuleShift = 63;
};

/// A compact arena that may be shared between threads: each call runs under the arena's lock.
class VELACORE_API TmtCompactArena : public TcompactArena {
 public:
  /// As TcompactArena; `inUseCounter`, when not null, is kept equal to the blocks in use.
  TmtCompactArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                  const char* name, int* inUseCounter = nullptr);
  ~TmtCompactArena() override;

 private:
  TmtCriticalSection fMutex;
};
