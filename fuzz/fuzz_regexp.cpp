// Fuzzes TregExp: any bytes compile or fail with a message, and matching stays inside the text.
// Input: the pattern up to the first NUL byte, then the text (up to the next NUL).
#include <velacore/strings/TregExp.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

void check(bool condition) {
  if (!condition) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  const std::size_t patternLength = strnlen(bytes, size);
  // Exact-size heap copies, so reading past a terminator is caught.
  const std::string pattern(bytes, patternLength);
  std::string text;
  if (patternLength < size) {
    const char* rest = bytes + patternLength + 1;
    text.assign(rest, strnlen(rest, size - patternLength - 1));
  }

  TregExp re(pattern.c_str());
  check(re.isValid() == (re.error() == nullptr));
  const char* end = text.c_str();
  const char* start = re.firstMatch(&end);
  const bool whole = re.match(text.c_str());
  if (!re.isValid()) {
    check(start == nullptr && !whole);
    return 0;
  }
  const char* const first = text.c_str();
  const char* const last = first + text.size();
  if (start) {
    check(start >= first && start <= last && end >= start && end <= last);
  } else {
    check(end == first);
  }
  // A whole-text match is also the leftmost match, found at the first byte.
  if (whole) check(start == first);
  const TregExp copy(re);
  check(copy.match(text.c_str()) == whole);
  return 0;
}
