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
// The clock is monotonic (never jumps with the wall clock) and has at least microsecond
// resolution. A Tclock is a plain value with no locking: one thread at a time.
#pragma once

#include <cstdint>

class Tclock {
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

  /// The monotonic clock reading in seconds since an arbitrary fixed origin.
  [[nodiscard]] static double sNow();

 private:
  enum class State : std::uint8_t { kStopped, kRunning, kPaused };
  double fAccumulated = 0.0;  // seconds of the finished running stretches
  double fStartedAt = 0.0;    // sNow() when the current running stretch began
  State fState = State::kStopped;
};
