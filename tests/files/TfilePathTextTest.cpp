// TfilePath's static utilities: path text, tests on text, tokenising and expansion.
#include <velacore/files/TfilePath.h>

#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/files/TprojectMgrBase.h>
#include <velacore/platform/TplatformEnvironment.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string simplify(const char* path) { return TfilePath::simplifyPath(Tstring(path)).asC(); }

std::vector<std::string> strings(const TstringArray& a) {
  std::vector<std::string> out;
  for (unsigned i = 0; i < a.length(); ++i) out.emplace_back(a[i].asC());
  return out;
}

std::vector<std::string> expand(const char* list) {
  TstringArray results;
  TfilePath::expandEnvVarsAndTilde(Tstring(list), results);
  return strings(results);
}

std::string list(std::initializer_list<const char*> entries) {
  std::string out;
  for (const char* e : entries) {
    if (!out.empty()) out += vela::platform::kPathListSeparator;
    out += e;
  }
  return out;
}

void put(const std::string& name, const std::string& value) {
  ASSERT_EQ(VelaPutEnv((name + "=" + value).c_str()), 0);
}

}  // namespace

// Where both rules agree: names, "." and ".." between single separators, ending with a name (and
// perhaps "/"), where every ".." either comes before every name of a relative path or climbs
// over a name with more names than leading ".." before it.
TEST(TfilePathSimplify, AgreesWithLexicallyNormalWhereTheRulesMeet) {
  std::mt19937 random(17);
  const char* names[] = {"a", "bb", "c.d", "é", "x y"};
  int compared = 0;
  for (int round = 0; round < 20000; ++round) {
    const bool absolute = random() % 2 == 0;
    std::string path = absolute ? "/" : "";
    int depth = 0;
    bool anyName = false;
    const int count = 1 + static_cast<int>(random() % 8);
    bool ok = true;
    for (int i = 0; i < count; ++i) {
      std::string piece;
      const unsigned kind = i == count - 1 ? 0 : random() % 4;
      if (kind == 1) {
        piece = ".";
      } else if (kind == 2) {
        piece = "..";
        // A leading ".." counts against the names that follow, as in the rule.
        if (depth < 1 && (absolute || anyName)) ok = false;
        --depth;
      } else {
        piece = names[random() % 5];
        ++depth;
        anyName = true;
      }
      if (i != 0) path += "/";
      path += piece;
    }
    if (!ok) continue;
    if (random() % 3 == 0) path += "/";
    const std::string ours = simplify(path.c_str());
    const std::string theirs = std::filesystem::path(path).lexically_normal().generic_string();
    ASSERT_EQ(ours, theirs) << path;
    ++compared;
  }
  EXPECT_GT(compared, 5000);
}

TEST(TfilePathSimplify, ExactValuesWhereTheRulesDiffer) {
  // The examples of the rule.
  EXPECT_EQ(simplify("/a/b/../c"), "/a/c");
  EXPECT_EQ(simplify("/a/./b/../c/"), "/a/c/");
  EXPECT_EQ(simplify("a/../../b"), "../b");
  EXPECT_EQ(simplify("../../a"), "../../a");
  EXPECT_EQ(simplify("./a"), "a");
  // lexically_normal gives "." for these; the rule gives "".
  EXPECT_EQ(simplify("."), "");
  EXPECT_EQ(simplify("./"), "");
  EXPECT_EQ(simplify("a/.."), "");
  EXPECT_EQ(simplify("a//.."), "");  // the doubled separator goes with the name
  // lexically_normal keeps the separator before a removed last piece; the rule does not.
  EXPECT_EQ(simplify("a/."), "a");
  EXPECT_EQ(simplify("a/b/.."), "a");
  EXPECT_EQ(simplify("/a/.."), "");
  EXPECT_EQ(simplify("/a/../"), "/");
  // ".." behind a leading ".." run never climbs a name that follows it.
  EXPECT_EQ(simplify("../a/.."), "../a/..");
  EXPECT_EQ(simplify("/.."), "/..");
  // Doubled separators are kept while the output only grows, dropped behind a climb.
  EXPECT_EQ(simplify("a//b"), "a//b");
  EXPECT_EQ(simplify("//server/share/../x"), "//server/x");
  EXPECT_EQ(simplify("a/b/c/../../x//d"), "a/x/d");
  EXPECT_EQ(simplify(".//a"), "a");
  EXPECT_EQ(simplify("/"), "/");
  EXPECT_EQ(simplify(""), "");
  // Deep paths (the piece list outgrows its stack buffer).
  std::string deep;
  for (int i = 0; i < 200; ++i) deep += "d" + std::to_string(i) + "/";
  deep += "../x";
  std::string expected = deep.substr(0, deep.size() - 9) + "x";
  EXPECT_EQ(simplify(deep.c_str()), expected);
}

TEST(TfilePathText, SeparatorsTailsAndElements) {
  auto canon = [](const char* p) {
    return std::string(TfilePath::canonicalizeDirectoryPaths(Tstring(p)).asC());
  };
  EXPECT_EQ(canon("\\\\server\\share\\"), "//server/share");
  EXPECT_EQ(canon("/"), "/");
  EXPECT_EQ(canon("a\\\\b//c/"), "a/b/c");
  EXPECT_EQ(canon("///x//y"), "//x/y");
  EXPECT_EQ(canon(""), "");

  auto strip = [](const char* p) {
    return std::string(TfilePath::removeRedundantInitialSeparators(Tstring(p)).asC());
  };
  EXPECT_EQ(strip("/C:/x"), "C:/x");
  EXPECT_EQ(strip("///x"), "//x");
  EXPECT_EQ(strip("/usr/x"), "/usr/x");
  EXPECT_EQ(strip("/../x"), "../x");
  EXPECT_EQ(strip("/..x"), "/..x");
  EXPECT_EQ(strip("/"), "/");
  EXPECT_EQ(strip("//x"), "//x");

  Tstring s("a");
  TfilePath::ensureHasTrailingSeparator(s);
  EXPECT_EQ(s, Tstring("a/"));
  TfilePath::ensureHasTrailingSeparator(s);
  EXPECT_EQ(s, Tstring("a/"));
  Tstring e;
  TfilePath::ensureHasTrailingSeparator(e);
  EXPECT_TRUE(e.isEmpty());

  EXPECT_EQ(TfilePath::tail(Tstring("a/b/")), Tstring());
  EXPECT_EQ(TfilePath::tail(Tstring("abc")), Tstring("abc"));
  EXPECT_EQ(TfilePath::tail(Tstring("/x/y.z")), Tstring("y.z"));
  EXPECT_EQ(TfilePath::lastPathElement(Tstring("a/b/")), Tstring("b/"));
  EXPECT_EQ(TfilePath::lastPathElement(Tstring("a\\b\\"), true), Tstring("b"));
  EXPECT_EQ(TfilePath::lastPathElement(Tstring("a/b")), Tstring("b"));
  EXPECT_EQ(TfilePath::lastPathElement(Tstring("")), Tstring());
}

TEST(TfilePathText, TestsOnText) {
  EXPECT_TRUE(TfilePath::hasEnvOrTilde(Tstring("a/$B")));
  EXPECT_FALSE(TfilePath::hasEnvOrTilde(Tstring("~/%B%")));  // looks for "$" only
  EXPECT_TRUE(TfilePath::containsEnvVars(Tstring("x%A%y")));
  EXPECT_FALSE(TfilePath::containsEnvVars(Tstring("50%")));
  EXPECT_TRUE(TfilePath::containsEnvVars(Tstring("$")));
  EXPECT_TRUE(TfilePath::startsWithEnvVars(Tstring("%A%/x")));
  EXPECT_FALSE(TfilePath::startsWithEnvVars(Tstring("x/$A")));
  for (const char* full : {"C:", "z:/x", "/", "\\\\server", "//x"})
    EXPECT_TRUE(TfilePath::isFullPathAnyPlatform(Tstring(full))) << full;
  for (const char* notFull : {"", "1:", "a", "é:/", "./a"})
    EXPECT_FALSE(TfilePath::isFullPathAnyPlatform(Tstring(notFull))) << notFull;
  EXPECT_TRUE(TfilePath::isRelativePathAnyPlatform(Tstring("a/b")));
  EXPECT_FALSE(TfilePath::isRelativePathAnyPlatform(Tstring("c:x")));  // a drive
  EXPECT_FALSE(TfilePath::isRelativePathAnyPlatform(Tstring("http://x/y")));
  EXPECT_FALSE(TfilePath::isRelativePathAnyPlatform(Tstring("/a")));
  EXPECT_FALSE(TfilePath::isRelativePathAnyPlatform(Tstring()));
}

TEST(TfilePathExpand, TokensFollowTheCuttingRules) {
  auto cut = [](const char* text, bool ok) {
    TstringArray tokens;
    EXPECT_EQ(TfilePath::splitByEnvVarOrTilde(Tstring(text), tokens), ok) << text;
    return strings(tokens);
  };
  using V = std::vector<std::string>;
  EXPECT_EQ(cut("%HOME/x", false), V{});
  EXPECT_EQ(cut("a/%HOME", false), V{"a/"});
  EXPECT_EQ(cut("${A}/b", true), (V{"${A}", "/b"}));
  EXPECT_EQ(cut("$A$B", true), (V{"$A", "$B"}));
  EXPECT_EQ(cut("~joe/x", true), (V{"~joe", "/x"}));
  EXPECT_EQ(cut("~$A/x", true), (V{"~$A", "/x"}));
  EXPECT_EQ(cut("~", true), (V{"~"}));
  EXPECT_EQ(cut("~~a$B", true), (V{"~~a", "$B"}));
  EXPECT_EQ(cut("~%A%b", true), (V{"~%A%", "b"}));
  EXPECT_EQ(cut("~${A/b}", false), V{});
  EXPECT_EQ(cut("x%A%y/z$", true), (V{"x", "%A%", "y/z", "$"}));
  EXPECT_EQ(cut("${A", false), V{});
  EXPECT_EQ(cut("%A$B%", false), V{});
  EXPECT_EQ(cut("", true), V{});
}

TEST(TfilePathExpand, VariablesHoldingSeveralFolders) {
  TenvGuard env;
  put("V", list({"/v1", "/v2/"}));
  put("W", "/w");
  put("EMPTY", "");
  VelaUnsetEnv("UNDEFINED_VAR");
  using V = std::vector<std::string>;
  // Two from the first entry, in the order of V's value, then one from the second.
  EXPECT_EQ(expand(list({"$V/a", "$W"}).c_str()), (V{"/v1/a", "/v2/a", "/w"}));
  // The cross product: earlier alternatives vary fastest; "/" is not doubled.
  EXPECT_EQ(expand("${V}%V%"), (V{"/v1/v1", "/v2/v1", "/v1/v2/", "/v2/v2/"}));
  EXPECT_EQ(expand("$V/x"), (V{"/v1/x", "/v2/x"}));
  // Undefined and empty variables stay as written; "~" stays too.
  EXPECT_EQ(expand("$UNDEFINED_VAR/${EMPTY}/~/$W"), (V{"$UNDEFINED_VAR/${EMPTY}/~/w"}));
  EXPECT_EQ(expand("~$W/x"), (V{"~/w/x"}));
  // An unclosed reference makes its entry add nothing; the others still count.
  EXPECT_EQ(expand(list({"%W/a", "$W"}).c_str()), (V{"/w"}));
  // An empty list adds itself, but only to empty results.
  EXPECT_EQ(expand(""), (V{""}));
  TstringArray results;
  results.addLast(Tstring("kept"));
  TfilePath::expandEnvVarsAndTilde(Tstring(""), results);
  EXPECT_EQ(strings(results), (V{"kept"}));
  TfilePath::expandEnvVarsAndTilde(Tstring("$W"), results);
  EXPECT_EQ(strings(results), (V{"kept", "/w"}));

  const std::string sep(1, vela::platform::kPathListSeparator);
  EXPECT_EQ(std::string(TfilePath::getExpandedPaths(Tstring("$V/a")).asC()), "/v1/a" + sep + "/v2/a");
  EXPECT_EQ(TfilePath::getFirstExpandedPath(Tstring("$V/a")), Tstring("/v1/a"));
  EXPECT_EQ(TfilePath::getFirstExpandedPath(Tstring("%W")), Tstring());
}

TEST(TfilePathExpand, NestedAndSelfNamingVariablesEnd) {
  TenvGuard env;
  using V = std::vector<std::string>;
  put("INNER", list({"/i1", "/i2"}));
  put("OUTER", list({"$INNER/o", "/p"}));
  EXPECT_EQ(expand("$OUTER/z"), (V{"/i1/o/z", "/i2/o/z", "/p/z"}));
  // A variable inside its own value stays as written.
  put("SELF", list({"$SELF", "/s"}));
  EXPECT_EQ(expand("$SELF/x"), (V{"$SELF/x", "/s/x"}));
  put("PING", "$PONG/a");
  put("PONG", "$PING/b");
  EXPECT_EQ(expand("$PING"), (V{"$PING/b/a"}));
  // A chain deeper than the limit stops expanding there.
  for (int i = 0; i < 20; ++i) put("CHAIN" + std::to_string(i), "$CHAIN" + std::to_string(i + 1) + "/c");
  put("CHAIN20", "/end");
  const V chained = expand("$CHAIN0");
  ASSERT_EQ(chained.size(), 1u);
  std::string expected = "$CHAIN" + std::to_string(TfilePath::kMaxExpansionDepth);
  for (int i = 0; i < TfilePath::kMaxExpansionDepth; ++i) expected += "/c";
  EXPECT_EQ(chained[0], expected);
}

TEST(TfilePathExpand, TheProjectManagerIsAskedFirst) {
  struct Tmgr : TprojectMgrBase {
    Tstring projectRootDirectory() const override { return Tstring("/proj"); }
    bool resolveVariable(const Tstring& name, Tstring& value) const override {
      if (name != Tstring("PROJ")) return false;
      value = Tstring("/proj");
      return true;
    }
    bool isActive() const override { return active; }
    bool active = true;
  };
  TenvGuard env;
  put("PROJ", "/env");
  put("OTHER", "/other");
  Tmgr mgr;
  using V = std::vector<std::string>;
  EXPECT_EQ(expand("$PROJ/%OTHER%"), (V{"/proj/other"}));
  mgr.active = false;
  EXPECT_EQ(expand("$PROJ"), (V{"/env"}));
}

TEST(TfilePathExpand, WholePiecesAndTilde) {
  TenvGuard env;
  put("A", "/x/y");
  put("LATIN_é", "latin");
  VelaUnsetEnv("UNDEFINED_VAR");
  auto ee = [](const char* p) { return std::string(TfilePath::expandEnvVars(Tstring(p)).asC()); };
  EXPECT_EQ(ee("$A/b"), "/x/y/b");
  EXPECT_EQ(ee("/$A//b/"), "//x/y/b");
  EXPECT_EQ(ee("//$A"), "///x/y");
  EXPECT_EQ(ee("a$A/${A}/%A%"), "a$A/${A}/%A%");  // only whole $NAME pieces
  EXPECT_EQ(ee("$UNDEFINED_VAR/b"), "$UNDEFINED_VAR/b");
  EXPECT_EQ(ee("a/b/"), "a/b");
  EXPECT_EQ(ee("/"), "/");
  EXPECT_EQ(ee("//"), "//");
  EXPECT_EQ(ee(""), "");

  auto et = [](const char* t) { return std::string(TfilePath::expandTilde(Tstring(t)).asC()); };
  EXPECT_EQ(et("~"), "~");
  EXPECT_EQ(et("~$A"), "~/x/y");
  EXPECT_EQ(et("~${A}z"), "~/x/yz");
  EXPECT_EQ(et("~%A%z"), "~/x/yz");
  EXPECT_EQ(et("~$LATIN_é."), "~latin.");
  EXPECT_EQ(et("~$UNDEFINED_VAR-"), "~$UNDEFINED_VAR-");
  EXPECT_EQ(et("~$"), "~$");
}

TEST(TfilePathExpand, ThreadsExpandWhileTheEnvironmentChanges) {
  TenvGuard env;
  put("TWO", list({"/a", "/b"}));
  std::atomic<bool> stop{false};
  std::atomic<int> bad{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        TstringArray results;
        TfilePath::expandEnvVarsAndTilde(Tstring("$TWO/x"), results);
        if (results.length() != 2 || results[1] != Tstring("/b/x")) bad.fetch_add(1);
        (void)TfilePath::simplifyPath(results[0]);
      }
    });
  }
  std::thread writer([&] {
    for (int i = 0; !stop.load(); ++i) VelaPutEnv(("CHURN=" + std::to_string(i)).c_str());
  });
  for (std::thread& t : readers) t.join();
  stop = true;
  writer.join();
  EXPECT_EQ(bad.load(), 0);
}
