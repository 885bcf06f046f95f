#include <velacore/containers/ThashTableEntry.h>

#include <velacore/base/Texception.h>

#include <cstdlib>

namespace {

constexpr std::size_t kAlign = alignof(std::max_align_t);
constexpr std::size_t kSlabHeader = kAlign;  // the link to the previous slab, padded
constexpr std::size_t kFirstSlabCells = 4;
constexpr std::size_t kMaxSlabBytes = std::size_t{1} << 20;

std::size_t roundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

}  // namespace

ThashTableEntry::~ThashTableEntry() = default;

ThashEntryPool::ThashEntryPool(std::size_t cellSize, std::size_t alignment)
    : fCellSize(roundUp(cellSize < sizeof(void*) ? sizeof(void*) : cellSize,
                        alignment < alignof(void*) ? alignof(void*) : alignment)),
      fSlabCells(kFirstSlabCells) {}

ThashEntryPool::~ThashEntryPool() { releaseAll(); }

void* ThashEntryPool::allocateSlow() {
  const std::size_t bytes = kSlabHeader + fSlabCells * fCellSize;
  void* slab = std::malloc(bytes);
  if (slab == nullptr) throw TmemoryException();
  *static_cast<void**>(slab) = fSlabs;
  fSlabs = slab;
  fBytes += bytes;
  fNext = static_cast<char*>(slab) + kSlabHeader;
  fEnd = fNext + fSlabCells * fCellSize;
  // Grow the slabs with the table so that a large table needs few of them.
  if ((fSlabCells * 2) * fCellSize <= kMaxSlabBytes) fSlabCells *= 2;
  void* cell = fNext;
  fNext += fCellSize;
  return cell;
}

void ThashEntryPool::releaseAll() {
  while (fSlabs != nullptr) {
    void* previous = *static_cast<void**>(fSlabs);
    std::free(fSlabs);
    fSlabs = previous;
  }
  fFree = nullptr;
  fNext = fEnd = nullptr;
  fBytes = 0;
  fSlabCells = kFirstSlabCells;
}
