#include <velacore/platform/TplatformTrace.h>

#include <syslog.h>

#include <cstring>

namespace vela::platform {

void sendToDeveloperChannel(const char* text) {
  if (text == nullptr || *text == '\0') return;
  std::size_t n = std::strlen(text);
  if (text[n - 1] == '\n') --n;
  syslog(LOG_USER | LOG_DEBUG, "%.*s", static_cast<int>(n), text);
}

}  // namespace vela::platform
