// Exceptions, locks, triggers, the string catalog and the big-endian helpers.
#include <velacore/base/TbigEndian.h>
#include <velacore/base/Texception.h>
#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/Ttrigger.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

TEST(Texception, SubclassesCarryMessageAndCode) {
  try {
    throw TfileException(13, "cannot open scene.vela");
  } catch (const Texception& e) {
    EXPECT_STREQ(e.message(), "cannot open scene.vela");
    EXPECT_STREQ(e.what(), "cannot open scene.vela");
    EXPECT_EQ(dynamic_cast<const TfileException&>(e).code(), 13);
  }
  EXPECT_THROW(throw TincompatibleData("int vs string"), Texception);
  EXPECT_THROW(throw TmemoryException(), std::exception);
}

// Each lock type protects a plain counter against two threads; a broken lock loses increments
// (and ThreadSanitizer reports the race).
template <class Lock>
class TlockTest : public ::testing::Test {};
using LockTypes = ::testing::Types<TmtCriticalSection, TmtSpinCriticalSection, TmtRecursiveMutex>;
TYPED_TEST_SUITE(TlockTest, LockTypes);

TYPED_TEST(TlockTest, SerialisesTwoThreads) {
  TypeParam lock;
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < 50000; ++i) {
      TmtScopedLock guard(lock);
      ++counter;
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 100000);
  EXPECT_TRUE(lock.tryLock());
  lock.unlock();
}

// The holder may take the lock again; other threads wait until every level is released.
TEST(TmtRecursiveMutex, HolderMayRelockOthersWaitForTheLastRelease) {
  TmtRecursiveMutex m;
  auto otherThreadGetsIt = [&m] {
    bool got = false;
    std::thread([&] {
      got = m.tryLock();
      if (got) m.unlock();
    }).join();
    return got;
  };
  {
    TmtScopedLock outer(m);
    {
      TmtScopedLock inner(m);
      EXPECT_TRUE(m.tryLock());  // a third level, by the holder
      m.unlock();
      EXPECT_FALSE(otherThreadGetsIt());
    }
    EXPECT_FALSE(otherThreadGetsIt());  // one level still held
  }
  EXPECT_TRUE(otherThreadGetsIt());
}

TEST(Ttrigger, FiresInOrderAndForgetsRemoved) {
  Ttrigger trigger;
  std::vector<int> calls;
  int plainCalls = 0;
  auto first = trigger.add([&] { calls.push_back(1); });
  trigger.add([&] { calls.push_back(2); });
  trigger.add([](void* p) { ++*static_cast<int*>(p); }, &plainCalls);
  trigger.fire();
  EXPECT_EQ(calls, (std::vector<int>{1, 2}));
  EXPECT_EQ(plainCalls, 1);
  EXPECT_TRUE(trigger.remove(first));
  EXPECT_FALSE(trigger.remove(first));
  trigger.fire();
  EXPECT_EQ(calls, (std::vector<int>{1, 2, 2}));
  EXPECT_EQ(trigger.size(), 2u);
}

TEST(Ttrigger, CallbackMayChangeTheListWhileFiring) {
  Ttrigger trigger;
  int added = 0;
  trigger.add([&] { trigger.add([&] { ++added; }); });
  trigger.fire();  // must not deadlock; the new callback runs from the next fire on
  EXPECT_EQ(added, 0);
  trigger.fire();
  EXPECT_EQ(added, 1);
}

TEST(Ttrigger, ConcurrentAddRemoveFire) {
  Ttrigger trigger;
  std::atomic<int> fired{0};
  std::thread writer([&] {
    for (int i = 0; i < 2000; ++i) trigger.remove(trigger.add([&] { ++fired; }));
  });
  for (int i = 0; i < 2000; ++i) trigger.fire();
  writer.join();
  EXPECT_EQ(trigger.size(), 0u);
}

TEST(TstringCatalog, KnownKeyGivesTextUnknownGivesKey) {
  EXPECT_TRUE(TstringCatalog::sHas({"s_TcoreStrings.rOutOfMemory"}));
  EXPECT_STREQ(TstringCatalog::sText("s_TcoreStrings.rOutOfMemory"), "out of memory");
  EXPECT_STREQ(TstringCatalog::sText("s_Nothing.rMissing"), "s_Nothing.rMissing");
  EXPECT_STREQ(TstringCatalog::sText(TstringId{nullptr}), "");
  EXPECT_GE(TstringCatalog::sSize(), 1u);
}

TEST(TbigEndian, MatchesByteOrderOnDisk) {
  unsigned char buf[16];
  TbigEndian::write<uint32_t>(buf, 0x464F524Du);
  EXPECT_EQ(std::memcmp(buf, "FORM", 4), 0);
  EXPECT_EQ(TbigEndian::read<uint32_t>(buf), 0x464F524Du);

  TbigEndian::write<int16_t>(buf + 1, -2);  // unaligned
  EXPECT_EQ(buf[1], 0xFF);
  EXPECT_EQ(buf[2], 0xFE);
  EXPECT_EQ(TbigEndian::read<int16_t>(buf + 1), -2);

  TbigEndian::write(buf + 3, 1.0);  // IEEE 754: 3F F0 00 ...
  EXPECT_EQ(buf[3], 0x3F);
  EXPECT_EQ(buf[4], 0xF0);
  EXPECT_EQ(TbigEndian::read<double>(buf + 3), 1.0);
  TbigEndian::write(buf + 3, std::numeric_limits<double>::quiet_NaN());
  EXPECT_TRUE(std::isnan(TbigEndian::read<double>(buf + 3)));

  uint32_t words[2] = {0x01020304u, 0xA0B0C0D0u};
  TbigEndian::swapInPlace(words, 2);  // now in disk order, most significant byte first
  const unsigned char disk[8] = {0x01, 0x02, 0x03, 0x04, 0xA0, 0xB0, 0xC0, 0xD0};
  EXPECT_EQ(std::memcmp(words, disk, 8), 0);
  TbigEndian::swapInPlace(words, 1);  // only the count given: back to host order
  EXPECT_EQ(words[0], 0x01020304u);
  EXPECT_EQ(std::memcmp(words + 1, disk + 4, 4), 0);
}
