#include <velacore/environment/TVelaEnvironment.h>

#include <velacore/base/TbuildInfo.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/environment/TenvFileParser.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/environment/internal/TcatalogMessage.h>
#include <velacore/environment/internal/TenvText.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformLocations.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace pf = vela::platform;

const char* const TVelaEnvironment::kAppName = "vela";
const char* const TVelaEnvironment::kEnvFileName = "Vela.env";
const char* const TVelaEnvironment::kFeatureFolders[10] = {
    "brushStrokes", "fluids",  "strands", "softBodies", "tracking",
    "fibers",       "rigging", "crowds",  "terrain",    "motionGraphics"};
const char* const TVelaEnvironment::kPathVariables[8] = {"PATH",
                                                         "VELA_PLUG_IN_PATH",
                                                         "VELA_PLUG_IN_RESOURCE_PATH",
                                                         "VELA_SCRIPT_PATH",
                                                         "VELA_MODULE_PATH",
                                                         "VELA_CONTENT_PATH",
                                                         "XBMLANGPATH",
                                                         "VELA_SYNC_HUB_CONFIG_PATH"};

namespace {

constexpr char kSep = pf::kPathListSeparator;
// Machine settings longer than this do not fit the buffer they were always read into, and are
// treated as missing.
constexpr std::size_t kMachineSettingBytes = 999;

struct Tstate {
  std::string version =
      std::to_string(VELACORE_VERSION_MAJOR) + "." + std::to_string(VELACORE_VERSION_MINOR);
  bool defaultMode = false;
  unsigned mergedBits = 0;  // one bit per entry of kPathVariables
  std::string configDir;    // <CONFIG_DIR>, "" when the machine has none
  std::string moduleDir;    // <MODULE_DIR>, "" when the machine has none
  std::string documentsDir;
  std::string envFilePath;
  TVelaEnvironment::Tasker asker;
  TVelaEnvironment::Treporter reporter;
};

Tstate& state() {
  static Timmortal<Tstate> sState;  // read by static destructors too
  return *sState;
}

using vela::environment_internal::env;
using vela::environment_internal::put;
using vela::environment_internal::splitList;
using vela::environment_internal::toStd;
using vela::environment_internal::toTstring;

bool isSet(const char* name) { return VelaGetEnv(name) != nullptr; }

void putIfUnset(const char* name, const std::string& value) {
  if (!isSet(name)) put(name, value);
}

// The std::string forms of the public operations, defined further down.
std::vector<std::string> candidateFiles();
std::string tagsReplaced(const std::string& text);
bool installationValid(std::string& location);
std::string mergedPath(const char* name, const char* fileValue, const char* defaultValue,
                       const char* prefix);
std::string defaultPath(const char* name);
bool readFile(const std::string& path);

int pathVariableIndex(const char* name) {
  for (int i = 0; i < static_cast<int>(std::size(TVelaEnvironment::kPathVariables)); ++i) {
    if (std::strcmp(TVelaEnvironment::kPathVariables[i], name) == 0) return i;
  }
  return -1;
}

// The catalog text `key` with its ^1s and ^2s markers replaced by `first` and `second`.
Tstring message(const char* key, const std::string& first = {}, const std::string& second = {}) {
  return vela::environment_internal::catalogMessage(key, toTstring(first), toTstring(second));
}

void report(const Tstring& text, bool error) {
  if (state().reporter) {
    state().reporter(text, error);
  } else {
    TdebugOutput& out = TdebugOutput::sCerr();
    if (error) {
      out.printError("%s\n", text.asUTF8());
    } else {
      out.print("Warning: %s\n", text.asUTF8());
    }
  }
}

// The terminal asker: a question on standard error, the answer from standard input. No answer
// (no terminal, end of input) is No.
bool askOnTerminal(const Tstring& title, const Tstring& question, Tstring& folder) {
  if (!pf::standardInputIsTerminal()) return false;
  std::fprintf(stderr, "%s: %s [y/N] ", title.asUTF8(), question.asUTF8());
  char line[4096];
  if (std::fgets(line, sizeof line, stdin) == nullptr || (line[0] != 'y' && line[0] != 'Y')) {
    return false;
  }
  std::fprintf(stderr, "Folder: ");
  if (std::fgets(line, sizeof line, stdin) == nullptr) return false;
  line[std::strcspn(line, "\r\n")] = '\0';
  folder.setUTF8(line);
  return !folder.isEmpty();
}

bool ask(const Tstring& question, std::string& folder) {
  const Tstring title("Warning");
  Tstring answer;
  const bool yes = state().asker ? state().asker(title, question, answer)
                                 : askOnTerminal(title, question, answer);
  folder = toStd(answer);
  return yes && !folder.empty();
}

// A trailing separator goes, unless it is all there is or follows a drive colon; backslashes
// become "/".
bool writableFolder(std::string& dir) {
  for (char& c : dir) {
    if (c == '\\') c = '/';
  }
  while (dir.size() > 1 && dir.back() == '/' && dir[dir.size() - 2] != ':') dir.pop_back();
  return pf::isWritableFolder(dir);
}

bool usableAppDir(std::string& dir) {
  if (dir.empty()) return false;
  if (!pf::isFolder(dir)) (void)pf::makeFolders(dir);
  return writableFolder(dir);
}

std::string localizedSubdirectory() {
  const std::string language = pf::localeLanguage();
  if (language == "en_US" || language.empty()) return state().version;
  return state().version + "/" + language;
}

std::string versionNoX64() {
  std::string v = state().version;
  const std::size_t x = v.find("-x64");
  if (x != std::string::npos) v.erase(x, 4);
  return v;
}

// The release family shared by every update of a version: "2.3.1" -> "2".
std::string versionAllNoX64() {
  const std::string v = versionNoX64();
  return v.substr(0, v.find('.'));
}

std::string syncHubConfigDir() {
  if (!state().configDir.empty()) return state().configDir + "/SyncHub";
  return state().defaultMode ? std::string() : env("VELA_APP_DIR") + "/synchub";
}

// -1, 0 or 1 as `a` is an earlier, the same or a later version than `b` ("1.10" > "1.9").
int compareVersions(const std::string& a, const std::string& b) {
  std::size_t i = 0, j = 0;
  while (i < a.size() || j < b.size()) {
    unsigned long x = 0, y = 0;
    while (i < a.size() && a[i] >= '0' && a[i] <= '9') x = x * 10 + (a[i++] - '0');
    while (j < b.size() && b[j] >= '0' && b[j] <= '9') y = y * 10 + (b[j++] - '0');
    if (x != y) return x < y ? -1 : 1;
    while (i < a.size() && (a[i] < '0' || a[i] > '9')) ++i;
    while (j < b.size() && (b[j] < '0' || b[j] > '9')) ++j;
  }
  return 0;
}

bool copyFile(const std::string& from, const std::string& to) {
  std::ifstream in(from, std::ios::binary);
  std::ofstream out(to, std::ios::binary | std::ios::trunc);
  if (!in || !out) return false;
  out << in.rdbuf();
  return static_cast<bool>(out);
}

std::string parentFolder(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return std::string();
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The user data folders that may hold the environment file: VELA_APP_DIR and the default one
// under the documents folder.
std::vector<std::string> userDataFolders() {
  std::vector<std::string> folders;
  const std::string appDir = env("VELA_APP_DIR");
  if (!appDir.empty()) folders.push_back(appDir);
  if (!state().documentsDir.empty()) {
    const std::string docs = state().documentsDir + "/" + TVelaEnvironment::kAppName;
    if (docs != appDir) folders.push_back(docs);
  }
  return folders;
}

// The newest environment file of an earlier version in the user data folders, or "".
std::string earlierVersionEnvFile() {
  std::string best, bestVersion;
  for (const std::string& folder : userDataFolders()) {
    for (const std::string& name : pf::subfolderNames(folder)) {
      if (name.empty() || name[0] < '0' || name[0] > '9') continue;
      if (compareVersions(name, state().version) >= 0) continue;
      const std::string file = folder + "/" + name + "/" + TVelaEnvironment::kEnvFileName;
      if (pf::isFile(file) && (best.empty() || compareVersions(name, bestVersion) > 0)) {
        best = file;
        bestVersion = name;
      }
    }
  }
  return best;
}

// Finds the environment file, creating (or copying from an earlier version) an empty one at the
// first candidate when none exists. Returns its path, or "" when there is none.
std::string locateEnvFile(bool interactive) {
  std::string found;
  // An explicit list of folders comes first.
  for (const std::string& dir : splitList(VelaGetEnv("VELA_ENV_DIR"))) {
    const std::string file = dir + "/" + TVelaEnvironment::kEnvFileName;
    if (pf::isFile(file)) {
      found = file;
      break;
    }
  }

  if (!isSet("VELA_APP_DIR") && !state().documentsDir.empty()) {
    put("VELA_APP_DIR", state().documentsDir + "/" + TVelaEnvironment::kAppName);
  }
  std::string appDir = env("VELA_APP_DIR");
  for (int attempt = 0; !usableAppDir(appDir); ++attempt) {
    report(message("s_TVelaEnvironmentStrings.rVelaAppDirNotFoundStr", appDir), false);
    std::string chosen;
    if (attempt == 0) {
      report(message("s_TVelaEnvironmentStrings.rNoVaildVelaAppDirSettingStr"), false);
    }
    if (!interactive || attempt >= 3 ||
        !ask(message("s_TVelaEnvironmentStrings.rSelectUserDataDirStr"), chosen)) {
      break;
    }
    appDir = chosen;
    put("VELA_APP_DIR", appDir);
  }
  if (!appDir.empty()) putIfUnset("HOME", appDir);
  if (!found.empty()) return found;

  const std::vector<std::string> candidates = candidateFiles();
  for (const std::string& file : candidates) {
    if (pf::isFile(file)) return file;
  }
  if (candidates.empty() || appDir.empty()) return std::string();
  const std::string& first = candidates.front();
  if (!pf::makeFolders(parentFolder(first))) return std::string();
  const std::string earlier = earlierVersionEnvFile();
  if (!earlier.empty() && copyFile(earlier, first)) {
    report(message("s_TVelaEnvironmentStrings.rEnvFileCopiedFromToStr", earlier, first), false);
    return first;
  }
  if (std::FILE* f = std::fopen(first.c_str(), "w")) {
    std::fclose(f);
    return first;
  }
  return std::string();
}

}  // namespace

// ---- The start-up sequence ----

bool TVelaEnvironment::initializeVelaEnvironment(bool interactive) {
  initData();
  if (!readVariables(interactive)) return false;
  setEssentialVariables();
  // Modules come last: their directories are one of the merged paths, and what they add goes
  // after everything the environment set.
  (void)TvelaModuleSupportBase::initialize();
  (void)TvelaModuleSupportBase::scanForNewModules();
  TvelaModuleSupportBase::updateEnvironmentVariables();
  // Start-up is the application's moment to take process-wide debug resources (the debug
  // signal), and the environment file may have set the trace switches.
  TdbTrace::sApplicationStarted();
  return true;
}

void TVelaEnvironment::initData() {
  Tstate& s = state();
  const std::vector<std::string> args = pf::commandLineArguments();
  s.defaultMode = false;
  for (std::size_t i = 1; i < args.size(); ++i)
    s.defaultMode = s.defaultMode || args[i] == "-default";
  s.documentsDir = pf::documentsFolder();
  s.configDir.clear();
  s.moduleDir.clear();
  std::string value;
  if (pf::machineSetting("Corvanta", "Common", "TQ_USER_CONFIG", value) &&
      value.size() < kMachineSettingBytes) {
    s.configDir = value;
  }
  value.clear();
  if (pf::machineSetting("Corvanta", "Common", "TQ_MODULES", value) &&
      value.size() < kMachineSettingBytes) {
    s.moduleDir = value;
  }
}

bool TVelaEnvironment::readVariables(bool interactive) {
  std::string location = env("VELA_LOCATION");
  if (location.empty() || !installationValid(location)) {
    if (!setVELA_LOCATION(true)) return false;
  } else if (location != env("VELA_LOCATION")) {
    put("VELA_LOCATION", location);  // tidied by the check
  }
  validateHOME();
  state().envFilePath = locateEnvFile(interactive);
  if (!state().envFilePath.empty()) (void)readFile(state().envFilePath);
  return true;
}

void TVelaEnvironment::setEssentialVariables() {
  putIfUnset("VELA_SCRIPT_BASE", env("VELA_LOCATION"));
  if (!isSet("VELA_APP_DIR") && !state().documentsDir.empty()) {
    put("VELA_APP_DIR", state().documentsDir + "/" + kAppName);
  }
  if (!isSet("HOME") && isSet("VELA_APP_DIR")) put("HOME", env("VELA_APP_DIR"));
  validateTMPDIR();
  if (!isSet("USER")) {
    const std::string user = pf::userName();
    if (!user.empty()) put("USER", user);
  }
  putIfUnset("VELA_REVERSE_FILEFORMAT_EXT", "1");
  putIfUnset("QX_IMF_CIN_CORRECTION", "both");
  putIfUnset("QX_IMF_CIN_WHITE_POINT", "685");
  for (const char* name : kPathVariables) setEnvironmentVariable(name, "");
}

// ---- Single steps ----

void TVelaEnvironment::setEnvironmentVariable(const char* name, const char* value) {
  if (name == nullptr || *name == '\0') return;
  if (value == nullptr) value = "";
  if (pathVariableIndex(name) < 0) {
    putIfUnset(name, tagsReplaced(value));
    return;
  }
  const std::string installFolders = "<VELA_LOCATION>/bin/Cg<SEP><VELA_LOCATION>/bin";
  if (std::strcmp(name, "PATH") == 0) {
    // Older releases searched the installation last.
    if (isSet("VELA_PRE_70_PATH_ORDERING")) {
      setVelaPathEnvironmentVariable(name, value, installFolders.c_str(), "");
    } else {
      setVelaPathEnvironmentVariable(name, value, "", installFolders.c_str());
    }
  } else if (std::strcmp(name, "VELA_CONTENT_PATH") == 0) {
    setVelaPathEnvironmentVariable(name, value, "", "<VELA_LOCATION>/Examples");
  } else {
    setVelaPathEnvironmentVariable(name, value, defaultPath(name).c_str(), "");
  }
}

void TVelaEnvironment::setVelaPathEnvironmentVariable(const char* name, const char* fileValue,
                                                      const char* defaultValue,
                                                      const char* prefix) {
  const int index = name != nullptr ? pathVariableIndex(name) : -1;
  const unsigned bit = index >= 0 ? 1u << index : 0u;
  if (name == nullptr || *name == '\0' || (state().mergedBits & bit) != 0) return;
  state().mergedBits |= bit;
  const std::string merged = mergedPath(name, fileValue, defaultValue, prefix);
  if (!merged.empty()) put(name, merged);
}

Tstring TVelaEnvironment::getNewPath(const char* name, const char* fileValue,
                                     const char* defaultValue, const char* prefix) {
  return toTstring(mergedPath(name, fileValue, defaultValue, prefix));
}

Tstring TVelaEnvironment::defaultPathValue(const char* name) {
  return toTstring(defaultPath(name));
}

bool TVelaEnvironment::readEnvironmentFile(const Tstring& path) { return readFile(toStd(path)); }

namespace {

std::string mergedPath(const char* name, const char* fileValue, const char* defaultValue,
                       const char* prefix) {
  if (name == nullptr) return std::string();
  // PATH always keeps what the process had: without it nothing could be started.
  const bool leaveOutUser = state().defaultMode && std::strcmp(name, "PATH") != 0;
  std::string merged;
  auto add = [&merged](const std::string& part) {
    if (part.empty()) return;
    if (!merged.empty()) merged += kSep;
    merged += part;
  };
  if (prefix != nullptr) add(tagsReplaced(prefix));
  if (!leaveOutUser) {
    add(env(name));
    if (fileValue != nullptr) add(fileValue);
  }
  if (defaultValue != nullptr) add(tagsReplaced(defaultValue));
  return merged;
}

std::string defaultPath(const char* name) {
  using E = TVelaEnvironment;
  const Tstate& s = state();
  const bool user = !s.defaultMode;
  const bool config = !s.configDir.empty();
  std::vector<std::string> lines;
  auto line = [&lines](bool wanted, std::string text) {
    if (wanted) lines.push_back(std::move(text));
  };
  auto featureLines = [&lines](const char* base) {
    for (const char* f : E::kFeatureFolders) lines.push_back(std::string(base) + f);
  };

  if (std::strcmp(name, "VELA_PLUG_IN_PATH") == 0) {
    line(user, "<VELA_APP_DIR>/<VERSION>/plug-ins");
    line(user, "<VELA_APP_DIR>/plug-ins");
    line(user && config, "<CONFIG_DIR>/<APP_NAME>/<VERSION_NO_X64>/plug-ins");
    line(user && config, "<CONFIG_DIR>/<APP_NAME>/plug-ins");
    line(true, "<VELA_LOCATION>/bin/plug-ins");
  } else if (std::strcmp(name, "VELA_SCRIPT_PATH") == 0) {
    const bool localized = localizedSubdirectory() != s.version;
    line(user, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/scripts");
    line(user && localized, "<VELA_APP_DIR>/<VERSION>/scripts");
    line(user, "<VELA_APP_DIR>/scripts");
    line(user, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/presets");
    line(config, "<CONFIG_DIR>/<APP_NAME>/<VERSION_NO_X64>/scripts");
    line(config, "<CONFIG_DIR>/<APP_NAME>/scripts");
    const std::string shelves = env("VELA_SHELF_PATH");
    line(user && !shelves.empty(), shelves);
    line(user, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/prefs/shelves");
    line(user, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/prefs/radialMenus");
    line(user, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/prefs/scripts");
    for (const char* sub :
         {"", "/startup", "/shelves", "/others", "/editorTemplates", "/unsupported"}) {
      lines.push_back(std::string("<VELA_LOCATION>/scripts") + sub);
    }
    featureLines("<VELA_LOCATION>/scripts/");
  } else if (std::strcmp(name, "XBMLANGPATH") == 0) {
    if (!user) {
      line(true, "<VELA_LOCATION>/app-defaults");
      line(true, "<VELA_LOCATION>/icons");
    } else {
      line(true, "<VELA_APP_DIR>/<LOCALIZED_VERSION>/prefs/icons");
      line(true, "<VELA_APP_DIR>/prefs/icons");
      line(config, "<CONFIG_DIR>/<APP_NAME>/<VERSION_NO_X64>/icons");
      line(config, "<CONFIG_DIR>/<APP_NAME>/icons");
      line(true, "<VELA_LOCATION>/icons");
      line(true, "<VELA_LOCATION>/app-defaults");
      featureLines("<VELA_LOCATION>/icons/");
    }
  } else if (std::strcmp(name, "VELA_MODULE_PATH") == 0) {
    line(true, "<VELA_LOCATION>/modules");
    if (user) {
      line(true, "<VELA_APP_DIR>/<VERSION>/modules");
      line(true, "<VELA_APP_DIR>/modules");
      if (!s.moduleDir.empty()) {
        line(true, "<MODULE_DIR>/<APP_NAME>/<VERSION_NO_X64>");
        line(true, "<MODULE_DIR>/<APP_NAME>");
      } else {
        line(true, pf::commonProgramFilesFolder() +
                       "/Corvanta Shared/Modules/<APP_NAME>/<VERSION_ALL_NO_X64>");
      }
    }
  } else if (std::strcmp(name, "VELA_SYNC_HUB_CONFIG_PATH") == 0) {
    line(!syncHubConfigDir().empty(), "<SYNC_HUB_CONFIG_DIR>");
  }

  std::string joined;
  for (const std::string& l : lines) joined += (joined.empty() ? "" : "<SEP>") + l;
  return joined;
}

bool readFile(const std::string& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  TenvFileParser parser([](const std::string& name) { return VelaGetEnv(name.c_str()); },
                        [](const std::string& name, const std::string& value) {
                          TVelaEnvironment::setEnvironmentVariable(name.c_str(), value.c_str());
                        },
                        [&path](std::size_t line) {
                          report(message("s_TVelaEnvironmentStrings.rEnvLineTooLongStr", path,
                                         std::to_string(line)),
                                 false);
                        });
  char buffer[65536];
  std::size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) parser.feed(buffer, n);
  parser.finish();
  std::fclose(f);
  return true;
}

}  // namespace

bool TVelaEnvironment::setVELA_LOCATION(bool reportFailure) {
  const std::string library = pf::ownLibraryPath();
  std::string location = parentFolder(parentFolder(library));
  if (library.empty() || location.empty() || !installationValid(location)) {
    if (reportFailure) report(message("s_TVelaEnvironmentStrings.rNoValidVelaLocationStr"), true);
    return false;
  }
  put("VELA_LOCATION", location);
  put("VELA_SCRIPT_BASE", location);
  return true;
}

void TVelaEnvironment::validateHOME() {
  if (isSet("HOME")) return;
  const std::string home = pf::userHomeFolder();
  if (!home.empty()) put("HOME", home);
}

void TVelaEnvironment::validateTMPDIR() {
  std::string folder = env("TMPDIR");
  const bool fromTmpdir = !folder.empty();
  if (!fromTmpdir) folder = env("TEMP");
  if (!folder.empty()) {
    if (writableFolder(folder)) {
      if (!fromTmpdir) put("TMPDIR", folder);
      return;
    }
    report(message("s_TVelaEnvironmentStrings.rNoWritePermTempDirWarnStr", folder), false);
  }
  // The system's own answer consults TMPDIR, which is the folder just refused.
  std::string fallback = fromTmpdir ? std::string("/tmp") : pf::systemTempFolder();
  if (writableFolder(fallback)) {
    put("TMPDIR", fallback);
  } else {
    report(message("s_TVelaEnvironmentStrings.rNoWritePermDefaultTempDirErrorStr", fallback), true);
  }
}

// ---- Checks ----

bool TVelaEnvironment::validateVELA_LOCATION(Tstring& location) {
  std::string path = toStd(location);
  const bool valid = installationValid(path);
  location = toTstring(path);
  return valid;
}

bool TVelaEnvironment::validateVELA_APP_DIR(Tstring& dir) {
  std::string path = toStd(dir);
  const bool valid = usableAppDir(path);
  dir = toTstring(path);
  return valid;
}

bool TVelaEnvironment::validateDirectoryWritable(Tstring& dir) {
  std::string path = toStd(dir);
  const bool valid = writableFolder(path);
  dir = toTstring(path);
  return valid;
}

namespace {

bool installationValid(std::string& location) {
  while (location.size() > 1 && location.back() == '/') location.pop_back();
  if (location.empty() || !pf::isFolder(location)) return false;
  // The library lives in "lib" (or "bin", as on hosts where libraries sit beside programs) of
  // an installation, and in its own folder of a build tree.
  const std::string library = pf::ownLibraryPath();
  const std::string fileName = baseName(library);
  const std::string ownFolder = baseName(parentFolder(library));
  std::string linkName = fileName;
  const std::size_t so = linkName.find(".so");
  if (so != std::string::npos) linkName.erase(so + 3);
  for (const std::string& folder : {std::string("lib"), std::string("bin"), ownFolder}) {
    for (const std::string& file : {fileName, linkName}) {
      if (!folder.empty() && !file.empty() && pf::isFile(location + "/" + folder + "/" + file)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

// ---- Queries ----

TstringArray TVelaEnvironment::splitPath(const Tstring& list) {
  TstringArray entries;
  (void)list.split(kSep, entries);
  return entries;
}

Tstring TVelaEnvironment::getLocalizedSubdirectory() { return toTstring(localizedSubdirectory()); }

Tstring TVelaEnvironment::velaEnvFileLocation() { return toTstring(state().envFilePath); }

TstringArray TVelaEnvironment::envFileCandidates() {
  TstringArray files;
  for (const std::string& file : candidateFiles()) files.addLast(toTstring(file));
  return files;
}

Tstring TVelaEnvironment::replaceTags(const Tstring& text) {
  return toTstring(tagsReplaced(toStd(text)));
}

namespace {

std::vector<std::string> candidateFiles() {
  using E = TVelaEnvironment;
  const Tstate& s = state();
  std::vector<std::string> versions{versionNoX64(), versionAllNoX64()};
  std::vector<std::string> candidates;
  auto add = [&candidates](const std::string& path) {
    for (const std::string& c : candidates) {
      if (c == path) return;
    }
    candidates.push_back(path);
  };
  for (const std::string& folder : userDataFolders()) {
    add(folder + "/" + s.version + "/" + E::kEnvFileName);
    add(folder + "/" + E::kEnvFileName);
    for (const std::string& v : versions) {
      if (!v.empty()) add(folder + "/" + v + "/" + E::kEnvFileName);
    }
  }
  add(std::string("./") + E::kEnvFileName);
  return candidates;
}

std::string tagsReplaced(const std::string& text) {
  const std::pair<const char*, std::string> tags[] = {
      {"<SEP>", std::string(1, kSep)},
      {"<VELA_LOCATION>", env("VELA_LOCATION")},
      {"<VELA_APP_DIR>", env("VELA_APP_DIR")},
      {"<APP_NAME>", TVelaEnvironment::kAppName},
      {"<VERSION>", state().version},
      {"<LOCALIZED_VERSION>", localizedSubdirectory()},
      {"<VERSION_NO_X64>", versionNoX64()},
      {"<VERSION_ALL_NO_X64>", versionAllNoX64()},
      {"<CONFIG_DIR>", state().configDir},
      {"<MODULE_DIR>", state().moduleDir},
      {"<SYNC_HUB_CONFIG_DIR>", syncHubConfigDir()},
  };
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    bool replaced = false;
    if (text[i] == '<') {
      for (const auto& [tag, value] : tags) {
        const std::size_t n = std::strlen(tag);
        if (text.compare(i, n, tag) == 0) {
          out += value;
          i += n;
          replaced = true;
          break;
        }
      }
    }
    if (!replaced) out += text[i++];
  }
  for (char& c : out) {
    if (c == '\\') c = '/';
  }
  return out;
}

}  // namespace

bool TVelaEnvironment::isDefaultMode() { return state().defaultMode; }

Tstring TVelaEnvironment::version() { return toTstring(state().version); }

// ---- Settings and hooks ----

void TVelaEnvironment::setVersion(const Tstring& version) { state().version = toStd(version); }

void TVelaEnvironment::setDefaultMode(bool on) { state().defaultMode = on; }

void TVelaEnvironment::setAsker(Tasker asker) { state().asker = std::move(asker); }

void TVelaEnvironment::setReporter(Treporter reporter) { state().reporter = std::move(reporter); }

void TVelaEnvironment::resetState() {
  Tstate& s = state();
  Tstate fresh;
  fresh.asker = std::move(s.asker);
  fresh.reporter = std::move(s.reporter);
  s = std::move(fresh);
}
