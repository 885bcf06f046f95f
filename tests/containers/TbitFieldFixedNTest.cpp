// TbitFieldFixedN: storage and ownership bit, the most-significant-first range masks, shifts
// across words, owned versus borrowed words, and a differential run against std::vector<bool>.
#include <velacore/containers/TbitFieldFixedN.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

bool ownershipBit(const TbitFieldFixedN& b) {
  const unsigned n = b.bitCount();
  return (b.currentArray()[n / 32] >> (n % 32)) & 1u;
}

std::vector<bool> bitsOf(const TbitFieldFixedN& b) {
  std::vector<bool> v(b.bitCount());
  for (unsigned i = 0; i < b.bitCount(); ++i) v[i] = b.testBit(i);
  return v;
}

}  // namespace

TEST(TbitFieldFixedN, StorageHasASpareWordBitThatHoldsOwnership) {
  TbitFieldFixedN b(32, nullptr);
  EXPECT_EQ(b.elementCount(), 2u);
  EXPECT_EQ(TbitFieldFixedN::bytesNeeded(32), 8u);
  EXPECT_EQ(TbitFieldFixedN::bytesNeeded(31), 4u);
  EXPECT_EQ(TbitFieldFixedN::bytesNeeded(0), 4u);
  EXPECT_EQ(TbitFieldFixedN::elementSize(), 4u);
  EXPECT_EQ(b.currentArray()[0], 0u);
  EXPECT_EQ(b.currentArray()[1], 1u);  // bit 32: owned

  b.setAll();
  EXPECT_EQ(b.bitsSet(), 32u);
  EXPECT_FALSE(b.anyClear());
  EXPECT_TRUE(ownershipBit(b));
  b.invertAll();
  EXPECT_FALSE(b.anySet());
  EXPECT_TRUE(ownershipBit(b));

  for (unsigned n : {1u, 31u, 33u, 63u, 64u, 100u}) {
    TbitFieldFixedN s(n, nullptr);
    s.setAll();
    EXPECT_EQ(s.bitsSet(), n) << n;
    EXPECT_FALSE(s.anyClear()) << n;
    s.setBit(n - 1, false);
    EXPECT_TRUE(s.anyClear()) << n;
    EXPECT_EQ(s.bitsSet(), n - 1) << n;
  }

  TbitFieldFixedN empty;
  EXPECT_EQ(empty.currentArray(), nullptr);
  EXPECT_FALSE(empty.anySet());
  EXPECT_EQ(empty, TbitFieldFixedN(0, nullptr));

  Footprint fp;
  b.footprint(fp);
  EXPECT_EQ(fp.referencedBytes(), 8u);
}

TEST(TbitFieldFixedN, SetBitRangeCountsFromTheMostSignificantEnd) {
  TbitFieldFixedN b(64, nullptr);
  b.setBitRange(0, 1, true);
  EXPECT_EQ(b.currentArray()[0], 0xC0000000u);
  EXPECT_EQ(b.currentArray()[1], 0u);
  b.setBitRange(0, 0, false);  // count 0: nothing
  EXPECT_EQ(b.currentArray()[0], 0xC0000000u);

  b.resetAll();
  b.setBitRange(4, 60, true);  // word 0 under ~0 >> 4, word 1 whole, word 2 under ~0 << 31
  EXPECT_EQ(b.currentArray()[0], 0x0FFFFFFFu);
  EXPECT_EQ(b.currentArray()[1], 0xFFFFFFFFu);
  EXPECT_EQ(b.currentArray()[2], 0x80000001u);  // past the value, and ownership survived
  EXPECT_EQ(b.bitsSet(), 60u);

  TbitFieldFixedN wide(128, nullptr);
  wide.setAll();
  wide.setBitRange(8, 80, false);  // words 0..2: head, one whole word, tail
  EXPECT_EQ(wide.currentArray()[0], 0xFF000000u);
  EXPECT_EQ(wide.currentArray()[1], 0u);
  EXPECT_EQ(wide.currentArray()[2], 0x0000007Fu);
  EXPECT_EQ(wide.currentArray()[3], 0xFFFFFFFFu);

  // A range whose tail mask covers the ownership position keeps the flag.
  unsigned words[2] = {};
  TbitFieldFixedN borrowed(60, words);
  borrowed.setBitRange(32, 28, true);
  EXPECT_FALSE(ownershipBit(borrowed));
  TbitFieldFixedN owned(60, nullptr);
  owned.setBitRange(32, 28, false);
  EXPECT_TRUE(ownershipBit(owned));
}

TEST(TbitFieldFixedN, InsertAndRemoveShiftAcrossWordBoundaries) {
  TbitFieldFixedN full(40, nullptr);
  full.setAll();
  EXPECT_TRUE(full.insertBit(0, true));
  EXPECT_EQ(full.bitsSet(), 40u);
  EXPECT_TRUE(ownershipBit(full));
  EXPECT_TRUE(full.insertBit(5, false));
  EXPECT_EQ(full.bitsSet(), 39u);
  EXPECT_FALSE(full.testBit(5));

  TbitFieldFixedN b(96, nullptr);
  b.setBit(31, true).setBit(63, true);
  EXPECT_TRUE(b.insertBit(31, false));  // bit 31 carries into word 1
  EXPECT_TRUE(b.testBit(32));
  EXPECT_TRUE(b.testBit(64));
  EXPECT_FALSE(b.testBit(31));
  EXPECT_TRUE(b.removeBit(32));  // and back down across the boundary
  EXPECT_TRUE(b.testBit(63));
  EXPECT_EQ(b.bitsSet(), 1u);

  TbitFieldFixedN top(64, nullptr);
  top.setAll();
  EXPECT_TRUE(top.removeBit(63));
  EXPECT_FALSE(top.testBit(63));
  EXPECT_EQ(top.bitsSet(), 63u);
  EXPECT_TRUE(ownershipBit(top));
  EXPECT_TRUE(top.removeBit(0));
  EXPECT_EQ(top.bitsSet(), 62u);
  EXPECT_FALSE(top.testBit(62));
}

TEST(TbitFieldFixedN, BorrowedWordsAreNeverFreedAndAssignmentFollowsOwnership) {
  // Words on the stack and in a vector: freeing either would trip the address sanitizer.
  unsigned stackWords[3] = {0xDEADBEEFu, 0xDEADBEEFu, 0xDEADBEEFu};
  std::vector<unsigned> heapWords(2, 0xFFFFFFFFu);
  {
    TbitFieldFixedN a(70, stackWords);
    EXPECT_EQ(stackWords[0], 0u);  // the caller's words are cleared
    EXPECT_FALSE(ownershipBit(a));
    a.setAll();
    a.invertAll();
    a.setAll();
    EXPECT_FALSE(ownershipBit(a));

    TbitFieldFixedN view(a);  // a borrowed source is shared, not copied
    EXPECT_EQ(view.currentArray(), stackWords);
    view.setBit(1, false);
    EXPECT_FALSE(a.testBit(1));

    TbitFieldFixedN owner(70, nullptr);
    owner = a;  // frees its own words, then views the same array
    EXPECT_EQ(owner.currentArray(), stackWords);

    TbitFieldFixedN other(50, heapWords.data());
    other.resizeArray(70, stackWords, false);
    EXPECT_TRUE(other.testBit(0));
    other.resizeArray(40, nullptr, true);  // back to owned storage
    EXPECT_TRUE(ownershipBit(other));
  }
  {
    TbitFieldFixedN owned(40, nullptr);
    owned.setBit(3, true);
    TbitFieldFixedN copy(owned);
    EXPECT_NE(copy.currentArray(), owned.currentArray());
    EXPECT_EQ(copy, owned);
    EXPECT_TRUE(ownershipBit(copy));

    // Same word count: copied into the present storage, which stays borrowed.
    TbitFieldFixedN into(63, heapWords.data());
    into = owned;
    EXPECT_EQ(into.currentArray(), heapWords.data());
    EXPECT_EQ(into.bitCount(), 40u);
    EXPECT_EQ(into, owned);
    EXPECT_FALSE(ownershipBit(into));
    into = TbitFieldFixedN();
    EXPECT_EQ(into.currentArray(), nullptr);
    EXPECT_EQ(into.bitCount(), 0u);

    // Taking over the current words: the set stops owning them, the caller frees them.
    unsigned* words = owned.currentArray();
    owned.resizeArrayWithCopy(owned.bitCount(), words);
    EXPECT_FALSE(ownershipBit(owned));
    owned.switchArray(0, nullptr);
    delete[] words;
  }
}

#if GTEST_HAS_DEATH_TEST && !defined(NDEBUG)
TEST(TbitFieldFixedNDeathTest, OutOfRangeIndicesAssertInDebugBuilds) {
  TbitFieldFixedN b(10, nullptr);
  EXPECT_DEATH((void)b.testBit(10), "out of range");
  EXPECT_DEATH(b.setBit(32, true), "out of range");
  EXPECT_DEATH(b.setBitRange(5, 6, true), "out of bounds");
}
#endif

// Every operation whose meaning is positional, checked against std::vector<bool>. setBitRange is
// modelled from its masks, one bit position at a time.
TEST(TbitFieldFixedN, MatchesVectorOfBoolOverRandomOperations) {
  std::mt19937 rng(20261121);
  for (int round = 0; round < 40; ++round) {
    const unsigned limit = round % 4 == 0 ? 700 : 140;  // some sets span the block scans
    unsigned n = 1 + rng() % limit;
    std::vector<unsigned> borrowedWords(TbitFieldFixedN::bytesNeeded(n) / 4);
    const bool borrow = round % 3 == 0;
    TbitFieldFixedN b(n, borrow ? borrowedWords.data() : nullptr);
    std::vector<bool> ref(n, false);
    for (int step = 0; step < 300; ++step) {
      const unsigned i = rng() % n;
      const bool v = rng() & 1;
      switch (rng() % 11) {
        case 0:
        case 1:
          b.setBit(i, v);
          ref[i] = v;
          break;
        case 2: {
          const bool old = ref[i];
          ASSERT_EQ(b.insertBit(i, v), old);
          ref.insert(ref.begin() + i, v);
          ref.pop_back();
          break;
        }
        case 3: {
          const bool old = ref[i];
          ASSERT_EQ(b.removeBit(i), old);
          ref.erase(ref.begin() + i);
          ref.push_back(false);
          break;
        }
        case 4: {
          const unsigned count = rng() % (n - i + 1);
          b.setBitRange(i, count, v);
          if (count == 0) break;
          const unsigned end = i + count, a = i / 32, last = end / 32;
          for (unsigned p = a * 32; p < n && p / 32 <= last; ++p) {
            const unsigned fromTop = 31 - p % 32;  // position counted from the top of its word
            if (p / 32 == a && fromTop < i % 32) continue;
            if (p / 32 == last && fromTop > end % 32) continue;
            ref[p] = v;
          }
          break;
        }
        case 5: {
          const unsigned m = 1 + rng() % limit;
          TbitFieldFixedN other(m, nullptr);
          std::vector<bool> oref(m);
          for (unsigned k = 0; k < m; ++k) other.setBit(k, oref[k] = rng() & 1);
          const unsigned common = std::min(n, m);
          bool both = false;
          for (unsigned k = 0; k < common; ++k) both |= ref[k] && oref[k];
          ASSERT_EQ(b.anySet(other), both);
          switch (rng() % 3) {
            case 0: b.AND(other); for (unsigned k = 0; k < common; ++k) ref[k] = ref[k] && oref[k]; break;
            case 1: b.OR(other);  for (unsigned k = 0; k < common; ++k) ref[k] = ref[k] || oref[k]; break;
            default: b.XOR(other); for (unsigned k = 0; k < common; ++k) ref[k] = ref[k] != oref[k]; break;
          }
          break;
        }
        case 6:
          b.invertAll();
          ref.flip();
          break;
        case 7:
          if (v) { b.setAll(); ref.assign(n, true); } else { b.resetAll(); ref.assign(n, false); }
          break;
        case 8: {
          // Resizing keeps the common bits; the new ones start clear.
          const unsigned m = 1 + rng() % limit;
          b.resizeArrayWithCopy(m, nullptr);
          ref.resize(m, false);
          n = m;
          break;
        }
        case 9: {
          const unsigned m = 1 + rng() % limit;
          TbitFieldFixedN other(m, nullptr);
          other.setAll();
          b.clone(other);
          for (unsigned k = 0; k < n; ++k) ref[k] = k < m;
          break;
        }
        default: {
          TbitFieldFixedN copy(b);
          ASSERT_EQ(copy, b);
          copy.setBit(i, !ref[i]);
          if (copy.currentArray() == b.currentArray()) {  // a borrowed array is shared
            ref[i] = !ref[i];
            ASSERT_EQ(copy, b);
          } else {
            ASSERT_NE(copy, b);
          }
          break;
        }
      }
      ASSERT_EQ(bitsOf(b), ref) << "round " << round << " step " << step;
      unsigned count = 0;
      for (bool x : ref) count += x;
      ASSERT_EQ(b.bitsSet(), count);
      ASSERT_EQ(b.anySet(), count != 0);
      ASSERT_EQ(b.anyClear(), count != n);
    }
  }
}
