// TregExp: the dialect, compile errors, whole-text versus leftmost matching, and differential runs
// against an independent reference interpreter, std::regex and fnmatch.
#include <velacore/strings/TregExp.h>

#include <velacore/strings/Tstring.h>

#include <gtest/gtest.h>

#include <fnmatch.h>

#include <bitset>
#include <cstring>
#include <random>
// libstdc++'s regex automaton trips a false maybe-uninitialized warning under sanitizers.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

// {start offset, end offset} of firstMatch, or {-1, -1}.
std::pair<long, long> find(const TregExp& re, const std::string& text) {
  const char* end = text.c_str();
  const char* start = re.firstMatch(&end);
  if (!start) return {-1, -1};
  return {start - text.c_str(), end - text.c_str()};
}

using Span = std::pair<long, long>;
const Span kNone{-1, -1};

// ---- Reference: a direct recursive interpreter of the dialect over the pattern's items ----
struct RefItem {
  enum Kind { Bytes, Ref, Open, Close } kind = Bytes;
  std::bitset<256> set;  // the bytes one repetition may consume (Bytes)
  int group = 0;
  int min = 1, max = 1;
  bool counted = false;
};
struct RefPattern {
  std::vector<RefItem> items;
  const char* error = nullptr;
};

RefPattern refCompile(const std::string& p) {
  RefPattern r;
  auto fail = [&](const char* e) { return RefPattern{{}, e}; };
  if (p.empty()) return fail("Void search string");
  int groups = 0;
  std::vector<int> open;
  std::bitset<9> closed;
  bool haveItem = false;  // the last item may take `+` or a count
  auto bytes = [&](std::bitset<256> s) {
    s.reset(0);
    r.items.push_back({RefItem::Bytes, s});
    haveItem = true;
  };
  auto lit = [&](unsigned char c) { bytes(std::bitset<256>().set(c)); };
  for (size_t i = 0; i < p.size(); ++i) {
    const unsigned char c = p[i];
    if (c == '(') {
      if (groups == 9) return fail("Too many (");
      open.push_back(groups);
      r.items.push_back({RefItem::Open, {}, groups++});
      haveItem = false;
    } else if (c == ')') {
      if (open.empty()) return fail("( ) imbalance");
      closed.set(open.back());
      r.items.push_back({RefItem::Close, {}, open.back()});
      open.pop_back();
      haveItem = false;
    } else if (c == '*' || c == '?') {
      bytes(std::bitset<256>().set());
      if (c == '*') r.items.back().min = 0, r.items.back().max = 20000;
    } else if (c == '+' && haveItem) {
      if (!r.items.back().counted) r.items.back().min = 0, r.items.back().max = 20000;
    } else if (c == '{' && haveItem && r.items.back().kind != RefItem::Ref) {
      std::vector<long> nums;
      size_t j = i + 1;
      bool comma = false;
      for (;;) {
        if (nums.size() == 2) return fail("More than 2 numbers given in { }");
        if (!isdigit(p[j])) {
          if (comma && p[j] == '}') break;
          return fail("{ } imbalance");
        }
        long v = 0;
        while (isdigit(p[j])) {
          v = v * 10 + (p[j++] - '0');
          if (v > 255) return fail("Range endpoint too large");
        }
        nums.push_back(v);
        if (p[j] == '}') break;
        if (p[j] != ',') return fail("{ } imbalance");
        comma = true;
        ++j;
      }
      long lo = nums[0], hi = nums.size() == 2 ? nums[1] : comma ? 255 : lo;
      if (lo > hi) return fail("First number exceeds second in { }");
      RefItem& it = r.items.back();
      it.min = int(lo), it.max = hi == 255 ? 20000 : int(hi), it.counted = true;
      i = j;
    } else if (c == '\\' && i + 1 < p.size()) {
      const unsigned char n = p[++i];
      if (n >= '1' && n <= '9') {
        if (!closed[n - '1']) return fail("``\\digit'' out of range");
        r.items.push_back({RefItem::Ref, {}, n - '1'});
        haveItem = true;
      } else {
        lit(n == 'f' ? '\f' : n == 'n' ? '\n' : n == 't' ? '\t' : n);
      }
    } else if (c == '[') {
      size_t j = i + 1;
      const bool neg = j < p.size() && p[j] == '^';
      j += neg;
      std::bitset<256> s;
      for (size_t k = j;; ++k) {
        if (k >= p.size()) return fail("[ ] imbalance");
        const unsigned char m = p[k];
        if (m == ']' && k > j) {
          i = k;
          break;
        }
        if (m == '-' && k > j && k + 1 < p.size() && p[k + 1] != ']') {
          for (unsigned x = static_cast<unsigned char>(p[k - 1]); x <= (unsigned char)p[k + 1]; ++x)
            s.set(x);
          ++k;
        } else {
          s.set(m);
        }
      }
      bytes(neg ? ~s : s);
    } else {
      lit(c);
    }
  }
  if (!open.empty()) return fail("( ) imbalance");
  return r;
}

long refMatchAt(const RefPattern& re, const std::string& t, size_t i, long pos,
                std::vector<Span>& caps, bool whole) {
  if (i == re.items.size()) return !whole || pos == long(t.size()) ? pos : -1;
  const RefItem& it = re.items[i];
  if (it.kind == RefItem::Open || it.kind == RefItem::Close) {
    (it.kind == RefItem::Open ? caps[it.group].first : caps[it.group].second) = pos;
    return refMatchAt(re, t, i + 1, pos, caps, whole);
  }
  long unit = 1;
  int n = 0;
  if (it.kind == RefItem::Ref) {
    const Span g = caps[it.group];
    unit = g.second - g.first;
    const std::string sub = t.substr(g.first, unit);
    while (n < it.max && t.compare(pos + n * unit, unit, sub) == 0 && unit) ++n;
    if (unit == 0) n = it.min;
  } else {
    while (n < it.max && it.set[static_cast<unsigned char>(t[pos + n])]) ++n;
  }
  for (int k = n; k >= it.min; --k) {
    const long r = refMatchAt(re, t, i + 1, pos + k * unit, caps, whole);
    if (r >= 0) return r;
  }
  return -1;
}

Span refFind(const RefPattern& re, const std::string& t) {
  std::vector<Span> caps(9);
  for (long s = 0; s <= long(t.size()); ++s) {
    const long e = refMatchAt(re, t, 0, s, caps, false);
    if (e >= 0) return {s, e};
  }
  return kNone;
}

}  // namespace

TEST(TregExp, WildcardsPlusAndCounts) {
  TregExp re("a+b");  // `+` is zero or more
  EXPECT_TRUE(re.match("b"));
  EXPECT_TRUE(re.match("aaab"));
  EXPECT_FALSE(re.match("aaa"));
  EXPECT_TRUE(TregExp("x*y").match("x123y"));
  EXPECT_TRUE(TregExp("a?c").match("abc"));
  EXPECT_FALSE(TregExp("a?c").match("ac"));
  EXPECT_TRUE(TregExp("+a").match("+a"));   // at the start `+` is literal
  EXPECT_TRUE(TregExp("(+)").match("+"));   // ...and after a group start
  EXPECT_TRUE(TregExp("{2}").match("{2}"));  // a count needs an item
  EXPECT_TRUE(TregExp("a.^$").match("a.^$"));
  EXPECT_TRUE(TregExp("\\*\\?\\+\\(\\[\\\\").match("*?+([\\"));
  EXPECT_TRUE(TregExp("\\t\\n\\f").match("\t\n\f"));
  EXPECT_TRUE(TregExp("ab\\").match("ab\\"));  // a trailing backslash is itself

  EXPECT_EQ(find(TregExp("a{2,3}"), "caaad"), Span(1, 4));
  EXPECT_EQ(find(TregExp("a{2}"), "caaad"), Span(1, 3));
  EXPECT_EQ(find(TregExp("a{2,}"), "caaaaad"), Span(1, 6));
  EXPECT_EQ(find(TregExp("a{0}b"), "aab"), Span(2, 3));
  EXPECT_EQ(find(TregExp("?{3}"), "abcde"), Span(0, 3));
  EXPECT_EQ(find(TregExp("a{255}"), std::string(300, 'a')), Span(0, 300));  // 255: unbounded
  EXPECT_EQ(find(TregExp("a{254}"), std::string(300, 'a')), Span(0, 254));
  // Unbounded repetition stops after 20000.
  const std::string longText(25000, 'a');
  EXPECT_EQ(find(TregExp("a+"), longText), Span(0, 20000));
  EXPECT_EQ(find(TregExp("*"), longText), Span(0, 20000));
  EXPECT_EQ(find(TregExp("*b"), std::string(20100, 'a') + "b"), Span(100, 20101));
}

TEST(TregExp, GroupsBackReferencesAndClasses) {
  EXPECT_TRUE(TregExp("(ab)\\1").match("abab"));
  EXPECT_FALSE(TregExp("(ab)\\1").match("abac"));
  EXPECT_TRUE(TregExp("(a+)b\\1").match("aabaa"));
  EXPECT_TRUE(TregExp("(a)(b)(c)\\3\\2\\1").match("abccba"));
  EXPECT_TRUE(TregExp("(x)\\1+y").match("xxxxy"));
  EXPECT_TRUE(TregExp("()\\1+a").match("a"));  // repeating an empty reference
  EXPECT_TRUE(TregExp("((a)b)\\2\\1").match("abaab"));

  EXPECT_TRUE(TregExp("[]x]").match("]"));
  EXPECT_TRUE(TregExp("[]x]").match("x"));
  EXPECT_TRUE(TregExp("[a-]").match("-"));
  EXPECT_TRUE(TregExp("[^]]").match("a"));
  EXPECT_FALSE(TregExp("[^]]").match("]"));
  EXPECT_TRUE(TregExp("[a-cx-z]+").match("abczyx"));
  EXPECT_FALSE(TregExp("[a-c]").match("d"));
  EXPECT_FALSE(TregExp("[c-a]").match("b"));  // a reversed range adds nothing
  EXPECT_TRUE(TregExp("[-a]").match("-"));
  // Bytes of 128 and above: never in an ASCII class, always in a negated one.
  EXPECT_FALSE(TregExp("[a-z]").match("\xe9"));
  EXPECT_TRUE(TregExp("[^a-z]").match("\xe9"));
  EXPECT_TRUE(TregExp("[\xe0-\xef]+").match("\xe9\xe0"));
  EXPECT_FALSE(TregExp("[\xe0-\xef]").match("a"));
  EXPECT_TRUE(TregExp("[^\xe9]").match("a"));
  EXPECT_FALSE(TregExp("[^\xe9]").match("\xe9"));
  EXPECT_TRUE(TregExp("\xc3\xa9?").match("\xc3\xa9\xff"));
  EXPECT_EQ(find(TregExp("[^a]"), "aaa"), kNone);  // the terminator is never consumed
}

TEST(TregExp, CompileErrorsLeaveAnUsableObject) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "Void search string"},
      {"((((((((((a))))))))))", "Too many ("},
      {"()()()()()()()()()(", "Too many ("},
      {"a)", "( ) imbalance"},
      {"(a", "( ) imbalance"},
      {"a{x}", "{ } imbalance"},
      {"a{1", "{ } imbalance"},
      {"a{,2}", "{ } imbalance"},
      {"a{256}", "Range endpoint too large"},
      {"a{1,999999999999}", "Range endpoint too large"},
      {"a{1,2,3}", "More than 2 numbers given in { }"},
      {"a{3,2}", "First number exceeds second in { }"},
      {"\\1(ab)", "``\\digit'' out of range"},
      {"(a\\1)", "``\\digit'' out of range"},
      {"[abc", "[ ] imbalance"},
      {"[]", "[ ] imbalance"},
      {"[^", "[ ] imbalance"},
  };
  TregExp re;
  EXPECT_FALSE(re.isValid());
  for (const auto& [pattern, message] : cases) {
    SCOPED_TRACE(pattern);
    EXPECT_FALSE(re.setPattern(pattern));
    EXPECT_FALSE(re.isValid());
    EXPECT_STREQ(re.error(), message);
    // An invalid object never matches and leaves the text pointer alone.
    const char* text = "anything";
    EXPECT_EQ(re.firstMatch(&text), nullptr);
    EXPECT_STREQ(text, "anything");
    EXPECT_FALSE(re.match(""));
  }
  EXPECT_TRUE(re.setPattern("()()()()()()()()(a)\\9"));
  EXPECT_EQ(re.error(), nullptr);
  EXPECT_TRUE(re.match("aa"));
  EXPECT_FALSE(re.setPattern(nullptr));
  EXPECT_EQ(re.firstMatch(nullptr), nullptr);
  EXPECT_FALSE(TregExp("a").match(nullptr));
}

TEST(TregExp, WholeTextMatchVersusLeftmostMatch) {
  const TregExp ab("ab");
  EXPECT_FALSE(ab.match("abc"));
  EXPECT_EQ(find(ab, "abc"), Span(0, 2));
  EXPECT_EQ(find(ab, "xxab"), Span(2, 4));
  EXPECT_EQ(find(TregExp("b+"), "aaa"), Span(0, 0));  // an empty match at the start
  EXPECT_EQ(find(TregExp("x{0}"), ""), Span(0, 0));
  EXPECT_EQ(find(TregExp("[^a]+"), ""), Span(0, 0));
  // A whole-text match may need a shorter choice than the leftmost match's first path.
  const TregExp tail("(ab)?{0,1}\\1+");
  EXPECT_EQ(find(tail, "ababab"), Span(0, 3));
  EXPECT_TRUE(tail.match("ababab"));

  TregExp copy(tail), moved(std::move(copy));
  EXPECT_FALSE(copy.isValid());
  EXPECT_TRUE(moved.match("ababab"));
  EXPECT_EQ(moved.programSize(), tail.programSize());
  copy = moved;
  EXPECT_TRUE(copy.match("abxab"));

  TregExp fromText{Tstring("x[0-9]{2}")};
  EXPECT_TRUE(fromText.match(Tstring("x42")));
  EXPECT_FALSE(fromText.setPattern(Tstring()));
  EXPECT_STREQ(fromText.error(), "Void search string");
}

TEST(TregExp, AgreesWithReferenceInterpreter) {
  const char* const tokens[] = {"a", "b", "?", "*", "+", "(", ")", "[", "]", "^", "-",
                                "{", "}", "1", "2", ",", "\\", "\xe9", "{0,1}", "\\1"};
  const char textBytes[] = "ab-]\xe9";
  std::mt19937 rng(20240607);
  int valid = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string pattern;
    for (int n = 1 + int(rng() % 8); n > 0; --n) pattern += tokens[rng() % std::size(tokens)];
    const RefPattern ref = refCompile(pattern);
    TregExp re(pattern.c_str());
    ASSERT_STREQ(re.error(), ref.error) << pattern;
    if (!re.isValid()) continue;
    ++valid;
    for (int k = 0; k < 8; ++k) {
      std::string text;
      for (int n = int(rng() % 9); n > 0; --n) text += textBytes[rng() % 5];
      ASSERT_EQ(find(re, text), refFind(ref, text)) << pattern << " / " << text;
      std::vector<Span> caps(9);
      ASSERT_EQ(re.match(text.c_str()), refMatchAt(ref, text, 0, 0, caps, true) >= 0)
          << pattern << " / " << text;
    }
  }
  EXPECT_GT(valid, 1000);
  // Wildcard-heavy patterns on longer texts: enough backtracking that failed states get
  // remembered, which must not change any answer.
  const char* const heavy[] = {"*", "*", "?", "a", "a", "b", "a+", "[ab]", "(a*)", "\\1"};
  for (int round = 0; round < 500; ++round) {
    std::string pattern, text;
    for (int n = 3 + int(rng() % 4); n > 0; --n) pattern += heavy[rng() % std::size(heavy)];
    if (round % 2) pattern += "[c]";  // never in the text: every state gets explored
    for (int n = 30 + int(rng() % 10); n > 0; --n) text += "aaaab"[rng() % 5];
    const RefPattern ref = refCompile(pattern);
    const TregExp re(pattern.c_str());
    if (!re.isValid()) continue;
    ASSERT_EQ(find(re, text), refFind(ref, text)) << pattern << " / " << text;
    std::vector<Span> caps(9);
    ASSERT_EQ(re.match(text.c_str()), refMatchAt(ref, text, 0, 0, caps, true) >= 0)
        << pattern << " / " << text;
  }
}

TEST(TregExp, AgreesWithStdRegexAndFnmatch) {
  // Each token in our dialect and in ECMAScript; both backtrack greedily, so leftmost matches
  // agree in start and end.
  const std::pair<const char*, const char*> items[] = {
      {"a", "a"}, {"b", "b"}, {"?", "[\\s\\S]"}, {"*", "[\\s\\S]*"}, {"[ab]", "[ab]"},
      {"[^a]", "[^a]"}};
  const std::pair<const char*, const char*> counts[] = {
      {"", ""}, {"+", "*"}, {"{1,2}", "{1,2}"}, {"{2}", "{2}"}, {"{0,}", "*"}};
  std::mt19937 rng(7);
  for (int round = 0; round < 600; ++round) {
    std::string ours, ecma;
    bool group = false;
    for (int n = 1 + int(rng() % 5); n > 0; --n) {
      if (!group && rng() % 4 == 0) ours += "(", ecma += "(", group = true;
      const auto& item = items[rng() % std::size(items)];
      const auto& count = counts[rng() % std::size(counts)];
      ours += item.first, ecma += item.second;
      if (ours.back() != '*') ours += count.first, ecma += count.second;
      if (group && rng() % 2) ours += ")\\1", ecma += ")\\1", group = false;
    }
    if (group) ours += ")", ecma += ")";
    const TregExp re(ours.c_str());
    ASSERT_TRUE(re.isValid()) << ours;
    const std::regex peer(ecma);
    for (int k = 0; k < 6; ++k) {
      std::string text;
      // Some texts long enough for the search's table-driven skipping.
      for (int n = int(rng() % (k == 0 ? 90 : 10)); n > 0; --n) text += "abcccc"[rng() % 6];
      std::smatch m;
      const Span expected = std::regex_search(text, m, peer)
                                ? Span(m.position(0), m.position(0) + m.length(0))
                                : kNone;
      ASSERT_EQ(find(re, text), expected) << ours << " ~ " << ecma << " / " << text;
    }
  }
  // Pure wildcard patterns are globs: whole-text match equals fnmatch.
  for (int round = 0; round < 3000; ++round) {
    std::string glob, text;
    for (int n = 1 + int(rng() % 6); n > 0; --n) glob += "ab?*"[rng() % 4];
    for (int n = int(rng() % 8); n > 0; --n) text += "ab"[rng() % 2];
    ASSERT_EQ(TregExp(glob.c_str()).match(text.c_str()),
              fnmatch(glob.c_str(), text.c_str(), 0) == 0)
        << glob << " / " << text;
  }
}

TEST(TregExp, SharedObjectMatchesFromManyThreads) {
  const TregExp re("([a-z]+)_([0-9]{2,3})\\1");
  const std::string hit = "xx abc_123abc yy", miss = "abc-1234abd";
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        failures[t] += find(re, hit) != Span(3, 13);
        failures[t] += find(re, miss) != kNone;
        failures[t] += !re.match("q_12q") || re.match("q_12r");
      }
    });
  }
  for (auto& th : threads) th.join();
  for (int f : failures) EXPECT_EQ(f, 0);
}

TEST(TregExp, HostileInputStaysBounded) {
  // Deep patterns use the heap, not the call stack; long texts are fine.
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "a+";
  const TregExp re(deep.c_str());
  ASSERT_TRUE(re.isValid());
  EXPECT_TRUE(re.match(std::string(50000, 'a').c_str()));
  EXPECT_EQ(find(re, "bbb"), Span(0, 0));
  std::string bytes;
  for (int c = 1; c < 256; ++c) bytes += char(c);
  TregExp any(bytes.c_str());  // every byte value as a pattern
  EXPECT_TRUE(any.isValid() || any.error());
  // Many wildcards against a long text that almost matches: bounded, not exponential.
  const std::string as(1000, 'a');
  EXPECT_EQ(find(TregExp("*a*a*a*a*a*a*b"), "b" + as), kNone);
  EXPECT_FALSE(TregExp("*a*a*a*a*a*a*b").match(("b" + as).c_str()));
  EXPECT_EQ(find(TregExp("a+a+a+a+a+a+b"), as + "cb"), Span(1001, 1002));
  // ...also when a back reference makes the outcome depend on a group's text.
  EXPECT_EQ(find(TregExp("(a?)*?*?*?*?*?*?*?*?[c]\\1"), std::string(40, 'a')), kNone);
}
