#include <velacore/memory/internal/TmemoryReport.h>

#include <velacore/debug/TdebugOutput.h>

#include <cstdarg>
#include <cstdio>

namespace vela::memory_internal {

void reportError(const char* format, ...) {
  char text[1024];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  TdebugOutput::sCerr().printError("%s\n", text);
}

}  // namespace vela::memory_internal
