// The process page source: the use-malloc switches, the heap/mapping split, block records,
// the free-memory estimate and the out-of-memory report.
#include "TestAllocators.h"

#include <velacore/base/Texception.h>
#include <velacore/memory/Tallocator.h>
#include <velacore/strings/TstringArray.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

namespace {

// Runs each test with recording on (VELA_USE_MALLOC=0) unless the test changes the switches.
class TmallocAllocatorTest : public ::testing::Test {
 protected:
  void SetUp() override { TmallocAllocator::sReloadSwitches(); }
  void TearDown() override {
    fEnv.clear();
    TmallocAllocator::sReloadSwitches();
  }
  void env(const char* name, const char* value) {
    fEnv.push_back(std::make_unique<TscopedEnv>(name, value));
    TmallocAllocator::sReloadSwitches();
  }
  std::vector<std::unique_ptr<TscopedEnv>> fEnv;
};

class TrecordingTest : public TmallocAllocatorTest {
 protected:
  void SetUp() override {
    env("VELA_USE_MALLOC", "0");
    env("VELA_MEMORY_LEAK_DIAGNOSIS", nullptr);
    env("VELA_NO_MEMORY_EXCEPTION", nullptr);
  }
};

}  // namespace

TEST_F(TmallocAllocatorTest, UseMallocModeFollowsBothSwitches) {
  struct Tcase {
    const char* useMalloc;
    const char* diagnosis;
    bool expected;
  };
  const Tcase cases[] = {
      {nullptr, nullptr, true}, {"1", nullptr, true}, {"0", nullptr, false}, {"0", "0", false},
      {"0", "1", true},         {"1", "1", true},     {"0", "7", true},      {nullptr, "0", true},
  };
  for (const Tcase& c : cases) {
    env("VELA_USE_MALLOC", c.useMalloc);
    env("VELA_MEMORY_LEAK_DIAGNOSIS", c.diagnosis);
    EXPECT_EQ(TmallocAllocator::useMalloc(), c.expected)
        << "VELA_USE_MALLOC=" << (c.useMalloc ? c.useMalloc : "(unset)")
        << " VELA_MEMORY_LEAK_DIAGNOSIS=" << (c.diagnosis ? c.diagnosis : "(unset)");
    // Either way a block works and goes back; only recording differs.
    void* p = TmallocAllocator::alloc(40000, "Matrix");
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(TmallocAllocator::isLargeBlock(p), !c.expected);
    EXPECT_EQ(TmallocAllocator::getArrayMemSize("Matrix"), c.expected ? 0u : 40000u);
    TmallocAllocator::mallocAllocator().free(p);
  }
}

TEST_F(TrecordingTest, SmallBlocksComeFromTheHeapLargeOnesFromMappings) {
  TmallocAllocator& a = TmallocAllocator::mallocAllocator();
  EXPECT_EQ(TmallocAllocator::alloc(0, "Zero"), nullptr);
  const std::size_t before = TmallocAllocator::currentLargeBytes();
  const std::int64_t freeBefore = TmallocAllocator::freeMemory();

  void* below = TmallocAllocator::alloc(31743, "Split");
  void* at = TmallocAllocator::alloc(31744, "Split");
  ASSERT_NE(below, nullptr);
  ASSERT_NE(at, nullptr);
  EXPECT_FALSE(TmallocAllocator::isLargeBlock(below));
  EXPECT_TRUE(TmallocAllocator::isLargeBlock(at));
  EXPECT_EQ(TmallocAllocator::pageSize(), 16u);
  EXPECT_EQ(TmallocAllocator::mask(), 15u);
  EXPECT_EQ(TmallocAllocator::currentLargeBytes(), before + 31744);
  EXPECT_GE(TmallocAllocator::peakLargeBytes(), before + 31744);
  // The estimate drops by the mapped size (unless a refresh happened in between).
  EXPECT_LE(TmallocAllocator::freeMemory(), freeBefore + (std::int64_t(1) << 30));
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Split"), 31743u + 31744u);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Nothing"), 0u);

  // Large blocks are zero-filled and usable to the end.
  const auto* bytes = static_cast<const unsigned char*>(at);
  for (std::size_t i = 0; i < 31744; i += 512) ASSERT_EQ(bytes[i], 0);
  std::memset(at, 0xAB, 31744);

  a.free(below);
  a.free(at, 31744);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Split"), 0u);
  EXPECT_EQ(TmallocAllocator::currentLargeBytes(), before);
}

TEST_F(TrecordingTest, RecordsFollowRandomReallocsAgainstAShadowMap) {
  // Heap blocks resized at random (moved or in place): the records always hold exactly the
  // live blocks with their latest sizes, whatever realloc did with the old addresses.
  TmallocAllocator& a = TmallocAllocator::mallocAllocator();
  std::mt19937 rng(7);
  std::map<void*, std::size_t> shadow;
  std::vector<void*> live;
  for (int step = 0; step < 4000; ++step) {
    const std::size_t size = 1 + rng() % (step % 50 == 0 ? 31743 : 600);
    if (live.empty() || rng() % 3 == 0) {
      void* p = TmallocAllocator::alloc(size, "Shadow");
      shadow[p] = size;
      live.push_back(p);
    } else {
      const std::size_t i = rng() % live.size();
      void* q = a.realloc(live[i], size, "Shadow");
      ASSERT_NE(q, nullptr);
      shadow.erase(live[i]);
      shadow[q] = size;
      live[i] = q;
    }
    if (step % 97 == 0 && !live.empty()) {
      const std::size_t i = rng() % live.size();
      a.free(live[i]);
      shadow.erase(live[i]);
      live[i] = live.back();
      live.pop_back();
    }
  }
  std::size_t total = 0;
  for (const auto& [p, size] : shadow) {
    ASSERT_EQ(TmallocAllocator::blockSize(p), size);
    total += size;
  }
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Shadow"), total);
  for (void* p : live) a.free(p);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Shadow"), 0u);
}

TEST_F(TrecordingTest, ReallocMovesAGrowingBlockAndKeepsItsContents) {
  TmallocAllocator& a = TmallocAllocator::mallocAllocator();
  auto* p = static_cast<char*>(TmallocAllocator::alloc(100, "Grow"));
  for (int i = 0; i < 100; ++i) p[i] = static_cast<char>(i);
  auto* q = static_cast<char*>(a.realloc(p, 200, "Grow"));
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(TmallocAllocator::blockSize(q), 200u);
  auto* large = static_cast<char*>(a.realloc(q, 40000, "Grow"));
  ASSERT_NE(large, nullptr);
  EXPECT_NE(large, q);
  EXPECT_TRUE(TmallocAllocator::isLargeBlock(large));
  EXPECT_EQ(TmallocAllocator::blockSize(q), 0u) << "the old record must be gone";
  for (int i = 0; i < 100; ++i) ASSERT_EQ(large[i], static_cast<char>(i));
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Grow"), 40000u);
  // Shrinking a mapping back under the split returns to the heap, contents kept.
  auto* small = static_cast<char*>(a.realloc(large, 64, "Grow"));
  ASSERT_NE(small, nullptr);
  EXPECT_FALSE(TmallocAllocator::isLargeBlock(small));
  for (int i = 0; i < 64; ++i) ASSERT_EQ(small[i], static_cast<char>(i));
  // An address the allocator never handed out is refused, not touched.
  int local = 0;
  EXPECT_EQ(a.realloc(&local, 10, "Grow"), nullptr);
  ::testing::internal::CaptureStderr();
  a.free(&local);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("ERR: "), std::string::npos);
  a.free(small);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Grow"), 0u);
}

TEST_F(TrecordingTest, GeometryAndEstimate) {
  EXPECT_EQ(TmallocAllocator::pageAlign(0), 0u);
  void* large = TmallocAllocator::alloc(40000, "Open");
  EXPECT_EQ(TmallocAllocator::pageAlign(33), 48u);
  EXPECT_EQ(TmallocAllocator::pageAlign(48), 48u);
  TmallocAllocator::mallocAllocator().free(large);
  const std::int64_t estimate = TmallocAllocator::setFreeMemory(true);
  EXPECT_GE(estimate, 0);
  EXPECT_GE(TmallocAllocator::maximumMemory(), estimate);
  EXPECT_EQ(TmallocAllocator::adjustFreeMemory(-100), estimate);
  EXPECT_EQ(TmallocAllocator::adjustFreeMemory(100), estimate - 100);
  EXPECT_TRUE(TmallocAllocator::checkFreeMemory(1));
  EXPECT_FALSE(TmallocAllocator::checkFreeMemory(static_cast<std::size_t>(estimate) + (std::size_t(1) << 40)));
}

TEST_F(TrecordingTest, StatisticsUseTheCatalogTexts) {
  std::ostringstream out;
  TmallocAllocator::printStatistics(out);
  const std::string text = out.str();
  EXPECT_EQ(text.rfind("====================================\n", 0), 0u);
  for (const char* label : {"Page faults:", "Maximum resident size:", "Peak estimated memory:",
                            "Peak arena size:", "Current memory use:"})
    EXPECT_NE(text.find(label), std::string::npos) << label;
  TstringArray lines;
  TmallocAllocator::getStatistics(lines);
  ASSERT_GE(lines.length(), 6u);
  EXPECT_NE(std::string(lines[1].asC()).find(" MB"), std::string::npos);
  EXPECT_EQ(std::string(lines[5].asC()), "Arenas and pools:");
}

TEST_F(TrecordingTest, ExhaustedMemoryReportsAndThrows) {
  const std::size_t hopeless =
      static_cast<std::size_t>(TmallocAllocator::setFreeMemory(true)) + (std::size_t(1) << 42);
  ::testing::internal::CaptureStderr();
  EXPECT_THROW((void)TmallocAllocator::alloc(hopeless, "Hopeless"), TmemoryException);
  const std::string report = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(report.find("ERR: Out of memory"), std::string::npos);
  EXPECT_NE(report.find("Size of the request: "), std::string::npos);
  EXPECT_NE(report.find("Memory kept in reserve: 10.00 MB"), std::string::npos);
  EXPECT_NE(report.find("Peak arena size:"), std::string::npos);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("Hopeless"), 0u);
}

TEST_F(TrecordingTest, ExhaustedMemoryIsSilentWhenSuppressed) {
  env("VELA_NO_MEMORY_EXCEPTION", "1");
  const std::size_t hopeless =
      static_cast<std::size_t>(TmallocAllocator::setFreeMemory(true)) + (std::size_t(1) << 42);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(TmallocAllocator::alloc(hopeless, "Hopeless"), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  void* p = TmallocAllocator::alloc(100, "Hopeless");
  EXPECT_EQ(TmallocAllocator::mallocAllocator().realloc(p, hopeless, "Hopeless"), nullptr);
  EXPECT_EQ(TmallocAllocator::blockSize(p), 100u) << "a failed realloc keeps the old block";
  TmallocAllocator::mallocAllocator().free(p);
}

TEST_F(TrecordingTest, RecordsStayExactUnderTwoThreads) {
  const auto work = [](const char* name) {
    std::vector<void*> blocks;
    for (int round = 0; round < 200; ++round) {
      blocks.push_back(TmallocAllocator::alloc(round % 3 == 0 ? 40000 : 64 + round, name));
      if (round % 4 == 3) {
        TmallocAllocator::mallocAllocator().free(blocks.front());
        blocks.erase(blocks.begin());
      }
    }
    for (void* p : blocks) TmallocAllocator::mallocAllocator().free(p);
  };
  std::thread a(work, "ThreadA");
  std::thread b(work, "ThreadB");
  a.join();
  b.join();
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("ThreadA"), 0u);
  EXPECT_EQ(TmallocAllocator::getArrayMemSize("ThreadB"), 0u);
}
