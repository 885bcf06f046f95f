// VELACORE_API: marks what the shared library exports.
//
// The library is built with hidden visibility, so only declarations carrying this macro are
// visible to the programs that link it. Put it on every public class and free function:
//
//   class VELACORE_API Tclock { ... };
//   VELACORE_API const char* VelaGetEnv(const char* name);
//
// Class templates and inline functions need no mark; an explicit instantiation that the
// library provides does, on its `extern template` declaration (the definition inherits it)
// (`extern template class VELACORE_API TdataHashTable<Tstring, int>;`). Inline variables that
// inline code of the library and of its users must share need it too (one copy per process).
// Leave internal helpers unmarked: what is not exported cannot be depended upon.
//
// VELACORE_INTERNAL_API: the one exception, the platform layer (velacore/platform/). The
// library's own tests, tools and benchmarks call it directly (its counters describe the state of
// the library they link), so it is exported; its headers are not installed, and nothing outside
// this source tree may use it. Mark nothing else with it: test other internals through the
// public classes, or, for a pure function without state (a parser), build its source into the
// test program too (tests/CMakeLists.txt does so for the debug-command parser).
#pragma once

#if defined(_WIN32)
#  if defined(VELACORE_BUILDING_LIBRARY)
#    define VELACORE_API __declspec(dllexport)
#  else
#    define VELACORE_API __declspec(dllimport)
#  endif
#else
#  define VELACORE_API __attribute__((visibility("default")))
#endif

#define VELACORE_INTERNAL_API VELACORE_API
