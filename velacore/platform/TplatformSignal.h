// The debug signal: an outside request to re-read the diagnostics settings of a running process.
//
// A developer sends the signal (`kill -USR1 <pid>`) after editing a command file; the process must
// then act on it without having been built for it. Work of that kind cannot run inside a signal
// handler (it allocates, locks and opens files), so the handler only wakes a watcher thread, and
// the watcher calls the registered function in ordinary thread context:
//
//   vela::platform::watchDebugSignal(&rereadCommands);   // once, early
//   ...
//   vela::platform::raiseDebugSignal();                  // what `kill -USR1` does from outside
//
// Hazards: the callback runs on the watcher thread, concurrently with the rest of the program, and
// must do its own locking. Several signals that arrive before the watcher wakes may be merged
// into one call.
#pragma once

#include <velacore/base/TvelacoreApi.h>

namespace vela::platform {

/// The function the watcher calls once per (merged) debug signal.
using TdebugSignalCallback = void (*)();

/// Installs the debug-signal handler and starts the watcher thread that calls `callback`. Only
/// the first call installs; later calls replace the callback. A handler the host had installed
/// for the signal before is called by ours after it wakes the watcher. Returns false when the
/// handler or the watcher could not be set up (the signal then keeps its previous action).
VELACORE_INTERNAL_API bool watchDebugSignal(TdebugSignalCallback callback);

/// Whether the debug-signal watcher is installed.
[[nodiscard]] VELACORE_INTERNAL_API bool debugSignalWatched();

/// Sends the debug signal to this process. Returns false when it could not be sent.
VELACORE_INTERNAL_API bool raiseDebugSignal();

/// The number of debug signals the watcher has finished handling so far (for callers that must
/// wait until a signal they raised has been acted on).
[[nodiscard]] VELACORE_INTERNAL_API unsigned long debugSignalsHandled();

}  // namespace vela::platform
