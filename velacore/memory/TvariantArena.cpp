#include <velacore/memory/TvariantArena.h>

#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TasanPoison.h>
#include <velacore/memory/internal/TarenaGuard.h>
#include <velacore/memory/internal/TmemoryReport.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <ostream>

using vela::memory_internal::TarenaGuard;
using vela::memory_internal::reportError;

// Page header: the shared links, then the data area's size, the blocks in use and the block that
// ends the page. Blocks start right behind it.
struct TvariantArena::Tpage {
  TpageLinks links;
  std::size_t dataSize;
  std::size_t inUse;
  Tblock* last;

  char* data() { return reinterpret_cast<char*>(this) + kPageHeaderBytes; }
  Tblock* first() { return reinterpret_cast<Tblock*>(data()); }
  TvariantArena* arena() const { return static_cast<TvariantArena*>(links.arena); }
};

// Block header: boundary tags in front of the user data.
struct TvariantArena::Tblock {
  std::size_t prevSize;  // user size of the block before this one in the page (0 for the first)
  std::size_t sizeWord;  // user size << 1, bit 0 set while free
  Tpage* page;

  // While free, the first two user words link the block into its bin.
  struct TfreeLinks {
    Tblock* next;
    Tblock** prevLink;  // the link that points at this block
  };

  std::size_t size() const { return sizeWord >> 1; }
  bool isFree() const { return (sizeWord & 1) != 0; }
  char* user() { return reinterpret_cast<char*>(this) + kBlockHeaderBytes; }
  TfreeLinks* links() { return reinterpret_cast<TfreeLinks*>(user()); }
  Tblock* next() { return reinterpret_cast<Tblock*>(user() + size()); }
  Tblock* prev() { return reinterpret_cast<Tblock*>(reinterpret_cast<char*>(this) - kBlockHeaderBytes - prevSize); }
  static Tblock* of(const void* p) {
    return reinterpret_cast<Tblock*>(const_cast<char*>(static_cast<const char*>(p)) - kBlockHeaderBytes);
  }
};

namespace {

constexpr int kFirstSizedBin = 18;
// Requests beyond this are refused rather than overflowing the size arithmetic.
constexpr std::size_t kMaxRequest = std::size_t(1) << 60;

std::size_t roundRequest(std::size_t size) {
  return size < 16 ? 16 : (size + 7) & ~std::size_t(7);
}

// In PURIFY mode every block is its own malloc with this header in front.
struct TpurifyHeader {
  TvariantArena* arena;
  TpurifyHeader* next;
  TpurifyHeader* prev;
  std::size_t size;
};
static_assert(sizeof(TpurifyHeader) == 32);

}  // namespace

namespace {

constexpr int computeBin(std::size_t size) {
  if (size < 144) return static_cast<int>(size / 8);
  std::size_t q = size / 8;
  int k = 0;
  for (; q >= 16; q /= 2) ++k;
  const int bin = kFirstSizedBin + 4 * k + static_cast<int>((q - 8) / 4);
  return bin < TvariantArena::kBinCount - 1 ? bin : TvariantArena::kBinCount - 1;
}

// The bins of the sizes below 4096 bytes, looked up instead of computed: the size of a released
// or split block is random, and the comparisons of the rule would be mispredicted.
constexpr std::size_t kBinTableLimit = 4096;
struct TbinTable {
  std::uint8_t bin[kBinTableLimit / 8] = {};
  constexpr TbinTable() {
    for (std::size_t i = 0; i < kBinTableLimit / 8; ++i) bin[i] = static_cast<std::uint8_t>(computeBin(i * 8));
  }
};
constexpr TbinTable kBinTable;
static_assert(kBinTable.bin[136 / 8] == 17 && kBinTable.bin[144 / 8] == 22 && kBinTable.bin[192 / 8] == 23 &&
              kBinTable.bin[256 / 8] == 26);

inline int binOf(std::size_t size) {
  if (size < kBinTableLimit) return kBinTable.bin[size >> 3];
  std::size_t q = size / 8;
  const int log2 = 63 - __builtin_clzll(q);
  const int k = log2 - 3;
  q >>= k;
  const int bin = kFirstSizedBin + 4 * k + static_cast<int>((q - 8) / 4);
  return bin < TvariantArena::kBinCount - 1 ? bin : TvariantArena::kBinCount - 1;
}

}  // namespace

int TvariantArena::binIndex(std::size_t size) { return binOf(size); }

TvariantArena::TvariantArena(std::size_t pageSize, unsigned fitSearchLimit, Tallocator& allocator,
                             const char* name, bool releaseEmptyPages, bool useLastPageFirst)
    : TheapArena(allocator, name, kVariantPage),
      fFitSearchLimit(fitSearchLimit),
      fReleaseEmptyPages(releaseEmptyPages),
      fUseLastPageFirst(useLastPageFirst) {
  setVariantPageSize(pageSize);
}

TvariantArena::~TvariantArena() { resetLocked(); }

void TvariantArena::setVariantPageSize(std::size_t pageSize) {
  fVariantPageSize = pageSize + pageSize / 32 * kBlockHeaderBytes;
}

void TvariantArena::setVariantPageSize(std::size_t elementSize, std::size_t count) {
  fVariantPageSize = count * sizeOfBlock(elementSize);
}

std::int64_t TvariantArena::allocatedMemory() const {
  TarenaGuard guard(fLock);
  return fAllocatedMemory;
}

std::size_t TvariantArena::blockSize(const void* p) {
  if (p == nullptr) return 0;
  if (usePurify()) return (static_cast<const TpurifyHeader*>(p) - 1)->size;
  return Tblock::of(p)->size();
}

TvariantArena* TvariantArena::arenaOf(const void* p) {
  if (p == nullptr) return nullptr;
  if (usePurify()) return (static_cast<const TpurifyHeader*>(p) - 1)->arena;
  return Tblock::of(p)->page->arena();
}

// ---- bins ----

inline void TvariantArena::link(Tblock* block) {
  const int bin = binOf(block->size());
  Tblock::TfreeLinks* links = block->links();
  links->next = fBins[bin];
  links->prevLink = &fBins[bin];
  if (fBins[bin] != nullptr) fBins[bin]->links()->prevLink = &links->next;
  fBins[bin] = block;
  fBinMask[bin >> 6] |= std::uint64_t(1) << (bin & 63);
}

inline void TvariantArena::unlink(Tblock* block) {
  Tblock::TfreeLinks* links = block->links();
  *links->prevLink = links->next;
  if (links->next != nullptr) {
    links->next->links()->prevLink = links->prevLink;
    return;
  }
  // The bin empties only when the block was its sole entry, that is when the link that pointed
  // at it is the bin head itself.
  const auto head = reinterpret_cast<std::uintptr_t>(links->prevLink) - reinterpret_cast<std::uintptr_t>(fBins);
  if (head < sizeof(fBins) && links->prevLink == &fBins[head / sizeof(Tblock*)]) {
    const std::size_t bin = head / sizeof(Tblock*);
    if (fBins[bin] == nullptr) fBinMask[bin >> 6] &= ~(std::uint64_t(1) << (bin & 63));
  }
}

inline TvariantArena::Tblock* TvariantArena::findFit(std::size_t size) {
  int bin = binOf(size);
  if (bin < kFirstSizedBin) {
    // An exact bin: its first entry fits.
    if (fBins[bin] != nullptr) return fBins[bin];
  } else {
    // First fit among the first few entries of a bin whose blocks differ in size.
    unsigned budget = std::max(fFitSearchLimit, 1u);
    for (Tblock* b = fBins[bin]; b != nullptr && budget > 0; b = b->links()->next, --budget)
      if (b->size() >= size) return b;
  }
  // Every block of a higher bin is large enough; take the first of the next non-empty one.
  for (++bin; bin < kBinCount;) {
    const std::uint64_t word = fBinMask[bin >> 6] & (~std::uint64_t(0) << (bin & 63));
    if (word == 0) {
      bin = (bin | 63) + 1;
      continue;
    }
    bin = (bin & ~63) + __builtin_ctzll(word);
    if (bin < kBinCount - 1) return fBins[bin];
    for (Tblock* b = fBins[bin]; b != nullptr; b = b->links()->next)  // the open-ended last bin
      if (b->size() >= size) return b;
    return nullptr;
  }
  return nullptr;
}

// ---- pages ----

void TvariantArena::initPage(Tpage* page, std::size_t dataBytes) {
  static_assert(sizeof(Tpage) == kPageHeaderBytes && sizeof(Tblock) == kBlockHeaderBytes);
  page->dataSize = dataBytes;
  page->inUse = 0;
  // A free block is poisoned behind its bin links (a reused page was poisoned as a whole).
  TasanPoison::unpoison(page->data(), kBlockHeaderBytes + sizeof(Tblock::TfreeLinks));
  TasanPoison::poison(page->data() + kBlockHeaderBytes + sizeof(Tblock::TfreeLinks),
                      dataBytes - kBlockHeaderBytes - sizeof(Tblock::TfreeLinks));
  Tblock* block = page->first();
  block->prevSize = 0;
  block->sizeWord = ((dataBytes - kBlockHeaderBytes) << 1) | 1;
  block->page = page;
  page->last = block;
  link(block);
}

TvariantArena::Tpage* TvariantArena::makePage(std::size_t dataBytes) {
  dataBytes = (std::max(dataBytes, kMinSplitBytes) + 7) & ~std::size_t(7);
  if (fSavedPage != nullptr &&
      reinterpret_cast<Tpage*>(fSavedPage)->dataSize >= dataBytes) {
    std::size_t bytes = 0;
    auto* page = reinterpret_cast<Tpage*>(takeSavedPage(bytes));
    linkPage(&page->links);
    initPage(page, page->dataSize);
    return page;
  }
  TpageLinks* links = newPage(dataBytes + kPageHeaderBytes);
  if (links == nullptr) return nullptr;
  auto* page = reinterpret_cast<Tpage*>(links);
  initPage(page, dataBytes);
  return page;
}

std::size_t TvariantArena::pageBytes(const TbaseArena*, const TpageLinks* page) {
  return reinterpret_cast<const Tpage*>(page)->dataSize + kPageHeaderBytes;
}

// ---- blocks ----

inline void TvariantArena::splitAndInsertRest(Tblock* block, std::size_t size) {
  const std::size_t old = block->size();
  if (old - size < kMinSplitBytes) return;
  Tpage* page = block->page;
  auto* rest = reinterpret_cast<Tblock*>(block->user() + size);
  const std::size_t restSize = old - size - kBlockHeaderBytes;
  // The rest's header and links were free space (poisoned) or user data until now.
  TasanPoison::unpoison(rest, kBlockHeaderBytes + sizeof(Tblock::TfreeLinks));
  TasanPoison::poison(rest->user() + sizeof(Tblock::TfreeLinks), restSize - sizeof(Tblock::TfreeLinks));
  rest->prevSize = size;
  rest->sizeWord = (restSize << 1) | 1;
  rest->page = page;
  if (page->last == block)
    page->last = rest;
  else
    rest->next()->prevSize = restSize;
  block->sizeWord = (size << 1) | (block->sizeWord & 1);
  link(rest);
}

void* TvariantArena::allocate(std::size_t size) {
  TarenaGuard guard(fLock);
  return allocateLocked(size, fVariantPageSize);
}

void* TvariantArena::allocate(std::size_t size, std::size_t count, std::size_t elementSize) {
  TarenaGuard guard(fLock);
  const std::size_t element = sizeOfBlock(roundRequest(elementSize));
  const std::size_t minPage = count != 0 && element > kMaxRequest / count ? kMaxRequest : count * element;
  return allocateLocked(size, minPage);
}

__attribute__((always_inline)) inline void* TvariantArena::allocateLocked(std::size_t size, std::size_t minPage) {
  if (size - 1 >= kMaxRequest || minPage > kMaxRequest) return nullptr;  // 0 wraps around
  if (usePurify()) return purifyAllocate(size);
  const std::size_t rounded = roundRequest(size);
  Tblock* block = nullptr;
  if (fUseLastPageFirst && fLastPage != nullptr) {
    Tblock* tail = fLastPage->last;
    if (tail->isFree() && tail->size() >= rounded) block = tail;
  }
  if (block == nullptr) block = findFit(rounded);
  if (block == nullptr) {
    Tpage* page = makePage(std::max(sizeOfBlock(rounded), minPage));
    if (page == nullptr) return nullptr;
    block = page->first();
  }
  unlink(block);
  splitAndInsertRest(block, rounded);
  block->sizeWord &= ~std::size_t(1);
  Tpage* page = block->page;
  ++page->inUse;
  fAllocatedMemory += static_cast<std::int64_t>(block->size());
  if (fUseLastPageFirst) fLastPage = page;
  TasanPoison::unpoison(block->user(), block->size());
  return block->user();
}

inline void TvariantArena::release(void* p, std::size_t& freedSize) {
  freedSize = 0;
  if (p == nullptr) return;
  if (usePurify()) {
    TvariantArena* arena = (static_cast<TpurifyHeader*>(p) - 1)->arena;
    TarenaGuard guard(arena->fLock);
    arena->purifyRelease(p, freedSize);
    return;
  }
  Tblock* block = Tblock::of(p);
  TvariantArena* arena = block->page->arena();
  assert(sIsRegistered(arena) && arena->pageType() == kVariantPage &&
         "TvariantArena::deallocate: the block does not belong to a live variant arena");
  TarenaGuard guard(arena->fLock);
  arena->deallocateLocked(block, freedSize);
}

void TvariantArena::deallocate(void* p) {
  std::size_t freed = 0;
  release(p, freed);
}

void TvariantArena::deallocate(void* p, std::size_t& freedSize) { release(p, freedSize); }

__attribute__((always_inline)) inline void TvariantArena::deallocateLocked(Tblock* block, std::size_t& freedSize) {
  if (block->isFree()) {
    assert(!"TvariantArena::deallocate: the block was released already");
    reportError("TvariantArena::deallocate: block %p of arena \"%s\" was released already",
                static_cast<void*>(block->user()), name());
    return;
  }
  Tpage* page = block->page;
  const std::size_t user = block->size();
  fAllocatedMemory -= static_cast<std::int64_t>(user);

  if (fReleaseEmptyPages && page->inUse == 1) {
    // The page's last block in use: take the page out of service and keep it for reuse.
    for (Tblock* b = page->first();; b = b->next()) {
      if (b->isFree()) unlink(b);
      if (b == page->last) break;
    }
    if (fLastPage == page) fLastPage = nullptr;
    block->sizeWord |= 1;  // so that a second release of it is recognised
    page->inUse = 0;
    TasanPoison::poison(block->user(), user);  // the other blocks are free, so poisoned already
    unlinkPage(&page->links);
    savePage(&page->links, page->dataSize + kPageHeaderBytes);
    freedSize = page->dataSize - kBlockHeaderBytes;
    return;
  }

  Tblock* start = block;
  std::size_t total = user;
  if (block != page->first()) {
    Tblock* prev = block->prev();
    if (prev->isFree()) {
      unlink(prev);
      start = prev;
      total += prev->size() + kBlockHeaderBytes;
    }
  }
  if (block == page->last) {
    page->last = start;
  } else {
    Tblock* next = block->next();
    if (next->isFree()) {
      unlink(next);
      total += next->size() + kBlockHeaderBytes;
      if (page->last == next) page->last = start;
    }
  }
  start->sizeWord = (total << 1) | 1;
  if (start != page->last) start->next()->prevSize = total;
  link(start);
  TasanPoison::poison(start->user() + sizeof(Tblock::TfreeLinks), total - sizeof(Tblock::TfreeLinks));
  --page->inUse;
  freedSize = total;
}

void* TvariantArena::reallocate(void* p, std::size_t size) {
  if (p == nullptr) return allocate(size);
  if (size == 0) {
    deallocate(p);
    return nullptr;
  }
  TvariantArena* owner = arenaOf(p);
  if (owner != this) {
    // A block of another arena: move it here rather than touch that arena's pages unlocked.
    void* q = allocate(size);
    if (q == nullptr) return nullptr;
    std::memcpy(q, p, std::min(size, blockSize(p)));
    deallocate(p);
    return q;
  }
  TarenaGuard guard(fLock);
  return reallocateLocked(p, size);
}

void* TvariantArena::reallocateLocked(void* p, std::size_t size) {
  if (size > kMaxRequest) return nullptr;
  if (usePurify()) {
    void* q = purifyAllocate(size);
    if (q == nullptr) return nullptr;
    std::memcpy(q, p, std::min(size, blockSize(p)));
    std::size_t freed = 0;
    purifyRelease(p, freed);
    return q;
  }
  Tblock* block = Tblock::of(p);
  assert(!block->isFree() && "TvariantArena::reallocate: the block was released already");
  if (block->isFree()) return nullptr;
  Tpage* page = block->page;
  const std::size_t rounded = roundRequest(size);
  const std::size_t old = block->size();

  if (rounded > old && block != page->last) {
    // Grow into a free neighbour when it is big enough.
    Tblock* next = block->next();
    if (next->isFree() && old + kBlockHeaderBytes + next->size() >= rounded) {
      unlink(next);
      const std::size_t merged = old + kBlockHeaderBytes + next->size();
      block->sizeWord = merged << 1;
      if (page->last == next)
        page->last = block;
      else
        block->next()->prevSize = merged;
    }
  }
  std::size_t now = block->size();
  if (rounded <= now) {
    // Shrink in place; a large enough tail becomes free and joins a free block behind it.
    if (now - rounded >= kMinSplitBytes) {
      Tblock* after = block == page->last ? nullptr : block->next();
      if (after != nullptr && after->isFree()) {
        unlink(after);
        const std::size_t merged = now + kBlockHeaderBytes + after->size();
        block->sizeWord = merged << 1;
        if (page->last == after)
          page->last = block;
        else
          block->next()->prevSize = merged;
      }
      splitAndInsertRest(block, rounded);
    }
    fAllocatedMemory += static_cast<std::int64_t>(block->size()) - static_cast<std::int64_t>(old);
    TasanPoison::unpoison(p, block->size());
    return p;
  }
  void* q = allocateLocked(size, fVariantPageSize);
  if (q == nullptr) return nullptr;
  std::memcpy(q, p, now);
  std::size_t freed = 0;
  deallocateLocked(block, freed);
  return q;
}

void TvariantArena::preAllocate(std::size_t size, std::size_t count) {
  TarenaGuard guard(fLock);
  if (size == 0 || count == 0 || usePurify()) return;
  const std::size_t element = sizeOfBlock(roundRequest(size));
  if (size > kMaxRequest || element > kMaxRequest / count) return;
  makePage(count * element);
}

// ---- PURIFY mode ----

void* TvariantArena::purifyAllocate(std::size_t size) {
  auto* header = static_cast<TpurifyHeader*>(TpureArena::purifyAllocate(sizeof(TpurifyHeader) + size));
  if (header == nullptr) return nullptr;
  header->arena = this;
  header->size = size;
  header->prev = nullptr;
  header->next = static_cast<TpurifyHeader*>(fPurifyBlocks);
  if (header->next != nullptr) header->next->prev = header;
  fPurifyBlocks = header;
  fAllocatedMemory += static_cast<std::int64_t>(size);
  return header + 1;
}

void TvariantArena::purifyRelease(void* p, std::size_t& freedSize) {
  TpurifyHeader* header = static_cast<TpurifyHeader*>(p) - 1;
  if (header->prev != nullptr)
    header->prev->next = header->next;
  else
    fPurifyBlocks = header->next;
  if (header->next != nullptr) header->next->prev = header->prev;
  freedSize = header->size;
  fAllocatedMemory -= static_cast<std::int64_t>(header->size);
  TpureArena::purifyDeallocate(header);
}

// ---- maintenance ----

void TvariantArena::purgePage() {
  TarenaGuard guard(fLock);
  std::size_t bytes = 0;
  TpageLinks* page = takeSavedPage(bytes);
  if (page != nullptr) releasePage(page, bytes);
}

void TvariantArena::reset() {
  TarenaGuard guard(fLock);
  resetLocked();
}

void TvariantArena::resetLocked() {
  releaseAllPages(&pageBytes);
  std::fill(std::begin(fBins), std::end(fBins), nullptr);
  fBinMask[0] = fBinMask[1] = 0;
  fLastPage = nullptr;
  fAllocatedMemory = 0;
  while (fPurifyBlocks != nullptr) {
    auto* header = static_cast<TpurifyHeader*>(fPurifyBlocks);
    fPurifyBlocks = header->next;
    TpureArena::purifyDeallocate(header);
  }
}

bool TvariantArena::canFreeMemory() const {
  TarenaGuard guard(fLock);
  if (fSavedPage != nullptr) return true;
  for (const TpageLinks* l = fPages; l != nullptr; l = l->next)
    if (reinterpret_cast<const Tpage*>(l)->inUse == 0) return true;
  return false;
}

int TvariantArena::checkConsistency() const {
  TarenaGuard guard(fLock);
  int faults = 0;
  const auto fault = [&](const char* what, const void* where) {
    ++faults;
    reportError("TvariantArena \"%s\": %s at %p", name() ? name() : "", what, where);
  };
  std::int64_t used = 0;
  std::size_t freeBlocks = 0;
  std::size_t footPrintSeen = fSavedPage != nullptr ? fSavedPageBytes : 0;
  const TpageLinks* prevLinks = nullptr;
  for (const TpageLinks* l = fPages; l != nullptr; prevLinks = l, l = l->next) {
    auto* page = const_cast<Tpage*>(reinterpret_cast<const Tpage*>(l));
    footPrintSeen += page->dataSize + kPageHeaderBytes;
    if (l->arena != this) fault("page owned by another arena", page);
    if (l->prev != prevLinks) fault("broken page list", page);
    char* end = page->data() + page->dataSize;
    std::size_t inUse = 0;
    std::size_t prevSize = 0;
    bool prevFree = false;
    Tblock* b = page->first();
    for (;;) {
      if (TasanPoison::isPoisoned(b, kBlockHeaderBytes)) { fault("block header lies in free space", b); return -1; }
      if (b->page != page) { fault("block names the wrong page", b); return -1; }
      if (b->prevSize != prevSize) fault("previous-size tag does not match", b);
      if (b->size() < 16 || b->size() % 8 != 0) { fault("bad block size", b); return -1; }
      if (b->user() + b->size() > end) { fault("block runs past its page", b); return -1; }
      if (b->isFree()) {
        ++freeBlocks;
        if (prevFree) fault("two free neighbours not merged", b);
        if (*b->links()->prevLink != b) fault("free block not linked in its bin", b);
      } else {
        ++inUse;
        used += static_cast<std::int64_t>(b->size());
      }
      prevFree = b->isFree();
      prevSize = b->size();
      if (b->user() + b->size() == end) break;
      if (b == page->last) { fault("last block does not end the page", b); break; }
      b = b->next();
    }
    if (b != page->last) fault("page's last block is wrong", page);
    if (inUse != page->inUse) fault("in-use count does not match", page);
  }
  std::size_t binned = 0;
  for (int bin = 0; bin < kBinCount; ++bin) {
    const bool marked = (fBinMask[bin >> 6] >> (bin & 63)) & 1;
    if (marked != (fBins[bin] != nullptr)) fault("bin mask out of date", &fBins[bin]);
    for (Tblock* b = fBins[bin]; b != nullptr; b = b->links()->next) {
      if (++binned > freeBlocks) { fault("bin holds blocks that are not in any page", b); return -1; }
      if (!b->isFree()) fault("block in a bin is in use", b);
      if (binIndex(b->size()) != bin) fault("block is in the wrong bin", b);
      if (b->page->arena() != this) fault("bin holds a block of another arena", b);
    }
  }
  if (binned != freeBlocks) fault("free blocks missing from the bins", this);
  std::int64_t purified = 0;
  for (auto* h = static_cast<const TpurifyHeader*>(fPurifyBlocks); h != nullptr; h = h->next)
    purified += static_cast<std::int64_t>(h->size);
  if (used + purified != fAllocatedMemory) fault("allocatedMemory does not match the blocks", this);
  if (footPrintSeen != footPrint()) fault("footprint does not match the pages", this);
  return faults == 0 ? 0 : -1;
}

void TvariantArena::debug(std::ostream& out) const {
  TarenaGuard guard(fLock);
  out << "TvariantArena \"" << (name() ? name() : "") << "\": " << fAllocatedMemory
      << " bytes in use, footprint " << footPrint() << '\n';
  for (const TpageLinks* l = fPages; l != nullptr; l = l->next) {
    const auto* page = reinterpret_cast<const Tpage*>(l);
    out << "  page " << static_cast<const void*>(page) << ": " << page->dataSize << " bytes, "
        << page->inUse << " blocks in use\n";
  }
  for (int bin = 0; bin < kBinCount; ++bin) {
    std::size_t count = 0;
    for (Tblock* b = fBins[bin]; b != nullptr; b = b->links()->next) ++count;
    if (count != 0) out << "  bin " << bin << ": " << count << " free blocks\n";
  }
}

TmtVariantArena::TmtVariantArena(std::size_t pageSize, unsigned fitSearchLimit,
                                 Tallocator& allocator, const char* name, bool releaseEmptyPages,
                                 bool useLastPageFirst)
    : TvariantArena(pageSize, fitSearchLimit, allocator, name, releaseEmptyPages,
                    useLastPageFirst) {
  fLock = &fMutex;
}

TmtVariantArena::~TmtVariantArena() { fLock = nullptr; }
