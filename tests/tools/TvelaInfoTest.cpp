// vela-info end to end: the main job run on the demo installation in a clean environment, as a
// user would run it, checked line by line against what the start-up rules require.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Trun {
  int status = -1;
  std::vector<std::string> lines;

  [[nodiscard]] bool has(const std::string& line) const {
    for (const std::string& l : lines)
      if (l == line) return true;
    return false;
  }
  [[nodiscard]] bool mentions(const std::string& text) const {
    for (const std::string& l : lines)
      if (l.find(text) != std::string::npos) return true;
    return false;
  }
};

// Runs vela-info with only HOME and a short PATH in its environment (plus `extraEnv`), from the
// source folder, so the demo paths print relative to it.
Trun runVelaInfo(const std::string& extraEnv, const std::string& args) {
  static const std::string home = [] {
    char pattern[] = "/tmp/vela-info-home-XXXXXX";
    return std::string(mkdtemp(pattern));
  }();
  const std::string command = "cd '" VELACORE_SOURCE_DIR "' && env -i HOME='" + home +
                              "' PATH=/usr/bin:/bin " + extraEnv + " '" VELA_INFO_EXE "' " + args +
                              " 2>&1 </dev/null";
  Trun run;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::string text;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
  run.status = pclose(pipe);
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) run.lines.push_back(line);
  return run;
}

}  // namespace

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
