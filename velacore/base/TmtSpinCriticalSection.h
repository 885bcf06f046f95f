// TmtSpinCriticalSection: a test-and-test-and-set spin lock.
//
// For critical sections of a few instructions (a registration, a counter update) where a kernel
// wait would cost more than the wait itself. Waiters spin on a plain load, so the cache line is
// not hammered while the lock is held, and yield the processor after a short burst so that a
// preempted holder can run. Not recursive, not fair: never hold it across a call that may block.
#pragma once

#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/TvelacoreApi.h>

#include <atomic>

class VELACORE_API TmtSpinCriticalSection {
 public:
  TmtSpinCriticalSection() = default;
  TmtSpinCriticalSection(const TmtSpinCriticalSection&) = delete;
  TmtSpinCriticalSection& operator=(const TmtSpinCriticalSection&) = delete;

  /// Spins until the lock is free, then takes it.
  void lock() {
    if (!fLocked.exchange(true, std::memory_order_acquire)) return;
    lockSlow();
  }
  /// Takes the lock if it is free; returns whether it was taken.
  [[nodiscard]] bool tryLock() {
    return !fLocked.load(std::memory_order_relaxed) &&
           !fLocked.exchange(true, std::memory_order_acquire);
  }
  bool try_lock() { return tryLock(); }
  /// Releases the lock.
  void unlock() { fLocked.store(false, std::memory_order_release); }

  using Tguard = TmtScopedLock<TmtSpinCriticalSection>;

 private:
  void lockSlow();

  std::atomic<bool> fLocked{false};
};
