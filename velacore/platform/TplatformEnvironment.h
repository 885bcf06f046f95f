// The process environment block and the path-list separator.
//
// These are raw doors: they take no lock. The library's own callers go through VelaGetEnv,
// VelaPutEnv and VelaUnsetEnv (environment/VelaEnv.h), which serialise every access.
//
//   vela::platform::setEnv("VELA_APP_DIR", "/home/ann/Documents/Vela");
//
// Hazard: a pointer returned by getEnv belongs to the runtime. It stays readable after the
// variable is changed (the C library never frees replaced values it allocated), but it may then
// show the old value.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <string>
#include <vector>

namespace vela::platform {

/// The character that separates the entries of a path list such as `PATH`.
#if defined(_WIN32)
inline constexpr char kPathListSeparator = ';';
#else
inline constexpr char kPathListSeparator = ':';
#endif

/// The value of `name` in the process environment, or null when unset (or `name` is null).
[[nodiscard]] VELACORE_INTERNAL_API const char* getEnv(const char* name);

/// Sets `name` to `value` (which may be empty). Returns 0, or a negative errno value when the
/// runtime refuses (an empty name, a name with '=', no memory).
[[nodiscard]] VELACORE_INTERNAL_API int setEnv(const char* name, const char* value);

/// Removes `name` from the environment. Returns 0 (also when it was not set), or a negative
/// errno value for a name the runtime refuses.
[[nodiscard]] VELACORE_INTERNAL_API int unsetEnv(const char* name);

/// Every "NAME=value" entry of the process environment, in the runtime's order.
[[nodiscard]] VELACORE_INTERNAL_API std::vector<std::string> environmentEntries();

}  // namespace vela::platform
