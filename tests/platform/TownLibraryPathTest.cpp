// The library's own location when the loader found it through a relative LD_LIBRARY_PATH and the
// host changes its current folder before asking: start-up must still find the installation.
#include <velacore/platform/TplatformLocations.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

namespace fs = std::filesystem;

TEST(TownLibraryPath, AbsoluteAfterRelativeLoadAndFolderChange) {
  const fs::path library = vela::platform::ownLibraryPath();
  ASSERT_TRUE(library.is_absolute()) << library;
  // A child process (a fresh start of this program) finds the library through a relative entry.
  const fs::path relative = fs::relative(library.parent_path(), fs::current_path());
  ASSERT_FALSE(relative.empty());
  ASSERT_FALSE(relative.is_absolute());
  const char* old = std::getenv("LD_LIBRARY_PATH");
  const std::string saved = old != nullptr ? old : "";
  ASSERT_EQ(setenv("LD_LIBRARY_PATH", relative.c_str(), 1), 0);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        if (chdir("/") != 0) std::exit(3);
        const std::string path = vela::platform::ownLibraryPath();
        std::fprintf(stderr, "own library: %s\n", path.c_str());
        std::error_code error;
        std::exit(fs::path(path).is_absolute() && fs::equivalent(path, library, error) ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "own library: /");
  if (old != nullptr) {
    setenv("LD_LIBRARY_PATH", saved.c_str(), 1);
  } else {
    unsetenv("LD_LIBRARY_PATH");
  }
}
