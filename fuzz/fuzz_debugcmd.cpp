// Fuzz target for the reader of the trace command file "debug.cmd".
//
// Cuts the input into lines as the reader does and parses each one, then checks the results
// against an independent reading: fields split with the C library's strspn/strcspn and the level
// read with strtol. Any disagreement, an overlong line or a line feed inside a line traps.
#include <velacore/debug/internal/TdebugCommandFile.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using vela::debug_internal::TdebugCommand;

std::vector<std::string> oracleFields(const std::string& line) {
  std::vector<std::string> fields;
  // strspn/strcspn stop at NUL bytes; the reader does not, so split the line at NULs first
  // only when there are none.
  const char* p = line.c_str();
  for (;;) {
    p += std::strspn(p, " \t");
    if (*p == '\0') break;
    const std::size_t n = std::strcspn(p, " \t");
    fields.emplace_back(p, n);
    p += n;
  }
  return fields;
}

void check(bool ok) {
  if (!ok) __builtin_trap();
}

void checkLine(std::string_view view) {
  check(view.size() <= vela::debug_internal::kMaxCommandLine);
  check(view.find('\n') == std::string_view::npos);
  const TdebugCommand command = vela::debug_internal::parseDebugCommandLine(view);
  const std::string line(view);
  if (line.find('\0') != std::string::npos) return;  // the oracle cannot read past a NUL
  const std::vector<std::string> fields = oracleFields(line);
  if (fields.empty()) {
    check(command.kind == TdebugCommand::kSkip);
    return;
  }
  const std::string& keyword = fields[0];
  const bool onOff = keyword == "on" || keyword == "off";
  const bool file = keyword == "file";
  if (!onOff && !file) {
    check(command.kind == TdebugCommand::kUnknown && command.word == keyword);
    return;
  }
  const std::size_t levelField = onOff ? 1 : 2;
  if (fields.size() < levelField + 2) {
    check(command.kind == TdebugCommand::kSkip);
    return;
  }
  const std::string& levelText = fields[levelField];
  errno = 0;
  char* end = nullptr;
  const long level = std::strtol(levelText.c_str(), &end, 10);
  const bool whole = *end == '\0' && errno == 0 && level >= INT_MIN && level <= INT_MAX &&
                     levelText.find_first_of(" \t\n\v\f\r") == std::string::npos &&
                     (levelText[0] == '+' || levelText[0] == '-' ||
                      (levelText[0] >= '0' && levelText[0] <= '9'));
  if (!whole) {
    check(command.kind == TdebugCommand::kBadLevel && command.word == levelText);
    return;
  }
  check(command.level == static_cast<int>(level));
  check(command.pattern == fields[levelField + 1]);
  if (file) {
    check(command.kind == TdebugCommand::kFile && command.output == fields[1]);
  } else {
    check(command.kind == (keyword == "on" ? TdebugCommand::kOn : TdebugCommand::kOff));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::size_t lines = 0;
  vela::debug_internal::TcommandLineSplitter splitter([&lines](std::string_view line) {
    ++lines;
    checkLine(line);
  });
  // Feed in two pieces so that a line split across calls is exercised too.
  const std::size_t half = size / 2;
  splitter.feed(reinterpret_cast<const char*>(data), half);
  splitter.feed(reinterpret_cast<const char*>(data) + half, size - half);
  splitter.finish();
  const std::size_t feeds = static_cast<std::size_t>(
      std::count(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size,
                 '\n'));
  check(lines == feeds || lines == feeds + 1);
  return 0;
}
