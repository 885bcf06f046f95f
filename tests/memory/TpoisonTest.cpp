// Released blocks are poisoned for AddressSanitizer: a write into a block after its release is
// reported at once, in every arena kind and in the pool. The tests run only in an ASan build
// with death tests; elsewhere they are skipped.
#include "TestAllocators.h"

#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TfixedArena.h>
#include <velacore/memory/TpoolAllocator.h>
#include <velacore/memory/TstackArena.h>
#include <velacore/memory/TvariantArena.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELA_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELA_TEST_ASAN 1
#endif
#endif

namespace {

#if defined(VELA_TEST_ASAN) && GTEST_HAS_DEATH_TEST
constexpr bool kPoisonTestable = true;
#else
constexpr bool kPoisonTestable = false;
#endif

// Writes one byte `offset` bytes into a block; volatile so that the store is not dropped.
void scribble(void* block, std::size_t offset) { static_cast<volatile char*>(block)[offset] = 42; }

class TpoisonTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!kPoisonTestable) GTEST_SKIP() << "needs an AddressSanitizer build with death tests";
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  }
  TcountingAllocator fPages;
};

}  // namespace

TEST_F(TpoisonTest, VariantArenaBlocksArePoisonedWhileFree) {
  TvariantArena arena(4096, 8, fPages, "Poison Variant");
  void* keep = arena.allocate(40);
  void* p = arena.allocate(200);
  void* after = arena.allocate(40);
  std::memset(p, 1, 200);  // in use: fine
  TvariantArena::deallocate(p);
  EXPECT_DEATH(scribble(p, 100), "use-after-poison");
  // Merged with a free neighbour, then split again on reuse: the new block is usable to its end,
  // and what stays free is still guarded.
  TvariantArena::deallocate(after);
  void* q = arena.allocate(120);
  std::memset(q, 2, 120);
  void* grown = arena.reallocate(q, 180);
  std::memset(grown, 3, 180);
  EXPECT_EQ(arena.checkConsistency(), 0);
  TvariantArena::deallocate(grown);
  EXPECT_DEATH(scribble(grown, 150), "use-after-poison");
  TvariantArena::deallocate(keep);
}

TEST_F(TpoisonTest, CompactArenaBlocksArePoisonedWhileFree) {
  TcompactArena arena(48, 4096, fPages, "Poison Compact");
  std::vector<void*> blocks;
  for (int i = 0; i < 10; ++i) blocks.push_back(arena.allocate());
  for (void* b : blocks) std::memset(b, 1, 48);
  EXPECT_TRUE(arena.deallocate(blocks[3]));
  EXPECT_DEATH(scribble(blocks[3], 47), "use-after-poison");
  // Never handed out yet: poisoned as well.
  EXPECT_DEATH(scribble(static_cast<char*>(blocks[0]) + 48 * 20, 0), "use-after-poison");
  void* again = arena.allocate();
  std::memset(again, 2, 48);
  for (void* b : blocks) {
    if (b != blocks[3]) {
      EXPECT_TRUE(arena.deallocate(b));
    }
  }
  EXPECT_TRUE(arena.deallocate(again));
}

TEST_F(TpoisonTest, FixedArenaBlocksArePoisonedWhileFree) {
  TfixedArena arena(64, 4096, fPages, "Poison Fixed");
  void* a = arena.allocate();
  void* b = arena.allocate();
  std::memset(a, 1, 64);
  arena.deallocate(a);
  EXPECT_DEATH(scribble(a, 32), "use-after-poison");
  EXPECT_EQ(arena.allocate(), a);
  std::memset(a, 2, 64);
  arena.deallocate(a);
  arena.deallocate(b);
}

TEST_F(TpoisonTest, StackArenaBlocksArePoisonedWhileFree) {
  TstackArena arena(4096, fPages);
  void* a = arena.allocate(100);
  void* b = arena.allocate(100);
  TstackArena::deallocate(b);
  EXPECT_DEATH(scribble(b, 50), "use-after-poison");
  void* c = arena.allocate(100);  // the same place again
  std::memset(c, 1, 100);
  TstackArena::deallocate(c);
  TstackArena::deallocate(a);
}

TEST_F(TpoisonTest, PoolBlocksArePoisonedWhileCached) {
  for (int bytes : {48, 4000}) {  // with and without the per-thread cache
    TpoolAllocator pool(bytes);
    void* p = pool.mpAlloc();
    std::memset(p, 1, static_cast<std::size_t>(bytes));
    pool.mpFree(p);
    EXPECT_DEATH(scribble(p, 8), "use-after-poison") << bytes;
    void* again = pool.mpAlloc();
    EXPECT_EQ(again, p);
    std::memset(again, 2, static_cast<std::size_t>(bytes));
    pool.mpFree(again);
    TpoolAllocator::resetAllPools();  // cached blocks go back to the heap unpoisoned
  }
}
