// Named traces: matching, status and output changes, the command file and the debug signal.
#include <velacore/base/Ttrigger.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/platform/TplatformSignal.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "DebugTestUtil.h"

namespace {

// A family of traces with distinct levels, made fresh for each test.
class TdbTraceTest : public ::testing::Test {
 protected:
  TdbTrace fGeomA{"tt_geomA", 1, "cerr", "geometry, level 1"};
  TdbTrace fGeomB{"tt_geomB", 2, "cerr", "geometry, level 2"};
  TdbTrace fGeomC{"tt_geomC", 3, "cerr", "geometry, level 3"};
  TdbTrace fAnim{"tt_anim", "stdout", "animation"};

  static int run(const std::string& text) { return TdbTrace::sRunCommands(text.data(), text.size()); }
  [[nodiscard]] std::string states() const {
    std::string s;
    for (const TdbTrace* t : {&fGeomA, &fGeomB, &fGeomC, &fAnim}) s += t->on() ? '1' : '0';
    return s;
  }
};

}  // namespace

TEST_F(TdbTraceTest, CommandFileSwitchesByLevelAndPattern) {
  EXPECT_EQ(states(), "0000");  // traces start off
  EXPECT_EQ(run("on 2 tt_geom*\n"), 1);
  EXPECT_EQ(states(), "1100");  // level 3 is above the requested level
  run("on 0 tt_*\r\n");         // level 0: any level; CR LF line ends are fine
  EXPECT_EQ(states(), "1111");
  run("\n   \n\toff\t0\t*\n");  // blank lines skipped, tabs separate
  EXPECT_EQ(states(), "0000");
  run("on 2\nfile x.txt 0\non 3 tt_geomC");  // missing fields: skipped; no final line feed
  EXPECT_EQ(states(), "0010");
}

TEST_F(TdbTraceTest, BadCommandLinesAreReportedAndSkipped) {
  StreamCapture err(std::cerr);
  EXPECT_EQ(run("foo 1 x\non x tt_anim\n" + std::string(500, 'z') + "on 0 tt_anim\non -1 tt_geomA"),
            1);
  EXPECT_EQ(states(), "1000");  // only the last line applied; the overlong tail was dropped
  const std::string text = err.text();
  EXPECT_NE(text.find("Unrecognized debug keyword 'foo'\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Unrecognized debug level 'x'\n"), std::string::npos) << text;
}

TEST_F(TdbTraceTest, FileCommandRedirectsAndReports) {
  TempDir dir;
  DebugEnvGuard env;
  env.unsetAll();
  env.set("VELA_DEBUG_LOCATION", dir.path().string());
  {
    StreamCapture out(std::cout);
    run("file trace.txt 2 tt_geom*\n");
    const std::string full = (dir.path() / "trace.txt").string();
    EXPECT_NE(out.text().find("Changed output of [tt_geomA[1]] from 'stderr' to " + full + "\n"),
              std::string::npos)
        << out.text();
    EXPECT_STREQ(fGeomB.output().name().asC(), full.c_str());
    EXPECT_EQ(&fGeomA.output(), &fGeomB.output());  // one sink per file
    EXPECT_STREQ(fGeomC.output().name().asC(), "stderr");
    run("file cout 0 tt_geomB\n");
  }
  EXPECT_EQ(fGeomA.output().refCount(), 1);  // B let go of the file sink
  fGeomA.print("to the file %d\n", 1);
  EXPECT_EQ(readFile(dir.path() / "trace.txt"), "to the file 1\n");

  TdbTrace direct("tt_direct", "direct.txt", "made with a file output");
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "direct.txt"));  // opened on first write
  direct.print("hello\n");
  EXPECT_EQ(readFile(dir.path() / "direct.txt"), "hello\n");
}

TEST_F(TdbTraceTest, TraceOnStandardErrorAndPrintOptions) {
  StreamCapture err(std::cerr);
  fGeomA.print("plain\n");
  fGeomA.setTimed(true);
  fGeomA.setThreadsafe(true);
  fGeomA.setUseIndent(false);
  fGeomA.print("marked\n");
  const std::string text = err.text();
  EXPECT_EQ(text.substr(0, 6), "plain\n");
  // "HH:MM:SS.mmm [tid] marked"
  EXPECT_EQ(text[6 + 2], ':');
  EXPECT_NE(text.find("] marked\n"), std::string::npos) << text;
}

TEST_F(TdbTraceTest, MatchesStatusAndReports) {
  TstringArray names;
  EXPECT_EQ(TdbTrace::sGetMatches(2, "tt_geom*", names), 2);
  ASSERT_EQ(names.length(), 2u);
  EXPECT_STREQ(names[0].asC(), "tt_geomA[1]");
  EXPECT_STREQ(names[1].asC(), "tt_geomB[2]");
  EXPECT_STREQ(fAnim.name().asC(), "tt_anim");
  EXPECT_STREQ(fGeomC.name().asC(), "tt_geomC[3]");
  EXPECT_TRUE(fGeomA < fGeomB);

  std::vector<TdbTrace*> matches;
  TdbTrace::sGetMatches(0, "tt_*", matches);
  ASSERT_EQ(matches.size(), 4u);
  EXPECT_EQ(TdbTrace::sSetStatus(matches, true), 4);
  EXPECT_EQ(TdbTrace::sSetStatus(matches, true), 0);
  EXPECT_TRUE(TdbTrace::sTracesOn());
  fGeomB.setOn(false);

  TdebugOutputString out;
  TdbTrace::sShowStatus(matches, false, &out);
  EXPECT_NE(std::string(out.string().asC())
                .find("4 traces of " + std::to_string(TdbTrace::sNumTraces()) +
                      "\nTraces Turned Off\n   tt_geomB[2]\n"),
            std::string::npos)
      << out.string().asC();

  out.clear();
  fAnim.disable();
  fAnim.disable();
  fAnim.enable();
  EXPECT_FALSE(fAnim.on());  // one disable still pending
  fAnim.debug(out, TdbTrace::kDebugAll);
  EXPECT_EQ(std::string(out.string().asC()),
            "tt_anim [0] : animation\n   Output  = stdout\n   OutREF  = " +
                std::to_string(TdebugOutput::sCout().refCount()) +
                "\n   State   = ON\n   Timed   = OFF\n   Disable = 1\n");
  fAnim.enable();
  EXPECT_TRUE(fAnim.on());
  TdbTrace::sSetStatus(matches, false);
}

TEST_F(TdbTraceTest, TraceChangeTriggerFiresOnlyWhenEnabledAndChanged) {
  std::atomic<int> fired{0};
  const Ttrigger::Tid id = TdbTrace::sTraceChangeTrigger().add([&fired] { ++fired; });
  fAnim.setOn(true);
  EXPECT_EQ(fired, 0);
  TdbTrace::sEnableTraceChangeTriggers(true);
  fAnim.setOn(false);
  fAnim.setOn(false);  // no change, no call
  run("on 0 tt_geom*\n");
  EXPECT_EQ(fired, 2);
  TdbTrace::sEnableTraceChangeTriggers(false);
  TdbTrace::sTraceChangeTrigger().remove(id);
}

TEST_F(TdbTraceTest, DebugSignalRunsCommandFile) {
  TempDir dir;
  WorkingDirGuard cwd(dir.path());
  {
    StreamCapture out(std::cout);
    TdbTrace::sSignalHandler();
    EXPECT_EQ(out.text(), "File debug.cmd does not exist\n");
  }
  std::filesystem::create_directory(dir.path() / "debug.cmd");  // unreadable: reported
  {
    StreamCapture err(std::cerr);
    TdbTrace::sSignalHandler();
    EXPECT_EQ(err.text().rfind("ERR: cannot read debug.cmd", 0), 0u) << err.text();
  }
  std::filesystem::remove(dir.path() / "debug.cmd");
  writeFile(dir.path() / "debug.cmd", "on 2 tt_geom*\non 0 tt_anim\n");
  ASSERT_TRUE(TdbTrace::sInstallSignalHandler());  // traces alone do not install it
  ASSERT_TRUE(vela::platform::debugSignalWatched());
  const unsigned long before = vela::platform::debugSignalsHandled();
  ASSERT_TRUE(vela::platform::raiseDebugSignal());
  // The watcher thread reads the file; wait for it (bounded, so a broken watcher fails).
  for (int i = 0; i < 2000 && vela::platform::debugSignalsHandled() == before; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_GT(vela::platform::debugSignalsHandled(), before);
  EXPECT_EQ(states(), "1101");
}

// Printing threads keep using a trace while another thread moves it between sinks: no line is
// lost and no sink is deleted under a print.
TEST_F(TdbTraceTest, OutputChangesWhilePrinting) {
  auto* first = new TdebugOutputString();
  auto* second = new TdebugOutputString();
  first->ref();
  second->ref();
  fAnim.setOutput(first);
  constexpr int kLines = 2000;
  std::thread printer([this] {
    for (int i = 0; i < kLines; ++i) fAnim.print("line\n");
  });
  std::vector<TdbTrace*> self{&fAnim};
  {
    StreamCapture out(std::cout);  // swallow the change reports
    for (int i = 0; i < 200; ++i) TdbTrace::sSetOutput(self, i % 2 ? first : second);
  }
  printer.join();
  fAnim.setOutput(nullptr);
  const std::string all = std::string(first->string().asC()) + second->string().asC();
  EXPECT_EQ(all.size(), std::string("line\n").size() * kLines);
  EXPECT_EQ(first->refCount() + second->refCount(), 2);
  first->unref();
  second->unref();
}

// Commands run (as on the watcher thread) while another thread makes and destroys traces: a
// destroyed trace must never be touched. Mainly a sanitizer check (AddressSanitizer and
// ThreadSanitizer see a touched dead trace); in plain builds it checks that every command is
// applied and that each short-lived trace leaves the registry.
TEST(TdbTraceThreads, SanitizerCheckCommandsWhileTracesComeAndGo) {
  const int before = TdbTrace::sNumTraces();
  std::atomic<bool> stop{false};
  std::atomic<int> made{0};
  std::thread churn([&] {
    do {
      TdbTrace temporary("tt_churn", 1, "cerr", "short-lived");
      (void)temporary.on();
      made.fetch_add(1);
    } while (!stop);
  });
  int applied = 0;
  for (int i = 0; i < 300; ++i) {
    const std::string line = i % 2 ? "on 0 tt_churn\n" : "off 0 tt_churn\n";
    applied += TdbTrace::sRunCommands(line.data(), line.size());
  }
  stop = true;
  churn.join();
  EXPECT_EQ(applied, 300);
  EXPECT_GT(made.load(), 0);
  EXPECT_EQ(TdbTrace::sNumTraces(), before);
}
