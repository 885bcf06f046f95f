// Whole-file output and file errors shared by the text writer (Tfile) and the IFF container
// (TiffFile).
#pragma once

#include <cstddef>

namespace vela::data_internal {

// Throws a TfileException with errno `code` and the catalogue message `key` (a format taking
// the file name and the reason) filled in for `path`.
[[noreturn]] void throwFileError(const char* key, const char* path, int code);

// Writes `count` bytes to `path`, replacing the file; throws TfileException
// ("s_TiffStrings.rCannotWrite") when it cannot be written.
void saveBytes(const char* path, const void* bytes, std::size_t count);

}  // namespace vela::data_internal
