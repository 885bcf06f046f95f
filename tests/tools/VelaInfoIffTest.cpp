// vela-info iff end to end: a file written with the library is listed group by group, its
// values decoded; a broken file is refused with status 1.
#include "VelaInfoRun.h"

#include <velacore/data/Tdata.h>
#include <velacore/data/TdataCompound.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TiffFile.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

using velaInfoTest::runVelaInfo;
using velaInfoTest::Trun;

TEST(velaInfoIff, ListsGroupsAndDecodesValues) {
  auto* xs = new TdataDoubleArray;
  xs->writableArray().addLast(1.5);
  xs->writableArray().addLast(-2);
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("SCNE")), 0);
  ASSERT_EQ(out.writeVersion(208), 0);
  ASSERT_EQ(out.beginGroup(TiffTag("NODE"), TiffFile::kList), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("DBL#")), 0);
  ASSERT_EQ(Tdata(xs).writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("DBL3")), 0);
  ASSERT_EQ(Tdata(new Tdata3Double({1, 2, 3})).writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  ASSERT_EQ(out.beginChunk(TiffTag("DBLE")), 0);
  ASSERT_EQ(Tdata(0.25).writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  const unsigned char note[3] = {'a', 'b', 'c'};
  ASSERT_EQ(out.writeChunk(TiffTag("NOTE"), note, 3), 0);
  ASSERT_EQ(out.endGroup(), 0);
  ASSERT_EQ(out.endGroup(), 0);
  const std::string path = ::testing::TempDir() + "/vela-info-iff.iff";
  ASSERT_EQ(out.save(path.c_str()), 0);

  const Trun run = runVelaInfo("", "iff '" + path + "'");
  ASSERT_EQ(run.status, 0);
  EXPECT_TRUE(run.has("FORM SCNE (" + std::to_string(out.bytes().size() - 12) + " bytes)"));
  EXPECT_TRUE(run.has("  VERS (4 bytes)"));
  EXPECT_TRUE(run.has("  LIST NODE (84 bytes)"));
  EXPECT_TRUE(run.has("    DBL# (16 bytes)"));
  EXPECT_TRUE(run.has("      = doubleArray 2 1.5 -2"));
  EXPECT_TRUE(run.has("      = double3 1 2 3"));
  EXPECT_TRUE(run.has("      = 0.25"));
  EXPECT_TRUE(run.has("    NOTE (3 bytes)"));
  EXPECT_TRUE(run.has("version 208"));

  // A truncated copy is refused.
  std::string bytes(out.bytes().begin(), out.bytes().end() - 3);
  const std::string broken = ::testing::TempDir() + "/vela-info-iff-broken.iff";
  std::ofstream(broken, std::ios::binary) << bytes;
  const Trun bad = runVelaInfo("", "iff '" + broken + "'");
  EXPECT_NE(bad.status, 0);
  EXPECT_TRUE(bad.mentions("not a well-formed IFF file"));
  const Trun missing = runVelaInfo("", "iff /no/such/file.iff");
  EXPECT_NE(missing.status, 0);
  EXPECT_TRUE(missing.mentions("/no/such/file.iff"));
  EXPECT_TRUE(runVelaInfo("", "iff --help").mentions("usage: vela-info iff FILE"));
  std::remove(path.c_str());
  std::remove(broken.c_str());
}
