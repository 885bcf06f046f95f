// The reader of the trace command file "debug.cmd": splitting into lines and parsing one line.
//
// Kept apart from TdbTrace so that the parser of this outside input can be tested and fuzzed on
// its own. Nothing here touches traces.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vela::debug_internal {

/// The longest line the reader keeps; the rest of a longer line is dropped.
constexpr std::size_t kMaxCommandLine = 500;

/// One parsed line of the command file.
struct TdebugCommand {
  enum Tkind {
    kSkip,      ///< blank, or a known keyword with fields missing
    kOn,        ///< on <level> <pattern>
    kOff,       ///< off <level> <pattern>
    kFile,      ///< file <output> <level> <pattern>
    kUnknown,   ///< an unrecognized first word (in `word`)
    kBadLevel,  ///< a level that is not a decimal integer (in `word`)
  };
  Tkind kind = kSkip;
  std::string word;
  std::string output;
  int level = 0;
  std::string pattern;
};

/// Parses one line (without its line feed); fields are separated by blanks and tabs.
[[nodiscard]] TdebugCommand parseDebugCommandLine(std::string_view line);

/// One entry of a trace-pattern list such as "geom*:2,io": a wildcard pattern on trace keys
/// and a level (0: any; 1 and up: traces of a greater level are left out).
struct TdebugPatternEntry {
  std::string pattern;
  int level = 0;
  /// Not "pattern" or "pattern:level" (a level that is not a decimal integer, or no pattern
  /// before the ":"); `pattern` then holds the whole entry.
  bool bad = false;
};

/// Splits a comma-separated pattern list; blanks around entries are dropped, empty entries
/// skipped, and the level follows the last ":" of an entry.
[[nodiscard]] std::vector<TdebugPatternEntry> parseDebugPatternList(std::string_view list);

/// Cuts a byte stream into lines of at most kMaxCommandLine bytes: feed it pieces in order,
/// then finish(). A trailing carriage return is removed with the line feed.
class TcommandLineSplitter {
 public:
  explicit TcommandLineSplitter(std::function<void(std::string_view)> onLine)
      : fOnLine(std::move(onLine)) {}
  void feed(const char* bytes, std::size_t length);
  void finish();

 private:
  void emitLine();
  std::function<void(std::string_view)> fOnLine;
  std::string fLine;
  bool fOverlong = false;
};

}  // namespace vela::debug_internal
