// Tstring editing, escapes, line ends, paths, UTF-8, regexp, TcharString, and sharing between
// threads.
#include <velacore/containers/ThashFunction.h>
#include <velacore/strings/TcharString.h>
#include <velacore/strings/Tstring.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

TEST(TstringEdit, CaseAndWhiteSpace) {
  Tstring s("hello World");
  Tstring shared = s;
  EXPECT_STREQ(s.toUpperCase().asC(), "HELLO WORLD");
  EXPECT_STREQ(shared.asC(), "hello World");
  EXPECT_STREQ(Tstring("\xC3\xA9t\xC3\xA9").toUpperCase().asC(), "\xC3\x89T\xC3\x89");
  EXPECT_STREQ(Tstring(u"\u00C9T\u00C9").toLowerCase().asC(), "\xC3\xA9t\xC3\xA9");
  EXPECT_STREQ(Tstring("abc").capitalize().asC(), "Abc");
  EXPECT_STREQ(Tstring("\xC3\xA9t").capitalize().asC(), "\xC3\x89t");
  EXPECT_STREQ(Tstring(" a \tb\n").removeSpaces().asC(), "ab");
  EXPECT_STREQ(Tstring("  a b \t").removeInitialAndFinalSpaces().asC(), "a b");
  EXPECT_TRUE(Tstring(" \t ").removeInitialAndFinalSpaces().isEmpty());
  EXPECT_STREQ(Tstring("a  \t b\n\nc").collapseWhiteSpace().asC(), "a b c");
  EXPECT_STREQ(Tstring("7").padLeft(3, u'0').asC(), "007");
  EXPECT_STREQ(Tstring("1234").padLeft(3, u'0').asC(), "1234");
}

TEST(TstringEdit, FormatToWidth) {
  EXPECT_STREQ(Tstring("short").formatToWidth(10).asC(), "short");
  EXPECT_STREQ(Tstring("aaa bbb ccc").formatToWidth(4).asC(), "aaa\nbbb\nccc");
  EXPECT_STREQ(Tstring("aa bbbb").formatToWidth(4).asC(), "aa\nbbbb");
  EXPECT_STREQ(Tstring("abcdefgh ij").formatToWidth(4).asC(), "abcdefgh\nij");
  EXPECT_STREQ(Tstring("ab\ncd ef gh").formatToWidth(5).asC(), "ab\ncd ef\ngh");
}

TEST(TstringEdit, Substitution) {
  EXPECT_STREQ(Tstring("a-b-c").substitute("-", "+").asC(), "a+b+c");
  EXPECT_STREQ(Tstring("a-b-c").substituteFirst("-", "").asC(), "ab-c");
  EXPECT_STREQ(Tstring("aaa").substitute("a", "aa").asC(), "aaaaaa");
  EXPECT_STREQ(Tstring("abc").substitute("", "x").asC(), "abc");
  EXPECT_TRUE(Tstring().substitute("a", "b").isEmpty());
  EXPECT_STREQ(Tstring("x\xC3\xA9y\xC3\xA9").substitute("\xC3\xA9", "e").asC(), "xeye");
  Tstring self("ab");
  self.substitute(self, "<ab>");
  EXPECT_STREQ(self.asC(), "<ab>");
}

TEST(TstringEdit, EscapesRoundTrip) {
  Tstring s(std::string("\t\"\x01").c_str());
  EXPECT_STREQ(s.encodeEscapeSequences(true).asC(), "\\t\\\"\\001");
  EXPECT_STREQ(Tstring("a\"b\\").encodeEscapeSequences(false).asC(), "a\"b\\\\");
  EXPECT_STREQ(Tstring("\x7f\x1f").encodeEscapeSequences().asC(), "\\177\\037");
  EXPECT_STREQ(Tstring("\\q\\").decodeEscapeSequences().asC(), "\\q\\");  // kept as written
  EXPECT_STREQ(Tstring("\\477\\101\\12").decodeEscapeSequences().asC(), "\xC4\xBF" "A\\12");
  Tstring c("x=");
  c.catenateEscapeSequences("a\nb", false);
  EXPECT_STREQ(c.asC(), "x=a\\nb");
  std::mt19937 rng(5);
  for (int i = 0; i < 300; ++i) {
    std::string raw(1 + rng() % 20, ' ');
    for (char& ch : raw) ch = static_cast<char>(1 + rng() % 127);  // no NUL
    if (rng() % 4 == 0) raw += "\xC3\xA9";
    Tstring t(raw.c_str());
    const bool quoted = (i & 1) != 0;
    t.encodeEscapeSequences(quoted);
    for (char ch : std::string(t.asC()))
      ASSERT_TRUE(static_cast<unsigned char>(ch) >= 32 && ch != 127) << raw;
    ASSERT_STREQ(t.decodeEscapeSequences().asC(), raw.c_str());
  }
}

TEST(TstringEdit, LineEndsPerSystem) {
  const char* in = "a\nb\r\nc\rd";
  EXPECT_STREQ(Tstring(in).clean(kSystemWindows).asC(), "a\r\nb\r\nc\r\nd");
  EXPECT_STREQ(Tstring(in).clean(kSystemLinux).asC(), "a\nb\nc\nd");
  EXPECT_STREQ(Tstring(in).clean(kSystemMacOSX).asC(), "a\nb\nc\nd");
  EXPECT_STREQ(Tstring(in).clean(kSystemClassicMac).asC(), "a\rb\rc\rd");
  EXPECT_STREQ(Tstring(in).clean(static_cast<Tsystem>(5)).asC(), "a\nb\rc\rd");
  EXPECT_TRUE(Tstring().clean(kSystemWindows).isEmpty());
  EXPECT_STREQ(Tstring("\r\n\r\n").clean(kSystemWindows).asC(), "\r\n\r\n");
}

TEST(TstringEdit, PathPieces) {
  const Tstring p("/scenes/shot.01/take.ma");
  EXPECT_STREQ(p.baseName().asC(), "take.ma");
  EXPECT_STREQ(p.directoryPath().asC(), "/scenes/shot.01/");
  EXPECT_STREQ(p.extension().asC(), "ma");
  EXPECT_STREQ(p.root().asC(), "/scenes/shot.01/take");
  EXPECT_STREQ(p.root(Tstring("ma")).asC(), "/scenes/shot.01/take");
  EXPECT_STREQ(p.root(Tstring(".mb")).asC(), p.asC());
  EXPECT_STREQ(Tstring("c:\\dir\\f.txt").baseName().asC(), "f.txt");
  EXPECT_STREQ(Tstring("dir.d/file").extension().asC(), "");
  EXPECT_STREQ(Tstring("dir.d/file").root().asC(), "dir.d/file");
  Tstring q(p);
  EXPECT_STREQ(q.stripExtension().asC(), "/scenes/shot.01/take");
  EXPECT_STREQ(q.stripPath().asC(), "take");
  EXPECT_STREQ(Tstring("dir/").stripPath().asC(), "");
}

TEST(TstringEdit, Utf8InAndOut) {
  bool ok = false;
  Tstring s;
  s.setUTF8("caf\xC3\xA9", &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(s.numChars(), 4u);
  EXPECT_STREQ(s.asUTF8(), "caf\xC3\xA9");
  EXPECT_EQ(s.asUTF8StoreSize(), 6u);
  // A stray continuation byte, a truncated sequence and an overlong form each become U+FFFD,
  // and nothing past the given length is read.
  const char bad[] = "a\x80" "b\xE2\x82" "c\xC0\xAF" "XYZ";
  s.setUTF8(bad, 8, &ok);
  EXPECT_FALSE(ok);
  std::u16string w(s.asW());
  EXPECT_EQ(w.find(u'X'), std::u16string::npos);
  EXPECT_LT(w.find(u'a'), w.find(u'b'));
  EXPECT_LT(w.find(u'b'), w.find(u'c'));
  EXPECT_GE(std::count(w.begin(), w.end(), u'\uFFFD'), 3);
  EXPECT_EQ(w.find_first_not_of(u"abc\uFFFD"), std::u16string::npos);
  s.setUTF8(nullptr, &ok);
  EXPECT_TRUE(s.isEmpty());

  // Bytes that are not UTF-8 stay as given, but the UTF-8 form is repaired, also after edits
  // and for every holder of a shared body.
  Tstring raw("a\xFF" "b");
  EXPECT_STREQ(raw.asC(), "a\xFF" "b");
  EXPECT_STREQ(raw.asUTF8(), "a\xEF\xBF\xBD" "b");
  EXPECT_EQ(raw.asUTF8StoreSize(), 6u);
  const Tstring shared = raw;
  raw.append("\xC3\xA9");
  EXPECT_STREQ(raw.asUTF8(), "a\xEF\xBF\xBD" "b\xC3\xA9");
  EXPECT_STREQ(shared.asUTF8(), "a\xEF\xBF\xBD" "b");
  raw.set("ok\xC3\xA9");
  EXPECT_STREQ(raw.asUTF8(), "ok\xC3\xA9");
  EXPECT_EQ(raw.asUTF8(), raw.asC());  // well formed: no copy
}

TEST(TstringEdit, RegularExpressions) {
  Tstring g1, g2, g3;
  EXPECT_TRUE(Tstring("shot_012.ma").matchesRegexp(Tstring("([a-z]+)_([0-9]+)\\.(ma|mb)"), &g1, &g2, &g3));
  EXPECT_STREQ(g1.asC(), "shot");
  EXPECT_STREQ(g2.asC(), "012");
  EXPECT_STREQ(g3.asC(), "ma");
  EXPECT_FALSE(Tstring("xshot_1.ma").matchesRegexp(Tstring("shot_[0-9]+\\.ma")));  // anchored
  EXPECT_FALSE(Tstring("a").matchesRegexp(Tstring("(")));                          // bad pattern
  g1 = "old";
  EXPECT_TRUE(Tstring("ab").matchesRegexp(Tstring("a(x)?b"), &g1));
  EXPECT_TRUE(g1.isEmpty());
  Tstring self("key=value");
  EXPECT_TRUE(self.matchesRegexp(Tstring("[a-z]+=(.*)"), &self));
  EXPECT_STREQ(self.asC(), "value");
}

// The whole text must match, alternation included; back references keep their numbers under
// the anchoring; results agree with std::regex_match in POSIX extended mode over random
// patterns, while more patterns than the per-thread cache holds take turns.
TEST(TstringEdit, RegularExpressionsMatchTheWholeText) {
  EXPECT_TRUE(Tstring("a").matchesRegexp("a|b"));
  EXPECT_TRUE(Tstring("b").matchesRegexp("a|b"));
  EXPECT_FALSE(Tstring("ab").matchesRegexp("a|b"));
  EXPECT_FALSE(Tstring("xb").matchesRegexp("a|b"));
  EXPECT_FALSE(Tstring("ax").matchesRegexp("a|b"));
  Tstring g1, g2;
  EXPECT_TRUE(Tstring("xyxy").matchesRegexp("(x)(y)\\1\\2", &g1, &g2));
  EXPECT_STREQ(g1.asC(), "x");
  EXPECT_STREQ(g2.asC(), "y");
  EXPECT_FALSE(Tstring("xyyx").matchesRegexp("(x)(y)\\1\\2"));
  EXPECT_TRUE(Tstring("]\\1").matchesRegexp("[]\\]+1"));  // a bracket's backslash is a byte
  EXPECT_TRUE(Tstring("7]").matchesRegexp("[[:digit:]]+]|x"));
  // Nine groups and a reference to the ninth: all numbers are taken, still whole-text only.
  const Tstring nine("(a)(b)(c)(d)(e)(f)(g)(h)(i)\\9");
  Tstring g9;
  EXPECT_TRUE(Tstring("abcdefghii").matchesRegexp(nine, &g1, nullptr, nullptr, nullptr, nullptr,
                                                  nullptr, nullptr, nullptr, &g9));
  EXPECT_STREQ(g1.asC(), "a");
  EXPECT_STREQ(g9.asC(), "i");
  EXPECT_FALSE(Tstring("abcdefghiix").matchesRegexp(nine));
  EXPECT_FALSE(Tstring("xabcdefghii").matchesRegexp(nine));

  std::mt19937 rng(5);
  const char* atoms[] = {"a", "b", "(a|b)", "[ab]", "(ab|a)", "(a|b*)", "b?", "a+", "."};
  for (int round = 0; round < 600; ++round) {
    std::string pattern;
    for (int k = 1 + rng() % 3; k > 0; --k) pattern += atoms[rng() % 9];
    if (rng() % 3 == 0) pattern += "|" + std::string(atoms[rng() % 9]);
    std::string text(rng() % 5, 'a');
    for (char& ch : text) ch = "ab"[rng() % 2];
    const bool expected =
        std::regex_match(text, std::regex(pattern, std::regex::extended));
    ASSERT_EQ(Tstring(text.c_str()).matchesRegexp(Tstring(pattern.c_str())), expected)
        << "'" << text << "' ~ " << pattern;
  }
}

// Threads match with their own patterns and one common one at a time: each thread's cache is
// its own.
TEST(TstringThreads, RegularExpressionsOnManyThreads) {
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &failures] {
      const Tstring own = Tstring::cFormatString("t%d_([0-9]+)", t);
      for (int i = 0; i < 300; ++i) {
        Tstring digits;
        const Tstring text = Tstring::cFormatString("t%d_%d", t, i);
        if (!text.matchesRegexp(own, &digits) || digits.asInt32() != i) ++failures[t];
        if (!text.matchesRegexp("t[0-9]_[0-9]+|none")) ++failures[t];
        if (text.matchesRegexp(Tstring::cFormatString("t%d_x(%d)", t, i % 7))) ++failures[t];
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

TEST(TcharString, ViewsAndCompares) {
  TcharString a;
  TcharString b(nullptr);
  EXPECT_STREQ(a.value(), "");
  EXPECT_EQ(a, b);
  EXPECT_TRUE(a == nullptr);
  a = "beta";
  b.set("alpha");
  EXPECT_EQ(a.length(), 4u);
  EXPECT_TRUE(b < a && b <= a && a > b && a >= b && a != b);
  EXPECT_TRUE(a == "beta");
}

// Threads copy, compare and release strings that share bodies, and race to make the first
// wide conversion of one narrow-pending body; ThreadSanitizer checks the publication.
TEST(TstringThreads, SharedBodiesAndFirstConversion) {
  constexpr int kThreads = 8;
  for (int round = 0; round < 20; ++round) {
    const Tstring source(("shared text \xC3\xA9 round " + std::to_string(round) + "\xFF").c_str());
    const std::string fixedUtf8 =
        "shared text \xC3\xA9 round " + std::to_string(round) + "\xEF\xBF\xBD";
    const Tstring other("shared text");
    const unsigned expectedHash = ThashFunction::hash32(source.asC(), source.length(), 0);
    std::atomic<bool> go{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        while (!go.load(std::memory_order_acquire)) {
        }
        for (int i = 0; i < 200; ++i) {
          Tstring copy = source;
          Tstring copy2(copy);
          if (copy2 != source || copy2.compare(other) <= 0) bad.fetch_add(1);
          if (copy.hash() != expectedHash) bad.fetch_add(1);  // first askers fill the cache
          if (i % 7 == t % 7 && std::string(copy.asUTF8()) != fixedUtf8) bad.fetch_add(1);
          if ((i + t) % 3 == 0) {
            // Character-level queries force the shared body's conversion.
            if (copy.numChars() + 1 != copy.length() || copy.at(12) != 0xE9) bad.fetch_add(1);
          }
          if (i % 5 == 0) {
            copy2.append("!");  // detaches: the shared body is not touched
            copy2 += other;
            if (copy2.length() != source.length() + 1 + other.length()) bad.fetch_add(1);
            if (copy2.hash() == expectedHash || source.hash() != expectedHash) bad.fetch_add(1);
          }
        }
      });
    }
    go.store(true, std::memory_order_release);
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(source.refCount(), 1u);
  }
}

// One string object (its body held by it alone) read by several threads at once, as a static
// constant or a key in a table under concurrent lookups is: the first character-level query
// converts once, and every reader sees the finished wide form. ThreadSanitizer sees a conversion
// made without the lock; without it the readers still check every answer.
TEST(TstringThreads, OneObjectReadByManyThreads) {
  constexpr int kThreads = 4;
  const uint64_t conversionsBefore = Tstring::sWideConversionCount();
  for (int round = 0; round < 50; ++round) {
    const std::string bytes = "key \xC3\xA9 " + std::to_string(round) + std::string(40, 'x');
    const Tstring key(bytes.c_str());
    const Tstring set("x");
    const std::u16string units(Tstring(bytes.c_str()).asW());
    const Tstring wideKey(units.c_str());
    ASSERT_EQ(key.refCount(), 1u);
    std::atomic<bool> go{false};
    std::vector<std::string> failures(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        while (!go.load(std::memory_order_acquire)) {
        }
        const unsigned n = static_cast<unsigned>(bytes.size()) - 1;  // one two-byte character
        if (t % 2 == 0 && key.numChars() != n) failures[t] += "numChars ";
        if (key.asW()[4] != u'\u00E9' || key.asW()[n] != 0) failures[t] += "asW ";
        if (!(key == wideKey) || key.findAny(set) != static_cast<int>(n) - 40)
          failures[t] += "compare ";
      });
    }
    go.store(true, std::memory_order_release);
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], "") << "round " << round;
  }
  // Once-only: one conversion per body (three a round), whatever the number of readers.
  EXPECT_EQ(Tstring::sWideConversionCount() - conversionsBefore, 50u * 3);
}
