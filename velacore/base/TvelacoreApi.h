// VELACORE_API: marks what the shared library exports.
//
// The library is built with hidden visibility, so only declarations carrying this macro are
// visible to the programs that link it. Put it on every public class and free function:
//
//   class VELACORE_API Tclock { ... };
//   VELACORE_API const char* VelaGetEnv(const char* name);
//
// Class templates and inline functions need no mark; an explicit instantiation that the
// library provides does (`extern template class VELACORE_API TvalueArray<double>;`).
// Leave internal helpers unmarked: what is not exported cannot be depended upon.
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
