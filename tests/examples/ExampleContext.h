// The names that the headers' usage examples take as given (the caller's data and functions),
// so that the examples compile as written. Only declarations that the examples need.
#pragma once

#include <velacore/containers/Tarray.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/strings/Tstring.h>

#include <cstddef>
#include <vector>

namespace header_examples {

inline void report(const char*) {}
template <class T>
void use(const T&) {}
inline void show(const Tstring&) {}
inline void evaluate() {}
inline void refreshTraceMenu() {}
inline void runCodeThatReadsHome() {}
inline void rereadCommands() {}

struct Thing {};
struct Node {
  int value = 0;
};

inline TdoubleArray values;
inline TdoubleArray ys;
inline std::vector<int> bulk;
inline double x = 1.0;
inline double total = 0.0;
inline int faces = 12;
inline std::size_t count = 4;
inline unsigned n = 4;
inline std::size_t faults = 0;
inline const char* name = "body";
inline unsigned nameLength = 4;
inline const char* word = "VERSION";
inline void* pointer = nullptr;
inline unsigned char chunk[12] = {};

}  // namespace header_examples
