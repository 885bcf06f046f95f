// Traces at start-up: nothing process-wide is taken until the application asks, the debug signal
// chains to the host's handler, and VELA_DEBUG switches traces on as they register.
//
// What happens at the first trace of a process is tested in fresh processes: the death tests
// re-run this program ("threadsafe" style), which inherits the environment set just before.
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/debug/internal/TdebugCommandFile.h>
#include <velacore/platform/TplatformSignal.h>

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "DebugTestUtil.h"

namespace {

class TdbTraceStartUp : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

int threadCount() {
  int n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) ++n;
  return n;
}

bool signalHasDefaultAction() {
  struct sigaction current {};
  ::sigaction(SIGUSR1, nullptr, &current);
  return (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_DFL;
}

// Waits (bounded) until the watcher has handled a signal after `before`.
bool waitForHandled(unsigned long before) {
  for (int i = 0; i < 2000 && vela::platform::debugSignalsHandled() == before; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return vela::platform::debugSignalsHandled() > before;
}

// Ends a death-test child: exit code 0 when `ok`, else 1 after printing `what`.
[[noreturn]] void finish(bool ok, const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::fflush(stderr);
  std::_Exit(ok ? 0 : 1);
}

volatile sig_atomic_t gHostCalls = 0;
extern "C" void hostHandler(int) { gHostCalls = gHostCalls + 1; }

}  // namespace

TEST_F(TdbTraceStartUp, TracesTakeNoSignalOrThreadUntilAsked) {
  DebugEnvGuard env;
  env.unset("VELA_DEBUG_SIGNAL");
  env.unset("VELA_DEBUG");
  EXPECT_EXIT(
      {
        const int threads = threadCount();
        TdbTrace trace("su_plain", "cerr", "made during start-up");
        const bool ok = !vela::platform::debugSignalWatched() && signalHasDefaultAction() &&
                        threadCount() == threads;
        finish(ok, "nothing taken: " + std::to_string(ok));
      },
      ::testing::ExitedWithCode(0), "nothing taken: 1");

  // The application's start-up call installs it, unless the environment declines.
  env.set("VELA_DEBUG_SIGNAL", "0");
  EXPECT_EXIT(
      {
        TdbTrace trace("su_plain", "cerr", "made during start-up");
        TdbTrace::sApplicationStarted();
        const bool ok = !vela::platform::debugSignalWatched() && signalHasDefaultAction();
        finish(ok, "declined: " + std::to_string(ok));
      },
      ::testing::ExitedWithCode(0), "declined: 1");
  env.unset("VELA_DEBUG_SIGNAL");
  EXPECT_EXIT(
      {
        TdbTrace::sApplicationStarted();
        finish(vela::platform::debugSignalWatched(), "started");
      },
      ::testing::ExitedWithCode(0), "started");

  // VELA_DEBUG_SIGNAL=1 asks for it without the start-up call: the first trace (the library has
  // its own, made when it loads) installs it.
  env.set("VELA_DEBUG_SIGNAL", "1");
  EXPECT_EXIT(
      {
        TdbTrace trace("su_plain", "cerr", "made during start-up");
        finish(vela::platform::debugSignalWatched() && !signalHasDefaultAction(), "by environment");
      },
      ::testing::ExitedWithCode(0), "by environment");
}

TEST_F(TdbTraceStartUp, DebugSignalChainsToTheHostHandler) {
  EXPECT_EXIT(
      {
        struct sigaction host {};
        host.sa_handler = hostHandler;
        sigemptyset(&host.sa_mask);
        ::sigaction(SIGUSR1, &host, nullptr);
        TempDir dir;
        WorkingDirGuard cwd(dir.path());
        writeFile(dir.path() / "debug.cmd", "on 0 su_chained\n");
        TdbTrace trace("su_chained", "cerr", "switched by the signal");
        const bool installed = TdbTrace::sInstallSignalHandler();
        const unsigned long before = vela::platform::debugSignalsHandled();
        vela::platform::raiseDebugSignal();
        const bool handled = waitForHandled(before);
        const bool ok = installed && handled && gHostCalls == 1 && trace.on();
        finish(ok, "installed " + std::to_string(installed) + " handled " +
                       std::to_string(handled) + " host " + std::to_string(gHostCalls) +
                       " on " + std::to_string(trace.on()));
      },
      ::testing::ExitedWithCode(0), "installed 1 handled 1 host 1 on 1");
}

TEST_F(TdbTraceStartUp, EnvironmentListSwitchesTracesAsTheyRegister) {
  DebugEnvGuard env;
  env.set("VELA_DEBUG", " su_geom*:2 , su_anim,su_geomB:x,su_nothing*");
  EXPECT_EXIT(
      {
        TdbTrace a("su_geomA", 1, "cerr", "level 1");
        TdbTrace b("su_geomB", 2, "cerr", "level 2");
        TdbTrace c("su_geomC", 3, "cerr", "level 3");
        TdbTrace anim("su_anim", "cerr", "animation");
        TdbTrace::sApplicationStarted();  // reports the unknown pattern
        TdbTrace::sReportUnknownDebugPatterns();  // not twice
        const std::string states = std::string(a.on() ? "1" : "0") + (b.on() ? "1" : "0") +
                                   (c.on() ? "1" : "0") + (anim.on() ? "1" : "0");
        finish(states == "1101", "states " + states);
      },
      ::testing::ExitedWithCode(0),
      "^VELA_DEBUG: ignored 'su_geomB:x' \\(expected pattern or pattern:level\\)\n"
      "VELA_DEBUG: no trace matches 'su_nothing\\*'\nstates 1101\n$");
}

TEST(TdbTraceEnvironment, PatternListsParseAndApply) {
  using vela::debug_internal::parseDebugPatternList;
  const auto entries = parseDebugPatternList(",a*:2,, b ,c:-1,:3,d:,e:1x,f:g:4");
  ASSERT_EQ(entries.size(), 7u);
  const std::string expected[7] = {"a*", "b", "c", ":3", "d:", "e:1x", "f:g"};
  const int levels[7] = {2, 0, -1, 0, 0, 0, 4};
  const bool bad[7] = {false, false, false, true, true, true, false};
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(entries[i].pattern, expected[i]) << i;
    EXPECT_EQ(entries[i].level, levels[i]) << i;
    EXPECT_EQ(entries[i].bad, bad[i]) << i;
  }
  EXPECT_TRUE(parseDebugPatternList("").empty());
  EXPECT_TRUE(parseDebugPatternList(" , ,").empty());

  // In this process: traces registered before and after the list, a report made once, and the
  // listing that `vela-info traces` prints.
  TdbTrace early("te_early", 1, "cerr", "registered before the list");
  TdbTrace other("te_other", "cerr", "matched by nothing");
  {
    StreamCapture err(std::cerr);
    EXPECT_EQ(TdbTrace::sSetDebugPatterns("te_early,te_late:1,te_missing"), 1);
    EXPECT_TRUE(early.on());
    TdbTrace late("te_late", 1, "cerr", "registered after the list");
    TdbTrace tooDeep("te_late", 2, "cerr", "a level the list leaves out");
    EXPECT_TRUE(late.on());
    EXPECT_FALSE(tooDeep.on());
    EXPECT_EQ(TdbTrace::sReportUnknownDebugPatterns(), 1);
    EXPECT_EQ(TdbTrace::sReportUnknownDebugPatterns(), 0);
    EXPECT_EQ(err.text(), "VELA_DEBUG: no trace matches 'te_missing'\n");

    TdebugOutputString out;
    EXPECT_EQ(TdbTrace::sListTraces("te_*", out), 4);
    EXPECT_EQ(std::string(out.string().asC()),
              "on  te_early[1]                      registered before the list\n"
              "on  te_late[1]                       registered after the list\n"
              "off te_late[2]                       a level the list leaves out\n"
              "off te_other                         matched by nothing\n");
  }
  EXPECT_EQ(TdbTrace::sSetDebugPatterns(""), 0);
  early.setOn(false);
  TdbTrace after("te_early", "cerr", "no list any more");
  EXPECT_FALSE(after.on());
}
