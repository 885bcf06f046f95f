#include <velacore/platform/TplatformEnvironment.h>

#include <cstdlib>

namespace vela::platform {

const char* getEnv(const char* name) { return name == nullptr ? nullptr : std::getenv(name); }

}  // namespace vela::platform
