// Lent buffers: lending order, refusals, resizing, and threads borrowing from one manager.
#include <velacore/memory/TpoolManager.h>

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

TEST(TpoolManager, LendsInQueueOrderAndRefusesWhatItDoesNotKnow) {
  TpoolManager pools;
  EXPECT_FALSE(pools.create(0, 10, 4));
  EXPECT_FALSE(pools.create(-1, 10, 4));
  EXPECT_FALSE(pools.create(2, -10, 4));
  EXPECT_FALSE(pools.create(1, 1 << 20, 1 << 12)) << "4 GiB buffers are refused";
  EXPECT_EQ(pools.count(), 0);
  ASSERT_TRUE(pools.create(3, 10, 4));
  EXPECT_EQ(pools.size(), 40u);
  EXPECT_EQ(pools.availableCount(), 3);
  int bytes = 0;
  void* a = pools.getPool(bytes);
  EXPECT_EQ(bytes, 40);
  void* b = pools.getPool(bytes);
  void* c = pools.getPool(bytes);
  EXPECT_EQ(pools.getPool(bytes), nullptr);
  EXPECT_EQ(pools.inUseCount(), 3);
  EXPECT_EQ(pools.getOldestInUsePool()->data(), a);
  EXPECT_EQ(pools.getNewestInUsePool(true)->data(), c);
  EXPECT_TRUE(pools.getOldestInUsePool()->inUse());
  int local = 0;
  EXPECT_FALSE(pools.releasePool(&local));
  EXPECT_FALSE(pools.releasePool(nullptr));
  EXPECT_FALSE(pools.changeSize(20, 4)) << "refused while buffers are lent";
  EXPECT_EQ(pools.size(), 40u);
  EXPECT_TRUE(pools.releasePool(b));
  EXPECT_FALSE(pools.releasePool(b)) << "not lent any more";
  EXPECT_TRUE(pools.releasePool(a));
  EXPECT_TRUE(pools.releasePool(c));
  // Returned buffers go to the back of the queue: b was returned first, so it goes out first.
  EXPECT_EQ(pools.getPool(bytes), b);
  EXPECT_TRUE(pools.releasePool(b));
  EXPECT_TRUE(pools.changeSize(100, 8));
  auto* big = static_cast<unsigned char*>(pools.getPool(bytes));
  EXPECT_EQ(bytes, 800);
  for (int i = 0; i < 800; ++i) ASSERT_EQ(big[i], 0) << "resized buffers start zero-filled";
  std::memset(big, 0x5A, 800);
  pools.destroy();
  EXPECT_EQ(pools.count(), 0);
  EXPECT_EQ(pools.inUseCount(), 0);
}

TEST(TpoolManager, ThreadsBorrowWithoutSharingABuffer) {
  TpoolManager pools;
  ASSERT_TRUE(pools.create(4, 64, 1));
  const auto work = [&pools](unsigned char id) {
    for (int round = 0; round < 5000; ++round) {
      int bytes = 0;
      auto* p = static_cast<unsigned char*>(pools.getPool(bytes));
      if (p == nullptr) continue;
      std::memset(p, id, 64);
      for (int i = 0; i < 64; ++i) ASSERT_EQ(p[i], id);
      ASSERT_TRUE(pools.releasePool(p));
    }
  };
  std::thread a(work, 1);
  std::thread b(work, 2);
  a.join();
  b.join();
  EXPECT_EQ(pools.availableCount(), 4);
}
