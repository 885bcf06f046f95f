// The classic BSD additive feedback generator (the random()/srandom() pair of the BSD and GNU C
// libraries, degree 31): x[i] = x[i-3] + x[i-31] mod 2^32, each result the top 31 bits.
// Seeding fills the state with the minimal-standard multiplicative generator (16807 mod
// 2^31-1) and throws away the first 310 results. Ours, so that skip-list levels are the same on
// every system. Not thread-safe. Everything is constexpr, so a generator with a constant seed
// can be constant-initialised (no start-up code, and a thread_local one needs no guard).
#pragma once

#include <cstdint>

namespace vela::containers_internal {

class TbsdRandom {
 public:
  constexpr explicit TbsdRandom(std::uint32_t seed = 1) { seedWith(seed); }

  /// Restarts the sequence (a seed of 0 counts as 1).
  constexpr void seedWith(std::uint32_t seed) {
    std::int32_t word = seed == 0 ? 1 : static_cast<std::int32_t>(seed);
    fState[0] = static_cast<std::uint32_t>(word);
    for (int i = 1; i < kDegree; ++i) {
      // 16807 * word mod (2^31 - 1) without overflow (Schrage).
      const std::int32_t hi = word / 127773;
      const std::int32_t lo = word % 127773;
      word = 16807 * lo - 2836 * hi;
      if (word < 0) word += 2147483647;
      fState[i] = static_cast<std::uint32_t>(word);
    }
    fFront = kSeparation;
    fRear = 0;
    for (int i = 0; i < 10 * kDegree; ++i) next();
  }

  /// Makes a draw only when `draw` is set, without branching on it: the result the draw gives,
  /// or would give (the state is then left as it was).
  constexpr std::uint32_t nextIf(bool draw) {
    const std::uint32_t old = fState[fFront];
    const std::uint32_t sum = old + fState[fRear];
    // Masks rather than conditions, which compilers like to turn back into branches.
    const std::uint32_t keep = std::uint32_t(draw) - 1u;  // all ones when not drawing
    fState[fFront] = (sum & ~keep) | (old & keep);
    const int step = int(draw);
    fFront += step;
    fRear += step;
    if (fFront == kDegree) fFront = 0;
    if (fRear == kDegree) fRear = 0;
    return sum >> 1;
  }

  /// The next result, 0 to 2^31 - 1.
  constexpr std::uint32_t next() { return nextIf(true); }

 private:
  static constexpr int kDegree = 31;
  static constexpr int kSeparation = 3;
  std::uint32_t fState[kDegree] = {};
  int fFront = 0;
  int fRear = 0;
};

}  // namespace vela::containers_internal
