#include <velacore/debug/internal/TdebugCommandFile.h>

#include <climits>
#include <utility>
#include <vector>

namespace vela::debug_internal {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::vector<std::string_view> splitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && isBlank(line[i])) ++i;
    const std::size_t start = i;
    while (i < line.size() && !isBlank(line[i])) ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

// A decimal integer with an optional sign, nothing else; false on overflow.
bool parseLevel(std::string_view text, int& level) {
  std::size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i == text.size()) return false;
  long long value = 0;
  for (; i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
    if (value > static_cast<long long>(INT_MAX) + 1) return false;
  }
  if (negative) value = -value;
  if (value > INT_MAX || value < INT_MIN) return false;
  level = static_cast<int>(value);
  return true;
}

}  // namespace

TdebugCommand parseDebugCommandLine(std::string_view line) {
  TdebugCommand command;
  const std::vector<std::string_view> fields = splitFields(line);
  if (fields.empty()) return command;
  const std::string_view keyword = fields[0];
  std::size_t levelField = 0;
  if (keyword == "on" || keyword == "off") {
    if (fields.size() < 3) return command;
    command.kind = keyword == "on" ? TdebugCommand::kOn : TdebugCommand::kOff;
    levelField = 1;
  } else if (keyword == "file") {
    if (fields.size() < 4) return command;
    command.kind = TdebugCommand::kFile;
    command.output = std::string(fields[1]);
    levelField = 2;
  } else {
    command.kind = TdebugCommand::kUnknown;
    command.word = std::string(keyword);
    return command;
  }
  if (!parseLevel(fields[levelField], command.level)) {
    command.kind = TdebugCommand::kBadLevel;
    command.word = std::string(fields[levelField]);
    return command;
  }
  command.pattern = std::string(fields[levelField + 1]);
  return command;
}

std::vector<TdebugPatternEntry> parseDebugPatternList(std::string_view list) {
  std::vector<TdebugPatternEntry> entries;
  const auto trim = [](std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
  };
  while (!list.empty()) {
    const std::size_t comma = list.find(',');
    const std::string_view entry = trim(list.substr(0, comma));
    list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    if (entry.empty()) continue;
    TdebugPatternEntry parsed;
    const std::size_t colon = entry.rfind(':');
    if (colon == std::string_view::npos) {
      parsed.pattern = std::string(entry);
    } else {
      parsed.pattern = std::string(trim(entry.substr(0, colon)));
      if (parsed.pattern.empty() || !parseLevel(trim(entry.substr(colon + 1)), parsed.level)) {
        parsed.pattern = std::string(entry);
        parsed.bad = true;
      }
    }
    entries.push_back(std::move(parsed));
  }
  return entries;
}

void TcommandLineSplitter::feed(const char* bytes, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    const char c = bytes[i];
    if (c == '\n') {
      emitLine();
    } else if (fLine.size() < kMaxCommandLine) {
      fLine.push_back(c);
    } else {
      fOverlong = true;
    }
  }
}

void TcommandLineSplitter::finish() {
  if (!fLine.empty() || fOverlong) emitLine();
}

void TcommandLineSplitter::emitLine() {
  if (!fOverlong && !fLine.empty() && fLine.back() == '\r') fLine.pop_back();
  fOnLine(fLine);
  fLine.clear();
  fOverlong = false;
}

}  // namespace vela::debug_internal
