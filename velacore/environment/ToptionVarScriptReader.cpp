#include <velacore/environment/ToptionVarScriptReader.h>

#include <velacore/environment/internal/TcatalogMessage.h>
#include <velacore/environment/internal/TenvText.h>

#include <charconv>
#include <cstring>
#include <string_view>

namespace {

constexpr const char* kBadQuoting = "s_ToptionVarScriptStrings.rBadQuoting";
constexpr const char* kBadDouble = "s_ToptionVarScriptStrings.rBadDouble";
constexpr const char* kBadInt = "s_ToptionVarScriptStrings.rBadInt";
constexpr const char* kExtraText = "s_ToptionVarScriptStrings.rExtraText";
constexpr const char* kKindMismatch = "s_ToptionVarScriptStrings.rKindMismatch";
constexpr const char* kNewerVersion = "s_ToptionVarScriptStrings.rNewerVersion";
constexpr const char* kNoClosingSemicolon = "s_ToptionVarScriptStrings.rNoClosingSemicolon";
constexpr const char* kNotAFlag = "s_ToptionVarScriptStrings.rNotAFlag";
constexpr const char* kNulByte = "s_ToptionVarScriptStrings.rNulByte";
constexpr const char* kOutsideCommand = "s_ToptionVarScriptStrings.rOutsideCommand";
constexpr const char* kUnknownFlag = "s_ToptionVarScriptStrings.rUnknownFlag";
constexpr const char* kUnterminated = "s_ToptionVarScriptStrings.rUnterminated";

// What a flag takes after its name (or, for -version, instead of one).
enum class Targ { kNone, kDouble, kInt, kString };

struct Tflag {
  const char* word;
  bool named;
  Targ arg;
  bool element;  // appends to an array
};

constexpr Tflag kFlags[] = {
    {"version", false, Targ::kInt, false}, {"fv", true, Targ::kDouble, false},
    {"iv", true, Targ::kInt, false},       {"sv", true, Targ::kString, false},
    {"ca", true, Targ::kNone, false},      {"fva", true, Targ::kDouble, true},
    {"iva", true, Targ::kInt, true},       {"sva", true, Targ::kString, true},
};

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A cursor over one line.
struct Tcursor {
  std::string_view text;
  std::size_t at = 0;

  void skipBlanks() {
    while (at < text.size() && isBlank(text[at])) ++at;
  }
  [[nodiscard]] bool atEnd() const { return at == text.size(); }
  [[nodiscard]] char peek() const { return at < text.size() ? text[at] : '\0'; }
  // Consumes `word` when it stands here as a whole word.
  bool word(std::string_view w) {
    if (text.compare(at, w.size(), w) != 0) return false;
    const std::size_t after = at + w.size();
    if (after < text.size() && !isBlank(text[after]) && text[after] != ';') return false;
    at = after;
    return true;
  }
  // The run up to the next blank, ";" or the end.
  std::string_view token() {
    const std::size_t start = at;
    while (at < text.size() && !isBlank(text[at]) && text[at] != ';') ++at;
    return text.substr(start, at - start);
  }
  // A name in double quotes, written as it is: the text up to the next double quote.
  bool name(std::string_view& out) {
    if (peek() != '"') return false;
    const std::size_t close = text.find('"', at + 1);
    if (close == std::string_view::npos) return false;
    out = text.substr(at + 1, close - at - 1);
    at = close + 1;
    return true;
  }
  // An escaped string in double quotes: a backslash protects the character after it.
  bool escaped(std::string_view& out) {
    if (peek() != '"') return false;
    std::size_t i = at + 1;
    while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
    if (i >= text.size()) return false;
    out = text.substr(at + 1, i - at - 1);
    at = i + 1;
    return true;
  }
};

using vela::environment_internal::toTstring;

template <class T>
bool parseNumber(std::string_view token, T& value) {
  if (token.empty()) return false;
  const char* end = token.data() + token.size();
  const auto r = std::from_chars(token.data(), end, value);
  return r.ec == std::errc() && r.ptr == end;
}

}  // namespace

// One line taken apart: whether it opens or closes a command, and its flag with its operands.
struct ToptionVarScriptReader::Tline {
  bool opens = false;
  bool closes = false;
  const Tflag* flag = nullptr;
  std::string_view name;
  double d = 0.0;
  int i = 0;
  Tstring s;
};

unsigned ToptionVarScriptReader::read(const Tstring& text) {
  return read(text.asC(), text.length());
}

unsigned ToptionVarScriptReader::read(const char* bytes, std::size_t length) {
  fProblems = TstringArray();
  fVersion = 0;
  fApplied = 0;
  fInCommand = false;
  fClearPending = false;
  unsigned number = 1;
  for (std::size_t start = 0; start < length; ++number) {
    const void* nl = std::memchr(bytes + start, '\n', length - start);
    const std::size_t end = nl == nullptr ? length : static_cast<const char*>(nl) - bytes;
    std::size_t stop = end;
    if (stop > start && bytes[stop - 1] == '\r') --stop;
    readLine(bytes + start, stop - start, number);
    start = end + 1;
  }
  resolvePendingClear();
  if (fInCommand) report(number - 1, kUnterminated);
  return fProblems.size();
}

void ToptionVarScriptReader::report(unsigned number, const char* key, const Tstring& detail) {
  Tstring line;
  line.setUInt32(number);
  fProblems.addLast(vela::environment_internal::catalogMessage(key, line, detail));
}

void ToptionVarScriptReader::readLine(const char* bytes, std::size_t length, unsigned number) {
  Tcursor c{std::string_view(bytes, length)};
  c.skipBlanks();
  if (c.atEnd() || c.text.compare(c.at, 2, "//") == 0) return;
  if (c.text.find('\0') != std::string_view::npos) {
    report(number, kNulByte);
    return;
  }
  // A line that is skipped still ends its command when it ends with ";", so that one bad line
  // does not make every later line look like it lies outside a command.
  const std::size_t last = c.text.find_last_not_of(" \t");
  const bool endsWithSemicolon = c.text[last] == ';';
  auto skip = [&](const char* key, const Tstring& detail) {
    report(number, key, detail);
    if (endsWithSemicolon) fInCommand = false;
  };

  Tline line;
  if (c.word("optionVar")) {
    line.opens = true;
    c.skipBlanks();
  }
  if (c.peek() == '-') {
    ++c.at;
    const std::string_view word = c.token();
    for (const Tflag& f : kFlags) {
      if (word == f.word) line.flag = &f;
    }
    if (line.flag == nullptr) return skip(kUnknownFlag, toTstring(word));
    c.skipBlanks();
    if (line.flag->named) {
      if (!c.name(line.name)) return skip(kBadQuoting, Tstring());
      c.skipBlanks();
    }
    switch (line.flag->arg) {
      case Targ::kNone:
        break;
      case Targ::kDouble: {
        const std::string_view token = c.token();
        if (!parseNumber(token, line.d)) return skip(kBadDouble, toTstring(token));
        break;
      }
      case Targ::kInt: {
        const std::string_view token = c.token();
        if (!parseNumber(token, line.i)) return skip(kBadInt, toTstring(token));
        break;
      }
      case Targ::kString: {
        std::string_view raw;
        if (!c.escaped(raw)) return skip(kBadQuoting, Tstring());
        line.s = toTstring(raw);
        line.s.decodeEscapeSequences();
        break;
      }
    }
    c.skipBlanks();
  } else if (!line.opens) {
    return skip(kNotAFlag, Tstring());
  }
  if (c.peek() == ';') {
    line.closes = true;
    ++c.at;
    c.skipBlanks();
  }
  if (!c.atEnd()) return skip(kExtraText, toTstring(c.text.substr(c.at)));

  if (line.opens) {
    if (fInCommand) report(number, kNoClosingSemicolon);
    fInCommand = true;
  }
  if (line.flag != nullptr) {
    if (fInCommand) {
      apply(line, number);
    } else {
      report(number, kOutsideCommand);
    }
  }
  if (line.closes) fInCommand = false;
}

namespace {
// Appends one element to an array variable, or starts the variable as a one-element array when
// a -ca has just cleared it (its kind is known only now).
template <class T, class Array>
bool addElement(TprefOptionVars& prefs, const Tstring& name, const T& value, bool fresh) {
  if (!fresh) return prefs.addLastArrayVar(name, value);
  Array one(8);
  one.addLast(value);
  prefs.addVar(name, one);
  return true;
}
}  // namespace

void ToptionVarScriptReader::apply(const Tline& line, unsigned number) {
  const Tflag& flag = *line.flag;
  if (!flag.named) {  // -version
    fVersion = line.i;
    if (fVersion > TprefOptionVars::fsVersion) {
      Tstring v;
      v.setInt32(fVersion);
      report(number, kNewerVersion, v);
    }
    return;
  }
  const Tstring name = toTstring(line.name);
  const bool fresh = flag.element && fClearPending && fPendingName == name;
  if (fresh) {
    fClearPending = false;
  } else {
    resolvePendingClear();
  }
  bool done = true;
  if (!flag.element) {
    switch (flag.arg) {
      case Targ::kDouble:
        fPrefs.addVar(name, line.d);
        break;
      case Targ::kInt:
        fPrefs.addVar(name, line.i);
        break;
      case Targ::kString:
        fPrefs.addVar(name, line.s);
        break;
      case Targ::kNone:  // -ca: wait for an element to learn the array's kind
        fClearPending = true;
        fPendingName = name;
        return;
    }
  } else {
    switch (flag.arg) {
      case Targ::kDouble:
        done = addElement<double, TdoubleArray>(fPrefs, name, line.d, fresh);
        break;
      case Targ::kInt:
        done = addElement<int, Tint32Array>(fPrefs, name, line.i, fresh);
        break;
      case Targ::kString:
        done = addElement<Tstring, TstringArray>(fPrefs, name, line.s, fresh);
        break;
      case Targ::kNone:
        break;
    }
  }
  if (done) {
    ++fApplied;
  } else {
    report(number, kKindMismatch, name);
  }
}

void ToptionVarScriptReader::resolvePendingClear() {
  if (!fClearPending) return;
  fClearPending = false;
  ++fApplied;
  if (!fPrefs.clearArrayVar(fPendingName)) fPrefs.addVar(fPendingName, TstringArray());
}
