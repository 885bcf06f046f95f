// Helpers for reading folders with readdir(), shared by the POSIX file and location functions.
#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <cstring>

namespace vela::platform {

/// Whether `e` is "." or "..", which folder listings skip.
inline bool isDotEntry(const struct dirent& e) {
  return std::strcmp(e.d_name, ".") == 0 || std::strcmp(e.d_name, "..") == 0;
}

/// Whether the entry `e` read from `folder` is a folder, symbolic links followed. The type comes
/// with the entry on most file systems; links and unknown types need a status query.
inline bool isFolderEntry(DIR* folder, const struct dirent& e) {
  if (e.d_type == DT_DIR) return true;
  if (e.d_type != DT_LNK && e.d_type != DT_UNKNOWN) return false;
  struct stat target {};
  return ::fstatat(::dirfd(folder), e.d_name, &target, 0) == 0 && S_ISDIR(target.st_mode);
}

}  // namespace vela::platform
