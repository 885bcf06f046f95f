#include <velacore/environment/TenvFileParser.h>

#include <cstring>
#include <utility>

namespace {

bool isTrimmed(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isTrimmed(s.front())) s.remove_prefix(1);
  while (!s.empty() && isTrimmed(s.back())) s.remove_suffix(1);
  return s;
}

// Characters that end a $NAME reference.
bool endsDollarName(char c) { return std::strchr(" \t/\\:;$%", c) != nullptr; }

}  // namespace

TenvFileParser::TenvFileParser(Tlookup lookup, Tsink sink, ToverlongSink overlong)
    : fLookup(std::move(lookup)), fSink(std::move(sink)), fOverlongSink(std::move(overlong)) {}

void TenvFileParser::feed(const char* bytes, std::size_t length) {
  const char* end = bytes + length;
  while (bytes < end) {
    const char* newline = static_cast<const char*>(std::memchr(bytes, '\n', end - bytes));
    const char* stop = newline != nullptr ? newline : end;
    const std::size_t n = static_cast<std::size_t>(stop - bytes);
    // Keep at most one character past the limit: enough to know the line is too long.
    if (!fOverlong) {
      if (fLine.size() + n > kMaxLineLength) {
        fOverlong = true;
        fLine.clear();
      } else {
        fLine.append(bytes, n);
      }
    }
    if (newline == nullptr) break;
    endLine();
    bytes = newline + 1;
  }
}

void TenvFileParser::finish() {
  if (!fLine.empty() || fOverlong) endLine();
}

void TenvFileParser::endLine() {
  std::string name, value;
  ++fLineNumber;
  if (fOverlong) {
    if (fOverlongSink) fOverlongSink(fLineNumber);
  } else if (parseLine(fLine, fLookup, name, value)) {
    fSink(name, value);
  }
  fLine.clear();
  fOverlong = false;
}

bool TenvFileParser::parseLine(std::string_view line, const Tlookup& lookup, std::string& name,
                               std::string& value) {
  if (line.size() > kMaxLineLength || line.empty() || line.front() == '#') return false;
  if (line.find('\0') != std::string_view::npos) return false;
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || equals == 0) return false;
  const std::string_view n = trimmed(line.substr(0, equals));
  if (!isAcceptedName(n)) return false;
  name.assign(n);
  value = expand(trimmed(line.substr(equals + 1)), lookup);
  return true;
}

bool TenvFileParser::isAcceptedName(std::string_view name) {
  if (name.empty() || name.front() == '#') return false;
  for (const char c : name) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7f || std::strchr(" \\/:*\"<>|", c) != nullptr) return false;
  }
  return true;
}

std::string TenvFileParser::expand(std::string_view value, const Tlookup& lookup) {
  std::string out;
  out.reserve(value.size());
  std::size_t i = 0;
  while (i < value.size()) {
    const char c = value[i];
    if (c != '$' && c != '%') {
      out += c;
      ++i;
      continue;
    }
    std::size_t nameEnd;  // one past the name
    std::size_t refEnd;   // one past the whole reference
    if (c == '$') {
      nameEnd = i + 1;
      while (nameEnd < value.size() && !endsDollarName(value[nameEnd])) ++nameEnd;
      refEnd = nameEnd;
    } else {
      nameEnd = value.find('%', i + 1);
      if (nameEnd == std::string_view::npos) {  // no closing "%": the rest is text
        out.append(value.substr(i));
        break;
      }
      refEnd = nameEnd + 1;
    }
    const std::size_t nameLength = nameEnd - (i + 1);
    if (nameLength >= kMaxNameLength) {  // give up: keep the rest as written
      out.append(value.substr(i));
      break;
    }
    const char* found = nullptr;
    if (nameLength > 0 && lookup) found = lookup(std::string(value.substr(i + 1, nameLength)));
    if (found != nullptr) {
      out += found;
    } else {
      out.append(value.substr(i, refEnd - i));
    }
    i = refEnd;
  }
  return out;
}
