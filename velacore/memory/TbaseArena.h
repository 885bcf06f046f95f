// TpureArena, TbaseArena and TheapArena: what every arena shares.
//
// An arena takes whole pages from a Tallocator and cuts them into blocks, so that many small
// objects cost one page request instead of one heap call each, and so that all of them can be
// dropped at once with reset(). Every arena enters itself in a process-wide registry (for the
// statistics printout and for finding the owner of a stray compact block) and leaves it when
// destroyed.
//
//   TvariantArena arena(65536, 8, TmallocAllocator::mallocAllocator(), "Mesh Arena",
//                       /*releaseEmptyPages=*/true, /*useLastPageFirst=*/false);
//   void* p = arena.allocate(100);
//   TvariantArena::deallocate(p);
//
// Hazards: an arena keeps its name pointer without copying it (pass a string literal); arenas
// are single-threaded unless their class name has `mt`; a block must go back to the arena kind
// it came from.
//
// With the PURIFY environment variable set at start-up every arena block is an individual
// malloc (with a magic number in front that release checks), so that bounds checkers see them.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

class Tallocator;
class TmtCriticalSection;
struct TmemoryUsage;

/// The root of the arena family; owns the PURIFY switch and its checked allocations.
class VELACORE_API TpureArena {
 public:
  virtual ~TpureArena();

  /// Whether the PURIFY switch was set when the process started (read once).
  [[nodiscard]] static bool usePurify() {
    const int value = fsPurify.load(std::memory_order_relaxed);
    return value >= 0 ? value != 0 : readPurify();
  }
  /// Re-reads PURIFY. Only safe while no arena holds blocks; meant for tests.
  static void sReloadPurify();

  /// A malloc'ed block of `size` bytes with a magic number in front; null when malloc fails.
  [[nodiscard]] static void* purifyAllocate(std::size_t size);
  /// Releases a block from purifyAllocate; aborts with a message when its magic number is damaged.
  static void purifyDeallocate(void* p);

 private:
  static bool readPurify();
  static std::atomic<int> fsPurify;  // -1 until read
};

/// Pages, name, allocator and registry entry common to all arenas.
class VELACORE_API TbaseArena : public TpureArena {
 public:
  /// The arena kinds; each class registers with its own.
  enum TpageType : int {
    kUnknownPage = 0,
    kVariantPage = 1,
    kFixedPage = 2,
    kCompactPage = 3,
    kStackPage = 4,
  };

  TbaseArena(const TbaseArena&) = delete;
  TbaseArena& operator=(const TbaseArena&) = delete;
  ~TbaseArena() override;

  /// The arena's name (the pointer given at construction; not copied).
  [[nodiscard]] const char* name() const { return fName; }
  void setName(const char* name) { fName = name; }
  /// The kind this arena registered with.
  [[nodiscard]] TpageType pageType() const { return fPageType; }
  /// Bytes of pages currently taken from the allocator, the saved empty page included.
  [[nodiscard]] std::size_t footPrint() const { return fFootPrint; }
  /// The largest footPrint() so far.
  [[nodiscard]] std::size_t peakFootPrint() const { return fPeakFootPrint; }
  /// Bytes handed out to users and not yet released.
  [[nodiscard]] std::int64_t allocatedMemory() const;
  /// Whether the arena holds pages it could give back (a saved page or any page while empty).
  [[nodiscard]] bool canFreeMemory() const;
  /// Releases every block and returns every page to the allocator.
  void reset();
  /// Writes a short description of the arena and its pages.
  void debug(std::ostream& out) const;
  /// The allocator that supplies the pages.
  [[nodiscard]] Tallocator& allocator() const { return fAllocator; }

  /// Calls `visit(arena, kind)` for every registered arena, under the registry lock. The callback
  /// must not construct or destroy arenas.
  static void sForEachArena(void (*visit)(TbaseArena*, TpageType, void*), void* context);
  /// Whether `arena` is registered (alive).
  [[nodiscard]] static bool sIsRegistered(const TbaseArena* arena);
  /// Writes one line per registered arena (name, kind, footprint, bytes in use).
  static void sPrintArenas(std::ostream& out);
  /// Appends the reserved, used and peak bytes of every registered arena.
  static void sCollectUsage(std::vector<TmemoryUsage>& out);

 protected:
  /// Links shared by the page headers of every arena kind: they start with these three words.
  struct TpageLinks {
    TbaseArena* arena;
    TpageLinks* prev;
    TpageLinks* next;
  };

  TbaseArena(Tallocator& allocator, const char* name, TpageType type);

  /// Takes a page of `bytes` bytes from the allocator and links it at the head of the list.
  TpageLinks* newPage(std::size_t bytes);
  /// Puts a page at the head of the list (the saved page being reused, for instance).
  void linkPage(TpageLinks* page);
  /// Takes a page out of the list without returning it.
  void unlinkPage(TpageLinks* page);
  /// Returns a page (not in the list) to the allocator.
  void releasePage(TpageLinks* page, std::size_t bytes);
  /// Keeps `page` (already unlinked) as the saved empty page, returning the one saved before.
  void savePage(TpageLinks* page, std::size_t bytes);
  /// Takes the saved page (null when none) without unlinking anything; its size in `bytes`.
  TpageLinks* takeSavedPage(std::size_t& bytes);
  /// Returns every page and the saved page; `bytesOf` gives a page's size.
  void releaseAllPages(std::size_t (*bytesOf)(const TbaseArena*, const TpageLinks*));

  TpageLinks* fPages = nullptr;  ///< newest first
  TpageLinks* fSavedPage = nullptr;
  std::size_t fSavedPageBytes = 0;

 private:
  Tallocator& fAllocator;
  const char* fName;
  std::size_t fFootPrint = 0;
  std::size_t fPeakFootPrint = 0;
  TpageType fPageType;

  // The lock of a thread-safe arena (null for the others) and, under it, the bytes in use.
  TmtCriticalSection* lockOf() const;
  std::size_t usedLocked() const;
};

/// An arena whose blocks can be released one by one (the variant and fixed arenas).
class VELACORE_API TheapArena : public TbaseArena {
 public:
  ~TheapArena() override;

 protected:
  using TbaseArena::TbaseArena;
};
