// Pool caches: the process limit, reuse order, the registry, and two threads on one pool.
#include "TestAllocators.h"

#include <velacore/memory/TpoolAllocator.h>

#include <gtest/gtest.h>

#include <atomic>
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
  }
  // Not under the test's mutex: the pools' locks must not nest inside a test's lock.
  pool.reset();
  next = std::make_unique<TpoolAllocator>(200);
  {
    std::lock_guard<std::mutex> lock(mutex);
    phase = 2;
  }
  changed.notify_all();
  worker.join();
  EXPECT_EQ(cachedInNext, 0u);
  EXPECT_EQ(next->cachedCount(), 1u) << "the worker's magazine drained into the list at its exit";
}

namespace {

// Runs `threads` workers that each call `fill(pool)`, report their own cached blocks and then wait
// (keeping their thread caches) until `whileParked` has run on the calling thread; each worker
// then reports its cached blocks once more.
struct TparkedThreads {
  std::mutex mutex;
  std::condition_variable changed;
  int parked = 0;
  bool release = false;
  std::vector<std::size_t> before, after;

  template <class Fill, class WhileParked>
  void run(int threads, TpoolAllocator& pool, Fill fill, WhileParked whileParked) {
    before.assign(threads, 0);
    after.assign(threads, 0);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
      workers.emplace_back([&, t] {
        fill(pool);
        std::unique_lock<std::mutex> lock(mutex);
        before[t] = pool.threadCachedCount();
        ++parked;
        changed.notify_all();
        changed.wait(lock, [&] { return release; });
        after[t] = pool.threadCachedCount();
      });
    {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [&] { return parked == threads; });
    }
    whileParked();  // not under our mutex: the pools' locks must not nest inside a test's lock
    {
      std::lock_guard<std::mutex> lock(mutex);
      release = true;
    }
    changed.notify_all();
    for (std::thread& w : workers) w.join();
  }
};

std::size_t sum(const std::vector<std::size_t>& v) {
  std::size_t total = 0;
  for (std::size_t n : v) total += n;
  return total;
}

}  // namespace

TEST_F(TpoolAllocatorTest, ThreadCachedBlocksCountAgainstTheProcessLimit) {
  // 1 MiB: a list of 512-byte blocks grows while 512 x capacity <= 1 MiB, so to 3072 entries, and
  // that bounds every block the pool keeps, whichever thread holds it.
  TscopedEnv limit("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE", "1");
  TpoolAllocator::sReloadPoolLimit();
  TpoolAllocator pool(512);
  TparkedThreads threads;
  std::size_t shared = 0;
  threads.run(
      4, pool, [](TpoolAllocator& p) { freeFresh(p, 1000); }, [&] { shared = pool.cachedCount(); });
  EXPECT_LE(shared + sum(threads.before), 3072u);
  EXPECT_GE(shared + sum(threads.before), 3072u - 4 * 32) << "the cache is used up to its limit";
  // One thread alone reaches the list's limit exactly, its own cache included.
  TpoolAllocator::resetAllPools();
  freeFresh(pool, 4000);
  EXPECT_EQ(pool.cachedCount() + pool.threadCachedCount(), 3072u);
  EXPECT_EQ(pool.capacity(), 3072u);
  pool.cleanUpFreeList();
  EXPECT_EQ(pool.cachedCount() + pool.threadCachedCount(), 0u);
}

TEST_F(TpoolAllocatorTest, ResetTakesBackTheBlocksOfEveryThread) {
  // The workers stay alive across the reset: their cached blocks must be freed by it (the leak
  // checker and the counts see it), and their caches must work again afterwards.
  TpoolAllocator pool(64);
  TparkedThreads threads;
  threads.run(
      3, pool,
      [](TpoolAllocator& p) {
        std::vector<void*> blocks;
        for (int i = 0; i < 20; ++i) blocks.push_back(p.mpAlloc());
        for (void* b : blocks) p.mpFree(b);
      },
      [] { TpoolAllocator::resetAllPools(); });
  EXPECT_EQ(sum(threads.before), 60u);
  EXPECT_EQ(sum(threads.after), 0u) << "a reset leaves blocks in other threads' caches";
  EXPECT_EQ(pool.cachedCount(), 0u);
  EXPECT_EQ(pool.capacity(), 0u);
  // Caches refill after a reset.
  void* p = pool.mpAlloc();
  pool.mpFree(p);
  EXPECT_EQ(pool.cachedCount() + pool.threadCachedCount(), 1u);
  EXPECT_EQ(pool.mpAlloc(), p);
  pool.mpFree(p);
}

TEST_F(TpoolAllocatorTest, ResetWaitsOutAThreadCaughtInItsInlineStep) {
  // A worker is held inside the lock-free step (its busy mark set, as between the check and the
  // count update of mpAlloc). A reset must raise its flag, wait for that worker rather than empty
  // its magazine under it, and finish once the step ends.
  namespace mi = vela::memory_internal;
  TpoolAllocator pool(48);
  std::atomic<bool> resetDone{false};
  std::atomic<int> stage{0};
  bool enterDuringReset = true;
  bool doneWhileBusy = true;
  std::size_t cachedAfter = 1;
  std::thread worker([&] {
    pool.mpFree(pool.mpAlloc());
    ASSERT_EQ(pool.threadCachedCount(), 1u);
    mi::tPoolBusy.store(1);
    stage = 1;
    while ((mi::gPoolTakeback.load() & mi::kPoolTakebackRunning) == 0 && !resetDone.load())
      std::this_thread::yield();
    doneWhileBusy = resetDone.load();
    enterDuringReset = mi::poolCacheEnter();  // leaves the mark set, as a real step would
    mi::poolCacheLeave();
    while (!resetDone.load()) std::this_thread::yield();
    cachedAfter = pool.threadCachedCount();
    stage = 2;
  });
  while (stage.load() != 1) std::this_thread::yield();
  std::thread resetter([&] {
    TpoolAllocator::resetAllPools();
    resetDone = true;
  });
  resetter.join();
  worker.join();
  EXPECT_FALSE(doneWhileBusy) << "the reset emptied a magazine while its thread was mid-step";
  EXPECT_FALSE(enterDuringReset) << "a step began while a reset was taking magazines back";
  EXPECT_EQ(cachedAfter, 0u);
  EXPECT_EQ(mi::gPoolTakeback.load() & mi::kPoolTakebackRunning, 0u);
}

TEST_F(TpoolAllocatorTest, ResetRacesWithThreadsThatKeepUsingThePool) {
  // Resets from one thread while others allocate and free: no block is handed out twice, lost or
  // freed while in use (ThreadSanitizer and AddressSanitizer watch; the fill pattern checks it).
  TpoolAllocator pool(32);
  std::atomic<bool> stop{false};
  std::atomic<int> corrupted{0};
  std::vector<std::thread> workers;
  for (int id = 1; id <= 2; ++id)
    workers.emplace_back([&, id] {
      std::vector<unsigned char*> mine;
      for (int step = 0; step < 40000; ++step) {
        if (mine.size() < 40 && step % 3 != 2) {
          auto* b = static_cast<unsigned char*>(pool.mpAlloc());
          std::memset(b, id, 32);
          mine.push_back(b);
        } else if (!mine.empty()) {
          if (mine.back()[0] != id || mine.back()[31] != id) ++corrupted;
          pool.mpFree(mine.back());
          mine.pop_back();
        }
      }
      for (unsigned char* b : mine) pool.mpFree(b);
    });
  std::thread resetter([&] {
    while (!stop.load()) {
      TpoolAllocator::resetAllPools();
      std::this_thread::yield();
    }
  });
  for (std::thread& w : workers) w.join();
  stop = true;
  resetter.join();
  EXPECT_EQ(corrupted.load(), 0);
  TpoolAllocator::resetAllPools();
  EXPECT_EQ(pool.cachedCount(), 0u);
}

TEST_F(TpoolAllocatorTest, AFreeFromAThreadLocalDestructorAfterTheFlushReachesTheSharedList) {
  // A thread-local object built before the thread's pool cache is destroyed after it: its release
  // must not build a second cache that nothing ever flushes.
  static TpoolAllocator* sPool = nullptr;
  struct Tholder {
    void* block = nullptr;
    ~Tholder() {
      if (block != nullptr) sPool->mpFree(block);
    }
  };
  TpoolAllocator pool(24);
  sPool = &pool;
  std::thread worker([] {
    static thread_local Tholder holder;
    holder.block = reinterpret_cast<void*>(1);  // constructed now, before the cache
    holder.block = sPool->mpAlloc();            // the cache appears with this call
    sPool->mpFree(sPool->mpAlloc());
  });
  worker.join();
  EXPECT_EQ(pool.cachedCount(), 2u) << "a block was left in a cache of a finished thread";
  TpoolAllocator::resetAllPools();
  sPool = nullptr;
}
