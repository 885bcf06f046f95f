// The names that the headers' usage examples take as given (the caller's data and functions),
// so that the examples compile as written. Only declarations that the examples need.
#pragma once

#include <velacore/containers/Tarray.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/TiffFile.h>
#include <velacore/files/Ttime.h>
#include <velacore/strings/Tstring.h>
#include <velacore/types/Tmetaclass.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

// The run-time typed classes of Tmetaclass.h's example, declared as a user would (their
// metaclasses are defined in HeaderExamplesTest.cpp).
class Tshape {
  VELA_DECLARE_TYPE(Tshape);

 public:
  virtual ~Tshape();
};
class Tcube : public Tshape {
  VELA_DECLARE_TYPE(Tcube);

 public:
  double fEdge = 1.0;
};

namespace header_examples {

inline void report(const char*) {}
inline void report(const std::string&) {}
template <class... Args>
void load(const Args&...) {}
template <class T>
void print(const T&) {}
inline void fillArray(Tdata&) {}
inline void reload() {}
inline void redrawRulers() {}
template <class T>
void use(const T&) {}
inline void show(const Tstring&) {}
inline void evaluate() {}
inline void refreshTraceMenu() {}
inline void runCodeThatReadsHome() {}
inline void rereadCommands() {}

struct Thing {};
struct Mesh {};
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
inline const unsigned char header[16] = {};
inline TdoubleArray positions;
inline TfloatArray ages;
inline std::vector<double> xs;
inline const std::array<double, 16> scale = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1};
inline void* mesh = nullptr;
inline void* buffer = nullptr;
inline const char* const list[] = {"persp", "top", nullptr};
inline TiffFile file;
inline Tdata data;
inline TiffTag tag("DBLE");
inline unsigned size = 0;
inline const void* cursor = nullptr;
inline Ttime lastLoad;

}  // namespace header_examples
