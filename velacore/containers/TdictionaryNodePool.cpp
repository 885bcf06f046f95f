#include <velacore/containers/detail/TdictionaryNodePool.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/platform/TplatformLargePages.h>

#include <atomic>
#include <memory>
#include <new>

namespace {
// Chunks grow from a few pages (one per level) to 64 KiB, which the heap still serves from its
// arena rather than from a mapping of its own.
constexpr std::size_t kFirstChunkPages = 4;
constexpr std::size_t kMaxChunkPages = 16;
// Large pages once the small chunks hold this many large pages' worth.
constexpr std::size_t kLargeChunksAfter = 1;

struct Thandles {
  TmtCriticalSection fLock;
  std::uint32_t fUsed = 0;             // handles ever handed out
  std::vector<std::uint32_t> fFree;    // handles given back, for reuse
};

// Never destroyed: a static dictionary may be destroyed after every other static.
Thandles& handles() {
  static Timmortal<Thandles> sHandles;
  return *sHandles;
}

}  // namespace

std::atomic<TdictionaryNodePool::Tsegment*> TdictionaryNodePool::fsSegments[kSegments] = {};

std::uint32_t TdictionaryNodePool::sCreate(std::size_t levelOneBytes) {
  auto pool = std::make_unique<TdictionaryNodePool>(levelOneBytes);
  Thandles& t = handles();
  TmtScopedLock guard(t.fLock);
  std::uint32_t index;
  if (!t.fFree.empty()) {
    index = t.fFree.back();
    t.fFree.pop_back();
  } else {
    if (t.fUsed == kSegments * kSlots) throw std::bad_alloc();
    // Room to give every handle back without allocating (sDestroy must not throw).
    if (t.fFree.capacity() < t.fUsed + 1) t.fFree.reserve(2 * (std::size_t(t.fUsed) + 1));
    index = t.fUsed;
    std::atomic<Tsegment*>& segment = fsSegments[index >> kSlotBits];
    if (segment.load(std::memory_order_relaxed) == nullptr)
      segment.store(new Tsegment, std::memory_order_release);
    ++t.fUsed;
  }
  sSlot(index).store(pool.release(), std::memory_order_relaxed);
  return index | kHandleBit;
}

void TdictionaryNodePool::sDestroy(std::uint32_t handle) {
  const std::uint32_t index = handle & ~kHandleBit;
  TdictionaryNodePool* pool = sSlot(index).exchange(nullptr, std::memory_order_relaxed);
  delete pool;
  Thandles& t = handles();
  TmtScopedLock guard(t.fLock);
  t.fFree.push_back(index);
}

std::size_t TdictionaryNodePool::sReservedBytes(std::uint32_t handle) {
  return (handle & kHandleBit) == 0 ? 0 : sSlot(handle).load()->fReserved;
}

TdictionaryNodePool::~TdictionaryNodePool() {
  for (const Tchunk& chunk : fChunks) {
    TasanPoison::unpoison(chunk.base, chunk.bytes);
    if (chunk.largePages)
      vela::platform::unmapLargePages(chunk.base, chunk.bytes);
    else
      ::operator delete(chunk.base, std::align_val_t(kPageBytes));
  }
}

void* TdictionaryNodePool::allocateOnNewPage(int level) {
  if (fSpare == fSpareEnd) {
    fChunks.reserve(fChunks.size() + 1);  // so that the push below cannot throw and leak
    Tchunk chunk{nullptr, 0, false};
    // A big dictionary takes whole large pages: one fault instead of hundreds each, and fewer
    // misses in the address-translation cache. Only once its small chunks hold a large page's
    // worth, so that a middling dictionary does not hold a mostly empty large page.
    const std::size_t large = vela::platform::largePageSize();
    if (fReserved >= kLargeChunksAfter * large) {
      chunk.base = vela::platform::mapLargePages(large);
      chunk.bytes = large;
      chunk.largePages = chunk.base != nullptr;
    }
    if (chunk.base == nullptr) {
      std::size_t pages = kFirstChunkPages;
      for (std::size_t i = 0; i < fChunks.size() && pages < kMaxChunkPages; ++i) pages *= 2;
      chunk.bytes = pages * kPageBytes;
      chunk.base = ::operator new(chunk.bytes, std::align_val_t(kPageBytes));
    }
    fChunks.push_back(chunk);
    fReserved += chunk.bytes;
    TasanPoison::poison(chunk.base, chunk.bytes);
    fSpare = static_cast<char*>(chunk.base);
    fSpareEnd = fSpare + chunk.bytes;
  }
  char* page = fSpare;
  fSpare += kPageBytes;
  // The header stays readable: release() finds the pool through it.
  TasanPoison::unpoison(page, kHeaderBytes);
  auto* header = reinterpret_cast<Tpage*>(page);
  header->pool = this;
  header->level = level;
  fNext[level - 1] = page + kHeaderBytes;
  fEnd[level - 1] = page + kPageBytes;
  return allocate(level);
}
