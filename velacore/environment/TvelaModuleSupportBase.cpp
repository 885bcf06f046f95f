#include <velacore/environment/TvelaModuleSupportBase.h>

#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TvelaPackageManifest.h>
#include <velacore/environment/internal/TcatalogMessage.h>
#include <velacore/environment/internal/TenvText.h>
#include <velacore/environment/internal/TsmallFile.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/files/TfilePath.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformFiles.h>
#include <velacore/platform/TplatformLocations.h>
#include <velacore/platform/TplatformSystem.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace pf = vela::platform;

const char* const TvelaModuleSupportBase::kKeywords[3] = {"VELAVERSION", "PLATFORM", "LOCALE"};
const char* const TvelaModuleSupportBase::kExcludedExtensions[16] = {
    "so",     "vll",    "nll.dll", "bundle", "dSYM", "py",       "dll",          "framework",
    "plugin", "plist", "app",     "pkg",    "rtfd", "download", "sparsebundle", "template"};

namespace {

constexpr char kSep = pf::kPathListSeparator;
constexpr const char* kOverrideSeparator = ": ";
constexpr const char* kRecursivePrefix = "[r] ";

// The folder table every module starts with.
struct TdefaultRow {
  const char* variable;
  const char* folder;
};
constexpr TdefaultRow kDefaultRows[] = {
    {"VELA_SCRIPT_PATH", "scripts"},  {"VELA_PLUG_IN_PATH", "plug-ins"},
    {"PYTHONPATH", "scripts"},        {"XBMLANGPATH", "icons"},
    {"VELA_PLUG_IN_RESOURCE_PATH", "resources"}, {"VELA_PRESET_PATH", "presets"}};
constexpr const char* kIconVariable = "XBMLANGPATH";
constexpr const char* kResourceVariable = "VELA_PLUG_IN_RESOURCE_PATH";
constexpr const char* kIconPatternTail = "/%B";

struct Tstate {
  bool initialized = false;
  bool scanned = false;
  std::string modulePath;                // VELA_MODULE_PATH as read
  std::vector<std::string> directories;  // module directories, then bundle folders
  int numModuleDirectories = 0;
  std::map<Tstring, TvelaModule> modules;
  std::map<Tstring, Tstring> lineTexts;  // the description line of each chosen module
  Tstring parsedLine;                    // the description line being registered
  std::vector<TvelaModuleRefusal> refusals;
  bool loaded = false;
  bool rebuildIcons = false;
  std::function<void()> updater;
};

// Every member takes this lock, so queries may come from any thread; scans and updates are
// start-up work and hold it throughout. Lock and state are never destroyed, like the
// environment's own: start-up scans the modules, and code running at exit may still ask.
TmtRecursiveMutex& lock() {
  static Timmortal<TmtRecursiveMutex> sLock;
  return *sLock;
}

Tstate& state() {
  static Timmortal<Tstate> sState;
  return *sState;
}

using Tguard = std::lock_guard<TmtRecursiveMutex>;

using vela::environment_internal::env;
using vela::environment_internal::put;
using vela::environment_internal::splitList;
using vela::environment_internal::toStd;
using vela::environment_internal::toTstring;
using vela::environment_internal::view;

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isSpace(char c) { return isBlank(c) || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

std::string_view trim(std::string_view s) {
  while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
  return s;
}

bool startsWith(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && s.compare(0, prefix.size(), prefix) == 0;
}

std::string joinList(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& p : parts) {
    if (p.empty()) continue;
    if (!out.empty()) out += kSep;
    out += p;
  }
  return out;
}

void addUnique(std::vector<std::string>& list, const std::string& entry) {
  if (!entry.empty() && std::find(list.begin(), list.end(), entry) == list.end()) {
    list.push_back(entry);
  }
}

using vela::environment_internal::catalogMessage;

Tstring number(long long n) {
  Tstring t;
  t.setInt64(n);
  return t;
}

void refuse(const Tstring& file, int line, std::string_view text, const Tstring& reason) {
  constexpr std::size_t kShown = 200;
  std::string shown(text.substr(0, kShown));
  if (text.size() > kShown) shown += "...";
  state().refusals.push_back({file, line, toTstring(shown), reason});
}

std::string tidyFolder(const std::string& path) {
  return toStd(TfilePath::simplifyPath(TfilePath::canonicalizeDirectoryPaths(toTstring(path))));
}

std::string underModule(const Tstring& modulePath, const std::string& entry) {
  if (!entry.empty() && entry[0] == '/') return tidyFolder(entry);
  return tidyFolder(toStd(modulePath) + "/" + entry);
}

// The chosen modules in the order their folders and settings are applied: by directory index,
// then by name.
std::vector<std::pair<const Tstring*, const TvelaModule*>> ordered() {
  std::vector<std::pair<const Tstring*, const TvelaModule*>> list;
  for (const auto& [name, module] : state().modules) list.emplace_back(&name, &module);
  std::stable_sort(list.begin(), list.end(), [](const auto& a, const auto& b) {
    return a.second->directoryIndex < b.second->directoryIndex;
  });
  return list;
}

void ensureInitialized() {
  if (!state().initialized) (void)TvelaModuleSupportBase::initialize();
}

void ensureScanned() {
  ensureInitialized();
  if (!state().scanned) (void)TvelaModuleSupportBase::scanForNewModules();
}

bool validUtf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c == 0) return false;
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t n;
    unsigned min;
    unsigned cp;
    if ((c & 0xE0) == 0xC0) {
      n = 1, min = 0x80, cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      n = 2, min = 0x800, cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      n = 3, min = 0x10000, cp = c & 0x07;
    } else {
      return false;
    }
    if (i + n >= s.size()) return false;
    for (std::size_t k = 1; k <= n; ++k) {
      const auto d = static_cast<unsigned char>(s[i + k]);
      if ((d & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (d & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += n + 1;
  }
  return true;
}

// Description files are small; anything larger is not one.
constexpr std::size_t kMaxFileSize = 4u << 20;
// A NUL byte this early means a binary file, refused whole rather than line by line.
constexpr std::size_t kBinaryProbe = 512;

// Reads `path` into `text`: 0, -1 when it cannot be read (or is too large), 1 when it is binary.
int readDescriptionFile(const std::string& path, std::string& text) {
  if (!vela::environment_internal::readSmallFile(path, kMaxFileSize, text)) return -1;
  return text.find('\0', 0) < kBinaryProbe ? 1 : 0;
}

// Package bundles come after the module directories: each fitting bundle gets the next
// directory index, and its components are registered as modules under the usual rules.
void scanPackages() {
  Tstate& s = state();
  const TstringArray bundles = TvelaPackageManifest::findBundles();
  for (unsigned b = 0; b < bundles.length(); ++b) {
    const Tstring file = bundles[b] + "/" + TvelaPackageManifest::kFileName;
    TvelaPackageManifest manifest;
    if (!manifest.read(file)) {
      refuse(file, manifest.errorLine, std::string_view(), manifest.error);
      continue;
    }
    Tstring why;
    if (!TvelaPackageManifest::fits(manifest.requirements, why)) {
      refuse(file, 0, view(manifest.name), why);
      continue;
    }
    if (manifest.skipped > 0) {
      refuse(file, 0, view(manifest.name),
             catalogMessage("s_TvelaModuleSupportBaseStrings.rComponentsSkipped", number(manifest.skipped)));
    }
    const int index = static_cast<int>(s.directories.size());
    s.directories.push_back(toStd(bundles[b]));
    for (const TvelaPackageComponent& c : manifest.components) {
      const Tstring text = c.name + " " + c.version + " " + c.path;
      if (!TvelaPackageManifest::fits(c.requirements, why)) {
        refuse(file, c.line, view(text), why);
        continue;
      }
      s.parsedLine = text;
      (void)TvelaModuleSupportBase::resolve_module_add(c.name, c.version, c.path, index,
                                                       TvelaModuleSupportBase::Tkeywords(), file,
                                                       c.line);
      s.parsedLine = Tstring();
    }
  }
}

// The module folders of each folder-table variable, in module order, existing ones only.
using TfolderLists = std::map<std::string, std::vector<std::string>>;

// Collects the folders of `variable` (every variable when null) in one pass; a folder that two
// rows share ("scripts") is asked about once.
void collectFolders(const Tstring* variable, TfolderLists& lists) {
  const std::string language = pf::localeLanguage();
  std::map<std::string, bool> exists;
  const auto isFolder = [&exists](const std::string& path) {
    const auto it = exists.find(path);
    if (it != exists.end()) return it->second;
    return exists[path] = pf::isFolder(path);
  };
  std::map<std::string, std::set<std::string>> listed;
  const auto add = [&](const std::string& var, const std::string& folder) {
    if (listed[var].insert(folder).second) lists[var].push_back(folder);
  };
  for (const auto& [name, module] : ordered()) {
    for (const TvelaModuleFolder& row : module->folders) {
      if (variable != nullptr && row.variable != *variable) continue;
      const std::string var = toStd(row.variable);
      for (const std::string& entry : splitList(view(row.folder))) {
        const std::string folder = underModule(module->path, entry);
        if (row.resource && language != "en_US" && isFolder(folder + "/" + language)) {
          add(var, folder + "/" + language);
        }
        if (row.recursive) {
          for (const std::string& f : pf::folderTree(folder)) add(var, f);
        } else if (isFolder(folder)) {
          add(var, folder);
        }
      }
    }
  }
}

// Changes to environment variables gathered in memory, so that a variable touched by many
// modules is split, searched and stored once rather than once per module.
class TpendingEnvironment {
 public:
  // Adds `entry` after the variable's entries unless it is there already.
  void append(const std::string& variable, const std::string& entry) {
    Tvalue& v = value(variable);
    if (!entry.empty() && v.seen.insert(entry).second) v.entries.push_back(entry);
    v.verbatim.reset();
  }

  void apply(const TvelaModule& module) {
    for (const auto& [name, setting] : module.settings) {
      const std::string variable = toStd(name);
      const std::vector<std::string> parts = splitList(view(setting.value));
      Tvalue& v = value(variable);
      switch (setting.mode) {
        case TvelaModuleSettingMode::kReplace:
          v.entries.clear();
          v.seen.clear();
          for (const std::string& p : parts) append(variable, p);
          v.verbatim = toStd(setting.value);  // stored as written
          break;
        case TvelaModuleSettingMode::kAppend:
          for (const std::string& p : parts) append(variable, p);
          break;
        case TvelaModuleSettingMode::kPrepend: {
          std::vector<std::string> front;
          std::set<std::string> frontSeen;
          for (const std::string& p : parts) {
            if (frontSeen.insert(p).second) front.push_back(p);
          }
          for (const std::string& e : v.entries) {
            if (frontSeen.count(e) == 0) front.push_back(e);
          }
          v.entries.swap(front);
          v.seen.insert(frontSeen.begin(), frontSeen.end());
          v.verbatim.reset();
          break;
        }
      }
    }
  }

  // Stores every variable whose value changed.
  void store() {
    for (const auto& [variable, v] : fValues) {
      const std::string result = v.verbatim ? *v.verbatim : joinList(v.entries);
      if (v.wasSet && result == v.before) continue;
      put(variable, result);
      if (variable == kIconVariable) state().rebuildIcons = true;
    }
  }

 private:
  struct Tvalue {
    bool wasSet = false;
    std::string before;
    std::vector<std::string> entries;
    std::set<std::string> seen;
    std::optional<std::string> verbatim;
  };

  Tvalue& value(const std::string& variable) {
    const auto it = fValues.find(variable);
    if (it != fValues.end()) return it->second;
    Tvalue& v = fValues[variable];
    const char* now = VelaGetEnv(variable.c_str());
    v.wasSet = now != nullptr;
    v.before = now != nullptr ? now : "";
    for (const std::string& e : splitList(v.before)) {
      if (v.seen.insert(e).second) v.entries.push_back(e);
    }
    return v;
  }

  std::map<std::string, Tvalue> fValues;
};

}  // namespace

// ---- Set-up and scanning ----

int TvelaModuleSupportBase::initialize() {
  Tguard guard(lock());
  Tstate& s = state();
  s.modulePath = env("VELA_MODULE_PATH");
  s.directories = splitList(s.modulePath);
  s.numModuleDirectories = static_cast<int>(s.directories.size());
  s.initialized = true;
  return 0;
}

void TvelaModuleSupportBase::resetState() {
  Tguard guard(lock());
  state() = Tstate();
}

int TvelaModuleSupportBase::scanForNewModules() {
  Tguard guard(lock());
  ensureInitialized();
  Tstate& s = state();
  s.scanned = true;
  s.modules.clear();
  s.lineTexts.clear();
  s.refusals.clear();
  s.directories.resize(static_cast<std::size_t>(s.numModuleDirectories));
  // Relative module directories are read against the working folder; without one the scan
  // cannot know what they name.
  if (pf::currentFolder().empty()) return -1;
  for (int i = 0; i < s.numModuleDirectories; ++i) subScanForNewModules(i);
  scanPackages();
  return static_cast<int>(s.modules.size());
}

void TvelaModuleSupportBase::subScanForNewModules(int directoryIndex) {
  Tguard guard(lock());
  ensureInitialized();
  const Tstate& s = state();
  if (directoryIndex < 0 || directoryIndex >= static_cast<int>(s.directories.size())) return;
  const std::string dir = s.directories[static_cast<std::size_t>(directoryIndex)];
  for (const pf::FolderEntry& e : pf::matchingEntries(dir, "*")) {
    if (e.isFolder) continue;
    const Tstring file = toTstring(dir + "/" + e.name);
    if (isValidModulePath(file)) (void)resolve_module_entries(file, directoryIndex);
  }
}

bool TvelaModuleSupportBase::resolve_module_entries(const Tstring& file, int directoryIndex) {
  Tguard guard(lock());
  std::string text;
  const int status = readDescriptionFile(toStd(file), text);
  if (status != 0) {
    refuse(file, 0, std::string_view(),
           catalogMessage(status < 0 ? "s_TvelaModuleSupportBaseStrings.rUnreadableFile"
                              : "s_TvelaModuleSupportBaseStrings.rNotTextFile"));
    return false;
  }
  resolve_module_text(text.data(), text.size(), directoryIndex, file);
  return true;
}

void TvelaModuleSupportBase::resolve_module_text(const char* data, std::size_t size,
                                                 int directoryIndex, const Tstring& file) {
  Tguard guard(lock());
  ensureInitialized();
  const std::string_view all(data != nullptr ? data : "", data != nullptr ? size : 0);
  Tstring current;  // the module of the last description line, "" after a refused one
  bool seenDescription = false;
  int lineNumber = 0;
  for (std::size_t at = 0; at < all.size();) {
    std::size_t end = all.find('\n', at);
    if (end == std::string_view::npos) end = all.size();
    std::string_view line = all.substr(at, end - at);
    at = end + 1;
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() > kMaxLineLength) {
      refuse(file, lineNumber, line,
             catalogMessage("s_TvelaModuleSupportBaseStrings.rLineTooLong",
                     number(static_cast<long long>(kMaxLineLength))));
      if (startsWith(trim(line), "+")) current = Tstring(), seenDescription = true;
      continue;
    }
    if (!validUtf8(line)) {
      refuse(file, lineNumber, line, catalogMessage("s_TvelaModuleSupportBaseStrings.rNotText"));
      continue;
    }
    const std::string_view body = trim(line);
    if (body.empty() || body[0] == '#') continue;
    if (body[0] == '+') {
      seenDescription = true;
      Tstring name;
      (void)resolve_module_parse(toTstring(line), directoryIndex, name, file, lineNumber);
      current = name;
      continue;
    }
    // Text before the first description line is the file's own prose.
    if (!seenDescription) continue;
    if (current.isEmpty()) continue;  // belongs to a refused description
    (void)resolve_module_parse_overrides(toTstring(line), current, file, lineNumber);
  }
}

// ---- One line ----

bool TvelaModuleSupportBase::resolve_module_parse(const Tstring& line, int directoryIndex,
                                                  Tstring& name, const Tstring& file,
                                                  int lineNumber) {
  Tguard guard(lock());
  name = Tstring();
  std::string_view text = view(line);
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  if (text.empty() || text.front() != '+') return false;
  Tstring rest = toTstring(text);
  Tkeywords keywords;
  extractKeywords(rest, keywords);
  std::string_view r = view(rest);
  r.remove_prefix(1);  // "+"
  auto token = [&r]() {
    while (!r.empty() && isBlank(r.front())) r.remove_prefix(1);
    std::size_t n = 0;
    while (n < r.size() && !isSpace(r[n])) ++n;
    std::string_view t = r.substr(0, n);
    r.remove_prefix(n);
    return t;
  };
  const std::string_view moduleName = token();
  const std::string_view version = token();
  std::string_view path = r.substr(0, std::min(r.find('\r'), r.find('\n')));
  path = trim(path);
  if (moduleName.empty() || version.empty() || path.empty()) {
    refuse(file, lineNumber, view(line),
           catalogMessage("s_TvelaModuleSupportBaseStrings.rIncompleteDescription"));
    return false;
  }
  TstringArray paths;
  TfilePath::expandEnvVarsAndTilde(toTstring(path), paths);
  if (paths.length() == 0) {
    refuse(file, lineNumber, view(line),
           catalogMessage("s_TvelaModuleSupportBaseStrings.rPathNotExpanded", toTstring(path)));
    return false;
  }
  // Refusals and the registry list the whole line rather than the name alone.
  state().parsedLine = toTstring(trim(view(line)));
  bool all = true;
  for (unsigned i = 0; i < paths.length(); ++i) {
    all = resolve_module_add(toTstring(moduleName), toTstring(version), paths[i], directoryIndex,
                             keywords, file, lineNumber) &&
          all;
  }
  state().parsedLine = Tstring();
  if (all) name = toTstring(moduleName);
  return all;
}

void TvelaModuleSupportBase::extractKeywords(Tstring& line, Tkeywords& keywords) {
  std::string text = toStd(line);
  // The first token (the "+") stays; keyword tokens right after it are taken out.
  std::size_t at = 0;
  while (at < text.size() && isBlank(text[at])) ++at;
  while (at < text.size() && !isBlank(text[at])) ++at;
  while (at < text.size() && isBlank(text[at])) ++at;
  while (at < text.size()) {
    std::size_t end = at;
    while (end < text.size() && !isBlank(text[end])) ++end;
    const std::string token = text.substr(at, end - at);
    const Tstring keyword = getKeyword(toTstring(token));
    if (keyword.isEmpty()) break;
    keywords[keyword] = toTstring(trim(std::string_view(token).substr(keyword.length() + 1)));
    if (end < text.size()) ++end;  // and the one blank after it
    text.erase(at, end - at);
    while (at < text.size() && isBlank(text[at])) ++at;
  }
  line = toTstring(text);
}

Tstring TvelaModuleSupportBase::getKeyword(const Tstring& token) {
  const std::string_view t = view(token);
  for (const char* k : kKeywords) {
    const std::size_t n = std::strlen(k);
    if (t.size() > n && t.compare(0, n, k) == 0 && t[n] == ':') return Tstring(k);
  }
  return Tstring();
}

bool TvelaModuleSupportBase::getOverrideValue(const Tstring& line, const Tstring& key,
                                              Tstring& value) {
  const std::string_view l = view(line);
  const std::string_view k = view(key);
  if (k.empty() || !startsWith(l, k)) return false;
  const std::string_view after = l.substr(k.size());
  if (startsWith(after, kOverrideSeparator) || after == ":") {
    value = toTstring(trim(after.substr(1)));
    return true;
  }
  return false;
}

Tstring TvelaModuleSupportBase::resolvePath(const Tstring& path, int directoryIndex) {
  Tguard guard(lock());
  ensureInitialized();
  const Tstate& s = state();
  std::string p = toStd(path);
  if (!p.empty() && p[0] != '/' && directoryIndex >= 0 &&
      directoryIndex < static_cast<int>(s.directories.size())) {
    p = s.directories[static_cast<std::size_t>(directoryIndex)] + "/" + p;
  }
  return toTstring(tidyFolder(p));
}

bool TvelaModuleSupportBase::isValidModulePath(const Tstring& path) {
  std::string_view p = view(path);
  while (p.size() > 1 && p.back() == '/') p.remove_suffix(1);
  const std::size_t slash = p.rfind('/');
  const std::string_view base = slash == std::string_view::npos ? p : p.substr(slash + 1);
  if (base.empty() || base.front() == '.') return false;
  for (const char* e : kExcludedExtensions) {
    const std::string dotted = std::string(".") + e;
    if (base.size() > dotted.size() &&
        base.compare(base.size() - dotted.size(), dotted.size(), dotted) == 0) {
      return false;
    }
    if (p.find(dotted + "/") != std::string_view::npos) return false;
  }
  return true;
}

bool TvelaModuleSupportBase::resolve_module_add(const Tstring& name, const Tstring& version,
                                                const Tstring& path, int directoryIndex,
                                                const Tkeywords& keywords, const Tstring& file,
                                                int lineNumber) {
  Tguard guard(lock());
  ensureInitialized();
  Tstate& s = state();
  s.scanned = true;  // a registry filled line by line is not replaced by a first-query scan
  const Tstring lineText = s.parsedLine.isEmpty() ? name : s.parsedLine;
  const auto reject = [&](const Tstring& reason) {
    refuse(file, lineNumber, view(lineText), reason);
    return false;
  };
  // The conditions: each one given must match this application exactly. Most lines give none,
  // so the application's own values are looked up only when there is something to compare.
  if (!keywords.empty()) {
    const Tstring ours[3] = {TVelaEnvironment::version(), Tstring(pf::platformName()),
                             toTstring(pf::localeLanguage())};
    const char* const reasons[3] = {"s_TvelaModuleSupportBaseStrings.rVersionCondition",
                                    "s_TvelaModuleSupportBaseStrings.rPlatformCondition",
                                    "s_TvelaModuleSupportBaseStrings.rLocaleCondition"};
    for (int k = 0; k < 3; ++k) {
      const auto it = keywords.find(Tstring(kKeywords[k]));
      if (it != keywords.end() && !it->second.isEmpty() && it->second != ours[k]) {
        return reject(catalogMessage(reasons[k], it->second, ours[k]));
      }
    }
  }
  if (directoryIndex < 0 || directoryIndex >= static_cast<int>(s.directories.size())) {
    return reject(catalogMessage("s_TvelaModuleSupportBaseStrings.rNoModuleDirectory",
                          number(directoryIndex)));
  }
  const Tstring resolved = resolvePath(path, directoryIndex);
  if (!pf::isFolder(toStd(resolved))) {
    return reject(catalogMessage("s_TvelaModuleSupportBaseStrings.rModulePathMissing", resolved));
  }
  const auto found = s.modules.find(name);
  if (found != s.modules.end()) {
    TvelaModule& old = found->second;
    const bool wins = directoryIndex < old.directoryIndex ||
                      (directoryIndex == old.directoryIndex && version.compare(old.version) > 0);
    if (!wins) {
      if (directoryIndex > old.directoryIndex) {
        return reject(catalogMessage("s_TvelaModuleSupportBaseStrings.rEarlierDirectoryWins",
                              number(old.directoryIndex), old.version));
      }
      return reject(catalogMessage("s_TvelaModuleSupportBaseStrings.rGreaterVersionWins", old.version,
                            old.path));
    }
    refuse(old.defPath, old.defLine, view(s.lineTexts[name]),
           catalogMessage("s_TvelaModuleSupportBaseStrings.rReplacedBy", version, number(directoryIndex)));
  }
  TvelaModule module;
  module.directoryIndex = directoryIndex;
  module.version = version;
  module.path = resolved;
  module.keywords = keywords;
  for (const TdefaultRow& row : kDefaultRows) {
    TvelaModuleFolder folder;
    folder.variable = row.variable;
    folder.folder = row.folder;
    folder.resource = std::strcmp(row.variable, kResourceVariable) == 0;
    module.folders.push_back(folder);
  }
  module.iconPattern = Tstring("icons") + kIconPatternTail;
  module.defPath = file;
  module.defLine = lineNumber;
  s.modules[name] = std::move(module);
  s.lineTexts[name] = lineText;
  return true;
}

bool TvelaModuleSupportBase::resolve_module_parse_overrides(const Tstring& line,
                                                            const Tstring& name,
                                                            const Tstring& file,
                                                            int lineNumber) {
  Tguard guard(lock());
  Tstate& s = state();
  const auto found = s.modules.find(name);
  if (found == s.modules.end()) return false;
  TvelaModule& module = found->second;
  std::string_view text = trim(view(line));
  if (text.empty() || text[0] == '#') return false;
  bool recursive = false;
  if (startsWith(text, kRecursivePrefix)) {
    recursive = true;
    text = trim(text.substr(std::strlen(kRecursivePrefix)));
  }
  // A folder override: "VARIABLE: folder".
  const Tstring trimmed = toTstring(text);
  for (TvelaModuleFolder& row : module.folders) {
    Tstring value;
    if (getOverrideValue(trimmed, row.variable, value)) {
      row.folder = value;
      row.recursive = recursive;
      if (row.variable == kIconVariable) {
        module.iconPattern = value.isEmpty() ? Tstring() : value + kIconPatternTail;
      }
      return true;
    }
  }
  // A variable setting: "NAME [*][+][:]= value".
  const std::size_t eq = text.find('=');
  if (eq == std::string_view::npos || eq == 0) {
    refuse(file, lineNumber, text, catalogMessage("s_TvelaModuleSupportBaseStrings.rNotUnderstood"));
    return false;
  }
  std::string_view left = text.substr(0, eq);
  bool relative = false, append = false, prepend = false;
  if (!left.empty() && left.back() == ':') relative = true, left.remove_suffix(1);
  if (!left.empty() && left.back() == '+') append = true, left.remove_suffix(1);
  if (!left.empty() && left.back() == '*') prepend = !append, left.remove_suffix(1);
  const std::string_view variable = trim(left);
  const std::string_view rawValue = trim(text.substr(eq + 1));
  if (variable.empty()) {
    refuse(file, lineNumber, text, catalogMessage("s_TvelaModuleSupportBaseStrings.rNotUnderstood"));
    return false;
  }
  if (std::any_of(variable.begin(), variable.end(), isSpace)) {
    const Tstring report =
        catalogMessage("s_TvelaModuleSupportBaseStrings.rInvalidModuleEnvironmentVariableName",
                toTstring(variable), name);
    TdebugOutput::sCerr().printError("%s\n", report.asUTF8());
    refuse(file, lineNumber, text, report);
    return false;
  }
  std::vector<std::string> entries;
  if (relative || recursive) {
    std::vector<std::string> parts = splitList(rawValue);
    if (parts.empty() && relative) parts.emplace_back();
    for (const std::string& part : parts) {
      const std::string folder =
          relative ? tidyFolder(toStd(module.path) + (part.empty() ? "" : "/" + part)) : part;
      if (recursive) {
        std::vector<std::string> tree = pf::folderTree(folder);
        if (tree.empty()) tree.push_back(folder);  // not there (yet): kept as written
        for (const std::string& f : tree) addUnique(entries, f);
      } else {
        addUnique(entries, folder);
      }
    }
  } else {
    entries.emplace_back(rawValue);
  }
  const std::string value = joinList(entries);
  const Tstring key = toTstring(variable);
  const auto stored = module.settings.find(key);
  TvelaModuleSetting setting;
  if (append || prepend) {
    if (stored != module.settings.end()) {
      setting = stored->second;
      const std::string old = toStd(setting.value);
      setting.value = toTstring(append ? joinList({old, value}) : joinList({value, old}));
    } else {
      setting.value = toTstring(value);
      setting.mode = append ? TvelaModuleSettingMode::kAppend : TvelaModuleSettingMode::kPrepend;
    }
  } else {
    setting.value = toTstring(value);
    setting.mode = TvelaModuleSettingMode::kReplace;
  }
  module.settings[key] = setting;
  return true;
}

// ---- Queries ----

Tstring TvelaModuleSupportBase::velaModulePath() {
  Tguard guard(lock());
  ensureInitialized();
  return toTstring(state().modulePath);
}

TstringArray TvelaModuleSupportBase::moduleDirectories() {
  Tguard guard(lock());
  ensureScanned();
  TstringArray dirs;
  for (const std::string& d : state().directories) dirs.addLast(toTstring(d));
  return dirs;
}

int TvelaModuleSupportBase::numModuleDirectories() {
  Tguard guard(lock());
  ensureInitialized();
  return state().numModuleDirectories;
}

const TvelaModule* TvelaModuleSupportBase::findModule(const Tstring& name) {
  Tguard guard(lock());
  ensureScanned();
  const auto it = state().modules.find(name);
  return it != state().modules.end() ? &it->second : nullptr;
}

void TvelaModuleSupportBase::getModuleList(TstringArray& names) {
  Tguard guard(lock());
  ensureScanned();
  for (const auto& entry : state().modules) names.addLast(entry.first);
}

Tstring TvelaModuleSupportBase::getModulePath(const Tstring& name) {
  const TvelaModule* m = findModule(name);
  return m != nullptr ? m->path : Tstring();
}

Tstring TvelaModuleSupportBase::getModuleVersion(const Tstring& name) {
  const TvelaModule* m = findModule(name);
  return m != nullptr ? m->version : Tstring();
}

Tstring TvelaModuleSupportBase::getModuleDefPath(const Tstring& name) {
  const TvelaModule* m = findModule(name);
  return m != nullptr ? m->defPath : Tstring();
}

std::vector<TvelaModuleRefusal> TvelaModuleSupportBase::refusals() {
  Tguard guard(lock());
  ensureScanned();
  return state().refusals;
}

// ---- Path lists and the environment ----

void TvelaModuleSupportBase::getPaths(const Tstring& variable, TstringArray& paths) {
  Tguard guard(lock());
  ensureScanned();
  std::vector<std::string> out;
  for (unsigned i = 0; i < paths.length(); ++i) out.push_back(toStd(paths[i]));
  const std::size_t given = out.size();
  TfolderLists lists;
  collectFolders(&variable, lists);
  for (const std::string& f : lists[toStd(variable)]) addUnique(out, f);
  for (std::size_t i = given; i < out.size(); ++i) paths.addLast(toTstring(out[i]));
}

void TvelaModuleSupportBase::updatePaths() {
  Tguard guard(lock());
  ensureScanned();
  TfolderLists lists;
  collectFolders(nullptr, lists);
  TpendingEnvironment pending;
  for (const TdefaultRow& row : kDefaultRows) {
    for (const std::string& folder : lists[row.variable]) pending.append(row.variable, folder);
  }
  pending.store();
}

void TvelaModuleSupportBase::updateEnvironmentVariables() {
  Tguard guard(lock());
  updatePaths();
  // Every module's settings meet in memory and each variable is stored once.
  TpendingEnvironment pending;
  for (const auto& [name, module] : ordered()) pending.apply(*module);
  pending.store();
}

void TvelaModuleSupportBase::subUpdateEnvironmentVariables(const Tstring& name) {
  Tguard guard(lock());
  const TvelaModule* module = findModule(name);
  if (module == nullptr) return;
  TpendingEnvironment pending;
  pending.apply(*module);
  pending.store();
}

// ---- Host bookkeeping ----

void TvelaModuleSupportBase::markModulesLoaded() {
  std::function<void()> updater;
  {
    Tguard guard(lock());
    state().loaded = true;
    updater = state().updater;
  }
  if (updater) updater();
}

bool TvelaModuleSupportBase::modulesLoaded() {
  Tguard guard(lock());
  return state().loaded;
}

bool TvelaModuleSupportBase::getRebuildIconPaths() {
  Tguard guard(lock());
  return state().rebuildIcons;
}

void TvelaModuleSupportBase::setRebuildIconPaths(bool rebuild) {
  Tguard guard(lock());
  state().rebuildIcons = rebuild;
}

void TvelaModuleSupportBase::setWorkspaceLayoutUpdater(std::function<void()> updater) {
  Tguard guard(lock());
  state().updater = std::move(updater);
}
