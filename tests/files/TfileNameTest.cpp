// TfileName's pieces and rules, and TfilePathList on a real folder tree.
#include <velacore/files/TfileName.h>
#include <velacore/files/TfilePathList.h>

#include "FilesTestUtil.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using filesTest::TtempTree;

TEST(TfileName, HeaderExampleHolds) {
  TfileName name("shots/sh010/plate.exr");
  EXPECT_EQ(name.dirName(), Tstring("shots/sh010/"));
  EXPECT_EQ(name.baseName(), Tstring("plate.exr"));
  EXPECT_EQ(name.basePrefix(), Tstring("plate"));
  EXPECT_EQ(name.ext(), Tstring("exr"));
  name.setExt(Tstring("tif"));
  EXPECT_EQ(name.pathName(), Tstring("shots/sh010/plate.tif"));
  EXPECT_FALSE(TfileName("take[2].ma").isValid());
  EXPECT_EQ(TfileName("a*b?.ma").validateWith(Tstring("*?")), Tstring("a_b_.ma"));
}

TEST(TfileName, CharacterSetsAndRules) {
  EXPECT_EQ(TfileName::invalidBaseChars(), Tstring("[];*?\"`'\\/:"));
  EXPECT_EQ(TfileName::invalidDirChars(), Tstring("[];*?\"`'"));
  // Every refused character, anywhere.
  const Tstring& base = TfileName::invalidBaseChars();
  for (unsigned i = 0; i < base.length(); ++i) {
    const std::string c(1, base[i]);
    const TfileName inBase(("dir/a" + c + "b.ma").c_str());
    if (c != "/" && c != "\\") {  // those two separate instead
      EXPECT_FALSE(inBase.hasValidBaseName()) << c;
    }
    EXPECT_FALSE(TfileName(("a" + c + "b").c_str()).isValidBaseName()) << c;
    const bool dirChar = i < 8;
    EXPECT_EQ(TfileName(("d" + c + "x/ok.ma").c_str()).hasValidDirName(), !dirChar) << c;
    EXPECT_EQ(TfileName(("d" + c + "x/ok.ma").c_str()).isValid(), !dirChar) << c;
  }
  EXPECT_TRUE(TfileName("C:/dir\\sub/name.ma").isValid());
  EXPECT_FALSE(TfileName("dir/na:me.ma").isValid());  // a colon in the base name
  EXPECT_TRUE(TfileName("dir/").isValid());
  EXPECT_TRUE(TfileName("").isValid());
  EXPECT_TRUE(TfileName("plain.ma").isValidBaseName());
  EXPECT_FALSE(TfileName("d/plain.ma").isValidBaseName());  // has a directory
  EXPECT_TRUE(TfileName("[d]/plain.ma").validateBaseName());
  EXPECT_FALSE(TfileName("[d]/plain.ma").validateDirName());

  // setExt keeps the directory and only acts on a different extension.
  TfileName n("a.b/c.tar.gz");
  n.setExt(Tstring("gz"));
  EXPECT_EQ(n.pathName(), Tstring("a.b/c.tar.gz"));
  n.setExt(Tstring("bz2"));
  EXPECT_EQ(n.pathName(), Tstring("a.b/c.tar.bz2"));
  TfileName bare("dir/noext");
  bare.setExt(Tstring("ma"));
  EXPECT_EQ(bare.pathName(), Tstring("dir/noext.ma"));

  // Replacement works on characters, not bytes.
  TfileName wide("é[1]/ü*.ma");
  EXPECT_EQ(wide.validateWith(Tstring("[]*é")), Tstring("__1_/ü_.ma"));
  EXPECT_EQ(wide.pathName(), Tstring("__1_/ü_.ma"));
}

TEST(TfilePathList, AddByPatternFindAndAddLast) {
  TtempTree tree;
  tree.file("b.ma");
  tree.file("a.ma");
  tree.file(".hidden.ma");
  tree.file("c.txt");
  tree.folder("sub.ma");
  TfilePathList list;
  list.addByPattern(Tstring(tree.path("*.ma").c_str()));
  ASSERT_EQ(list.length(), 4u);
  EXPECT_EQ(list[0].fullName(), Tstring(tree.path(".hidden.ma").c_str()));
  EXPECT_EQ(list[1].fullName(), Tstring(tree.path("a.ma").c_str()));
  EXPECT_EQ(list[2].fullName(), Tstring(tree.path("b.ma").c_str()));
  EXPECT_EQ(list[3].fullName(), Tstring(tree.path("sub.ma").c_str()));
  EXPECT_TRUE(list[3].isDirectory());
  list.addByPattern(Tstring(tree.path("*.none").c_str()));
  list.addByPattern(Tstring(tree.path("missing/*").c_str()));
  EXPECT_EQ(list.length(), 4u);

  unsigned at = 99;
  EXPECT_EQ(list.find(Tstring((tree.root() + "/x/../b.ma").c_str()), at), 0);
  EXPECT_EQ(at, 2u);
  EXPECT_EQ(list.find(TfilePath(tree.path("a.ma").c_str()), at), 0);
  EXPECT_EQ(at, 1u);
  EXPECT_EQ(list.find(Tstring(tree.path("c.txt").c_str()), at), -1);
  EXPECT_EQ(at, 4u);
  EXPECT_EQ(list.find(Tstring(tree.path("a.ma").c_str())), 0);

  // addLast never throws; a missing path keeps its text. Adding an element of the list itself
  // while the list is full is safe.
  list.addLast(Tstring("no/such/file"));
  EXPECT_EQ(list[4].fullName(), Tstring("no/such/file"));
  while (list.length() < list.physicalSize()) list.addLast(Tstring("x"));
  list.addLast(list[0]);
  EXPECT_EQ(list.last().fullName(), list[0].fullName());
  const TfilePathList copy(list);
  EXPECT_EQ(copy.length(), list.length());
}
