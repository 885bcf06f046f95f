#include <velacore/platform/TplatformFiles.h>

#include <velacore/platform/posix/TfolderEntry.h>

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <set>
#include <utility>

namespace vela::platform {

int fileStatus(const std::string& path, FileStatus& status) {
  if (path.empty()) return ENOENT;
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return errno != 0 ? errno : ENOENT;
  status.device = static_cast<std::uint64_t>(st.st_dev);
  status.inode = static_cast<std::uint64_t>(st.st_ino);
  status.size = static_cast<std::uint64_t>(st.st_size);
  status.modifySeconds = static_cast<std::int64_t>(st.st_mtim.tv_sec);
  status.modifyNanoseconds = static_cast<std::int32_t>(st.st_mtim.tv_nsec);
  status.changeSeconds = static_cast<std::int64_t>(st.st_ctim.tv_sec);
  status.changeNanoseconds = static_cast<std::int32_t>(st.st_ctim.tv_nsec);
  status.isFolder = S_ISDIR(st.st_mode);
  return 0;
}

int fullPath(const std::string& path, std::string& full) {
  if (path.empty()) return EINVAL;
  std::string text;
  if (path[0] != '/') {
    char buffer[PATH_MAX];
    if (::getcwd(buffer, sizeof buffer) == nullptr) return errno != 0 ? errno : ERANGE;
    text = buffer;
    text += '/';
  }
  text += path;
  // Walk the pieces, keeping the output as a stack of pieces behind a leading "/".
  std::string out = "/";
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    while (i < n && text[i] == '/') ++i;
    if (i == n) break;
    std::size_t end = text.find('/', i);
    if (end == std::string::npos) end = n;
    const std::size_t len = end - i;
    if (len == 1 && text[i] == '.') {
      // dropped
    } else if (len == 2 && text[i] == '.' && text[i + 1] == '.') {
      if (out.size() > 1) {
        out.pop_back();  // the "/" behind the last piece
        out.resize(out.rfind('/') + 1);
      }
    } else {
      out.append(text, i, len);
      out += '/';
    }
    i = end;
  }
  if (out.size() > 1 && text.back() != '/') out.pop_back();
  if (out.size() >= PATH_MAX) return ENAMETOOLONG;
  full.swap(out);
  return 0;
}

std::vector<FolderEntry> matchingEntries(const std::string& folder, const std::string& pattern) {
  std::vector<FolderEntry> entries;
  const std::string dir = folder.empty() ? std::string(".") : folder;
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return entries;
  while (const struct dirent* e = ::readdir(d)) {
    if (isDotEntry(*e) || ::fnmatch(pattern.c_str(), e->d_name, 0) != 0) continue;
    entries.push_back({e->d_name, isFolderEntry(d, *e)});
  }
  ::closedir(d);
  std::sort(entries.begin(), entries.end(),
            [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
  return entries;
}

namespace {

using TfolderIds = std::set<std::pair<dev_t, ino_t>>;

// Lists the folder open as `fd` (which it takes over) and everything below it. Folders are
// opened relative to their parent, so no path is looked up twice.
void walkFolder(int fd, const std::string& path, std::vector<std::string>& out, TfolderIds& seen) {
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !seen.insert({st.st_dev, st.st_ino}).second) {
    ::close(fd);
    return;
  }
  out.push_back(path);
  DIR* d = ::fdopendir(fd);
  if (d == nullptr) {
    ::close(fd);
    return;
  }
  std::vector<std::string> subfolders;
  while (const struct dirent* e = ::readdir(d)) {
    if (!isDotEntry(*e) && isFolderEntry(d, *e)) subfolders.emplace_back(e->d_name);
  }
  std::sort(subfolders.begin(), subfolders.end());
  const std::string prefix = path == "/" ? path : path + "/";
  for (const std::string& name : subfolders) {
    const int child = ::openat(::dirfd(d), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (child >= 0) walkFolder(child, prefix + name, out, seen);
  }
  ::closedir(d);
}

}  // namespace

std::vector<std::string> folderTree(const std::string& root) {
  std::vector<std::string> out;
  if (root.empty()) return out;
  const int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return out;
  TfolderIds seen;
  walkFolder(fd, root, out, seen);
  return out;
}

}  // namespace vela::platform
