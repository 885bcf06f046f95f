// vela-info uri end to end, in a clean environment.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoUri, ShowsTheParts) {
  const Trun run = runVelaInfo("", "uri 'vela://ann:pw@studio:7000/ships/hull.vela?lod=2&x=y#rig'");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("  printed:   vela://ann:pw@studio:7000/ships/hull.vela?lod=2&x=y#rig"));
  EXPECT_TRUE(run.has("  valid:     yes"));
  EXPECT_TRUE(run.has("  scheme:    vela"));
  EXPECT_TRUE(run.has("  user:      ann"));
  EXPECT_TRUE(run.has("  port:      7000"));
  EXPECT_TRUE(run.has("  directory: /ships/"));
  EXPECT_TRUE(run.has("  file name: hull.vela"));
  EXPECT_TRUE(run.has("  base name: hull"));
  EXPECT_TRUE(run.has("  query:     x = y"));
  EXPECT_TRUE(run.has("  fragment:  rig"));
  const Trun drive = runVelaInfo("", "uri C:/x");
  EXPECT_TRUE(drive.has("  valid:     no"));
  EXPECT_NE(runVelaInfo("", "uri --help").lines.size(), 0u);
  EXPECT_NE(runVelaInfo("", "uri a b").status, 0);
}
