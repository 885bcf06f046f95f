#include <velacore/memory/TfixedArena.h>

#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TasanPoison.h>

#include <cassert>

struct TfixedArena::Tpage {
  TpageLinks links;
  std::size_t capacity;
  char* first;
  char* end;
  std::size_t reserved;

  char* data() { return reinterpret_cast<char*>(this) + kPageHeaderBytes; }
};

TfixedArena::TfixedArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
                         const char* name)
    : TheapArena(allocator, name, kFixedPage),
      fBlockSize(blockSize < 8 ? 8 : (blockSize + 7) & ~std::size_t(7)),
      fBlocksPerPage(pageSize > kPageHeaderBytes + fBlockSize ? (pageSize - kPageHeaderBytes) / fBlockSize
                                                              : 1) {
  static_assert(sizeof(Tpage) == kPageHeaderBytes);
}

TfixedArena::~TfixedArena() { reset(); }

std::size_t TfixedArena::pageBytesOf(const TbaseArena* arena, const TpageLinks* links) {
  return kPageHeaderBytes + reinterpret_cast<const Tpage*>(links)->capacity *
                                static_cast<const TfixedArena*>(arena)->fBlockSize;
}

void* TfixedArena::allocate() {
  if (usePurify()) {
    void* p = purifyAllocate(fBlockSize);
    if (p != nullptr) ++fBlocksInUse;
    return p;
  }
  if (fFreeList != nullptr) {
    void* p = fFreeList;
    fFreeList = *static_cast<void**>(p);
    ++fBlocksInUse;
    TasanPoison::unpoison(p, fBlockSize);
    return p;
  }
  if (fNext == fEnd) {
    TpageLinks* links = newPage(kPageHeaderBytes + fBlocksPerPage * fBlockSize);
    if (links == nullptr) return nullptr;
    auto* page = reinterpret_cast<Tpage*>(links);
    page->capacity = fBlocksPerPage;
    page->first = page->data();
    page->end = page->first + fBlocksPerPage * fBlockSize;
    page->reserved = 0;
    fNext = page->first;
    fEnd = page->end;
    TasanPoison::poison(fNext, static_cast<std::size_t>(fEnd - fNext));
  }
  void* p = fNext;
  fNext += fBlockSize;
  ++fBlocksInUse;
  TasanPoison::unpoison(p, fBlockSize);
  return p;
}

void TfixedArena::deallocate(void* p) {
  if (p == nullptr) return;
  if (usePurify()) {
    purifyDeallocate(p);
    --fBlocksInUse;
    return;
  }
  assert(owns(p) && "TfixedArena::deallocate: the block does not belong to this arena");
  *static_cast<void**>(p) = fFreeList;
  fFreeList = p;
  --fBlocksInUse;
  // The free-list link stays readable.
  TasanPoison::poison(static_cast<char*>(p) + sizeof(void*), fBlockSize - sizeof(void*));
}

bool TfixedArena::owns(const void* p) const {
  const char* c = static_cast<const char*>(p);
  for (const TpageLinks* l = fPages; l != nullptr; l = l->next) {
    const auto* page = reinterpret_cast<const Tpage*>(l);
    if (c >= page->first && c < page->end)
      return static_cast<std::size_t>(c - page->first) % fBlockSize == 0;
  }
  return false;
}

void TfixedArena::reset() {
  releaseAllPages(&pageBytesOf);
  fFreeList = nullptr;
  fNext = fEnd = nullptr;
  fBlocksInUse = 0;
}
