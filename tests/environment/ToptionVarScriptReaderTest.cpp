#include <velacore/environment/ToptionVarScriptReader.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

std::string script(const TprefOptionVars& prefs) {
  Tstring text;
  prefs.commandString(text);
  return std::string(text.asC(), text.length());
}

std::string problemsOf(const ToptionVarScriptReader& reader) {
  std::string all;
  for (const Tstring& p : reader.problems()) all += std::string(p.asC()) + "\n";
  return all;
}

// Pieces that stress the string escaping: quotes, backslashes (also before quotes and at the
// end), line breaks, control characters, non-ASCII text and text that looks like the script.
const char* const kPieces[] = {
    "a",         " ",    "\"",    "\\",   "\\\"", "\n", "\r\n", "\t",
    "\x01",      "\x7f", "é",     "漢字", "😀",    ";",  "//",   "-fv \"x\" 1",
    "optionVar", "\\n",  "\\101", "\"\"", "'",    "%s", "^1s",
};

Tstring randomText(std::mt19937& rng) {
  std::string s;
  const int n = static_cast<int>(rng() % 6);
  for (int k = 0; k < n; ++k) s += kPieces[rng() % (sizeof kPieces / sizeof kPieces[0])];
  return Tstring(s.c_str());
}

// Doubles that the script's six significant digits keep exactly, and the special values.
double randomDouble(std::mt19937& rng) {
  switch (rng() % 8) {
    case 0:
      return std::numeric_limits<double>::infinity();
    case 1:
      return -std::numeric_limits<double>::infinity();
    case 2:
      return 0.0;
    default:
      return (static_cast<double>(rng() % 2000001) - 1000000.0) / 8.0;
  }
}

int randomInt(std::mt19937& rng) {
  switch (rng() % 6) {
    case 0:
      return std::numeric_limits<int>::min();
    case 1:
      return std::numeric_limits<int>::max();
    default:
      return static_cast<int>(rng()) % 100000;
  }
}

void expectSameVariable(const ToptionVar& a, const ToptionVar& b) {
  SCOPED_TRACE(a.name().asC());
  ASSERT_EQ(a.arraySize(), b.arraySize());
  if (a.isArray() && a.arraySize() == 0) {  // an empty array's kind is not in the script
    EXPECT_TRUE(b.isArray());
    return;
  }
  ASSERT_EQ(a.varType(), b.varType());
  double d1 = 0, d2 = 0;
  int i1 = 0, i2 = 0;
  Tstring s1, s2;
  if (a.getValue(d1)) {
    EXPECT_TRUE(b.getValue(d2) && d1 == d2);
  }
  if (a.getValue(i1)) {
    EXPECT_TRUE(b.getValue(i2) && i1 == i2);
  }
  if (a.getValue(s1)) {
    EXPECT_TRUE(b.getValue(s2) && s1 == s2) << s1.asC() << " | " << s2.asC();
  }
  if (const TdoubleArray* x = a.asDoubleArray()) {
    for (unsigned k = 0; k < x->size(); ++k) EXPECT_EQ((*x)[k], (*b.asDoubleArray())[k]);
  }
  if (const Tint32Array* x = a.asInt32Array()) {
    for (unsigned k = 0; k < x->size(); ++k) EXPECT_EQ((*x)[k], (*b.asInt32Array())[k]);
  }
  if (const TstringArray* x = a.asStringArray()) {
    for (unsigned k = 0; k < x->size(); ++k) EXPECT_EQ((*x)[k], (*b.asStringArray())[k]);
  }
}

// Random collections of every kind go through commandString and back unchanged; enough
// variables that the script is split into several commands.
TEST(ToptionVarScriptReader, RoundTripOfRandomCollections) {
  std::mt19937 rng(5);
  for (int round = 0; round < 60; ++round) {
    TprefOptionVars saved;
    const int count = static_cast<int>(rng() % 40);
    for (int v = 0; v < count; ++v) {
      // Names may hold blanks, semicolons and non-ASCII text, but no quote or line break.
      std::string name = "v" + std::to_string(rng() % 50);
      if (rng() % 3 == 0) name += rng() % 2 ? " é;x" : "\\n";
      const Tstring tname(name.c_str());
      const int elements = static_cast<int>(rng() % 4);
      switch (rng() % 6) {
        case 0:
          saved.addVar(tname, randomDouble(rng));
          break;
        case 1:
          saved.addVar(tname, randomInt(rng));
          break;
        case 2:
          saved.addVar(tname, randomText(rng));
          break;
        case 3: {
          TdoubleArray a(8);
          for (int k = 0; k < elements; ++k) a.addLast(randomDouble(rng));
          saved.addVar(tname, a);
          break;
        }
        case 4: {
          Tint32Array a(8);
          for (int k = 0; k < elements; ++k) a.addLast(randomInt(rng));
          saved.addVar(tname, a);
          break;
        }
        default: {
          TstringArray a(8);
          for (int k = 0; k < elements; ++k) a.addLast(randomText(rng));
          saved.addVar(tname, a);
        }
      }
    }
    const std::string text = script(saved);
    TprefOptionVars restored;
    ToptionVarScriptReader reader(restored);
    ASSERT_EQ(reader.read(Tstring(text.data(), static_cast<unsigned>(text.size()))), 0u)
        << problemsOf(reader) << text;
    EXPECT_EQ(reader.version(), count == 0 ? 0 : TprefOptionVars::fsVersion);
    ASSERT_EQ(restored.numVars(), saved.numVars()) << text;
    for (unsigned v = 0; v < saved.numVars(); ++v) {
      ASSERT_EQ(restored.var(v), saved.var(v));
      expectSameVariable(*saved.findVar(saved.var(v)), *restored.findVar(saved.var(v)));
    }
    EXPECT_EQ(script(restored), text);
  }
}

TEST(ToptionVarScriptReader, DoublesComeBackAsWritten) {
  TprefOptionVars saved;
  saved.addVar("third", 1.0 / 3.0);
  saved.addVar("nan", std::nan(""));
  TprefOptionVars restored;
  ToptionVarScriptReader reader(restored);
  EXPECT_EQ(reader.read(Tstring(script(saved).c_str())), 0u) << problemsOf(reader);
  double d = 0;
  ASSERT_TRUE(restored.getVar("third", d));
  Tstring written;
  written.setDouble(1.0 / 3.0);
  EXPECT_EQ(d, written.asDouble());
  ASSERT_TRUE(restored.getVar("nan", d));
  EXPECT_TRUE(std::isnan(d));
}

// Bad lines are reported with their line numbers and skipped; everything else is still read.
TEST(ToptionVarScriptReader, ReportsAndSkipsBadLines) {
  const char* text =
      "// a comment\r\n"                       // 1
      "optionVar -version 9;\r\n"              // 2 newer version: reported, read on
      "optionVar\r\n"                          // 3
      " -fv \"a\" 1.5\r\n"                     // 4
      " -zz \"b\" 2\r\n"                       // 5 unknown flag
      " -iv \"c\" 99999999999\r\n"             // 6 out of range
      " -iv \"c\" 12abc\r\n"                   // 7 not an integer
      " -fv \"d\" x\r\n"                       // 8 not a number
      " -sv \"e\" \"unterminated\r\n"          // 9 bad quoting
      " -sv e \"x\"\r\n"                       // 10 name not quoted
      " -iv \"f\" 3 trailing\r\n"              // 11 extra text
      " -ca \"g\"\r\n"                         // 12
      " -iva \"g\" 1\r\n"                      // 13
      " -fva \"g\" 2.0\r\n"                    // 14 kind mismatch
      " -sv \"h\" \"ok \\\"q\\\" \\\\\";\r\n"  // 15 ends the command
      " -iv \"i\" 1\r\n"                       // 16 outside a command
      "garbage\r\n"                            // 17 not a flag
      "optionVar\n"                            // 18
      " -iv \"j\" 7\n"                         // 19
      "optionVar\n"                            // 20 the command above never closed
      " -iv \"k\" 8\n";                        // 21 script ends inside a command
  TprefOptionVars prefs;
  ToptionVarScriptReader reader(prefs);
  const unsigned problems = reader.read(Tstring(text));
  const std::string all = problemsOf(reader);
  EXPECT_EQ(problems, 13u) << all;
  for (const char* expected :
       {"line 2: the preferences were written by the newer version 9", "line 5: unknown flag -zz",
        "line 6: '99999999999' is not an integer", "line 7: '12abc' is not an integer",
        "line 8: 'x' is not a number", "line 9: a name or value is not enclosed",
        "line 10: a name or value", "line 11: unexpected text 'trailing'",
        "line 14: the option variable 'g' holds no array of this kind",
        "line 16: a flag outside an optionVar command", "line 17: neither",
        "line 20: the optionVar command before this line has no closing ';'",
        "line 21: the script ends inside an optionVar command"}) {
    EXPECT_NE(all.find(expected), std::string::npos) << expected << "\n" << all;
  }
  EXPECT_EQ(reader.version(), 9);
  double d = 0;
  int n = 0;
  Tstring s;
  EXPECT_TRUE(prefs.getVar("a", d));
  EXPECT_FALSE(prefs.varExists("b") || prefs.varExists("c") || prefs.varExists("d") ||
               prefs.varExists("e") || prefs.varExists("f") || prefs.varExists("i"));
  Tint32Array g;
  ASSERT_TRUE(prefs.getVar("g", g));
  EXPECT_EQ(g.size(), 1u);
  EXPECT_TRUE(prefs.getVar("h", s));
  EXPECT_EQ(s, Tstring("ok \"q\" \\"));
  EXPECT_TRUE(prefs.getVar("j", n) && n == 7);
  EXPECT_TRUE(prefs.getVar("k", n) && n == 8);
  EXPECT_EQ(reader.numApplied(), 5u);

  // A second read starts afresh.
  EXPECT_EQ(reader.read(Tstring("// no optionVars defined\n")), 0u);
  EXPECT_EQ(reader.version(), 0);
  EXPECT_EQ(reader.problems().size(), 0u);
}

// Reading adds to what the collection holds, as executing the script would.
TEST(ToptionVarScriptReader, ReadsOnTopOfExistingVariables) {
  TprefOptionVars prefs;
  prefs.addVar("keep", 1);
  prefs.addLastArrayVar("ints", 5);
  prefs.addVar("scalar", 2.0);
  prefs.addVar("s", Tstring("x"));
  ToptionVarScriptReader reader(prefs);
  EXPECT_EQ(reader.read(Tstring("optionVar\n"
                                " -ca \"ints\"\n"       // an empty array keeps its kind
                                " -fva \"scalar\" 3\n"  // a double becomes a double array
                                " -sva \"fresh\" \"a\"\n"
                                " -iva \"s\" 1;\n")),  // a string takes no integer element
            1u)
      << problemsOf(reader);
  EXPECT_EQ(prefs.varType("keep"), ToptionVar::kInt);
  EXPECT_EQ(prefs.varType("ints"), ToptionVar::kIntArray);
  EXPECT_EQ(prefs.varSize("ints"), 0u);
  TdoubleArray scalar;
  ASSERT_TRUE(prefs.getVar("scalar", scalar));
  ASSERT_EQ(scalar.size(), 2u);
  EXPECT_EQ(scalar[1], 3.0);
  EXPECT_EQ(prefs.varType("fresh"), ToptionVar::kStringArray);
  EXPECT_EQ(prefs.varType("s"), ToptionVar::kString);
}

// The header's usage example.
TEST(ToptionVarScriptReader, HeaderExample) {
  TprefOptionVars saved;
  saved.addVar("userName", Tstring("Ann \"A\" Lee"));
  saved.addLastArrayVar("recent", 3);
  Tstring script;
  saved.commandString(script);
  TprefOptionVars restored;
  ToptionVarScriptReader reader(restored);
  EXPECT_EQ(reader.read(script), 0u);
  EXPECT_EQ(reader.version(), 3);
  Tstring name;
  EXPECT_TRUE(restored.getVar("userName", name));
  EXPECT_EQ(name, Tstring("Ann \"A\" Lee"));
  EXPECT_EQ(restored.varType("recent"), ToptionVar::kIntArray);
}

}  // namespace
