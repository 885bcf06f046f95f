// vela-info memory end to end: the workload's arenas and pool are listed with figures that fit
// together (used within reserved within peak) and match what the workload did.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

namespace {

struct Tfigures {
  bool found = false;
  unsigned long long reserved = 0, used = 0, peak = 0;
};

// The figures of the line for `kind "name"`.
Tfigures figuresOf(const Trun& run, const std::string& kind, const std::string& name) {
  Tfigures f;
  const std::string prefix = "  " + kind + " \"" + name + "\": ";
  for (const std::string& line : run.lines) {
    if (line.compare(0, prefix.size(), prefix) != 0) continue;
    f.found = std::sscanf(line.c_str() + prefix.size(), "%llu bytes reserved, %llu used, %llu at peak",
                          &f.reserved, &f.used, &f.peak) == 3;
  }
  return f;
}

}  // namespace

TEST(velaInfoMemory, ListsEveryArenaOfTheWorkload) {
  for (const char* args : {"memory", "memory --malloc"}) {
    const Trun run = runVelaInfo("", args);
    ASSERT_EQ(run.status, 0) << args;
    EXPECT_TRUE(run.has("Arenas and pools:")) << args;
    EXPECT_TRUE(run.mentions("Peak arena size:")) << args;
    const struct {
      const char* kind;
      const char* name;
    } expected[] = {{"variant", "Demo Meshes"}, {"compact", "Demo Edges"}, {"stack", "Demo Scratch"}, {"pool", "Demo Nodes"}};
    for (const auto& e : expected) {
      const Tfigures f = figuresOf(run, e.kind, e.name);
      ASSERT_TRUE(f.found) << args << ": " << e.name;
      EXPECT_GT(f.used, 0u) << e.name;
      EXPECT_LE(f.used, f.reserved) << e.name;
      EXPECT_LE(f.reserved, f.peak) << e.name;
    }
    // 1000 edges of 32 bytes stay in use; the stack keeps its 4000-byte block; the pool has 200
    // of its 400 blocks (48 bytes) in use and the rest cached.
    EXPECT_EQ(figuresOf(run, "compact", "Demo Edges").used, 32000u);
    EXPECT_EQ(figuresOf(run, "stack", "Demo Scratch").used, 4000u);
    EXPECT_EQ(figuresOf(run, "pool", "Demo Nodes").used, 200u * 48u);
    EXPECT_EQ(figuresOf(run, "pool", "Demo Nodes").reserved, 400u * 48u);
  }
}

TEST(velaInfoMemory, HelpAndBadArguments) {
  const Trun help = runVelaInfo("", "memory --help");
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.mentions("usage: vela-info memory"));
  const Trun bad = runVelaInfo("", "memory --nonsense");
  EXPECT_NE(bad.status, 0);
  EXPECT_TRUE(bad.mentions("unknown argument \"--nonsense\""));
}
