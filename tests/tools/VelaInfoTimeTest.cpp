// vela-info time end to end: conversions, timecode, range text forms and refused input.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoTime, ConvertsBetweenUnitsAndTimecode) {
  Trun run = runVelaInfo("", "time 48");  // film frames
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("ticks: 282240000"));
  EXPECT_TRUE(run.has("seconds: 2"));
  EXPECT_TRUE(run.has("24fps: 48"));
  EXPECT_TRUE(run.has("timecode: 00:00:02:00"));

  run = runVelaInfo("", "time 1800 --unit 29.97df --to 29.97df --smpte");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("00:01:00;02"));
  ASSERT_EQ(run.lines.size(), 1u);

  run = runVelaInfo("", "time '00:01:00;02' --unit 29.97df --to pal");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("ticks: " + std::to_string(1800LL * 4708704)));
  EXPECT_TRUE(run.has("25fps: 1501.5"));
  EXPECT_TRUE(run.has("timecode: 00:01:00:01.5"));

  run = runVelaInfo("", "time '1m 30s' --to ntsc");
  EXPECT_TRUE(run.has("30fps: 2700"));
}

TEST(velaInfoTime, PrintsRangeTextForms) {
  Trun run = runVelaInfo("", "time 1..10/24");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("{ period = 24, bound = [-inf, inf), [1, 11)]}"));
  run = runVelaInfo("", "time '[[0, 10), [20, 30)]' --to 48fps");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("[[0, 20), [40, 60)]"));
  run = runVelaInfo("", "time '{empty}'");
  EXPECT_TRUE(run.has("{empty}"));
}

TEST(velaInfoTime, RefusesBadInput) {
  Trun run = runVelaInfo("", "time 12 --unit parsecs");
  EXPECT_EQ(WEXITSTATUS(run.status), 2);
  EXPECT_TRUE(run.has("vela-info time: unknown time unit 'parsecs'"));
  run = runVelaInfo("", "time 00:61:00:00");
  EXPECT_EQ(WEXITSTATUS(run.status), 1);
  EXPECT_TRUE(run.has("vela-info time: cannot read '00:61:00:00' as a time"));
  run = runVelaInfo("", "time '[[10, 20), [0, 5)]'");
  EXPECT_EQ(WEXITSTATUS(run.status), 1);
  EXPECT_TRUE(run.mentions("as a time range"));
  run = runVelaInfo("", "time");
  EXPECT_EQ(WEXITSTATUS(run.status), 2);
  run = runVelaInfo("", "time --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.mentions("usage: vela-info time VALUE"));
}
