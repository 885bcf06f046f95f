// TbitField16, TbitField32, TbitField64, TbitField128: bit sets of one fixed width held by value.
//
// Small flag sets that live inside other objects: no allocation, trivially copyable, the width
// fixed by the type. All four come from one template over the word type and word count.
//
//   TbitField64 visible;
//   visible.setBit(40, true);
//   if (visible.testBit(40)) ...
//   visible.resetAll();
//
// Hazards: indices are not checked in release builds; a bit index must be below kBits (debug
// builds assert).
#pragma once

#include <cassert>
#include <cstdint>

template <class Word, unsigned Words>
class TbitFieldOf {
 public:
  /// The width of the set in bits.
  static constexpr unsigned kBits = sizeof(Word) * 8 * Words;

  /// A set with every bit clear.
  constexpr TbitFieldOf() = default;

  /// Sets or clears bit `i`; returns this set so that calls can be chained.
  TbitFieldOf& setBit(unsigned i, bool value) {
    assert(i < kBits && "TbitField: bit index out of range");
    const Word mask = static_cast<Word>(Word{1} << (i % kWordBits));
    Word& w = fWords[i / kWordBits];
    w = value ? static_cast<Word>(w | mask) : static_cast<Word>(w & ~mask);
    return *this;
  }
  /// Bit `i`, counted from the least significant bit of the first word.
  [[nodiscard]] bool testBit(unsigned i) const {
    assert(i < kBits && "TbitField: bit index out of range");
    return (fWords[i / kWordBits] >> (i % kWordBits)) & 1u;
  }
  /// Sets every bit.
  void setAll() {
    for (Word& w : fWords) w = static_cast<Word>(~Word{0});
  }
  /// Clears every bit.
  void resetAll() {
    for (Word& w : fWords) w = 0;
  }
  /// Whether any bit is set.
  [[nodiscard]] bool anySet() const {
    for (Word w : fWords)
      if (w != 0) return true;
    return false;
  }
  /// Word `k` of the value, least significant first.
  [[nodiscard]] Word word(unsigned k) const { return fWords[k]; }

  [[nodiscard]] bool operator==(const TbitFieldOf& other) const {
    for (unsigned k = 0; k < Words; ++k)
      if (fWords[k] != other.fWords[k]) return false;
    return true;
  }
  [[nodiscard]] bool operator!=(const TbitFieldOf& other) const { return !(*this == other); }

 private:
  static constexpr unsigned kWordBits = sizeof(Word) * 8;
  Word fWords[Words] = {};
};

using TbitField16 = TbitFieldOf<std::uint16_t, 1>;
using TbitField32 = TbitFieldOf<std::uint32_t, 1>;
using TbitField64 = TbitFieldOf<std::uint64_t, 1>;
using TbitField128 = TbitFieldOf<std::uint64_t, 2>;
