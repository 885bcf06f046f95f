// vela-info path end to end, in a clean environment.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <string>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoPath, ExpandsSimplifiesAndClassifies) {
  const Trun run = runVelaInfo("TWO=/a:/b ONE=/c", "path '$TWO/x/../y:~$ONE' 'C:\\\\dir\\\\' '%NO/x'");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("$TWO/x/../y:~$ONE"));
  EXPECT_TRUE(run.has("  expanded:   /a/x/../y"));
  EXPECT_TRUE(run.has("  expanded:   /b/x/../y"));
  EXPECT_TRUE(run.has("  expanded:   ~/c"));
  EXPECT_TRUE(run.has("  simplified: $TWO/y:~$ONE"));
  EXPECT_TRUE(run.has("  canonical:  C:/dir"));
  EXPECT_TRUE(run.has("  full path:  yes"));
  EXPECT_TRUE(run.has("  expanded:   (nothing: an unclosed variable)"));
  EXPECT_TRUE(run.has("  relative:   yes"));
  EXPECT_TRUE(run.has("  URI:        no"));
  const Trun none = runVelaInfo("", "path");
  EXPECT_NE(none.status, 0);
  EXPECT_TRUE(none.mentions("usage: vela-info path"));
}
