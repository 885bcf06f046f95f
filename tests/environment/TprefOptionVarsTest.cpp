#include <velacore/environment/TprefOptionVars.h>

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace {

void countChange(void* client, int clientType, TclientServer&, const TserverMsg& msg) {
  ASSERT_NE(dynamic_cast<const ToptionVarChangedMsg*>(&msg), nullptr);
  static_cast<int*>(client)[clientType] += 1;
}

TEST(ToptionVar, KindsGettersAndMismatches) {
  ToptionVar v("a", 2.5);
  double d = 0.0;
  int i = 7;
  Tstring s("keep");
  EXPECT_TRUE(v.getValue(d));
  EXPECT_EQ(d, 2.5);
  EXPECT_FALSE(v.getValue(i));
  EXPECT_EQ(i, 7);
  EXPECT_FALSE(v.getValue(s));
  EXPECT_EQ(s, Tstring("keep"));
  EXPECT_EQ(v.asDoubleArray(), nullptr);
  EXPECT_EQ(v.arraySize(), 1u);
  EXPECT_FALSE(v.isArray());

  TstringArray names;
  names.addLast("x");
  names.addLast("y");
  v.setValue(names);
  names.addLast("z");  // the variable holds a copy
  EXPECT_EQ(v.varType(), ToptionVar::kStringArray);
  ASSERT_NE(v.asStringArray(), nullptr);
  EXPECT_EQ(v.arraySize(), 2u);
  EXPECT_TRUE(v.isArray());

  v.setValue(Tstring("text"));
  v.setValue(Tstring("more"));  // string over string: assigned in place
  EXPECT_TRUE(v.getValue(s));
  EXPECT_EQ(s, Tstring("more"));
  EXPECT_EQ(v.asStringArray(), nullptr);

  // Setting a variable from its own array must not read freed memory.
  Tint32Array ints;
  ints.addLast(4);
  v.setValue(ints);
  v.setValue(*v.asInt32Array());
  ASSERT_NE(v.asInt32Array(), nullptr);
  EXPECT_EQ((*v.asInt32Array())[0], 4);

  EXPECT_EQ(ToptionVar().arraySize(), 0u);
  EXPECT_TRUE(v.typeof()->isa(ToptionVar::sTypeof()));
}

TEST(ToptionVar, ChangeMessagesPerClient) {
  TprefOptionVars prefs;
  prefs.addVar("a", 1);
  prefs.addVar("b", 1);
  int counts[2] = {0, 0};
  int other[2] = {0, 0};
  EXPECT_TRUE(prefs.addClient("a", counts, 0, countChange));
  EXPECT_TRUE(prefs.addClient("a", counts, 1, countChange));
  EXPECT_TRUE(prefs.addClient("b", other, 0, countChange));
  EXPECT_FALSE(prefs.addClient("missing", counts, 0, countChange));
  prefs.addVar("a", 2.0);
  prefs.addLastArrayVar("a", 3.0);
  prefs.replaceArrayVar("a", 0, 9.0);
  EXPECT_EQ(counts[0], 3);
  EXPECT_EQ(counts[1], 3);
  EXPECT_EQ(other[0], 0);
  prefs.findVar("a")->removeClient(counts);
  prefs.addVar("a", 1);
  EXPECT_EQ(counts[0], 3);
}

TEST(TprefOptionVars, ArrayElements) {
  TprefOptionVars prefs;
  prefs.addVar("a", 1.0);
  EXPECT_TRUE(prefs.addLastArrayVar("a", 2.0));
  TdoubleArray got;
  ASSERT_TRUE(prefs.getVar("a", got));
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], 1.0);
  EXPECT_EQ(got[1], 2.0);
  int n = 5;
  EXPECT_FALSE(prefs.getVar("a", n));
  EXPECT_EQ(n, 5);

  prefs.addVar("s", Tstring("x"));
  EXPECT_FALSE(prefs.addLastArrayVar("s", 2.0));
  EXPECT_TRUE(prefs.addLastArrayVar("s", Tstring("y")));
  EXPECT_EQ(prefs.varType("s"), ToptionVar::kStringArray);

  EXPECT_TRUE(prefs.addLastArrayVar("new", 4));
  EXPECT_EQ(prefs.varType("new"), ToptionVar::kIntArray);
  EXPECT_TRUE(prefs.insertArrayVar("new", 1, 6));  // index == count appends
  EXPECT_FALSE(prefs.insertArrayVar("new", 3, 6));  // count + 1 fails
  EXPECT_TRUE(prefs.insertArrayVar("new", 0, 3));
  EXPECT_FALSE(prefs.insertArrayVar("new", 0, 1.0));  // wrong element type
  EXPECT_FALSE(prefs.replaceArrayVar("new", 3, 0));
  EXPECT_TRUE(prefs.replaceArrayVar("new", 2, 5));
  for (unsigned i = 0; i < 3; ++i) {
    int e = 0;
    EXPECT_TRUE(prefs.getArrayVar("new", i, e));
    EXPECT_EQ(e, static_cast<int>(i) + 3);
  }
  EXPECT_FALSE(prefs.getArrayVar("new", 3, n));
  EXPECT_FALSE(prefs.removeArrayVar("new", 3));
  EXPECT_TRUE(prefs.removeArrayVar("new", 0));
  EXPECT_EQ(prefs.varSize("new"), 2u);
  EXPECT_TRUE(prefs.clearArrayVar("new"));
  EXPECT_EQ(prefs.varSize("new"), 0u);
  EXPECT_EQ(prefs.varType("new"), ToptionVar::kIntArray);
  prefs.addVar("i", 1);
  EXPECT_FALSE(prefs.clearArrayVar("i"));
  EXPECT_FALSE(prefs.clearArrayVar("none"));
  EXPECT_FALSE(prefs.insertArrayVar("none", 0, 1));
  EXPECT_EQ(prefs.varSize("none"), 0u);
  EXPECT_EQ(prefs.varType("none"), ToptionVar::kNone);
}

// The sorted array against std::map (byte order) over random names, adds and removes
// interleaved.
TEST(TprefOptionVars, MatchesStdMap) {
  std::mt19937 rng(20);
  TprefOptionVars prefs;
  std::map<std::string, int> peer;
  for (int step = 0; step < 4000; ++step) {
    // Short names, and long ones that tie on their first 15, 16 or 17 bytes; some non-ASCII.
    static const char* const kPrefixes[] = {"", "", "aaaaaaaaaaaaaaa", "aaaaaaaaaaaaaaaa",
                                            "aaaaaaaaaaaaaaaaa", "b\xC3\xA9" "bbbbbbbbbbbbb"};
    std::string name = kPrefixes[rng() % 6];
    const int len = 1 + static_cast<int>(rng() % 4);
    for (int k = 0; k < len; ++k) {
      const unsigned pick = rng() % 4;
      name += pick == 3 ? std::string("\xC3\xA9") : std::string(1, static_cast<char>('a' + pick));
    }
    const Tstring tname(name.c_str());
    const int value = static_cast<int>(rng() % 1000);
    switch (rng() % 4) {
      case 0: {
        prefs.removeVar(tname);
        peer.erase(name);
        break;
      }
      case 1: {
        int got = -1;
        const auto it = peer.find(name);
        EXPECT_EQ(prefs.getVar(tname, got), it != peer.end()) << name;
        if (it != peer.end()) {
          EXPECT_EQ(got, it->second);
        }
        EXPECT_EQ(prefs.varExists(tname), it != peer.end());
        break;
      }
      default:
        prefs.addVar(tname, value);
        peer[name] = value;
    }
    ASSERT_EQ(prefs.numVars(), peer.size());
  }
  unsigned i = 0;
  for (const auto& [name, value] : peer) EXPECT_EQ(prefs.var(i++), Tstring(name.c_str()));
  EXPECT_EQ(prefs.var(i), Tstring());
  prefs.removeAllVars();
  EXPECT_EQ(prefs.numVars(), 0u);
}

TEST(TprefOptionVars, CommandStringTexts) {
  TprefOptionVars prefs;
  Tstring text("old");
  prefs.commandString(text);
  EXPECT_EQ(text, Tstring("// no optionVars defined\n"));

  prefs.addVar("s", Tstring("say \"hi\"\tnow"));
  prefs.addVar("d", 2.5);
  prefs.addVar("i", -3);
  prefs.addLastArrayVar("sa", Tstring("q\""));
  prefs.addLastArrayVar("ia", 1);
  prefs.addLastArrayVar("ia", 2);
  prefs.addLastArrayVar("da", 0.5);
  prefs.commandString(text);
  EXPECT_EQ(std::string(text.asC()),
            "\noptionVar -version 3;\noptionVar"
            "\n -fv \"d\" 2.5"
            "\n -ca \"da\"\n -fva \"da\" 0.5"
            "\n -iv \"i\" -3"
            "\n -ca \"ia\"\n -iva \"ia\" 1\n -iva \"ia\" 2"
            "\n -sv \"s\" \"say \\\"hi\\\"\\tnow\""
            "\n -ca \"sa\"\n -sva \"sa\" \"q\\\"\""
            ";\n");
}

int countCommands(const Tstring& text) {
  const std::string s(text.asC());
  int n = 0;
  for (std::size_t at = s.find("\noptionVar\n"); at != std::string::npos;
       at = s.find("\noptionVar\n", at + 1)) {
    ++n;
  }
  return n;
}

TEST(TprefOptionVars, CommandSplitElevenThenTen) {
  TprefOptionVars prefs;
  Tstring text;
  for (int n = 1; n <= 32; ++n) {
    char name[8];
    std::snprintf(name, sizeof name, "v%02d", n);
    prefs.addVar(name, n);
    prefs.commandString(text);
    const int expected = n <= 11 ? 1 : 1 + (n - 11 + 9) / 10;
    EXPECT_EQ(countCommands(text), expected) << n;
  }
  // Twelve variables: the twelfth opens the second command.
  TprefOptionVars twelve;
  for (int n = 0; n < 12; ++n) {
    char name[16];
    std::snprintf(name, sizeof name, "v%02d", n);
    twelve.addVar(name, n);
  }
  twelve.commandString(text);
  const std::string s(text.asC());
  EXPECT_NE(s.find("-iv \"v10\" 10;\noptionVar\n -iv \"v11\" 11;\n"), std::string::npos);
}

TEST(TprefOptionVars, VersionNotes) {
  EXPECT_EQ(TprefOptionVars::version(), 3);
  EXPECT_EQ(TprefOptionVars::versionString(0), Tstring("v1 - Preference versioning added"));
  EXPECT_EQ(TprefOptionVars::versionString(2),
            Tstring("v3 - playbackSpeed changed to a float value.  Remove -sv "
                    "\"timelinePlaySpeed\""));
  EXPECT_EQ(TprefOptionVars::versionString(3), Tstring());
}

// The header's usage example.
TEST(TprefOptionVars, HeaderExample) {
  TprefOptionVars prefs;
  prefs.addVar("gridSpacing", 2.5);
  prefs.addVar("userName", Tstring("Ann \"A\" Lee"));
  prefs.addLastArrayVar("recent", Tstring("a.vela"));
  int n = 0;
  EXPECT_FALSE(prefs.getVar("gridSpacing", n));
  Tstring script;
  prefs.commandString(script);
  EXPECT_EQ(std::string(script.asC()).rfind("\noptionVar -version 3;\noptionVar\n -fv "
                                            "\"gridSpacing\" 2.5\n -ca \"recent\"",
                                            0),
            0u);
}

}  // namespace
