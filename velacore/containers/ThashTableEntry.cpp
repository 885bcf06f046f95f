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
      fSlabCells(kFirstSlabCells) {}

ThashEntryPool::~ThashEntryPool() { releaseAll(); }

void* ThashEntryPool::allocateSlow() {
  // The cell count doubles from slab to slab, so a table's slabs hold about as many cells as
  // it ever had entries; past half a large page, every slab is one whole large page.
  const std::size_t largest = vela::platform::largePageSize();
  std::size_t bytes = kSlabHeader + fSlabCells * fCellSize;
  if (bytes > largest / 2 + kSlabHeader && kSlabHeader + fCellSize <= largest) bytes = largest;
  bytes = roundUp(bytes, kLine);
  void* slab = slabInLargePages(bytes) ? vela::platform::mapLargePages(bytes)
                                       : std::aligned_alloc(kLine, bytes);
  if (slab == nullptr) throw TmemoryException();
  *static_cast<TslabHeader*>(slab) = TslabHeader{fSlabs, bytes};
  fSlabs = slab;
  fBytes += bytes;
  fNext = static_cast<char*>(slab) + kSlabHeader;
  fEnd = fNext + (bytes - kSlabHeader) / fCellSize * fCellSize;
  if (bytes < largest) fSlabCells *= 2;
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
  fSlabCells = kFirstSlabCells;
}
