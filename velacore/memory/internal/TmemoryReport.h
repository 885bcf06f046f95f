// Developer messages of the memory area, printed to the standard-error debug sink.
//
// Arenas and the allocator report damage and exhausted memory here. Kept behind one function so
// that the whole area changes sink in one place.
#pragma once

namespace vela::memory_internal {

/// Writes "ERR: " and the printf-formatted message, with a line end, to the error sink.
void reportError(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vela::memory_internal
