#include <velacore/memory/TbaseArena.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TasanPoison.h>
#include <velacore/memory/internal/TarenaGuard.h>
#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TfixedArena.h>
#include <velacore/memory/TmemoryUsage.h>
#include <velacore/memory/TstackArena.h>
#include <velacore/memory/TvariantArena.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <ostream>

namespace {

// ---- PURIFY ----

constexpr std::uint64_t kPurifyMagic = 0x5655524950414c45ULL;  // arbitrary, unlikely in data

struct alignas(16) TpureHeader {
  std::uint64_t magic;
  std::size_t size;
};

// ---- registry ----

struct TregistryEntry {
  TbaseArena* arena;
  TbaseArena::TpageType type;
};

struct Tregistry {
  TmtCriticalSection lock;
  TregistryEntry* entries = nullptr;
  std::size_t count = 0;
};

Tregistry& registry() {
  static Timmortal<Tregistry> sRegistry;
  return *sRegistry;
}

void enter(TbaseArena* arena, TbaseArena::TpageType type) {
  Tregistry& r = registry();
  TmtScopedLock guard(r.lock);
  // One entry at a time: arenas are few and long-lived.
  auto* grown = static_cast<TregistryEntry*>(std::realloc(r.entries, (r.count + 1) * sizeof(TregistryEntry)));
  if (grown == nullptr) throw std::bad_alloc();
  r.entries = grown;
  r.entries[r.count++] = {arena, type};
}

void leave(TbaseArena* arena) {
  Tregistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) {
    if (r.entries[i].arena == arena) {
      r.entries[i] = r.entries[--r.count];
      return;
    }
  }
}

}  // namespace

// ---- TpureArena ----

TpureArena::~TpureArena() = default;

std::atomic<int> TpureArena::fsPurify{-1};

bool TpureArena::readPurify() {
  const int value = VelaGetEnv("PURIFY") != nullptr ? 1 : 0;
  fsPurify.store(value, std::memory_order_relaxed);
  return value != 0;
}

void TpureArena::sReloadPurify() { readPurify(); }

void* TpureArena::purifyAllocate(std::size_t size) {
  if (size > SIZE_MAX - sizeof(TpureHeader)) return nullptr;
  auto* header = static_cast<TpureHeader*>(std::malloc(sizeof(TpureHeader) + size));
  if (header == nullptr) return nullptr;
  header->magic = kPurifyMagic;
  header->size = size;
  return header + 1;
}

void TpureArena::purifyDeallocate(void* p) {
  if (p == nullptr) return;
  TpureHeader* header = static_cast<TpureHeader*>(p) - 1;
  if (header->magic != kPurifyMagic) {
    std::fputs("TpureArena::deallocate() Bad magic number in malloc'ed block\n", stderr);
    std::abort();
  }
  header->magic = 0;  // a second release of the same block now aborts too
  std::free(header);
}

// ---- TbaseArena ----

TbaseArena::TbaseArena(Tallocator& allocator, const char* name, TpageType type)
    : fAllocator(allocator), fName(name), fPageType(type) {
  enter(this, type);
}

TbaseArena::~TbaseArena() {
  leave(this);
  // The derived destructors returned their pages; anything left is a fault of ours.
}

TbaseArena::TpageLinks* TbaseArena::newPage(std::size_t bytes) {
  bytes = (bytes + 7) & ~std::size_t(7);
  auto* page = static_cast<TpageLinks*>(fAllocator.allocate(bytes, fName));
  if (page == nullptr) return nullptr;
  page->arena = this;
  page->prev = nullptr;
  page->next = nullptr;
  fFootPrint += bytes;
  if (fFootPrint > fPeakFootPrint) fPeakFootPrint = fFootPrint;
  linkPage(page);
  return page;
}

void TbaseArena::linkPage(TpageLinks* page) {
  page->prev = nullptr;
  page->next = fPages;
  if (fPages != nullptr) fPages->prev = page;
  fPages = page;
}

void TbaseArena::unlinkPage(TpageLinks* page) {
  if (page->prev != nullptr)
    page->prev->next = page->next;
  else
    fPages = page->next;
  if (page->next != nullptr) page->next->prev = page->prev;
  page->prev = page->next = nullptr;
}

void TbaseArena::releasePage(TpageLinks* page, std::size_t bytes) {
  bytes = (bytes + 7) & ~std::size_t(7);
  fFootPrint -= bytes;
  TasanPoison::unpoison(page, bytes);  // free blocks in it were poisoned
  fAllocator.free(page, bytes);
}

void TbaseArena::savePage(TpageLinks* page, std::size_t bytes) {
  if (fSavedPage != nullptr) releasePage(fSavedPage, fSavedPageBytes);
  fSavedPage = page;
  fSavedPageBytes = (bytes + 7) & ~std::size_t(7);
}

TbaseArena::TpageLinks* TbaseArena::takeSavedPage(std::size_t& bytes) {
  TpageLinks* page = fSavedPage;
  bytes = fSavedPageBytes;
  fSavedPage = nullptr;
  fSavedPageBytes = 0;
  return page;
}

void TbaseArena::releaseAllPages(std::size_t (*bytesOf)(const TbaseArena*, const TpageLinks*)) {
  while (fPages != nullptr) {
    TpageLinks* page = fPages;
    fPages = page->next;
    releasePage(page, bytesOf(this, page));
  }
  std::size_t bytes = 0;
  if (TpageLinks* saved = takeSavedPage(bytes)) releasePage(saved, bytes);
}

std::int64_t TbaseArena::allocatedMemory() const {
  switch (fPageType) {
    case kVariantPage: return static_cast<const TvariantArena*>(this)->allocatedMemory();
    case kCompactPage: return static_cast<const TcompactArena*>(this)->allocatedMemory();
    case kFixedPage: return static_cast<const TfixedArena*>(this)->allocatedMemory();
    case kStackPage: return static_cast<const TstackArena*>(this)->allocatedMemory();
    case kUnknownPage: break;
  }
  return 0;
}

bool TbaseArena::canFreeMemory() const {
  switch (fPageType) {
    case kVariantPage: return static_cast<const TvariantArena*>(this)->canFreeMemory();
    case kCompactPage: return static_cast<const TcompactArena*>(this)->canFreeMemory();
    default: return fSavedPage != nullptr;
  }
}

void TbaseArena::reset() {
  switch (fPageType) {
    case kVariantPage: static_cast<TvariantArena*>(this)->reset(); break;
    case kCompactPage: static_cast<TcompactArena*>(this)->reset(); break;
    case kFixedPage: static_cast<TfixedArena*>(this)->reset(); break;
    case kStackPage: static_cast<TstackArena*>(this)->reset(); break;
    case kUnknownPage: break;
  }
}

void TbaseArena::debug(std::ostream& out) const {
  switch (fPageType) {
    case kVariantPage: static_cast<const TvariantArena*>(this)->debug(out); break;
    default:
      out << "arena \"" << (fName ? fName : "") << "\" kind " << fPageType << ": footprint "
          << fFootPrint << ", " << allocatedMemory() << " bytes in use\n";
  }
}

void TbaseArena::sForEachArena(void (*visit)(TbaseArena*, TpageType, void*), void* context) {
  Tregistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) visit(r.entries[i].arena, r.entries[i].type, context);
}

bool TbaseArena::sIsRegistered(const TbaseArena* arena) {
  Tregistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i)
    if (r.entries[i].arena == arena) return true;
  return false;
}

void TbaseArena::sPrintArenas(std::ostream& out) {
  sForEachArena(
      [](TbaseArena* arena, TpageType type, void* context) {
        *static_cast<std::ostream*>(context)
            << (arena->name() ? arena->name() : "(unnamed)") << " kind " << type << ": footprint "
            << arena->footPrint() << " bytes, " << arena->allocatedMemory() << " in use\n";
      },
      &out);
}

TmtCriticalSection* TbaseArena::lockOf() const {
  switch (fPageType) {
    case kVariantPage: return static_cast<const TvariantArena*>(this)->fLock;
    case kCompactPage: return static_cast<const TcompactArena*>(this)->fLock;
    case kStackPage: return static_cast<const TstackArena*>(this)->fLock;
    default: return nullptr;
  }
}

std::size_t TbaseArena::usedLocked() const {
  std::int64_t used = 0;
  switch (fPageType) {
    case kVariantPage: used = static_cast<const TvariantArena*>(this)->fAllocatedMemory; break;
    case kCompactPage: {
      const auto* compact = static_cast<const TcompactArena*>(this);
      used = compact->fBlocksInUse * static_cast<std::int64_t>(compact->fBlockSize);
      break;
    }
    case kFixedPage: used = static_cast<const TfixedArena*>(this)->allocatedMemory(); break;
    case kStackPage: used = static_cast<const TstackArena*>(this)->fAllocatedMemory; break;
    case kUnknownPage: break;
  }
  return used > 0 ? static_cast<std::size_t>(used) : 0;
}

void TbaseArena::sCollectUsage(std::vector<TmemoryUsage>& out) {
  sForEachArena(
      [](TbaseArena* arena, TpageType type, void* context) {
        static const char* const kKinds[] = {"arena", "variant", "fixed", "compact", "stack"};
        TmemoryUsage usage;
        usage.name = arena->name() != nullptr ? arena->name() : "(unnamed)";
        usage.kind = type >= kUnknownPage && type <= kStackPage ? kKinds[type] : "arena";
        {
          vela::memory_internal::TarenaGuard guard(arena->lockOf());
          usage.reserved = arena->fFootPrint;
          usage.peak = arena->fPeakFootPrint;
          usage.used = arena->usedLocked();
        }
        static_cast<std::vector<TmemoryUsage>*>(context)->push_back(std::move(usage));
      },
      &out);
}

// ---- TheapArena ----

TheapArena::~TheapArena() = default;
