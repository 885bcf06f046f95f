// vela-info names end to end, in a clean environment.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoNames, SortsNaturally) {
  const Trun run = runVelaInfo("", "names node10 node2 a01 a1 node1b Node");
  ASSERT_EQ(run.status, 0);
  EXPECT_EQ(run.lines, (std::vector<std::string>{"Node", "a01", "a1", "node1b", "node2", "node10"}));
  EXPECT_EQ(runVelaInfo("", "names").lines.size(), 0u);
  EXPECT_NE(runVelaInfo("", "names --help").lines.size(), 0u);
}

TEST(velaInfoNames, UniqueNames) {
  Trun run = runVelaInfo("", "names --unique box 3 box1 box7 boxer4");
  ASSERT_EQ(run.status, 0);
  EXPECT_EQ(run.lines, (std::vector<std::string>{"box8", "box9", "box10"}));
  run = runVelaInfo("", "names --unique item 1 item009 2bad item009");
  EXPECT_TRUE(run.has("item010"));
  EXPECT_TRUE(run.has("vela-info names: '2bad' is not a valid name"));
  EXPECT_TRUE(run.has("vela-info names: 'item009' is given twice"));
  EXPECT_NE(runVelaInfo("", "names --unique 9box 3").status, 0);
  EXPECT_NE(runVelaInfo("", "names --unique box x").status, 0);
  EXPECT_NE(runVelaInfo("", "names --unique box -1").status, 0);
  EXPECT_NE(runVelaInfo("", "names --unique box").status, 0);
}
