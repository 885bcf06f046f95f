// The calling thread's system id, read once per thread (the system call is not cheap).
#pragma once

#include <velacore/platform/TplatformSystem.h>

#include <cstdint>

namespace vela::debug_internal {

/// The system id of the calling thread truncated to 32 bits; never 0.
inline std::uint32_t currentThreadId32() {
  thread_local const std::uint32_t tId = [] {
    const auto id = static_cast<std::uint32_t>(vela::platform::threadId());
    return id == 0 ? 1u : id;
  }();
  return tId;
}

}  // namespace vela::debug_internal
