#include <velacore/platform/TplatformEnvironment.h>

#include <cerrno>
#include <cstdlib>

extern "C" char** environ;  // NOLINT: the POSIX environment block

namespace vela::platform {

const char* getEnv(const char* name) { return name == nullptr ? nullptr : std::getenv(name); }

int setEnv(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) return -EINVAL;
  return ::setenv(name, value, 1) == 0 ? 0 : -errno;
}

int unsetEnv(const char* name) {
  if (name == nullptr) return -EINVAL;
  return ::unsetenv(name) == 0 ? 0 : -errno;
}

std::vector<std::string> environmentEntries() {
  std::vector<std::string> entries;
  for (char** e = environ; e != nullptr && *e != nullptr; ++e) entries.emplace_back(*e);
  return entries;
}

}  // namespace vela::platform
