// A scope guard for arenas that may or may not have a lock (the `Tmt` variants set one).
#pragma once

#include <velacore/base/TmtCriticalSection.h>

namespace vela::memory_internal {

class [[nodiscard]] TarenaGuard {
 public:
  explicit TarenaGuard(TmtCriticalSection* lock) : fLock(lock) {
    if (fLock != nullptr) fLock->lock();
  }
  ~TarenaGuard() {
    if (fLock != nullptr) fLock->unlock();
  }
  TarenaGuard(const TarenaGuard&) = delete;
  TarenaGuard& operator=(const TarenaGuard&) = delete;

 private:
  TmtCriticalSection* fLock;
};

}  // namespace vela::memory_internal
