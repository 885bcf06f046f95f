// Large-page mappings: zero-filled memory aligned to the system's large page, which the system
// is asked to back with large pages (transparent huge pages on Linux) where it can.
//
// Big lookup structures (hash-table bucket arrays and entry slabs of a million entries) are read
// at random; with ordinary 4 KiB pages nearly every such read also misses the address-translation
// cache. One large page covers 512 small ones, so those misses mostly disappear.
//
//   std::size_t bytes = 8 << 20;
//   void* block = vela::platform::mapLargePages(bytes);   // null when refused
//   ...
//   vela::platform::unmapLargePages(block, bytes);        // the size asked for
//
// Hazards:
// - Sizes are rounded up to whole large pages: meant for blocks of a large page or more.
// - Backing by large pages is a request, not a promise; the memory is usable either way.
// Never throws, never prints.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

namespace vela::platform {

/// The size of a large page in bytes (2 MiB when the system does not say otherwise).
[[nodiscard]] VELACORE_INTERNAL_API std::size_t largePageSize();

/// Maps `bytes` (rounded up to whole large pages) of zero-filled, readable and writable memory
/// that starts on a large-page boundary. Returns null when `bytes` is 0 or the system refuses.
[[nodiscard]] VELACORE_INTERNAL_API void* mapLargePages(std::size_t bytes);

/// Releases a mapping made by mapLargePages; `bytes` is the size that was asked for.
VELACORE_INTERNAL_API void unmapLargePages(void* pages, std::size_t bytes);

/// Bytes currently mapped through mapLargePages (rounded sizes), over the whole process.
[[nodiscard]] VELACORE_INTERNAL_API std::size_t largePageBytesInUse();

}  // namespace vela::platform
