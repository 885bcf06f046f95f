// Tstring: editing, escapes, line ends, substitution, path pieces and regular expressions.
#include <velacore/strings/Tstring.h>

#include <velacore/base/Texception.h>
#include <velacore/platform/TplatformRegex.h>
#include <velacore/strings/internal/TtextObject.h>

#include <QChar>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

// Offset of the first byte of the last path piece.
std::size_t lastPieceStart(const std::string& n) {
  const std::size_t sep = n.find_last_of("/\\");
  return sep == std::string::npos ? 0 : sep + 1;
}

// Offset of the last '.' inside the last path piece, or npos.
std::size_t extensionDot(const std::string& n) {
  const std::size_t dot = n.rfind('.');
  if (dot == std::string::npos || dot < lastPieceStart(n)) return std::string::npos;
  return dot;
}

inline bool asciiOnly(const std::string& n) {
  for (char c : n)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

inline bool isSpace(char16_t u) { return QChar(u).isSpace(); }

// Appends the escaped form of bytes [p, p + n). Everything escaped is ASCII, so working on the
// UTF-8 bytes gives the same result as working on UTF-16 units.
void escapeInto(std::string& out, const char* p, std::size_t n, bool quoted) {
  out.reserve(out.size() + n + n / 4);
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<unsigned char>(p[i]);
    switch (c) {
      case 7: out += "\\a"; continue;
      case 8: out += "\\b"; continue;
      case 9: out += "\\t"; continue;
      case 10: out += "\\n"; continue;
      case 11: out += "\\v"; continue;
      case 12: out += "\\f"; continue;
      case 13: out += "\\r"; continue;
      case '\\': out += "\\\\"; continue;
      default: break;
    }
    if (c == '"' && quoted) {
      out += "\\\"";
    } else if (c < 32 || c == 127) {
      char buf[5];
      std::snprintf(buf, sizeof buf, "\\%03o", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
}

void appendCodePoint(std::string& out, unsigned cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

inline bool isOctal(char c) { return c >= '0' && c <= '7'; }

}  // namespace

// ---- case and white space ----------------------------------------------------------------

Tstring& Tstring::capitalize() {
  if (isEmpty()) return *this;
  const std::string& n = TstringAccess::narrow(*this);
  if (static_cast<unsigned char>(n[0]) < 0x80) {
    if (n[0] >= 'a' && n[0] <= 'z') TstringAccess::editNarrow(*this)[0] = static_cast<char>(n[0] - 32);
    return *this;
  }
  QString& w = TstringAccess::editWide(*this);
  w[0] = w[0].toUpper();
  return *this;
}

Tstring& Tstring::toUpperCase() {
  if (isEmpty()) return *this;
  TtextObject* t = TstringAccess::text(*this);
  if (t->narrowValid() && asciiOnly(t->fNarrow)) {
    for (char& c : TstringAccess::editNarrow(*this))
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    return *this;
  }
  QString& w = TstringAccess::editWide(*this);
  w = w.toUpper();
  return *this;
}

Tstring& Tstring::toLowerCase() {
  if (isEmpty()) return *this;
  TtextObject* t = TstringAccess::text(*this);
  if (t->narrowValid() && asciiOnly(t->fNarrow)) {
    for (char& c : TstringAccess::editNarrow(*this))
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return *this;
  }
  QString& w = TstringAccess::editWide(*this);
  w = w.toLower();
  return *this;
}

Tstring& Tstring::removeSpaces() {
  if (isEmpty()) return *this;
  const QString& w = TstringAccess::wide(*this);
  QString out;
  out.reserve(w.size());
  for (QChar c : w)
    if (!c.isSpace()) out += c;
  if (out.size() != w.size()) TstringAccess::setWide(*this, std::move(out));
  return *this;
}

Tstring& Tstring::removeInitialAndFinalSpaces() {
  if (isEmpty()) return *this;
  const QString& w = TstringAccess::wide(*this);
  const char16_t* p = units(w);
  int b = 0;
  int e = w.size();
  while (b < e && isSpace(p[b])) ++b;
  while (e > b && isSpace(p[e - 1])) --e;
  if (b != 0 || e != w.size()) TstringAccess::setWide(*this, w.mid(b, e - b));
  return *this;
}

Tstring& Tstring::collapseWhiteSpace() {
  if (isEmpty()) return *this;
  const QString& w = TstringAccess::wide(*this);
  QString out;
  out.reserve(w.size());
  bool inRun = false;
  for (QChar c : w) {
    if (c.isSpace()) {
      if (!inRun) out += QLatin1Char(' ');
      inRun = true;
    } else {
      out += c;
      inRun = false;
    }
  }
  if (out != w) TstringAccess::setWide(*this, std::move(out));
  return *this;
}

Tstring& Tstring::formatToWidth(unsigned int width) {
  if (length() <= width || width == 0) return *this;
  QString w = TstringAccess::wide(*this);
  char16_t* p = reinterpret_cast<char16_t*>(w.data());
  const int n = w.size();
  unsigned int column = 0;
  int lineStart = 0;
  for (int i = 0; i < n; ++i) {
    if (p[i] == u'\n') {
      column = 0;
      lineStart = i + 1;
      continue;
    }
    ++column;
    if (column < width) continue;
    if (isSpace(p[i])) {
      p[i] = u'\n';
      column = 0;
      lineStart = i + 1;
    } else if (i + 1 < n && isSpace(p[i + 1])) {
      p[i + 1] = u'\n';
      column = 0;
      lineStart = i + 2;
      ++i;
    } else if (i + 1 < n) {
      int j = i - 1;
      while (j >= lineStart && !isSpace(p[j])) --j;
      if (j >= lineStart) {
        p[j] = u'\n';
        column = static_cast<unsigned int>(i - j);
        lineStart = j + 1;
      } else {
        // No white space on this line: break at the next one further on.
        int k = i + 1;
        while (k < n && !isSpace(p[k]) && p[k] != u'\n') ++k;
        if (k < n && p[k] != u'\n') p[k] = u'\n';
        column = 0;
        lineStart = k + 1;
        i = k;
      }
    }
  }
  TstringAccess::setWide(*this, std::move(w));
  return *this;
}

Tstring& Tstring::padLeft(unsigned int width, char16_t pad) {
  const unsigned int n = numChars();
  if (n >= width) return *this;
  // A text of more than 2^31 - 1 units cannot be held; asking for one is running out of memory.
  if (width - n > static_cast<unsigned int>(INT_MAX)) throw TmemoryException();
  QString w(static_cast<int>(width - n), QChar(pad));
  w += TstringAccess::wide(*this);
  TstringAccess::setWide(*this, std::move(w));
  return *this;
}

// ---- substitution ------------------------------------------------------------------------

Tstring& Tstring::substitute(const Tstring& from, const Tstring& to) {
  return doSubstitute(from, to, true);
}

Tstring& Tstring::substituteFirst(const Tstring& from, const Tstring& to) {
  return doSubstitute(from, to, false);
}

Tstring& Tstring::doSubstitute(const Tstring& from, const Tstring& to, bool all) {
  if (isEmpty() || from.isEmpty()) return *this;
  const Tstring f(from);  // either argument may be this very string
  const Tstring r(to);
  TtextObject* t = TstringAccess::text(*this);
  const std::string& needle = TstringAccess::narrow(f);
  if (t->narrowValid() && asciiOnly(needle)) {
    // An ASCII needle can only match whole characters of UTF-8 text.
    const std::string& hay = t->fNarrow;
    std::size_t pos = hay.find(needle);
    if (pos == std::string::npos) return *this;
    const std::string& rep = TstringAccess::narrow(r);
    std::string out;
    std::size_t from0 = 0;
    do {
      out.append(hay, from0, pos - from0).append(rep);
      from0 = pos + needle.size();
      pos = all ? hay.find(needle, from0) : std::string::npos;
    } while (pos != std::string::npos);
    out.append(hay, from0, std::string::npos);
    TstringAccess::setNarrow(*this, out.data(), out.size());
    return *this;
  }
  QString w = TstringAccess::wide(*this);
  const QString& a = TstringAccess::wide(f);
  const QString& b = TstringAccess::wide(r);
  if (all) {
    w.replace(a, b);
  } else {
    const int pos = w.indexOf(a);
    if (pos < 0) return *this;
    w.replace(pos, a.size(), b);
  }
  TstringAccess::setWide(*this, std::move(w));
  return *this;
}

// ---- escapes -----------------------------------------------------------------------------

Tstring& Tstring::encodeEscapeSequences(bool quoted) {
  if (isEmpty()) return *this;
  const std::string& n = TstringAccess::narrow(*this);
  std::string out;
  escapeInto(out, n.data(), n.size(), quoted);
  if (out.size() != n.size()) TstringAccess::setNarrow(*this, out.data(), out.size());
  return *this;
}

int Tstring::catenateEscapeSequences(const char* bytes, bool quoted) {
  if (bytes == nullptr || *bytes == '\0') return 0;
  std::string out;
  escapeInto(out, bytes, std::strlen(bytes), quoted);
  return catenate(out.data(), static_cast<unsigned int>(out.size()));
}

Tstring& Tstring::decodeEscapeSequences() {
  if (isEmpty()) return *this;
  const std::string& n = TstringAccess::narrow(*this);
  if (n.find('\\') == std::string::npos) return *this;
  std::string out;
  out.reserve(n.size());
  for (std::size_t i = 0; i < n.size(); ++i) {
    if (n[i] != '\\' || i + 1 == n.size()) {
      out += n[i];
      continue;
    }
    const char e = n[i + 1];
    char plain = '\0';
    switch (e) {
      case 'a': plain = '\a'; break;
      case 'b': plain = '\b'; break;
      case 't': plain = '\t'; break;
      case 'n': plain = '\n'; break;
      case 'v': plain = '\v'; break;
      case 'f': plain = '\f'; break;
      case 'r': plain = '\r'; break;
      case '\\': plain = '\\'; break;
      case '"': plain = '"'; break;
      default: break;
    }
    if (plain != '\0') {
      out += plain;
      ++i;
    } else if (i + 3 < n.size() && isOctal(e) && isOctal(n[i + 2]) && isOctal(n[i + 3])) {
      // An octal triple is one UTF-16 unit (at most \777, U+01FF).
      appendCodePoint(out, static_cast<unsigned>((e - '0') * 64 + (n[i + 2] - '0') * 8 +
                                                 (n[i + 3] - '0')));
      i += 3;
    } else {
      out += '\\';  // not an escape: kept as written
    }
  }
  TstringAccess::setNarrow(*this, out.data(), out.size());
  return *this;
}

Tstring& Tstring::collapseEscapeSequences() { return decodeEscapeSequences(); }

// ---- line ends ---------------------------------------------------------------------------

Tstring& Tstring::clean(Tsystem kind) {
  if (isEmpty()) return *this;
  const std::string& n = TstringAccess::narrow(*this);
  if (n.find_first_of("\r\n") == std::string::npos) return *this;
  const bool lfSystem = kind == kSystemLinux || kind == kSystemMacOSX;
  const char* pairEnd = kind == kSystemWindows ? "\r\n" : (lfSystem ? "\n" : "\r");
  const char* lfEnd = kind == kSystemWindows ? "\r\n" : (kind == kSystemClassicMac ? "\r" : "\n");
  const char* crEnd = kind == kSystemWindows ? "\r\n" : (lfSystem ? "\n" : "\r");
  std::string out;
  out.reserve(n.size() + n.size() / 8);
  for (std::size_t i = 0; i < n.size(); ++i) {
    if (n[i] == '\r') {
      if (i + 1 < n.size() && n[i + 1] == '\n') {
        out += pairEnd;
        ++i;
      } else {
        out += crEnd;
      }
    } else if (n[i] == '\n') {
      out += lfEnd;
    } else {
      out += n[i];
    }
  }
  if (out != n) TstringAccess::setNarrow(*this, out.data(), out.size());
  return *this;
}

// ---- path pieces -------------------------------------------------------------------------

Tstring& Tstring::stripExtension() {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t dot = extensionDot(n);
  if (dot != std::string::npos) TstringAccess::setNarrow(*this, n.data(), dot);
  return *this;
}

Tstring& Tstring::stripPath() {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t start = lastPieceStart(n);
  if (start != 0) TstringAccess::setNarrow(*this, n.data() + start, n.size() - start);
  return *this;
}

Tstring Tstring::root() const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t dot = extensionDot(n);
  return dot == std::string::npos ? *this : Tstring(n.data(), static_cast<unsigned int>(dot));
}

Tstring Tstring::root(const Tstring& suffix) const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::string& s = TstringAccess::narrow(suffix);
  if (s.empty() || s.size() > n.size() || n.compare(n.size() - s.size(), s.size(), s) != 0)
    return *this;
  std::size_t keep = n.size() - s.size();
  if (s[0] != '.' && keep > 0 && n[keep - 1] == '.') --keep;  // "scene.ma" minus "ma"
  return Tstring(n.data(), static_cast<unsigned int>(keep));
}

Tstring Tstring::extension() const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t dot = extensionDot(n);
  if (dot == std::string::npos) return Tstring();
  return Tstring(n.data() + dot + 1, static_cast<unsigned int>(n.size() - dot - 1));
}

Tstring Tstring::baseName() const {
  const std::string& n = TstringAccess::narrow(*this);
  const std::size_t start = lastPieceStart(n);
  return start == 0 ? *this : Tstring(n.data() + start, static_cast<unsigned int>(n.size() - start));
}

Tstring Tstring::directoryPath() const {
  const std::string& n = TstringAccess::narrow(*this);
  return Tstring(n.data(), static_cast<unsigned int>(lastPieceStart(n)));
}

// ---- regular expressions -----------------------------------------------------------------

namespace {

// Wraps a pattern so that it must match the whole text: "^(" pattern ")$". The group keeps an
// alternation inside the anchors ("a|b" becomes "^(a|b)$", where "^a|b$" would accept "ab..."
// and "...b"). It takes group number 1, so the pattern's own back references move up by one;
// bracket expressions are copied untouched (a backslash there is an ordinary byte). Returns
// false for a reference to group 9, which would move past the nine that POSIX numbers; such a
// pattern runs as it is and must match the whole text (POSIX takes the leftmost, then the
// longest match, so a whole-text match is found whenever there is one).
bool anchorWhole(const std::string& pattern, std::string& out) {
  const std::size_t n = pattern.size();
  out.assign("^(");
  out.reserve(n + 4);
  bool inBracket = false;
  for (std::size_t i = 0; i < n; ++i) {
    const char c = pattern[i];
    if (inBracket) {
      // [:class:], [.symbol.] and [=equivalent=] may hold a ']' of their own.
      if (c == '[' && i + 1 < n &&
          (pattern[i + 1] == ':' || pattern[i + 1] == '.' || pattern[i + 1] == '=')) {
        const std::size_t close = pattern.find(std::string{pattern[i + 1], ']'}, i + 2);
        if (close != std::string::npos) {
          out.append(pattern, i, close + 2 - i);
          i = close + 1;
          continue;
        }
      }
      out += c;
      inBracket = c != ']';
      continue;
    }
    if (c == '[') {
      out += c;
      inBracket = true;
      std::size_t j = i + 1;  // a leading '^' and then a leading ']' belong to the set
      if (j < n && pattern[j] == '^') out += pattern[j++];
      if (j < n && pattern[j] == ']') out += pattern[j++];
      i = j - 1;
      continue;
    }
    if (c == '\\' && i + 1 < n) {
      const char d = pattern[++i];
      if (d == '9') return false;
      out += c;
      out += d >= '1' && d <= '8' ? static_cast<char>(d + 1) : d;
      continue;
    }
    out += c;
  }
  out += ")$";
  return true;
}

// The last few expressions a thread matched with, compiled (patterns that do not compile are
// remembered as null). Matching in a loop with one pattern, the usual use, then compiles once.
class TregexCache {
 public:
  TregexCache() = default;
  TregexCache(const TregexCache&) = delete;
  TregexCache& operator=(const TregexCache&) = delete;
  ~TregexCache() {
    for (int i = 0; i < fUsed; ++i) vela::platform::regexFree(fEntries[i].compiled);
  }

  struct Tentry {
    std::string pattern;
    vela::platform::CompiledRegex* compiled = nullptr;  // null: does not compile
    bool anchored = false;  // wrapped by anchorWhole; else runs as written
  };

  /// The compiled form of `pattern` (anchored when it can be).
  const Tentry& get(const std::string& pattern) {
    for (int i = 0; i < fUsed; ++i) {
      if (fEntries[i].pattern != pattern) continue;
      std::rotate(fEntries, fEntries + i, fEntries + i + 1);  // most recent first
      return fEntries[0];
    }
    std::string wrapped;
    const bool anchored = anchorWhole(pattern, wrapped);
    vela::platform::CompiledRegex* compiled =
        vela::platform::regexCompile(anchored ? wrapped.c_str() : pattern.c_str());
    if (fUsed == kSize) {
      vela::platform::regexFree(fEntries[kSize - 1].compiled);
    } else {
      ++fUsed;
    }
    std::rotate(fEntries, fEntries + fUsed - 1, fEntries + fUsed);
    fEntries[0].pattern = pattern;
    fEntries[0].compiled = compiled;
    fEntries[0].anchored = anchored;
    return fEntries[0];
  }

 private:
  static constexpr int kSize = 4;
  Tentry fEntries[kSize];
  int fUsed = 0;
};

thread_local TregexCache tRegexCache;

}  // namespace

bool Tstring::matchesRegexp(const Tstring& pattern, Tstring* g1, Tstring* g2, Tstring* g3,
                            Tstring* g4, Tstring* g5, Tstring* g6, Tstring* g7, Tstring* g8,
                            Tstring* g9) const {
  const TregexCache::Tentry& re = tRegexCache.get(TstringAccess::narrow(pattern));
  if (re.compiled == nullptr) return false;
  const std::string text = TstringAccess::narrow(*this);  // a copy: outputs may be this string
  // Span 0 is the whole match and, when anchored, span 1 the anchoring group; the pattern's
  // groups follow.
  vela::platform::RegexSpan spans[11];
  if (!vela::platform::regexRun(re.compiled, text.c_str(), spans, 11)) return false;
  if (!re.anchored && (spans[0].begin != 0 || spans[0].end != static_cast<int>(text.size())))
    return false;
  const int first = re.anchored ? 2 : 1;
  Tstring* groups[9] = {g1, g2, g3, g4, g5, g6, g7, g8, g9};
  for (int i = 0; i < 9; ++i) {
    if (groups[i] == nullptr) continue;
    const vela::platform::RegexSpan& s = spans[i + first];
    if (s.begin < 0)
      groups[i]->clear();
    else
      TstringAccess::setNarrow(*groups[i], text.data() + s.begin,
                               static_cast<std::size_t>(s.end - s.begin));
  }
  return true;
}
