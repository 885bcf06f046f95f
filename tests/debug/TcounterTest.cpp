// Counters: the enable switch, per-thread trees, contexts, the registry and the reports.
#include <velacore/base/TstringCatalog.h>
#include <velacore/debug/Tcounter.h>
#include <velacore/debug/TdebugOutputString.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

class TcounterTest : public ::testing::Test {
 protected:
  void SetUp() override { Tcounter::sDisableMatchingCounters("*"); }
  void TearDown() override { Tcounter::sDisableMatchingCounters("*"); }
};

std::string text(const TdebugOutputString& out) { return out.string().asC(); }

}  // namespace

TEST_F(TcounterTest, NeverEnabledCountsNothingAndEnableIsASwitch) {
  Tcounter c("tc_switch");
  c.increment();
  c.increment("ctx");
  c.pushContext("ctx");
  EXPECT_EQ(c.current(), nullptr);
  EXPECT_EQ(c.count(), 0u);
  EXPECT_EQ(Tcounter::sCountersEnabled(), 0);

  EXPECT_TRUE(c.enable());
  EXPECT_FALSE(c.enable());
  EXPECT_EQ(Tcounter::sCountersEnabled(), 1);
  EXPECT_TRUE(c.disable());
  EXPECT_FALSE(c.isEnabled());  // two enables, one disable: off
  EXPECT_FALSE(c.disable());
  EXPECT_EQ(Tcounter::sCountersEnabled(), 0);

  // Another enabled counter does not make this one count.
  Tcounter other("tc_switch_other");
  other.enable();
  c.increment();
  EXPECT_EQ(c.count(), 0u);
}

TEST_F(TcounterTest, ContextsNestPerThread) {
  Tcounter c("tc_contexts");
  c.enable();
  c.increment();
  c.pushContext("b");
  TcounterContext* b = c.current();
  ASSERT_NE(b, nullptr);
  EXPECT_STREQ(b->name().asC(), "b");
  c.increment("a");  // counted in b/a, b stays current
  c.increment("a");
  c.decrement("a");
  EXPECT_EQ(c.current(), b);
  EXPECT_EQ(b->findOrCreateMatchingCounter("a")->count(), 1u);
  EXPECT_EQ(b->count(), 0u);
  c.increment();  // in b itself
  c.popContext();
  c.popContext();  // at the root: nothing happens
  c.increment();
  TcounterContext* root = c.current();
  EXPECT_EQ(root, b->root());
  EXPECT_EQ(root->parent(), nullptr);
  EXPECT_EQ(root->count(), 2u);
  unsigned own = 0, total = 0;
  EXPECT_TRUE(root->getCounts(own, total));
  EXPECT_EQ(own, 2u);
  EXPECT_EQ(total, 4u);
  EXPECT_EQ(c.count(), 4u);
}

TEST_F(TcounterTest, ThreadsCountApartAndSumUp) {
  Tcounter c("tc_threads");
  c.enable();
  constexpr int kThreads = 4;
  std::vector<TcounterContext*> roots(kThreads);
  std::atomic<bool> stop{false};
  // A reader sums while the others count: the totals must stay consistent under TSan.
  std::thread reader([&] {
    while (!stop) (void)c.count();
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&c, &roots, t] {
      for (int i = 0; i < 1000 * (t + 1); ++i) {
        c.increment();
        if (i % 100 == 0) c.increment(i % 200 == 0 ? "even" : "odd");
      }
      roots[t] = c.current()->root();
    });
  }
  for (auto& t : threads) t.join();
  stop = true;
  reader.join();
  unsigned expected = 0;
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(roots[t]->count(), 1000u * (t + 1));
    unsigned own = 0, total = 0;
    roots[t]->getCounts(own, total);
    EXPECT_EQ(total, 1000u * (t + 1) + 10 * (t + 1));
    expected += total;
    for (int u = 0; u < t; ++u) EXPECT_NE(roots[t], roots[u]);
  }
  EXPECT_EQ(c.count(), expected);
  EXPECT_EQ(c.current()->root()->count(), 0u);  // this thread never counted
}

TEST_F(TcounterTest, RegistryAndMatchingStatics) {
  Tcounter* made = nullptr;
  EXPECT_TRUE(Tcounter::sFindOrCreateNamedCounter("tc_reg.alpha", made));
  Tcounter* again = nullptr;
  EXPECT_FALSE(Tcounter::sFindOrCreateNamedCounter("tc_reg.alpha", again));
  EXPECT_EQ(made, again);
  Tcounter beta("tc_reg.beta");
  Tcounter duplicate("tc_reg.beta");  // the first of a name keeps the registry entry
  EXPECT_EQ(Tcounter::sGetCounter("tc_reg.beta"), &beta);
  EXPECT_EQ(Tcounter::sGetCounter("tc_reg.none"), nullptr);

  EXPECT_EQ(Tcounter::sEnableMatchingCounters("tc_reg.*"), 2);
  EXPECT_TRUE(beta.isEnabled());
  EXPECT_FALSE(duplicate.isEnabled());
  made->increment();
  beta.increment();
  TdebugOutputString out;
  EXPECT_EQ(Tcounter::sListMatchingCounters("tc_reg.*", &out), 2);
  EXPECT_EQ(text(out), "tc_reg.alpha\tenabled\ntc_reg.beta\tenabled\n");
  EXPECT_EQ(Tcounter::sResetMatchingCounters("tc_reg.a*", &out), 1);
  EXPECT_EQ(made->count(), 0u);
  EXPECT_EQ(beta.count(), 1u);
  EXPECT_EQ(Tcounter::sDisableMatchingCounters("tc_reg.*"), 2);

  out.clear();
  EXPECT_EQ(Tcounter::sResetMatchingCounters("*", &out), 0);
  EXPECT_EQ(text(out),
            std::string(TstringCatalog::sText("s_TcounterStrings.rCountersDisabledNoReset")) + "\n");
}

TEST_F(TcounterTest, PrintedReports) {
  Tcounter c("tc_print");
  TdebugOutputString out;
  c.printCounter(out);
  EXPECT_EQ(text(out), "Counter 'tc_print' cannot be printed: it is disabled or all counters are off\n");

  c.enable();
  c.increment();
  c.increment("ctx");
  c.increment("ctx");
  out.clear();
  c.debug(out, 0);
  const std::string report = text(out);
  EXPECT_EQ(report.substr(0, report.find('\n') + 1), "3\t0\tDebug\ttc_print\tAll Threads\n");
  // Thread line: total 3, own 1; then the context one level deeper.
  EXPECT_NE(report.find("   3\t1\tThread "), std::string::npos) << report;
  EXPECT_NE(report.find("      2\t2\tctx\ttc_print\tThread "), std::string::npos) << report;

  out.clear();
  c.printCounter(out, true, 2);
  EXPECT_EQ(text(out).substr(0, text(out).find('\n')), "Total\tOwn\tContext\tCounter\tThread");
  EXPECT_NE(text(out).find("maximum depth reached"), std::string::npos) << text(out);

  out.clear();
  Tcounter off("tc_print_off");
  EXPECT_EQ(Tcounter::sPrintMatchingCounters("tc_print*", &out, true), 1);
  const std::string all = text(out);
  EXPECT_EQ(all.find("Counters matching 'tc_print*':\nCounter report of "), 0u) << all;
  EXPECT_NE(all.find("Counter 'tc_print_off' is disabled: its counts were not retrieved\n"),
            std::string::npos);
  EXPECT_NE(all.find("1 counters matching 'tc_print*' printed\n"), std::string::npos) << all;
}

// reset() forgets every thread's tree: the thread table empties (a finished thread no longer
// shows in reports) and a thread inside a pushed context counts at a fresh root afterwards.
TEST_F(TcounterTest, ResetStartsEveryThreadFromAFreshRoot) {
  Tcounter c("tc_reset_fresh");
  c.enable();
  std::thread([&] {
    c.pushContext("worker");
    c.increment();
  }).join();
  c.pushContext("b");
  c.increment("a");
  c.reset();

  TdebugOutputString out;
  c.printCounter(out);
  EXPECT_EQ(text(out), "0\t0\tAll\ttc_reset_fresh\tAll Threads\n");  // no thread lines
  c.increment();  // at the new root, not in the pushed "b"
  unsigned own = 0, total = 0;
  c.getCounts(own, total);
  EXPECT_EQ(own, 1u);
  EXPECT_EQ(total, 1u);
  c.popContext();  // nothing to pop at a fresh root
  c.increment("a");
  out.clear();
  c.printCounter(out);
  EXPECT_NE(text(out).find("\t1\ta\ttc_reset_fresh\t"), std::string::npos) << text(out);
  EXPECT_EQ(text(out).find("\tb\t"), std::string::npos) << text(out);
}

// reset() from other threads while threads count and push contexts: counts may be lost to a
// reset, but nothing is freed under a counting thread and counting goes on in fresh trees.
TEST_F(TcounterTest, ResetWhileCounting) {
  Tcounter c("tc_reset_race");
  c.enable();
  std::atomic<int> running{2};
  std::vector<std::thread> counters;
  for (int t = 0; t < 2; ++t) {
    counters.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        c.pushContext(i % 3 ? "x" : "y");
        c.increment("z");
        c.popContext();
        c.increment();
      }
      --running;
    });
  }
  while (running > 0) c.reset();
  for (std::thread& t : counters) t.join();
  EXPECT_LE(c.count(), 2u * 40000u);
  c.reset();
  EXPECT_EQ(c.count(), 0u);
  c.increment("after");
  EXPECT_EQ(c.count(), 1u);
}
