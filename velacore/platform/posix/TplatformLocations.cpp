#include <velacore/platform/TplatformLocations.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/platform/posix/TfolderEntry.h>

#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>

#include <dirent.h>
#include <dlfcn.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace vela::platform {
namespace {

std::string withoutTrailingSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

const char* nonEmptyEnv(const char* name) {
  const char* v = std::getenv(name);
  return v != nullptr && *v != '\0' ? v : nullptr;
}

// The user database entry of the effective user; false when there is none.
bool passwdEntry(std::string& name, std::string& home) {
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < (1u << 20)) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) return false;
  name = found->pw_name != nullptr ? found->pw_name : "";
  home = found->pw_dir != nullptr ? found->pw_dir : "";
  return true;
}

}  // namespace

std::string systemTempFolder() {
  const char* tmp = nonEmptyEnv("TMPDIR");
  return withoutTrailingSlash(tmp != nullptr ? tmp : "/tmp");
}

std::string userName() {
  std::string name, home;
  if (passwdEntry(name, home) && !name.empty()) return name;
  const char* user = nonEmptyEnv("USER");
  return user != nullptr ? user : "";
}

std::string userHomeFolder() {
  if (const char* home = nonEmptyEnv("HOME")) return withoutTrailingSlash(home);
  std::string name, home;
  return passwdEntry(name, home) ? withoutTrailingSlash(home) : std::string();
}

std::string documentsFolder() {
  const QString docs = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
  return withoutTrailingSlash(docs.toStdString());
}

std::string commonProgramFilesFolder() { return "/usr/local/share"; }

std::vector<std::string> applicationPluginFolders(const std::string& location) {
  std::vector<std::string> folders;
  if (!location.empty()) folders.push_back(withoutTrailingSlash(location) + "/AppPlugins");
  folders.push_back(commonProgramFilesFolder() + "/Corvanta/AppPlugins");
  folders.push_back("/usr/share/Corvanta/AppPlugins");
  const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
  if (!data.isEmpty()) folders.push_back(withoutTrailingSlash(data.toStdString()) + "/Corvanta/AppPlugins");
  return folders;
}

bool machineSetting(const char* organization, const char* application, const char* key,
                    std::string& value) {
  if (organization == nullptr || application == nullptr || key == nullptr) return false;
  // Read the files ourselves rather than through QSettings::SystemScope: Qt 5 fixes the
  // system folder once per process and ignores XDG_CONFIG_DIRS.
  std::string dirs =
      nonEmptyEnv("XDG_CONFIG_DIRS") != nullptr ? std::getenv("XDG_CONFIG_DIRS") : "/etc/xdg";
  std::size_t start = 0;
  while (start <= dirs.size()) {
    std::size_t end = dirs.find(':', start);
    if (end == std::string::npos) end = dirs.size();
    const std::string dir = dirs.substr(start, end - start);
    start = end + 1;
    if (dir.empty()) continue;
    const std::string file = dir + "/" + organization + "/" + application + ".conf";
    if (!isFile(file)) continue;
    QSettings settings(QString::fromStdString(file), QSettings::IniFormat);
    const QVariant v = settings.value(QString::fromUtf8(key));
    if (v.isValid()) {
      value = v.toString().toStdString();
      return true;
    }
  }
  return false;
}

namespace {

// The library's own file as the loader named it, made absolute against the current folder. The
// name is relative when the loader found the library through a relative LD_LIBRARY_PATH entry.
std::string resolveOwnLibraryPath() {
  Dl_info info{};
  // Any function of the library will do: its address lies inside our own mapping.
  if (dladdr(reinterpret_cast<void*>(&resolveOwnLibraryPath), &info) == 0 ||
      info.dli_fname == nullptr) {
    return std::string();
  }
  std::string path = info.dli_fname;
  if (!path.empty() && path[0] != '/') {
    const std::string cwd = currentFolder();
    if (!cwd.empty()) path = std::filesystem::path(cwd + "/" + path).lexically_normal().string();
  }
  return path;
}

const std::string& loadedLibraryPath() {
  static Timmortal<const std::string> sPath(resolveOwnLibraryPath());
  return *sPath;
}

// Resolved while the library is being loaded, before the host can change its current folder.
[[maybe_unused]] const bool gLibraryPathResolved = (loadedLibraryPath(), true);

}  // namespace

std::string ownLibraryPath() { return loadedLibraryPath(); }

std::vector<std::string> commandLineArguments() {
  std::vector<std::string> args;
  std::FILE* f = std::fopen("/proc/self/cmdline", "rb");
  if (f == nullptr) return args;
  std::string current;
  bool any = false;
  int c;
  while ((c = std::fgetc(f)) != EOF) {
    any = true;
    if (c == '\0') {
      args.push_back(current);
      current.clear();
    } else {
      current.push_back(static_cast<char>(c));
    }
  }
  if (!current.empty() || (any && args.empty())) args.push_back(current);
  std::fclose(f);
  return args;
}

std::string localeLanguage() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* v = nonEmptyEnv(name);
    if (v == nullptr) continue;
    std::string lang(v, std::strcspn(v, ".@"));
    if (lang.empty() || lang == "C" || lang == "POSIX") break;
    return lang;
  }
  return "en_US";
}

std::string currentFolder() {
  std::vector<char> buffer(4096);
  while (getcwd(buffer.data(), buffer.size()) == nullptr) {
    if (errno != ERANGE || buffer.size() >= (1u << 20)) return std::string();
    buffer.resize(buffer.size() * 2);
  }
  return buffer.data();
}

bool isFolder(const std::string& path) {
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isFile(const std::string& path) {
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool isWritableFolder(const std::string& path) {
  return isFolder(path) && ::access(path.c_str(), W_OK | X_OK) == 0;
}

bool makeFolders(const std::string& path) {
  if (path.empty()) return false;
  if (isFolder(path)) return true;
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string prefix = path.substr(0, slash);
    if (!prefix.empty() && ::mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return false;
    if (slash == std::string::npos) break;
  }
  return isFolder(path);
}

std::vector<std::string> subfolderNames(const std::string& path) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) return names;
  while (const struct dirent* e = ::readdir(dir)) {
    if (!isDotEntry(*e) && isFolderEntry(dir, *e)) names.emplace_back(e->d_name);
  }
  ::closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

bool standardInputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }

}  // namespace vela::platform
