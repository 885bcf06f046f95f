// vela-info modules and the modules part of vela-info env, end to end on the demo installation
// (two module directories with a clash, a version override, a platform condition and a package
// bundle), and env run far from any demo installation.
#include "VelaInfoRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoModules, ListsTheChosenModulesAndEveryRefusedLine) {
  const Trun run = runVelaInfo("", "modules examples/install examples/user");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("  0   examples/install/modules"));
  EXPECT_TRUE(run.has("  1 * examples/user/0.1/modules"));
  EXPECT_TRUE(run.has("modules chosen (4):"));
  EXPECT_TRUE(run.has(
      "  northwindTools 1.2  directory 0  examples/install/modules/northwindTools-1.2"));
  EXPECT_TRUE(run.has("    described in examples/install/modules/northwind.mod:8"));
  EXPECT_TRUE(run.has("    folder VELA_PRESET_PATH: presets  (with every folder below)"));
  EXPECT_TRUE(run.has("    setting NORTHWIND_TOOLS_RELEASE = current"));
  EXPECT_TRUE(run.has("    condition PLATFORM:linux"));
  EXPECT_TRUE(run.has("  shotTools 2.0  directory 2  examples/user/modules/shotTools"));
  EXPECT_TRUE(run.has(
      "    setting VELA_SCRIPT_PATH += examples/user/modules/shotTools/extra-scripts"));
  EXPECT_TRUE(run.has("lines refused (4):"));
  EXPECT_TRUE(run.has("    Replaced by version 1.2 from module directory 0."));
  EXPECT_TRUE(run.has("    The module is for the platform win64; this is linux."));
  EXPECT_TRUE(run.has("  examples/user/modules/studio.mod:4: + northwindTools 9.0 "
                      "northwindTools-9.0"));
  EXPECT_TRUE(run.has(
      "    The module directory 0, which comes first, already gives this module (version 1.2)."));
  // The demo package bundle comes after the module directories.
  EXPECT_TRUE(run.has("  4   examples/install/AppPlugins/NorthwindRender.bundle  (package)"));
  EXPECT_TRUE(run.has("  northwindRender 3.0  directory 4  "
                      "examples/install/AppPlugins/NorthwindRender.bundle/Contents/render"));
  EXPECT_TRUE(run.has("  examples/install/AppPlugins/NorthwindRender.bundle/PackageManifest.xml:7: "
                      "northwindRenderWin 3.0 Contents/render-win"));
}

TEST(velaInfoModules, EnvShowsModuleFoldersAndSettingsInTheEnvironment) {
  const Trun run = runVelaInfo("", "env examples/install examples/user");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("modules (4 chosen, 4 lines refused; `vela-info modules` says why):"));
  EXPECT_TRUE(run.has("  NORTHWIND_TOOLS_RELEASE=current"));
  EXPECT_TRUE(run.has("  SHOT_TOOLS_MODE=review"));
  // Module folders come after the folders start-up put there, in directory order, and the
  // modules' own settings after them.
  EXPECT_TRUE(run.mentions(":examples/install/modules/northwindTools-1.2/scripts:"
                           "examples/user/modules/shotTools/scripts:"
                           "examples/install/AppPlugins/NorthwindRender.bundle/Contents/render/"
                           "scripts:examples/user/modules/shotTools/extra-scripts"));
  EXPECT_TRUE(run.has("    examples/install/modules/northwindTools-1.2/presets/lighting/studio"));
  EXPECT_FALSE(run.mentions("northwindTools-9.0/scripts"));
  EXPECT_TRUE(run.has("    examples/install/AppPlugins/NorthwindRender.bundle/Contents/render/plug-ins"));
  EXPECT_FALSE(run.mentions("NORTHWIND_TOOLS_RELEASE=old"));
}

// Far from the source tree there is no demo: env takes the installation the library runs from.
TEST(velaInfoModules, EnvWithoutAnInstallationUsesTheLibrarysOwn) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / "vela-info-no-demo";
  fs::remove_all(dir);
  fs::create_directories(dir / "home");
  fs::copy_file(VELA_INFO_EXE, dir / "vela-info");
  const std::string command = "cd '" + dir.string() + "' && env -i HOME='" +
                              (dir / "home").string() + "' VELA_LOCATION=/nowhere " +
                              "PATH=/usr/bin:/bin ./vela-info env 2>&1 </dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string text;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
  EXPECT_EQ(pclose(pipe), 0) << text;
  // The library of the build tree sits in <build>/velacore, so <build> is the installation.
  const std::string build = fs::path(VELA_INFO_EXE).parent_path().parent_path().parent_path();
  EXPECT_EQ(text.rfind("installation: " + build + "\n", 0), 0u) << text;
  EXPECT_EQ(text.find("demo installation"), std::string::npos);
  fs::remove_all(dir);
}
