#include <velacore/memory/TstackArena.h>

#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TasanPoison.h>
#include <velacore/memory/internal/TarenaGuard.h>
#include <velacore/memory/internal/TmemoryReport.h>

#include <algorithm>
#include <cassert>
#include <cstdint>

using vela::memory_internal::TarenaGuard;

struct TstackArena::Tpage {
  TpageLinks links;
  std::size_t dataSize;
  std::size_t top;     // offset of the first unused byte of the data area
  std::size_t inUse;   // blocks not yet released
  std::size_t reserved[2];

  char* data() { return reinterpret_cast<char*>(this) + kPageHeaderBytes; }
  TstackArena* arena() const { return static_cast<TstackArena*>(links.arena); }
};

namespace {

struct TstackBlock {
  void* page;
  std::size_t size;  // bytes from the block header to the end of the block
};

}  // namespace

TstackArena::TstackArena(std::size_t pageSize, Tallocator& allocator)
    : TstackArena(pageSize, 16, allocator) {}

TstackArena::TstackArena(std::size_t pageSize, std::size_t alignment, Tallocator& allocator)
    : TbaseArena(allocator, "Stack Arena", kStackPage), fPageSize(pageSize), fAlignment(16) {
  static_assert(sizeof(Tpage) == kPageHeaderBytes && sizeof(TstackBlock) == kBlockHeaderBytes);
  while (fAlignment < alignment && fAlignment < 4096) fAlignment <<= 1;
}

TstackArena::~TstackArena() { resetLocked(); }

std::size_t TstackArena::pageBytesOf(const TbaseArena*, const TpageLinks* page) {
  return kPageHeaderBytes + reinterpret_cast<const Tpage*>(page)->dataSize;
}

void* TstackArena::allocate(std::size_t size) {
  TarenaGuard guard(fLock);
  return allocateLocked(size);
}

void* TstackArena::allocateLocked(std::size_t size) {
  if (size == 0 || size > (std::size_t(1) << 60)) return nullptr;
  const std::size_t mask = fAlignment - 1;
  // The user block starts at an aligned address; its header sits right in front of it.
  const std::size_t need = (kBlockHeaderBytes + size + mask) & ~mask;
  Tpage* page = fCurrent;
  std::size_t start = 0;
  const auto fits = [&](Tpage* pg) {
    if (pg == nullptr) return false;
    const auto base = reinterpret_cast<std::uintptr_t>(pg->data());
    const std::uintptr_t user = (base + pg->top + kBlockHeaderBytes + mask) & ~std::uintptr_t(mask);
    start = user - kBlockHeaderBytes - base;
    return start + kBlockHeaderBytes + size <= pg->dataSize;
  };
  if (!fits(page)) {
    std::size_t bytes = 0;
    page = nullptr;
    if (fSavedPage != nullptr && reinterpret_cast<Tpage*>(fSavedPage)->dataSize >= need + fAlignment) {
      page = reinterpret_cast<Tpage*>(takeSavedPage(bytes));
      linkPage(&page->links);
    } else {
      const std::size_t dataSize = std::max(fPageSize, need + fAlignment);
      TpageLinks* links = newPage(kPageHeaderBytes + ((dataSize + 7) & ~std::size_t(7)));
      if (links == nullptr) return nullptr;
      page = reinterpret_cast<Tpage*>(links);
      page->dataSize = (dataSize + 7) & ~std::size_t(7);
    }
    page->top = 0;
    page->inUse = 0;
    fCurrent = page;
    if (!fits(page)) return nullptr;
  }
  auto* block = reinterpret_cast<TstackBlock*>(page->data() + start);
  TasanPoison::unpoison(block, kBlockHeaderBytes + size);  // may lie where a released block was
  block->page = page;
  block->size = kBlockHeaderBytes + size;
  page->top = start + kBlockHeaderBytes + size;
  ++page->inUse;
  fAllocatedMemory += static_cast<std::int64_t>(size);
  return block + 1;
}

void TstackArena::deallocate(void* p) {
  if (p == nullptr) return;
  TstackBlock* block = static_cast<TstackBlock*>(p) - 1;
  TstackArena* arena = static_cast<Tpage*>(block->page)->arena();
  assert(sIsRegistered(arena) && arena->pageType() == kStackPage &&
         "TstackArena::deallocate: the block does not belong to a live stack arena");
  TarenaGuard guard(arena->fLock);
  arena->deallocateLocked(p);
}

void TstackArena::deallocateLocked(void* p) {
  TstackBlock* block = static_cast<TstackBlock*>(p) - 1;
  auto* page = static_cast<Tpage*>(block->page);
  if (block->size == 0) {
    assert(!"TstackArena::deallocate: the block was released already");
    vela::memory_internal::reportError("TstackArena: block %p was released already", p);
    return;
  }
  fAllocatedMemory -= static_cast<std::int64_t>(block->size - kBlockHeaderBytes);
  const std::size_t start = static_cast<std::size_t>(reinterpret_cast<char*>(block) - page->data());
  if (start + block->size == page->top) page->top = start;  // the newest block: pop it
  TasanPoison::poison(p, block->size - kBlockHeaderBytes);
  block->size = 0;
  if (--page->inUse == 0) {
    page->top = 0;
    if (page != fCurrent) {
      unlinkPage(&page->links);
      savePage(&page->links, pageBytesOf(this, &page->links));
    }
  }
}

void TstackArena::reset() {
  TarenaGuard guard(fLock);
  resetLocked();
}

void TstackArena::resetLocked() {
  releaseAllPages(&pageBytesOf);
  fCurrent = nullptr;
  fAllocatedMemory = 0;
}

std::int64_t TstackArena::allocatedMemory() const {
  TarenaGuard guard(fLock);
  return fAllocatedMemory;
}

TmtStackArena::TmtStackArena(std::size_t pageSize, Tallocator& allocator)
    : TstackArena(pageSize, allocator) {
  fLock = &fMutex;
}

TmtStackArena::TmtStackArena(std::size_t pageSize, std::size_t alignment, Tallocator& allocator)
    : TstackArena(pageSize, alignment, allocator) {
  fLock = &fMutex;
}

TmtStackArena::~TmtStackArena() {
  reset();
  fLock = nullptr;  // the mutex dies before the base destructors run
}
