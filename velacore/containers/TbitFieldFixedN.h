// TbitFieldFixedN: a set of a fixed number of bits in 32-bit words that it owns or borrows.
//
// Selection and component code keeps one flag per element in these sets. The words come either
// from the set itself or from the caller (a block inside a larger record, a memory-mapped file),
// and the set remembers which without an extra field: storage always has (N + 32) / 32 words,
// so there is at least one spare bit past bit N - 1, and bit N holds the ownership flag.
//
//   TbitFieldFixedN selected(100, nullptr);      // 100 bits, owned, all clear
//   selected.setBit(3, true).setBit(70, true);
//   selected.bitsSet();                          // 2
//
//   unsigned words[TbitFieldFixedN::bytesNeeded(40) / 4];
//   TbitFieldFixedN view(40, words);             // borrowed: cleared, never freed
//
// Hazards:
// - Indices are not checked in release builds: a bit index must be below bitCount() (debug
//   builds assert). The set cannot report an error, so the caller has to size it right.
// - setBitRange counts bit positions from the most significant end of each word, unlike
//   setBit/testBit, which count from the least significant end. Stored sets depend on this, so
//   it is kept; do not mix the two on the same bits unless that is what you mean.
// - Assigning a set that borrows its words makes this set borrow the same words: both then view
//   one caller-supplied array, which must outlive them.
// - switchArray() and resizeArrayWithCopy() with the current words hand storage over without
//   freeing it; the caller then owns the old words.
#pragma once

#include <velacore/base/Tfootprint.h>
#include <velacore/base/TvelacoreApi.h>

#include <cassert>
#include <cstddef>

class VELACORE_API TbitFieldFixedN {
 public:
  /// @name Construction
  /// An empty set: no bits, no storage.
  TbitFieldFixedN() = default;
  /// A set of `count` clear bits. With `words` null the set allocates and owns its storage;
  /// otherwise it borrows `words`, which must hold elementCount() words and are cleared.
  TbitFieldFixedN(unsigned count, unsigned* words);
  /// A copy: owned words are copied into new storage, borrowed words are shared.
  TbitFieldFixedN(const TbitFieldFixedN& other);
  /// Frees the words when this set owns them.
  ~TbitFieldFixedN();
  /// Makes this set equal to `other` (see the class comment for borrowed words).
  TbitFieldFixedN& operator=(const TbitFieldFixedN& other);

  /// @name Single bits
  /// Bit `i`, counted from the least significant bit of word 0.
  [[nodiscard]] bool testBit(unsigned i) const {
    assert(i < fCount && "TbitFieldFixedN: bit index out of range");
    return (fBits[i >> 5] >> (i & 31)) & 1u;
  }
  [[nodiscard]] bool operator[](unsigned i) const { return testBit(i); }
  /// Sets or clears bit `i`; returns this set so that calls can be chained.
  TbitFieldFixedN& setBit(unsigned i, bool value) {
    assert(i < fCount && "TbitFieldFixedN: bit index out of range");
    const unsigned mask = 1u << (i & 31);
    if (value)
      fBits[i >> 5] |= mask;
    else
      fBits[i >> 5] &= ~mask;
    return *this;
  }
  /// Sets or clears a run of bits under masks counted from the most significant end of each
  /// word: in word first / 32 the bits under ~0u >> (first % 32), in word (first + count) / 32
  /// the bits under ~0u << (31 - (first + count) % 32), and every word in between entirely.
  /// Nothing happens when `count` is 0. first + count must not exceed bitCount().
  void setBitRange(unsigned first, unsigned count, bool value);
  /// Inserts `value` at `i`, moving every bit at or above `i` up by one; the top bit is lost.
  /// Returns the bit that was at `i`.
  bool insertBit(unsigned i, bool value);
  /// Removes bit `i`, moving every bit above it down by one; the top bit becomes clear.
  /// Returns the removed bit.
  bool removeBit(unsigned i);

  /// @name Whole sets
  void setAll();
  void resetAll();
  void invertAll();
  /// Combine with `other` bit by bit over the shorter of the two counts; bits past it are kept.
  TbitFieldFixedN& AND(const TbitFieldFixedN& other);
  TbitFieldFixedN& OR(const TbitFieldFixedN& other);
  TbitFieldFixedN& XOR(const TbitFieldFixedN& other);

  /// @name Queries
  /// Whether any of the bitCount() bits is set.
  [[nodiscard]] bool anySet() const;
  /// Whether some bit is set both here and in `mask` (over the shorter count).
  [[nodiscard]] bool anySet(const TbitFieldFixedN& mask) const;
  /// Whether any of the bitCount() bits is clear.
  [[nodiscard]] bool anyClear() const;
  /// The number of set bits.
  [[nodiscard]] unsigned bitsSet() const;
  /// N, the number of bits.
  [[nodiscard]] unsigned bitCount() const { return fCount; }
  /// Equal counts and equal bits; bits past the count and ownership do not matter.
  [[nodiscard]] bool operator==(const TbitFieldFixedN& other) const;
  [[nodiscard]] bool operator!=(const TbitFieldFixedN& other) const { return !(*this == other); }

  /// @name Storage
  /// Replaces the storage: frees owned words, takes `count`, then borrows `words` or (when null)
  /// allocates; `clear` clears the new words (allocated words always start clear). Given the
  /// current words, they are not freed: the set keeps using them and the caller owns them.
  void resizeArray(unsigned count, unsigned* words, bool clear);
  /// Like resizeArray, but the old bits (up to the smaller count) are kept and the rest clear.
  /// Given the current words, only hands them over: the set stops owning them.
  void resizeArrayWithCopy(unsigned count, unsigned* words);
  /// Replaces count and words without touching either array (nothing is freed or cleared).
  void switchArray(unsigned count, unsigned* words) {
    fCount = count;
    fBits = words;
  }
  /// Copies `other`'s bits into this set's storage up to the smaller count and clears the rest;
  /// the count and ownership of this set stay.
  void clone(const TbitFieldFixedN& other);
  /// The words, or null for an empty set. Bits past bitCount() are not part of the value.
  [[nodiscard]] unsigned* currentArray() { return fBits; }
  [[nodiscard]] const unsigned* currentArray() const { return fBits; }
  /// The number of words in the storage: (N + 32) / 32.
  [[nodiscard]] unsigned elementCount() const { return (fCount + 32) / 32; }
  /// Records this set's memory use.
  void footprint(Footprint& fp) const;
  /// Bytes of storage for `count` bits: 4 * ((count + 32) / 32).
  [[nodiscard]] static constexpr std::size_t bytesNeeded(unsigned count) {
    return ((static_cast<std::size_t>(count) + 32) / 8) & ~std::size_t{3};
  }
  /// Bytes per storage word.
  [[nodiscard]] static constexpr std::size_t elementSize() { return 4; }

 private:
  [[nodiscard]] bool ownBits() const {
    return fBits != nullptr && ((fBits[fCount >> 5] >> (fCount & 31)) & 1u);
  }
  void setBitsOwnership(bool owned);
  /// Frees owned words and leaves the set empty.
  void releaseBits();
  /// Combines the first min(N, other N) bits with `op`.
  template <class Op>
  void combine(const TbitFieldFixedN& other, Op op);

  unsigned fCount = 0;
  unsigned* fBits = nullptr;
};
