// Tclock: a stopwatch on the monotonic clock.
//
// For timing one stretch of code by hand when TnestedTimers' process-wide table is too much:
//
//   Tclock clock;
//   clock.start();
//   evaluate();
//   clock.pause();              // suspend while waiting for the user
//   ...
//   clock.pause();              // resume
//   double seconds = clock.stop();
//
// The clock is monotonic (never jumps with the wall clock), also between threads, and has at
// least microsecond resolution. On x86-64 processors whose time-stamp counter is invariant (one
// rate whatever the core's frequency or sleep state) it reads that counter, which costs a
// fraction of a steady_clock read; the rate is measured against steady_clock once, at the first
// reading (which therefore takes about 5 ms). Elsewhere it reads steady_clock.
//
// A Tclock is a plain value with no locking: one thread at a time. sNow() may be called from any
// thread.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>

class VELACORE_API Tclock {
 public:
  /// A stopped clock showing 0 seconds.
  Tclock() = default;

  /// Starts a new measurement from 0 seconds.
  void start() { startAt(0.0); }
  /// Starts a new measurement as though `seconds` had already elapsed.
  void startAt(double seconds);
  /// Suspends a running clock, keeping its time; on a suspended clock, resumes it.
  void pause();
  /// Stops the clock and returns the elapsed seconds, which stay readable.
  double stop();
  /// Stops the clock and sets it back to 0 seconds.
  void reset();

  /// Seconds measured so far; advances while the clock runs.
  [[nodiscard]] double elapsedSeconds() const;
  /// Whether the clock is running (started and neither paused nor stopped).
  [[nodiscard]] bool isRunning() const { return fState == State::kRunning; }
  /// Whether the clock is suspended by pause().
  [[nodiscard]] bool isPaused() const { return fState == State::kPaused; }

  /// The monotonic clock reading in seconds, on steady_clock's origin.
  [[nodiscard]] static double sNow();
  /// Whether sNow() reads the processor's time-stamp counter (else steady_clock).
  [[nodiscard]] static bool sUsesCycleCounter();
  /// The measured ticks per second of the time-stamp counter; 0 when it is not used.
  [[nodiscard]] static double sCycleCounterRate();

 private:
  enum class State : std::uint8_t { kStopped, kRunning, kPaused };
  double fAccumulated = 0.0;  // seconds of the finished running stretches
  double fStartedAt = 0.0;    // sNow() when the current running stretch began
  State fState = State::kStopped;
};
