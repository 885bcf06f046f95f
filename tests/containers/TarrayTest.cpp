// Tarray and the typed value arrays: growth rule, heap/mapped storage, self-insertion, bitwise
// search, copy/catenate sizing, allocation failure, a differential run against std::vector and
// arrays used from several threads.
#include <velacore/base/Texception.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/memory/TmappedMemory.h>

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

namespace {

template <class A>
std::vector<typename A::value_type> contents(const A& a) {
  return {a.begin(), a.end()};
}

}  // namespace

TEST(Tarray, GrowsByIncrementsThenRaisesTheIncrement) {
  TdoubleArray a;
  std::vector<std::uint32_t> capacities, increments;
  for (int i = 0; i < 62; ++i) {
    const std::uint32_t before = a.physicalSize();
    a.addLast(i);
    if (a.physicalSize() != before) {
      capacities.push_back(a.physicalSize());
      increments.push_back(a.sizeIncrement());
    }
  }
  EXPECT_EQ(capacities, (std::vector<std::uint32_t>{8, 16, 24, 32, 40, 51, 62}));
  EXPECT_EQ(increments, (std::vector<std::uint32_t>{8, 8, 8, 8, 11, 11, 14}));
  for (int i = 0; i < 62; ++i) ASSERT_EQ(a[i], i);

  TdoubleArray b;
  b.changeLogicalSizeTo(20);
  EXPECT_EQ(b.physicalSize(), 24u);
  TdoubleArray c(0);  // an increment of 0 grows like 1
  c.addLast(1.0);
  c.addLast(2.0);
  EXPECT_EQ(c.physicalSize(), 2u);
}

TEST(Tarray, StorageKindFollowsTheBlockSizeBothWays) {
  const std::size_t mappedBefore = mmapBytesInUse();
  TdoubleArray a;
  a.changePhysicalSizeTo(8063);  // 64,504 bytes
  EXPECT_FALSE(a.usesMappedMemory());
  EXPECT_EQ(mmapBytesInUse(), mappedBefore);
  for (int i = 0; i < 20000; ++i) a.addLast(i * 0.5);  // crosses 8,064 elements upward
  EXPECT_TRUE(a.usesMappedMemory());
  EXPECT_GT(mmapBytesInUse(), mappedBefore);
  a.changePhysicalSizeTo(8064);  // exactly 64,512 bytes: still mapped
  EXPECT_TRUE(a.usesMappedMemory());
  a.changePhysicalSizeTo(100);  // back to the heap
  EXPECT_FALSE(a.usesMappedMemory());
  EXPECT_EQ(mmapBytesInUse(), mappedBefore);
  ASSERT_EQ(a.size(), 100u);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(a[i], i * 0.5);
  a.createAndSet(2.5, 9000, 16);
  EXPECT_TRUE(a.usesMappedMemory());
  EXPECT_EQ(a.physicalSize(), 9000u);
  EXPECT_EQ(a.sizeIncrement(), 16u);
  EXPECT_EQ(a.last(), 2.5);
}

TEST(Tarray, SelfInsertionInsertsTheRightValues) {
  Tint32Array a;
  for (int i = 0; i < 8; ++i) a.addLast(i * 10);
  a.insert(a[7], 0);  // full: the insertion reallocates under its own argument
  EXPECT_EQ(contents(a), (std::vector<std::int32_t>{70, 0, 10, 20, 30, 40, 50, 60, 70}));
  while (a.size() < a.physicalSize()) a.addLast(-1);
  a.addLast(a[1]);  // full again
  EXPECT_EQ(a.last(), 0);

  Tint32Array b;
  for (int i = 0; i < 3; ++i) b.addLast(i);
  b.insert(b.data() + 1, 2, 0);  // spare capacity: the shift moves the source itself
  EXPECT_EQ(contents(b), (std::vector<std::int32_t>{1, 2, 0, 1, 2}));
  EXPECT_EQ(b.insert(5, 6), -1);  // past the end: refused
  b.catenate(b);
  b.copy(b, 3, 4);
  EXPECT_EQ(contents(b), (std::vector<std::int32_t>{1, 2, 1, 2}));
}

TEST(Tarray, FindAndRemoveCompareBitPatterns) {
  TdoubleArray a;
  a.addLast(-0.0);
  std::uint32_t at = 99;
  EXPECT_EQ(a.find(0.0, at), Tarray::kNotFound);
  EXPECT_EQ(at, 1u);  // the size
  const double nan = std::numeric_limits<double>::quiet_NaN();
  a.addLast(nan);
  EXPECT_EQ(a.find(nan), 1u);
  EXPECT_EQ(a.remove(0.0), Tarray::kNotFound);
  EXPECT_EQ(a.remove(-0.0), 0);
  struct Odd { char bytes[3]; };  // compared byte by byte
  TvalueArray<Odd> odd;
  odd.addLast(Odd{{1, 2, 3}});
  odd.addLast(Odd{{1, 2, 4}});
  EXPECT_EQ(odd.find(Odd{{1, 2, 4}}), 1u);
  EXPECT_EQ(odd.find(Odd{{1, 2, 5}}), Tarray::kNoIndex);
}

TEST(Tarray, RemoveAtAndCopyFollowTheirSizingRules) {
  TuInt16Array a;
  for (std::uint16_t i = 0; i < 12; ++i) a.addLast(i);
  const std::uint32_t capacity = a.physicalSize();
  EXPECT_EQ(a.removeAt(20, 1), 0);  // past the end: nothing, still success
  EXPECT_EQ(a.removeAt(10, 5), 0);  // cut to elements 10 and 11
  EXPECT_EQ(a.size(), 10u);
  EXPECT_EQ(a.physicalSize(), capacity);

  TuInt16Array b;
  b.changePhysicalSizeTo(100);
  b.copy(a, 1, 3);
  EXPECT_EQ(b.physicalSize(), 3u);
  b.catenate(a, 9, 10);  // count cut to what the source has
  EXPECT_EQ(contents(b), (std::vector<std::uint16_t>{1, 2, 3, 9}));
  b.catenate(TuInt16Array());
  EXPECT_EQ(b.size(), 4u);
  b.copy(TuInt16Array());
  EXPECT_FALSE(b.isCreated());

  std::vector<double> big(300000);  // large enough for the parallel block move
  std::iota(big.begin(), big.end(), 0.0);
  TdoubleArray c;
  c.copy(big.data(), static_cast<std::uint32_t>(big.size()));
  const TdoubleArray d(std::move(c));
  EXPECT_TRUE(c.empty());
  EXPECT_EQ(contents(d), big);
  Footprint fp;
  d.footprint(fp);
  EXPECT_EQ(fp.fieldCount(), 5);
  EXPECT_STREQ(fp.field(2).name, "logicalUpperBound");
  EXPECT_EQ(fp.referencedBytes(), big.size() * 8);
}

TEST(Tarray, RefusedAllocationThrowsAndLeavesTheArrayUnchanged) {
  using Huge = std::array<char, 65536>;  // 2^32 - 1 of these fit no address space
  TvalueArray<Huge> a;
  Huge h{};
  h[0] = 'a';
  a.addLast(h);
  a.addLast(h);
  const void* buffer = a.buffer();
  EXPECT_THROW(a.changePhysicalSizeTo(0xFFFFFFFFu), TmemoryException);
  EXPECT_THROW(a.changeLogicalSizeTo(0xFFFFFFF0u), TmemoryException);
  EXPECT_THROW(a.insert(a.data(), 0xFFFFFFFFu, 1), TmemoryException);  // size would overflow
  EXPECT_EQ(a.buffer(), buffer);
  EXPECT_EQ(a.size(), 2u);
  EXPECT_EQ(a.physicalSize(), 8u);
  EXPECT_EQ(a[1][0], 'a');
  TvalueArray<Huge> fresh;
  EXPECT_THROW(fresh.changeLogicalSizeTo(0xFFFFFFF0u), TmemoryException);
  EXPECT_FALSE(fresh.isCreated());
}

TEST(Tarray, AgreesWithStdVectorOverRandomOperations) {
  std::mt19937 rng(12345);
  TuInt32Array a(4);
  std::vector<std::uint32_t> v;
  auto pick = [&](std::size_t n) { return n == 0 ? 0u : static_cast<std::uint32_t>(rng() % n); };
  for (int step = 0; step < 6000; ++step) {
    const auto n = static_cast<std::uint32_t>(v.size());
    const std::uint32_t value = rng() % 64;
    switch (rng() % 11) {
      case 0: case 1: case 2:
        a.addLast(value);
        v.push_back(value);
        break;
      case 3: {
        const std::uint32_t at = pick(n + 1);
        ASSERT_EQ(a.insert(value, at), 0);
        v.insert(v.begin() + at, value);
        break;
      }
      case 4: {
        const std::uint32_t at = pick(n + 3), count = pick(5);
        ASSERT_EQ(a.removeAt(at, count), 0);
        if (at < n) v.erase(v.begin() + at, v.begin() + std::min(n, at + count));
        break;
      }
      case 5: {
        std::uint32_t at = 0;
        const auto it = std::find(v.begin(), v.end(), value);
        ASSERT_EQ(a.find(value, at), it == v.end() ? Tarray::kNotFound : 0);
        ASSERT_EQ(at, std::uint32_t(it - v.begin()));
        if (it != v.end() && rng() % 2) {
          a.remove(value);
          v.erase(it);
        }
        break;
      }
      case 6: {  // a burst that may carry the buffer across the mapped threshold
        const std::vector<std::uint32_t> run(pick(12000), value);
        a.catenate(run.data(), std::uint32_t(run.size()));
        v.insert(v.end(), run.begin(), run.end());
        break;
      }
      case 7: {
        const std::uint32_t start = pick(n + 1), count = pick(n + 1);
        a.copy(TuInt32Array(a), start, count);
        v = std::vector<std::uint32_t>(v.begin() + start, v.begin() + std::min(n, start + count));
        break;
      }
      case 8: {
        const std::uint32_t size = pick(n + 20);
        a.changeLogicalSizeTo(size);
        v.resize(size);
        for (std::uint32_t i = n; i < size; ++i) a[i] = v[i] = i;
        break;
      }
      case 9:
        a.changePhysicalSizeTo(pick(n + 20));
        v.resize(std::min<std::size_t>(v.size(), a.size()));
        break;
      default:
        a.pack();
        ASSERT_EQ(a.physicalSize(), a.size());
        break;
    }
    ASSERT_EQ(a.size(), v.size()) << "step " << step;
    ASSERT_EQ(a.usesMappedMemory(), std::size_t(a.physicalSize()) * 4 >= 64512);
    if (step % 64 == 0) {
      ASSERT_EQ(contents(a), v) << "step " << step;
    }
  }
  EXPECT_EQ(contents(a), v);
}

TEST(Tarray, SeparateArraysGrowInParallelAndSharedOnesReadConcurrently) {
  TdoubleArray shared;
  for (int i = 0; i < 20000; ++i) shared.addLast(i);
  const std::size_t mappedBefore = mmapBytesInUse();
  constexpr int kElements = 10000;  // crosses into mapped memory and back
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &shared, &failures] {
      for (int round = 0; round < 20; ++round) {
        TdoubleArray own;
        for (int i = 0; i < kElements; ++i) own.addLast(i + t);
        TdoubleArray copy;
        copy.copy(own);
        own.changePhysicalSizeTo(10);
        if (copy.last() != kElements - 1 + t || own.size() != 10) ++failures[t];
        if (shared.find(19999.0) != 19999u) ++failures[t];
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
  EXPECT_EQ(mmapBytesInUse(), mappedBefore);
}
