// The library's doors to the process environment.
//
// Every read of an environment variable inside velacore goes through VelaGetEnv, so that the
// start-up environment code can serialise access to the environment block.
//
//   if (const char* dir = VelaGetEnv("VELA_DEBUG_LOCATION")) { ... }
#pragma once

/// The value of the environment variable `name`, or null when it is not set.
[[nodiscard]] const char* VelaGetEnv(const char* name);
