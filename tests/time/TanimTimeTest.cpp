// Animation time: the unit table, rounding and saturation, the coarse and disk forms.
#include <velacore/base/TbigEndian.h>
#include <velacore/time/TanimTime.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

// Resets the process-wide settings each test may change.
class TanimTimeTest : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    TanimTime::setGlobalCurrentTimeUnit(kTimeFilm);
    TanimTime::setCurrentFileTickDuration(TanimTime::kTicksPerSecond);
  }
};

// Each unit's rate as a fraction num/den of units per second, written independently of the
// library's tick table.
struct Rate {
  TtimeUnitSystem unit;
  std::int64_t num, den;
};
const Rate kRates[] = {
    {kTimeHours, 1, 3600},
    {kTimeMinutes, 1, 60},
    {kTimeSeconds, 1, 1},
    {kTimeMilliseconds, 1000, 1},
    {kTimeGames, 15, 1},
    {kTimeFilm, 24, 1},
    {kTimePAL, 25, 1},
    {kTimeNTSC, 30, 1},
    {kTimeShowScan, 48, 1},
    {kTimePALField, 50, 1},
    {kTimeNTSCField, 60, 1},
    {kTime2FPS, 2, 1},
    {kTime3FPS, 3, 1},
    {kTime4FPS, 4, 1},
    {kTime5FPS, 5, 1},
    {kTime6FPS, 6, 1},
    {kTime8FPS, 8, 1},
    {kTime10FPS, 10, 1},
    {kTime12FPS, 12, 1},
    {kTime16FPS, 16, 1},
    {kTime20FPS, 20, 1},
    {kTime40FPS, 40, 1},
    {kTime75FPS, 75, 1},
    {kTime80FPS, 80, 1},
    {kTime100FPS, 100, 1},
    {kTime120FPS, 120, 1},
    {kTime125FPS, 125, 1},
    {kTime150FPS, 150, 1},
    {kTime200FPS, 200, 1},
    {kTime240FPS, 240, 1},
    {kTime250FPS, 250, 1},
    {kTime300FPS, 300, 1},
    {kTime375FPS, 375, 1},
    {kTime400FPS, 400, 1},
    {kTime500FPS, 500, 1},
    {kTime600FPS, 600, 1},
    {kTime750FPS, 750, 1},
    {kTime1200FPS, 1200, 1},
    {kTime1500FPS, 1500, 1},
    {kTime2000FPS, 2000, 1},
    {kTime3000FPS, 3000, 1},
    {kTime6000FPS, 6000, 1},
    {kTime23_976FPS, 24000, 1001},
    {kTime29_97FPS, 30000, 1001},
    {kTime29_97DF, 30000, 1001},
    {kTime47_952FPS, 48000, 1001},
    {kTime59_94FPS, 60000, 1001},
    {kTime44100FPS, 44100, 1},
    {kTime48000FPS, 48000, 1},
    {kTime90FPS, 90, 1},
};

}  // namespace

TEST_F(TanimTimeTest, EveryUnitIsAWholeNumberOfTicks) {
  ASSERT_EQ(std::size(kRates), static_cast<std::size_t>(kTimeNoUnit));
  for (std::size_t i = 0; i < std::size(kRates); ++i) {
    const Rate& r = kRates[i];
    ASSERT_EQ(r.unit, static_cast<TtimeUnitSystem>(i));
    EXPECT_EQ(r.num * TanimTime::kTicksPerUnit[r.unit], TanimTime::kTicksPerSecond * r.den)
        << "unit " << r.unit;
    EXPECT_EQ(TanimTime(1.0, r.unit).inTicks(), TanimTime::kTicksPerUnit[r.unit]);
    EXPECT_EQ(TanimTime::isColorTvNonIntegralFrameRate(r.unit), r.den == 1001) << r.unit;
    EXPECT_EQ(TanimTime::isDropFrameRate(r.unit), r.unit == kTime29_97DF);
  }
  // 1000 frames at 23.976 last as long as 1001 at 24.
  EXPECT_EQ(TanimTime(1000.0, kTime23_976FPS), TanimTime(1001.0, kTimeFilm));
  EXPECT_EQ(TanimTime(1000.0, kTime23_976FPS).inTicks(), 5885880000);

  // kTimeCurrentUnit resolves to the current unit in the rate queries too.
  TanimTime::setGlobalCurrentTimeUnit(kTime29_97DF);
  EXPECT_TRUE(TanimTime::isDropFrameRate(kTimeCurrentUnit));
  EXPECT_TRUE(TanimTime::isColorTvNonIntegralFrameRate(kTimeCurrentUnit));
}

TEST_F(TanimTimeTest, HeaderExample) {
  TanimTime t(1.5, kTimeFilm);
  EXPECT_EQ(t.inTicks(), 8820000);
  EXPECT_DOUBLE_EQ(t.valueInThisUnit(kTimeNTSC), 1.875);
  t += TanimTime(2.0, kTimeSeconds);
  EXPECT_EQ(t.inTicks(), 8820000 + 2 * TanimTime::kTicksPerSecond);
  TanimTime::setGlobalCurrentTimeUnit(kTimePAL);
  ASSERT_TRUE(t.setValueFromString("01:00:00:12"));
  EXPECT_EQ(t.inTicks(), 3600 * TanimTime::kTicksPerSecond + 12 * 5644800);
}

TEST_F(TanimTimeTest, SetValueAndValueInThisUnit) {
  TanimTime t(1.5, kTimeFilm);
  EXPECT_EQ(t.inTicks(), 8820000);
  EXPECT_DOUBLE_EQ(t.valueInThisUnit(kTimeNTSC), 1.875);
  EXPECT_DOUBLE_EQ(t.inDoubleSeconds(), 0.0625);
  EXPECT_EQ(t.valueInThisUnit(kTimeNoUnit), 0.0);

  t.setValue(123.0, kTimeNoUnit);  // no unit: unchanged
  EXPECT_EQ(t.inTicks(), 8820000);
  t.setValue(77.0, static_cast<TtimeUnitSystem>(60));  // past the table: ticks
  EXPECT_EQ(t.inTicks(), 77);
  EXPECT_EQ(t.valueInThisUnit(static_cast<TtimeUnitSystem>(60)), 77.0);

  TanimTime::setGlobalCurrentTimeUnit(kTimePAL);
  EXPECT_EQ(TanimTime::globalCurrentTicksPerUnit(), 5644800.0);
  t.setValue(2.0, kTimeCurrentUnit);
  EXPECT_EQ(t.inTicks(), 2 * 5644800);
  EXPECT_DOUBLE_EQ(t.valueInThisUnit(kTimeCurrentUnit), 2.0);
  TanimTime::setGlobalCurrentTimeUnit(kTimeNoUnit);  // outside the table: one tick a unit
  EXPECT_EQ(TanimTime::globalCurrentTicksPerUnit(), 1.0);
  EXPECT_EQ(TanimTime::sTicksPerUnit(kTimeCurrentUnit), 0);

  EXPECT_DOUBLE_EQ(TanimTime::convertFromUnitToUnit(48.0, kTimeFilm, kTimeSeconds), 2.0);
  EXPECT_DOUBLE_EQ(TanimTime::convertFromUnitToUnit(1.0, kTimeHours, kTimeMinutes), 60.0);
  EXPECT_EQ(TanimTime::convertFromUnitToUnit(5.0, kTimeNoUnit, kTimeFilm), 0.0);
}

TEST_F(TanimTimeTest, RoundingMatchesLlroundAndSaturates) {
  // Differential against llround (also nearest, ties away from zero) inside the range.
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> frac(-4.0, 4.0);
  for (int i = 0; i < 20000; ++i) {
    const double scale = std::ldexp(1.0, static_cast<int>(rng() % 62));
    const double v = frac(rng) * scale;
    ASSERT_EQ(TanimTime::sConvertToTicks(v), std::llround(v)) << v;
  }
  for (double v : {0.5, -0.5, 2.5, -2.5, 0.49999999999999994, -0.49999999999999994}) {
    EXPECT_EQ(TanimTime::sConvertToTicks(v), std::llround(v)) << v;
  }
  EXPECT_EQ(TanimTime::sConvertToTicks(1e300), kMax);
  EXPECT_EQ(TanimTime::sConvertToTicks(9223372036854775808.0), kMax);
  EXPECT_EQ(TanimTime::sConvertToTicks(-9223372036854775808.0), kMin);
  EXPECT_EQ(TanimTime::sConvertToTicks(-1e300), kMin);
  EXPECT_EQ(TanimTime::sConvertToTicks(std::nan("")), 0);

  // Every operator that rounds saturates at both ends instead of wrapping.
  const TanimTime big(kMax - 5), small(kMin + 5), two(2);
  EXPECT_EQ((big * 2.0).inTicks(), kMax);
  EXPECT_EQ((small * 2.0).inTicks(), kMin);
  EXPECT_EQ((big * two).inTicks(), kMax);
  EXPECT_EQ((small * two).inTicks(), kMin);
  EXPECT_EQ((big / 0.5).inTicks(), kMax);
  EXPECT_EQ((small / 0.5).inTicks(), kMin);
  EXPECT_EQ((big / TanimTime(0)).inTicks(), kMax);
  EXPECT_EQ((TanimTime(0) / TanimTime(0)).inTicks(), 0);
  TanimTime t = big;
  t *= 3.0;
  EXPECT_EQ(t.inTicks(), kMax);
  t = small;
  t /= 0.25;
  EXPECT_EQ(t.inTicks(), kMin);
  t = small;
  t *= two;
  EXPECT_EQ(t.inTicks(), kMin);
  t = big;
  t /= TanimTime(0);
  EXPECT_EQ(t.inTicks(), kMax);
  t.setValue(1e6, kTimeHours);
  EXPECT_EQ(t.inTicks(), 508032000000000000);
  t.setValue(1e9, kTimeHours);
  EXPECT_EQ(t.inTicks(), kMax);
  t.setValue(-1e9, kTimeHours);
  EXPECT_EQ(t.inTicks(), kMin);
  // Sums and differences are exact and saturate too.
  EXPECT_EQ((big + TanimTime(10)).inTicks(), kMax);
  EXPECT_EQ((small - TanimTime(10)).inTicks(), kMin);
  EXPECT_EQ((TanimTime(kMin) - TanimTime(-1)).inTicks(), kMin + 1);
  EXPECT_EQ((-TanimTime(kMin)).inTicks(), kMax);
  EXPECT_EQ((TanimTime(kMax - 1) + TanimTime(1)).inTicks(), kMax);
  EXPECT_EQ((TanimTime(7) * 3.5).inTicks(), 25);  // 24.5 rounds away from zero
  EXPECT_EQ((TanimTime(-7) * 3.5).inTicks(), -25);
  EXPECT_EQ((TanimTime(7) / TanimTime(2)).inTicks(), 4);
}

TEST_F(TanimTimeTest, ComparisonMinMaxClamp) {
  const TanimTime a(3), b(9);
  EXPECT_TRUE(a < b && a <= b && b > a && b >= a && a != b && !(a == b));
  EXPECT_EQ(&TanimTime::min(a, b), &a);
  EXPECT_EQ(&TanimTime::max(a, b), &b);
  TanimTime t(1);
  t.clamp(a, b);
  EXPECT_EQ(t, a);
  t = TanimTime(20);
  t.clamp(a, b);
  EXPECT_EQ(t, b);
  t = TanimTime(5);
  t.clamp(a, b);
  EXPECT_EQ(t.inTicks(), 5);
}

TEST_F(TanimTimeTest, CoarseTime) {
  TanimTime t(5 * TanimTime::kTqTicks);
  EXPECT_EQ(t.inTqTime(), 5);
  EXPECT_EQ(t.inTqTimeIO(10, kTimeFilm), 11);  // never at or below the previous value
  EXPECT_EQ(t.inTqTimeIO(4, kTimeFilm), 5);
  EXPECT_EQ(TanimTime(-1).inTqTime(), 0);                    // truncated toward zero ...
  EXPECT_EQ(TanimTime(-1).inTqTimeIO(-100, kTimeFilm), -1);  // ... but floored for writing
  EXPECT_EQ(TanimTime(-23521).inTqDoubleTicks(), -1.0);
  t.setValueFromTqTime(-3);
  EXPECT_EQ(t.inTicks(), -3 * 23520);

  // The colour-television coarse unit is 23,543.52 ticks; positive values round up on reading.
  t.setValueFromTqTimeIO(1, kTime29_97FPS);
  EXPECT_EQ(t.inTicks(), 23544);
  t.setValueFromTqTimeIO(-1, kTime29_97FPS);
  EXPECT_EQ(t.inTicks(), -23543);
  t.setValueFromTqTimeIO(1000, kTime23_976FPS);
  EXPECT_EQ(t.inTicks(), 23543520);

  // Reading back what was written gives the same coarse value, for every kind of unit.
  for (TtimeUnitSystem unit : {kTimeFilm, kTime23_976FPS, kTime59_94FPS, kTimeMilliseconds}) {
    for (std::int32_t n : {-100000, -7, -1, 0, 1, 2, 999, 1001, 123456789}) {
      t.setValueFromTqTimeIO(n, unit);
      EXPECT_EQ(t.inTqTimeIO(std::numeric_limits<std::int32_t>::min(), unit), n)
          << "unit " << unit << " n " << n;
    }
  }
  // Frames written in sequence stay strictly increasing even where frames are closer together
  // than a coarse unit (48 kHz: 2,940 ticks a sample).
  std::int32_t previous = std::numeric_limits<std::int32_t>::min();
  for (int i = 0; i < 100; ++i) {
    const std::int32_t coarse = TanimTime(double(i), kTime48000FPS).inTqTimeIO(previous, kTimeFilm);
    ASSERT_GT(coarse, previous);
    previous = coarse;
  }
  // Huge times saturate at the 32-bit limits.
  EXPECT_EQ(TanimTime(kMax).inTqTimeIO(0), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(TanimTime(kMin).inTqTimeIO(std::numeric_limits<std::int32_t>::min()),
            std::numeric_limits<std::int32_t>::min() + 1);
  // The current unit decides when kTimeCurrentUnit is given.
  TanimTime::setGlobalCurrentTimeUnit(kTime59_94FPS);
  t.setValueFromTqTimeIO(1);
  EXPECT_EQ(t.inTicks(), 23544);
}

TEST_F(TanimTimeTest, DiskFormsByFileVersion) {
  unsigned char buffer[16] = {};
  for (int version : {200, 204, 205, 206, 207, 208, 300}) {
    const bool wide = version == 205 || version >= 208;
    EXPECT_EQ(TanimTime::sDiskFormIs64(version), wide) << version;
    if (wide) {
      TbigEndian::write<std::int64_t>(buffer, 123456789012345);
    } else {
      TbigEndian::write<std::int32_t>(buffer, -42);
    }
    TanimTime t;
    const unsigned char* next = t.setValueFromDiskBuffer(buffer, version);
    EXPECT_EQ(next - buffer, wide ? 8 : 4) << version;
    EXPECT_EQ(t.inTicks(), wide ? 123456789012345 : -42 * 23520) << version;
  }

  // Tick counts written at another rate are rescaled (truncated).
  TanimTime t(kMax);
  EXPECT_EQ(t.writeDiskBuffer64(buffer) - buffer, 8);
  EXPECT_EQ(TbigEndian::read<std::int64_t>(buffer), kMax);
  EXPECT_EQ(TanimTime::setCurrentFileTickDuration(6000), TanimTime::kTicksPerSecond);
  TbigEndian::write<std::int64_t>(buffer, 6001);
  t.setValueFromDiskBuffer64(buffer);
  EXPECT_EQ(t.inTicks(), 141143520);
  TbigEndian::write<std::int64_t>(buffer, kMax);  // scaled past the limit: saturated
  t.setValueFromDiskBuffer64(buffer);
  EXPECT_EQ(t.inTicks(), kMax);
  EXPECT_EQ(TanimTime::setCurrentFileTickDuration(TanimTime::kTicksPerSecond), 6000);

  // The 4-byte form follows the current unit's coarse unit.
  TanimTime::setGlobalCurrentTimeUnit(kTime29_97FPS);
  TbigEndian::write<std::int32_t>(buffer, 1);
  t.setValueFromDiskBuffer32(buffer);
  EXPECT_EQ(t.inTicks(), 23544);
}

TEST_F(TanimTimeTest, SortedArrayKeepsTimesInOrder) {
  TanimTimeSortedArray times;
  for (int f : {5, 1, 3, 1}) times.insert(TanimTime(double(f), kTimeFilm));
  ASSERT_EQ(times.length(), 3u);
  EXPECT_EQ(times[0], TanimTime(1.0, kTimeFilm));
  EXPECT_EQ(times[2], TanimTime(5.0, kTimeFilm));
  std::uint32_t at = 0;
  EXPECT_EQ(times.find(TanimTime(3.0, kTimeFilm), at), 0);
  EXPECT_EQ(at, 1u);
}
