// Per-arena accounting: reserved, used and peak bytes of every arena kind and of pools, checked
// against the arenas' own figures, listed in the allocator's statistics, and read while other
// threads allocate.
#include "TestAllocators.h"

#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TfixedArena.h>
#include <velacore/memory/TmemoryUsage.h>
#include <velacore/memory/TpoolAllocator.h>
#include <velacore/memory/TstackArena.h>
#include <velacore/memory/TvariantArena.h>

#include <gtest/gtest.h>

#include <atomic>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>

namespace {

// The entries of one name; the test names are unique to this file.
std::vector<TmemoryUsage> entriesOf(const std::string& name) {
  std::vector<TmemoryUsage> found;
  for (TmemoryUsage& u : TmemoryUsage::sCollect())
    if (u.name == name) found.push_back(u);
  return found;
}

}  // namespace

TEST(TmemoryUsageTest, HeaderExample) {
  std::ostringstream cout;
  TvariantArena meshes(65536, 8, TmallocAllocator::mallocAllocator(), "Meshes");
  void* p = meshes.allocate(1000);
  for (const TmemoryUsage& u : TmemoryUsage::sCollect())
    if (u.name == "Meshes") cout << u.used << " of " << u.reserved << " bytes in use\n";
  EXPECT_EQ(cout.str().rfind("1000 of ", 0), 0u) << cout.str();
  TvariantArena::deallocate(p);
}

TEST(TmemoryUsageTest, EveryArenaKindReportsItsOwnFigures) {
  TcountingAllocator pages;
  TvariantArena variant(4096, 8, pages, "Usage Variant");
  TcompactArena compact(32, 4096, pages, "Usage Compact");
  TfixedArena fixed(48, 4096, pages, "Usage Fixed");
  TstackArena stack(4096, pages);
  stack.setName("Usage Stack");
  std::vector<void*> v, c, f;
  for (int i = 0; i < 300; ++i) {
    v.push_back(variant.allocate(16 + (i % 7) * 40));
    c.push_back(compact.allocate());
    f.push_back(fixed.allocate());
  }
  void* s = stack.allocate(5000);  // a page of its own
  const struct {
    TbaseArena* arena;
    const char* kind;
  } arenas[] = {{&variant, "variant"}, {&compact, "compact"}, {&fixed, "fixed"}, {&stack, "stack"}};
  std::size_t peaks[4];
  for (int k = 0; k < 4; ++k) {
    const auto found = entriesOf(arenas[k].arena->name());
    ASSERT_EQ(found.size(), 1u) << arenas[k].kind;
    EXPECT_EQ(found[0].kind, arenas[k].kind);
    EXPECT_EQ(found[0].reserved, arenas[k].arena->footPrint());
    EXPECT_EQ(found[0].used, static_cast<std::size_t>(arenas[k].arena->allocatedMemory()));
    EXPECT_EQ(found[0].peak, found[0].reserved);
    EXPECT_GT(found[0].used, 0u);
    EXPECT_LE(found[0].used, found[0].reserved);
    peaks[k] = found[0].peak;
  }
  EXPECT_EQ(entriesOf("Usage Compact")[0].used, 300u * 32u);
  // Released and reset: nothing used or reserved, the peak stays.
  for (void* p : v) TvariantArena::deallocate(p);
  for (void* p : c) compact.deallocate(p);
  for (void* p : f) fixed.deallocate(p);
  TstackArena::deallocate(s);
  for (int k = 0; k < 4; ++k) {
    arenas[k].arena->reset();
    const auto found = entriesOf(arenas[k].arena->name());
    EXPECT_EQ(found[0].reserved, 0u) << arenas[k].kind;
    EXPECT_EQ(found[0].used, 0u) << arenas[k].kind;
    EXPECT_EQ(found[0].peak, peaks[k]) << arenas[k].kind;
  }
  // A destroyed arena leaves the list.
  {
    TvariantArena gone(4096, 8, pages, "Usage Gone");
    EXPECT_EQ(entriesOf("Usage Gone").size(), 1u);
  }
  EXPECT_TRUE(entriesOf("Usage Gone").empty());
}

TEST(TmemoryUsageTest, PoolsCountBlocksInUseAndCached) {
  TpoolAllocator pool(100, "Usage Pool");  // 104-byte blocks
  std::vector<void*> blocks;
  for (int i = 0; i < 50; ++i) blocks.push_back(pool.mpAlloc());
  auto found = entriesOf("Usage Pool");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].kind, "pool");
  EXPECT_EQ(found[0].used, 50u * 104u);
  EXPECT_EQ(found[0].reserved, 50u * 104u);
  for (int i = 0; i < 20; ++i) {
    pool.mpFree(blocks.back());
    blocks.pop_back();
  }
  found = entriesOf("Usage Pool");
  EXPECT_EQ(found[0].used, 30u * 104u) << "cached blocks are reserved, not used";
  EXPECT_EQ(found[0].reserved, 50u * 104u);
  for (void* p : blocks) pool.mpFree(p);
  pool.cleanUpFreeList();
  found = entriesOf("Usage Pool");
  EXPECT_EQ(found[0].used, 0u);
  EXPECT_EQ(found[0].reserved, 0u);
  EXPECT_EQ(found[0].peak, 50u * 104u);
  TpoolAllocator unnamed(24);
  EXPECT_EQ(entriesOf("pool of 24 bytes").size(), 1u);
}

TEST(TmemoryUsageTest, StatisticsListTheArenas) {
  TvariantArena arena(4096, 8, TmallocAllocator::mallocAllocator(), "Usage Listed");
  void* p = arena.allocate(64);
  std::ostringstream out;
  TmallocAllocator::printStatistics(out);
  EXPECT_NE(out.str().find("Arenas and pools:\n"), std::string::npos);
  std::ostringstream expected;
  expected << "  variant \"Usage Listed\": " << arena.footPrint() << " bytes reserved, 64 used, "
           << arena.footPrint() << " at peak\n";
  EXPECT_NE(out.str().find(expected.str()), std::string::npos) << out.str();
  TvariantArena::deallocate(p);
}

TEST(TmemoryUsageTest, CollectingWhileOtherThreadsAllocate) {
  // Figures of thread-safe arenas and pools are read under their locks (ThreadSanitizer checks).
  TmtVariantArena shared(4096, 8, TmallocAllocator::mallocAllocator(), "Usage Shared");
  TpoolAllocator pool(40, "Usage Shared Pool");
  std::atomic<bool> stop{false};
  std::vector<std::thread> workers;
  for (int t = 0; t < 2; ++t)
    workers.emplace_back([&] {
      std::vector<void*> mine;
      for (int i = 0; i < 20000; ++i) {
        mine.push_back(shared.allocate(24 + i % 100));
        pool.mpFree(pool.mpAlloc());
        if (mine.size() > 50) {
          for (void* p : mine) TvariantArena::deallocate(p);
          mine.clear();
        }
      }
      for (void* p : mine) TvariantArena::deallocate(p);
    });
  std::thread reader([&] {
    do {
      for (const TmemoryUsage& u : TmemoryUsage::sCollect()) {
        if (u.name == "Usage Shared") {
          EXPECT_LE(u.used, u.reserved);
        }
      }
    } while (!stop.load());
  });
  for (std::thread& w : workers) w.join();
  stop = true;
  reader.join();
  EXPECT_EQ(entriesOf("Usage Shared")[0].used, 0u);
}
