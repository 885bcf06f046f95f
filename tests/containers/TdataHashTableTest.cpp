// TdataHashTable against a standard-library model, over random mixes of every operation with
// size locks in between; plus the unique/replace rules and values that own memory.
#include <velacore/containers/TdataHashTable.h>
#include <velacore/platform/TplatformLargePages.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

// Keys from a small domain so that duplicates and removals of present keys are common. The
// unsigned keys are multiples of 1024: with the identity hash they crowd few buckets.
unsigned makeKey(unsigned n, unsigned*) { return n * 1024u; }
Tstring makeKey(unsigned n, Tstring*) { return Tstring::cFormatString("key%u", n); }

struct StdHash {
  std::size_t operator()(unsigned k) const { return k; }
  std::size_t operator()(const Tstring& s) const { return s.hash(); }
};

}  // namespace

TEST(TdataHashTable, InsertUniqueKeepsAndInsertReplaceOverwrites) {
  TdataHashTable<Tstring, int> t(0, 0xFFFFFFFF);
  EXPECT_TRUE(t.insertUnique("cube", 1));
  EXPECT_FALSE(t.insertUnique("cube", 2));
  EXPECT_EQ(*t.find("cube"), 1);
  EXPECT_TRUE(t.insertReplace("cube", 3));
  EXPECT_EQ(*t.find("cube"), 3);
  EXPECT_EQ(t.entryCount(), 1u);
  EXPECT_TRUE(t.insertReplace("sphere", 4));
  EXPECT_EQ(t.entryCount(), 2u);
  EXPECT_TRUE(t.insert("cube", 5));  // a duplicate: found first, removed first
  EXPECT_EQ(*t.find("cube"), 5);
  EXPECT_TRUE(t.remove("cube"));
  EXPECT_EQ(*t.find("cube"), 3);
  int v = 0;
  EXPECT_FALSE(t.find("cone", v));
  EXPECT_EQ(v, 0);
  const auto& ct = t;
  EXPECT_EQ(*ct.find("sphere"), 4);
  EXPECT_EQ(ct.find(Tstring()), nullptr);
}

template <class K>
class TdataHashTableModel : public ::testing::Test {};
using KeyTypes = ::testing::Types<unsigned, Tstring>;
TYPED_TEST_SUITE(TdataHashTableModel, KeyTypes);

// The model keeps, per key, the values in insertion order; the table's first match must be the
// newest. After every step the table's count, every key's lookup and, when unlocked, the load
// policy (between 1/8 and 3/8 full except at the limits) must hold.
TYPED_TEST(TdataHashTableModel, MatchesStandardMapOfValueStacks) {
  using K = TypeParam;
  std::mt19937 rng(7);
  for (int round = 0; round < 4; ++round) {
    const unsigned minSize = round == 3 ? 64 : 0;
    TdataHashTable<K, int> table(minSize, round == 2 ? 256 : 0xFFFFFFFF);
    std::unordered_map<K, std::vector<int>, StdHash> model;
    std::unordered_multimap<K, int, StdHash> multi;  // counts per key, independently kept
    unsigned total = 0, locks = 0;
    for (int step = 0; step < 4000; ++step) {
      const K key = makeKey(rng() % (round == 0 ? 40 : 600), static_cast<K*>(nullptr));
      const int value = static_cast<int>(rng() % 1000);
      std::vector<int>& stack = model[key];
      switch (rng() % 16) {
        case 0: case 1: case 2: case 3:
          ASSERT_TRUE(table.insert(key, value));
          stack.push_back(value);
          multi.emplace(key, value);
          ++total;
          break;
        case 4: case 5:
          ASSERT_EQ(table.insertUnique(key, value), stack.empty());
          if (stack.empty()) {
            stack.push_back(value);
            multi.emplace(key, value);
            ++total;
          }
          break;
        case 6: case 7:
          ASSERT_TRUE(table.insertReplace(key, value));
          if (stack.empty()) {
            multi.emplace(key, value);
            ++total;
            stack.push_back(value);
          } else {
            stack.back() = value;
          }
          break;
        case 8: case 9: case 10: case 11:
          ASSERT_EQ(table.remove(key), !stack.empty());
          if (!stack.empty()) {
            stack.pop_back();
            multi.erase(multi.find(key));
            --total;
          }
          break;
        case 12:
          if (locks < 3 && table.lockSize()) ++locks;
          break;
        case 13:
          ASSERT_EQ(table.unlockSize(), locks > 0);
          if (locks > 0) --locks;
          break;
        case 14:
          if (rng() % 50 == 0) {
            table.reset();
            model.clear();
            multi.clear();
            total = 0;
          }
          break;
        default: {
          int found = -1;
          ASSERT_EQ(table.find(key, found), !stack.empty());
          if (!stack.empty()) { ASSERT_EQ(found, stack.back()); }
          break;
        }
      }
      ASSERT_EQ(table.entryCount(), total);
      ASSERT_EQ(multi.size(), total);
      const std::vector<int>& now = model[key];  // `stack` is gone after a reset
      const int* v = table.find(key);
      ASSERT_EQ(v != nullptr, !now.empty());
      if (v != nullptr) { ASSERT_EQ(*v, now.back()); }
      ASSERT_EQ(multi.count(key), now.size());
      if (locks == 0) {
        const unsigned size = table.tableSize();
        ASSERT_TRUE(total <= size / 8 * 3 || size == table.maxSize()) << total << " in " << size;
        ASSERT_TRUE(total >= size / 8 || size == table.minSize()) << total << " in " << size;
        ASSERT_GE(size, minSize);
      }
    }
    // A full walk sees each entry once.
    std::unordered_map<K, unsigned, StdHash> seen;
    table.forEach([&](const K& k, int&) { ++seen[k]; });
    for (const auto& [k, stack] : model) {
      const auto it = seen.find(k);
      ASSERT_EQ(it == seen.end() ? 0u : it->second, stack.size());
    }
    while (locks-- > 0) (void)table.unlockSize();
  }
}

TEST(TdataHashTable, ValuesThatOwnMemoryAreReleasedOnRemoveResetAndDestruction) {
  // Run under the address sanitizer: every Tstring body must be freed exactly once.
  TdataHashTable<Tstring, Tstring> t(0, 0xFFFFFFFF);
  for (unsigned i = 0; i < 300; ++i)
    t.insert(Tstring::cFormatString("%u", i % 100), Tstring::cFormatString("value %u", i));
  for (unsigned i = 0; i < 50; ++i) ASSERT_TRUE(t.remove(Tstring::cFormatString("%u", i)));
  EXPECT_EQ(*t.find("60"), "value 260");
  t.reset();
  for (unsigned i = 0; i < 40; ++i) t.insertReplace(Tstring::cFormatString("%u", i), "x");
  EXPECT_EQ(t.entryCount(), 40u);
}

// Big tables keep buckets and entry slabs in large-page mappings: grow across that boundary
// and shrink back below it, on two threads at once (the mapping count is process-wide), with
// every lookup checked against a standard set. Everything mapped is given back.
TEST(TdataHashTable, BigTablesCrossTheLargePageBoundaryBothWays) {
  const std::size_t mappedBefore = vela::platform::largePageBytesInUse();
  // Each thread keeps the first failed check (gtest assertions from two threads would be
  // fine, but 240,000 of them are slow); the test reports it by name and key.
  auto run = [](unsigned seed, std::string* firstFailure) {
    auto check = [firstFailure](bool good, const char* what, unsigned key) {
      if (!good && firstFailure->empty())
        *firstFailure = std::string(what) + " failed at key " + std::to_string(key);
    };
    std::mt19937 rng(seed);
    TdataHashTable<unsigned, int> table(0, 0xFFFFFFFF);
    std::unordered_set<unsigned> model;
    const unsigned n = 120000;  // 512 Ki buckets of 8 bytes: 4 MiB, beyond one large page
    while (model.size() < n) {
      const unsigned k = rng();
      if (model.insert(k).second) table.insert(k, static_cast<int>(k ^ seed));
    }
    check(table.entryCount() == n, "entry count after filling", n);
    check(table.tableSize() == 512u * 1024, "table size after filling", table.tableSize());
    check(vela::platform::largePageBytesInUse() > 0, "large pages in use", 0);
    for (unsigned k : model) {
      const int* v = table.find(k);
      check(v != nullptr && *v == static_cast<int>(k ^ seed), "lookup of an inserted key", k);
    }
    for (unsigned i = 0; i < 1000; ++i) {
      const unsigned k = rng();
      check((table.find(k) != nullptr) == (model.count(k) > 0), "lookup of a random key", k);
    }
    // Shrink to small pages again, then refill the freed cells.
    std::vector<unsigned> keys(model.begin(), model.end());
    for (unsigned i = 0; i + 100 < keys.size(); ++i) check(table.remove(keys[i]), "remove", keys[i]);
    check(table.entryCount() == 100, "entry count after removing", table.entryCount());
    check(table.tableSize() <= 1024, "table size after removing", table.tableSize());
    for (unsigned i = 0; i + 100 < keys.size(); i += 7) table.insert(keys[i], 7);
    for (unsigned i = 0; i < keys.size(); ++i) {
      const int* v = table.find(keys[i]);
      const bool present = i + 100 >= keys.size() || i % 7 == 0;
      check((v != nullptr) == present, "presence after refilling", keys[i]);
      if (v != nullptr && i + 100 < keys.size()) check(*v == 7, "refilled value", keys[i]);
    }
  };
  std::string failures[2];
  std::thread other(run, 1u, &failures[1]);
  run(2u, &failures[0]);
  other.join();
  EXPECT_EQ(failures[0], "");
  EXPECT_EQ(failures[1], "");
  EXPECT_EQ(vela::platform::largePageBytesInUse(), mappedBefore);
}

// A Tstring-to-int entry fits 32 bytes (the value fills the gap after the stored hash) and the
// pool lays entries out from line boundaries, so no entry straddles two cache lines.
TEST(TdataHashTable, SmallEntriesStayInOneCacheLine) {
  EXPECT_EQ(sizeof(TdataHashTable<Tstring, int>::Tentry), 32u);
  EXPECT_EQ(sizeof(TdataHashTable<unsigned, int>::Tentry), 32u);
  TdataHashTable<Tstring, int> t(0, 0xFFFFFFFF);
  for (int i = 0; i < 500; ++i) t.insert(Tstring::cFormatString("k%d", i), i);
  std::unordered_set<std::uintptr_t> offsets;
  t.forEach([&](const Tstring&, int& v) {
    offsets.insert(reinterpret_cast<std::uintptr_t>(&v) % 32);
  });
  EXPECT_EQ(offsets.size(), 1u);
}
