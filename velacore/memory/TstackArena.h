// TstackArena: bump allocation from pages, for scratch data with a nested lifetime.
//
// Allocation moves a pointer; releasing the newest block moves it back, releasing any other block
// only counts it, and a page whose blocks are all released is emptied (and kept for reuse). Ideal
// for temporary buffers of a recursive algorithm.
//
//   TstackArena scratch(65536, TmallocAllocator::mallocAllocator());
//   void* a = scratch.allocate(1000);
//   void* b = scratch.allocate(200);
//   TstackArena::deallocate(b);          // the arena is found from the block
//   TstackArena::deallocate(a);
//
// Hazards: single-threaded (TmtStackArena locks); space in the middle of a page is reused only
// once every block above it has been released too.
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/memory/TbaseArena.h>

#include <cstddef>
#include <cstdint>

class VELACORE_API TstackArena : public TbaseArena {
 public:
  /// Bytes of header at the start of every page and in front of every block.
  static constexpr std::size_t kPageHeaderBytes = 64;
  static constexpr std::size_t kBlockHeaderBytes = 16;

  /// An arena of pages of `pageSize` bytes; blocks aligned to 16 bytes.
  TstackArena(std::size_t pageSize, Tallocator& allocator);
  /// As above with blocks aligned to `alignment` bytes (a power of two, at least 16).
  TstackArena(std::size_t pageSize, std::size_t alignment, Tallocator& allocator);
  ~TstackArena() override;

  /// A block of `size` bytes; a larger request gets a page of its own. Null for 0 or when the
  /// allocator gives no page.
  [[nodiscard]] void* allocate(std::size_t size);
  /// Releases a block of any stack arena; null is ignored.
  static void deallocate(void* p);
  /// Releases every block and returns every page.
  void reset();

  void setPageSize(std::size_t pageSize) { fPageSize = pageSize; }
  [[nodiscard]] std::size_t pageSize() const { return fPageSize; }
  [[nodiscard]] std::int64_t allocatedMemory() const;

 protected:
  /// Set by the thread-safe variant: every operation then runs under it.
  TmtCriticalSection* fLock = nullptr;

 private:
  friend class TbaseArena;
  struct Tpage;
  void* allocateLocked(std::size_t size);
  void deallocateLocked(void* p);
  void resetLocked();
  static std::size_t pageBytesOf(const TbaseArena* arena, const TpageLinks* page);

  std::size_t fPageSize;
  std::size_t fAlignment;
  Tpage* fCurrent = nullptr;
  std::int64_t fAllocatedMemory = 0;
};

/// A stack arena that may be shared between threads: each call runs under the arena's lock.
class VELACORE_API TmtStackArena : public TstackArena {
 public:
  TmtStackArena(std::size_t pageSize, Tallocator& allocator);
  TmtStackArena(std::size_t pageSize, std::size_t alignment, Tallocator& allocator);
  ~TmtStackArena() override;

 private:
  TmtCriticalSection fMutex;
};
