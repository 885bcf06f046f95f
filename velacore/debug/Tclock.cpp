#include <velacore/debug/Tclock.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/internal/TtimerTicks.h>

#include <chrono>
#include <iostream>  // the standard streams exist before this file's trace is made
#include <thread>

#if defined(__x86_64__)
#include <cpuid.h>
#include <x86intrin.h>
#endif

namespace {

TdbTrace& clockTrace() {
  static Timmortal<TdbTrace> sTrace("velaClock", "cerr", "the clock's source and calibration");
  return *sTrace;
}
// Registered when the library loads, so that VELA_DEBUG and `vela-info traces` find it before
// the first reading; made on first use, so that a reading during start-up finds it too.
[[maybe_unused]] const TdbTrace& gClockTrace = clockTrace();

double steadySeconds() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

#if defined(__x86_64__)

// The fence keeps the read from running ahead of the loads before it, so that a reading taken
// after seeing another thread's reading is never the smaller one.
inline std::uint64_t cycleCounter() {
  _mm_lfence();
  return __rdtsc();
}

// An invariant counter ticks at one rate whatever the core's frequency and power state.
bool invariantCycleCounter() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(0x80000000u, &eax, &ebx, &ecx, &edx) == 0 || eax < 0x80000007u) return false;
  if (__get_cpuid(0x80000007u, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (edx & (1u << 8)) != 0;
}

// A reading of both clocks at one instant: the counter read between two steady_clock reads, the
// tightest of a few tries (a thread preempted in between gives a wide bracket).
struct Tpair {
  std::uint64_t ticks;
  double seconds;
};

Tpair pairedReading() {
  Tpair best{0, 0.0};
  double bestWidth = 1e30;
  for (int i = 0; i < 9; ++i) {
    const double before = steadySeconds();
    const std::uint64_t ticks = cycleCounter();
    const double after = steadySeconds();
    if (after - before < bestWidth) {
      bestWidth = after - before;
      best = {ticks, 0.5 * (before + after)};
    }
  }
  return best;
}

#endif

struct TclockSource {
  TclockSource() {
#if defined(__x86_64__)
    if (!invariantCycleCounter()) return;
    // The rate is measured against steady_clock over a short stretch; a reading's error is
    // below a microsecond, so 5 ms put the rate well within 0.1%.
    const Tpair first = pairedReading();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const Tpair last = pairedReading();
    if (last.ticks <= first.ticks || last.seconds <= first.seconds) return;
    secondsPerTick = (last.seconds - first.seconds) / static_cast<double>(last.ticks - first.ticks);
    originTicks = last.ticks;
    originSeconds = last.seconds;
    usesCycleCounter = true;
#endif
  }
  void report() const {
    TdbTrace& trace = clockTrace();
    if (!trace.on()) return;
    if (usesCycleCounter) {
      trace.print("Tclock: invariant time-stamp counter at %.6f GHz\n", 1e-9 / secondsPerTick);
    } else {
      trace.print("Tclock: steady_clock (no invariant time-stamp counter)\n");
    }
  }
  bool usesCycleCounter = false;
  std::uint64_t originTicks = 0;
  double originSeconds = 0.0;  // steady_clock seconds at originTicks
  double secondsPerTick = 0.0;
};

const TclockSource& source() {
  static const TclockSource sSource = [] {
    TclockSource made;
    made.report();
    return made;
  }();
  return sSource;
}

}  // namespace

double Tclock::sNow() {
  const TclockSource& c = source();
#if defined(__x86_64__)
  if (c.usesCycleCounter) {
    // Signed: a core whose counter lags the calibrating one by a few ticks reads just before
    // the origin, not 2^64 ticks after it.
    const auto ticks = static_cast<std::int64_t>(cycleCounter() - c.originTicks);
    return c.originSeconds + static_cast<double>(ticks) * c.secondsPerTick;
  }
#endif
  return steadySeconds();
}

const vela::debug_internal::TtickSource& vela::debug_internal::tickSource() {
  static const TtickSource sTicks = [] {
    const TclockSource& c = source();
    if (c.usesCycleCounter) return TtickSource{true, c.secondsPerTick};
    return TtickSource{false, std::chrono::duration<double>(std::chrono::steady_clock::duration(1)).count()};
  }();
  return sTicks;
}

bool Tclock::sUsesCycleCounter() { return source().usesCycleCounter; }

double Tclock::sCycleCounterRate() {
  const TclockSource& c = source();
  return c.usesCycleCounter ? 1.0 / c.secondsPerTick : 0.0;
}

void Tclock::startAt(double seconds) {
  fAccumulated = seconds;
  fStartedAt = sNow();
  fState = State::kRunning;
}

void Tclock::pause() {
  if (fState == State::kRunning) {
    fAccumulated += sNow() - fStartedAt;
    fState = State::kPaused;
  } else if (fState == State::kPaused) {
    fStartedAt = sNow();
    fState = State::kRunning;
  }
}

double Tclock::stop() {
  if (fState == State::kRunning) fAccumulated += sNow() - fStartedAt;
  fState = State::kStopped;
  return fAccumulated;
}

void Tclock::reset() {
  fAccumulated = 0.0;
  fState = State::kStopped;
}

double Tclock::elapsedSeconds() const {
  return fState == State::kRunning ? fAccumulated + (sNow() - fStartedAt) : fAccumulated;
}
