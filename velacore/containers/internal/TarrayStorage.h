// Helpers shared by the two array bases: the growth rule, and blocks that come from the heap or
// from mapped memory by their byte size. Private to the containers area's .cpp files.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vela::containers_internal {

/// Blocks of at least this many bytes are mapped; smaller ones come from the heap.
constexpr std::size_t kMappedBytes = 64512;

/// Whether a block of `bytes` lives in mapped memory.
[[nodiscard]] inline bool isMappedSize(std::size_t bytes) { return bytes >= kMappedBytes; }

/// The capacity that holds `n` elements when `capacity` does not: the shortfall rounded up to
/// whole increments (one increment when the increment is not smaller than `n`). An increment
/// of 0 counts as 1. Saturates at 2^32-1.
[[nodiscard]] std::uint32_t grownCapacity(std::uint32_t capacity, std::uint32_t increment,
                                          std::uint32_t n);

/// The increment after growing to `n` elements: raised by a quarter (plus one) when a quarter
/// of `n` exceeds it.
[[nodiscard]] std::uint32_t grownIncrement(std::uint32_t increment, std::uint32_t n);

/// Throws TmemoryException naming the refused byte count.
[[noreturn]] void throwOutOfMemory(std::size_t bytes);

/// A block of `bytes` (mapped with `tag`, or from the heap, by size); null for 0. Throws
/// TmemoryException when refused.
[[nodiscard]] void* allocateBlock(std::size_t bytes, const char* tag);

/// Frees a block of `bytes` by its kind; null is ignored.
void freeBlock(void* block, std::size_t bytes) noexcept;

/// Copies `bytes` (ranges may overlap); big copies go through the parallel block move.
void copyBytes(void* destination, const void* source, std::size_t bytes);

}  // namespace vela::containers_internal
