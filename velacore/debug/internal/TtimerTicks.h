// Raw readings of the clock behind Tclock, for code that measures stretches on one thread.
//
// Tclock::sNow() orders its reading after the loads before it, so that a reading taken after
// seeing another thread's reading is never the smaller one; that fence costs about as much as
// the counter read itself. A stretch timed on one thread needs no such ordering: it keeps the
// raw start reading and converts only the difference, at the end.
#pragma once

#include <chrono>
#include <cstdint>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace vela::debug_internal {

struct TtickSource {
  bool cycleCounter;      ///< readTicks() reads the time-stamp counter (else steady_clock)
  double secondsPerTick;
};

/// The source Tclock chose, calibrated on first use.
const TtickSource& tickSource();

/// A reading in the source's ticks, without ordering against the surrounding code.
inline std::int64_t readTicks([[maybe_unused]] const TtickSource& source) {
#if defined(__x86_64__)
  if (source.cycleCounter) return static_cast<std::int64_t>(__rdtsc());
#endif
  return std::chrono::steady_clock::now().time_since_epoch().count();
}

/// Seconds between two readings of one thread. The counter does not wrap, so a negative
/// difference is two unordered reads crossing by a few cycles: it counts as 0.
inline double ticksToSeconds(const TtickSource& source, std::int64_t from, std::int64_t to) {
  return to > from ? static_cast<double>(to - from) * source.secondsPerTick : 0.0;
}

}  // namespace vela::debug_internal
