// Variant arenas: bins, splitting, coalescing, empty-page handling, reallocation, a randomized
// differential run against a shadow copy of every block, and two threads on one TmtVariantArena.
#include "TestAllocators.h"

#include <velacore/memory/TvariantArena.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

namespace {

class TvariantArenaTest : public ::testing::Test {
 protected:
  TcountingAllocator fPages;
};

// Fills a block with a pattern derived from its identity, and checks it.
void fill(void* p, std::size_t size, unsigned seed) {
  auto* b = static_cast<unsigned char*>(p);
  for (std::size_t i = 0; i < size; ++i) b[i] = static_cast<unsigned char>(seed * 31 + i);
}
bool intact(const void* p, std::size_t size, unsigned seed) {
  const auto* b = static_cast<const unsigned char*>(p);
  for (std::size_t i = 0; i < size; ++i)
    if (b[i] != static_cast<unsigned char>(seed * 31 + i)) return false;
  return true;
}

}  // namespace

TEST(TvariantArenaBins, IndexRule) {
  for (std::size_t s = 16; s <= 136; s += 8) EXPECT_EQ(TvariantArena::binIndex(s), int(s / 8)) << s;
  EXPECT_EQ(TvariantArena::binIndex(144), 22);
  EXPECT_EQ(TvariantArena::binIndex(160), 22);
  EXPECT_EQ(TvariantArena::binIndex(176), 22);
  EXPECT_EQ(TvariantArena::binIndex(184), 22);
  EXPECT_EQ(TvariantArena::binIndex(192), 23);
  EXPECT_EQ(TvariantArena::binIndex(248), 23);
  EXPECT_EQ(TvariantArena::binIndex(256), 26);
  EXPECT_EQ(TvariantArena::binIndex(384), 27);
  EXPECT_EQ(TvariantArena::binIndex(512), 30);
  EXPECT_EQ(TvariantArena::binIndex(std::size_t(1) << 62), TvariantArena::kBinCount - 1);
  // Bins only ever grow with the size: a higher bin never holds a smaller block.
  int last = 0;
  for (std::size_t s = 16; s < (1u << 22); s += 8) {
    const int bin = TvariantArena::binIndex(s);
    ASSERT_GE(bin, last) << s;
    ASSERT_FALSE(bin >= 18 && bin <= 21) << s;
    last = bin;
  }
  // Every size against the rule written out: below 144 the size over 8; else halve q = s / 8
  // below 16, counting k, and take 18 + 4k + (q - 8) / 4.
  for (std::size_t s = 16; s < (1u << 16); s += 8) {
    int expected = static_cast<int>(s / 8);
    if (s >= 144) {
      std::size_t q = s / 8;
      int k = 0;
      for (; q >= 16; q /= 2) ++k;
      expected = 18 + 4 * k + static_cast<int>((q - 8) / 4);
    }
    ASSERT_EQ(TvariantArena::binIndex(s), expected) << s;
  }
  EXPECT_EQ(TvariantArena::freeListIndex(256), 32u);
  EXPECT_EQ(TvariantArena::sizeOfBlock(16), 40u);
  EXPECT_EQ(TvariantArena::granularity(), 8u);
}

TEST_F(TvariantArenaTest, SplitsOnlyWhenTheRestIsWorthABlock) {
  TvariantArena arena(4096, 4, fPages, "Split");
  EXPECT_EQ(arena.allocate(0), nullptr);
  void* a = arena.allocate(1);
  EXPECT_EQ(TvariantArena::blockSize(a), 16u);
  EXPECT_STREQ(fPages.fLastName.c_str(), "Split");
  // Free a 200-byte hole between two used blocks, then ask for sizes around it.
  void* hole = arena.allocate(200);
  void* fence = arena.allocate(16);
  TvariantArena::deallocate(hole);
  void* fits = arena.allocate(160);  // rest 40 < 64: takes the whole block
  EXPECT_EQ(fits, hole);
  EXPECT_EQ(TvariantArena::blockSize(fits), 200u);
  EXPECT_EQ(arena.allocatedMemory(), 16 + 200 + 16);
  TvariantArena::deallocate(fits);
  void* part = arena.allocate(136);  // rest 64: split off a 40-byte free block
  EXPECT_EQ(part, hole);
  EXPECT_EQ(TvariantArena::blockSize(part), 136u);
  EXPECT_EQ(arena.checkConsistency(), 0);
  std::size_t freed = 0;
  TvariantArena::deallocate(part, freed);
  EXPECT_EQ(freed, 200u) << "released block merges with the split-off rest";
  TvariantArena::deallocate(a);
  TvariantArena::deallocate(fence);
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_EQ(arena.checkConsistency(), 0);
  // Everything merged back into one free block spanning the page.
  std::ostringstream out;
  arena.debug(out);
  EXPECT_NE(out.str().find("0 blocks in use"), std::string::npos);
}

TEST_F(TvariantArenaTest, ReleaseEmptyPagesKeepsTheNewestAndReturnsTheOlder) {
  TvariantArena arena(1024, 4, fPages, "Pages", /*releaseEmptyPages=*/true);
  void* first = arena.allocate(2000);   // larger than a page: a page of its own
  void* second = arena.allocate(3000);
  EXPECT_EQ(fPages.fAllocations, 2);
  void* firstPage = nullptr;
  for (const auto& page : fPages.fLive)
    if (page.second < 2100 + 100) firstPage = page.first;
  TvariantArena::deallocate(first);
  EXPECT_EQ(fPages.fReleases, 0) << "the first empty page is kept";
  EXPECT_TRUE(arena.canFreeMemory());
  TvariantArena::deallocate(second);
  EXPECT_EQ(fPages.fReleases, 1);
  EXPECT_FALSE(fPages.holds(firstPage)) << "the older saved page is the one returned";
  // The saved page (3000+) serves the next request that fits without a new page.
  void* again = arena.allocate(2500);
  EXPECT_EQ(fPages.fAllocations, 2);
  EXPECT_EQ(arena.checkConsistency(), 0);
  TvariantArena::deallocate(again);
  arena.purgePage();
  EXPECT_TRUE(fPages.fLive.empty());
  EXPECT_EQ(arena.footPrint(), 0u);
}

TEST_F(TvariantArenaTest, PagesAndHints) {
  TvariantArena arena(0, 4, fPages, "Hints", false, /*useLastPageFirst=*/true);
  arena.setVariantPageSize(64, 10);
  EXPECT_EQ(arena.variantPageSize(), 10 * TvariantArena::sizeOfBlock(64));
  void* big = arena.allocate(16, 100, 64);  // the page holds 100 blocks of 64
  ASSERT_NE(big, nullptr);
  std::vector<void*> blocks;
  for (int i = 0; i < 99; ++i) blocks.push_back(arena.allocate(64));
  EXPECT_EQ(fPages.fAllocations, 1);
  // Blocks are carved in order from the end of the last page used.
  for (std::size_t i = 1; i < blocks.size(); ++i)
    EXPECT_EQ(static_cast<char*>(blocks[i]), static_cast<char*>(blocks[i - 1]) + 88);
  arena.preAllocate(32, 50);
  EXPECT_EQ(fPages.fAllocations, 2);
  EXPECT_EQ(arena.checkConsistency(), 0);
  fPages.fFailNext = true;
  EXPECT_EQ(arena.allocate(1 << 20), nullptr) << "no page: null, arena intact";
  fPages.fFailNext = false;
  EXPECT_EQ(arena.checkConsistency(), 0);
  arena.reset();
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_TRUE(fPages.fLive.empty());
}

TEST_F(TvariantArenaTest, ReallocateGrowsInPlaceShrinksAndMoves) {
  TvariantArena arena(8192, 4, fPages, "Realloc");
  auto* p = static_cast<char*>(arena.reallocate(nullptr, 100));
  fill(p, 100, 1);
  void* neighbour = arena.allocate(300);
  TvariantArena::deallocate(neighbour);
  auto* grown = static_cast<char*>(arena.reallocate(p, 350));
  EXPECT_EQ(grown, p) << "grows into the free neighbour";
  EXPECT_TRUE(intact(grown, 100, 1));
  auto* shrunk = static_cast<char*>(arena.reallocate(grown, 40));
  EXPECT_EQ(shrunk, p);
  EXPECT_EQ(TvariantArena::blockSize(shrunk), 40u);
  EXPECT_EQ(arena.checkConsistency(), 0);
  void* wall = arena.allocate(8000 - 400);
  auto* moved = static_cast<char*>(arena.reallocate(shrunk, 5000));
  ASSERT_NE(moved, nullptr);
  EXPECT_TRUE(intact(moved, 40, 1));
  EXPECT_EQ(arena.reallocate(moved, 0), nullptr);
  TvariantArena::deallocate(wall);
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_EQ(arena.checkConsistency(), 0);
}

TEST_F(TvariantArenaTest, DoubleReleaseIsRefusedWithoutDamage) {
#ifdef NDEBUG
  TvariantArena arena(4096, 4, fPages, "Twice");
  void* a = arena.allocate(64);
  void* b = arena.allocate(64);
  TvariantArena::deallocate(a);
  ::testing::internal::CaptureStderr();
  TvariantArena::deallocate(a);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("released already"), std::string::npos);
  EXPECT_EQ(arena.checkConsistency(), 0);
  EXPECT_EQ(arena.allocatedMemory(), 64);
  TvariantArena::deallocate(b);
  // The last block of a page that was just taken out of service.
  TvariantArena releasing(4096, 4, fPages, "TwiceEmpty", /*releaseEmptyPages=*/true);
  void* only = releasing.allocate(64);
  TvariantArena::deallocate(only);
  ::testing::internal::CaptureStderr();
  TvariantArena::deallocate(only);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("released already"), std::string::npos);
  EXPECT_EQ(releasing.checkConsistency(), 0);
  EXPECT_NE(releasing.allocate(64), nullptr);
#elif GTEST_HAS_DEATH_TEST
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  TvariantArena arena(4096, 4, fPages, "Twice");
  void* a = arena.allocate(64);
  TvariantArena::deallocate(a);
  EXPECT_DEATH(TvariantArena::deallocate(a), "released already");
  arena.reset();
#endif
}

TEST_F(TvariantArenaTest, ConsistencyCheckFindsDamage) {
  TvariantArena arena(4096, 4, fPages, "Damage");
  auto* a = static_cast<std::size_t*>(arena.allocate(64));
  void* b = arena.allocate(64);
  a[-2] ^= 0x100;  // scribble over the size tag, as a buffer underrun would
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(arena.checkConsistency(), -1);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("ERR: "), std::string::npos);
  a[-2] ^= 0x100;
  EXPECT_EQ(arena.checkConsistency(), 0);
  TvariantArena::deallocate(a);
  TvariantArena::deallocate(b);
}

// Tens of thousands of random steps, each block checked against its pattern before it goes.
TEST_F(TvariantArenaTest, RandomizedStressKeepsEveryBlockIntact) {
  for (const bool release : {false, true}) {
    TvariantArena arena(16384, 3, fPages, "Stress", release, !release);
    struct Tlive {
      void* p;
      std::size_t size;
      unsigned seed;
    };
    std::vector<Tlive> live;
    std::mt19937 rng(release ? 7 : 11);
    std::int64_t expectedBytes = 0;
    for (unsigned step = 0; step < 30000; ++step) {
      const unsigned action = rng() % 10;
      if (action < 5 || live.empty()) {
        const std::size_t size = rng() % 16 == 0 ? 1 + rng() % 6000 : 1 + rng() % 600;
        void* p = arena.allocate(size);
        ASSERT_NE(p, nullptr);
        fill(p, size, step);
        live.push_back({p, size, step});
        expectedBytes += static_cast<std::int64_t>(TvariantArena::blockSize(p));
      } else {
        const std::size_t i = rng() % live.size();
        Tlive& b = live[i];
        ASSERT_TRUE(intact(b.p, b.size, b.seed)) << "step " << step;
        expectedBytes -= static_cast<std::int64_t>(TvariantArena::blockSize(b.p));
        if (action < 8) {
          TvariantArena::deallocate(b.p);
          live[i] = live.back();
          live.pop_back();
        } else {
          const std::size_t size = 1 + rng() % 3000;
          void* q = arena.reallocate(b.p, size);
          ASSERT_NE(q, nullptr);
          ASSERT_TRUE(intact(q, std::min(size, b.size), b.seed)) << "step " << step;
          fill(q, size, step);
          b = {q, size, step};
          expectedBytes += static_cast<std::int64_t>(TvariantArena::blockSize(q));
        }
      }
      if (step % 1000 == 0) {
        ASSERT_EQ(arena.checkConsistency(), 0) << "step " << step;
      }
    }
    EXPECT_EQ(arena.allocatedMemory(), expectedBytes);
    for (const Tlive& b : live) {
      ASSERT_TRUE(intact(b.p, b.size, b.seed));
      TvariantArena::deallocate(b.p);
    }
    EXPECT_EQ(arena.checkConsistency(), 0);
    EXPECT_EQ(arena.allocatedMemory(), 0);
  }
}

TEST_F(TvariantArenaTest, TwoThreadsShareOneMtArena) {
  TmtVariantArena arena(8192, 4, TmallocAllocator::mallocAllocator(), "Shared", true);
  std::vector<void*> handover[2];
  const auto work = [&](int id) {
    std::mt19937 rng(id);
    std::vector<void*> mine;
    for (int step = 0; step < 20000; ++step) {
      if (mine.size() < 50 || rng() % 2) {
        const std::size_t size = 8 + rng() % 300;
        void* p = arena.allocate(size);
        std::memset(p, id, size);
        mine.push_back(p);
      } else {
        // Release through the static entry point, as code that only has the block would.
        TvariantArena::deallocate(mine.back());
        mine.pop_back();
      }
    }
    handover[id] = mine;
  };
  std::thread a(work, 0);
  std::thread b(work, 1);
  a.join();
  b.join();
  EXPECT_EQ(arena.checkConsistency(), 0);
  // Blocks made on one thread are released on the other.
  std::thread c([&] { for (void* p : handover[0]) TvariantArena::deallocate(p); });
  for (void* p : handover[1]) TvariantArena::deallocate(p);
  c.join();
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_EQ(arena.checkConsistency(), 0);
}

TEST_F(TvariantArenaTest, PurifyModeMallocsEachBlock) {
  {
    TscopedEnv purify("PURIFY", "1");
    TpureArena::sReloadPurify();
    TvariantArena arena(4096, 4, fPages, "Purified");
    void* a = arena.allocate(100);
    void* b = arena.reallocate(arena.allocate(10), 20);
    EXPECT_EQ(fPages.fAllocations, 0);
    EXPECT_EQ(arena.allocatedMemory(), 120);
    EXPECT_EQ(TvariantArena::arenaOf(a), &arena);
    TvariantArena::deallocate(a);
    EXPECT_EQ(arena.allocatedMemory(), 20);
    (void)b;  // reset() frees what is left
    arena.reset();
    EXPECT_EQ(arena.allocatedMemory(), 0);
  }
  TpureArena::sReloadPurify();
  EXPECT_FALSE(TpureArena::usePurify());
}
