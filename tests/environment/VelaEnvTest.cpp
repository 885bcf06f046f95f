// The environment doors: PATH cleaning, the callback queue, TenvGuard and concurrent use.
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformEnvironment.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace {

constexpr char kSep = vela::platform::kPathListSeparator;

std::string joined(std::initializer_list<const char*> entries) {
  std::string s;
  bool first = true;
  for (const char* e : entries) {
    if (!first) s += kSep;
    s += e;
    first = false;
  }
  return s;
}

std::vector<std::string> gModified, gUnset;
void recordModify(const char* text) { gModified.emplace_back(text); }
void recordUnset(const char* name) { gUnset.emplace_back(name); }
void ignore(const char*) {}

class VelaEnvTest : public ::testing::Test {
 protected:
  void SetUp() override {
    VelaSetModifyEnvCallbacks(&ignore, nullptr);  // drains what earlier tests queued
    VelaSetModifyEnvCallbacks(nullptr, nullptr);
    gModified.clear();
    gUnset.clear();
  }
  void TearDown() override { VelaSetModifyEnvCallbacks(nullptr, nullptr); }
  TenvGuard fGuard;
};

}  // namespace

TEST_F(VelaEnvTest, PutGetUnsetAndBadAssignments) {
  EXPECT_EQ(VelaPutEnv("VELA_T_A= spaced value=x"), 0);
  EXPECT_STREQ(VelaGetEnv("VELA_T_A"), " spaced value=x");
  EXPECT_STREQ(std::getenv("VELA_T_A"), " spaced value=x");  // really in the process block
  EXPECT_EQ(VelaPutEnv("VELA_T_A="), 0);
  EXPECT_STREQ(VelaGetEnv("VELA_T_A"), "");
  EXPECT_EQ(VelaUnsetEnv("VELA_T_A"), 0);
  EXPECT_EQ(VelaGetEnv("VELA_T_A"), nullptr);
  EXPECT_EQ(VelaUnsetEnv("VELA_T_NEVER_SET"), 0);

  EXPECT_LT(VelaPutEnv(nullptr), 0);
  EXPECT_LT(VelaPutEnv("NO_EQUALS"), 0);
  EXPECT_LT(VelaPutEnv("=value"), 0);
  EXPECT_LT(VelaUnsetEnv(""), 0);
  EXPECT_LT(VelaUnsetEnv("A=B"), 0);
  EXPECT_EQ(VelaGetEnv(nullptr), nullptr);
}

TEST_F(VelaEnvTest, PathKeepsFirstOccurrenceOnly) {
  const std::string v = joined({"/p", "/q", "/p", "/r", "/q", "/p/"});
  EXPECT_EQ(VelaPutEnv(("PATH=" + v).c_str()), 0);
  EXPECT_EQ(std::string(VelaGetEnv("PATH")), joined({"/p", "/q", "/r", "/p/"}));
  // Only PATH is cleaned.
  EXPECT_EQ(VelaPutEnv(("VELA_SCRIPT_PATH=" + v).c_str()), 0);
  EXPECT_EQ(std::string(VelaGetEnv("VELA_SCRIPT_PATH")), v);
  // Empty entries are entries too: the first one stays.
  const std::string e = joined({"", "/a", "", "/a"});
  EXPECT_EQ(VelaPutEnv(("PATH=" + e).c_str()), 0);
  EXPECT_EQ(std::string(VelaGetEnv("PATH")), joined({"", "/a"}));
}

// Against an independent oracle: random lists drawn from a small alphabet, so that repeats,
// empty entries and prefixes of other entries are common.
TEST_F(VelaEnvTest, PathCleaningMatchesFirstOccurrenceOracle) {
  std::mt19937 rng(7);
  const char* pieces[] = {"", "/a", "/a/", "/b", "/ab", "a", " /a"};
  for (int round = 0; round < 300; ++round) {
    std::string value, expected;
    std::unordered_set<std::string> seen;
    const int n = static_cast<int>(rng() % 8);
    for (int i = 0; i < n; ++i) {
      const std::string e = pieces[rng() % std::size(pieces)];
      if (i > 0) value += kSep;
      value += e;
      if (seen.insert(e).second) expected += (seen.size() > 1 ? std::string(1, kSep) : "") + e;
    }
    ASSERT_EQ(VelaPutEnv(("PATH=" + value).c_str()), 0);
    ASSERT_EQ(std::string(VelaGetEnv("PATH")), expected) << "from '" << value << "'";
  }
}

TEST_F(VelaEnvTest, QueuedAssignmentsReplayInOrder) {
  ASSERT_EQ(VelaPutEnv("VELA_T_1=one"), 0);
  ASSERT_EQ(VelaPutEnv(("PATH=" + joined({"/x", "/x"})).c_str()), 0);
  ASSERT_LT(VelaPutEnv("BROKEN"), 0);      // failures are not queued
  ASSERT_EQ(VelaUnsetEnv("VELA_T_1"), 0);  // no unset callback yet: nothing to remember
  ASSERT_EQ(VelaPutEnv("VELA_T_2=two"), 0);
  EXPECT_TRUE(gModified.empty());

  VelaSetModifyEnvCallbacks(&recordModify, &recordUnset);
  EXPECT_EQ(gModified, (std::vector<std::string>{"VELA_T_1=one", "PATH=/x", "VELA_T_2=two"}));
  EXPECT_TRUE(gUnset.empty());

  ASSERT_EQ(VelaPutEnv("VELA_T_3=three"), 0);  // now delivered at once
  ASSERT_EQ(VelaUnsetEnv("VELA_T_3"), 0);
  EXPECT_EQ(gModified.back(), "VELA_T_3=three");
  EXPECT_EQ(gUnset, std::vector<std::string>{"VELA_T_3"});

  gModified.clear();
  VelaSetModifyEnvCallbacks(&recordModify, &recordUnset);  // the queue was emptied
  EXPECT_TRUE(gModified.empty());
}

TEST_F(VelaEnvTest, GuardRestoresChangedAddedAndRemovedVariables) {
  ASSERT_EQ(VelaPutEnv("VELA_T_KEEP=before"), 0);
  ASSERT_EQ(VelaPutEnv("VELA_T_GONE=here"), 0);
  {
    TenvGuard inner;
    ASSERT_EQ(VelaPutEnv("VELA_T_KEEP=after"), 0);
    ASSERT_EQ(VelaPutEnv("VELA_T_NEW=new"), 0);
    ASSERT_EQ(VelaUnsetEnv("VELA_T_GONE"), 0);
  }
  EXPECT_STREQ(VelaGetEnv("VELA_T_KEEP"), "before");
  EXPECT_STREQ(VelaGetEnv("VELA_T_GONE"), "here");
  EXPECT_EQ(VelaGetEnv("VELA_T_NEW"), nullptr);
}

// Several threads write and read their own variables and a shared one at once; the lock keeps
// the environment block consistent (ThreadSanitizer checks the rest).
TEST_F(VelaEnvTest, ConcurrentReadersAndWriters) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      const std::string name = "VELA_T_THREAD_" + std::to_string(t);
      for (int i = 0; i < 300; ++i) {
        const std::string value = std::to_string(i);
        EXPECT_EQ(VelaPutEnv((name + "=" + value).c_str()), 0);
        const char* got = VelaGetEnv(name.c_str());
        EXPECT_TRUE(got != nullptr && value == got);
        EXPECT_EQ(VelaPutEnv(("VELA_T_SHARED=" + value).c_str()), 0);
        EXPECT_NE(VelaGetEnv("VELA_T_SHARED"), nullptr);
        if (i % 50 == 0) {
          EXPECT_EQ(VelaUnsetEnv(name.c_str()), 0);
        }
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_STREQ(VelaGetEnv("VELA_T_THREAD_0"), "299");
}

// Writers race with the installation of the callback: every assignment reaches it exactly once,
// and each thread's assignments arrive in the order they were made.
TEST_F(VelaEnvTest, CallbackInstalledWhileThreadsWrite) {
  constexpr int kThreads = 4, kEach = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) {
        const std::string a = "VELA_T_W" + std::to_string(t) + "=" + std::to_string(i);
        EXPECT_EQ(VelaPutEnv(a.c_str()), 0);
      }
    });
  }
  std::this_thread::yield();
  VelaSetModifyEnvCallbacks(&recordModify, nullptr);
  for (std::thread& th : threads) th.join();

  ASSERT_EQ(gModified.size(), static_cast<std::size_t>(kThreads * kEach));
  std::vector<int> next(kThreads, 0);
  for (const std::string& a : gModified) {
    const int t = a[8] - '0';
    ASSERT_EQ(a, "VELA_T_W" + std::to_string(t) + "=" + std::to_string(next[t]));
    ++next[t];
  }
}
