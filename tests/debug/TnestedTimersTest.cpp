// Nested timers and the stopwatch.
#include <velacore/debug/Tclock.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/debug/TnestedTimers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

namespace {

class TnestedTimersTest : public ::testing::Test {
 protected:
  void SetUp() override { clean(); }
  void TearDown() override { clean(); }
  static void clean() {
    while (TnestedTimers::openLevels() > 0) TnestedTimers::stopNested();
    TnestedTimers::releaseAll();
  }
  static void spin() {
    const double until = TnestedTimers::pollTimer() + 0.0002;
    while (TnestedTimers::pollTimer() < until) {
    }
  }
};

}  // namespace

TEST_F(TnestedTimersTest, RecursionTimesOnlyTheOuterRun) {
  const int t = TnestedTimers::getNextIndex("recursive", 42);
  ASSERT_GE(t, 0);
  EXPECT_EQ(TnestedTimers::tag(t), 42u);
  TnestedTimers::start(t);
  spin();
  TnestedTimers::start(t);
  spin();
  const double inner = TnestedTimers::stop(t);
  EXPECT_EQ(TnestedTimers::getCount(t), 0);  // still running
  const double outer = TnestedTimers::stop(t);
  EXPECT_GT(inner, 0.0);
  EXPECT_GE(outer, inner);
  EXPECT_EQ(TnestedTimers::getCount(t), 1);
  EXPECT_EQ(TnestedTimers::getRecursions(t), 1);
  EXPECT_DOUBLE_EQ(TnestedTimers::getTime(t), outer);
  EXPECT_EQ(TnestedTimers::stop(t), 0.0);  // idle
  EXPECT_EQ(TnestedTimers::stop(-1), 0.0);
  TnestedTimers::start(-1);
  TnestedTimers::start(TnestedTimers::kSlots);
}

TEST_F(TnestedTimersTest, StretchesAgreeWithSteadyClockAndNeverRunBackwards) {
  // Timers read the clock's raw counter and convert only the difference: a 30 ms stretch must
  // come out as steady_clock sees it, and back-to-back pairs (whose reads may cross) never give
  // a negative time, nor a huge one (as a negative difference taken for a wrapped counter would).
  const int t = TnestedTimers::getNextIndex("stretch");
  ASSERT_GE(t, 0);
  using Tsteady = std::chrono::steady_clock;
  const auto outerBegin = Tsteady::now();
  TnestedTimers::start(t);
  const auto innerBegin = Tsteady::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const auto innerEnd = Tsteady::now();
  const double measured = TnestedTimers::stop(t);
  const auto outerEnd = Tsteady::now();
  EXPECT_GE(measured, 0.99 * std::chrono::duration<double>(innerEnd - innerBegin).count());
  EXPECT_LE(measured, 1.01 * std::chrono::duration<double>(outerEnd - outerBegin).count());
  double worst = 0.0;
  for (int i = 0; i < 100000; ++i) {
    TnestedTimers::start(t);
    worst = std::max(worst, TnestedTimers::stop(t));
  }
  EXPECT_LT(worst, 1.0) << "an empty stretch measured as " << worst << " s";
  EXPECT_EQ(TnestedTimers::getCount(t), 100001);
}

TEST_F(TnestedTimersTest, TableHoldsExactly128) {
  const int unnamed = TnestedTimers::getNextIndex(nullptr);
  EXPECT_GE(unnamed, 0);
  EXPECT_EQ(TnestedTimers::description(unnamed), nullptr);  // still free
  std::vector<int> taken;
  for (int i = 0; i < TnestedTimers::kSlots; ++i) {
    const int index = TnestedTimers::getNextIndex(("t" + std::to_string(i)).c_str());
    ASSERT_GE(index, 0) << i;
    taken.push_back(index);
  }
  EXPECT_EQ(TnestedTimers::getNextIndex("one too many"), -1);
  EXPECT_EQ(TnestedTimers::getIndex("t7"), taken[7]);
  TnestedTimers::releaseIndex(taken[3]);
  EXPECT_EQ(TnestedTimers::getIndex("again"), taken[3]);
}

TEST_F(TnestedTimersTest, NestingMakesInstancesPerParent) {
  const int a = TnestedTimers::getIndex("a");
  const int b = TnestedTimers::getIndex("b");
  TnestedTimers::startNested(a);
  TnestedTimers::startNested(b);
  TnestedTimers::startNested(b);  // recursion: not a new level
  EXPECT_EQ(TnestedTimers::openLevels(), 2);
  TnestedTimers::stopNested();
  TnestedTimers::stopNested();
  TnestedTimers::stopNested();
  EXPECT_EQ(TnestedTimers::openLevels(), 0);
  TnestedTimers::startNested(b);  // b at the top level: a second instance
  spin();
  TnestedTimers::stopNested();

  std::vector<int> tree;
  TnestedTimers::collectAllNestedTimers(tree);
  ASSERT_EQ(tree.size(), 3u);
  EXPECT_EQ(tree[0], a);
  EXPECT_EQ(tree[1], b);
  const int instance = tree[2];
  EXPECT_NE(instance, b);
  EXPECT_STREQ(TnestedTimers::description(instance), "b");
  EXPECT_EQ(TnestedTimers::getNestingInfo(b)->parent, TnestedTimers::getNestingInfo(a));
  EXPECT_EQ(TnestedTimers::getRecursions(b), 1);
  EXPECT_DOUBLE_EQ(TnestedTimers::getTime(b, true),
                   TnestedTimers::getTime(b) + TnestedTimers::getTime(instance));
  EXPECT_EQ(TnestedTimers::numNestedTimerCalls(), 4);

  TdebugOutputString out;
  TnestedTimers::dump(TnestedTimers::kNested | TnestedTimers::kWithInstances, &out);
  const std::string report = out.string().asC();
  EXPECT_EQ(report.find("Idx Description                    Cumulative    Average  Count "),
            0u)
      << report;
  EXPECT_NE(report.find("Time   Tot %  Lev % Count Tim%\n"),
            std::string::npos)
      << report;
  EXPECT_NE(report.find("  b  "), std::string::npos) << report;

  TnestedTimers::reset();  // drops the instance
  EXPECT_EQ(TnestedTimers::description(instance), nullptr);
  EXPECT_EQ(TnestedTimers::getCount(b), 0);
  tree.clear();
  TnestedTimers::collectAllNestedTimers(tree);
  EXPECT_TRUE(tree.empty());
}

TEST_F(TnestedTimersTest, DumpAndResetRefuseWhileLevelsAreOpen) {
  const int t = TnestedTimers::getIndex("work");
  TnestedTimers::start(t);
  TnestedTimers::stop(t);
  TnestedTimers::startNested(t);
  TnestedTimers::reset();
  EXPECT_EQ(TnestedTimers::getCount(t), 1);  // untouched
  TdebugOutputString out;
  TnestedTimers::dump(TnestedTimers::kFlat, &out);
  EXPECT_STREQ(out.string().asC(), "cannot print results, timers not closed (1 opened levels)\n");
  TnestedTimers::stopNested();
  EXPECT_EQ(TnestedTimers::stopNested(), 0.0);  // nothing open
  EXPECT_EQ(TnestedTimers::getCount(t), 2);
  TnestedTimers::reset(t);
  EXPECT_EQ(TnestedTimers::getCount(t), 0);
  out.clear();
  TnestedTimers::dump(TnestedTimers::kFlat, &out);
  EXPECT_EQ(std::string(out.string().asC()).find(" work "), std::string::npos);  // no runs
}

TEST(Tclock, StartPauseStop) {
  Tclock clock;
  EXPECT_EQ(clock.elapsedSeconds(), 0.0);
  clock.startAt(5.0);
  EXPECT_TRUE(clock.isRunning());
  EXPECT_GE(clock.elapsedSeconds(), 5.0);
  clock.pause();
  const double paused = clock.elapsedSeconds();
  EXPECT_EQ(clock.elapsedSeconds(), paused);  // frozen while paused
  clock.pause();                              // resumes
  const double stopped = clock.stop();
  EXPECT_GE(stopped, paused);
  EXPECT_EQ(clock.elapsedSeconds(), stopped);
  clock.reset();
  EXPECT_EQ(clock.elapsedSeconds(), 0.0);
  EXPECT_FALSE(clock.isRunning());
}

// A reading taken after another thread's reading was seen is never the smaller one, whichever
// cores the threads run on.
TEST(Tclock, MonotonicAcrossThreads) {
  std::atomic<double> latest{Tclock::sNow()};
  std::atomic<int> backwards{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      double own = 0.0;
      for (int i = 0; i < 100000; ++i) {
        const double seen = latest.load(std::memory_order_acquire);
        const double now = Tclock::sNow();
        if (now < seen || now < own) backwards.fetch_add(1, std::memory_order_relaxed);
        own = now;
        double expected = seen;
        while (expected < now &&
               !latest.compare_exchange_weak(expected, now, std::memory_order_release)) {
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(backwards.load(), 0);
}

// Over a second the clock and steady_clock agree within 1%, whichever source the clock uses.
// Each end is read between two steady_clock reads, the tightest of a few tries, so a busy
// machine that preempts the test only widens the bracket it is measured in.
TEST(Tclock, AgreesWithSteadyClock) {
  const auto pair = [] {
    double bestWidth = 1e30, steady = 0.0, ours = 0.0;
    for (int i = 0; i < 9; ++i) {
      const auto before = std::chrono::steady_clock::now();
      const double now = Tclock::sNow();
      const auto after = std::chrono::steady_clock::now();
      const double width = std::chrono::duration<double>(after - before).count();
      if (width < bestWidth) {
        bestWidth = width;
        steady = std::chrono::duration<double>(before.time_since_epoch()).count() + width / 2;
        ours = now;
      }
    }
    return std::pair<double, double>(steady, ours);
  };
  const auto first = pair();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const auto last = pair();
  const double steady = last.first - first.first;
  const double ours = last.second - first.second;
  EXPECT_NEAR(ours / steady, 1.0, 0.01) << "cycle counter " << Tclock::sUsesCycleCounter()
                                        << " at " << Tclock::sCycleCounterRate() << " Hz";
}
