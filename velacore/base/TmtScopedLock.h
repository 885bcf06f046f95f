// TmtScopedLock: holds one of the library's locks for the lifetime of a scope.
//
//   static TmtCriticalSection sRegistryLock;
//   void registerThing(Thing* t) {
//     TmtScopedLock guard(sRegistryLock);
//     ...
//   }
//
// Works with any type that has lock() and unlock(), so also with the standard mutexes. The lock
// types also meet the standard Lockable requirements, so std::lock_guard and std::unique_lock
// work with them as well.
#pragma once

template <class Lock>
class [[nodiscard]] TmtScopedLock {
 public:
  explicit TmtScopedLock(Lock& lock) : fLock(lock) { fLock.lock(); }
  ~TmtScopedLock() { fLock.unlock(); }

  TmtScopedLock(const TmtScopedLock&) = delete;
  TmtScopedLock& operator=(const TmtScopedLock&) = delete;

 private:
  Lock& fLock;
};
