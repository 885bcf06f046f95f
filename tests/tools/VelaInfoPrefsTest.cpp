// vela-info prefs end to end: a saved collection listed back, bad lines, refused arguments.
#include "VelaInfoRun.h"

#include <velacore/environment/TprefOptionVars.h>

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <fstream>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

namespace {

std::string writeScript(const std::string& name, const std::string& text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

}  // namespace

TEST(velaInfoPrefs, ListsWhatASavedScriptRestores) {
  TprefOptionVars prefs;
  prefs.addVar("gridSpacing", 2.5);
  prefs.addVar("undoLevels", 50);
  prefs.addVar("userName", Tstring("Ann \"A\" Lee\n\xC3\xA9"));
  prefs.addLastArrayVar("recent", Tstring("a b.vela"));
  prefs.addLastArrayVar("recent", Tstring("c\\d.vela"));
  prefs.addLastArrayVar("weights", 0.25);
  prefs.addLastArrayVar("frames", 1);
  prefs.addLastArrayVar("frames", -2);
  Tstring script;
  prefs.commandString(script);
  const std::string path = writeScript("velaInfoPrefs.vsl", script.asC());

  const Trun run = runVelaInfo("", "prefs '" + path + "'");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("version: 3"));
  EXPECT_TRUE(run.has("variables: 6"));
  EXPECT_TRUE(run.has("  frames (int array, 2): 1 -2"));
  EXPECT_TRUE(run.has("  gridSpacing (double): 2.5"));
  EXPECT_TRUE(run.has("  recent (string array, 2): \"a b.vela\" \"c\\\\d.vela\""));
  EXPECT_TRUE(run.has("  undoLevels (int): 50"));
  EXPECT_TRUE(run.has("  userName (string): \"Ann \\\"A\\\" Lee\\n\xC3\xA9\""));
  EXPECT_TRUE(run.has("  weights (double array, 1): 0.25"));
  ASSERT_EQ(run.lines.size(), 8u);

  const Trun empty = runVelaInfo(
      "", "prefs '" + writeScript("velaInfoEmpty.vsl", "// no optionVars defined\n") + "'");
  ASSERT_EQ(empty.status, 0);
  EXPECT_TRUE(empty.has("variables: 0"));
}

TEST(velaInfoPrefs, ReportsBadLinesAndRefusesBadArguments) {
  const std::string path =
      writeScript("velaInfoBad.vsl", "optionVar\n -iv \"a\" 1\n -qq \"b\" 2\n -fv \"c\" x;\n");
  Trun run = runVelaInfo("", "prefs '" + path + "'");
  EXPECT_EQ(WEXITSTATUS(run.status), 1);
  EXPECT_TRUE(run.has("vela-info prefs: " + path + ": line 3: unknown flag -qq; line skipped"));
  EXPECT_TRUE(run.mentions("line 4: 'x' is not a number"));
  EXPECT_TRUE(run.has("  a (int): 1"));

  run = runVelaInfo("", "prefs /nonexistent/userPrefs.vsl");
  EXPECT_EQ(WEXITSTATUS(run.status), 1);
  EXPECT_TRUE(run.has("vela-info prefs: cannot read '/nonexistent/userPrefs.vsl'"));
  run = runVelaInfo("", "prefs /tmp");
  EXPECT_EQ(WEXITSTATUS(run.status), 1);
  run = runVelaInfo("", "prefs");
  EXPECT_EQ(WEXITSTATUS(run.status), 2);
  run = runVelaInfo("", "prefs --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.mentions("usage: vela-info prefs FILE"));
}
