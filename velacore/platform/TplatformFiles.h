// The file-system questions behind file paths: a file's status, the absolute form of a path and
// the entries of a folder that match a wildcard pattern.
//
//   vela::platform::FileStatus st;
//   if (vela::platform::fileStatus("/etc/hosts", st) == 0 && !st.isFolder) use(st.size);
//   std::string full;
//   if (vela::platform::fullPath("../x", full) == 0) ...   // "/home/ann/x" from /home/ann/work
//
// Every function answers with a status value; none throws. `fullPath` is lexical: it never
// touches the file system beyond asking for the current folder, so symbolic links stay as
// written and a path that does not exist still has an absolute form.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vela::platform {

/// Whether this host's file names ignore case ("A" and "a" naming one file).
#if defined(_WIN32) || defined(__APPLE__)
inline constexpr bool kFileNamesIgnoreCase = true;
#else
inline constexpr bool kFileNamesIgnoreCase = false;
#endif

/// What the host reports about an existing file (symbolic links followed).
struct FileStatus {
  std::uint64_t device = 0;           ///< the file system holding it
  std::uint64_t inode = 0;            ///< its number there (device and inode name one file)
  std::uint64_t size = 0;             ///< bytes
  std::int64_t modifySeconds = 0;     ///< last change of the contents, since the epoch
  std::int32_t modifyNanoseconds = 0;
  std::int64_t changeSeconds = 0;     ///< last change of the status (the "creation" stamp)
  std::int32_t changeNanoseconds = 0;
  bool isFolder = false;
};

/// Fills `status` for `path`. Returns 0, or the errno value of the failure (ENOENT for an empty
/// path); `status` is then left as it was.
[[nodiscard]] VELACORE_INTERNAL_API int fileStatus(const std::string& path, FileStatus& status);

/// The absolute form of `path`, resolved against the current folder: "." pieces dropped, ".."
/// pieces climbed (never above the root), runs of "/" made one; a trailing "/" is kept. Returns
/// 0, or an errno value: EINVAL for an empty path, ENAMETOOLONG when the result would not fit
/// in PATH_MAX, or what the current-folder query reported.
[[nodiscard]] VELACORE_INTERNAL_API int fullPath(const std::string& path, std::string& full);

/// One entry of a folder listing.
struct FolderEntry {
  std::string name;
  bool isFolder = false;  ///< a folder, or a symbolic link to one
};

/// The entries of `folder` ("" is the current folder) whose names match the wildcard `pattern`
/// ("*" any run, "?" one character, "[...]" a class; a leading "." needs no special pattern),
/// "." and ".." left out, sorted by name. Empty when the folder cannot be read.
[[nodiscard]] VELACORE_INTERNAL_API std::vector<FolderEntry> matchingEntries(
    const std::string& folder, const std::string& pattern);

/// Every folder at or below `root`: `root` itself first, then depth first, the subfolders of
/// each folder in name order (symbolic links to folders followed). A folder that links lead to
/// again is listed once, so link cycles end. Empty when `root` is not a readable folder.
[[nodiscard]] std::vector<std::string> folderTree(const std::string& root);

}  // namespace vela::platform
