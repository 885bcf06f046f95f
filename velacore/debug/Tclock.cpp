#include <velacore/debug/Tclock.h>

#include <chrono>

double Tclock::sNow() {
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
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
