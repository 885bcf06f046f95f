#include <velacore/platform/TplatformSystem.h>

#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <thread>

namespace vela::platform {

const char* platformName() {
#if defined(__APPLE__)
  return "mac";
#elif defined(__linux__)
  return "linux";
#else
  return "posix";
#endif
}

std::string osRelease() {
  struct utsname u {};
  if (uname(&u) != 0) return std::string();
  return std::string(u.sysname) + " " + u.release;
}

std::string hostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return std::string();
  return name;
}

unsigned processorCount() {
  const unsigned n = std::thread::hardware_concurrency();
  return n == 0 ? 1 : n;
}

std::int64_t processId() { return static_cast<std::int64_t>(getpid()); }

std::int64_t threadId() {
#if defined(__linux__)
  return static_cast<std::int64_t>(syscall(SYS_gettid));
#else
  return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(pthread_self()));
#endif
}

}  // namespace vela::platform
