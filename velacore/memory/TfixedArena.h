// TfixedArena: the simplest arena, blocks of one size on a free list.
//
// Blocks are carved from pages in order and, once released, kept on an intrusive free list for
// the next request; pages go back to the allocator only on reset() or destruction. Cheaper than
// TcompactArena per call, but a page is never emptied while the arena lives.
//
//   TfixedArena nodes(48, 16384, TmallocAllocator::mallocAllocator(), "Graph Nodes");
//   void* n = nodes.allocate();
//   nodes.deallocate(n);
//
// Hazards: single-threaded; a block must go back to the arena it came from (checked in debug
// builds); the free list lives in released blocks, so writing to a block after releasing it
// corrupts the arena.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TbaseArena.h>

#include <cstddef>
#include <cstdint>

class VELACORE_API TfixedArena : public TheapArena {
 public:
  /// Bytes of header at the start of every page.
  static constexpr std::size_t kPageHeaderBytes = 56;

  /// An arena of `blockSize`-byte blocks (at least 8, a multiple of 8) in pages of about
  /// `pageSize` bytes (at least one block each).
  TfixedArena(std::size_t blockSize, std::size_t pageSize, Tallocator& allocator,
              const char* name);
  ~TfixedArena() override;

  /// One block of blockSize() bytes; null when the allocator gives no page.
  [[nodiscard]] void* allocate();
  /// Releases a block of this arena; null is ignored.
  void deallocate(void* p);
  /// Releases every block and returns every page.
  void reset();

  [[nodiscard]] std::size_t blockSize() const { return fBlockSize; }
  [[nodiscard]] std::size_t numBlocksPerPage() const { return fBlocksPerPage; }
  [[nodiscard]] std::int64_t allocatedMemory() const {
    return fBlocksInUse * static_cast<std::int64_t>(fBlockSize);
  }
  /// Whether `p` lies in one of this arena's pages (walks the pages).
  [[nodiscard]] bool owns(const void* p) const;

 private:
  struct Tpage;
  static std::size_t pageBytesOf(const TbaseArena* arena, const TpageLinks* page);

  std::size_t fBlockSize;
  std::size_t fBlocksPerPage;
  void* fFreeList = nullptr;
  char* fNext = nullptr;  // next unused block of the newest page
  char* fEnd = nullptr;
  std::int64_t fBlocksInUse = 0;
};
