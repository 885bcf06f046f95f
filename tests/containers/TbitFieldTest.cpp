// The growable TbitFieldN and the fixed-width TbitField16..128.
#include <velacore/containers/TbitField.h>
#include <velacore/containers/TbitFieldN.h>

#include <gtest/gtest.h>

TEST(TbitFieldN, GrowsOnlyWhenSettingPastTheEnd) {
  TbitFieldN b;
  EXPECT_FALSE(b.testBit(1000));
  b.setBit(1000, false);
  EXPECT_EQ(b.wordCount(), 0u);
  b.setBit(70, true);
  EXPECT_EQ(b.wordCount(), 3u);
  EXPECT_TRUE(b.testBit(70));
  EXPECT_FALSE(b.testBit(69));
  EXPECT_TRUE(b.anySet());
  EXPECT_TRUE(b.anyNotSet());
  b.setAll();
  EXPECT_FALSE(b.anyNotSet());
  EXPECT_TRUE(b.testBit(95));
  EXPECT_FALSE(b.testBit(96));
  b.resetAll();
  EXPECT_FALSE(b.anySet());
  EXPECT_EQ(b.wordCount(), 3u);
}

TEST(TbitFieldN, SubsetTestsCompareWords) {
  TbitFieldN one, two;
  one.setBit(0, true);
  two.setBit(40, true);
  two.setBit(40, false);  // two clear words
  EXPECT_FALSE(one.testBits(two));  // fewer words answers false, even against zeros
  EXPECT_TRUE(two.testBits(TbitFieldN()));
  EXPECT_FALSE(one.testAnyBitsNotSet(two));

  TbitFieldN wide;
  wide.setBit(0, true).setBit(33, true);
  EXPECT_TRUE(wide.testBits(one));
  EXPECT_FALSE(one.testBits(wide));
  EXPECT_TRUE(one.testAnyBitsNotSet(wide));  // bit 33 lies past one's end
  EXPECT_FALSE(wide.testAnyBitsNotSet(one));
  one.setBit(5, true);
  EXPECT_TRUE(wide.testAnyBitsNotSet(one));
}

template <class T>
class TbitFieldWidth : public ::testing::Test {};
using Widths = ::testing::Types<TbitField16, TbitField32, TbitField64, TbitField128>;
TYPED_TEST_SUITE(TbitFieldWidth, Widths);

TYPED_TEST(TbitFieldWidth, SetTestAndWholeValueOperations) {
  TypeParam b;
  constexpr unsigned n = TypeParam::kBits;
  EXPECT_EQ(sizeof(TypeParam) * 8, n);
  EXPECT_FALSE(b.anySet());
  b.setBit(0, true).setBit(n - 1, true);
  EXPECT_TRUE(b.testBit(0));
  EXPECT_TRUE(b.testBit(n - 1));
  EXPECT_FALSE(b.testBit(n / 2));
  b.setBit(0, false);
  EXPECT_FALSE(b.testBit(0));
  EXPECT_TRUE(b.anySet());
  b.setAll();
  for (unsigned i = 0; i < n; ++i) ASSERT_TRUE(b.testBit(i));
  TypeParam c = b;
  EXPECT_EQ(c, b);
  b.resetAll();
  EXPECT_FALSE(b.anySet());
  EXPECT_NE(c, b);
}
