// Heap and swap figures that the page allocator needs beyond TplatformMemory.h.
//
//   std::uint64_t swap = vela::platform::totalSwapBytes();   // 0 when the machine has none
//
// Never throws, never prints; a figure the system cannot give comes back as 0.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>

namespace vela::platform {

/// The machine's configured swap space in bytes, 0 when unknown or absent.
[[nodiscard]] VELACORE_INTERNAL_API std::uint64_t totalSwapBytes();

}  // namespace vela::platform
