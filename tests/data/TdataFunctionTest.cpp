#include <velacore/data/TdataFunction.h>

#include <velacore/data/TargList.h>
#include <velacore/data/Tdata.h>
#include <velacore/data/Tfile.h>
#include <velacore/data/TiffFile.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(TdataFunctionTest, HeaderExamples) {
  Tfunction ramp({{0, 0}, {10, 1}});
  EXPECT_EQ(ramp.evaluate(5), 0.5);
  EXPECT_EQ(ramp.evaluate(-3), 0.0);
  ramp.addKey(20, 0);
  EXPECT_EQ(ramp.evaluate(15), 0.5);

  Tdata f(new TdataFunction(Tfunction({{0, 0}, {10, 1}})));
  f += Tdata(1.0);
  EXPECT_EQ(f.letterAs<TdataFunction>()->evaluate(5), 1.5);

  TfunctionMapping warp(Tfunction({{0, 0}, {1, 2}}), Tfunction({{0, 5}, {2, 7}}));
  EXPECT_EQ(warp.evaluate(0.5), 6.0);
}

TEST(TdataFunctionTest, KeysStaySortedAndEvaluateJoinsThem) {
  Tfunction f({{3, 30}, {1, 10}, {2, 20}});
  ASSERT_EQ(f.keyCount(), 3u);
  EXPECT_EQ(f.key(0).x, 1.0);
  EXPECT_EQ(f.key(2).x, 3.0);
  EXPECT_TRUE(f.addKey(2, 0));  // replaces
  EXPECT_EQ(f.keyCount(), 3u);
  EXPECT_FALSE(f.addKey(kNaN, 1));
  EXPECT_EQ(f.evaluate(1.5), 5.0);
  EXPECT_EQ(f.evaluate(1), 10.0);
  EXPECT_EQ(f.evaluate(3), 30.0);
  EXPECT_EQ(f.evaluate(1e300), 30.0);
  EXPECT_EQ(f.evaluate(-std::numeric_limits<double>::infinity()), 10.0);
  EXPECT_TRUE(std::isnan(f.evaluate(kNaN)));
  EXPECT_TRUE(f.removeKey(2));
  EXPECT_FALSE(f.removeKey(2));
  EXPECT_EQ(f.evaluate(2), 20.0);
  EXPECT_EQ(Tfunction().evaluate(4), 0.0);
  EXPECT_EQ(Tfunction({{7, -2}}).evaluate(-100), -2.0);
}

// Sums and differences of two line-joined functions are exact everywhere; products are exact
// at the keys. Checked against evaluating both operands at random points.
TEST(TdataFunctionTest, ArithmeticAgreesWithEvaluatingBothOperands) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> coord(-10, 10);
  for (int round = 0; round < 50; ++round) {
    Tfunction a, b;
    for (int i = 0; i < 6; ++i) a.addKey(coord(rng), coord(rng));
    for (int i = 0; i < 4; ++i) b.addKey(coord(rng), coord(rng));
    Tdata sum(new TdataFunction(a));
    sum += Tdata(new TdataFunction(b));
    Tdata difference(new TdataFunction(a));
    difference -= Tdata(new TdataFunction(b));
    Tdata product(new TdataFunction(a));
    product *= Tdata(new TdataFunction(b));
    for (int i = 0; i < 40; ++i) {
      const double x = coord(rng) * 1.2;
      EXPECT_NEAR(sum.letterAs<TdataFunction>()->evaluate(x), a.evaluate(x) + b.evaluate(x), 1e-9);
      EXPECT_NEAR(difference.letterAs<TdataFunction>()->evaluate(x), a.evaluate(x) - b.evaluate(x), 1e-9);
    }
    for (const Tfunction::Tkey& k : b.keys())
      EXPECT_NEAR(product.letterAs<TdataFunction>()->evaluate(k.x), a.evaluate(k.x) * k.y, 1e-9);
  }
  // With itself, and with numbers; addresses, NULL and other letters are refused.
  Tdata f(new TdataFunction(Tfunction({{0, 1}, {1, 3}})));
  f *= f;
  EXPECT_EQ(f.letterAs<TdataFunction>()->evaluate(1), 9.0);
  f /= Tdata(3);
  EXPECT_EQ(f.letterAs<TdataFunction>()->evaluate(1), 3.0);
  int x = 0;
  EXPECT_THROW(f += Tdata(static_cast<void*>(&x)), TincompatibleData);
  EXPECT_THROW(f -= Tdata::fsNULL, TincompatibleData);
  Tdata mapping(new TfunctionMapping);
  EXPECT_THROW(f += mapping, TincompatibleData);
  EXPECT_THROW(mapping += Tdata(1.0), TincompatibleData);
  EXPECT_FALSE(f == mapping);
  EXPECT_TRUE(f != Tdata(1.0));
}

TEST(TdataFunctionTest, CopiesOnWriteLeaveTheOriginalAlone) {
  Tdata original(new TfunctionMapping(Tfunction({{0, 0}, {1, 1}}), Tfunction({{0, 2}})));
  original.makeWritable();
  Tdata copy = original;
  copy.makeWritable();  // the original is the writer: a private copy
  ASSERT_NE(copy.pLetter(), original.pLetter());
  EXPECT_TRUE(copy == original);
  copy.letterAs<TfunctionMapping>()->onto().addKey(1, 5);
  EXPECT_FALSE(copy == original);
  EXPECT_EQ(original.letterAs<TfunctionMapping>()->evaluate(1), 2.0);
  EXPECT_EQ(copy.letterAs<TfunctionMapping>()->evaluate(1), 5.0);
  copy.pLetter()->reset();
  EXPECT_EQ(copy.letterAs<TfunctionMapping>()->from().keyCount(), 0u);
}

// Truncated forms, counts past the end and keys out of order are refused, and a refused read
// changes nothing: binary and text alike.
TEST(TdataFunctionTest, BadFormsAreRefusedWithoutChange) {
  const TfunctionMapping source(Tfunction({{0, 0}, {1, 2}}), Tfunction({{-1, 4}, {3, 5}}));
  TiffFile out;
  ASSERT_EQ(out.beginGroup(TiffTag("TEST")), 0);
  ASSERT_EQ(out.beginChunk(TfunctionMapping::kTag), 0);
  ASSERT_EQ(source.writeBinary(out), 0);
  ASSERT_EQ(out.endChunk(), 0);
  const std::vector<unsigned char> form(out.bytes().begin() + 20, out.bytes().end());
  ASSERT_EQ(form.size(), 2 * (4 + 2 * 16u));
  const TfunctionMapping before(Tfunction({{9, 9}}), Tfunction());
  for (unsigned n = 0; n < form.size(); ++n) {
    TfunctionMapping target(before);
    unsigned size = n;
    const void* cursor = form.data();
    EXPECT_EQ(target.readBinary(TfunctionMapping::kTag, size, cursor), -1) << n;
    EXPECT_EQ(size, n);
    EXPECT_EQ(cursor, form.data());
    EXPECT_TRUE(target == before);
  }
  std::vector<unsigned char> swapped = form;  // the first function's keys in reverse order
  std::swap_ranges(swapped.begin() + 4, swapped.begin() + 20, swapped.begin() + 20);
  std::vector<unsigned char> huge = form;
  huge[0] = 0x10;  // 2^28 keys
  for (const auto* bad : {&swapped, &huge}) {
    TdataFunction target;
    unsigned size = unsigned(bad->size());
    const void* cursor = bad->data();
    EXPECT_EQ(target.readBinary(TdataFunction::kTag, size, cursor), -1);
  }
  unsigned size = unsigned(form.size());
  const void* cursor = form.data();
  TfunctionMapping back;
  ASSERT_EQ(back.readBinary(TfunctionMapping::kTag, size, cursor), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(back == source);

  for (const char* text : {"2 1 0 0 0", "3 0 0 1 1", "x", "1 nan 2", "", "1 0"}) {
    TdataFunction target(Tfunction({{1, 1}}));
    const TargList words(text);
    unsigned at = 0;
    EXPECT_EQ(target.readASCII(words, at, 0), -1) << text;
    EXPECT_EQ(at, 0u);
    EXPECT_EQ(target.function().keyCount(), 1u);
  }
  Tfile written;
  ASSERT_EQ(source.writeASCII(written, 0), 0);
  const TargList words(written.text().c_str());
  unsigned at = 0;
  TfunctionMapping fromText;
  ASSERT_EQ(fromText.readASCII(words, at, 0), 0) << written.text();
  EXPECT_EQ(at, words.count());
  EXPECT_TRUE(fromText == source);
}

}  // namespace
