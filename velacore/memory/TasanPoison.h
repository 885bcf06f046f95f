// TasanPoison: marks free arena and pool blocks for AddressSanitizer.
//
// In a build with AddressSanitizer, arenas and pools poison a block while it is free (released,
// cached, or not yet handed out), so that a read or write through a stale pointer is reported at
// once as a "use-after-poison" instead of silently corrupting the next owner. Elsewhere both
// calls are empty inline functions and cost nothing.
//
//   alignas(8) char block[64];
//   TasanPoison::poison(block, sizeof block);     // the block went back to its arena
//   TasanPoison::unpoison(block, sizeof block);   // handed out again
//
// Hazards: a region stays poisoned until unpoisoned, whoever owns the memory next; an arena must
// unpoison a page before it goes back to its allocator. Regions are tracked in 8-byte granules,
// so a poisoned region should start on an 8-byte boundary.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define VELA_POISON_FREE_BLOCKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELA_POISON_FREE_BLOCKS 1
#endif
#endif

#if defined(VELA_POISON_FREE_BLOCKS)
extern "C" void __asan_poison_memory_region(void const volatile* addr, std::size_t size);
extern "C" void __asan_unpoison_memory_region(void const volatile* addr, std::size_t size);
extern "C" void* __asan_region_is_poisoned(void* beg, std::size_t size);
#endif

struct TasanPoison {
  /// Whether this build poisons free blocks.
#if defined(VELA_POISON_FREE_BLOCKS)
  static constexpr bool kEnabled = true;
#else
  static constexpr bool kEnabled = false;
#endif

  /// Marks `size` bytes at `p` as not to be touched.
  static void poison([[maybe_unused]] const void* p, [[maybe_unused]] std::size_t size) {
#if defined(VELA_POISON_FREE_BLOCKS)
    __asan_poison_memory_region(p, size);
#endif
  }
  /// Whether any of `size` bytes at `p` is poisoned (always false without AddressSanitizer), so
  /// that a consistency check can refuse to follow a damaged link into free space.
  [[nodiscard]] static bool isPoisoned([[maybe_unused]] const void* p, [[maybe_unused]] std::size_t size) {
#if defined(VELA_POISON_FREE_BLOCKS)
    return __asan_region_is_poisoned(const_cast<void*>(p), size) != nullptr;
#else
    return false;
#endif
  }
  /// Marks `size` bytes at `p` as usable again.
  static void unpoison([[maybe_unused]] const void* p, [[maybe_unused]] std::size_t size) {
#if defined(VELA_POISON_FREE_BLOCKS)
    __asan_unpoison_memory_region(p, size);
#endif
  }
};
