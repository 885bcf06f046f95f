// TbitFieldN: a bit set that grows when a bit past its end is set.
//
// For flag sets whose size is not known up front (the debug detail switches, per-type feature
// flags). Bit i lives in word i / 32 at position i % 32; the set holds whole 32-bit words and
// grows by whole words, new words clear.
//
//   TbitFieldN flags;
//   flags.setBit(70, true);   // grows to three words
//   flags.testBit(500);       // false: bits past the end read as clear
//   flags.setBit(500, false); // does nothing: clearing never grows the set
//
// Hazards: a set never shrinks, and comparisons look at words, not at a logical bit count:
// testBits() answers false when this set has fewer words than the other, even when the other's
// extra words are all clear.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <vector>

class VELACORE_API TbitFieldN {
 public:
  /// An empty set (no words).
  TbitFieldN() = default;

  /// Sets or clears bit `i`. Setting a bit past the end first grows the set to word i / 32.
  TbitFieldN& setBit(unsigned i, bool value);
  /// Bit `i`; bits past the end are clear.
  [[nodiscard]] bool testBit(unsigned i) const {
    const std::size_t w = i >> 5;
    return w < fWords.size() && ((fWords[w] >> (i & 31)) & 1u);
  }
  /// Sets every bit of the current words.
  void setAll();
  /// Clears every bit; the words stay.
  void resetAll();
  /// Whether any bit is set.
  [[nodiscard]] bool anySet() const;
  /// Whether any bit of the current words is clear.
  [[nodiscard]] bool anyNotSet() const;
  /// Whether every bit set in `other` is set here; false when this set has fewer words.
  [[nodiscard]] bool testBits(const TbitFieldN& other) const;
  /// Whether some bit set in `other` is clear here, counting `other`'s bits past this end.
  [[nodiscard]] bool testAnyBitsNotSet(const TbitFieldN& other) const;

  /// The number of 32-bit words held.
  [[nodiscard]] unsigned wordCount() const { return static_cast<unsigned>(fWords.size()); }
  /// Word `w` (w < wordCount()).
  [[nodiscard]] unsigned word(unsigned w) const { return fWords[w]; }

 private:
  std::vector<unsigned> fWords;
};
