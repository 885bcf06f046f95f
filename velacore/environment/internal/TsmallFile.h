// Reading a whole small file (a module description, a package manifest) into memory, with a
// size limit so that a huge file named by mistake is refused rather than read.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace vela::environment_internal {

/// Appends the bytes of `path` to `text`. False when the file cannot be opened or read (a
/// folder opens but cannot be read) or holds more than `limit` bytes.
inline bool readSmallFile(const std::string& path, std::size_t limit, std::string& text) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  const std::size_t start = text.size();
  char buffer[65536];
  std::size_t n;
  while (text.size() - start <= limit && (n = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
    text.append(buffer, n);
  }
  const bool failed = std::ferror(f) != 0 || text.size() - start > limit;
  std::fclose(f);
  return !failed;
}

}  // namespace vela::environment_internal
