// The library's doors to the process environment.
//
// Every read and write of an environment variable inside velacore goes through these functions.
// They share one lock, so threads may call them at the same time; code that calls getenv or
// setenv directly bypasses the lock and may race with them.
//
//   if (const char* dir = VelaGetEnv("VELA_DEBUG_LOCATION")) { ... }
//   VelaPutEnv("VELA_SCRIPT_PATH=/opt/vela/scripts");
//
// A host process that keeps a second environment block (an embedding interpreter, a child
// process template) mirrors the library's changes by installing callbacks with
// VelaSetModifyEnvCallbacks. Assignments made before the callbacks exist are kept and handed
// over, in order, when the modify callback is installed.
//
// Hazard: the pointer VelaGetEnv returns stays readable after the variable changes, but then
// shows the old value. Copy it when it must stay current.
#pragma once

#include <velacore/base/TvelacoreApi.h>

/// A callback that mirrors one change: an assignment "NAME=value", or the name of an unset
/// variable.
using TvelaEnvCallback = void (*)(const char* text);

/// The value of the environment variable `name`, or null when it is not set (or `name` is null).
[[nodiscard]] VELACORE_API const char* VelaGetEnv(const char* name);

/// Sets a variable from an assignment "NAME=value" (split at the first "="; the value may be
/// empty). A `PATH` value is cleaned first: entries that already occurred earlier in the value
/// are dropped. On success the modify callback sees the assignment as stored, or it is queued
/// until one is installed. Returns 0, or a negative error code (no "=", an empty name).
VELACORE_API int VelaPutEnv(const char* assignment);

/// Removes the variable `name`. On success the unset callback, if any, sees the name. Returns 0,
/// or a negative error code for a name the runtime refuses.
VELACORE_API int VelaUnsetEnv(const char* name);

/// Installs the callbacks (either may be null). A non-null modify callback first receives every
/// queued assignment, oldest first; the queue is then empty.
VELACORE_API void VelaSetModifyEnvCallbacks(TvelaEnvCallback modifyCallback, TvelaEnvCallback unsetCallback);
