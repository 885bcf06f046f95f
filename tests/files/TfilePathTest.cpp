// TfilePath's members on a real folder tree: setting, facts, push/pop and comparison.
#include <velacore/files/TfilePath.h>

#include "FilesTestUtil.h"

#include <velacore/base/Texception.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/files/TprojectMgrBase.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

using filesTest::TtempTree;

namespace {

// Runs the test body from `dir`, going back afterwards.
class TcurrentFolder {
 public:
  explicit TcurrentFolder(const std::string& dir) : fPrevious(std::filesystem::current_path()) {
    std::filesystem::current_path(dir);
  }
  ~TcurrentFolder() { std::filesystem::current_path(fPrevious); }

 private:
  std::filesystem::path fPrevious;
};

}  // namespace

TEST(TfilePath, HeaderExampleHolds) {
  TtempTree tree;
  tree.folder("ships/scenes");
  tree.file("ships/scenes/ship.vela", "12345");
  TenvGuard env;
  VelaPutEnv(("PROJECT=" + tree.path("ships")).c_str());
  TfilePath scene("$PROJECT/scenes/ship.vela");
  ASSERT_TRUE(scene.isValid());
  EXPECT_EQ(scene.fullName(), Tstring(tree.path("ships/scenes/ship.vela").c_str()));
  EXPECT_EQ(scene.size(), 5u);
  TfilePath dir(tree.root().c_str());
  dir.push("renders", true);
  EXPECT_EQ(dir.fullName(), Tstring(tree.path("renders").c_str()));
  EXPECT_EQ(dir.pop(), Tstring());  // "renders" does not exist: pop leaves it alone
  TfilePath share("/usr/share");
  EXPECT_EQ(share.pop(), Tstring("share"));
  EXPECT_EQ(share.fullName(), Tstring("/usr"));
}

TEST(TfilePath, SettingExpandsMakesAbsoluteAndChecksExistence) {
  TtempTree tree;
  tree.folder("a b/ünï");
  tree.file("a b/ünï/f.txt");
  TcurrentFolder here(tree.root());
  TenvGuard env;
  VelaPutEnv("SUB=ünï");
  VelaUnsetEnv("VELA_NO_SUCH_VAR");

  // Relative, with spaces, non-ASCII names, "." and ".." and doubled separators.
  TfilePath p("./a b//x/../$SUB/f.txt");
  EXPECT_TRUE(p.isValid());
  EXPECT_EQ(p.fullName(), Tstring(tree.path("a b/ünï/f.txt").c_str()));

  // A missing path: the constructor keeps the expanded text, unchanged and relative.
  TfilePath missing("$VELA_NO_SUCH_VAR/$SUB/nothing/");
  EXPECT_FALSE(missing.isValid());
  EXPECT_EQ(missing.fullName(), Tstring("$VELA_NO_SUCH_VAR/ünï/nothing"));

  // setPath throws with the errno value and leaves the path empty, unless allowed.
  TfilePath q("a b");
  try {
    q.setPath("nothing/here");
    ADD_FAILURE() << "no exception";
  } catch (const TfileException& e) {
    EXPECT_EQ(e.code(), ENOENT);
  }
  EXPECT_TRUE(q.fullName().isEmpty());
  q.setPath("nothing/here", true);
  EXPECT_EQ(q.fullName(), Tstring("nothing/here"));

  // A bare drive is kept as written without asking the file system.
  TfilePath drive("C:");
  EXPECT_EQ(drive.fullName(), Tstring("C:"));
  EXPECT_NO_THROW(drive.setPath("d:\\"));
  EXPECT_EQ(drive.fullName(), Tstring("d:/"));
  EXPECT_THROW(drive.setPath("C:/x"), TfileException);  // four characters: a real query
}

TEST(TfilePath, BackslashesSymbolicLinksAndOddNames) {
  TtempTree tree;
  tree.folder("dir/sub");
  tree.folder("odd\\name");  // one folder whose name holds a backslash
  std::filesystem::create_directory_symlink(tree.path("dir"), tree.path("link"));

  // Written the Windows way: stored with "/".
  TfilePath windows((tree.root() + "\\dir\\sub").c_str());
  EXPECT_TRUE(windows.isValid());
  EXPECT_EQ(windows.fullName(), Tstring(tree.path("dir/sub").c_str()));

  // A real name with a backslash stays as it is.
  TfilePath odd(tree.path("odd\\name").c_str());
  EXPECT_TRUE(odd.isValid());
  EXPECT_TRUE(odd.isDirectory());
  EXPECT_EQ(odd.fullName(), Tstring(tree.path("odd\\name").c_str()));

  // Links are not resolved: the text stays, the facts are the target's.
  TfilePath link(tree.path("link/sub").c_str());
  EXPECT_EQ(link.fullName(), Tstring(tree.path("link/sub").c_str()));
  EXPECT_TRUE(link.isDirectory());
  EXPECT_NE(link, TfilePath(tree.path("dir/sub").c_str()));
}

TEST(TfilePath, FactsComeFromTheFileStatus) {
  TtempTree tree;
  const std::string file = tree.file("data.bin", std::string(1000, 'z'));
  const std::string hidden = tree.file(".hidden");
  TfilePath p(file.c_str());
  struct stat st {};
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(p.size(), 1000u);
  EXPECT_EQ(p.modifyTime(), Ttime(st.st_mtim.tv_sec, static_cast<std::int32_t>(st.st_mtim.tv_nsec)));
  EXPECT_FALSE(p.isDirectory());
  EXPECT_FALSE(p.isHidden());
  EXPECT_TRUE(TfilePath(hidden.c_str()).isHidden());
  EXPECT_TRUE(TfilePath(tree.root().c_str()).isDirectory());
  EXPECT_EQ(p.owner(), Tstring("User"));
  EXPECT_EQ(p.group(), Tstring("Group"));
  EXPECT_EQ(p.baseName(), Tstring("data.bin"));
  EXPECT_EQ(p.extension(), Tstring("bin"));
  EXPECT_EQ(p.dirName(), Tstring((tree.root() + "/").c_str()));

  TfilePath gone(tree.path("gone.bin").c_str());
  EXPECT_FALSE(gone.isValid());
  EXPECT_FALSE(gone.isHidden());
  EXPECT_THROW((void)gone.size(), TfileException);
  EXPECT_THROW((void)gone.modifyTime(), TfileException);
  // A file that goes away after it was set.
  std::filesystem::remove(file);
  EXPECT_FALSE(p.isValid());
  EXPECT_THROW((void)p.size(), TfileException);
}

TEST(TfilePath, PushAndPopFollowTheirRestoreRules) {
  TtempTree tree;
  tree.folder("a/b");
  TfilePath empty;
  empty.push("x");
  EXPECT_TRUE(empty.fullName().isEmpty());
  EXPECT_EQ(empty.pop(), Tstring());

  TfilePath p(tree.path("a").c_str());
  p.push("b");
  EXPECT_EQ(p.fullName(), Tstring(tree.path("a/b").c_str()));
  // A failing push restores the path and passes the code on.
  try {
    p.push("missing");
    ADD_FAILURE() << "no exception";
  } catch (const TfileException& e) {
    EXPECT_EQ(e.code(), ENOENT);
  }
  EXPECT_EQ(p.fullName(), Tstring(tree.path("a/b").c_str()));
  EXPECT_EQ(p.pop(), Tstring("b"));
  EXPECT_EQ(p.pop(), Tstring("a"));
  EXPECT_EQ(p.fullName(), Tstring(tree.root().c_str()));

  // Popping up to the root: "/x" leaves "/", then nothing more comes off.
  TfilePath top("/tmp");
  EXPECT_EQ(top.pop(), Tstring("tmp"));
  EXPECT_EQ(top.fullName(), Tstring("/"));
  EXPECT_EQ(top.pop(), Tstring());
  EXPECT_EQ(top.fullName(), Tstring("/"));
  top.push("tmp");
  EXPECT_EQ(top.fullName(), Tstring("/tmp"));

  // An invalid relative path without "/" changes nothing.
  TfilePath foo("no-such-foo");
  EXPECT_EQ(foo.pop(), Tstring());
  EXPECT_EQ(foo.fullName(), Tstring("no-such-foo"));
}

TEST(TfilePath, EqualityComparesAbsoluteTextAndStatus) {
  TtempTree tree;
  tree.folder("d");
  const std::string f = tree.file("d/f.txt");
  tree.file("d/F.txt");
  TcurrentFolder here(tree.root());
  TfilePath a(f.c_str());
  EXPECT_EQ(a, TfilePath("d/../d/./f.txt"));
  EXPECT_EQ(a, Tstring("./d/f.txt"));
  EXPECT_EQ(a, "d//f.txt");
  EXPECT_NE(a, "d/F.txt");  // file names keep their case on this host
  EXPECT_NE(a, "d");
  // Missing paths compare by text alone.
  EXPECT_EQ(TfilePath("nope/x"), "nope/y/../x");
  EXPECT_NE(TfilePath("nope/x"), "nope/y");
  EXPECT_EQ(TfilePath(), TfilePath());
}

TEST(TfilePath, TheFirstProjectManagerRegistersItself) {
  struct Tmgr : TprojectMgrBase {
    Tstring projectRootDirectory() const override { return Tstring(); }
    bool resolveVariable(const Tstring&, Tstring&) const override { return false; }
    bool isActive() const override { return false; }
  };
  ASSERT_EQ(TprojectMgrBase::theProjectMgr.load(), nullptr);
  {
    Tmgr first;
    EXPECT_EQ(TprojectMgrBase::theProjectMgr.load(), &first);
    {
      Tmgr second;
      EXPECT_EQ(TprojectMgrBase::theProjectMgr.load(), &first);
    }
    EXPECT_EQ(TprojectMgrBase::theProjectMgr.load(), &first);
  }
  EXPECT_EQ(TprojectMgrBase::theProjectMgr.load(), nullptr);
}
