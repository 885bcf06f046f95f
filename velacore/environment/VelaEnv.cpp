#include <velacore/environment/VelaEnv.h>

#include <velacore/platform/TplatformEnvironment.h>

const char* VelaGetEnv(const char* name) { return vela::platform::getEnv(name); }
