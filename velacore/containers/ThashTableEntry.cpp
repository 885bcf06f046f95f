#include <velacore/containers/ThashTableEntry.h>

#include <velacore/base/Texception.h>
#include <velacore/platform/TplatformLargePages.h>

#include <cstdlib>

namespace {

constexpr std::size_t kLine = 64;
/// Each slab starts with its header (the link to the previous slab and the slab's size), padded
/// to a cache line so that the cells behind it start on a line boundary.
struct TslabHeader {
  void* previous;
  std::size_t bytes;
};
constexpr std::size_t kSlabHeader = kLine;
static_assert(sizeof(TslabHeader) <= kSlabHeader, "the slab header must fit its line");
constexpr std::size_t kFirstSlabCells = 4;

std::size_t roundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

/// Slabs of a large page or more are mapped; smaller ones come from the heap. The choice
/// depends on the size alone, so freeing needs no record of it.
bool slabInLargePages(std::size_t bytes) { return bytes >= vela::platform::largePageSize(); }

}  // namespace

ThashTableEntry::~ThashTableEntry() = default;

ThashEntryPool::ThashEntryPool(std::size_t cellSize, std::size_t alignment)
    : fCellSize(roundUp(cellSize < sizeof(void*) ? sizeof(void*) : cellSize,
                        alignment < alignof(void*) ? alignof(void*) : alignment)),
      fSlabBytes(roundUp(kSlabHeader + kFirstSlabCells * fCellSize, kLine)) {}

ThashEntryPool::~ThashEntryPool() { releaseAll(); }

void* ThashEntryPool::allocateSlow() {
  const std::size_t bytes = fSlabBytes;
  void* slab = slabInLargePages(bytes) ? vela::platform::mapLargePages(bytes)
                                       : std::aligned_alloc(kLine, bytes);
  if (slab == nullptr) throw TmemoryException();
  *static_cast<TslabHeader*>(slab) = TslabHeader{fSlabs, bytes};
  fSlabs = slab;
  fBytes += bytes;
  fNext = static_cast<char*>(slab) + kSlabHeader;
  fEnd = fNext + (bytes - kSlabHeader) / fCellSize * fCellSize;
  // Grow the slabs with the table, up to one large page, so that a big table needs few slabs
  // and keeps its entries in large pages.
  const std::size_t largest = vela::platform::largePageSize();
  if (fSlabBytes < largest) fSlabBytes = fSlabBytes * 2 < largest ? fSlabBytes * 2 : largest;
  if (fSlabBytes < kSlabHeader + fCellSize) fSlabBytes = roundUp(kSlabHeader + fCellSize, kLine);
  void* cell = fNext;
  fNext += fCellSize;
  return cell;
}

void ThashEntryPool::releaseAll() {
  while (fSlabs != nullptr) {
    const TslabHeader header = *static_cast<TslabHeader*>(fSlabs);
    if (slabInLargePages(header.bytes))
      vela::platform::unmapLargePages(fSlabs, header.bytes);
    else
      std::free(fSlabs);
    fSlabs = header.previous;
  }
  fFree = nullptr;
  fNext = fEnd = nullptr;
  fBytes = 0;
  fSlabBytes = roundUp(kSlabHeader + kFirstSlabCells * fCellSize, kLine);
}
