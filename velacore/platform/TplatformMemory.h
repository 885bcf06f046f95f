// Memory services of the operating system: anonymous page mappings and machine-wide figures.
//
// These functions are the only place where velacore talks to the virtual-memory system. They
// never throw and never print: failures come back as null or false, and the caller decides
// whether that is an out-of-memory condition.
//
//   void* block = vela::platform::mapPages(1 << 20);        // zero-filled, page-aligned
//   if (!vela::platform::growPagesInPlace(block, 1 << 20, 2 << 20))
//     block = vela::platform::movePages(block, 1 << 20, 2 << 20);
//   vela::platform::unmapPages(block, 2 << 20);
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <cstdint>

namespace vela::platform {

/// The size of a virtual-memory page in bytes (a power of two).
[[nodiscard]] VELACORE_INTERNAL_API std::size_t pageSize();

/// Maps `bytes` (rounded up to whole pages) of zero-filled, readable and writable memory.
/// Returns null when the system refuses.
[[nodiscard]] VELACORE_INTERNAL_API void* mapPages(std::size_t bytes);

/// Grows or shrinks a mapping without moving it. Returns false (and leaves the mapping as it
/// was) when the address range behind it is taken.
[[nodiscard]] VELACORE_INTERNAL_API bool growPagesInPlace(void* pages, std::size_t oldBytes, std::size_t newBytes);

/// Resizes a mapping, moving it if it cannot stay. The contents up to the smaller size survive
/// without being copied byte by byte (the pages themselves move). Returns the new address, or
/// null (leaving the old mapping intact) when the system refuses.
[[nodiscard]] VELACORE_INTERNAL_API void* movePages(void* pages, std::size_t oldBytes, std::size_t newBytes);

/// Releases a mapping made by mapPages (with the size it has now).
VELACORE_INTERNAL_API void unmapPages(void* pages, std::size_t bytes);

/// Returns unused memory of the runtime heap to the system; used before giving up on a request.
VELACORE_INTERNAL_API void trimHeap();

/// Bytes the runtime heap currently has handed out.
[[nodiscard]] VELACORE_INTERNAL_API std::size_t heapBytesInUse();

/// Makes every thread of the process pass a full memory barrier before this returns. A thread
/// that only orders its own accesses against the compiler (std::atomic_signal_fence) is then
/// ordered against the caller as if it had used a full fence itself: the cheap side of an
/// asymmetric fence pair. Costs a system call (or more); meant for rare events. Returns false,
/// having done nothing, when the system offers no way to do it: the caller must then not rely
/// on the cheap side.
[[nodiscard]] VELACORE_INTERNAL_API bool barrierAllThreads();

/// Machine-wide memory figures, in bytes.
struct TsystemMemory {
  std::uint64_t totalPhysical = 0;
  std::uint64_t freePhysical = 0;
  std::uint64_t freeSwap = 0;
};
/// Reads the machine's memory figures; returns false when they are not available.
VELACORE_INTERNAL_API bool systemMemory(TsystemMemory& out);

/// Resource figures of this process.
struct TprocessUsage {
  std::uint64_t pageFaults = 0;        ///< major and minor faults so far
  std::uint64_t maxResidentBytes = 0;  ///< peak resident set size
};
/// Reads this process's resource figures; returns false when they are not available.
VELACORE_INTERNAL_API bool processUsage(TprocessUsage& out);

}  // namespace vela::platform
