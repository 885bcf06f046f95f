// The module registry: description lines and their conditions, who wins a name clash, setting
// lines, which directory entries are read, bad files, folder lists and what reaches the
// environment. Every test builds its own module directories under a throw-away folder, inside a
// TenvGuard.
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformLocations.h>
#include <velacore/platform/TplatformSystem.h>

#include "EnvTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using M = TvelaModuleSupportBase;

namespace {

constexpr char kSep = vela::platform::kPathListSeparator;

using envTest::str;
using envTest::strings;
using envTest::get;
using envTest::set;
using envTest::write;

std::string join(const std::vector<std::string>& parts) {
  std::string out;
  for (const std::string& p : parts) out += (out.empty() ? "" : std::string(1, kSep)) + p;
  return out;
}

class TvelaModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fRoot = fs::temp_directory_path() /
            ("vela-module-test-" + std::string(::testing::UnitTest::GetInstance()
                                                   ->current_test_info()
                                                   ->name()));
    fs::remove_all(fRoot);
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "VELA_SCRIPT_PATH",
                             "VELA_PLUG_IN_PATH", "PYTHONPATH", "XBMLANGPATH",
                             "VELA_PLUG_IN_RESOURCE_PATH", "VELA_PRESET_PATH", "VELA_PACKAGE_PATH"}) {
      (void)VelaUnsetEnv(name);
    }
    TVelaEnvironment::resetState();
    TVelaEnvironment::setVersion("7.1");
    M::resetState();
  }
  void TearDown() override {
    M::resetState();
    TVelaEnvironment::resetState();
    fs::remove_all(fRoot);
  }

  // Module directories d0, d1, ... under the root, named by VELA_MODULE_PATH.
  void directories(int n) {
    std::vector<std::string> dirs;
    for (int i = 0; i < n; ++i) {
      dirs.push_back(dir(i).string());
      fs::create_directories(dir(i));
    }
    set("VELA_MODULE_PATH", join(dirs));
    ASSERT_EQ(M::initialize(), 0);
  }
  fs::path dir(int i) const { return fRoot / ("d" + std::to_string(i)); }
  // A module folder with the given subfolders.
  fs::path moduleFolder(const std::string& name, std::vector<std::string> subs = {}) {
    const fs::path p = fRoot / "content" / name;
    fs::create_directories(p);
    for (const std::string& s : subs) fs::create_directories(p / s);
    return p;
  }
  std::vector<std::string> reasons() {
    std::vector<std::string> r;
    for (const TvelaModuleRefusal& x : M::refusals()) r.push_back(str(x.reason));
    return r;
  }
  bool refusedWith(const std::string& text) {
    const std::vector<std::string> r = reasons();
    return std::any_of(r.begin(), r.end(),
                       [&](const std::string& s) { return s.find(text) != std::string::npos; });
  }

  TenvGuard fGuard;
  fs::path fRoot;
};

TEST_F(TvelaModuleTest, DescriptionLinesGiveNameVersionPathAndKeywords) {
  directories(1);
  const fs::path a = moduleFolder("with blank");
  Tstring name;
  // Leading blanks, tabs between fields, a path with a blank, a CR LF end.
  EXPECT_TRUE(M::resolve_module_parse(
      Tstring(("  +\tPLATFORM:linux PLATFORM:" + std::string(vela::platform::platformName()) +
               " tools  2.0   " + a.string() + "  \r\n")
                  .c_str()),
      0, name));
  EXPECT_EQ(str(name), "tools");
  const TvelaModule* m = M::findModule("tools");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(str(m->version), "2.0");
  EXPECT_EQ(str(m->path), a.string());
  EXPECT_EQ(str(m->keywords.at("PLATFORM")), vela::platform::platformName());  // later one
  EXPECT_EQ(m->folders.size(), 6u);
  EXPECT_EQ(str(m->iconPattern), "icons/%B");

  // Not description lines, and incomplete ones.
  EXPECT_FALSE(M::resolve_module_parse("- tools 1.0 x", 0, name));
  EXPECT_FALSE(M::resolve_module_parse("+ lonely", 0, name));
  EXPECT_FALSE(M::resolve_module_parse("+ nameAndVersion 1.0   ", 0, name));
  EXPECT_TRUE(name.isEmpty());
  EXPECT_TRUE(refusedWith("needs a module name, a version and a path"));

  // A keyword scan stops at the first token that is not a keyword.
  Tstring line = "+ LOCALE:de_DE VELAVERSION: x 1 PLATFORM:linux";
  M::Tkeywords keywords;
  M::extractKeywords(line, keywords);
  EXPECT_EQ(str(line), "+ x 1 PLATFORM:linux");
  EXPECT_EQ(str(keywords["LOCALE"]), "de_DE");
  EXPECT_EQ(str(keywords["VELAVERSION"]), "");
  EXPECT_EQ(keywords.count("PLATFORM"), 0u);
  EXPECT_EQ(str(M::getKeyword("PLATFORMS:x")), "");
  EXPECT_EQ(str(M::getKeyword("LOCALE:")), "LOCALE");  // an empty value checks nothing
}

TEST_F(TvelaModuleTest, ConditionsMustMatchThisApplication) {
  directories(1);
  const std::string p = moduleFolder("m").string();
  const std::string platform = vela::platform::platformName();
  set("LANG", "de_DE.UTF-8");
  Tstring name;
  auto parse = [&](const std::string& keywords, const std::string& module) {
    return M::resolve_module_parse(("+ " + keywords + " " + module + " 1 " + p).c_str(), 0, name);
  };
  EXPECT_TRUE(parse("PLATFORM:" + platform, "a"));
  EXPECT_FALSE(parse("PLATFORM:win64x", "b"));
  EXPECT_FALSE(parse("PLATFORM:" + platform + "2", "b"));
  EXPECT_TRUE(parse("", "c"));
  EXPECT_TRUE(parse("VELAVERSION:7.1 LOCALE:de_DE", "d"));
  EXPECT_FALSE(parse("VELAVERSION:7.10", "e"));
  EXPECT_FALSE(parse("LOCALE:en_US", "f"));
  EXPECT_FALSE(parse("LOCALE:de_de", "f"));  // exact, case-sensitive
  EXPECT_TRUE(refusedWith("the user interface uses de_DE"));
  EXPECT_TRUE(refusedWith("application version 7.10; this is 7.1"));
  // A directory index outside the list, and a path that does not exist.
  EXPECT_FALSE(M::resolve_module_parse(("+ g 1 " + p).c_str(), 1, name));
  EXPECT_FALSE(M::resolve_module_parse(("+ h 1 " + p + "/missing").c_str(), 0, name));
  EXPECT_TRUE(refusedWith("does not exist"));
  TstringArray names;
  M::getModuleList(names);
  EXPECT_EQ(strings(names), (std::vector<std::string>{"a", "c", "d"}));
}

TEST_F(TvelaModuleTest, EarlierDirectoryWinsThenGreaterVersionText) {
  directories(3);
  const std::string p = moduleFolder("m").string();
  const std::string q = moduleFolder("n").string();
  // Same directory: the greater version text wins whichever comes first ("9.0" > "10.0").
  write(dir(1) / "a.mod", "+ same 10.0 " + p + "\n+ same 9.0 " + q + "\n+ same 9.0 " + p + "\n");
  // The earlier directory wins whatever its version; relative paths are read against it.
  write(dir(2) / "b.mod", "+ clash 5.0 " + p + "\n");
  write(dir(1) / "b.mod", "+ clash 1.0 ../content/n\n");
  write(dir(0) / "z.mod", "+ clash 0.1 ./../content/m/\n");
  EXPECT_EQ(M::scanForNewModules(), 2);
  EXPECT_EQ(str(M::getModuleVersion("same")), "9.0");
  EXPECT_EQ(str(M::getModulePath("same")), q);
  EXPECT_EQ(str(M::getModuleVersion("clash")), "0.1");
  EXPECT_EQ(str(M::getModulePath("clash")), p);
  EXPECT_EQ(M::findModule("clash")->directoryIndex, 0);
  EXPECT_EQ(str(M::getModuleDefPath("clash")), (dir(0) / "z.mod").string());
  EXPECT_EQ(M::findModule("clash")->defLine, 1);
  EXPECT_EQ(str(M::getModuleVersion("nothing")), "");
  // Every loser is listed: two replaced, two refused.
  const std::vector<std::string> r = reasons();
  EXPECT_EQ(std::count_if(r.begin(), r.end(),
                          [](const std::string& s) { return s.rfind("Replaced by", 0) == 0; }),
            1);
  EXPECT_TRUE(refusedWith("comes first, already gives this module (version 0.1)"));
  EXPECT_TRUE(refusedWith("Version 9.0 of this module"));
}

// A differential check of the priority rule against a plain model: random descriptions spread
// over three directories and several files, the winner computed with std::map.
TEST_F(TvelaModuleTest, PriorityRuleMatchesAModel) {
  directories(3);
  const std::string p = moduleFolder("m").string();
  std::mt19937 random(7);
  std::map<std::string, std::pair<int, std::string>> model;
  std::map<fs::path, std::string> files;
  for (int i = 0; i < 300; ++i) {
    const int d = static_cast<int>(random() % 3);
    const std::string name = "mod" + std::to_string(random() % 25);
    const std::string version = std::to_string(random() % 12) + "." + std::to_string(random() % 3);
    files[dir(d) / ("f" + std::to_string(random() % 4))] += "+ " + name + " " + version + " " + p +
                                                             "\n";
    auto it = model.find(name);
    if (it == model.end() || d < it->second.first ||
        (d == it->second.first && version > it->second.second)) {
      model[name] = {d, version};
    }
  }
  for (const auto& [file, text] : files) write(file, text);
  EXPECT_EQ(M::scanForNewModules(), static_cast<int>(model.size()));
  for (const auto& [name, winner] : model) {
    const TvelaModule* m = M::findModule(name.c_str());
    ASSERT_NE(m, nullptr) << name;
    EXPECT_EQ(m->directoryIndex, winner.first) << name;
    EXPECT_EQ(str(m->version), winner.second) << name;
  }
}

TEST_F(TvelaModuleTest, SettingLinesBelongToTheLastDescription) {
  directories(1);
  const fs::path p = moduleFolder("p", {"sub", "deep/a/b", "deep/c", "mel"});
  const fs::path q = moduleFolder("q");
  write(dir(0) / "tools.mod",
        "Prose before the first description is ignored: X = 1\n"
        "+ first 1.0 " + p.string() + "\n"
        "X = A\n"
        "X +:= sub\n"
        "Y = A\n"
        "Y *= B\n"
        "Z +:= sub\n"           // no stored value: appends to the variable itself later
        "  # a comment\n"
        "\n"
        "VELA_SCRIPT_PATH: mel\n"
        "[r] VELA_PRESET_PATH: deep\n"
        "[r] DEEP :=deep\n"
        "MY VAR = 1\n"          // a blank in the name: reported
        "words without equals\n"
        "= no name\n"
        "+ refused 1.0 " + (fRoot / "missing").string() + "\n"
        "W = lost\n"            // belongs to the refused line
        "+ second 1.0 " + q.string() + "\n"
        "XBMLANGPATH: \n"
        "W = 2");                // no final line feed
  EXPECT_EQ(M::scanForNewModules(), 2);
  const TvelaModule* first = M::findModule("first");
  ASSERT_NE(first, nullptr);
  const std::string P = p.string();
  EXPECT_EQ(str(first->settings.at("X").value), "A" + std::string(1, kSep) + P + "/sub");
  EXPECT_EQ(str(first->settings.at("Y").value), "B" + std::string(1, kSep) + "A");
  EXPECT_EQ(first->settings.at("Z").mode, TvelaModuleSettingMode::kAppend);
  EXPECT_EQ(str(first->settings.at("DEEP").value),
            join({P + "/deep", P + "/deep/a", P + "/deep/a/b", P + "/deep/c"}));
  EXPECT_EQ(first->settings.count("MY VAR"), 0u);
  EXPECT_EQ(first->settings.count("W"), 0u);
  EXPECT_EQ(str(first->folders[0].folder), "mel");
  EXPECT_TRUE(first->folders[5].recursive);
  EXPECT_TRUE(refusedWith("The module first sets the variable \"MY VAR\", whose name holds a blank"));
  EXPECT_TRUE(refusedWith("neither a folder override nor a variable setting"));
  const TvelaModule* second = M::findModule("second");
  EXPECT_EQ(str(second->settings.at("W").value), "2");
  EXPECT_EQ(str(second->folders[3].folder), "");
  EXPECT_EQ(str(second->iconPattern), "");
  // A setting line for an unknown module is not used.
  EXPECT_FALSE(M::resolve_module_parse_overrides("X = 1", "nobody"));
}

TEST_F(TvelaModuleTest, OnlyValidEntriesAreReadAndBadFilesDoNotStopTheScan) {
  EXPECT_TRUE(M::isValidModulePath("/m/tools.mod"));
  EXPECT_TRUE(M::isValidModulePath("/m/noextension"));
  EXPECT_TRUE(M::isValidModulePath("/m/a.so.txt"));
  for (const char* bad : {"/m/.hidden", "/m/x.so", "/m/x.py", "/m/x.nll.dll", "/m/x.bundle/",
                          "/m/x.bundle/inside.mod", "/m/a.app/Contents/b", "/m/.", "/m/x.template"}) {
    EXPECT_FALSE(M::isValidModulePath(bad)) << bad;
  }
  directories(1);
  const std::string p = moduleFolder("m").string();
  write(dir(0) / ".hidden", "+ hidden 1 " + p + "\n");
  write(dir(0) / "skip.py", "+ python 1 " + p + "\n");
  write(dir(0) / "x.bundle" / "inside.mod", "+ inBundle 1 " + p + "\n");
  const char elf[] = "\x7f" "ELF\0\0\1+ elf 1 ";
  write(dir(0) / "binary.dat", std::string(elf, sizeof elf - 1) + p + "\n");
  std::string mixed = "+ crlf 1 " + p + "\r\n";
  mixed += "+ long 1 " + p + std::string(TvelaModuleSupportBase::kMaxLineLength, ' ') + "x\n";
  mixed += "+ badutf 1 " + p + "\xC3\x28\n";
  mixed += "+ " + std::string("nul\0x", 5) + " 1 " + p + "\n";
  mixed += "+ last 1 " + p;  // no final line feed
  write(dir(0) / "mixed.mod", std::string(600, '\n') + mixed);
  fs::create_symlink(fRoot / "nowhere", dir(0) / "dangling.mod");
  EXPECT_EQ(M::scanForNewModules(), 2);
  TstringArray names;
  M::getModuleList(names);
  EXPECT_EQ(strings(names), (std::vector<std::string>{"crlf", "last"}));
  EXPECT_TRUE(refusedWith("longer than 10000 bytes"));
  EXPECT_TRUE(refusedWith("NUL byte or malformed UTF-8"));
  EXPECT_TRUE(refusedWith("The file is not text"));
  EXPECT_TRUE(refusedWith("cannot be read"));
  for (const TvelaModuleRefusal& r : M::refusals()) {
    if (str(r.reason).find("malformed") != std::string::npos) {
      EXPECT_GT(r.line, 600);
    }
  }
}

TEST_F(TvelaModuleTest, GetPathsExpandsRecursiveFoldersAndSkipsMissingOnes) {
  directories(2);
  const fs::path a = moduleFolder("a", {"scripts", "icons", "presets/x/y/z", "presets/w",
                                        "resources/de_DE"});
  const fs::path b = moduleFolder("b", {"scripts", "python", "resources"});
  fs::create_directory_symlink(a / "presets", a / "presets" / "x" / "loop");
  write(dir(1) / "a.mod", "+ a 1 ." + std::string("//../content/./a") + "\n[r] VELA_PRESET_PATH: presets\n");
  write(dir(0) / "b.mod", "+ b 1 ../content/b\nPYTHONPATH: python" + std::string(1, kSep) +
                              "/nonexistent\n");
  set("LANG", "de_DE");
  TstringArray paths;
  M::getPaths("VELA_SCRIPT_PATH", paths);
  // Module order: directory index first, so b (directory 0) before a.
  const std::string A = (fRoot / "content" / "a").string();
  const std::string B = (fRoot / "content" / "b").string();
  EXPECT_EQ(strings(paths), (std::vector<std::string>{B + "/scripts", A + "/scripts"}));
  paths.reset();
  M::getPaths("PYTHONPATH", paths);
  EXPECT_EQ(strings(paths), (std::vector<std::string>{B + "/python", A + "/scripts"}));
  paths.reset();
  M::getPaths("VELA_PRESET_PATH", paths);
  const std::string R = A + "/presets";
  EXPECT_EQ(strings(paths), (std::vector<std::string>{R, R + "/w", R + "/x", R + "/x/y",
                                                      R + "/x/y/z"}));
  paths.reset();
  M::getPaths("VELA_PLUG_IN_RESOURCE_PATH", paths);
  EXPECT_EQ(strings(paths),
            (std::vector<std::string>{B + "/resources", A + "/resources/de_DE",
                                      A + "/resources"}));
  paths.reset();
  M::getPaths("VELA_PLUG_IN_PATH", paths);
  EXPECT_EQ(paths.length(), 0u);
}

TEST_F(TvelaModuleTest, UpdateEnvironmentVariablesAppendsOnceAndAppliesSettings) {
  directories(1);
  const fs::path a = moduleFolder("a", {"scripts", "icons", "bin"});
  write(dir(0) / "a.mod",
        "+ a 1 " + a.string() + "\nPATH +:= bin\nFRONT *= /front\nPLAIN = yes\n");
  set("VELA_SCRIPT_PATH", "/own/scripts");
  set("PATH", "/usr/bin");
  set("FRONT", "/back");
  set("PLAIN", "no");
  M::setRebuildIconPaths(false);
  M::updateEnvironmentVariables();
  const std::string S = a.string() + "/scripts";
  EXPECT_EQ(get("VELA_SCRIPT_PATH"), join({"/own/scripts", S}));
  EXPECT_EQ(get("PYTHONPATH"), S);
  EXPECT_EQ(get("XBMLANGPATH"), a.string() + "/icons");
  EXPECT_EQ(get("PATH"), join({"/usr/bin", a.string() + "/bin"}));
  EXPECT_EQ(get("FRONT"), join({"/front", "/back"}));
  EXPECT_EQ(get("PLAIN"), "yes");
  EXPECT_EQ(get("VELA_PRESET_PATH"), "<unset>");
  EXPECT_TRUE(M::getRebuildIconPaths());
  // A second run finds everything in place.
  M::setRebuildIconPaths(false);
  M::updateEnvironmentVariables();
  EXPECT_EQ(get("VELA_SCRIPT_PATH"), join({"/own/scripts", S}));
  EXPECT_EQ(get("PATH"), join({"/usr/bin", a.string() + "/bin"}));
  EXPECT_EQ(get("FRONT"), join({"/front", "/back"}));
  EXPECT_FALSE(M::getRebuildIconPaths());
}

TEST_F(TvelaModuleTest, StartUpAddsModulesToTheSearchPaths) {
  const fs::path install = fRoot / "install";
  const fs::path library = vela::platform::ownLibraryPath();
  write(install / "lib" / library.filename(), "");
  const fs::path a = moduleFolder("a", {"scripts"});
  write(install / "modules" / "a.mod", "+ a 1 " + a.string() + "\nSTARTUP_MODULE_SETTING = on\n");
  for (const char* name : {"VELA_MODULE_PATH", "VELA_ENV_DIR", "STARTUP_MODULE_SETTING"}) {
    (void)VelaUnsetEnv(name);
  }
  set("VELA_DEBUG_SIGNAL", "0");
  set("VELA_LOCATION", install.string());
  set("VELA_APP_DIR", (fRoot / "user").string());
  fs::create_directories(fRoot / "user");
  ASSERT_TRUE(TVelaEnvironment::initializeVelaEnvironment(false));
  EXPECT_EQ(str(M::velaModulePath()).rfind((install / "modules").string(), 0), 0u);
  EXPECT_EQ(str(M::getModulePath("a")), a.string());
  const std::string scripts = get("VELA_SCRIPT_PATH");
  EXPECT_EQ(scripts.substr(scripts.rfind(kSep) + 1), a.string() + "/scripts");
  EXPECT_EQ(get("STARTUP_MODULE_SETTING"), "on");
}

TEST_F(TvelaModuleTest, ConcurrentFirstQueriesScanOnce) {
  directories(2);
  const std::string p = moduleFolder("m", {"scripts"}).string();
  for (int i = 0; i < 20; ++i) {
    write(dir(i % 2) / ("m" + std::to_string(i) + ".mod"),
          "+ mod" + std::to_string(i) + " 1 " + p + "\n");
  }
  M::resetState();  // the queries below find nothing initialised
  std::vector<std::thread> threads;
  std::vector<int> found(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &found] {
      for (int i = 0; i < 20; ++i) {
        if (M::findModule(("mod" + std::to_string(i)).c_str()) != nullptr) ++found[t];
        TstringArray paths;
        M::getPaths("VELA_SCRIPT_PATH", paths);
        (void)M::getModulePath("mod1");
      }
    });
  }
  for (std::thread& t : threads) t.join();
  for (int f : found) EXPECT_EQ(f, 20);
  EXPECT_TRUE(M::refusals().empty());
}

TEST_F(TvelaModuleTest, HostBookkeeping) {
  int calls = 0;
  M::setWorkspaceLayoutUpdater([&calls] { ++calls; });
  EXPECT_FALSE(M::modulesLoaded());
  M::markModulesLoaded();
  EXPECT_TRUE(M::modulesLoaded());
  EXPECT_EQ(calls, 1);
  M::setWorkspaceLayoutUpdater(nullptr);
  M::markModulesLoaded();
  EXPECT_EQ(calls, 1);
  M::setRebuildIconPaths(true);
  EXPECT_TRUE(M::getRebuildIconPaths());
}

}  // namespace
