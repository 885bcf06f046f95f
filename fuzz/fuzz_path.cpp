// Fuzzes the path-text utilities: tokenising and multi-path expansion of path lists, and
// simplifyPath. The tokens must rebuild the text they consumed; expansion must end (variables
// here name themselves and each other) and leave plain lists alone; simplifyPath must drop every
// "." piece and agree with std::filesystem's lexically_normal where the two rules meet.
#include <velacore/environment/VelaEnv.h>
#include <velacore/files/TfilePath.h>
#include <velacore/platform/TplatformEnvironment.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

void setUp() {
  static const bool done = [] {
    const std::string sep(1, vela::platform::kPathListSeparator);
    VelaPutEnv(("FZ_TWO=/a" + sep + "/b/").c_str());
    VelaPutEnv(("FZ_SELF=$FZ_SELF/x" + sep + "%FZ_SELF%").c_str());
    VelaPutEnv("FZ_PING=${FZ_PONG}/p");
    VelaPutEnv(("FZ_PONG=$FZ_PING" + sep + "$FZ_TWO").c_str());
    VelaPutEnv("A=~$FZ_TWO");
    return true;
  }();
  (void)done;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == separator) {
      pieces.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  return pieces;
}

// Whether simplifyPath and lexically_normal follow the same rule on `path`: names, "." and ".."
// between single separators, a name last, and every ".." either before every name of a
// relative path or climbing over a name with more names than leading ".." before it.
bool rulesMeet(const std::string& path) {
  if (path.empty()) return false;
  std::string body = path;
  const bool absolute = body[0] == '/';
  if (absolute) body.erase(0, 1);
  if (!body.empty() && body.back() == '/') body.pop_back();
  const std::vector<std::string> pieces = split(body, '/');
  long depth = 0;
  bool anyName = false;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const std::string& p = pieces[i];
    if (p.empty() || p.find('\\') != std::string::npos) return false;
    if (p == ".") {
      if (i + 1 == pieces.size()) return false;
    } else if (p == "..") {
      if (i + 1 == pieces.size()) return false;
      if (depth < 1 && (absolute || anyName)) return false;
      --depth;
    } else {
      ++depth;
      anyName = true;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setUp();
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (text.find('\0') != std::string::npos) return 0;
  const Tstring input(text.c_str());

  TstringArray tokens;
  const bool whole = TfilePath::splitByEnvVarOrTilde(input, tokens);
  std::string rebuilt;
  for (unsigned i = 0; i < tokens.length(); ++i) {
    if (tokens[i].isEmpty()) std::abort();
    rebuilt += tokens[i].asC();
  }
  if (text.compare(0, rebuilt.size(), rebuilt) != 0) std::abort();
  if (whole && rebuilt != text) std::abort();

  TstringArray paths;
  TfilePath::expandEnvVarsAndTilde(input, paths);
  if (text.find_first_of("$%~") == std::string::npos) {
    // Nothing to expand: the entries come back as they are.
    std::vector<std::string> entries;
    for (const std::string& e : split(text, vela::platform::kPathListSeparator))
      if (!e.empty()) entries.push_back(e);
    if (entries.empty()) entries.push_back(text);
    if (paths.length() != entries.size()) std::abort();
    for (unsigned i = 0; i < paths.length(); ++i)
      if (entries[i] != paths[i].asC()) std::abort();
  }
  (void)TfilePath::expandTilde(input);
  (void)TfilePath::expandEnvVars(input);

  const std::string simple = TfilePath::simplifyPath(input).asC();
  for (const std::string& piece : split(simple, '/'))
    if (piece == ".") std::abort();
  if (simple.size() > text.size()) std::abort();
  if (rulesMeet(text) && simple != std::filesystem::path(text).lexically_normal().generic_string())
    std::abort();
  (void)TfilePath::canonicalizeDirectoryPaths(input);
  (void)TfilePath::removeRedundantInitialSeparators(input);
  return 0;
}
