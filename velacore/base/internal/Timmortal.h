// Timmortal<T>: a process-wide object that is built on first use and never destroyed.
//
// Registries and locks that code may still reach during static destruction must outlive every
// other static: a file sink closed by a static destructor reads the environment, an arena
// destroyed at exit leaves the arena registry. A function-local `static T` is destroyed at exit
// in the reverse order of construction, so a static built before it (and destroyed after it)
// finds it gone. Timmortal keeps the T in static storage and never runs its destructor:
//
//   TmtCriticalSection& environmentLock() {
//     static Timmortal<TmtCriticalSection> sLock;
//     return *sLock;
//   }
//
// Construction is thread-safe like any function-local static. What the T owns stays reachable
// through static storage at exit, so leak checkers do not report it.
#pragma once

#include <new>
#include <utility>

template <class T>
class Timmortal {
 public:
  template <class... Args>
  explicit Timmortal(Args&&... args) {
    ::new (static_cast<void*>(fStorage)) T(std::forward<Args>(args)...);
  }
  // Trivial on purpose: nothing is registered to run at exit, and the T stays usable.
  ~Timmortal() = default;
  Timmortal(const Timmortal&) = delete;
  Timmortal& operator=(const Timmortal&) = delete;

  [[nodiscard]] T& get() noexcept { return *std::launder(reinterpret_cast<T*>(fStorage)); }
  [[nodiscard]] T& operator*() noexcept { return get(); }
  [[nodiscard]] T* operator->() noexcept { return &get(); }

 private:
  alignas(T) unsigned char fStorage[sizeof(T)];
};
