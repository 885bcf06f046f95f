// Pool caches: the process limit, reuse order, the registry, and two threads on one pool.
#include "TestAllocators.h"

#include <velacore/memory/TpoolAllocator.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

class TpoolAllocatorTest : public ::testing::Test {
 protected:
  void SetUp() override { TpoolAllocator::sReloadPoolLimit(); }
  void TearDown() override { TpoolAllocator::sReloadPoolLimit(); }
};

// Frees `count` fresh blocks into the pool and returns how many it kept.
std::size_t freeFresh(TpoolAllocator& pool, std::size_t count) {
  std::vector<void*> blocks(count);
  for (void*& p : blocks) p = ::operator new(pool.blockBytes());
  for (void* p : blocks) pool.mpFree(p);
  return pool.cachedCount();
}

}  // namespace

TEST_F(TpoolAllocatorTest, CacheGrowsBy1024UntilTheProcessLimit) {
  TscopedEnv limit("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE", nullptr);
  TpoolAllocator::sReloadPoolLimit();
  EXPECT_EQ(TpoolAllocator::sPoolLimit(), 8388608u);
  TpoolAllocator pool(8192);
  EXPECT_EQ(pool.blockBytes(), 8192u);
  EXPECT_EQ(freeFresh(pool, 1024), 1024u);
  EXPECT_EQ(pool.capacity(), 1024u);
  // 8192 x 1024 is exactly the limit, not above it: the list grows once more.
  EXPECT_EQ(freeFresh(pool, 1), 1025u);
  EXPECT_EQ(pool.capacity(), 2048u);
  EXPECT_EQ(freeFresh(pool, 1100), 2048u) << "blocks beyond 2048 go back to the heap";
  EXPECT_EQ(pool.capacity(), 2048u);
  TpoolAllocator::resetAllPools();
  EXPECT_EQ(pool.cachedCount(), 0u);
  EXPECT_EQ(pool.capacity(), 0u);
}

TEST_F(TpoolAllocatorTest, LimitComesFromTheEnvironmentInMegabytes) {
  {
    TscopedEnv limit("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE", "16");
    TpoolAllocator::sReloadPoolLimit();
    EXPECT_EQ(TpoolAllocator::sPoolLimit(), 16u << 20);
    TpoolAllocator pool(8192);
    EXPECT_EQ(freeFresh(pool, 2049), 2049u);
    EXPECT_EQ(pool.capacity(), 3072u);
  }
  for (const char* value : {"0", "junk", "-3"}) {
    TscopedEnv limit("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE", value);
    TpoolAllocator::sReloadPoolLimit();
    EXPECT_EQ(TpoolAllocator::sPoolLimit(), 8388608u) << value;
  }
}

TEST_F(TpoolAllocatorTest, ReusesTheLastFreedBlockFirst) {
  TpoolAllocator pool(13);
  EXPECT_EQ(pool.blockBytes(), 16u);
  void* a = pool.mpAlloc();
  void* b = pool.mpAlloc();
  std::memset(a, 1, 16);
  pool.mpFree(a);
  pool.mpFree(b);
  pool.mpFree(nullptr);
  EXPECT_EQ(pool.mpAlloc(), b);
  EXPECT_EQ(pool.mpAlloc(), a);
  EXPECT_EQ(pool.cachedCount(), 0u);
  pool.mpFree(a);
  pool.mpFree(b);
}

TEST_F(TpoolAllocatorTest, ThreadCachesDrainIntoTheSharedListWhenTheThreadEnds) {
  auto pool = std::make_unique<TpoolAllocator>(24);
  std::thread worker([&] {
    std::vector<void*> blocks;
    for (int i = 0; i < 10; ++i) blocks.push_back(pool->mpAlloc());
    for (void* p : blocks) pool->mpFree(p);
    EXPECT_EQ(pool->threadCachedCount(), 10u);
    EXPECT_EQ(pool->cachedCount(), 0u);
  });
  worker.join();
  EXPECT_EQ(pool->cachedCount(), 10u);
  // A cache left behind by a pool that is gone is dropped, not handed to the next pool.
  pool->mpFree(pool->mpAlloc());  // the refill moves the shared blocks into this thread's cache
  EXPECT_EQ(pool->threadCachedCount(), 10u);
  EXPECT_EQ(pool->cachedCount(), 0u);
  pool.reset();
  TpoolAllocator next(200);
  EXPECT_EQ(next.threadCachedCount(), 0u);
  void* p = next.mpAlloc();
  next.mpFree(p);
  EXPECT_EQ(next.mpAlloc(), p);
  next.mpFree(p);
}

TEST_F(TpoolAllocatorTest, TwoThreadsShareOnePool) {
  TpoolAllocator pool(48);
  std::vector<void*> passed;
  const auto work = [&pool](int id, std::vector<void*>* keep) {
    std::vector<void*> mine;
    for (int step = 0; step < 50000; ++step) {
      if (mine.size() < 8 || step % 3 != 0) {
        auto* p = static_cast<unsigned char*>(pool.mpAlloc());
        std::memset(p, id, 48);
        mine.push_back(p);
      }
      if (mine.size() > 64 || step % 2 == 0) {
        ASSERT_EQ(static_cast<unsigned char*>(mine.back())[47], id) << "block shared by two owners";
        pool.mpFree(mine.back());
        mine.pop_back();
      }
    }
    if (keep != nullptr) *keep = mine; else for (void* p : mine) pool.mpFree(p);
  };
  std::thread a(work, 1, &passed);
  std::thread b(work, 2, nullptr);
  a.join();
  b.join();
  for (void* p : passed) pool.mpFree(p);  // freed by another thread than the one that took them
  std::thread reset([] { TpoolAllocator::resetAllPools(); });
  reset.join();
  EXPECT_EQ(pool.cachedCount(), 0u);
}

TEST_F(TpoolAllocatorTest, PoolsBeyondTheThreadCacheSlotsUseTheSharedListAlone) {
  // More small pools than there are per-thread slots: the late ones must never reach a slot's
  // magazine through the inline path, and every pool keeps its own blocks.
  std::vector<std::unique_ptr<TpoolAllocator>> pools;
  for (int i = 0; i < 80; ++i) pools.push_back(std::make_unique<TpoolAllocator>(16 + 8 * (i % 4)));
  std::vector<std::vector<void*>> held(pools.size());
  for (std::size_t i = 0; i < pools.size(); ++i)
    for (int k = 0; k < 3; ++k) {
      auto* p = static_cast<unsigned char*>(pools[i]->mpAlloc());
      std::memset(p, static_cast<int>(i), pools[i]->blockBytes());
      held[i].push_back(p);
    }
  for (std::size_t i = 0; i < pools.size(); ++i)
    for (void* p : held[i]) pools[i]->mpFree(p);
  std::size_t uncached = 0;
  for (std::size_t i = 0; i < pools.size(); ++i) {
    const std::size_t inThread = pools[i]->threadCachedCount();
    if (inThread == 0) {
      ++uncached;
      EXPECT_EQ(pools[i]->cachedCount(), 3u) << "a pool without a slot keeps its blocks on its list";
    }
    EXPECT_EQ(inThread + pools[i]->cachedCount(), 3u);
    // Each pool hands back exactly its own three blocks.
    std::set<void*> back;
    for (int k = 0; k < 3; ++k) back.insert(pools[i]->mpAlloc());
    EXPECT_EQ(back, std::set<void*>(held[i].begin(), held[i].end())) << "pool " << i;
    for (void* p : back) pools[i]->mpFree(p);
  }
  EXPECT_GE(uncached, 16u);
}

TEST_F(TpoolAllocatorTest, DestroyingAPoolEmptiesTheMagazinesOfLiveThreads) {
  // A thread that stays alive caches blocks of a pool destroyed elsewhere: those blocks are freed
  // (the leak checker sees none) and the pool that takes the slot next starts empty there (an old
  // 40-byte block handed out as a 200-byte one would overflow under AddressSanitizer).
  auto pool = std::make_unique<TpoolAllocator>(40);
  std::unique_ptr<TpoolAllocator> next;
  std::mutex mutex;
  std::condition_variable changed;
  int phase = 0;
  std::size_t cachedInNext = 99;
  std::thread worker([&] {
    std::vector<void*> blocks;
    for (int i = 0; i < 5; ++i) blocks.push_back(pool->mpAlloc());
    for (void* p : blocks) pool->mpFree(p);
    std::unique_lock<std::mutex> lock(mutex);
    phase = 1;
    changed.notify_all();
    changed.wait(lock, [&] { return phase == 2; });
    cachedInNext = next->threadCachedCount();
    void* p = next->mpAlloc();
    std::memset(p, 1, 200);
    next->mpFree(p);
  });
  {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return phase == 1; });
    pool.reset();
    next = std::make_unique<TpoolAllocator>(200);
    phase = 2;
    changed.notify_all();
  }
  worker.join();
  EXPECT_EQ(cachedInNext, 0u);
  EXPECT_EQ(next->cachedCount(), 1u) << "the worker's magazine drained into the list at its exit";
}
