// Tallocator and TmallocAllocator: where arenas get their pages.
//
// An arena never calls malloc itself: it asks a Tallocator for whole pages and cuts them into
// blocks. The process has one real page source, `TmallocAllocator::mallocAllocator()`, which
// takes small requests from the runtime heap and large ones (31,744 bytes and more) from
// zero-filled page mappings, records every block it hands out, and keeps an estimate of the
// memory the machine still has free so that a hopeless request fails early and loudly.
//
//   TmallocAllocator& source = TmallocAllocator::mallocAllocator();
//   void* page = source.allocate(65536, "Mesh Arena");   // may throw TmemoryException
//   ...
//   source.free(page, 65536);
//
// Switches, read from the environment once, at the first use of the allocator:
//   VELA_USE_MALLOC (default 1) and VELA_MEMORY_LEAK_DIAGNOSIS (default 0): when either says so,
//     every request goes straight to malloc/realloc/free and nothing is recorded, so that leak
//     checkers see each block with its real call stack.
//   VELA_NO_MEMORY_EXCEPTION: when set, exhausted memory gives null silently instead of a report
//     on standard error and a TmemoryException.
//
// Hazards: blocks from `alloc`/`realloc` must go back through the large-block `free` (never the
// runtime free: a large block is a page mapping); a null from `alloc` is possible only with
// VELA_NO_MEMORY_EXCEPTION set or for a size of 0.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/TstringArray.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

/// The abstract source of memory pages that arenas draw from.
class VELACORE_API Tallocator {
 public:
  virtual ~Tallocator();

  /// A block of at least `size` bytes for the user called `name` (a string literal), or null.
  virtual void* allocate(std::size_t size, const char* name) = 0;
  /// Gives back a block from `allocate`; `size` is the size it was asked with.
  virtual void free(void* p, std::size_t size) = 0;
};

/// The process-wide page source over the runtime heap and page mappings. Thread-safe.
class VELACORE_API TmallocAllocator : public Tallocator {
 public:
  /// Requests of this size and more are served from page mappings instead of the runtime heap.
  static constexpr std::size_t kLargeBlockBytes = 31744;
  /// Memory kept back from the free-memory estimate, in bytes (10 MiB).
  static constexpr std::int64_t kLowMemoryThreshold = 10485760;

  /// The single instance, created on first use.
  [[nodiscard]] static TmallocAllocator& mallocAllocator();

  ~TmallocAllocator() override;

  /// `alloc` under `name`, or under "Render Arena" when `name` is null.
  void* allocate(std::size_t size, const char* name) override;
  /// The large-block free: releases a block from alloc/realloc; `size` is not needed.
  void free(void* p, std::size_t size) override;
  /// The large-block free for callers that do not know the size.
  void free(void* p) { free(p, 0); }

  /// @name Blocks
  /// A block of `size` bytes recorded under `name`; null for 0. Large blocks are zero-filled.
  /// Throws TmemoryException when memory is exhausted (unless VELA_NO_MEMORY_EXCEPTION).
  [[nodiscard]] static void* alloc(std::size_t size, const char* name);
  /// Resizes a block from alloc, moving it when needed. Null `p` allocates; a block this
  /// allocator does not know gives null and is left alone.
  [[nodiscard]] void* realloc(void* p, std::size_t size, const char* name);
  /// The recorded size of a block from alloc/realloc, 0 when unknown (or in use-malloc mode).
  [[nodiscard]] static std::size_t blockSize(const void* p);
  /// Whether `p` was served from a page mapping rather than the runtime heap.
  [[nodiscard]] static bool isLargeBlock(const void* p);
  /// The sum of the sizes of all recorded blocks whose name equals `name`.
  [[nodiscard]] static std::size_t getArrayMemSize(const char* name);

  /// @name Mode and geometry
  /// Whether requests go straight to the runtime heap (decided once, at first use).
  [[nodiscard]] static bool useMalloc();
  /// The allocation granularity of large blocks, and its mask (granularity - 1).
  [[nodiscard]] static std::size_t pageSize();
  [[nodiscard]] static std::size_t mask();
  /// `size` rounded up to a multiple of pageSize(); unchanged when already aligned.
  [[nodiscard]] static std::size_t pageAlign(std::size_t size);

  /// @name Free-memory estimate
  /// Whether `size` is below the free-memory estimate, after refreshing it if it is stale.
  [[nodiscard]] static bool checkFreeMemory(std::size_t size);
  /// The current estimate in bytes (never below 0).
  [[nodiscard]] static std::int64_t freeMemory();
  /// Adds `delta` to the estimate atomically; returns the value before.
  static std::int64_t adjustFreeMemory(std::ptrdiff_t delta);
  /// Recomputes the estimate (free physical memory + free swap - 10 MiB) unless it was done
  /// less than 5 seconds ago and `force` is false. Returns the estimate.
  static std::int64_t setFreeMemory(bool force);
  /// Physical memory plus swap of the machine, capped at 2^62 - 1.
  [[nodiscard]] static std::int64_t maximumMemory();

  /// @name Statistics
  /// Bytes currently held in large blocks, their peak, and the runtime heap's size at the peak.
  [[nodiscard]] static std::size_t currentLargeBytes();
  [[nodiscard]] static std::size_t peakLargeBytes();
  [[nodiscard]] static std::size_t heapBytesAtPeak();
  /// Writes page faults, maximum resident size, peak estimated memory, peak arena size and current
  /// use (megabytes) under a separator line.
  static void printStatistics(std::ostream& out);
  /// The same figures as printStatistics, one line per entry, without the separator.
  static void getStatistics(TstringArray& lines);

  /// @name Mappings
  /// A process mapping record. No allocation path uses the disk mapping; it is opened only by
  /// hosts that ask for file-backed scratch memory.
  struct Tmapping {
    bool open = false;
    std::string path;
  };
  /// Closes and deletes the backing disk file, if one was opened.
  static void purge();
  [[nodiscard]] static const Tmapping& mapZeroedMemory();
  [[nodiscard]] static const Tmapping& mapDiskFile();

  /// Re-reads the environment switches (VELA_USE_MALLOC, VELA_MEMORY_LEAK_DIAGNOSIS,
  /// VELA_NO_MEMORY_EXCEPTION). Only safe while no recorded block is alive; meant for tests and for
  /// hosts that set the switches after the library was loaded.
  static void sReloadSwitches();

  /// Whether the out-of-memory report and exception are suppressed.
  [[nodiscard]] static bool noMemoryException();

 private:
  TmallocAllocator();
};
