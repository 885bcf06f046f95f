// Facts about the host: its platform name, processors, the running process and thread.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>
#include <string>

namespace vela::platform {

/// The host's platform name as module files spell it: "linux", "mac" or "win64".
[[nodiscard]] VELACORE_INTERNAL_API const char* platformName();

/// The operating system's own name and release, e.g. "Linux 6.1.0-18-amd64".
[[nodiscard]] VELACORE_INTERNAL_API std::string osRelease();

/// The machine's network name, or an empty string.
[[nodiscard]] VELACORE_INTERNAL_API std::string hostName();

/// The number of processors this process may run on (at least 1).
[[nodiscard]] VELACORE_INTERNAL_API unsigned processorCount();

/// The id of this process.
[[nodiscard]] VELACORE_INTERNAL_API std::int64_t processId();

/// The system-wide id of the calling thread.
[[nodiscard]] VELACORE_INTERNAL_API std::int64_t threadId();

}  // namespace vela::platform
