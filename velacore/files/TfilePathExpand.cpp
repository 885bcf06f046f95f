// TfilePath's variable expansion: whole "$NAME" pieces for setting a path, and the tokenising,
// "~" pieces and multi-path cross product of path lists.
#include <velacore/files/TfilePath.h>

#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/files/TprojectMgrBase.h>
#include <velacore/files/internal/TpathText.h>
#include <velacore/platform/TplatformEnvironment.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

using vela::files_internal::toTstring;
using vela::files_internal::view;

namespace {

// The value of `name` in the environment, or false when it is not set.
bool environmentValue(const std::string& name, std::string& value) {
  const char* v = VelaGetEnv(name.c_str());
  if (v == nullptr) return false;
  value = v;
  return true;
}

// ---- tokens ----

bool isOneOf(char c, const char* set) { return c != '\0' && std::strchr(set, c) != nullptr; }

// The end (one past) of a "%NAME%" or "${NAME}" token whose name starts at `from`, or npos
// when `close` does not come before one of `stops`.
std::size_t closedEnd(std::string_view text, char close, std::size_t from, const char* stops) {
  for (std::size_t i = from; i < text.size(); ++i) {
    if (text[i] == close) return i + 1;
    if (isOneOf(text[i], stops)) return std::string_view::npos;
  }
  return std::string_view::npos;
}

std::size_t runEnd(std::string_view text, std::size_t from, const char* stops) {
  std::size_t i = from;
  while (i < text.size() && !isOneOf(text[i], stops)) ++i;
  return i;
}

// The end of the variable token ("%A%", "${A}" or "$A") that starts at `at`; npos on failure.
std::size_t variableEnd(std::string_view text, std::size_t at) {
  if (text[at] == '%') return closedEnd(text, '%', at + 1, "$~/");
  if (at + 1 < text.size() && text[at + 1] == '{') return closedEnd(text, '}', at + 2, "$~%/");
  return runEnd(text, at + 1, "$~%/");
}

bool tokenize(std::string_view text, std::vector<std::string_view>& tokens) {
  std::size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    std::size_t end;
    if (c == '%' || c == '$') {
      end = variableEnd(text, i);
    } else if (c == '~') {
      if (i + 1 == text.size()) {
        end = i + 1;
      } else if (text[i + 1] == '%' || text[i + 1] == '$') {
        end = variableEnd(text, i + 1);
      } else {
        end = runEnd(text, i + 1, "$%/");
      }
    } else {
      end = runEnd(text, i, "$~%");
    }
    if (end == std::string_view::npos) return false;
    tokens.push_back(text.substr(i, end - i));
    i = end;
  }
  return true;
}

// The variable name of a "$A", "${A}" or "%A%" token.
std::string_view variableName(std::string_view token) {
  if (token[0] == '%') return token.substr(1, token.size() - 2);
  if (token.size() >= 2 && token[1] == '{') return token.substr(2, token.size() - 3);
  return token.substr(1);
}

// ---- "~" pieces ----

bool isNameByte(const std::string_view text, std::size_t i, std::size_t& width) {
  const auto c = static_cast<unsigned char>(text[i]);
  width = 1;
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')
    return true;
  // The Latin-1 letters U+00C0 .. U+00FF, two bytes in UTF-8.
  if (c == 0xC3 && i + 1 < text.size()) {
    const auto next = static_cast<unsigned char>(text[i + 1]);
    if (next >= 0x80 && next <= 0xBF) {
      width = 2;
      return true;
    }
  }
  return false;
}

std::string expandTildeText(std::string_view token) {
  std::string out;
  out.reserve(token.size());
  std::size_t i = 0;
  while (i < token.size()) {
    if (token[i] != '$' && token[i] != '%') {
      out += token[i++];
      continue;
    }
    const std::size_t start = i++;
    if (i < token.size() && token[i] == '{') ++i;
    const std::size_t nameStart = i;
    std::size_t width;
    while (i < token.size() && isNameByte(token, i, width)) i += width;
    const std::string name(token.substr(nameStart, i - nameStart));
    if (i < token.size() && token[i] == '}') ++i;
    if (i < token.size() && token[i] == '%') ++i;
    std::string value;
    if (environmentValue(name, value)) {
      out += value;
    } else {
      out.append(token.substr(start, i - start));
    }
  }
  return out;
}

// ---- path lists ----

using Tpaths = std::vector<std::string>;

std::vector<std::string> splitList(std::string_view list) {
  std::vector<std::string> entries;
  const TstringArray parts = TVelaEnvironment::splitPath(toTstring(list));
  for (unsigned i = 0; i < parts.length(); ++i) entries.emplace_back(view(parts[i]));
  return entries;
}

// One expansion run: the names being expanded, so that a variable met inside its own value
// stays as written, and the nesting depth.
class Texpander {
 public:
  void expandList(std::string_view list, Tpaths& results) {
    const std::vector<std::string> entries = splitList(list);
    if (entries.empty()) {
      if (results.empty()) results.emplace_back(list);
      return;
    }
    for (const std::string& entry : entries) {
      Tpaths expansions = expandEntry(entry);
      std::move(expansions.begin(), expansions.end(), std::back_inserter(results));
    }
  }

 private:
  Tpaths expandEntry(std::string_view entry) {
    std::vector<std::string_view> tokens;
    Tpaths expansions;
    if (!tokenize(entry, tokens)) return expansions;
    for (const std::string_view token : tokens) {
      appendToExpandedPaths(expansions, alternatives(token));
    }
    return expansions;
  }

  Tpaths alternatives(std::string_view token) {
    if (token[0] == '~') return Tpaths{expandTildeText(token)};
    if (token[0] != '$' && token[0] != '%') return Tpaths{std::string(token)};
    const std::string name(variableName(token));
    if (fDepth >= TfilePath::kMaxExpansionDepth ||
        std::find(fNames.begin(), fNames.end(), name) != fNames.end()) {
      return Tpaths{std::string(token)};
    }
    const std::string value = lookup(name);
    if (value.empty()) return Tpaths{std::string(token)};
    fNames.push_back(name);
    ++fDepth;
    Tpaths result;
    expandList(value, result);
    --fDepth;
    fNames.pop_back();
    return result;
  }

  static std::string lookup(const std::string& name) {
    Tstring value;
    TprojectMgrBase* manager = TprojectMgrBase::theProjectMgr.load(std::memory_order_acquire);
    if (manager != nullptr && manager->isActive() &&
        !manager->resolveVariable(toTstring(name), value)) {
      value.clear();
    }
    if (!value.isEmpty()) return std::string(view(value));
    std::string env;
    (void)environmentValue(name, env);
    return env;
  }

  // The cross product: block k holds every earlier expansion followed by alternative k.
  static void appendToExpandedPaths(Tpaths& expansions, const Tpaths& alternatives) {
    if (expansions.empty()) {
      expansions = alternatives;
      return;
    }
    Tpaths grown;
    grown.reserve(expansions.size() * alternatives.size());
    for (const std::string& alternative : alternatives) {
      for (const std::string& expansion : expansions) {
        std::string path = expansion;
        if (!alternative.empty() && alternative[0] == '/' && !path.empty() && path.back() == '/') {
          path.append(alternative, 1, std::string::npos);
        } else {
          path += alternative;
        }
        grown.push_back(std::move(path));
      }
    }
    expansions.swap(grown);
  }

  std::vector<std::string> fNames;
  int fDepth = 0;
};

}  // namespace

Tstring TfilePath::expandEnvVars(const Tstring& path) {
  const std::string_view text = view(path);
  // Nothing changes without a "$" piece, a run of "/" behind the start or a trailing "/" that
  // goes ("/" and "//" alone keep theirs).
  const bool dropsTrailing = !text.empty() && text.back() == '/' && text != "/" && text != "//";
  if (text.find('$') == std::string_view::npos && text.find("//", 1) == std::string_view::npos &&
      !dropsTrailing) {
    return path;
  }
  std::string out;
  if (text.size() >= 2 && text[0] == '/' && text[1] == '/') {
    out = "//";
  } else if (!text.empty() && text[0] == '/') {
    out = "/";
  }
  const std::size_t prefix = out.size();
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && text[i] == '/') ++i;
    if (i == text.size()) break;
    std::size_t end = text.find('/', i);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view piece = text.substr(i, end - i);
    if (out.size() > prefix) out += '/';
    std::string value;
    if (piece[0] == '$' && environmentValue(std::string(piece.substr(1)), value)) {
      out += value;
    } else {
      out += piece;
    }
    i = end;
  }
  return toTstring(out);
}

void TfilePath::expandEnvVarsAndTilde(const Tstring& pathList, TstringArray& results) {
  Tpaths paths;
  Texpander expander;
  if (results.length() == 0) {
    expander.expandList(view(pathList), paths);
  } else {
    // Only the "add the input when nothing came out" rule looks at what `results` holds.
    paths.emplace_back();
    expander.expandList(view(pathList), paths);
    paths.erase(paths.begin());
  }
  for (const std::string& path : paths) results.addLast(toTstring(path));
}

Tstring TfilePath::getExpandedPaths(const Tstring& pathList) {
  TstringArray paths;
  expandEnvVarsAndTilde(pathList, paths);
  Tstring joined;
  const char separator[2] = {vela::platform::kPathListSeparator, '\0'};
  for (unsigned i = 0; i < paths.length(); ++i) {
    if (i != 0) joined += separator;
    joined += paths[i];
  }
  return joined;
}

Tstring TfilePath::getFirstExpandedPath(const Tstring& pathList) {
  TstringArray paths;
  expandEnvVarsAndTilde(pathList, paths);
  return paths.length() == 0 ? Tstring() : paths[0];
}

bool TfilePath::splitByEnvVarOrTilde(const Tstring& text, TstringArray& tokens) {
  std::vector<std::string_view> pieces;
  const bool whole = tokenize(view(text), pieces);
  for (const std::string_view piece : pieces) tokens.addLast(toTstring(piece));
  return whole;
}

Tstring TfilePath::expandTilde(const Tstring& token) {
  const std::string_view text = view(token);
  if (text.find_first_of("$%") == std::string_view::npos) return token;
  return toTstring(expandTildeText(text));
}
