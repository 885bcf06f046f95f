// Tstring: sharing, the two text forms, comparison, search, splitting, numbers and formatting.
#include <velacore/strings/Tstring.h>

#include <velacore/containers/ThashFunction.h>
#include <velacore/strings/TstringArray.h>

#include <gtest/gtest.h>

#include <QString>

#include <fnmatch.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<std::string> pieces(const TstringArray& a) {
  std::vector<std::string> out;
  for (unsigned i = 0; i < a.length(); ++i) out.emplace_back(a[i].asC());
  return out;
}

Tstring tf(const char* fmt, ...) {
  Tstring f(fmt);
  Tstring out;
  va_list ap;
  va_start(ap, fmt);
  out.tFormatArgList(&f, ap);
  va_end(ap);
  return out;
}

class TstringTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Tstring::fsPrecision = 6;
    Tstring::fsFloatClampingOnConversion = true;
  }
  void TearDown() override { SetUp(); }
};

}  // namespace

TEST_F(TstringTest, EmptyFormsAreEquivalentAndOwnNothing) {
  const Tstring a;
  const Tstring b(static_cast<const char*>(nullptr));
  const Tstring c("");
  const Tstring d("abc", 0);
  for (const Tstring* s : {&a, &b, &c, &d}) {
    EXPECT_TRUE(s->isEmpty());
    EXPECT_EQ(s->refCount(), 0u);
    EXPECT_STREQ(s->asC(), "");
    EXPECT_EQ(s->asW()[0], u'\0');
    EXPECT_EQ(s->length(), 0u);
    EXPECT_EQ(s->numChars(), 0u);
    EXPECT_TRUE(*s == "");
    EXPECT_TRUE(*s == static_cast<const char*>(nullptr));
    EXPECT_FALSE(*s != static_cast<const char*>(nullptr));
    EXPECT_FALSE(*s < static_cast<const char*>(nullptr));
    EXPECT_EQ(*s, a);
    EXPECT_EQ(s->compare(a), 0);
  }
  EXPECT_EQ(sizeof(Tstring), sizeof(void*));
  // An allocated but emptied body is still "empty" for every query.
  Tstring e("x");
  e.clear();
  EXPECT_EQ(e.refCount(), 1u);
  EXPECT_TRUE(e.isEmpty());
  EXPECT_EQ(e, a);
  EXPECT_EQ(e.compare(Tstring("a")), -1);
}

TEST_F(TstringTest, CopiesShareUntilWritten) {
  Tstring a("hello");
  EXPECT_EQ(a.refCount(), 1u);
  Tstring b = a;
  EXPECT_EQ(a.refCount(), 2u);
  b = b;  // self-assignment keeps the share
  EXPECT_EQ(b.refCount(), 2u);
  b.append("x");
  EXPECT_STREQ(a.asC(), "hello");
  EXPECT_STREQ(b.asC(), "hellox");
  EXPECT_EQ(a.refCount(), 1u);
  EXPECT_EQ(b.refCount(), 1u);

  Tstring c = a;
  Tstring d = a;
  c.clear();  // shared: only c becomes empty
  EXPECT_TRUE(c.isEmpty());
  EXPECT_EQ(c.refCount(), 0u);
  EXPECT_STREQ(d.asC(), "hello");
  EXPECT_EQ(a.refCount(), 2u);

  d.toUpperCase();
  EXPECT_STREQ(a.asC(), "hello");
  EXPECT_STREQ(d.asC(), "HELLO");

  Tstring m(std::move(d));
  EXPECT_TRUE(d.isEmpty());  // NOLINT(bugprone-use-after-move): moved-from is empty
  EXPECT_STREQ(m.asC(), "HELLO");
  m.swap(a);
  EXPECT_STREQ(m.asC(), "hello");
  EXPECT_STREQ(a.asC(), "HELLO");
}

TEST_F(TstringTest, SettingFromInsideItself) {
  Tstring s("abcdef");
  s.set(s.asC() + 2);
  EXPECT_STREQ(s.asC(), "cdef");
  Tstring shared = s;
  s.set(s.asC() + 1, 2);
  EXPECT_STREQ(s.asC(), "de");
  EXPECT_STREQ(shared.asC(), "cdef");
  s.append(s);
  EXPECT_STREQ(s.asC(), "dede");
  s.append(s.asC() + 1, 2);
  EXPECT_STREQ(s.asC(), "dedeed");
  s.substring(1, 3, s);
  EXPECT_STREQ(s.asC(), "ede");
  s.cFormat("%s|%s", s.asC(), s.asC());
  EXPECT_STREQ(s.asC(), "ede|ede");
}

TEST_F(TstringTest, ByteOnlyWorkNeverConvertsToWide) {
  const uint64_t before = Tstring::sWideConversionCount();
  Tstring a("alpha");
  Tstring b = a;
  b.append(", beta");
  b += "!";
  b.catenate(a);
  Tstring c = a + "x";
  EXPECT_EQ(b.length(), 17u);
  EXPECT_STREQ(b.asC(), "alpha, beta!alpha");
  EXPECT_LT(a.compare(b), 0);
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a == "alpha");
  EXPECT_NE(a.hash(), b.hash());
  EXPECT_EQ(a.index('p'), 2);
  EXPECT_EQ(b.findstr(Tstring("beta")), 7);
  EXPECT_TRUE(Tstring("12").isInt32());
  EXPECT_TRUE(a.matches("al*a"));
  TstringArray parts;
  b.split(',', parts);
  EXPECT_EQ(Tstring::sWideConversionCount(), before);
  EXPECT_EQ(b.numChars(), 17u);  // the first character-level query converts, once
  EXPECT_EQ(b.at(1), u'l');
  EXPECT_EQ(Tstring::sWideConversionCount(), before + 1);
}

// The body remembers its hash; every kind of edit must make it forget, including edits of
// the wide form and writes through asNonConstC.
TEST_F(TstringTest, RememberedHashFollowsEveryEdit) {
  auto fresh = [](const Tstring& s) { return ThashFunction::hash32(s.asC(), s.length(), 0); };
  Tstring s("alpha");
  const std::vector<std::function<void(Tstring&)>> edits = {
      [](Tstring& t) { t.append("beta", 4); },
      [](Tstring& t) { t += Tstring("gamma"); },
      [](Tstring& t) { t.toUpperCase(); },
      [](Tstring& t) { t.set(u"wide \u00E9 text"); },
      [](Tstring& t) { t.appendW(u"\u20AC", 1); },
      [](Tstring& t) { t.substitute(Tstring("e"), Tstring("E")); },
      [](Tstring& t) { t.asNonConstC()[0] = 'Z'; },
      [](Tstring& t) { t.resize(3); },
      [](Tstring& t) { t.setDouble(2.5); },
      [](Tstring& t) { t.setUTF8("\xC3\xA9t\xC3\xA9"); },
      [](Tstring& t) { t.clear(); },
      [](Tstring& t) { t = "again"; },
  };
  for (const auto& edit : edits) {
    const unsigned before = s.hash();
    ASSERT_EQ(before, fresh(s));
    Tstring shared = s;  // the shared body keeps its text and its hash
    edit(s);
    EXPECT_EQ(s.hash(), fresh(s)) << s.asC();
    EXPECT_EQ(shared.hash(), before);
  }
  EXPECT_EQ(Tstring().hash(), ThashFunction::hash32("", 0, 0));
}

TEST_F(TstringTest, WideAndNarrowFormsAgree) {
  // "a", e-acute (2 bytes), euro (3 bytes), G clef (4 bytes: a surrogate pair).
  const char* utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E" "b";
  Tstring s(utf8);
  EXPECT_EQ(s.length(), 11u);
  EXPECT_EQ(s.numChars(), 6u);
  EXPECT_EQ(s.last(), 5u);
  EXPECT_EQ(s.at(3), 0xD834);
  EXPECT_EQ(s.at(4), 0xDD1E);
  EXPECT_EQ(s.findMB(u'b'), 5);
  EXPECT_EQ(s.findstr(Tstring("b")), 5);  // UTF-16 position, not the byte position 10
  EXPECT_EQ(s.index('b'), 10);
  EXPECT_FALSE(s.isAscii());
  EXPECT_TRUE(s.containsMultibyte());
  Tstring found;
  EXPECT_TRUE(s.containsMultibyte(found));
  EXPECT_EQ(found.numChars(), 4u);
  EXPECT_STREQ(s.substringMB(1, 2).asC(), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_STREQ(s.substringMB(3, 4).asC(), "\xF0\x9D\x84\x9E");

  Tstring w(u"a\u00E9\u20AC\U0001D11Eb");
  EXPECT_EQ(w, s);
  EXPECT_STREQ(w.asC(), utf8);
  EXPECT_EQ(w.hash(), s.hash());
  EXPECT_EQ(std::u16string(w.asW()), std::u16string(s.asW()));

  // Against Qt as the reference decoder for random byte soup.
  std::mt19937 rng(7);
  for (int round = 0; round < 200; ++round) {
    std::string bytes(rng() % 40, '\0');
    for (char& ch : bytes) ch = static_cast<char>(rng() % 3 == 0 ? rng() % 256 : 'a' + rng() % 26);
    Tstring t(bytes.data(), static_cast<unsigned>(bytes.size()));
    const QString ref = QString::fromUtf8(bytes.data(), static_cast<int>(bytes.size()));
    ASSERT_EQ(t.numChars(), static_cast<unsigned>(ref.size()));
    ASSERT_EQ(0, std::memcmp(t.asW(), ref.utf16(), ref.size() * 2u));
    ASSERT_EQ(t.length(), bytes.size());  // the bytes themselves are kept
  }
  // ASCII runs of every length up to past the widest vector loop, with one two-byte character
  // dropped at each place (start, middle, the last block, the very end) or nowhere.
  for (std::size_t n = 1; n < 300; n += (n < 80 ? 1 : 7)) {
    for (std::size_t at : {n, std::size_t{0}, n / 3, n * 2 / 3, n > 9 ? n - 9 : 0, n - 1}) {
      std::string bytes(n, 'q');
      for (std::size_t k = 0; k < n; ++k) bytes[k] = static_cast<char>(' ' + (k * 7) % 95);
      if (at < n) bytes.insert(at, "\xC3\xA9");
      Tstring t(bytes.data(), static_cast<unsigned>(bytes.size()));
      const QString ref = QString::fromUtf8(bytes.data(), static_cast<int>(bytes.size()));
      ASSERT_EQ(t.numChars(), static_cast<unsigned>(ref.size())) << n << " " << at;
      ASSERT_EQ(0, std::memcmp(t.asW(), ref.utf16(), ref.size() * 2u + 2u)) << n << " " << at;
    }
  }
}

TEST_F(TstringTest, ComparisonAcrossForms) {
  const Tstring narrow("abc");
  const Tstring wide(u"abd");
  EXPECT_LT(narrow.compare(wide), 0);
  EXPECT_GT(wide.compare(narrow), 0);
  EXPECT_EQ(Tstring().compare(Tstring("a")), -1);
  EXPECT_EQ(Tstring("a").compare(Tstring()), 1);
  EXPECT_LT(Tstring("ab").compare("abc"), 0);
  EXPECT_GT(Tstring("\xC3\xA9").compare("z"), 0);  // unsigned bytes
  EXPECT_TRUE(Tstring("abc") == Tstring(u"abc"));
  EXPECT_TRUE(Tstring(u"abc") < "abd");
  EXPECT_TRUE(Tstring("b") >= "a");
  EXPECT_TRUE(Tstring("b") <= "b");
  EXPECT_EQ(Tstring("Hello").caseCompare("hELLO"), 0);
  EXPECT_LT(Tstring("apple").caseCompare("BANANA"), 0);
  EXPECT_EQ(Tstring("").caseCompare("a"), -1);

  // Differential: byte order of random strings agrees with std::string.
  std::mt19937 rng(3);
  for (int i = 0; i < 500; ++i) {
    std::string x(rng() % 6, 'a');
    std::string y(rng() % 6, 'a');
    for (char& ch : x) ch = static_cast<char>('a' + rng() % 3);
    for (char& ch : y) ch = static_cast<char>('a' + rng() % 3);
    const int ref = x.compare(y);
    const int got = Tstring(x.c_str()).compare(Tstring(y.c_str()));
    ASSERT_EQ(ref < 0, got < 0) << x << " vs " << y;
    ASSERT_EQ(ref == 0, got == 0) << x << " vs " << y;
    ASSERT_EQ(ref == 0, Tstring(x.c_str()) == Tstring(y.c_str()));
  }
}

// Equality and hash follow the byte form, whichever forms exist at the moment: malformed UTF-8
// is not equal to its U+FFFD repair, and an answer never changes as conversions happen.
TEST_F(TstringTest, EqualityAndHashOfMalformedTextAreStable) {
  {
    const Tstring bad("\xFF");
    const Tstring repaired(u"\uFFFD");
    EXPECT_FALSE(bad == repaired);  // only the wide form of `repaired` exists
    EXPECT_NE(bad.hash(), repaired.hash());
    (void)bad.asW();
    (void)repaired.asC();  // now both forms of both exist
    EXPECT_FALSE(bad == repaired);
    EXPECT_TRUE(bad != repaired);
    EXPECT_EQ(Tstring("\xEF\xBF\xBD"), repaired);
  }
  // Differential: random byte soup against wide-only strings, each pair asked with the forms
  // made in every order; the answer is std::string equality of the byte forms each time, and
  // equal strings hash alike.
  std::mt19937 rng(12);
  const char alphabet[] = {'a', '\xC3', '\xA9', '\xFF', '\xEF', '\xBF', '\xBD'};
  int equalPairs = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string x(rng() % 4, 'a'), y(rng() % 4, 'a');
    for (char& ch : x) ch = alphabet[rng() % sizeof alphabet];
    for (char& ch : y) ch = alphabet[rng() % sizeof alphabet];
    const std::u16string units(Tstring(y.c_str()).asW());
    const std::string yBytes(Tstring(units.c_str()).asC());  // what the wide string's bytes are
    const bool expected = x == yBytes;
    equalPairs += expected;
    const Tstring a(x.c_str());
    const Tstring b(units.c_str());
    for (int stage = 0; stage < 3; ++stage) {
      if (stage == 1) (void)(rng() % 2 ? a.asW() : b.asW());
      if (stage == 2) (void)b.asC();
      ASSERT_EQ(a == b, expected) << round << " stage " << stage;
      ASSERT_EQ(b == a, expected) << round << " stage " << stage;
      if (expected) {
        ASSERT_EQ(a.hash(), b.hash()) << round;
      }
    }
  }
  EXPECT_GT(equalPairs, 100);  // the comparison saw equal pairs, not only different ones
}

TEST_F(TstringTest, SearchFunctions) {
  const Tstring s("a.b.c");
  EXPECT_EQ(s.index('.'), 1);
  EXPECT_EQ(s.index('.', 2), 3);
  EXPECT_EQ(s.index('.', 99), -1);
  EXPECT_EQ(s.rindex('.'), 3);
  EXPECT_EQ(s.rindex('.', 2), 1);
  EXPECT_EQ(s.findchr('z'), -1);
  EXPECT_EQ(s.findstr(Tstring("b.c")), 2);
  EXPECT_EQ(s.findrstr(Tstring(".")), 3);
  EXPECT_EQ(s.findMB(Tstring("."), 2), 3);
  EXPECT_EQ(s.rfindMB(u'a'), 0);
  EXPECT_EQ(s.findAny(Tstring("cb")), 2);
  EXPECT_EQ(s.rfindAny(Tstring("ab")), 2);
  EXPECT_TRUE(Tstring("abc").contains(Tstring("xa")));
  EXPECT_FALSE(Tstring("abc").contains(Tstring("xyz")));
  EXPECT_TRUE(s.startsWith(Tstring("a.")));
  EXPECT_TRUE(s.startsWith(Tstring()));
  EXPECT_FALSE(Tstring().startsWith(Tstring("a")));
  EXPECT_TRUE(s.endsWith(Tstring(u".c")));
  EXPECT_FALSE(s.endsWith(Tstring("a.b.c.")));
}

// Positions are unsigned 32-bit: one of 2^31 or more is past the end of any text, never a
// negative offset before it.
TEST_F(TstringTest, PositionsFromTwoToThe31stUpAreBeyondTheEnd) {
  const Tstring s("a.b\xC3\xA9.c");
  const Tstring dot(".");
  for (unsigned int far : {0x80000000u, 0xC0000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    SCOPED_TRACE(far);
    EXPECT_EQ(s.findAny(dot, far), -1);
    EXPECT_EQ(s.findMB(u'.', far), -1);
    EXPECT_EQ(s.findMB(dot, far), -1);
    EXPECT_EQ(s.index('.', far), -1);
    EXPECT_EQ(s.rindex('.', far), 5);  // from the end backwards
    EXPECT_EQ(s.at(far), u'\0');
    EXPECT_EQ(s[far], '\0');
    EXPECT_TRUE(s.substring(far, far).isEmpty());
    EXPECT_STREQ(s.substring(2, far).asC(), "b\xC3\xA9.c");
    EXPECT_TRUE(s.substringMB(far, 0xFFFFFFFFu).isEmpty());
    EXPECT_STREQ(s.substringMB(4, far).asC(), ".c");
    Tstring t(s);
    EXPECT_STREQ(t.formatToWidth(far).asC(), s.asC());
    EXPECT_THROW(t.padLeft(far), std::exception);  // more than a string can hold
    EXPECT_STREQ(t.asC(), s.asC());
  }
  EXPECT_EQ(s.findAny(dot, 2), 4);
  EXPECT_EQ(s.findAny(dot, 5), -1);
}

TEST_F(TstringTest, WildcardMatching) {
  struct Case {
    const char* text;
    const char* pattern;
    bool match;
  } cases[] = {
      {"abc", "abc", true},      {"abc", "a*", true},     {"abc", "*c", true},
      {"abc", "a?c", true},      {"ac", "a?c", false},    {"", "*", true},
      {"", "?", false},          {"aXbXc", "a*b*c", true}, {"abcb", "*b", true},
      {"a*c", "a\\*c", true},    {"abc", "a\\*c", false}, {"abab", "*ab*ab", true},
      {"mississippi", "m*iss*ppi", true}, {"abc", "ab", false},
  };
  for (const Case& c : cases) EXPECT_EQ(Tstring(c.text).matches(c.pattern), c.match) << c.text << " ~ " << c.pattern;
  EXPECT_TRUE(Tstring("a*").isWildCard());
  EXPECT_FALSE(Tstring("abc").isWildCard());

  // Many stars against a long near-miss: a matcher that retries every star is exponential here.
  const std::string as(60, 'a');
  EXPECT_FALSE(Tstring(as.c_str()).matches("*a*a*a*a*a*a*a*a*a*a*a*a*b"));
  EXPECT_TRUE(Tstring((as + "b").c_str()).matches("*a*a*a*a*a*a*a*a*a*a*a*a*b"));

  // Differential against fnmatch (no brackets: those are not wildcards here).
  std::mt19937 rng(21);
  const char textAlphabet[] = "ab*?\\";
  const char patternAlphabet[] = "ab*?\\";
  for (int i = 0; i < 3000; ++i) {
    std::string text(rng() % 7, 'a');
    std::string pattern(rng() % 7, 'a');
    for (char& ch : text) ch = textAlphabet[rng() % 5];
    for (char& ch : pattern) ch = patternAlphabet[rng() % 5];
    const bool ref = fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
    if (!pattern.empty() && pattern.back() == '\\') continue;  // fnmatch: undefined
    ASSERT_EQ(Tstring(text.c_str()).matches(pattern.c_str()), ref) << text << " ~ " << pattern;
  }
}

TEST_F(TstringTest, Splitting) {
  TstringArray a;
  Tstring(",a,,b,").split(',', a);
  EXPECT_EQ(pieces(a), (std::vector<std::string>{"a", "b"}));
  TstringArray b;
  Tstring(",a,,b,").splitWithEmptyStrings(u',', b);
  EXPECT_EQ(pieces(b), (std::vector<std::string>{"", "a", "", "b"}));
  TstringArray c;
  c.addLast(Tstring("kept"));
  Tstring("whole").split(',', c);
  Tstring().split(',', c);
  Tstring(",,").split(',', c);
  EXPECT_EQ(pieces(c), (std::vector<std::string>{"kept", "whole"}));
  TstringArray d;
  Tstring("a b;c  d").splitAny(Tstring(" ;"), d);
  EXPECT_EQ(pieces(d), (std::vector<std::string>{"a", "b", "c", "d"}));
  TstringArray e;
  Tstring(u"x\u00B7y\u00B7\u00B7z").split(u'\u00B7', e);  // a non-ASCII separator
  EXPECT_EQ(pieces(e), (std::vector<std::string>{"x", "y", "z"}));
}

TEST_F(TstringTest, IntegerAndDoubleTests) {
  for (const char* yes : {" -12 ", "7", "+3", "\t42\t", "0001"}) EXPECT_TRUE(Tstring(yes).isInt32()) << yes;
  for (const char* no : {"12a", "", "+", "1 2", "-", " ", "0x1", "1.0"}) EXPECT_FALSE(Tstring(no).isInt32()) << no;
  EXPECT_FALSE(Tstring("-1").isUInt32());
  EXPECT_TRUE(Tstring("+1").isUInt32());
  for (const char* yes : {"1.", ".5", "-1e+3", " 2.5E-1 ", "1.e5", "3", "+0.0"})
    EXPECT_TRUE(Tstring(yes).isDouble()) << yes;
  for (const char* no : {"1. ", "1e", ".", "e5", "", "1.5.", "--1", "1e+", "inf", "0x10", ". 5"})
    EXPECT_FALSE(Tstring(no).isDouble()) << no;
  EXPECT_EQ(Tstring("-42").asInt32(), -42);
  EXPECT_EQ(Tstring("123").asInt16(), 123);
  EXPECT_EQ(Tstring("4000000000").asUInt32(), 4000000000u);
  EXPECT_EQ(Tstring("x").asUInt32(), 0u);
  EXPECT_EQ(Tstring("-9000000000").asIntPtrSz(), -9000000000LL);
  EXPECT_EQ(Tstring("0x1f").asUIntPtrSz(), 0x1fu);
  EXPECT_DOUBLE_EQ(Tstring("2.5e3").asDouble(), 2500.0);
  EXPECT_FLOAT_EQ(Tstring("0.25").asFloat(), 0.25f);
}

TEST_F(TstringTest, NumberWriting) {
  Tstring s;
  EXPECT_STREQ(s.setInt32(-7).asC(), "-7");
  EXPECT_STREQ(s.setUInt32(4000000000u).asC(), "4000000000");
  EXPECT_STREQ(s.setInt64(-9000000000LL).asC(), "-9000000000");
  EXPECT_STREQ(s.setUInt64(18446744073709551615ULL).asC(), "18446744073709551615");
  EXPECT_STREQ(s.setIntPtrSz(-5).asC(), "-5");
  EXPECT_STREQ(s.setUIntPtrSz(255).asC(), "0xff");
  EXPECT_STREQ(s.setUIntPtrSz(0).asC(), "0");
  EXPECT_STREQ(s.setDouble(0.1).asC(), "0.1");
  EXPECT_STREQ(s.setDouble(2.50, 3, false).asC(), "2.5");
  EXPECT_STREQ(s.setDouble(2.0, 3, false).asC(), "2");
  EXPECT_STREQ(s.setDouble(1e-12).asC(), "0");
  EXPECT_STREQ(s.setDouble(-1e-12).asC(), "0");
  EXPECT_STREQ(s.setDouble(1.0 / 0.0).asC(), "infinity");
  EXPECT_STREQ(s.setDouble(-1.0 / 0.0).asC(), "-infinity");
  EXPECT_STREQ(s.setDouble(std::nan("")).asC(), "NaN");
  EXPECT_STREQ(s.setDouble(1234.5678).asC(), "1234.5678");  // 4 + 6 significant digits
  EXPECT_STREQ(s.setDouble(1234.5678, 2, true).asC(), "1234.57");
  EXPECT_STREQ(s.setDouble(2.5, -1, true).asC(), "2.5");    // "%lg"
  EXPECT_STREQ(s.setDouble(2.5, -1, false).asC(), "2.500000");  // "%lf", nothing stripped
  EXPECT_STREQ(s.setDouble(1e20, 2, true).asC(), "100000000000000000000");
  // Huge precisions give the exact decimal value without huge work (or an overflowing count).
  EXPECT_STREQ(s.setDouble(1.5, INT_MAX, false).asC(), "1.5");
  EXPECT_STREQ(s.setDouble(-2.5, INT_MAX, true).asC(), "-2.5");
  char exact[2000];
  std::snprintf(exact, sizeof exact, "%.1500f", 0.1);
  std::string trimmed(exact);
  trimmed.erase(trimmed.find_last_not_of('0') + 1);
  EXPECT_EQ(std::string(s.setDouble(0.1, 5000, false).asC()), trimmed);
  std::snprintf(exact, sizeof exact, "%.1500g", -1e300);
  EXPECT_STREQ(s.setDouble(-1e300, 3000, true).asC(), exact);
  Tstring::fsFloatClampingOnConversion = false;
  EXPECT_STREQ(s.setDouble(0.1, 3, false).asC(), "0.10000000000000001");
  EXPECT_STREQ(s.setDouble(1e-12, 3, false).asC(), "0.000000000001");  // no clamp
  Tstring::fsFloatClampingOnConversion = true;
  EXPECT_STREQ(s.setDouble_NUTI(0.1).asC(), "0.1");
  EXPECT_STREQ(s.setDouble_NUTI(1e300).asC(), "1e+300");
  s = "x=";
  s.catenateDouble(0.5);
  s.catenateInt32(-3);
  EXPECT_STREQ(s.asC(), "x=0.5-3");

  // Differential against printf for both forms: random values, short decimals (whose shortest
  // digits end in a 5 right where the rounding falls) and halfway cases such as 0.125.
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> mant(-10.0, 10.0);
  for (int i = 0; i < 12000; ++i) {
    double v = mant(rng) * std::pow(10.0, static_cast<int>(rng() % 30) - 15);
    if (i % 3 == 1) v = std::round(v * 1e4) / 1e4;
    if (i % 3 == 2) v = static_cast<double>(static_cast<int>(rng() % 20001) - 10000) / 1024;
    if (i % 10 == 9) v *= 1e18 * static_cast<double>(rng() % 1000000000);  // whole numbers
    const int p = 1 + static_cast<int>(rng() % 12);
    const bool significant = i >= 6000;
    const double a = std::fabs(v);
    char ref[400];
    if (a <= 1e-10) {
      std::snprintf(ref, sizeof ref, "0");
    } else if (significant) {
      const int d = a < 1 ? 0 : static_cast<int>(std::floor(std::log10(std::floor(a)))) + 1;
      std::snprintf(ref, sizeof ref, "%.*lg", d + p, v);
    } else {
      std::snprintf(ref, sizeof ref, "%.*lf", p, v);
      std::string fixed(ref);
      fixed.erase(fixed.find_last_not_of('0') + 1);
      if (fixed.back() == '.') fixed.pop_back();
      std::snprintf(ref, sizeof ref, "%s", fixed.c_str());
    }
    ASSERT_STREQ(s.setDouble(v, p, significant).asC(), ref) << v << " p=" << p << " sig=" << significant;
  }
}

TEST_F(TstringTest, PrintfFormatting) {
  Tstring s;
  EXPECT_EQ(s.cFormat("%s-%04d-%.2f", "a", 7, 1.5), 0);
  EXPECT_STREQ(s.asC(), "a-0007-1.50");
  std::string big(3000, 'q');
  s.cFormat("<%s>", big.c_str());
  EXPECT_EQ(s.length(), 3002u);
  EXPECT_STREQ(Tstring::cFormatString("%d%%", 50).asC(), "50%");
  EXPECT_EQ(s.cFormat(nullptr), -1);
  EXPECT_TRUE(s.isEmpty());
}

TEST_F(TstringTest, PositionalFormatting) {
  const Tstring a("a");
  const Tstring b("b");
  EXPECT_STREQ(tf("^2s-^1s", &a, &b).asC(), "b-a");
  EXPECT_STREQ(tf("^^").asC(), "^");
  EXPECT_STREQ(tf("x^").asC(), "x^");
  EXPECT_STREQ(tf("^0s^x").asC(), "^0s^x");  // not markers
  EXPECT_STREQ(tf("^1(3)d", 7).asC(), "007");
  EXPECT_STREQ(tf("^1d^1d", 4).asC(), "44");
  EXPECT_STREQ(tf("[^1n^2d]", 99, 5).asC(), "[5]");
  EXPECT_STREQ(tf("^1l", 1LL << 40).asC(), "1099511627776");
  EXPECT_STREQ(tf("^1f", 2.5).asC(), "2.5");
  EXPECT_STREQ(tf("^1(.2)f", 2.5).asC(), " 2.5");
  EXPECT_STREQ(tf("[^1(6.2)f]", 12.345).asC(), "[ 12.35]");
  EXPECT_STREQ(tf("[^1(6.1)f]", -0.25).asC(), "[-0.25 ]");
  EXPECT_STREQ(tf("^1c|^2c", "text", static_cast<const char*>(nullptr)).asC(), "text|");
  EXPECT_STREQ(tf("^1s!", static_cast<const Tstring*>(nullptr)).asC(), "!");
  EXPECT_STREQ(tf("^1r", TstringId{"s_TcoreStrings.rOutOfMemory"}).asC(), "out of memory");
  EXPECT_STREQ(tf("^3d ^1d", 1, 2, 3).asC(), " 1");  // ^2 untyped: reading stops there
  Tstring out("old");
  EXPECT_EQ(out.tFormat(nullptr), -1);
  EXPECT_TRUE(out.isEmpty());
  Tstring self("<^1s>");
  self.tFormat(&self, &self);
  EXPECT_STREQ(self.asC(), "<<^1s>>");
}

// The checked form takes Tstrings only and refuses markers it cannot fill; it agrees with the
// unchecked form wherever both apply.
TEST_F(TstringTest, CheckedPositionalFormatting) {
  const Tstring a("a"), b("b\xC3\xA9"), w(u"\u20AC");
  Tstring out;
  EXPECT_EQ(out.tFormat(Tstring("^2s-^1s ^^ ^1s^3s"), a, b, w), 0);
  EXPECT_STREQ(out.asC(), "b\xC3\xA9-a ^ a\xE2\x82\xAC");
  const Tstring fmt("[^1s|^2s]");
  Tstring unchecked;
  unchecked.tFormat(&fmt, &b, &a);
  EXPECT_EQ(out.tFormat(fmt, b, a), 0);
  EXPECT_EQ(out, unchecked);
  EXPECT_EQ(out.tFormat(Tstring("no markers")), 0);
  EXPECT_STREQ(out.asC(), "no markers");

  out = "kept";
  EXPECT_EQ(out.tFormat(Tstring("^1s and ^2s"), a), -1);  // argument 2 was not given
  EXPECT_EQ(out.tFormat(Tstring("^1d"), a), -1);          // not a text marker
  EXPECT_EQ(out.tFormat(Tstring("^1(3)s ^2f"), a, b), -1);
  EXPECT_STREQ(out.asC(), "kept");
  Tstring self("<^1s>");
  EXPECT_EQ(self.tFormat(self, self), 0);
  EXPECT_STREQ(self.asC(), "<<^1s>>");
}
