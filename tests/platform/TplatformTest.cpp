// The POSIX platform layer: page mappings, host facts, the environment block, locations and
// machine settings, and the regular-expression call. Each test restores what it changes.
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformLocations.h>
#include <velacore/platform/TplatformMemory.h>
#include <velacore/platform/TplatformRegex.h>
#include <velacore/platform/TplatformSystem.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <filesystem>

namespace pf = vela::platform;

namespace {

// Sets environment variables for one test and puts the old values back.
class ScopedEnv {
 public:
  ~ScopedEnv() {
    for (auto& [name, old] : fSaved) {
      if (old) {
        (void)pf::setEnv(name.c_str(), old->c_str());
      } else {
        (void)pf::unsetEnv(name.c_str());
      }
    }
  }
  void set(const char* name, const char* value) {
    const char* old = pf::getEnv(name);
    fSaved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    if (value) {
      ASSERT_EQ(pf::setEnv(name, value), 0);
    } else {
      ASSERT_EQ(pf::unsetEnv(name), 0);
    }
  }

 private:
  std::vector<std::pair<std::string, std::optional<std::string>>> fSaved;
};

std::string makeTempFolder() {
  char pattern[] = "/tmp/vela-platform-XXXXXX";
  const char* dir = mkdtemp(pattern);
  return dir ? dir : "";
}

}  // namespace

TEST(TplatformMemory, MappingsAreZeroedAndKeepContentsWhenMoved) {
  const std::size_t page = pf::pageSize();
  ASSERT_GT(page, 0u);
  EXPECT_EQ(page & (page - 1), 0u) << "page size must be a power of two";
  EXPECT_EQ(pf::mapPages(0), nullptr);

  auto* p = static_cast<unsigned char*>(pf::mapPages(3 * page));
  ASSERT_NE(p, nullptr);
  for (std::size_t i = 0; i < 3 * page; ++i) ASSERT_EQ(p[i], 0);
  std::memset(p, 0x5A, 3 * page);
  std::size_t bytes = 3 * page;
  if (pf::growPagesInPlace(p, bytes, 5 * page)) bytes = 5 * page;
  auto* q = static_cast<unsigned char*>(pf::movePages(p, bytes, 64 * page));
  ASSERT_NE(q, nullptr);
  for (std::size_t i = 0; i < 3 * page; ++i) ASSERT_EQ(q[i], 0x5A);
  EXPECT_EQ(q[64 * page - 1], 0) << "new pages are zero-filled";
  EXPECT_TRUE(pf::growPagesInPlace(q, 64 * page, page)) << "shrinking never needs to move";
  pf::unmapPages(q, page);
  EXPECT_EQ(pf::movePages(nullptr, page, page), nullptr);
}

TEST(TplatformSystem, HostFactsAreConsistent) {
  EXPECT_STREQ(pf::platformName(), "linux");
  EXPECT_GE(pf::processorCount(), 1u);
  EXPECT_EQ(pf::processId(), static_cast<std::int64_t>(getpid()));
  const std::int64_t mainThread = pf::threadId();
  std::int64_t otherThread = 0;
  std::thread([&] { otherThread = pf::threadId(); }).join();
  EXPECT_NE(mainThread, otherThread);
  EXPECT_EQ(mainThread, pf::processId()) << "the main thread's id is the process id on Linux";

  pf::TsystemMemory mem;
  ASSERT_TRUE(pf::systemMemory(mem));
  EXPECT_GT(mem.totalPhysical, 0u);
  EXPECT_LE(mem.freePhysical, mem.totalPhysical);
  pf::TprocessUsage usage;
  ASSERT_TRUE(pf::processUsage(usage));
  EXPECT_GT(usage.maxResidentBytes, 0u);
}

TEST(TplatformEnvironment, SetUnsetAndListAgreeWithGetenv) {
  ScopedEnv env;
  env.set("VELA_PLATFORM_TEST", "a=b;c");
  EXPECT_STREQ(pf::getEnv("VELA_PLATFORM_TEST"), "a=b;c");
  EXPECT_STREQ(std::getenv("VELA_PLATFORM_TEST"), "a=b;c");
  bool listed = false;
  for (const std::string& entry : pf::environmentEntries())
    listed = listed || entry == "VELA_PLATFORM_TEST=a=b;c";
  EXPECT_TRUE(listed);
  env.set("VELA_PLATFORM_TEST", nullptr);
  EXPECT_EQ(pf::getEnv("VELA_PLATFORM_TEST"), nullptr);
  EXPECT_EQ(pf::getEnv(nullptr), nullptr);
  EXPECT_NE(pf::setEnv("BAD=NAME", "x"), 0) << "a name with '=' is refused";
  EXPECT_EQ(pf::kPathListSeparator, ':');
}

TEST(TplatformLocations, LocaleLanguageFollowsThePrecedenceOfTheVariables) {
  ScopedEnv env;
  env.set("LC_ALL", nullptr);
  env.set("LC_MESSAGES", nullptr);
  env.set("LANG", nullptr);
  EXPECT_EQ(pf::localeLanguage(), "en_US");
  env.set("LANG", "fr_FR.UTF-8");
  EXPECT_EQ(pf::localeLanguage(), "fr_FR");
  env.set("LC_MESSAGES", "de_DE@euro");
  EXPECT_EQ(pf::localeLanguage(), "de_DE");
  env.set("LC_ALL", "ja_JP");
  EXPECT_EQ(pf::localeLanguage(), "ja_JP");
  env.set("LC_ALL", "C");
  EXPECT_EQ(pf::localeLanguage(), "en_US");
}

TEST(TplatformLocations, FoldersAndMachineSettings) {
  const std::string root = makeTempFolder();
  ASSERT_FALSE(root.empty());
  EXPECT_TRUE(pf::isFolder(root));
  EXPECT_TRUE(pf::isWritableFolder(root));
  EXPECT_TRUE(pf::makeFolders(root + "/b/deep/er"));
  EXPECT_TRUE(pf::makeFolders(root + "/a"));
  EXPECT_EQ(pf::subfolderNames(root), (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(pf::subfolderNames(root + "/missing").empty());

  // Machine settings: the first XDG folder that has the key wins.
  ASSERT_TRUE(pf::makeFolders(root + "/one/Corvanta") && pf::makeFolders(root + "/two/Corvanta"));
  std::ofstream(root + "/one/Corvanta/Common.conf") << "[General]\nTQ_MODULES=/opt/mods\n";
  std::ofstream(root + "/two/Corvanta/Common.conf")
      << "[General]\nTQ_MODULES=/ignored\nTQ_USER_CONFIG=/srv/config\n";
  EXPECT_TRUE(pf::isFile(root + "/one/Corvanta/Common.conf"));
  EXPECT_FALSE(pf::isFile(root + "/one"));
  ScopedEnv env;
  env.set("XDG_CONFIG_DIRS", (root + "/one:" + root + "/two").c_str());
  std::string value = "untouched";
  EXPECT_TRUE(pf::machineSetting("Corvanta", "Common", "TQ_MODULES", value));
  EXPECT_EQ(value, "/opt/mods");
  EXPECT_TRUE(pf::machineSetting("Corvanta", "Common", "TQ_USER_CONFIG", value));
  EXPECT_EQ(value, "/srv/config");
  value = "untouched";
  EXPECT_FALSE(pf::machineSetting("Corvanta", "Common", "NOT_THERE", value));
  EXPECT_EQ(value, "untouched");
  EXPECT_FALSE(pf::machineSetting(nullptr, "Common", "TQ_MODULES", value));
  std::filesystem::remove_all(root);
}

TEST(TplatformLocations, OwnLibraryAndCommandLine) {
  const std::string lib = pf::ownLibraryPath();
  EXPECT_NE(lib.find("libvelacore.so"), std::string::npos) << lib;
  EXPECT_TRUE(pf::isFile(lib));
  const auto args = pf::commandLineArguments();
  ASSERT_FALSE(args.empty());
  EXPECT_NE(args[0].find("test_platform"), std::string::npos);
}

TEST(TplatformRegex, GroupsAndRefusals) {
  pf::RegexSpan spans[3];
  ASSERT_TRUE(pf::regexMatch("([a-z]+)_v([0-9]+)", "shot_v12", spans, 3));
  EXPECT_EQ(spans[0].begin, 0);
  EXPECT_EQ(spans[0].end, 8);
  EXPECT_EQ(spans[1].end, 4);
  EXPECT_EQ(spans[2].begin, 6);
  EXPECT_TRUE(pf::regexMatch("(x)?y", "y", spans, 2));
  EXPECT_EQ(spans[1].begin, -1) << "a group that took no part";
  EXPECT_FALSE(pf::regexMatch("([", "anything", spans, 1)) << "does not compile";
  EXPECT_FALSE(pf::regexMatch("^a$", "b", spans, 1));
  EXPECT_FALSE(pf::regexMatch(nullptr, "a", spans, 1));
}
