// Stack and fixed arenas and Talloca: the simple arena kinds.
#include "TestAllocators.h"

#include <velacore/memory/Talloca.h>
#include <velacore/memory/TfixedArena.h>
#include <velacore/memory/TstackArena.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

TEST(TstackArena, PopsTheNewestBlockAndEmptiesPages) {
  TcountingAllocator pages;
  {
    TstackArena arena(1024, pages);
    EXPECT_EQ(arena.allocate(0), nullptr);
    void* a = arena.allocate(100);
    void* b = arena.allocate(100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % 16, 0u);
    EXPECT_EQ(arena.allocatedMemory(), 200);
    TstackArena::deallocate(b);
    void* again = arena.allocate(50);
    EXPECT_EQ(again, b) << "the space of the newest block is reused";
    void* huge = arena.allocate(5000);  // a page of its own
    EXPECT_EQ(pages.fAllocations, 2);
    std::memset(huge, 1, 5000);
    TstackArena::deallocate(a);
    TstackArena::deallocate(again);
    TstackArena::deallocate(huge);
    EXPECT_EQ(arena.allocatedMemory(), 0);
    TmtStackArena aligned(4096, 64, pages);
    for (int i = 1; i < 20; ++i) {
      void* p = aligned.allocate(static_cast<std::size_t>(i * 7));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u);
    }
    aligned.reset();
    EXPECT_EQ(aligned.allocatedMemory(), 0);
  }
  EXPECT_TRUE(pages.fLive.empty());
}

TEST(TstackArena, TwoThreadsShareOneMtArena) {
  TmtStackArena arena(8192, TmallocAllocator::mallocAllocator());
  const auto work = [&arena](unsigned char id) {
    std::vector<unsigned char*> mine;
    for (int step = 0; step < 20000; ++step) {
      if (mine.size() < 10 || step % 2) {
        auto* p = static_cast<unsigned char*>(arena.allocate(24));
        std::memset(p, id, 24);
        mine.push_back(p);
      } else {
        ASSERT_EQ(mine.back()[23], id);
        TstackArena::deallocate(mine.back());
        mine.pop_back();
      }
    }
    for (auto* p : mine) TstackArena::deallocate(p);
  };
  std::thread a(work, 1);
  std::thread b(work, 2);
  a.join();
  b.join();
  EXPECT_EQ(arena.allocatedMemory(), 0);
}

TEST(TfixedArena, ReusesReleasedBlocksAndReturnsPagesOnReset) {
  TcountingAllocator pages;
  {
    TfixedArena arena(20, 56 + 24 * 10, pages, "Fixed");
    EXPECT_EQ(arena.blockSize(), 24u);
    EXPECT_EQ(arena.numBlocksPerPage(), 10u);
    std::vector<void*> blocks;
    std::mt19937 rng(5);
    for (int step = 0; step < 5000; ++step) {
      if (blocks.empty() || rng() % 2) {
        void* p = arena.allocate();
        ASSERT_TRUE(arena.owns(p));
        for (void* q : blocks) ASSERT_NE(p, q);
        blocks.push_back(p);
      } else {
        const std::size_t i = rng() % blocks.size();
        arena.deallocate(blocks[i]);
        blocks[i] = blocks.back();
        blocks.pop_back();
      }
      if (blocks.size() > 60) { arena.deallocate(blocks.back()); blocks.pop_back(); }
    }
    EXPECT_EQ(arena.allocatedMemory(), static_cast<std::int64_t>(blocks.size() * 24));
    EXPECT_LE(pages.fAllocations, 7) << "released blocks are reused before new pages are made";
    arena.reset();
    EXPECT_TRUE(pages.fLive.empty());
    EXPECT_FALSE(arena.owns(blocks.front()));
  }
}

TEST(Talloca, SmallInsideLargeOnTheHeap) {
  Talloca small(100);
  EXPECT_TRUE(small.isInline());
  EXPECT_EQ(small.size(), 100u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(small.data()) % 16, 0u);
  Talloca large(Talloca::kInlineBytes + 1);
  EXPECT_FALSE(large.isInline());
  ASSERT_NE(large.data(), nullptr);
  std::memset(large.data(), 0, large.size());
}
