// Element-wise arithmetic, comparison and text reading shared by the letters that hold runs of
// numbers (the array letters and the fixed-size tuples: compounds, matrix, spectrum).
//
// A detail of the public headers that include it, installed with them; not to be included on
// its own.
#pragma once

#include <velacore/base/TbigEndian.h>
#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace vela::data_internal {

enum Top { kAdd, kSub, kMul, kDiv };

// A double as element type T: floats as they are, integers truncated toward zero and clamped
// to the type's range (NaN gives 0).
template <class T>
T fromDouble(double v) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(v);
  } else {
    if (std::isnan(v)) return T(0);
    if (v <= double(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
    if (v >= double(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    return T(std::trunc(v));
  }
}

inline double applyDouble(double a, double b, int op) {
  switch (op) {
    case kAdd: return a + b;
    case kSub: return a - b;
    case kMul: return a * b;
    default: return a / b;
  }
}

// Integers combine exactly (wrapping); a division by zero goes through doubles and clamps.
template <class T>
T combine(T a, T b, int op) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(applyDouble(a, b, op));
  } else {
    using U = std::make_unsigned_t<decltype(a + b)>;
    switch (op) {
      case kAdd: return T(U(a) + U(b));
      case kSub: return T(U(a) - U(b));
      case kMul: return T(U(a) * U(b));
      default:
        if (b == 0) return fromDouble<T>(double(a) / 0.0);
        if constexpr (std::is_signed_v<T>) {
          if (b == T(-1) && a == std::numeric_limits<T>::min()) return a;
        }
        return T(a / b);
    }
  }
}

// values[i] = values[i] op other[i] for n elements (other may alias values).
template <class T>
void applyElementwise(T* values, const T* other, std::uint32_t n, int op) {
  for (std::uint32_t i = 0; i < n; ++i) values[i] = combine<T>(values[i], other[i], op);
}

// values[i] = values[i] op scalar. Integer elements with a 64-bit integer scalar that fits
// combine exactly; everything else goes through doubles. Throws for addresses and NULL.
template <class T>
void applyScalar(T* values, std::uint32_t n, const Tdata& scalar, int op) {
  if (scalar.isNULL() || (scalar.flags() & Tdata::kAddress) != 0) throw Tdata::fsDataMismatch;
  if constexpr (!std::is_floating_point_v<T>) {
    if ((scalar.flags() & Tdata::kInt64) != 0) {
      const std::int64_t s = scalar.int64Value();
      if (s >= std::int64_t(std::numeric_limits<T>::min()) &&
          (s < 0 || std::uint64_t(s) <= std::uint64_t(std::numeric_limits<T>::max()))) {
        for (std::uint32_t i = 0; i < n; ++i) values[i] = combine<T>(values[i], T(s), op);
        return;
      }
    }
  }
  const double s = scalar.doubleValue();
  for (std::uint32_t i = 0; i < n; ++i) values[i] = fromDouble<T>(applyDouble(double(values[i]), s, op));
}

// Lexicographic order of two runs: -1, 0, 1, or 2 when an unordered pair (NaN) decides.
template <class T>
int compareRuns(const T* a, std::uint32_t na, const T* b, std::uint32_t nb) {
  for (std::uint32_t i = 0; i < na && i < nb; ++i) {
    if (a[i] < b[i]) return -1;
    if (b[i] < a[i]) return 1;
    if (!(a[i] == b[i])) return 2;
  }
  return na < nb ? -1 : (na > nb ? 1 : 0);
}

// The answer of comparison `op` (0 ==, 1 !=, 2 <, 3 >, 4 <=, 5 >=) from compareRuns.
inline bool compareAnswer(int c, int op) {
  switch (op) {
    case 0: return c == 0;
    case 1: return c != 0;
    case 2: return c == -1;
    case 3: return c == 1;
    case 4: return c == -1 || c == 0;
    default: return c == 1 || c == 0;
  }
}

// One element of type T from the text words (range-checked for integers).
template <class T>
bool readWord(const TargList& args, unsigned& at, T& out) {
  if constexpr (std::is_floating_point_v<T>) {
    double v = 0;
    if (!args.readDouble(at, v)) return false;
    out = T(v);
  } else if constexpr (std::is_signed_v<T>) {
    std::int64_t v = 0;
    unsigned i = at;
    if (!args.readInt64(i, v) || v < std::int64_t(std::numeric_limits<T>::min()) ||
        v > std::int64_t(std::numeric_limits<T>::max()))
      return false;
    out = T(v);
    at = i;
  } else {
    std::uint64_t v = 0;
    unsigned i = at;
    if (!args.readUInt64(i, v) || v > std::uint64_t(std::numeric_limits<T>::max())) return false;
    out = T(v);
    at = i;
  }
  return true;
}

// Byte-swaps n 8-byte or 4-byte words from `from` to `to` (both unaligned), with 32-byte
// vector shuffles when the processor has AVX2.
void swap64(const unsigned char* from, void* to, std::size_t n);
void swap32(const unsigned char* from, void* to, std::size_t n);

// Converts n big-endian elements at `from` into host order at `to`.
template <class T>
void readBigEndian(const unsigned char* from, T* to, std::size_t n) {
  if constexpr (sizeof(T) == 8) {
    swap64(from, to, n);
  } else if constexpr (sizeof(T) == 4) {
    swap32(from, to, n);
  } else {
    std::memcpy(to, from, n * sizeof(T));
    TbigEndian::swapInPlace(to, n);
  }
}

}  // namespace vela::data_internal
