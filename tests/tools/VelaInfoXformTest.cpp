// vela-info xform end to end: composition, inverse, decomposition and refused input.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoXform, ComposesInvertsAndDecomposes) {
  Trun run = runVelaInfo("", "xform --scale 2,2,2 --scale-pivot 1,0,0 --translate 0,0,5");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("  -1 0 5 1"));  // the origin goes to (-1, 0, 0), then up by 5
  EXPECT_TRUE(run.has("  0.5 0 0 0"));
  EXPECT_TRUE(run.has("scale: 2 2 2"));
  EXPECT_TRUE(run.has("translate: -1 0 5"));

  run = runVelaInfo("", "xform --rotate 0,30,0 --order zyx");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("rotate (zyx, degrees): 0 30 0"));

  run = runVelaInfo("", "xform --scale 1,0,1");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("inverse: none (singular)"));

  EXPECT_NE(runVelaInfo("", "xform --scale 1,2").status, 0);
  EXPECT_NE(runVelaInfo("", "xform --order abc").status, 0);
  EXPECT_NE(runVelaInfo("", "xform --bogus 1,2,3").status, 0);
  EXPECT_EQ(runVelaInfo("", "xform --help").status, 0);
}
