// ThashTable's load policy, size lock, shallow copies and entry ownership, seen through
// TdataHashTable and through a table with entries of its own.
#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/containers/TdataHashTable.h>
#include <velacore/containers/ThashTable.h>

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace {

using UintTable = TdataHashTable<unsigned, int>;

// A table whose entries come from new, as a lookup table outside TdataHashTable would keep
// them: the core must destroy leftovers through the virtual destructor.
int gLiveEntries = 0;
struct TcountedEntry : ThashTableEntry {
  TcountedEntry() { ++gLiveEntries; }
  ~TcountedEntry() override { --gLiveEntries; }
};
class TcountedTable : public ThashTable {
 public:
  TcountedTable() : ThashTable(0, 0xFFFFFFFF) {}
  void add(unsigned h) { insertWithHash(new TcountedEntry, h); }
};

}  // namespace

TEST(ThashTable, SizesAreRoundedAndGrowAtTheFourthInsertion) {
  UintTable t(0, 0xFFFFFFFF);
  EXPECT_EQ(t.tableSize(), 8u);
  EXPECT_EQ(t.minSize(), 8u);
  EXPECT_EQ(t.maxSize(), 0x80000000u);
  for (unsigned k = 0; k < 3; ++k) t.insert(k, 0);
  EXPECT_EQ(t.tableSize(), 8u);
  t.insert(3, 0);
  EXPECT_EQ(t.tableSize(), 16u);
  EXPECT_EQ(t.entryCount(), 4u);

  UintTable r(10, 20);
  EXPECT_EQ(r.minSize(), 16u);
  EXPECT_EQ(r.maxSize(), 32u);
  UintTable inverted(100, 5);  // the maximum is raised to the minimum
  EXPECT_EQ(inverted.minSize(), 128u);
  EXPECT_EQ(inverted.maxSize(), 128u);
  EXPECT_EQ(ThashTable::tableIndex(16, 0xFFFFFFF5u), 5u);
}

TEST(ThashTable, EqualMinimumAndMaximumNeverResize) {
  UintTable t(16, 16);
  for (unsigned k = 0; k < 1000; ++k) t.insert(k, static_cast<int>(k));
  EXPECT_EQ(t.tableSize(), 16u);
  EXPECT_TRUE(t.resize());
  EXPECT_EQ(t.tableSize(), 16u);
  for (unsigned k = 0; k < 1000; ++k) ASSERT_EQ(*t.find(k), static_cast<int>(k));
  for (unsigned k = 0; k < 1000; ++k) ASSERT_TRUE(t.remove(k));
  EXPECT_EQ(t.tableSize(), 16u);
}

TEST(ThashTable, ShrinkingHalvesDownToTheMinimumOnly) {
  UintTable t(32, 0xFFFFFFFF);
  for (unsigned k = 0; k < 100; ++k) t.insert(k, 0);
  EXPECT_EQ(t.tableSize(), 512u);
  std::vector<unsigned> sizes;
  for (unsigned k = 0; k < 100; ++k) {
    ASSERT_TRUE(t.remove(k));
    if (sizes.empty() || sizes.back() != t.tableSize()) sizes.push_back(t.tableSize());
  }
  EXPECT_EQ(sizes, (std::vector<unsigned>{512, 256, 128, 64, 32}));
  EXPECT_FALSE(t.remove(0));
}

TEST(ThashTable, LockedTablesKeepTheirLayoutAndFitOnUnlock) {
  UintTable t(0, 0xFFFFFFFF);
  EXPECT_FALSE(t.unlockSize());
  ASSERT_TRUE(t.lockSize());
  ASSERT_TRUE(t.lockSize());  // nested
  EXPECT_FALSE(t.resize());
  for (unsigned k = 0; k < 100; ++k) t.insert(k * 977, static_cast<int>(k));
  EXPECT_EQ(t.tableSize(), 8u);
  EXPECT_TRUE(t.unlockSize());
  EXPECT_EQ(t.tableSize(), 8u);  // still locked once
  EXPECT_TRUE(t.unlockSize());
  EXPECT_FALSE(t.isSizeLocked());
  EXPECT_EQ(t.tableSize(), 512u);  // one step: the first size with 100 <= 3/8 of it
  EXPECT_EQ(t.minSize(), 8u);
  for (unsigned k = 0; k < 100; ++k) ASSERT_EQ(*t.find(k * 977), static_cast<int>(k));

  // Removals under the lock do not shrink; the unlock halves as often as needed.
  ASSERT_TRUE(t.lockSize());
  for (unsigned k = 2; k < 100; ++k) ASSERT_TRUE(t.remove(k * 977));
  EXPECT_EQ(t.tableSize(), 512u);
  EXPECT_TRUE(t.unlockSize());
  EXPECT_EQ(t.tableSize(), 16u);
  EXPECT_EQ(*t.find(977), 1);
}

TEST(ThashTable, ResetReturnsToTheMinimumAndTheCoreDeletesLeftoverEntries) {
  UintTable t(0, 0xFFFFFFFF);
  for (unsigned k = 0; k < 20; ++k) t.insert(k, 0);
  ASSERT_EQ(t.tableSize(), 64u);
  t.reset();
  EXPECT_EQ(t.tableSize(), 8u);
  EXPECT_EQ(t.entryCount(), 0u);
  EXPECT_EQ(t.find(3), nullptr);
  t.insert(3, 4);
  EXPECT_EQ(*t.find(3), 4);

  {
    TcountedTable counted;
    for (unsigned h = 0; h < 50; ++h) counted.add(h * 7);
    EXPECT_EQ(gLiveEntries, 50);
    EXPECT_EQ(counted.tableSize(), 256u);
  }
  EXPECT_EQ(gLiveEntries, 0);
}

TEST(ThashTable, CopiesAreViewsThatOwnNothingAndMovesHandOver) {
  TdataHashTable<Tstring, Tstring> source(0, 0xFFFFFFFF);
  source.insert("a", "1");
  source.insert("b", "2");
  {
    TdataHashTable<Tstring, Tstring> view(source);
    ASSERT_NE(view.find("a"), nullptr);
    EXPECT_EQ(view.find("a"), source.find("a"));  // the same entry, not a copy of it
    EXPECT_EQ(view.entryCount(), 2u);
    TdataHashTable<Tstring, Tstring> assigned(0, 0);
    assigned.insert("own", "x");  // destroyed by the assignment
    assigned = source;
    EXPECT_EQ(*assigned.find("b"), "2");
    assigned.reset();  // detaches: the source keeps its entries
    EXPECT_EQ(assigned.entryCount(), 0u);
    EXPECT_EQ(assigned.find("a"), nullptr);
    source = view;  // assigning a view back to its original changes nothing
    EXPECT_EQ(source.entryCount(), 2u);
  }  // destroying the views frees nothing (the sanitizers check)
  EXPECT_EQ(*source.find("a"), "1");

  TdataHashTable<Tstring, Tstring> moved(std::move(source));
  EXPECT_EQ(*moved.find("b"), "2");
  EXPECT_EQ(source.entryCount(), 0u);  // NOLINT(bugprone-use-after-move): moved-from is empty
  source.insert("c", "3");
  EXPECT_EQ(*source.find("c"), "3");
  source = std::move(moved);
  EXPECT_EQ(*source.find("a"), "1");
  EXPECT_EQ(source.find("c"), nullptr);

  Footprint fp;
  source.footprint(fp);
  EXPECT_GE(fp.referencedBytes(), 8 * sizeof(void*) + 2 * sizeof(ThashTableEntry));
}

// Moves never throw, so a growing std::vector moves its tables instead of copying them (a copy
// is a view: the vector would destroy the owners and keep views of freed chains). An emptied
// table has no bucket array and works as a new one.
TEST(ThashTable, MovesNeverThrowSoVectorsOfTablesGrow) {
  using Table = TdataHashTable<Tstring, int>;
  static_assert(std::is_nothrow_move_constructible<Table>::value, "");
  static_assert(std::is_nothrow_move_assignable<Table>::value, "");
  static_assert(std::is_nothrow_move_constructible<ThashTable>::value, "");

  std::vector<Table> tables;
  for (int t = 0; t < 40; ++t) {  // many reallocations
    tables.emplace_back(0, 0xFFFFFFFF);
    for (int k = 0; k <= t; ++k) tables.back().insert(Tstring::cFormatString("%d.%d", t, k), k);
  }
  for (int t = 0; t < 40; ++t) {
    ASSERT_EQ(tables[t].entryCount(), static_cast<unsigned>(t + 1));
    for (int k = 0; k <= t; ++k) {
      const int* v = tables[t].find(Tstring::cFormatString("%d.%d", t, k));
      ASSERT_NE(v, nullptr) << t << "." << k;
      EXPECT_EQ(*v, k);
    }
    tables[t].insert("more", -1);  // still owners: they may change
  }
  tables.erase(tables.begin(), tables.begin() + 20);  // move-assigns the rest forward
  EXPECT_EQ(*tables[0].find("20.20"), 20);

  Table emptied = std::move(tables[1]);
  Table& source = tables[1];  // NOLINT(bugprone-use-after-move): an emptied table is usable
  EXPECT_EQ(source.entryCount(), 0u);
  EXPECT_EQ(source.tableSize(), 0u);
  EXPECT_EQ(source.find("21.0"), nullptr);
  EXPECT_FALSE(source.remove("21.0"));
  EXPECT_TRUE(source.resize());
  int visited = 0;
  source.forEach([&](const Tstring&, int&) { ++visited; });
  EXPECT_EQ(visited, 0);
  Table view(source);  // a view of nothing
  EXPECT_EQ(view.find("x"), nullptr);
  Table second(std::move(source));  // moving an emptied table
  EXPECT_EQ(second.tableSize(), 0u);
  for (int k = 0; k < 10; ++k) source.insert(Tstring::cFormatString("%d", k), k);
  EXPECT_EQ(source.tableSize(), 32u);  // a new table from its minimum
  EXPECT_EQ(*source.find("9"), 9);
  EXPECT_EQ(*emptied.find("21.3"), 3);
  EXPECT_TRUE(second.lockSize());
  EXPECT_EQ(second.tableSize(), 8u);
  second.insert("a", 1);
  EXPECT_TRUE(second.unlockSize());
  EXPECT_EQ(*second.find("a"), 1);
  second = std::move(emptied);
  EXPECT_EQ(second.entryCount(), 23u);
}

TEST(ThashTable, PointerKeysHashTheAddress) {
  TdataHashTable<void*, Tstring> names(0, 0xFFFFFFFF);
  std::vector<int> objects(200);
  for (int& o : objects) names.insert(&o, Tstring::cFormatString("obj%d", static_cast<int>(&o - objects.data())));
  EXPECT_EQ(names.entryCount(), 200u);
  Tstring name;
  ASSERT_TRUE(names.find(&objects[123], name));
  EXPECT_EQ(name, "obj123");
  EXPECT_FALSE(names.find(nullptr, name));
}

// Separate tables on separate threads share nothing; a shared table works under its users'
// lock, as the letter registry uses it.
TEST(ThashTable, TablesOnThreadsShareNoHiddenState) {
  TdataHashTable<unsigned, int> shared(0, 0xFFFFFFFF);
  TmtSpinCriticalSection lock;
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      TdataHashTable<Tstring, int> own(0, 0xFFFFFFFF);
      for (unsigned k = 0; k < 2000; ++k) {
        own.insert(Tstring::cFormatString("%u", k), static_cast<int>(k));
        if (k % 3 == 0) (void)own.remove(Tstring::cFormatString("%u", k / 2));
        TmtScopedLock guard(lock);
        shared.insert(t * 10000 + k, static_cast<int>(t));
      }
      EXPECT_EQ(*own.find("1999"), 1999);
      own.reset();
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(shared.entryCount(), 8000u);
  EXPECT_EQ(*shared.find(3 * 10000 + 5), 3);
}
