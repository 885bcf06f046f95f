#include <velacore/containers/TindexDictionary.h>
#include <velacore/containers/internal/TbsdRandom.h>
#include <velacore/memory/TasanPoison.h>
#include <velacore/platform/TplatformLargePages.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace {

using vela::containers_internal::TbsdRandom;

// Checks the skip-list shape: every level sorted and a subsequence of the level below, the
// level count equal to the highest level in use, nothing linked above it. Returns the nodes.
template <class Dict>
std::size_t checkShape(Dict& d) {
  const int levels = d.levelCount();
  EXPECT_GE(levels, 0);
  EXPECT_LE(levels, Tdictionary::kMaxLevel);
  for (int l = levels; l < Tdictionary::kMaxLevel; ++l) EXPECT_EQ(d.forward(l), nullptr);
  if (levels > 0) {
    EXPECT_NE(d.forward(levels - 1), nullptr) << "top level in use";
  }
  std::size_t count = 0;
  for (int l = levels - 1; l >= 0; --l) {
    TdictionaryNode* below = d.forward(l > 0 ? l - 1 : 0);
    std::size_t here = 0;
    for (TdictionaryNode* n = d.forward(l); n != nullptr; n = n->forward(l)) {
      TdictionaryNode* after = n->forward(l);
      if (after != nullptr) {
        EXPECT_LE(n->compare(*after), 0);
      }
      if (l > 0) {  // n must also be on the level below, further on
        while (below != nullptr && below != n) below = below->forward(l - 1);
        EXPECT_EQ(below, n);
      }
      ++here;
    }
    if (l == 0) count = here;
  }
  return count;
}

// A node of its own, handled by the untyped (virtual) algorithms; counts live objects.
class TcountedNode : public TdictionaryNodeOf<std::uint32_t, std::uint32_t, TcountedNode> {
  VELA_DECLARE_TYPE(TcountedNode);

 public:
  TcountedNode() { ++sLive; }
  TcountedNode(const std::uint32_t& key, const std::uint32_t& value)
      : TdictionaryNodeOf(key, value) {
    ++sLive;
  }
  ~TcountedNode() override { --sLive; }
  static int compareKeys(const std::uint32_t& a, const std::uint32_t& b) {
    return (a > b) - (a < b);
  }
  static inline int sLive = 0;
};

// Exposes the untyped algorithms.
class TcountedDictionary : public Tdictionary {
 public:
  TcountedNode* add(std::uint32_t key, std::uint32_t value, Tbookmark* mark) {
    TcountedNode probe(key, value);
    auto* node = mark ? insertNode(probe, *mark) : insertNode(probe);
    return static_cast<TcountedNode*>(node);
  }
  TcountedNode* find(std::uint32_t key, Tbookmark* mark) {
    TcountedNode probe(key, 0);
    return static_cast<TcountedNode*>(mark ? searchNode(probe, *mark) : searchNode(probe));
  }
  bool drop(std::uint32_t key) {
    TcountedNode probe(key, 0);
    return removeNode(probe);
  }
};

// A node whose key needs 16-byte alignment, more than node pages give.
struct alignas(16) TwideKey {
  std::uint64_t fHigh = 0;
  std::uint64_t fLow = 0;
};
class TwideNode : public TdictionaryNodeOf<TwideKey, std::uint32_t, TwideNode> {
  VELA_DECLARE_TYPE(TwideNode);

 public:
  using TdictionaryNodeOf::TdictionaryNodeOf;
  static int compareKeys(const TwideKey& a, const TwideKey& b) {
    return (a.fLow > b.fLow) - (a.fLow < b.fLow);
  }
};

}  // namespace

VELA_DEFINE_TYPE(TcountedNode, TdictionaryNode);
VELA_DEFINE_TYPE(TwideNode, TdictionaryNode);

TEST(TbsdRandom, PublishedSequence) {
  // The well-known first results of the BSD/GNU random() after srandom(1).
  TbsdRandom r(1);
  const std::uint32_t expected[] = {1804289383u, 846930886u, 1681692777u, 1714636915u,
                                    1957747793u, 424238335u, 719885386u, 1649760492u,
                                    596516649u, 1189641421u};
  for (std::uint32_t e : expected) EXPECT_EQ(r.next(), e);
  TbsdRandom zero(0);  // 0 seeds as 1
  EXPECT_EQ(zero.nextIf(false), 1804289383u);  // a look only
  EXPECT_EQ(zero.nextIf(true), 1804289383u);
  EXPECT_EQ(zero.next(), 846930886u);
  // Results stay within 31 bits and come out with about the right frequency below 2^29.
  TbsdRandom s(1013904223u);
  int low = 0;
  for (int i = 0; i < 40000; ++i) {
    const std::uint32_t v = s.next();
    ASSERT_LT(v, 0x80000000u);
    low += v < 0x20000000u;
  }
  EXPECT_GT(low, 9000);
  EXPECT_LT(low, 11000);
}

TEST(TindexDictionary, EdgeCases) {
  TindexDictionary d;
  EXPECT_EQ(d.levelCount(), 0);
  EXPECT_EQ(d.first(), nullptr);
  EXPECT_EQ(d.search(1), nullptr);
  EXPECT_FALSE(d.remove(1));
  EXPECT_EQ(TindexDictionary::next(nullptr), nullptr);

  TindexDictionaryNode* one = d.insert(5, 50);
  EXPECT_EQ(d.levelCount(), 1);  // the first node always has level 1
  EXPECT_EQ(d.first(), one);
  EXPECT_EQ(TindexDictionary::next(one), nullptr);

  // Equal keys: the later one is found first and removed first.
  TindexDictionaryNode* two = d.insert(5, 51);
  EXPECT_EQ(d.first(), two);
  EXPECT_EQ(*d.search(5), 51u);
  EXPECT_TRUE(d.remove(5));
  EXPECT_EQ(*d.search(5), 50u);
  EXPECT_EQ(d.findNode(5), one);
  *d.search(5) = 7;
  EXPECT_EQ(one->data(), 7u);

  // Removing the only node of the top level lowers the level count.
  for (std::uint32_t k = 0; d.levelCount() < 3; ++k) d.insert(100 + k, k);
  TdictionaryNode* top = d.forward(2);
  ASSERT_NE(top, nullptr);
  std::uint32_t topKey = static_cast<TindexDictionaryNode*>(top)->key();
  if (top->forward(2) == nullptr) {
    EXPECT_TRUE(d.remove(topKey));
    EXPECT_LT(d.levelCount(), 3);
  }
  checkShape(d);
  d.reset();
  EXPECT_EQ(d.levelCount(), 0);
  EXPECT_EQ(d.first(), nullptr);
  // The type protocol of the dictionaries.
  EXPECT_TRUE(d.typeof()->isa(TdictionaryNode::sTypeof()));
  EXPECT_EQ(Tdictionary::sTypeof()->size(), 144u);
  EXPECT_EQ(TindexDictionaryNode::sTypeof()->size(), 24u);
  EXPECT_TRUE(TdictionaryNode::sTypeof()->isAbstract());
}

TEST(TindexDictionary, BookmarkAfterUnrelatedSearch) {
  TindexDictionary d;
  for (std::uint32_t k = 0; k < 2000; k += 2) d.insert(k, k + 1);
  Tbookmark mark;
  ASSERT_NE(d.search(1500, mark), nullptr);
  EXPECT_EQ(*d.search(1500, mark), 1501u);
  EXPECT_EQ(*d.search(10, mark), 11u);  // behind the bookmark
  EXPECT_EQ(*d.search(1998, mark), 1999u);
  EXPECT_EQ(d.search(1999, mark), nullptr);
  EXPECT_EQ(*d.search(0, mark), 1u);
  EXPECT_EQ(d.search(5000, mark), nullptr);
  EXPECT_EQ(*d.search(1000, mark), 1001u);
}

// Tens of thousands of random inserts, searches and removals with many duplicate keys, against
// std::multimap with insertion before equal keys; with and without bookmarks.
template <class Dict, class Ops>
void differential(Dict& d, const Ops& ops, bool bookmarks, unsigned seed) {
  std::multimap<std::uint32_t, std::uint32_t> peer;
  std::mt19937 gen(seed);
  Tbookmark mark;
  std::uint32_t cursor = 0;
  for (int step = 0; step < 30000; ++step) {
    const unsigned what = gen() % 10;
    // Keys: mostly a slowly moving cursor (what bookmarks are for), sometimes anywhere.
    std::uint32_t key = gen() % 4 == 0 ? gen() % 3000 : (cursor += gen() % 3) % 3000;
    Tbookmark* m = bookmarks ? &mark : nullptr;
    if (what < 5) {
      const std::uint32_t value = std::uint32_t(step);
      ops.insert(d, key, value, m);
      peer.emplace_hint(peer.lower_bound(key), key, value);
    } else if (what < 8) {
      const std::uint32_t* got = ops.search(d, key, m);
      auto it = peer.lower_bound(key);
      if (it == peer.end() || it->first != key) {
        ASSERT_EQ(got, nullptr) << key;
      } else {
        ASSERT_NE(got, nullptr) << key;
        ASSERT_EQ(*got, it->second) << key;
      }
    } else {
      auto it = peer.lower_bound(key);
      const bool present = it != peer.end() && it->first == key;
      ASSERT_EQ(ops.remove(d, key), present) << key;
      if (present) peer.erase(it);
      mark.reset();  // a removal may leave the bookmark on the removed node
    }
    if (step % 5000 == 0) {
      ASSERT_EQ(checkShape(d), peer.size());
    }
  }
  ASSERT_EQ(checkShape(d), peer.size());
  auto it = peer.begin();
  for (TdictionaryNode* n = d.forward(0); n != nullptr; n = n->forward(0), ++it) {
    ASSERT_NE(it, peer.end());
    const auto* node = static_cast<TdictionaryNodeOf<std::uint32_t, std::uint32_t,
                                                     typename Ops::Node>*>(n);
    ASSERT_EQ(node->key(), it->first);
    ASSERT_EQ(node->data(), it->second);
  }
  EXPECT_EQ(it, peer.end());
}

struct TtypedOps {
  using Node = TindexDictionaryNode;
  void insert(TindexDictionary& d, std::uint32_t k, std::uint32_t v, Tbookmark* m) const {
    if (m) d.insert(k, v, *m); else d.insert(k, v);
  }
  const std::uint32_t* search(TindexDictionary& d, std::uint32_t k, Tbookmark* m) const {
    return m ? d.search(k, *m) : d.search(k);
  }
  bool remove(TindexDictionary& d, std::uint32_t k) const { return d.remove(k); }
};

struct TvirtualOps {
  using Node = TcountedNode;
  void insert(TcountedDictionary& d, std::uint32_t k, std::uint32_t v, Tbookmark* m) const {
    d.add(k, v, m);
  }
  const std::uint32_t* search(TcountedDictionary& d, std::uint32_t k, Tbookmark* m) const {
    TcountedNode* n = d.find(k, m);
    return n ? &n->data() : nullptr;
  }
  bool remove(TcountedDictionary& d, std::uint32_t k) const { return d.drop(k); }
};

TEST(TindexDictionary, DifferentialAgainstMultimap) {
  for (bool bookmarks : {false, true}) {
    TindexDictionary d;
    ASSERT_NO_FATAL_FAILURE(differential(d, TtypedOps(), bookmarks, bookmarks ? 7u : 3u));
    // Half the steps insert and a fifth remove, so thousands of entries must remain.
    EXPECT_GT(checkShape(d), 5000u);
  }
}

// The floor search (first equal key, else the last key below) against std::multimap, among
// insertions and removals, with and without a bookmark.
TEST(TindexDictionary, LastNotAboveAgainstMultimap) {
  for (bool bookmarks : {false, true}) {
    TindexDictionary d;
    std::multimap<std::uint32_t, std::uint32_t> peer;
    std::mt19937 gen(11);
    Tbookmark mark;
    EXPECT_EQ(d.findLastNotAbove(5), nullptr);
    for (std::uint32_t step = 0; step < 20000; ++step) {
      const std::uint32_t key = gen() % 2000;
      const unsigned what = gen() % 4;
      if (what == 0) {
        if (bookmarks) d.insert(key, step, mark); else d.insert(key, step);
        peer.emplace_hint(peer.lower_bound(key), key, step);
        continue;
      }
      auto it = peer.lower_bound(key);
      const bool present = it != peer.end() && it->first == key;
      if (what == 1) {
        ASSERT_EQ(d.remove(key), present) << key;
        if (present) peer.erase(it);
        mark.reset();
        continue;
      }
      TindexDictionaryNode* got = bookmarks ? d.findLastNotAbove(key, mark) : d.findLastNotAbove(key);
      if (!present && it == peer.begin()) {
        ASSERT_EQ(got, nullptr) << key;
        continue;
      }
      if (!present) --it;
      ASSERT_NE(got, nullptr) << key;
      ASSERT_EQ(got->key(), it->first) << key;
      ASSERT_EQ(got->data(), it->second) << key;
    }
  }
}

TEST(Tdictionary, VirtualPathDifferentialFreesEveryNode) {
  for (bool bookmarks : {false, true}) {
    {
      TcountedDictionary d;
      ASSERT_NO_FATAL_FAILURE(differential(d, TvirtualOps(), bookmarks, bookmarks ? 11u : 5u));
      std::size_t nodes = checkShape(d);
      EXPECT_EQ(TcountedNode::sLive, int(nodes));
    }
    EXPECT_EQ(TcountedNode::sLive, 0);  // the destructor freed every node
  }
}

TEST(TindexDictionary, AscendingBookmarkedInsertion) {
  TindexDictionary d;
  Tbookmark mark;
  for (std::uint32_t k = 0; k < 20000; ++k) d.insert(k, ~k, mark);
  // Something inserted without the bookmark in between, then more with it.
  d.insert(20005, 1);
  for (std::uint32_t k = 20000; k < 20010; ++k) d.insert(k, ~k, mark);
  EXPECT_EQ(checkShape(d), 20011u);
  std::uint32_t expect = 0;
  for (auto* n = d.first(); n != nullptr; n = TindexDictionary::next(n)) {
    if (n->key() == 20005 && n->data() == 1) continue;
    ASSERT_EQ(n->key(), expect++);
  }
  EXPECT_GT(d.levelCount(), 4);
  Tbookmark look;
  for (std::uint32_t k = 0; k < 20000; ++k) ASSERT_EQ(*d.search(k, look), ~k);
}

// Levels come from a per-thread generator seeded with 1013904223: a thread that builds a
// dictionary from its start sees exactly the levels the rule gives on the published sequence,
// whatever other threads draw meanwhile. Two threads run at once (and under ThreadSanitizer).
TEST(Tdictionary, LevelSequencePerThread) {
  constexpr std::uint32_t kKeys = 5000;
  auto build = [](std::vector<int>& levels) {
    TindexDictionary d;
    Tbookmark mark;
    for (std::uint32_t k = 0; k < kKeys; ++k) {
      if (k % 3 == 0) d.insert(k, 0); else d.insert(k, 0, mark);
    }
    levels.assign(kKeys, 0);
    for (int l = 0; l < d.levelCount(); ++l)
      for (TdictionaryNode* n = d.forward(l); n != nullptr; n = n->forward(l))
        ++levels[static_cast<TindexDictionaryNode*>(n)->key()];
    // Dictionaries large enough for node pages of their own, made and destroyed while the
    // other thread does the same.
    for (int round = 0; round < 50; ++round) {
      TindexDictionary other;
      for (std::uint32_t k = 0; k < 300; ++k) other.insert(k, k);
      EXPECT_GT(other.reservedBytes(), 0u);
    }
  };
  std::vector<int> expected;
  TbsdRandom r(1013904223u);
  int top = 0;
  for (std::uint32_t k = 0; k < kKeys; ++k) {
    int level = 1;
    while (static_cast<std::uint32_t>(r.next() * 2u) < 0x40000000u && level <= top) ++level;
    if (level > top) top = level;
    expected.push_back(level);
  }
  std::vector<int> first, second;
  std::thread a([&] { build(first); });
  std::thread b([&] { build(second); });
  a.join();
  b.join();
  EXPECT_EQ(first, expected);
  EXPECT_EQ(second, expected);
  EXPECT_GT(top, 4);
}

// A typed dictionary of counted nodes that also exposes the untyped (virtual) algorithms, so
// that heap nodes made by clone() and nodes from the dictionary's pages live side by side.
class TpooledCountedDictionary : public TdictionaryOf<TcountedNode> {
 public:
  void addUntyped(std::uint32_t key) {
    TcountedNode probe(key, key);
    insertNode(probe);
  }
  bool dropUntyped(std::uint32_t key) {
    TcountedNode probe(key, 0);
    return removeNode(probe);
  }
};

TEST(TdictionaryOf, NodePagesAreReusedAndFreed) {
  const int before = TcountedNode::sLive;
  {
    TpooledCountedDictionary d;
    for (std::uint32_t k = 0; k < 4000; ++k) {
      const std::uint32_t key = (k * 7919u) % 4000u;
      if (k % 5 == 0) d.addUntyped(key); else d.insert(key, key);
    }
    EXPECT_GT(d.reservedBytes(), 0u);
    // Removals by either path, of nodes of either kind, then as many insertions again: the
    // freed blocks are taken again, so the pages do not grow.
    for (std::uint32_t key = 0; key < 4000; key += 2) {
      ASSERT_TRUE(key % 4 == 0 ? d.dropUntyped(key) : d.remove(key));
    }
    const std::size_t reserved = d.reservedBytes();
    for (std::uint32_t key = 0; key < 4000; key += 2) d.insert(key, key + 1);
    for (int round = 0; round < 20000; ++round) {
      d.insert(5000, 0);
      ASSERT_TRUE(d.remove(5000));
    }
    EXPECT_LE(d.reservedBytes(), reserved + 4 * TdictionaryNodePool::kPageBytes);
    EXPECT_EQ(checkShape(d), 4000u);
    EXPECT_EQ(TcountedNode::sLive - before, 4000);

    // A reset, even through the base class, frees every node and gives the pages back; the
    // dictionary starts small again.
    static_cast<Tdictionary&>(d).reset();
    EXPECT_EQ(TcountedNode::sLive, before);
    EXPECT_EQ(d.reservedBytes(), 0u);
    for (std::uint32_t k = 0; k < TdictionaryOf<TcountedNode>::kHeapNodes; ++k) d.insert(k, k);
    EXPECT_EQ(d.reservedBytes(), 0u);
    d.reset();
    for (std::uint32_t k = 0; k < 3000; ++k) d.insert(k, k);
    EXPECT_EQ(checkShape(d), 3000u);
  }
  EXPECT_EQ(TcountedNode::sLive, before);  // the destructor freed nodes of both kinds

  // A dictionary built on one thread, handed over, then changed and destroyed on another (its
  // pages belong to the dictionary, not to the thread that made them).
  TindexDictionary* handed = nullptr;
  std::thread maker([&] {
    handed = new TindexDictionary();
    for (std::uint32_t k = 0; k < 3000; ++k) handed->insert(k, k);
  });
  maker.join();
  for (std::uint32_t k = 0; k < 3000; k += 3) ASSERT_TRUE(handed->remove(k));
  for (std::uint32_t k = 5000; k < 6000; ++k) handed->insert(k, k);
  EXPECT_EQ(checkShape(*handed), 3000u);
  delete handed;
}

// Nodes that need more alignment than node pages give stay heap blocks of their own.
TEST(TdictionaryOf, OverAlignedNodesStayOnTheHeap) {
  TdictionaryOf<TwideNode> d;
  for (std::uint64_t k = 0; k < 1000; ++k) d.insert(TwideKey{0, k * 3}, std::uint32_t(k));
  EXPECT_EQ(d.reservedBytes(), 0u);
  std::uint64_t expect = 0;
  for (TwideNode* n = d.first(); n != nullptr; n = TdictionaryOf<TwideNode>::next(n)) {
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(&n->key()) % 16, 0u);
    ASSERT_EQ(n->key().fLow, expect);
    expect += 3;
  }
  EXPECT_EQ(expect, 3000u);
}

// Past a large page's worth of small chunks, node pages come from large pages (when the system
// grants them); removals and reinsertions there behave, and destruction unmaps them all.
TEST(TdictionaryOf, BigDictionaryOnLargePages) {
  const std::size_t mappedBefore = vela::platform::largePageBytesInUse();
  {
    TindexDictionary d;
    Tbookmark mark;
    constexpr std::uint32_t kKeys = 200000;
    for (std::uint32_t k = 0; k < kKeys; ++k) d.insert(k, k, mark);
    EXPECT_GT(d.reservedBytes(), vela::platform::largePageSize());
    EXPECT_GE(vela::platform::largePageBytesInUse(), mappedBefore);
    for (std::uint32_t k = 0; k < kKeys; k += 2) ASSERT_TRUE(d.remove(k));
    for (std::uint32_t k = 0; k < kKeys; k += 4) d.insert(k, k + 1);
    ASSERT_EQ(checkShape(d), kKeys / 2 + kKeys / 4);
    std::uint32_t k = 0;
    for (auto* n = d.first(); n != nullptr; n = TindexDictionary::next(n)) {
      while (k % 2 == 0 && k % 4 != 0) ++k;
      ASSERT_EQ(n->key(), k);
      ASSERT_EQ(n->data(), k % 4 == 0 ? k + 1 : k);
      ++k;
    }
  }
  EXPECT_EQ(vela::platform::largePageBytesInUse(), mappedBefore);
}

// A removed node's block is poisoned while it waits on its free list: a read through a stale
// node pointer is reported at once. Needs an AddressSanitizer build with death tests.
TEST(TdictionaryOf, RemovedNodeIsPoisoned) {
  if (!TasanPoison::kEnabled || !GTEST_HAS_DEATH_TEST) GTEST_SKIP() << "needs AddressSanitizer";
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  TindexDictionary d;
  for (std::uint32_t k = 0; k < 1000; ++k) d.insert(k, k);
  // A level-1 node made after the first kHeapNodes: it lives in a node page.
  std::vector<bool> tall(1000);
  for (TdictionaryNode* n = d.forward(1); n != nullptr; n = n->forward(1))
    tall[static_cast<TindexDictionaryNode*>(n)->key()] = true;
  std::uint32_t key = 999;
  while (tall[key]) --key;
  ASSERT_GE(key, TindexDictionary::kHeapNodes);
  TindexDictionaryNode* stale = d.findNode(key);
  ASSERT_TRUE(d.remove(key));
  EXPECT_DEATH((void)*static_cast<volatile std::uint32_t*>(&stale->data()), "use-after-poison");
}
