// TmtCriticalSection: the library's plain, non-recursive lock.
//
// Use it for state that may be held for more than a few instructions or across calls that may
// block. For a handful of instructions under low contention, TmtSpinCriticalSection is cheaper;
// for code that may re-enter itself while holding the lock, use TmtRecursiveMutex.
//
// Locking it twice from one thread deadlocks. Hold it with TmtScopedLock.
#pragma once

#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/TvelacoreApi.h>

#include <mutex>

class VELACORE_API TmtCriticalSection {
 public:
  TmtCriticalSection() = default;
  TmtCriticalSection(const TmtCriticalSection&) = delete;
  TmtCriticalSection& operator=(const TmtCriticalSection&) = delete;

  /// Waits until the lock is free, then takes it.
  void lock() { fMutex.lock(); }
  /// Takes the lock if it is free; returns whether it was taken.
  [[nodiscard]] bool tryLock() { return fMutex.try_lock(); }
  bool try_lock() { return fMutex.try_lock(); }
  /// Releases a lock held by this thread.
  void unlock() { fMutex.unlock(); }

  using Tguard = TmtScopedLock<TmtCriticalSection>;

 private:
  std::mutex fMutex;
};
