// Compact arenas: search order, shift or divide, empty pages, cross-arena release, a randomized
// run against a shadow set, and two threads on one TmtCompactArena.
#include "TestAllocators.h"

#include <velacore/memory/TcompactArena.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace {

class TcompactArenaTest : public ::testing::Test {
 protected:
  TcountingAllocator fPages;
};

}  // namespace

TEST_F(TcompactArenaTest, GeometryShiftOrDivide) {
  TcompactArena shifted(32, 4096, fPages, "Shift");
  EXPECT_EQ(shifted.blockSize(), 32u);
  EXPECT_EQ(shifted.shift(), 5u);
  EXPECT_EQ(shifted.numBlocksPerPage(), (4096u - 96u) / 32u);
  TcompactArena divided(20, 4096, fPages, "Divide");  // raised to 24: not a power of two
  EXPECT_EQ(divided.blockSize(), 24u);
  EXPECT_EQ(divided.shift(), 0u);
  // Both ways find the same indices for the same hand-out order.
  for (TcompactArena* arena : {&shifted, &divided}) {
    std::vector<void*> blocks;
    for (int i = 0; i < 70; ++i) blocks.push_back(arena->allocate());
    for (void* p : blocks) {
      const long index = arena->indexOf(p);
      ASSERT_GE(index, 0);
      EXPECT_EQ(static_cast<const char*>(p) - static_cast<const char*>(blocks[7]),
                (index - 0) * static_cast<long>(arena->blockSize()));
    }
    for (void* p : blocks) EXPECT_TRUE(arena->deallocate(p));
    EXPECT_EQ(arena->checkConsistency(), 0);
  }
}

TEST_F(TcompactArenaTest, PagesAreBlocksTimesCountPlusTheHeaderAndBlocksStayInside) {
  // Each page is exactly block size x blocks per page + 96 bytes; the bit map lives elsewhere,
  // so every block lies within its page and after the header.
  struct Tcase {
    std::size_t block, page, perPage;
  };
  for (const Tcase c : {Tcase{32, 65536, 0}, Tcase{24, 4096, 0}, Tcase{8, 96 + 8 * 31, 0},
                        Tcase{520, 600, 0}, Tcase{40, 4096, 3}, Tcase{16, 4096, 2000}}) {
    TcountingAllocator pages;
    TcompactArena arena(c.block, c.page, pages, "Size");
    if (c.perPage != 0) arena.setNumBlocksPerPage(c.perPage);
    const std::size_t expected = arena.blockSize() * arena.numBlocksPerPage() + 96;
    std::vector<void*> blocks;
    for (std::size_t i = 0; i < arena.numBlocksPerPage(); ++i) blocks.push_back(arena.allocate());
    ASSERT_EQ(pages.fLive.size(), 1u) << c.block << "/" << c.page;
    const auto page = *pages.fLive.begin();
    EXPECT_EQ(page.second, expected) << c.block << "/" << c.page;
    EXPECT_EQ(arena.footPrint(), expected);
    const char* low = static_cast<const char*>(page.first) + 96;
    const char* high = static_cast<const char*>(page.first) + page.second;
    for (void* p : blocks) {
      ASSERT_GE(static_cast<const char*>(p), low);
      ASSERT_LE(static_cast<const char*>(p) + arena.blockSize(), high);
    }
    std::memset(blocks.back(), 0xAB, arena.blockSize());
    EXPECT_EQ(arena.checkConsistency(), 0);
    for (void* p : blocks) EXPECT_TRUE(arena.deallocate(p));
    EXPECT_EQ(pages.fReleases, 0) << "the emptied page is kept";
    blocks.assign(1, arena.allocate());  // the saved page is taken again, its map intact
    EXPECT_EQ(pages.fAllocations, 1);
    EXPECT_EQ(arena.checkConsistency(), 0);
    arena.reset();
  }
}

TEST_F(TcompactArenaTest, FreshPageHandsOutBytesFromTheTopBitDown) {
  TcompactArena arena(32, 96 + 32 * 70, fPages, "Order");
  ASSERT_EQ(arena.numBlocksPerPage(), 70u);  // two full words and a partial word of 6
  std::vector<long> order;
  for (int i = 0; i < 70; ++i) order.push_back(arena.indexOf(arena.allocate()));
  const std::vector<long> firstEight(order.begin(), order.begin() + 8);
  EXPECT_EQ(firstEight, (std::vector<long>{7, 6, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ(order[8], 15);
  EXPECT_EQ(order[31], 24);
  EXPECT_EQ(order[32], 39);
  // The trailing partial word is filled from bit 0 upward.
  EXPECT_EQ(std::vector<long>(order.begin() + 64, order.end()), (std::vector<long>{64, 65, 66, 67, 68, 69}));
  EXPECT_EQ(std::set<long>(order.begin(), order.end()).size(), 70u);
  // A freed slot in the middle is found by the search once the hint runs out.
  void* any = arena.allocate();  // a second page
  EXPECT_EQ(fPages.fAllocations, 2);
  EXPECT_TRUE(arena.deallocate(any));
  EXPECT_EQ(fPages.fReleases, 0) << "an emptied page is kept";
  arena.reset();
  EXPECT_TRUE(fPages.fLive.empty());
}

TEST_F(TcompactArenaTest, EmptyPagesAreSavedAndTheOlderOneReturned) {
  TcompactArena arena(64, 96 + 64 * 4, fPages, "Empty");
  void* blocks[8];
  for (void*& p : blocks) p = arena.allocate();
  EXPECT_EQ(fPages.fAllocations, 2);
  EXPECT_EQ(arena.allocatedMemory(), 8 * 64);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(arena.deallocate(blocks[i]));
  EXPECT_EQ(fPages.fReleases, 0);
  EXPECT_TRUE(arena.canFreeMemory());
  for (int i = 4; i < 8; ++i) EXPECT_TRUE(arena.deallocate(blocks[i]));
  EXPECT_EQ(fPages.fReleases, 1);
  arena.preAllocate(4);  // reuses the saved page
  EXPECT_EQ(fPages.fAllocations, 2);
  EXPECT_EQ(arena.checkConsistency(), 0);
  TcompactArena::purge();
  EXPECT_EQ(arena.allocatedMemory(), 0);
}

TEST_F(TcompactArenaTest, StrayBlocksFindTheirOwnerOrGoToFree) {
  static const char* const kName = "Edges";
  TcompactArena owner(32, 4096, fPages, kName);
  TcompactArena sibling(32, 4096, fPages, kName);
  TcompactArena stranger(32, 4096, fPages, "Other");
  void* p = owner.allocate();
  void* q = stranger.allocate();
  EXPECT_TRUE(sibling.deallocate(p)) << "released by the arena of the same name that owns it";
  EXPECT_EQ(owner.allocatedMemory(), 0);
  // A heap block that no arena owns ends in free() with a false answer.
  EXPECT_FALSE(sibling.deallocate(std::malloc(32)));
  EXPECT_TRUE(sibling.deallocate(nullptr));
  EXPECT_TRUE(stranger.deallocate(q));
  EXPECT_EQ(owner.checkConsistency() + sibling.checkConsistency() + stranger.checkConsistency(), 0);
  std::ostringstream out;
  TcompactArena::debug(out);
  EXPECT_NE(out.str().find("\"Edges\""), std::string::npos);
}

TEST_F(TcompactArenaTest, BadPointersDoNotCorruptThePage) {
#ifdef NDEBUG
  TcompactArena arena(32, 4096, fPages, "Bad");
  auto* a = static_cast<char*>(arena.allocate());
  void* b = arena.allocate();
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(arena.deallocate(a + 8));  // inside a block: refused
  EXPECT_TRUE(arena.deallocate(b));
  EXPECT_TRUE(arena.deallocate(b));      // twice: the second is ignored
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("not the start of a block"), std::string::npos);
  EXPECT_NE(err.find("released already"), std::string::npos);
  EXPECT_EQ(arena.allocatedMemory(), 32);
  EXPECT_EQ(arena.checkConsistency(), 0);
  EXPECT_TRUE(arena.deallocate(a));
  // The page is empty and saved now: a second release must not reach free().
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(arena.deallocate(a));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("released already"), std::string::npos);
  EXPECT_EQ(arena.checkConsistency(), 0);
#elif GTEST_HAS_DEATH_TEST
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  TcompactArena arena(32, 4096, fPages, "Bad");
  auto* a = static_cast<char*>(arena.allocate());
  EXPECT_DEATH(arena.deallocate(a + 8), "not at its start");
  EXPECT_TRUE(arena.deallocate(a));
  EXPECT_DEATH(arena.deallocate(a), "released already");
#endif
}

TEST_F(TcompactArenaTest, RandomizedStressAgainstAShadowSet) {
  TcompactArena arena(40, 96 + 40 * 100, fPages, "Stress");
  std::vector<std::pair<void*, unsigned>> live;
  std::set<void*> addresses;
  std::mt19937 rng(3);
  for (unsigned step = 0; step < 40000; ++step) {
    if (live.empty() || rng() % 100 < 52) {
      void* p = arena.allocate(40);
      ASSERT_TRUE(addresses.insert(p).second) << "block handed out twice";
      std::memset(p, static_cast<int>(step & 0xFF), 40);
      live.emplace_back(p, step & 0xFF);
    } else {
      const std::size_t i = rng() % live.size();
      const auto* bytes = static_cast<const unsigned char*>(live[i].first);
      for (int k = 0; k < 40; ++k) ASSERT_EQ(bytes[k], live[i].second) << "step " << step;
      ASSERT_TRUE(arena.deallocate(live[i].first));
      addresses.erase(live[i].first);
      live[i] = live.back();
      live.pop_back();
    }
    if (step % 2000 == 0) {
      ASSERT_EQ(arena.checkConsistency(), 0) << "step " << step;
    }
  }
  EXPECT_EQ(arena.allocatedMemory(), static_cast<std::int64_t>(live.size() * 40));
  EXPECT_LE(arena.footPrint(), (live.size() / 100 + 60) * (96 + 16 + 4000));
  for (auto& b : live) EXPECT_TRUE(arena.deallocate(b.first));
  EXPECT_EQ(arena.checkConsistency(), 0);
}

TEST_F(TcompactArenaTest, TwoThreadsShareOneMtArena) {
  int inUse = 0;
  TmtCompactArena arena(32, 4096, TmallocAllocator::mallocAllocator(), "SharedEdges", &inUse);
  const auto work = [&](int id) {
    std::mt19937 rng(id);
    std::vector<void*> mine;
    for (int step = 0; step < 30000; ++step) {
      if (mine.empty() || rng() % 2) {
        void* p = arena.allocate();
        std::memset(p, id, 32);
        mine.push_back(p);
      } else {
        const std::size_t i = rng() % mine.size();
        const bool intact = static_cast<unsigned char*>(mine[i])[31] == id;
        ASSERT_TRUE(intact);
        EXPECT_TRUE(arena.deallocate(mine[i]));
        mine[i] = mine.back();
        mine.pop_back();
      }
    }
    for (void* p : mine) arena.deallocate(p);
  };
  std::thread a(work, 1);
  std::thread b(work, 2);
  a.join();
  b.join();
  EXPECT_EQ(inUse, 0);
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_EQ(arena.checkConsistency(), 0);
}

TEST_F(TcompactArenaTest, SearchOrderMatchesTheRuleAfterRandomReleases) {
  // One page of 4100 blocks: 128 full words and a partial word of 4. Every hand-out is compared
  // with the rule written out over a plain bit vector: the hint slot if it is free, else the
  // first word with a free bit; in a full word its first byte with a free bit, from bit 7 down;
  // in the partial word from bit 0 up.
  constexpr std::size_t kBlocks = 4100;
  TcompactArena arena(8, 96 + 8 * kBlocks + 1024, fPages, "Rule");
  arena.setNumBlocksPerPage(kBlocks);
  std::vector<bool> used(kBlocks);
  const std::size_t full = kBlocks / 32;
  const auto nextSlot = [&](std::size_t i) -> std::size_t {
    if (i / 32 >= full) return i + 1;
    if (i % 8 != 0) return i - 1;
    return i % 32 / 8 < 3 ? i + 15 : i / 32 + 1 < full ? (i / 32 + 1) * 32 + 7 : (i / 32 + 1) * 32;
  };
  const auto search = [&]() -> std::size_t {
    for (std::size_t w = 0; w < full; ++w)
      for (std::size_t byte = 0; byte < 4; ++byte)
        for (int bit = 7; bit >= 0; --bit)
          if (!used[w * 32 + byte * 8 + static_cast<std::size_t>(bit)]) return w * 32 + byte * 8 + static_cast<std::size_t>(bit);
    for (std::size_t i = full * 32; i < kBlocks; ++i)
      if (!used[i]) return i;
    return kBlocks;
  };
  std::size_t hint = 7;
  std::vector<void*> live;
  std::mt19937 rng(11);
  for (int step = 0; step < 30000; ++step) {
    if (live.size() < 2 || (live.size() < kBlocks - 1 && rng() % 100 < 55)) {
      const std::size_t expected = hint < kBlocks && !used[hint] ? hint : search();
      void* p = arena.allocate();
      ASSERT_EQ(arena.indexOf(p), static_cast<long>(expected)) << "step " << step;
      used[expected] = true;
      hint = nextSlot(expected);
      live.push_back(p);
    } else {
      const std::size_t i = rng() % live.size();
      used[static_cast<std::size_t>(arena.indexOf(live[i]))] = false;
      ASSERT_TRUE(arena.deallocate(live[i]));
      live[i] = live.back();
      live.pop_back();
    }
    if (step % 3000 == 0) {
      ASSERT_EQ(arena.checkConsistency(), 0) << "step " << step;
    }
  }
  EXPECT_EQ(fPages.fAllocations, 1) << "the live set never outgrew the page";
  for (void* p : live) EXPECT_TRUE(arena.deallocate(p));
  EXPECT_EQ(arena.checkConsistency(), 0);
}

TEST_F(TcompactArenaTest, ReleasesFindTheirPageAmongManyInAnyOrder) {
  // Pages at scattered addresses: every block goes back through the address-sorted page table;
  // emptied pages leave it, a reused saved page enters it again.
  TcompactArena arena(24, 96 + 24 * 50, fPages, "Table");
  std::vector<void*> blocks;
  for (int i = 0; i < 50 * 37; ++i) blocks.push_back(arena.allocate());
  EXPECT_EQ(fPages.fAllocations, 37);
  std::mt19937 rng(5);
  std::shuffle(blocks.begin(), blocks.end(), rng);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    ASSERT_GE(arena.indexOf(blocks[i]), 0);
    ASSERT_TRUE(arena.deallocate(blocks[i]));
    if (i % 97 == 0) {
      ASSERT_EQ(arena.checkConsistency(), 0) << i;
    }
    if (i % 5 == 0) blocks.push_back(arena.allocate());  // refills pages, sometimes the saved one
  }
  EXPECT_EQ(arena.allocatedMemory(), 0);
  EXPECT_EQ(arena.checkConsistency(), 0);
  int local = 0;
  EXPECT_EQ(arena.indexOf(&local), -1) << "an address outside every page";
}

TEST_F(TcompactArenaTest, EveryBlockSizeFindsTheIndexThatDivisionGives) {
  // Sizes that are and are not powers of two (the latter take a reciprocal multiply on release):
  // every block of a full page maps back to offset / size, and comes back in shuffled order.
  std::mt19937 rng(17);
  for (std::size_t size = 8; size <= 1032; size += size < 96 ? 8 : 120) {
    TcompactArena arena(size, 96 + size * 67, fPages, "Sizes");
    std::vector<void*> blocks;
    for (int i = 0; i < 67 * 2; ++i) blocks.push_back(arena.allocate());
    for (void* p : blocks) {
      const long index = arena.indexOf(p);
      ASSERT_GE(index, 0) << size;
      ASSERT_LT(index, 67) << size;
    }
    std::shuffle(blocks.begin(), blocks.end(), rng);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      ASSERT_TRUE(arena.deallocate(blocks[i])) << size;
      if (i % 31 == 0) {
        ASSERT_EQ(arena.checkConsistency(), 0) << size;
      }
    }
    EXPECT_EQ(arena.allocatedMemory(), 0) << size;
    arena.reset();
  }
}

TEST_F(TcompactArenaTest, PagesPackedSideBySideAreToldApart) {
  // Pages of very different sizes cut back to back from one buffer, so that address ranges are
  // shared by neighbouring pages: every block must still be found in its own page.
  struct Tbump : Tallocator {
    alignas(64) char buffer[1 << 16];
    std::size_t used = 0;
    void* allocate(std::size_t size, const char*) override {
      if (used + size > sizeof(buffer)) return nullptr;
      void* p = buffer + used;
      used += (size + 7) & ~std::size_t(7);
      return p;
    }
    void free(void*, std::size_t) override {}
  };
  auto bump = std::make_unique<Tbump>();
  TcompactArena arena(24, 96 + 24 * 40, *bump, "Packed");
  std::vector<void*> blocks;
  const std::size_t sizes[] = {40, 1, 3, 90, 2, 7, 1, 33, 5};
  for (std::size_t perPage : sizes) {
    arena.setNumBlocksPerPage(perPage);
    for (std::size_t i = 0; i < perPage; ++i) blocks.push_back(arena.allocate());
  }
  for (void* p : blocks) ASSERT_GE(arena.indexOf(p), 0);
  int outside = 0;
  EXPECT_EQ(arena.indexOf(&outside), -1);
  std::mt19937 rng(23);
  std::shuffle(blocks.begin(), blocks.end(), rng);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    ASSERT_TRUE(arena.deallocate(blocks[i])) << i;
    if (i % 11 == 0) {
      ASSERT_EQ(arena.checkConsistency(), 0) << i;
    }
  }
  EXPECT_EQ(arena.allocatedMemory(), 0);
  arena.reset();
}
