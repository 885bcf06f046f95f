// The environment at process exit: static destructors of the application (a file sink being
// closed, an allocator switch read late) still call VelaGetEnv and VelaPutEnv after the library's
// own statics would have been destroyed. The locks, the callback queue and the start-up state
// must stay usable until the process ends.
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/VelaEnv.h>

#include <gtest/gtest.h>

#include <cstdio>
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

}  // namespace

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
