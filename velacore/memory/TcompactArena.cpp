#include <velacore/memory/TcompactArena.h>

#include <velacore/memory/Tallocator.h>
#include <velacore/memory/internal/TarenaGuard.h>
#include <velacore/memory/internal/TmemoryReport.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <ostream>

using vela::memory_internal::TarenaGuard;
using vela::memory_internal::reportError;

namespace {

// The bit words (one spare) and the summary behind them, rounded to 16 bytes. They live in a
// block of their own, so that a page is exactly its header and its blocks.
std::size_t bitWordBytes(std::size_t capacity) { return (capacity / 64 + 1) * 8; }
std::size_t bitBytes(std::size_t capacity) {
  const std::size_t summary = ((capacity / 64 + 1) + 63) / 64 * 8;
  return (bitWordBytes(capacity) + summary + 15) & ~std::size_t(15);
}

}  // namespace

TcompactArena::TcompactArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                             const char* name)
    : TbaseArena(allocator, name, kCompactPage),
      fBlockSize(blockSize < 8 ? 8 : (blockSize + 7) & ~std::size_t(7)) {
  static_assert(sizeof(TcompactPage) == kPageHeaderBytes);
  setNumBlocksPerPage(pageSize > kPageHeaderBytes ? (pageSize - kPageHeaderBytes) / fBlockSize : 1);
  if ((fBlockSize & (fBlockSize - 1)) == 0 && fBlockSize < (std::size_t(1) << 31))
    fShift = static_cast<unsigned>(__builtin_ctzll(fBlockSize));
  else
    fReciprocal = ~std::uint64_t(0) / fBlockSize + 1;  // never a power of two here: no overflow
}

TcompactArena::~TcompactArena() {
  resetLocked();
  std::free(fTable);
  std::free(fGranuleStore);
}

void TcompactArena::setNumBlocksPerPage(std::size_t count) {
  TarenaGuard guard(fLock);
  fBlocksPerPage = count == 0 ? 1 : count;
}

std::size_t TcompactArena::pageBytes() const { return kPageHeaderBytes + fBlocksPerPage * fBlockSize; }

std::size_t TcompactArena::pageBytesOf(const TbaseArena* arena, const TpageLinks* links) {
  const auto* page = reinterpret_cast<const TcompactPage*>(links);
  return kPageHeaderBytes + page->capacity * static_cast<const TcompactArena*>(arena)->fBlockSize;
}

void TcompactArena::dropPage(TcompactPage* page) {
  std::free(page->bits);
  releasePage(&page->links, pageBytesOf(this, &page->links));
}

TcompactArena::TcompactPage* TcompactArena::makePage() {
  TcompactPage* page = nullptr;
  if (fSavedPage != nullptr) {
    std::size_t bytes = 0;
    page = reinterpret_cast<TcompactPage*>(takeSavedPage(bytes));
    linkPage(&page->links);
  } else {
    auto* bits = static_cast<std::uint64_t*>(std::malloc(bitBytes(fBlocksPerPage)));
    if (bits == nullptr) return nullptr;
    TpageLinks* links = newPage(pageBytes());
    if (links == nullptr) {
      std::free(bits);
      return nullptr;
    }
    page = reinterpret_cast<TcompactPage*>(links);
    page->capacity = fBlocksPerPage;
    page->partialBits = fBlocksPerPage % 32;
    page->bits = bits;
    page->open = reinterpret_cast<std::uint64_t*>(reinterpret_cast<char*>(bits) + bitWordBytes(fBlocksPerPage));
    page->first = reinterpret_cast<char*>(page) + kPageHeaderBytes;
    page->end = page->first + fBlocksPerPage * fBlockSize;
    TasanPoison::poison(page->first, static_cast<std::size_t>(page->end - page->first));
  }
  if (!enterInTable(page)) {
    unlinkPage(&page->links);
    dropPage(page);
    return nullptr;
  }
  // Positions from the capacity on stand for no block and stay set.
  const std::size_t words = page->bitWords();
  for (std::size_t w = 0; w < words; ++w) {
    const std::size_t from = w * 64;
    page->bits[w] = page->capacity >= from + 64 ? 0
                    : page->capacity <= from   ? ~std::uint64_t(0)
                                               : ~std::uint64_t(0) << (page->capacity - from);
  }
  for (std::size_t i = 0; i < page->summaryWords(); ++i) {
    std::uint64_t summary = 0;
    for (std::size_t w = i * 64; w < words && w < i * 64 + 64; ++w)
      summary |= std::uint64_t(page->bits[w] != ~std::uint64_t(0)) << (w & 63);
    page->open[i] = summary;
  }
  page->inUse = 0;
  page->hint = page->positionOf(page->capacity >= 32 ? 7 : 0);
  page->cursor = 0;
  return page;
}

void* TcompactArena::allocateIn(TcompactPage* page) {
  if (void* p = takeFast(page)) return p;
  // The first summary word with a set bit from the cursor on, and its first open bit word.
  for (std::size_t i = page->cursor >> 6, n = page->summaryWords(); i < n; ++i) {
    if (page->open[i] != 0) {
      const std::size_t w = i * 64 + static_cast<std::size_t>(__builtin_ctzll(page->open[i]));
      page->cursor = w;
      return claim(page, w * 64 + static_cast<std::size_t>(__builtin_ctzll(~page->bits[w])));
    }
  }
  assert(!"TcompactArena: page count out of step with its bits");
  reportError("TcompactArena \"%s\": page %p has no free block", name() ? name() : "", static_cast<void*>(page));
  return nullptr;
}

void* TcompactArena::allocateSlow() {
  TarenaGuard guard(fLock);
  void* p = allocateLocked();
  if (p != nullptr && fInUseCounter != nullptr) ++*fInUseCounter;
  return p;
}

void* TcompactArena::allocate(std::size_t) { return allocate(); }

void* TcompactArena::allocate(std::size_t, std::size_t) { return allocate(); }

void* TcompactArena::allocateLocked() {
  if (usePurify()) {
    void* p = purifyAllocate(fBlockSize);
    if (p != nullptr) ++fBlocksInUse;
    return p;
  }
  if (fCurrent != nullptr && fCurrent->inUse < fCurrent->capacity) return allocateIn(fCurrent);
  if (!fAllFull) {
    for (TpageLinks* l = fPages; l != nullptr; l = l->next) {
      auto* page = reinterpret_cast<TcompactPage*>(l);
      if (page->inUse < page->capacity) {
        fCurrent = page;
        return allocateIn(page);
      }
    }
    fAllFull = true;
  }
  TcompactPage* page = makePage();
  if (page == nullptr) return nullptr;
  fCurrent = page;
  return allocateIn(page);
}

const TcompactArena::TgranuleSlot TcompactArena::kNoGranules[1] = {{~std::uintptr_t(0), 0, nullptr, nullptr}};

TcompactArena::TcompactPage* TcompactArena::searchTable(std::uintptr_t c) const {
  // The last page that starts at or below c, by a branch-free binary search (which half holds a
  // released block cannot be predicted).
  std::size_t n = fTableCount;
  if (n == 0) return nullptr;
  TcompactPage* const* base = fTable;
  while (n > 1) {
    const std::size_t half = n / 2;
    base = reinterpret_cast<std::uintptr_t>(base[half]) <= c ? base + half : base;
    n -= half;
  }
  TcompactPage* page = *base;
  return c >= reinterpret_cast<std::uintptr_t>(page->first) && c < reinterpret_cast<std::uintptr_t>(page->end)
             ? page
             : nullptr;
}

void TcompactArena::rebuildGranules() {
  std::free(fGranuleStore);
  fGranuleStore = nullptr;
  fGranules = kNoGranules;
  fGranuleMask = 0;
  fGranuleShift = 63;
  if (fTableCount == 0) return;
  // Granules no larger than the smallest block area, so that one overlaps at most two pages of
  // that size; slots for twice the granules in use.
  std::size_t smallest = ~std::size_t(0);
  for (std::size_t i = 0; i < fTableCount; ++i)
    smallest = std::min(smallest, static_cast<std::size_t>(fTable[i]->end - fTable[i]->first));
  const unsigned shift = std::max(6u, 63u - static_cast<unsigned>(__builtin_clzll(smallest | 1)));
  std::size_t used = 0;
  for (std::size_t i = 0; i < fTableCount; ++i) {
    const auto first = reinterpret_cast<std::uintptr_t>(fTable[i]->first);
    const auto last = reinterpret_cast<std::uintptr_t>(fTable[i]->end) - 1;
    used += (last >> shift) - (first >> shift) + 1;
  }
  std::size_t slots = 8;
  while (slots < 2 * used) slots *= 2;
  auto* store = static_cast<TgranuleSlot*>(std::malloc(slots * sizeof(TgranuleSlot)));
  if (store == nullptr) return;  // the binary search alone still finds every page
  for (std::size_t i = 0; i < slots; ++i) store[i] = kNoGranules[0];
  const std::uintptr_t mask = slots - 1;
  for (std::size_t i = 0; i < fTableCount; ++i) {  // in address order: a second page is the higher
    TcompactPage* page = fTable[i];
    const auto first = reinterpret_cast<std::uintptr_t>(page->first);
    const auto last = reinterpret_cast<std::uintptr_t>(page->end) - 1;
    for (std::uintptr_t g = first >> shift; g <= last >> shift; ++g) {
      std::uintptr_t h = g & mask;
      while (store[h].granule != g && store[h].granule != ~std::uintptr_t(0)) h = (h + 1) & mask;
      TgranuleSlot& slot = store[h];
      if (slot.granule != g) {
        slot = {g, ~std::uintptr_t(0), page, nullptr};
      } else if (slot.low != nullptr && slot.high == nullptr) {
        slot.high = page;
        slot.split = first;
      } else {
        slot.low = slot.high = nullptr;  // three or more: the binary search decides
      }
    }
  }
  fGranuleStore = store;
  fGranules = store;
  fGranuleMask = mask;
  fGranuleShift = shift;
}

bool TcompactArena::enterInTable(TcompactPage* page) {
  if (fTableCount == fTableCapacity) {
    const std::size_t grown = fTableCapacity == 0 ? 8 : fTableCapacity * 2;
    auto* table = static_cast<TcompactPage**>(std::realloc(fTable, grown * sizeof(TcompactPage*)));
    if (table == nullptr) return false;
    fTable = table;
    fTableCapacity = grown;
  }
  std::size_t i = fTableCount;
  for (; i > 0 && std::less<TcompactPage*>()(page, fTable[i - 1]); --i) fTable[i] = fTable[i - 1];
  fTable[i] = page;
  ++fTableCount;
  rebuildGranules();
  return true;
}

void TcompactArena::leaveTable(TcompactPage* page) {
  std::size_t i = 0;
  while (i < fTableCount && fTable[i] != page) ++i;
  assert(i < fTableCount && "compact page missing from the page table");
  if (i == fTableCount) return;
  --fTableCount;
  for (; i < fTableCount; ++i) fTable[i] = fTable[i + 1];
  rebuildGranules();
}

long TcompactArena::indexOf(const void* p) const {
  TarenaGuard guard(fLock);
  const TcompactPage* page = pageOf(p);
  if (page == nullptr) return -1;
  const auto offset = static_cast<std::size_t>(static_cast<const char*>(p) - page->first);
  return static_cast<long>(fShift != 0 ? offset >> fShift : offset / fBlockSize);
}

void TcompactArena::releaseIn(TcompactPage* page, const void* p) {
  const auto offset = static_cast<std::size_t>(static_cast<const char*>(p) - page->first);
  const std::size_t index = fShift != 0 ? offset >> fShift : offset / fBlockSize;
  if (index * fBlockSize != offset) {
    assert(!"TcompactArena::deallocate: the pointer is inside a block, not at its start");
    reportError("TcompactArena \"%s\": %p is not the start of a block", name() ? name() : "", p);
    return;
  }
  if (!page->isSet(index)) {
    assert(!"TcompactArena::deallocate: the block was released already");
    reportError("TcompactArena \"%s\": block %p was released already", name() ? name() : "", p);
    return;
  }
  TasanPoison::poison(p, fBlockSize);
  const std::size_t pos = page->positionOf(index);
  const std::size_t w = pos >> 6;
  page->bits[w] &= ~(std::uint64_t(1) << (pos & 63));
  page->open[w >> 6] |= std::uint64_t(1) << (w & 63);
  page->cursor = std::min(page->cursor, w);
  --page->inUse;
  --fBlocksInUse;
  if (fInUseCounter != nullptr) --*fInUseCounter;
  fAllFull = false;
  // A full current page would send the next request on a walk: this page has room now.
  if (fCurrent == nullptr || fCurrent->inUse == fCurrent->capacity) fCurrent = page;
  if (page->inUse == 0) {
    if (fCurrent == page) fCurrent = nullptr;
    leaveTable(page);
    unlinkPage(&page->links);
    purgeLocked();  // the page saved before goes back, with its bit map
    savePage(&page->links, pageBytesOf(this, &page->links));
  }
}

bool TcompactArena::releaseLocal(void* p) {
  TcompactPage* page = pageOf(p);
  if (page == nullptr) {
    // Every block of the saved page is free: a block there is being released a second time.
    const auto* saved = reinterpret_cast<const TcompactPage*>(fSavedPage);
    const char* c = static_cast<const char*>(p);
    if (saved == nullptr || c < saved->first || c >= saved->end) return false;
    assert(!"TcompactArena::deallocate: the block was released already");
    reportError("TcompactArena \"%s\": block %p was released already", name() ? name() : "", p);
    return true;
  }
  releaseIn(page, p);
  return true;
}

bool TcompactArena::deallocateSlow(void* p) {
  if (p == nullptr) return true;
  {
    TarenaGuard guard(fLock);
    if (usePurify()) {
      purifyDeallocate(p);
      --fBlocksInUse;
      if (fInUseCounter != nullptr) --*fInUseCounter;
      return true;
    }
    if (releaseLocal(p)) return true;
  }
  // Not ours: ask the other compact arenas of the same name, each under its own lock. Our lock is
  // released first, so two arenas passing blocks to each other cannot deadlock.
  struct Tsearch {
    TcompactArena* self;
    void* block;
    bool taken;
  } search{this, p, false};
  sForEachArena(
      [](TbaseArena* arena, TpageType type, void* context) {
        auto* s = static_cast<Tsearch*>(context);
        if (s->taken || arena == s->self || type != kCompactPage || arena->name() != s->self->name())
          return;
        auto* other = static_cast<TcompactArena*>(arena);
        TarenaGuard guard(other->fLock);
        s->taken = other->releaseLocal(s->block);
      },
      &search);
  if (search.taken) return true;
  std::free(p);
  return false;
}

void TcompactArena::preAllocate(std::size_t count) {
  TarenaGuard guard(fLock);
  if (usePurify()) return;
  std::size_t room = 0;
  for (TpageLinks* l = fPages; l != nullptr; l = l->next) {
    auto* page = reinterpret_cast<TcompactPage*>(l);
    room += page->capacity - page->inUse;
  }
  while (room < count) {
    TcompactPage* page = makePage();
    if (page == nullptr) return;
    room += page->capacity;
    fAllFull = false;
  }
}

void TcompactArena::reset() {
  TarenaGuard guard(fLock);
  resetLocked();
}

void TcompactArena::resetLocked() {
  for (TpageLinks* l = fPages; l != nullptr; l = l->next) std::free(reinterpret_cast<TcompactPage*>(l)->bits);
  purgeLocked();
  releaseAllPages(&pageBytesOf);
  fTableCount = 0;
  rebuildGranules();
  fCurrent = nullptr;
  fAllFull = false;
  if (fInUseCounter != nullptr) *fInUseCounter -= static_cast<int>(fBlocksInUse);
  fBlocksInUse = 0;
}

void TcompactArena::purgeLocked() {
  std::size_t bytes = 0;
  if (TpageLinks* page = takeSavedPage(bytes)) dropPage(reinterpret_cast<TcompactPage*>(page));
}

std::int64_t TcompactArena::allocatedMemory() const {
  TarenaGuard guard(fLock);
  return fBlocksInUse * static_cast<std::int64_t>(fBlockSize);
}

bool TcompactArena::canFreeMemory() const {
  TarenaGuard guard(fLock);
  return fSavedPage != nullptr;
}

int TcompactArena::checkConsistency() const {
  TarenaGuard guard(fLock);
  int faults = 0;
  const auto fault = [&](const char* what, const void* where) {
    ++faults;
    reportError("TcompactArena \"%s\": %s at %p", name() ? name() : "", what, where);
  };
  std::int64_t inUse = 0;
  std::size_t tabled = 0;
  bool currentSeen = fCurrent == nullptr;
  const TpageLinks* prev = nullptr;
  for (const TpageLinks* l = fPages; l != nullptr; prev = l, l = l->next) {
    const auto* page = reinterpret_cast<const TcompactPage*>(l);
    if (l->arena != this) fault("page owned by another arena", page);
    if (l->prev != prev) fault("broken page list", page);
    if (page == fCurrent) currentSeen = true;
    std::size_t bits = 0;
    bool spareClear = false;
    for (std::size_t w = 0; w < page->bitWords(); ++w) {
      const std::size_t from = w * 64;
      const std::uint64_t blocks = page->capacity >= from + 64 ? ~std::uint64_t(0)
                                   : page->capacity <= from   ? 0
                                                              : ~(~std::uint64_t(0) << (page->capacity - from));
      bits += static_cast<std::size_t>(__builtin_popcountll(page->bits[w] & blocks));
      spareClear |= (page->bits[w] | blocks) != ~std::uint64_t(0);
      const bool open = (page->open[w >> 6] >> (w & 63)) & 1;
      if (open != (page->bits[w] != ~std::uint64_t(0))) fault("free-word summary out of date", page);
      if (page->bits[w] != ~std::uint64_t(0) && w < page->cursor) fault("search cursor skips a free block", page);
    }
    if (spareClear) fault("bits beyond the last block are clear", page);
    if (bits != page->inUse) fault("in-use count does not match the bits", page);
    if (page->hint > page->capacity) fault("hint beyond the capacity", page);
    std::size_t slot = 0;
    while (slot < fTableCount && fTable[slot] != page) ++slot;
    if (slot == fTableCount) fault("page missing from the page table", page);
    ++tabled;
    if (page->end != page->first + page->capacity * fBlockSize) fault("block area has the wrong size", page);
    inUse += static_cast<std::int64_t>(page->inUse);
  }
  if (!currentSeen) fault("current page is not in the page list", fCurrent);
  if (tabled != fTableCount) fault("page table holds pages that are not in the list", this);
  for (std::size_t i = 1; i < fTableCount; ++i)
    if (fTable[i - 1] >= fTable[i]) fault("page table is not sorted", fTable[i]);
  if (!usePurify() && inUse != fBlocksInUse) fault("arena count does not match the pages", this);
  return faults == 0 ? 0 : -1;
}

void TcompactArena::purge() {
  sForEachArena(
      [](TbaseArena* arena, TpageType type, void*) {
        if (type != kCompactPage) return;
        auto* compact = static_cast<TcompactArena*>(arena);
        TarenaGuard guard(compact->fLock);
        compact->purgeLocked();
      },
      nullptr);
}

void TcompactArena::debug(std::ostream& out) {
  sForEachArena(
      [](TbaseArena* arena, TpageType type, void* context) {
        if (type != kCompactPage) return;
        auto* compact = static_cast<TcompactArena*>(arena);
        *static_cast<std::ostream*>(context)
            << "TcompactArena \"" << (arena->name() ? arena->name() : "") << "\": block "
            << compact->blockSize() << " bytes, " << compact->numBlocksPerPage()
            << " per page, footprint " << arena->footPrint() << ", "
            << compact->allocatedMemory() << " bytes in use\n";
      },
      &out);
}

TmtCompactArena::TmtCompactArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                                 const char* name, int* inUseCounter)
    : TcompactArena(blockSize, pageSize, allocator, name) {
  fInUseCounter = inUseCounter;
  fLock = &fMutex;
}

TmtCompactArena::~TmtCompactArena() {
  {
    TarenaGuard guard(fLock);
    resetLocked();
  }
  fLock = nullptr;  // the mutex dies before the base destructors run
}
