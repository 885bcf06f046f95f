// The environment at process exit: static destructors of the application (a file sink being
// closed, an allocator switch read late) still call VelaGetEnv and VelaPutEnv after the library's
// own statics would have been destroyed. The locks, the callback queue and the start-up state
// must stay usable until the process ends, and so must the module registry.
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <cstdlib>

namespace {

// Built before the library's environment statics are first used, so destroyed after them.
struct TlateUser {
  ~TlateUser() {
    const int put = VelaPutEnv("VELA_AT_EXIT_TEST=2");
    const char* value = VelaGetEnv("VELA_AT_EXIT_TEST");
    const Tstring envFile = TVelaEnvironment::velaEnvFileLocation();
    std::fprintf(stderr, "at exit: %d %s %u\n", put, value != nullptr ? value : "(null)",
                 envFile.length());
  }
};

// Asks the module registry from a static destructor: its state was built after this object,
// so a registry destroyed at exit would be gone by now.
struct TlateModuleUser {
  ~TlateModuleUser() {
    TstringArray names;
    TvelaModuleSupportBase::getModuleList(names);
    std::fprintf(stderr, "modules at exit: %u %d\n", names.length(),
                 TvelaModuleSupportBase::findModule("noSuchModule") == nullptr);
  }
};

}  // namespace

TEST(TenvironmentAtExit, ModuleRegistryUsableFromLaterStaticDestructors) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static TlateModuleUser user;
        // One module registered, so that a destroyed registry would have freed memory to read.
        const std::string dir = std::filesystem::temp_directory_path().string();
        if (VelaPutEnv(("VELA_MODULE_PATH=" + dir).c_str()) != 0) std::exit(2);
        if (TvelaModuleSupportBase::initialize() != 0) std::exit(3);
        Tstring name;
        if (!TvelaModuleSupportBase::resolve_module_parse(Tstring(("+ tools 2.0 " + dir).c_str()),
                                                          0, name))
          std::exit(4);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "modules at exit: 1 1");
}

TEST(TenvironmentAtExit, UsableFromLaterStaticDestructors) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process: statics not yet built
  EXPECT_EXIT(
      {
        static TlateUser user;
        // No modify callback: the assignment waits in the queue, which now exists.
        if (VelaPutEnv("VELA_AT_EXIT_TEST=1") != 0) std::exit(2);
        (void)TVelaEnvironment::velaEnvFileLocation();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "at exit: 0 2 0");
}
