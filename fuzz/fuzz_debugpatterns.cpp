// Fuzz target for the reader of VELA_DEBUG trace-pattern lists ("geom*:2,anim").
//
// Checks what every entry must satisfy, and that a good entry written back as "pattern:level"
// reads as the same entry; any breach traps.
#include <velacore/debug/internal/TdebugCommandFile.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

bool blank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vela::debug_internal::parseDebugPatternList;
  const std::string_view list(reinterpret_cast<const char*>(data), size);
  const auto entries = parseDebugPatternList(list);
  check(entries.size() <= static_cast<std::size_t>(std::count(list.begin(), list.end(), ',')) + 1);
  for (const auto& entry : entries) {
    check(!entry.pattern.empty());
    check(entry.pattern.find(',') == std::string::npos);
    check(!blank(entry.pattern.front()) && !blank(entry.pattern.back()));
    if (entry.bad) continue;
    const std::string written = entry.pattern + ":" + std::to_string(entry.level);
    const auto again = parseDebugPatternList(written);
    check(again.size() == 1 && !again[0].bad && again[0].pattern == entry.pattern &&
          again[0].level == entry.level);
  }
  return 0;
}
