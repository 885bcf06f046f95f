// The calling thread's stack, for diagnostics: which functions led here.
//
//   for (const vela::platform::TstackFrame& f : vela::platform::captureStack(0, 16))
//     std::printf("%s\n", f.function.c_str());
//
// Names come from the dynamic symbol tables, demangled: functions a module does not export
// (static functions, hidden symbols, a program linked without exporting its own) show no name,
// only their module and offset. Inlined calls, and a function whose last act is a call (compiled
// as a jump), have no frame of their own.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vela::platform {

/// One frame of a captured stack.
struct TstackFrame {
  const void* address = nullptr;  ///< the return address (the call's next instruction)
  std::string function;           ///< demangled name, empty when the symbol is not known
  std::uintptr_t offset = 0;      ///< from the start of `function` (of the module when unnamed)
  std::string module;             ///< file name of the program or library, empty when unknown
};

/// The calling thread's stack, innermost first: the caller of captureStack is frame 0 unless
/// `skip` frames are left out above it; at most `depth` frames (0 or less: up to 256).
VELACORE_INTERNAL_API std::vector<TstackFrame> captureStack(int skip, int depth);

/// A demangled C++ symbol name; `symbol` itself when it is not a mangled name.
VELACORE_INTERNAL_API std::string demangle(const char* symbol);

}  // namespace vela::platform
