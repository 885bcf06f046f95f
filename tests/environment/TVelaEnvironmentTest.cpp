// Start-up environment: the file syntax, who wins, path merging, default mode, the file
// candidates, bad files and unusable folders. Every test runs in a throw-away installation, user
// folder, home and configuration folder, inside a TenvGuard.
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TenvFileParser.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformLocations.h>

#include "EnvTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr char kSep = vela::platform::kPathListSeparator;

using envTest::str;
using envTest::strings;
using envTest::get;
using envTest::write;

std::string read(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class TVelaEnvironmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fRoot = fs::temp_directory_path() /
            ("vela-env-test-" + std::to_string(vela::platform::environmentEntries().size()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(fRoot);
    fInstall = fRoot / "install";
    fAppDir = fRoot / "appdir";
    fHome = fRoot / "home";
    fDocs = fHome / "Documents";
    // A fake installation: the library folder holds a file named like our library.
    const fs::path library = vela::platform::ownLibraryPath();
    write(fInstall / "lib" / library.filename(), "");
    for (const fs::path& dir :
         {fAppDir, fDocs, fRoot / "xdg-config", fRoot / "xdg-home", fRoot / "tmp"})
      fs::create_directories(dir);
    for (const char* name : {"VELA_LOCATION", "VELA_APP_DIR", "VELA_ENV_DIR", "VELA_SCRIPT_BASE",
                             "VELA_SHELF_PATH", "VELA_PRE_70_PATH_ORDERING", "TEMP", "USER",
                             "LC_ALL", "LC_MESSAGES", "LANG", "XDG_DOCUMENTS_DIR"}) {
      (void)VelaUnsetEnv(name);
    }
    for (const char* name : TVelaEnvironment::kPathVariables) {
      if (std::string(name) != "PATH") (void)VelaUnsetEnv(name);
    }
    set("HOME", fHome.string());
    set("XDG_CONFIG_HOME", (fRoot / "xdg-home").string());
    set("XDG_CONFIG_DIRS", (fRoot / "xdg-config").string());
    set("TMPDIR", (fRoot / "tmp").string());
    set("PATH", "/usr/bin");
    set("VELA_LOCATION", fInstall.string());
    set("VELA_APP_DIR", fAppDir.string());
    TVelaEnvironment::resetState();
    TVelaEnvironment::setVersion("7.1");
    TVelaEnvironment::setAsker([this](const Tstring&, const Tstring&, Tstring& folder) {
      ++fQuestions;
      folder = fAnswer.c_str();
      return !fAnswer.empty();
    });
    TVelaEnvironment::setReporter([this](const Tstring& text, bool error) {
      fMessages.push_back((error ? "E:" : "W:") + str(text));
    });
  }

  void TearDown() override {
    TVelaEnvironment::setAsker(nullptr);
    TVelaEnvironment::setReporter(nullptr);
    TVelaEnvironment::resetState();
    fs::permissions(fRoot, fs::perms::owner_all, fs::perm_options::add);
    fs::remove_all(fRoot);
  }

  static void set(const char* name, const std::string& value) {
    ASSERT_EQ(VelaPutEnv((std::string(name) + "=" + value).c_str()), 0);
  }

  // Runs start-up (without the command line) with `envText` as the user's file.
  bool start(const std::string& envText, bool defaultMode = false) {
    write(fAppDir / "Vela.env", envText);
    return startAsIs(defaultMode);
  }
  bool startAsIs(bool defaultMode = false) {
    TVelaEnvironment::initData();
    TVelaEnvironment::setDefaultMode(defaultMode);
    if (!TVelaEnvironment::readVariables(true)) return false;
    TVelaEnvironment::setEssentialVariables();
    return true;
  }

  std::vector<std::string> entries(const char* name) {
    return strings(TVelaEnvironment::splitPath(VelaGetEnv(name)));
  }

  TenvGuard fGuard;
  fs::path fRoot, fInstall, fAppDir, fHome, fDocs;
  std::string fAnswer;
  int fQuestions = 0;
  std::vector<std::string> fMessages;
};

}  // namespace

TEST(TenvFileParser, LineSyntax) {
  auto lookup = [](const std::string& name) -> const char* {
    if (name == "HOME") return "/home/ann";
    if (name == "EMPTY") return "";
    return nullptr;
  };
  auto parse = [&](const char* line) {
    std::string name, value;
    return TenvFileParser::parseLine(line, lookup, name, value) ? name + "|" + value : "-";
  };
  EXPECT_EQ(parse(" \t NAME \t=  a  b \t"), "NAME|a  b");
  EXPECT_EQ(parse("NAME=a=b"), "NAME|a=b");
  EXPECT_EQ(parse("NAME="), "NAME|");
  EXPECT_EQ(parse("NAME=\r"), "NAME|");
  for (const char* ignored :
       {"# A=1", "#A=1", "=1", "A", "", "   =1", "A B=1", "A\tB=1", "A/B=1", "A\\B=1", "A:B=1",
        "A*B=1", "A\"B=1", "A<B=1", "A>B=1", "A|B=1", " #A=1", "A\x01=1"}) {
    EXPECT_EQ(parse(ignored), "-") << ignored;
  }
  EXPECT_EQ(parse("A=$HOME/x"), "A|/home/ann/x");
  EXPECT_EQ(parse("A=%HOME%x"), "A|/home/annx");
  EXPECT_EQ(parse("A=$HOME$HOME:$HOME;%HOME%%HOME%"),
            "A|/home/ann/home/ann:/home/ann;/home/ann/home/ann");
  EXPECT_EQ(parse("A=$EMPTY:x"), "A|:x");
  EXPECT_EQ(parse("A=$UNSET/%UNSET% $"), "A|$UNSET/%UNSET% $");
  EXPECT_EQ(parse("A=100% of %HOME"), "A|100% of %HOME");
  EXPECT_EQ(parse("A=%%$/x"), "A|%%$/x");
  EXPECT_EQ(parse("A=$HOMEX"), "A|$HOMEX");
  // Expanded once: a value that looks like a reference is not looked at again.
  EXPECT_EQ(TenvFileParser::expand("$A", [](const std::string&) { return "$A"; }), "$A");
}

TEST(TenvFileParser, LinesCrlfOverlongNulAndNoFinalNewline) {
  std::vector<std::string> got;
  TenvFileParser p(nullptr,
                   [&](const std::string& n, const std::string& v) { got.push_back(n + "=" + v); });
  const std::string longValue(TenvFileParser::kMaxLineLength - 2, 'v');
  const std::string tooLong(TenvFileParser::kMaxLineLength - 1, 'w');
  const std::string text = "A=1\r\nB=\x01\x02\xff\n" + std::string("C=x\0y\n", 6) +
                           "D=" + longValue + "\nE=" + tooLong + "\nF=2";
  for (char c : text) p.feed(&c, 1);  // the worst split there is
  p.finish();
  ASSERT_EQ(got.size(), 4u);
  EXPECT_EQ(got[0], "A=1");
  EXPECT_EQ(got[1], "B=\x01\x02\xff");
  EXPECT_EQ(got[2].size(), 2 + longValue.size());
  EXPECT_EQ(got[3], "F=2");
}

TEST_F(TVelaEnvironmentTest, FileSetsPlainVariablesButProcessWins) {
  set("VELA_T_PROCESS", "process");
  ASSERT_TRUE(
      start("VELA_T_PROCESS=file\n"
            "VELA_T_NEW = spaced  value \n"
            "VELA_T_REF=$VELA_T_NEW/%VELA_T_PROCESS%\n"
            "VELA_T_TAGS=<VELA_LOCATION>\\x<SEP>y\n"
            "VELA_T_EMPTY=\n"
            "VELA_T_NEW=again\n"
            "VELA_HELP_URL=https://help.example/vela\n"));
  EXPECT_EQ(get("VELA_T_PROCESS"), "process");
  EXPECT_EQ(get("VELA_T_NEW"), "spaced  value");
  EXPECT_EQ(get("VELA_T_REF"), "spaced  value/process");
  EXPECT_EQ(get("VELA_T_TAGS"), fInstall.string() + "/x" + kSep + "y");
  EXPECT_EQ(get("VELA_T_EMPTY"), "");
  EXPECT_EQ(get("VELA_HELP_URL"), "https://help.example/vela");
  EXPECT_EQ(str(TVelaEnvironment::velaEnvFileLocation()), (fAppDir / "Vela.env").string());
  // The defaults of plain variables.
  EXPECT_EQ(get("VELA_SCRIPT_BASE"), fInstall.string());
  EXPECT_EQ(get("VELA_REVERSE_FILEFORMAT_EXT"), "1");
  EXPECT_EQ(get("QX_IMF_CIN_CORRECTION"), "both");
  EXPECT_EQ(get("QX_IMF_CIN_WHITE_POINT"), "685");
  EXPECT_NE(get("USER"), "<unset>");
  EXPECT_TRUE(fMessages.empty());
}

TEST_F(TVelaEnvironmentTest, PathVariablesMergeInFixedOrderOnce) {
  set("VELA_SCRIPT_PATH", "/proc/scripts");
  set("VELA_CONTENT_PATH", "/proc/content");
  set("VELA_SHELF_PATH", "/shelves");
  set("PATH", std::string("/usr/bin") + kSep + "/bin");
  ASSERT_TRUE(
      start("VELA_SCRIPT_PATH=/file/scripts\n"
            "VELA_SCRIPT_PATH=/file/second\n"
            "PATH=/file/bin\n"
            "VELA_PLUG_IN_RESOURCE_PATH=/file/res\n"));
  const std::string loc = fInstall.string(), app = fAppDir.string();
  const std::vector<std::string> scripts = entries("VELA_SCRIPT_PATH");
  ASSERT_GE(scripts.size(), 20u);
  EXPECT_EQ(scripts[0], "/proc/scripts");
  EXPECT_EQ(scripts[1], "/file/scripts");
  EXPECT_EQ(scripts[2], app + "/7.1/scripts");
  EXPECT_EQ(scripts[3], app + "/scripts");
  EXPECT_EQ(scripts[4], app + "/7.1/presets");
  EXPECT_EQ(scripts[5], "/shelves");
  EXPECT_EQ(scripts[9], loc + "/scripts");
  EXPECT_EQ(scripts.back(), loc + "/scripts/" + TVelaEnvironment::kFeatureFolders[9]);
  EXPECT_EQ(std::count(scripts.begin(), scripts.end(), "/file/second"), 0);

  EXPECT_EQ(entries("PATH"), (std::vector<std::string>{loc + "/bin/Cg", loc + "/bin", "/usr/bin",
                                                       "/bin", "/file/bin"}));
  EXPECT_EQ(entries("VELA_CONTENT_PATH"),
            (std::vector<std::string>{loc + "/Examples", "/proc/content"}));
  EXPECT_EQ(get("VELA_PLUG_IN_RESOURCE_PATH"), "/file/res");
  EXPECT_EQ(
      entries("VELA_PLUG_IN_PATH"),
      (std::vector<std::string>{app + "/7.1/plug-ins", app + "/plug-ins", loc + "/bin/plug-ins"}));
  EXPECT_EQ(entries("VELA_MODULE_PATH").front(), loc + "/modules");
  EXPECT_EQ(entries("VELA_MODULE_PATH").back(), "/usr/local/share/Corvanta Shared/Modules/vela/7");
  EXPECT_EQ(entries("XBMLANGPATH").front(), app + "/7.1/prefs/icons");

  // A second run in the same process merges nothing again.
  const std::string before = get("VELA_SCRIPT_PATH");
  TVelaEnvironment::setEssentialVariables();
  TVelaEnvironment::setEnvironmentVariable("VELA_SCRIPT_PATH", "/late");
  EXPECT_EQ(get("VELA_SCRIPT_PATH"), before);
}

TEST_F(TVelaEnvironmentTest, OldPathOrderingMachineSettingsAndLanguage) {
  set("VELA_PRE_70_PATH_ORDERING", "1");
  set("LANG", "ja_JP.UTF-8");
  write(fRoot / "xdg-config" / "Corvanta" / "Common.conf",
        "[General]\nTQ_USER_CONFIG=/etc/corvanta\nTQ_MODULES=/opt/modules\n");
  ASSERT_TRUE(start(""));
  const std::string loc = fInstall.string(), app = fAppDir.string();
  EXPECT_EQ(entries("PATH"), (std::vector<std::string>{"/usr/bin", loc + "/bin/Cg", loc + "/bin"}));
  const std::vector<std::string> plugins = entries("VELA_PLUG_IN_PATH");
  ASSERT_EQ(plugins.size(), 5u);
  EXPECT_EQ(plugins[2], "/etc/corvanta/vela/7.1/plug-ins");
  EXPECT_EQ(plugins[3], "/etc/corvanta/vela/plug-ins");
  EXPECT_EQ(entries("VELA_MODULE_PATH").back(), "/opt/modules/vela");
  const std::vector<std::string> scripts = entries("VELA_SCRIPT_PATH");
  EXPECT_EQ(scripts[0], app + "/7.1/ja_JP/scripts");
  EXPECT_EQ(scripts[1], app + "/7.1/scripts");  // the unlocalized folder follows
  EXPECT_EQ(str(TVelaEnvironment::getLocalizedSubdirectory()), "7.1/ja_JP");
}

TEST_F(TVelaEnvironmentTest, DefaultModeLeavesUserFoldersAndFileOutExceptPath) {
  set("VELA_SCRIPT_PATH", "/proc/scripts");
  set("XBMLANGPATH", "/proc/icons");
  ASSERT_TRUE(start("VELA_PLUG_IN_PATH=/file/plug-ins\nPATH=/file/bin\nVELA_T_PLAIN=kept\n",
                    /*defaultMode=*/true));
  const std::string loc = fInstall.string(), app = fAppDir.string();
  EXPECT_EQ(get("VELA_PLUG_IN_PATH"), loc + "/bin/plug-ins");
  EXPECT_EQ(entries("XBMLANGPATH"),
            (std::vector<std::string>{loc + "/app-defaults", loc + "/icons"}));
  EXPECT_EQ(get("VELA_MODULE_PATH"), loc + "/modules");
  EXPECT_EQ(entries("VELA_SCRIPT_PATH").front(), loc + "/scripts");
  for (const char* name : TVelaEnvironment::kPathVariables) {
    if (std::string(name) == "PATH") continue;
    for (const std::string& e : entries(name)) {
      EXPECT_EQ(e.find(app), std::string::npos) << name << " has " << e;
      EXPECT_EQ(e.find("/proc/"), std::string::npos) << name << " has " << e;
      EXPECT_EQ(e.find("/file/"), std::string::npos) << name << " has " << e;
    }
  }
  EXPECT_EQ(entries("PATH"),
            (std::vector<std::string>{loc + "/bin/Cg", loc + "/bin", "/usr/bin", "/file/bin"}));
  EXPECT_EQ(get("VELA_T_PLAIN"), "kept");
}

TEST_F(TVelaEnvironmentTest, FileCandidatesInOrderAndEmptyFileCreatedAtFirst) {
  const std::vector<std::string> candidates = strings(TVelaEnvironment::envFileCandidates());
  const std::string docsApp = (fDocs / "vela").string(), app = fAppDir.string();
  // initData has not run: only VELA_APP_DIR and the working folder are known.
  TVelaEnvironment::initData();
  const std::vector<std::string> all = strings(TVelaEnvironment::envFileCandidates());
  ASSERT_EQ(all,
            (std::vector<std::string>{app + "/7.1/Vela.env", app + "/Vela.env", app + "/7/Vela.env",
                                      docsApp + "/7.1/Vela.env", docsApp + "/Vela.env",
                                      docsApp + "/7/Vela.env", "./Vela.env"}));
  EXPECT_EQ(candidates.size(), 4u);

  // Each candidate wins over the ones after it.
  for (std::size_t i = all.size() - 1; i-- > 0;) {
    write(all[i], "VELA_T_WHICH=" + std::to_string(i) + "\n");
    TenvGuard guard;
    TVelaEnvironment::resetState();
    TVelaEnvironment::setVersion("7.1");
    ASSERT_TRUE(startAsIs());
    EXPECT_EQ(get("VELA_T_WHICH"), std::to_string(i));
    EXPECT_EQ(str(TVelaEnvironment::velaEnvFileLocation()), all[i]);
  }
  // VELA_ENV_DIR beats them all; its folders are tried in order.
  write(fRoot / "envdir2" / "Vela.env", "VELA_T_WHICH=envdir\n");
  set("VELA_ENV_DIR", (fRoot / "envdir1").string() + kSep + (fRoot / "envdir2").string());
  TVelaEnvironment::resetState();
  TVelaEnvironment::setVersion("7.1");
  ASSERT_TRUE(startAsIs());
  EXPECT_EQ(get("VELA_T_WHICH"), "envdir");
}

TEST_F(TVelaEnvironmentTest, MissingFileIsCreatedOrCopiedFromEarlierVersion) {
  ASSERT_TRUE(startAsIs());
  const fs::path first = fAppDir / "7.1" / "Vela.env";
  EXPECT_EQ(str(TVelaEnvironment::velaEnvFileLocation()), first.string());
  ASSERT_TRUE(fs::is_regular_file(first));
  EXPECT_EQ(fs::file_size(first), 0u);
  EXPECT_TRUE(fMessages.empty());

  // With an older version's file around, the new one starts as its copy.
  fs::remove(first);
  write(fAppDir / "6.2" / "Vela.env", "VELA_T_OLD=6.2\n");
  write(fAppDir / "6.10" / "Vela.env", "VELA_T_OLD=6.10\n");
  write(fAppDir / "8.0" / "Vela.env", "VELA_T_OLD=8.0\n");
  TVelaEnvironment::resetState();
  TVelaEnvironment::setVersion("7.1");
  ASSERT_TRUE(startAsIs());
  EXPECT_EQ(read(first), "VELA_T_OLD=6.10\n");
  EXPECT_EQ(get("VELA_T_OLD"), "6.10");
  ASSERT_EQ(fMessages.size(), 1u);
  EXPECT_NE(fMessages[0].find((fAppDir / "6.10" / "Vela.env").string()), std::string::npos);
}

TEST_F(TVelaEnvironmentTest, BadFilesNeverStopStartUp) {
  const char binary[] =
      "\x7f"
      "ELF\0\0\x01\xff\xfe=\x80\n\0=\0\n";
  const std::string garbage(binary, sizeof binary - 1);
  ASSERT_TRUE(start(garbage + "GOOD1=a\r\n" + std::string(20000, 'x') + "=1\nGOOD2=b"));
  EXPECT_EQ(get("GOOD1"), "a");
  EXPECT_EQ(get("GOOD2"), "b");

  // An unreadable file is skipped (the check is void when we run as root).
  write(fAppDir / "Vela.env", "VELA_T_SECRET=1\n");
  fs::permissions(fAppDir / "Vela.env", fs::perms::none);
  TenvGuard guard;
  TVelaEnvironment::resetState();
  TVelaEnvironment::setVersion("7.1");
  EXPECT_TRUE(startAsIs());
  if (!std::ifstream(fAppDir / "Vela.env")) {
    EXPECT_EQ(get("VELA_T_SECRET"), "<unset>");
  }
}

TEST_F(TVelaEnvironmentTest, LocationAndTempFallbacks) {
  // An invalid VELA_LOCATION is replaced by the folder above the library's own.
  set("VELA_LOCATION", (fRoot / "nowhere").string());
  (void)VelaUnsetEnv("TMPDIR");
  set("TEMP", (fRoot / "tmp").string() + "/");
  ASSERT_TRUE(start(""));
  const fs::path library = vela::platform::ownLibraryPath();
  EXPECT_EQ(get("VELA_LOCATION"), library.parent_path().parent_path().string());
  EXPECT_EQ(get("VELA_SCRIPT_BASE"), get("VELA_LOCATION"));
  EXPECT_EQ(get("TMPDIR"), (fRoot / "tmp").string());
  EXPECT_TRUE(fMessages.empty());

  Tstring dir = ((fRoot / "tmp").string() + "//").c_str();
  EXPECT_TRUE(TVelaEnvironment::validateDirectoryWritable(dir));
  EXPECT_EQ(str(dir), (fRoot / "tmp").string());
  Tstring root = "/";
  EXPECT_TRUE(TVelaEnvironment::validateDirectoryWritable(root));
  EXPECT_EQ(str(root), "/");
  Tstring missing = (fRoot / "missing").string().c_str();
  EXPECT_FALSE(TVelaEnvironment::validateDirectoryWritable(missing));
  const std::string list = std::string(2, kSep) + "/a" + kSep + kSep + "/b" + kSep;
  EXPECT_EQ(strings(TVelaEnvironment::splitPath(list.c_str())),
            (std::vector<std::string>{"/a", "/b"}));
  EXPECT_TRUE(TVelaEnvironment::splitPath(Tstring()).isEmpty());
}

TEST_F(TVelaEnvironmentTest, UnusableAppDirAndTempAreReportedAndAsked) {
  write(fRoot / "a-file", "");
  set("VELA_APP_DIR", (fRoot / "a-file").string());  // a file: not a usable folder
  set("TMPDIR", (fRoot / "a-file").string());
  fAnswer = (fRoot / "chosen").string();
  ASSERT_TRUE(start(""));
  EXPECT_EQ(fQuestions, 1);
  EXPECT_EQ(get("VELA_APP_DIR"), fAnswer);
  EXPECT_TRUE(fs::is_directory(fAnswer));
  ASSERT_EQ(fMessages.size(), 3u);
  EXPECT_NE(fMessages[0].find("a-file"), std::string::npos);
  EXPECT_EQ(fMessages[2].rfind("W:", 0), 0u);  // the temporary folder warning
  EXPECT_NE(fMessages[2].find("a-file"), std::string::npos);
  EXPECT_EQ(get("TMPDIR"), "/tmp");

  // Not interactive: reported, nobody asked, start-up goes on.
  TenvGuard guard;
  TVelaEnvironment::resetState();
  set("VELA_APP_DIR", (fRoot / "a-file").string());
  fQuestions = 0;
  fMessages.clear();
  TVelaEnvironment::initData();
  EXPECT_TRUE(TVelaEnvironment::readVariables(false));
  EXPECT_EQ(fQuestions, 0);
  EXPECT_EQ(fMessages.size(), 2u);
}

// A line over the length limit is skipped, but not silently: one warning names the file and the
// line, even when the line arrives in several reads of the file; the lines around it still count.
TEST_F(TVelaEnvironmentTest, OverlongLineIsReportedOnceWithFileAndLine) {
  const std::string longPath(TenvFileParser::kMaxLineLength + 100000, 'p');
  ASSERT_TRUE(start("VELA_T_BEFORE=1\n\nPATH=" + longPath + "\nVELA_T_AFTER=2\n" +
                    std::string(TenvFileParser::kMaxLineLength + 1, 'x')));
  EXPECT_EQ(get("VELA_T_BEFORE"), "1");
  EXPECT_EQ(get("VELA_T_AFTER"), "2");
  const std::string file = str(TVelaEnvironment::velaEnvFileLocation());
  ASSERT_EQ(fMessages.size(), 2u);
  EXPECT_EQ(fMessages[0], "W:" + file + ", line 3: the line is longer than 10000 characters and was skipped.");
  EXPECT_NE(fMessages[1].find(file + ", line 5:"), std::string::npos) << fMessages[1];

  // A line exactly at the limit is read, and nothing is said.
  fMessages.clear();
  TVelaEnvironment::resetState();
  TVelaEnvironment::setVersion("7.1");
  const std::string name = "VELA_T_LIMIT=";
  ASSERT_TRUE(start(name + std::string(TenvFileParser::kMaxLineLength - name.size(), 'v') + "\n"));
  EXPECT_EQ(get("VELA_T_LIMIT").size(), TenvFileParser::kMaxLineLength - name.size());
  EXPECT_TRUE(fMessages.empty());
}
