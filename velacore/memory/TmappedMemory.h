// Large blocks in mapped memory, and the library's parallel block move.
//
// Arrays and arenas take blocks of 64,512 bytes and more from here instead of the runtime heap:
// such blocks are whole page mappings that can grow in place or move without copying their
// bytes, and that go back to the system the moment they are freed.
//
//   void* block = mmapAlloc(1 << 20, "Arrays");       // zero-filled, 16-byte aligned
//   if (!mmapGrow(block, 2 << 20))
//     block = mmapRealloc(block, 2 << 20, "Arrays");   // may move; null when refused
//   mmapFree(block);
//
// Each block remembers its size and its tag (a string literal naming the user, shown in memory
// reports). Pass only blocks from mmapAlloc/mmapRealloc to the other functions.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

/// A new zero-filled block of at least `bytes` bytes, or null when the system refuses.
[[nodiscard]] VELACORE_API void* mmapAlloc(std::size_t bytes, const char* tag);

/// Tries to grow (or shrink) `block` to `bytes` without moving it; returns whether it did. On
/// failure the block is unchanged.
[[nodiscard]] VELACORE_API bool mmapGrow(void* block, std::size_t bytes);

/// Resizes `block` to `bytes`, moving it when it cannot stay; the contents up to the smaller size
/// survive. Returns the block's new address, or null (the old block intact) when refused.
[[nodiscard]] VELACORE_API void* mmapRealloc(void* block, std::size_t bytes, const char* tag);

/// Releases a block; null is ignored.
VELACORE_API void mmapFree(void* block);

/// The usable size of a block (at least what was asked for).
[[nodiscard]] VELACORE_API std::size_t mmapSize(const void* block);

/// The tag a block was allocated with.
[[nodiscard]] VELACORE_API const char* mmapTag(const void* block);

/// Bytes currently held in mapped blocks, over all tags.
[[nodiscard]] VELACORE_API std::size_t mmapBytesInUse();

/// memmove for large copies: the same contract, but copies big enough to pay for it are split
/// over worker threads. Overlapping ranges are always moved by one thread.
VELACORE_API void memmove_mp(void* destination, const void* source, std::size_t bytes);
