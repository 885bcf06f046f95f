// The process environment block.
#pragma once

namespace vela::platform {

/// The value of `name` in the process environment, or null when unset (or `name` is null).
[[nodiscard]] const char* getEnv(const char* name);

}  // namespace vela::platform
