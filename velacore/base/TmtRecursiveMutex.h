// TmtRecursiveMutex: a lock that its holder may take again.
//
// For code whose locked section calls back into functions that take the same lock (a registry
// whose callbacks may register more). Each lock() needs a matching unlock(). Prefer
// TmtCriticalSection where re-entry cannot happen: it is cheaper and catches design mistakes.
#pragma once

#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/TvelacoreApi.h>

#include <mutex>

class VELACORE_API TmtRecursiveMutex {
 public:
  TmtRecursiveMutex() = default;
  TmtRecursiveMutex(const TmtRecursiveMutex&) = delete;
  TmtRecursiveMutex& operator=(const TmtRecursiveMutex&) = delete;

  /// Takes the lock, waiting unless this thread holds it already.
  void lock() { fMutex.lock(); }
  /// Takes the lock if it is free or held by this thread; returns whether it was taken.
  [[nodiscard]] bool tryLock() { return fMutex.try_lock(); }
  bool try_lock() { return fMutex.try_lock(); }
  /// Releases one level of the lock.
  void unlock() { fMutex.unlock(); }

  using Tguard = TmtScopedLock<TmtRecursiveMutex>;

 private:
  std::recursive_mutex fMutex;
};
