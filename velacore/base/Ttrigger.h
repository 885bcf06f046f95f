// Ttrigger: a list of callbacks fired when a watched setting changes.
//
// The owner of a setting keeps one trigger and fires it after each change; interested code adds a
// callback and removes it again with the id it got back:
//
//   Ttrigger traceChanged;
//   Ttrigger::Tid id = traceChanged.add([] { refreshTraceMenu(); });
//   ...
//   traceChanged.fire();        // calls every callback, in the order they were added
//   traceChanged.remove(id);
//
// Thread-safe: add, remove and fire may be called from any thread. fire() calls a snapshot of the
// list taken under the lock and runs the callbacks without holding it, so a callback may add or
// remove callbacks (the change takes effect from the next fire()). A callback removed while a
// fire() is under way on another thread may still be called once by that fire().
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <functional>
#include <vector>

class VELACORE_API Ttrigger {
 public:
  /// Identifies one added callback; never 0.
  using Tid = unsigned;
  /// A plain callback with a pointer of the caller's.
  using Tcallback = void (*)(void* clientData);

  Ttrigger() = default;
  Ttrigger(const Ttrigger&) = delete;
  Ttrigger& operator=(const Ttrigger&) = delete;

  /// Adds a callback; returns its id.
  Tid add(std::function<void()> callback);
  /// Adds a plain callback that receives `clientData`; returns its id.
  Tid add(Tcallback callback, void* clientData);
  /// Removes the callback with this id; returns false when there is none.
  bool remove(Tid id);
  /// Removes every callback.
  void clear();
  /// Calls every callback in the order they were added.
  void fire() const;
  /// The number of callbacks.
  [[nodiscard]] std::size_t size() const;

 private:
  struct Tentry {
    Tid id;
    std::function<void()> callback;
  };

  mutable TmtCriticalSection fLock;
  std::vector<Tentry> fEntries;
  Tid fNextId = 1;
};
