// TvariantArena: blocks of any size cut from large pages, with constant-time release.
//
// Each block carries a 24-byte header (the size of the block before it, its own size with a free
// bit, its page), so releasing a block finds its neighbours without a search and merges it with
// the free ones. Free blocks sit in 128 size bins: one exact bin per 8 bytes up to 136 bytes,
// then bins of a quarter doubling, searched first-fit up to a limit.
//
//   TvariantArena arena(1 << 16, 8, TmallocAllocator::mallocAllocator(), "Strings", true, false);
//   char* text = static_cast<char*>(arena.allocate(40));
//   text = static_cast<char*>(arena.reallocate(text, 400));
//   TvariantArena::deallocate(text);          // finds the arena from the block
//
// Hazards: single-threaded (use TmtVariantArena to share one); blocks are 8-byte aligned; the
// arena's blocks die with it (destruction and reset() return every page). A pointer that did
// not come from a variant arena must never be passed to deallocate; a second release of the same
// block is detected and ignored (and asserts in debug builds).
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TbaseArena.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>

class VELACORE_API TvariantArena : public TheapArena {
 public:
  /// Number of free-list bins.
  static constexpr int kBinCount = 128;
  /// Bytes of header in front of every block.
  static constexpr std::size_t kBlockHeaderBytes = 24;
  /// Bytes of header at the start of every page.
  static constexpr std::size_t kPageHeaderBytes = 48;
  /// The smallest free remainder (header included) worth splitting off a block.
  static constexpr std::size_t kMinSplitBytes = 64;

  /// An arena whose pages hold about `pageSize` bytes of user data (see setVariantPageSize).
  /// `fitSearchLimit` bounds the first-fit walk in a non-exact bin. With `releaseEmptyPages` a
  /// page whose last block is released is taken out of use (one such page is kept for reuse);
  /// with `useLastPageFirst` a request is first tried against the end of the last page used.
  TvariantArena(std::size_t pageSize, unsigned fitSearchLimit, Tallocator& allocator,
                const char* name, bool releaseEmptyPages = false, bool useLastPageFirst = false);
  ~TvariantArena() override;

  /// @name Blocks
  /// A block of at least `size` bytes; null for 0 or when the allocator gives no page.
  [[nodiscard]] void* allocate(std::size_t size);
  /// As allocate(size); a page made for it holds at least `count` blocks of `elementSize`.
  [[nodiscard]] void* allocate(std::size_t size, std::size_t count, std::size_t elementSize);
  /// Releases a block of any variant arena; null is ignored.
  static void deallocate(void* p);
  /// As deallocate(p); `freedSize` receives the user bytes of the free block that results
  /// (after merging with free neighbours), 0 when nothing was released.
  static void deallocate(void* p, std::size_t& freedSize);
  /// Resizes a block, in place when it can; null `p` allocates, size 0 releases. On failure
  /// null is returned and the old block is left intact.
  [[nodiscard]] void* reallocate(void* p, std::size_t size);
  /// Makes room, in one new page, for `count` blocks of `size` bytes.
  void preAllocate(std::size_t size, std::size_t count);

  /// @name Tuning
  void setFitSearchLimit(unsigned limit) { fFitSearchLimit = limit; }
  [[nodiscard]] unsigned fitSearchLimit() const { return fFitSearchLimit; }
  /// Sets the default page size to `pageSize` plus 24 bytes of headers for every 32 bytes.
  void setVariantPageSize(std::size_t pageSize);
  /// Sets the default page size to hold `count` blocks of `elementSize` bytes.
  void setVariantPageSize(std::size_t elementSize, std::size_t count);
  [[nodiscard]] std::size_t variantPageSize() const { return fVariantPageSize; }

  /// @name Queries
  /// User bytes in blocks handed out and not released.
  [[nodiscard]] std::int64_t allocatedMemory() const;
  /// The user size of a block of a variant arena (at least what was asked for).
  [[nodiscard]] static std::size_t blockSize(const void* p);
  /// The arena that owns a block.
  [[nodiscard]] static TvariantArena* arenaOf(const void* p);
  /// Granularity of block sizes in bytes.
  [[nodiscard]] static constexpr std::size_t granularity() { return 8; }
  /// Bytes a block of user size `size` occupies in its page, header included.
  [[nodiscard]] static constexpr std::size_t sizeOfBlock(std::size_t size) {
    return (size + kBlockHeaderBytes + 7) & ~std::size_t(7);
  }
  /// s / 8: the exact-bin index of a rounded size.
  [[nodiscard]] static constexpr std::size_t freeListIndex(std::size_t size) { return size / 8; }
  /// The bin a free block of rounded size `size` belongs in.
  [[nodiscard]] static int binIndex(std::size_t size);

  /// @name Maintenance
  /// Returns the saved empty page to the allocator.
  void purgePage();
  /// Releases every block and returns every page.
  void reset();
  /// Walks every page and bin; returns 0 when all is sound, -1 (after reporting each fault)
  /// when anything is damaged.
  [[nodiscard]] int checkConsistency() const;
  /// Writes the pages and the non-empty bins.
  void debug(std::ostream& out) const;
  /// Whether a page could be given back (the saved page, or an empty page in the list).
  [[nodiscard]] bool canFreeMemory() const;

 protected:
  /// Set by the thread-safe variant: every operation then runs under it.
  TmtCriticalSection* fLock = nullptr;

 private:
  struct Tpage;
  struct Tblock;
  friend class TbaseArena;

  static void release(void* p, std::size_t& freedSize);
  void* allocateLocked(std::size_t size, std::size_t minPage);
  void deallocateLocked(Tblock* block, std::size_t& freedSize);
  void* reallocateLocked(void* p, std::size_t size);
  Tpage* makePage(std::size_t dataBytes);
  void initPage(Tpage* page, std::size_t dataBytes);
  void link(Tblock* block);
  void unlink(Tblock* block);
  Tblock* findFit(std::size_t size);
  void splitAndInsertRest(Tblock* block, std::size_t size);
  void* purifyAllocate(std::size_t size);
  void purifyRelease(void* p, std::size_t& freedSize);
  void resetLocked();
  static std::size_t pageBytes(const TbaseArena* arena, const TpageLinks* page);

  unsigned fFitSearchLimit;
  std::size_t fVariantPageSize = 0;
  Tblock* fBins[kBinCount] = {};
  std::uint64_t fBinMask[2] = {0, 0};  // bit set while a bin is non-empty
  std::int64_t fAllocatedMemory = 0;
  Tpage* fLastPage = nullptr;
  bool fReleaseEmptyPages;
  bool fUseLastPageFirst;
  void* fPurifyBlocks = nullptr;  // list of malloc'ed blocks in PURIFY mode
};

/// A variant arena that may be shared between threads: every operation, the static release
/// included, runs under the arena's own lock.
class VELACORE_API TmtVariantArena : public TvariantArena {
 public:
  TmtVariantArena(std::size_t pageSize, unsigned fitSearchLimit, Tallocator& allocator,
                  const char* name, bool releaseEmptyPages = false, bool useLastPageFirst = false);
  ~TmtVariantArena() override;

 private:
  TmtCriticalSection fMutex;
};
