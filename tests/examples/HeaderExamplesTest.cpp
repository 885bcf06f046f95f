// Every header's usage example is compiled into this test (see tool/ExtractExamples.cpp): an
// example that stops compiling breaks the build. The checks here make sure that the extraction
// still finds them.
#include <gtest/gtest.h>

#include <set>
#include <string>

extern const int kHeaderExampleCount;
extern const char* const kHeaderExampleFiles[];

TEST(HeaderExamples, EveryExampleIsCompiled) {
  std::set<std::string> files;
  for (const char* const* f = kHeaderExampleFiles; *f != nullptr; ++f) files.insert(*f);
  EXPECT_GE(kHeaderExampleCount, 45);
  EXPECT_GE(files.size(), 45u);
  for (const char* h : {"velacore/strings/Tstring.h", "velacore/base/TstringCatalog.h",
                        "velacore/containers/TdataHashTable.h", "velacore/base/TmtScopedLock.h",
                        "velacore/environment/TVelaEnvironment.h"})
    EXPECT_EQ(files.count(h), 1u) << h;
}
