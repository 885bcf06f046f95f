#include <velacore/names/TnameString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

int sign(int v) { return (v > 0) - (v < 0); }
int cmp(const char* a, const char* b) { return TnameString::strnumcmp(a, b); }

TEST(TnameString, HeaderExample) {
  TnameString a("node2"), b("node10");
  EXPECT_TRUE(a < b);
  EXPECT_EQ(TnameString("box12").baseString(TnameString::kTrailingDigits), Tstring("box"));
  EXPECT_EQ(TnameString("item009").versionStringIncrement(), Tstring("010"));
}

TEST(TnameString, StrnumcmpWalk) {
  EXPECT_LT(cmp("a9", "a10"), 0);
  EXPECT_GT(cmp("a10", "a9b"), 0);
  EXPECT_EQ(cmp("a010", "a9"), '0' - '9');  // a run starting with 0 is not a number
  EXPECT_NE(cmp("a01", "a1"), 0);
  EXPECT_EQ(cmp("", ""), 0);
  EXPECT_EQ(cmp(nullptr, ""), 0);
  EXPECT_LT(cmp("abc", "abcd"), 0);
  EXPECT_GT(cmp("abcd", "abc"), 0);
  EXPECT_LT(cmp("node2", "node10"), 0);
  EXPECT_EQ(cmp("n12x3", "n12x3"), 0);
  EXPECT_LT(cmp("n12x3", "n12x20"), 0);  // the walk goes on behind equal runs
  EXPECT_LT(cmp("n12", "n12x"), 0);
  EXPECT_GT(cmp("n12x", "n12"), 0);
  EXPECT_LT(cmp("a\xc3\xa9", "a!"), 0);  // bytes above 127 sort first
  EXPECT_GT(cmp("\x80", ""), 0);
  EXPECT_GT(cmp("box@", "box99999"), 0);  // the unique-naming probe sorts after every number
  EXPECT_LT(cmp("box@", "box_1"), 0);
}

TEST(TnameString, Operators) {
  const TnameString a("x2"), b("x10");
  EXPECT_TRUE(a < b && a <= b && b > a && b >= a && a != b);
  EXPECT_TRUE(a == TnameString("x2") && a <= "x2" && a >= "x2" && a == "x2");
  EXPECT_TRUE(a < "x10" && b > "x9" && a != "x02");
  EXPECT_EQ(a.compare(b), cmp("x2", "x10"));
  std::vector<TnameString> v{"n10", "n2", "n1", "m", "n02"};
  std::sort(v.begin(), v.end());
  EXPECT_EQ(v[0], Tstring("m"));
  EXPECT_EQ(v[1], Tstring("n02"));
  EXPECT_EQ(v[4], Tstring("n10"));
}

TEST(TnameString, BaseAndVersion) {
  using F = TnameString;
  EXPECT_EQ(F("box12").baseString(F::kTrailingDigits), Tstring("box"));
  EXPECT_EQ(F("123").baseString(F::kTrailingDigits), Tstring(""));
  EXPECT_EQ(F("12ab3").baseString(F::kLeadingDigits), Tstring("ab3"));
  EXPECT_EQ(F("12ab3").baseString(F::kBothDigits), Tstring("ab"));
  EXPECT_EQ(F("").baseString(F::kBothDigits), Tstring(""));
  EXPECT_EQ(F("x000").versionString(), Tstring("0"));
  EXPECT_EQ(F("x0070").versionString(), Tstring("70"));
  EXPECT_EQ(F("x").versionString(), Tstring(""));
  EXPECT_EQ(F("x").versionStringIncrement(), Tstring("1"));
  EXPECT_EQ(F("x9").versionStringIncrement(), Tstring("10"));
  EXPECT_EQ(F("x0009").versionStringIncrement(), Tstring("0010"));
  EXPECT_EQ(F("x007").versionStringIncrement(), Tstring("008"));
  EXPECT_EQ(F("x099").versionStringIncrement(), Tstring("100"));
  EXPECT_EQ(F("x99").versionStringIncrement(), Tstring("100"));
  EXPECT_EQ(F("42").versionStringIncrement(), Tstring(""));
  EXPECT_EQ(F("").versionStringIncrement(), Tstring("1"));
  EXPECT_LT(F("a9").versionCompare(F("b10")), 0);
  EXPECT_EQ(F("a007").versionCompare(F("b7")), 0);
}

// Random names mixing letters, digit runs, leading zeros and high bytes.
std::string randomName(std::mt19937& rng) {
  static const char pieces[] = {'a', 'b', '_', '0', '1', '9', '5', '\x80', '\xe9', '@'};
  std::string s;
  const int n = static_cast<int>(rng() % 7);
  for (int i = 0; i < n; ++i) s += pieces[rng() % sizeof pieces];
  return s;
}

TEST(TnameString, StrnumcmpIsATotalOrder) {
  std::mt19937 rng(12345);
  std::vector<std::string> names;
  for (int i = 0; i < 300; ++i) names.push_back(randomName(rng));
  for (const auto& a : names) {
    for (const auto& b : names) {
      const int ab = cmp(a.c_str(), b.c_str());
      ASSERT_EQ(sign(ab), -sign(cmp(b.c_str(), a.c_str()))) << a << " / " << b;
      ASSERT_EQ(ab == 0, a == b) << a << " / " << b;
    }
  }
  // Transitivity over every triple of a smaller sample.
  names.resize(70);
  for (const auto& a : names)
    for (const auto& b : names)
      for (const auto& c : names)
        if (cmp(a.c_str(), b.c_str()) <= 0 && cmp(b.c_str(), c.c_str()) <= 0) {
          ASSERT_LE(cmp(a.c_str(), c.c_str()), 0) << a << " / " << b << " / " << c;
        }
}

TEST(TnameString, AgreesWithNumbersOnPlainNumerals) {
  std::mt19937_64 rng(7);
  for (int i = 0; i < 5000; ++i) {
    const unsigned long long a = rng() >> (rng() % 64), b = rng() >> (rng() % 64);
    const std::string sa = std::to_string(a), sb = std::to_string(b);
    if (a == 0 || b == 0) continue;  // "0" starts with a zero: not a number
    ASSERT_EQ(sign(cmp(sa.c_str(), sb.c_str())), (a > b) - (a < b)) << sa << " / " << sb;
    const std::string na = "n" + sa + "x", nb = "n" + sb + "x";
    ASSERT_EQ(sign(cmp(na.c_str(), nb.c_str())), (a > b) - (a < b));
  }
}

}  // namespace
