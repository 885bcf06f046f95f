// vela-info traces: the library's own traces, switched by VELA_DEBUG, unknown patterns reported.
#include <gtest/gtest.h>

#include "VelaInfoRun.h"

using velaInfoTest::runVelaInfo;

TEST(velaInfoTraces, ListsTracesSwitchedByTheEnvironment) {
  const auto off = runVelaInfo("", "traces");
  EXPECT_EQ(off.status, 0);
  EXPECT_TRUE(off.has("off velaClock                        the clock's source and calibration"))
      << off.lines.size();
  EXPECT_FALSE(off.mentions("VELA_DEBUG"));

  const auto on = runVelaInfo("VELA_DEBUG='vela*:1,nosuch*,nosuch*'", "traces 'velaC*'");
  EXPECT_EQ(on.status, 0);
  ASSERT_EQ(on.lines.size(), 2u);
  // Reported once (the repeated entry too), before the list.
  EXPECT_EQ(on.lines[0], "VELA_DEBUG: no trace matches 'nosuch*'");
  EXPECT_EQ(on.lines[1], "on  velaClock                        the clock's source and calibration");

  const auto none = runVelaInfo("", "traces 'zz*'");
  EXPECT_TRUE(none.has("no trace matches 'zz*'"));
  EXPECT_NE(runVelaInfo("", "traces a b").status, 0);
  EXPECT_TRUE(runVelaInfo("", "traces --help").mentions("usage: vela-info traces"));
}
