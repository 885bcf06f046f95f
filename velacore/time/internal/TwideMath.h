// Exact tick arithmetic for the time sources: a 128-bit integer wide enough for a product of
// two tick counts, and division that rounds toward minus infinity.
#pragma once

#include <cstdint>

namespace vela::time_internal {

__extension__ typedef __int128 Tint128;

/// a / b rounded toward minus infinity (b != 0); the quotient must fit 64 bits.
inline std::int64_t floorDiv(Tint128 a, Tint128 b) {
  Tint128 q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return static_cast<std::int64_t>(q);
}

/// a modulo m in [0, m) (m > 0).
inline std::int64_t floorMod(Tint128 a, std::int64_t m) {
  Tint128 r = a % m;
  if (r < 0) r += m;
  return static_cast<std::int64_t>(r);
}

}  // namespace vela::time_internal
