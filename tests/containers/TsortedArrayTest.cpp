// Sorted arrays: binary search positions, duplicates on and off, insertion at a given place,
// sort after unsorted appends, and a differential run against std::multiset / std::set.
#include <velacore/containers/TtypedSortedArray.h>

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

// Ordered by key only, so that equal elements can still be told apart by their tag.
struct Keyed {
  int key = 0;
  int tag = 0;
};
struct ByKey {
  bool operator()(const Keyed& a, const Keyed& b) const { return a.key < b.key; }
};

template <class A>
std::vector<typename A::value_type> contents(const A& a) {
  return {a.begin(), a.end()};
}

}  // namespace

TEST(TsortedArray, SearchReportsPositionOrInsertionPoint) {
  Tint32SortedArray a;
  std::uint32_t at = 99;
  EXPECT_EQ(a.find(5, at), -1);  // empty: insertion point 0
  EXPECT_EQ(at, 0u);
  for (int v : {30, 10, 20, 40}) EXPECT_EQ(a.insert(v), 0);
  EXPECT_EQ(a.find(99, at), -1);
  EXPECT_EQ(at, 4u);
  EXPECT_EQ(a.find(1), Tint32SortedArray::kNoIndex);
  EXPECT_EQ(a.insert(20), -1);  // no duplicates: refused
  EXPECT_EQ(a.change(0, 35), 0);  // 10 becomes 35 and moves
  EXPECT_EQ(a.change(2, 30), -1);  // would duplicate 30
  EXPECT_EQ(contents(a), (std::vector<std::int32_t>{20, 30, 35, 40}));
}

TEST(TsortedArray, DuplicatesGoBeforeTheFirstEqualElement) {
  TtypedSortedArray<Keyed, ByKey> a(true);
  for (int tag = 0; tag < 5; ++tag) a.insert(Keyed{7, tag});
  a.insert(Keyed{3, 9});
  a.insert(Keyed{9, 9});
  std::uint32_t at, count;
  ASSERT_EQ(a.find(Keyed{7, 0}, at, count), 0);
  EXPECT_EQ(at, 1u);
  EXPECT_EQ(count, 5u);
  std::vector<int> tags;
  for (std::uint32_t i = at; i < at + count; ++i) tags.push_back(a[i].tag);
  EXPECT_EQ(tags, (std::vector<int>{4, 3, 2, 1, 0}));
  a.insert(a[3]);  // an element of the array itself
  EXPECT_EQ(a.size(), 8u);
  EXPECT_EQ(a[1].tag, a[4].tag);
}

TEST(TsortedArray, InsertAtAGivenPlaceRefusesToBreakTheOrder) {
  TuInt32SortedArray unique;
  for (std::uint32_t v : {10u, 20u, 30u}) unique.insert(v);
  EXPECT_EQ(unique.insert(5u, 1), -1);   // 10 <= 5 is false
  EXPECT_EQ(unique.insert(20u, 2), -1);  // equal neighbour without duplicates
  EXPECT_EQ(unique.insert(10u, 0), -1);
  EXPECT_EQ(unique.insert(30u, 3), -1);
  EXPECT_EQ(unique.insert(40u, 4), -1);  // past the end
  EXPECT_EQ(unique.insert(5u, 0), 0);    // front: checked against the next only
  EXPECT_EQ(unique.insert(35u, 4), 0);   // end: checked against the previous only
  EXPECT_EQ(unique.addLast(36u), 0);
  EXPECT_EQ(unique.addLast(1u), -1);
  EXPECT_EQ(contents(unique), (std::vector<std::uint32_t>{5, 10, 20, 30, 35, 36}));

  TuInt32SortedArray dup(true);
  for (std::uint32_t v : {10u, 20u, 30u}) dup.insert(v);
  EXPECT_EQ(dup.insert(20u, 2), 0);  // previous <= value <= next
  EXPECT_EQ(dup.insert(10u, 0), 0);
  EXPECT_EQ(dup.insert(30u, 5), 0);
  EXPECT_EQ(dup.insert(15u, 1), -1);
  EXPECT_EQ(contents(dup), (std::vector<std::uint32_t>{10, 10, 20, 20, 30, 30}));
}

TEST(TsortedArray, SortRestoresOrderAfterUnsortedAppends) {
  TdoubleSortedArray a;
  for (double v : {3.0, 1.0, 2.0, 1.0, -0.5, 3.0}) a.addLastUnsorted(v);
  a.sort();
  EXPECT_EQ(contents(a), (std::vector<double>{-0.5, 1.0, 2.0, 3.0}));  // no duplicates kept

  TtypedSortedArray<std::string> s(true);
  for (const char* v : {"pear", "apple", "fig", "apple"}) s.addLastUnsorted(v);
  s.sort();
  EXPECT_EQ(contents(s), (std::vector<std::string>{"apple", "apple", "fig", "pear"}));
  TtypedSortedArray<std::string> other;
  other.swap(s);  // the duplicates flag travels with the elements
  EXPECT_TRUE(other.duplicatesAllowed());
  EXPECT_FALSE(s.duplicatesAllowed());
}

TEST(TsortedArray, AgreesWithStdMultisetAndSetOverRandomOperations) {
  for (bool duplicates : {true, false}) {
    std::mt19937 rng(duplicates ? 11 : 12);
    Tint64SortedArray a(duplicates, 2);
    std::multiset<std::int64_t> m;
    for (int step = 0; step < 5000; ++step) {
      const std::int64_t v = static_cast<std::int64_t>(rng() % 400) - 200;
      switch (rng() % 7) {
        case 0: case 1: case 2: {
          const bool absent = m.count(v) == 0;
          ASSERT_EQ(a.insert(v), duplicates || absent ? 0 : -1);
          if (duplicates || absent) m.insert(v);
          break;
        }
        case 3: {
          const auto it = m.find(v);
          ASSERT_EQ(a.remove(v), it == m.end() ? -1 : 0);
          if (it != m.end()) m.erase(it);
          break;
        }
        case 4: {
          std::uint32_t at, count;
          const int found = a.find(v, at, count);
          ASSERT_EQ(found, m.count(v) ? 0 : -1);
          ASSERT_EQ(at, std::uint32_t(std::distance(m.begin(), m.lower_bound(v))));
          ASSERT_EQ(count, m.count(v));
          break;
        }
        case 5:
          if (!m.empty()) {
            const auto at = static_cast<std::uint32_t>(rng() % m.size());
            const auto it = std::next(m.begin(), at);
            const bool refused = !duplicates && *it != v && m.count(v) != 0;
            ASSERT_EQ(a.change(at, v), refused ? -1 : 0);
            if (!refused) {
              m.erase(it);
              m.insert(v);
            }
          }
          break;
        default: {  // a run of unsorted appends, then sort
          for (int i = 0; i < 5; ++i) {
            const std::int64_t w = static_cast<std::int64_t>(rng() % 400) - 200;
            a.addLastUnsorted(w);
            if (duplicates || m.count(w) == 0) m.insert(w);
          }
          a.sort();
          break;
        }
      }
      ASSERT_EQ(a.size(), m.size()) << "step " << step;
      if (step % 50 == 0) {
        ASSERT_TRUE(std::equal(m.begin(), m.end(), a.begin())) << "step " << step;
      }
    }
    EXPECT_TRUE(std::equal(m.begin(), m.end(), a.begin()));
  }
}
