// Every header's usage example is compiled into this test (see tool/ExtractExamples.cpp): an
// example that stops compiling breaks the build. The checks here make sure that the extraction
// still finds them.
#include "examples/ExampleContext.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

// The source lines of Tmetaclass.h's example classes.
VELA_DEFINE_ABSTRACT_TYPE(Tshape);
VELA_DEFINE_TYPE(Tcube, Tshape);
Tshape::~Tshape() = default;

extern const int kHeaderExampleCount;
extern const char* const kHeaderExampleFiles[];

TEST(HeaderExamples, EveryExampleIsCompiled) {
  std::set<std::string> files;
  for (const char* const* f = kHeaderExampleFiles; *f != nullptr; ++f) files.insert(*f);
  EXPECT_GE(kHeaderExampleCount, 100);
  EXPECT_GE(files.size(), 95u);
  for (const char* h : {"velacore/strings/Tstring.h", "velacore/base/TstringCatalog.h",
                        "velacore/containers/TdataHashTable.h", "velacore/base/TmtScopedLock.h",
                        "velacore/environment/TVelaEnvironment.h", "velacore/types/Tmetaclass.h",
                        "velacore/data/Tdata.h", "velacore/names/TnameObject.h",
                        "velacore/files/TfilePath.h", "velacore/geometry/T4dDblMatrix.h",
                        "velacore/time/Tunit.h"})
    EXPECT_EQ(files.count(h), 1u) << h;
}
