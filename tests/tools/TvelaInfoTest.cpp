// vela-info end to end: the main job run on the demo installation in a clean environment, as a
// user would run it, checked line by line against what the start-up rules require.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <string>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfo, EnvOnTheDemoInstallationAppliesTheFileRules) {
  const Trun run = runVelaInfo("DEMO_STUDIO=Preset", "env examples/install examples/user");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("  VELA_LOCATION=examples/install"));
  EXPECT_TRUE(run.has("  VELA_APP_DIR=examples/user"));
  // The process environment wins over the file for plain variables, and references see it.
  EXPECT_FALSE(run.mentions("DEMO_STUDIO=Northwind"));
  EXPECT_TRUE(run.has("  DEMO_RENDER_NAME=Preset render farm"));
  EXPECT_TRUE(run.has("  DEMO_PROJECTS=examples/user/projects"));
  EXPECT_TRUE(run.has("  DEMO_UNSET_REFERENCE=$NO_SUCH_VARIABLE/and/%NOR_THIS%"));
  EXPECT_TRUE(run.has("  DEMO_ICONS=examples/install/icons:examples/user/icons"));
  EXPECT_TRUE(run.has("  DEMO_EMPTY="));
  EXPECT_FALSE(run.mentions("REFUSED"));
  EXPECT_FALSE(run.mentions("no name"));
  // Path variables: the file's entry comes before the built-in defaults; PATH keeps one copy.
  EXPECT_TRUE(run.mentions("  VELA_SCRIPT_PATH=examples/user/studio-scripts:"));
  EXPECT_TRUE(run.has("  PATH=examples/install/bin/Cg:examples/install/bin:/usr/bin:/bin"));
  // Search-path listing: missing folders are marked.
  EXPECT_TRUE(run.has("  * examples/install/bin/Cg"));
  EXPECT_TRUE(run.has("    examples/install/bin"));
}

TEST(velaInfo, DefaultModeLeavesTheUserFolderOutOfSearchPaths) {
  const Trun run = runVelaInfo("", "env -default examples/install examples/user");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("default mode: yes"));
  EXPECT_TRUE(run.mentions("  VELA_SCRIPT_PATH=examples/install/scripts:"));
  EXPECT_FALSE(run.mentions("studio-scripts"));
  EXPECT_TRUE(run.has("  PATH=examples/install/bin/Cg:examples/install/bin:/usr/bin:/bin"));
}

TEST(velaInfo, BadCommandsFailWithUsage) {
  const Trun run = runVelaInfo("", "bogus");
  EXPECT_NE(run.status, 0);
  EXPECT_TRUE(run.has("vela-info: unknown command 'bogus'"));
  EXPECT_TRUE(run.mentions("usage: vela-info"));
  const Trun info = runVelaInfo("", "");
  EXPECT_EQ(info.status, 0);
  EXPECT_TRUE(info.mentions("platform:        linux"));
}
