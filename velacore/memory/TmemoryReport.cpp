#include <velacore/memory/internal/TmemoryReport.h>

#include <cstdarg>
#include <cstdio>

namespace vela::memory_internal {

namespace {

void writeLine(const char* prefix, const char* format, std::va_list args) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, args);
  std::fprintf(stderr, "%s%s\n", prefix, text);
}

}  // namespace

void reportError(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  writeLine("ERR: ", format, args);
  va_end(args);
}

void reportInfo(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  writeLine("", format, args);
  va_end(args);
}

}  // namespace vela::memory_internal
