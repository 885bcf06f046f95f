// vela-info classes: the whole class tree and one subtree, with the dump's own line format.
#include <gtest/gtest.h>

#include "VelaInfoRun.h"

using velaInfoTest::runVelaInfo;

TEST(velaInfoClasses, TreeAndSubtree) {
  const auto all = runVelaInfo("", "classes");
  EXPECT_EQ(all.status, 0);
  // Roots at the left, subclasses one ". " deeper, and the library's own classes present.
  EXPECT_TRUE(all.mentions("Texception:  +"));
  EXPECT_TRUE(all.mentions(". TmemoryException:  +"));
  EXPECT_TRUE(all.mentions(". TfileException:  +"));
  EXPECT_TRUE(all.has("TdictionaryNode:  +8 = 8    (abstract)"));
  EXPECT_TRUE(all.has(". Tdictionary:  +136 = 144"));
  EXPECT_TRUE(all.has(". . TtypeDictionary:  +0 = 144"));

  const auto sub = runVelaInfo("", "classes Tdictionary");
  EXPECT_EQ(sub.status, 0);
  ASSERT_FALSE(sub.lines.empty());
  EXPECT_EQ(sub.lines[0], "Tdictionary:  +136 = 144");
  EXPECT_TRUE(sub.has(". TindexDictionary:  +0 = 144"));
  EXPECT_FALSE(sub.mentions("Texception"));

  const auto unknown = runVelaInfo("", "classes Tnothing");
  EXPECT_NE(unknown.status, 0);
  EXPECT_TRUE(unknown.has("vela-info classes: no class named 'Tnothing'"));
  EXPECT_NE(runVelaInfo("", "classes a b").status, 0);
  EXPECT_TRUE(runVelaInfo("", "classes --help").mentions("usage: vela-info classes"));
}
