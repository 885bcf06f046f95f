// Timecode and the text forms of times: round trips, drop-frame labels against a frame-by-frame
// model, and refused text.
#include <velacore/time/TanimTime.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

class TanimTimeTextTest : public ::testing::Test {
 protected:
  void TearDown() override { TanimTime::setGlobalCurrentTimeUnit(kTimeFilm); }
};

// Writes `t` both ways in the current unit and expects each text to read back to the same tick.
void expectRoundTrip(TanimTime t) {
  for (bool smpte : {true, false}) {
    const Tstring text = t.toString(smpte);
    TanimTime back(12345);
    ASSERT_TRUE(back.setValueFromString(text)) << text.asC();
    ASSERT_EQ(back.inTicks(), t.inTicks())
        << text.asC() << " unit " << TanimTime::globalCurrentTimeUnit();
  }
}

}  // namespace

TEST_F(TanimTimeTextTest, HeaderExampleAndWrittenForms) {
  TanimTime::setGlobalCurrentTimeUnit(kTimePAL);
  TanimTime t;
  ASSERT_TRUE(t.setValueFromString("01:00:00:12"));
  EXPECT_EQ(t, TanimTime(3600.0, kTimeSeconds) + TanimTime(12.0, kTimePAL));
  EXPECT_EQ(t.toString(true), Tstring("01:00:00:12"));
  EXPECT_EQ(t.toString(false), Tstring("90012"));
  EXPECT_EQ(t.toString(), t.toFrameUnitsString());
  EXPECT_EQ((-t).toString(true), Tstring("-01:00:00:12"));
  EXPECT_EQ((t + TanimTime(1)).toString(true), Tstring("01:00:00:12.0000002"));

  TanimTime::setGlobalCurrentTimeUnit(kTime29_97DF);
  ASSERT_TRUE(t.setValueFromString("00:01:00;02"));
  EXPECT_EQ(t, TanimTime(1800.0, kTime29_97DF));  // labels 00 and 01 skipped
  EXPECT_EQ(t.toString(true), Tstring("00:01:00;02"));
  EXPECT_EQ(TanimTime(kMax).toString(true, kTime6000FPS).length() > 0, true);
  // Hours keep growing past 99; frames take as many digits as the rate needs.
  EXPECT_EQ(TanimTime(100.0, kTimeHours).toString(true, kTimeFilm), Tstring("100:00:00:00"));
  EXPECT_EQ(TanimTime(7.0, kTime6000FPS).toString(true, kTime6000FPS), Tstring("00:00:00:0007"));
  EXPECT_EQ(TanimTime(90.5, kTimeSeconds).toString(true, kTimeMinutes), Tstring("00:01:30:00.5"));
}

TEST_F(TanimTimeTextTest, DropFrameLabelsMatchAFrameByFrameModelOverADay) {
  TanimTime::setGlobalCurrentTimeUnit(kTime29_97DF);
  // The model counts labels one frame at a time, skipping 0 and 1 at each minute not divisible
  // by ten.
  std::int64_t h = 0, m = 0, s = 0, f = 0;
  const std::int64_t day = 24LL * 3600 * 30000 / 1001;
  for (std::int64_t frame = 0; frame <= day; ++frame) {
    const TanimTime t(static_cast<double>(frame), kTime29_97DF);
    TsmpteFields fields;
    ASSERT_TRUE(t.getValueInSmpteUnit(fields));
    ASSERT_TRUE(fields.hours == h && fields.minutes == m && fields.seconds == s &&
                fields.frames == f)
        << "frame " << frame;
    const Tstring text = t.toString(true);
    TanimTime back;
    ASSERT_TRUE(back.setValueFromString(text)) << text.asC();
    ASSERT_EQ(back, t) << text.asC();
    if (++f == 30) {
      f = 0;
      if (++s == 60) {
        s = 0;
        if (++m == 60) m = 0, ++h;
        if (m % 10 != 0) f = 2;
      }
    }
  }
}

TEST_F(TanimTimeTextTest, EveryRateRoundTripsAcrossTheRange) {
  std::mt19937_64 rng(14);
  for (int u = 0; u < int{kTimeNoUnit}; ++u) {
    const auto unit = static_cast<TtimeUnitSystem>(u);
    TanimTime::setGlobalCurrentTimeUnit(unit);
    const std::int64_t frame = TanimTime::kTicksPerUnit[unit];
    // Every frame of the first two minutes, then frames and in-between ticks anywhere.
    const std::int64_t early =
        std::min<std::int64_t>(120 * TanimTime::kTicksPerSecond / frame, 20000);
    for (std::int64_t i = 0; i < early; ++i) {
      ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime(i * frame)));
    }
    for (std::int64_t ticks : {kMax, kMin, kMin + 1, kMax - 1, std::int64_t{-1}, std::int64_t{1}}) {
      ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime(ticks)));
    }
    for (int i = 0; i < 2000; ++i) {
      const auto ticks = static_cast<std::int64_t>(rng() >> (rng() % 64));
      ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime(i % 2 ? ticks : -ticks)));
      ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime((ticks / frame) * frame)));
    }
  }
  // A unit without timecode falls back to the frame-units form (ticks).
  TanimTime::setGlobalCurrentTimeUnit(kTimeNoUnit);
  ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime(kMax)));
  ASSERT_NO_FATAL_FAILURE(expectRoundTrip(TanimTime(-77)));
}

TEST_F(TanimTimeTextTest, RefusedTextKeepsThePreviousValue) {
  TanimTime::setGlobalCurrentTimeUnit(kTimeNTSC);
  const char* bad[] = {"00:60:00:00",
                       "00:00:60:00",
                       "00:00:00:30",
                       "00:000:00:00",
                       "00:00:00;05",  // ";" only for drop-frame
                       "1:2",
                       "00:00:00:",
                       "00:00:00:00x",
                       "--1:00:00:00",
                       ":00:00:00",
                       "00:00:00:00.",
                       "",
                       "   ",
                       "abc",
                       "1.2.3",
                       "nan",
                       "inf",
                       "0x10",
                       "1e",
                       "12 fps",
                       "3 parsecs",
                       "1 2",
                       "1h 99999999999h",
                       "99999999999999999999f",
                       "00:00:00:00:00",
                       "-",
                       "."};
  for (const char* text : bad) {
    TanimTime t(4242);
    EXPECT_FALSE(t.setValueFromString(text)) << text;
    EXPECT_EQ(t.inTicks(), 4242) << text;
  }
  TanimTime::setGlobalCurrentTimeUnit(kTime29_97DF);
  for (const char* text : {"00:01:00;00", "00:01:00;01", "00:01:00:01", "10:59:00;00"}) {
    TanimTime t(4242);
    EXPECT_FALSE(t.setValueFromSmpteFromString(text)) << text;
    EXPECT_EQ(t.inTicks(), 4242);
  }
  TanimTime t(4242);
  EXPECT_TRUE(t.setValueFromSmpteFromString("00:10:00;00"));  // every tenth minute keeps 0, 1
  EXPECT_FALSE(t.setValueFromSmpteFromString("00:00:00:00", kTimeNoUnit));
  EXPECT_FALSE(t.setValueFromSmpteUnits(0, 0, 0, 30, kTimeNTSC));
  EXPECT_FALSE(t.setValueFromSmpteUnits(kMax, 0, 0, 0, kTimeNTSC));
  EXPECT_FALSE(t.setValueFromString(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(t.parseTime("99999999999999999h"));
  EXPECT_FALSE(t.parseTime("-9223372036854775809t"));
  EXPECT_TRUE(t.parseTime("-9223372036854775808t"));
  EXPECT_EQ(t.inTicks(), kMin);
}

TEST_F(TanimTimeTextTest, NumbersAndUnitTerms) {
  TanimTime::setGlobalCurrentTimeUnit(kTimeFilm);
  TanimTime t;
  // A bare number is rounded up to a tick; parseTime and setValue round to nearest.
  ASSERT_TRUE(t.setValueFromString("1.00000001"));
  EXPECT_EQ(t.inTicks(), 5880001);
  ASSERT_TRUE(t.parseTime("1.00000001"));
  EXPECT_EQ(t.inTicks(), 5880000);
  ASSERT_TRUE(t.setValueFromString(" -2.5 "));
  EXPECT_EQ(t.inTicks(), -14700000);
  ASSERT_TRUE(t.setValueFromString("99999999999999999999"));  // a number: clamped
  EXPECT_EQ(t.inTicks(), kMax);
  ASSERT_TRUE(t.setValueFromString("-1e400"));  // past a double
  EXPECT_EQ(t.inTicks(), kMin);
  ASSERT_TRUE(t.setValueFromString("1e-400"));
  EXPECT_EQ(t.inTicks(), 0);
  ASSERT_TRUE(t.setValueFromString("1e30"));
  EXPECT_EQ(t.inTicks(), kMax);

  ASSERT_TRUE(t.setValueFromString("1m 30s"));
  EXPECT_EQ(t, TanimTime(90.0, kTimeSeconds));
  ASSERT_TRUE(t.setValueFromString("1h30min2.5f"));
  EXPECT_EQ(t, TanimTime(5400.0, kTimeSeconds) + TanimTime(2.5, kTimeFilm));
  ASSERT_TRUE(t.setValueFromString("-2 ntsc 12t"));
  EXPECT_EQ(t.inTicks(), -(2 * 4704000 + 12));
  ASSERT_TRUE(t.setValueFromString(".5 ms"));
  EXPECT_EQ(t.inTicks(), 70560);
  ASSERT_TRUE(t.parseTime("0.3333333333333333333333333 sec"));
  EXPECT_EQ(t.inTicks(), 47040000);

  // The packed timecode number.
  TanimTime::setGlobalCurrentTimeUnit(kTimePAL);
  t = TanimTime(3723.0, kTimeSeconds) + TanimTime(4.5, kTimePAL);  // 01:02:03:04 and a half
  EXPECT_DOUBLE_EQ(t.valueInSmpteUnit(), 1020304.5);
  EXPECT_DOUBLE_EQ((-t).valueInSmpteUnit(), -1020304.5);
  TanimTime back;
  ASSERT_TRUE(back.setValueFromSmpteFloatUnit(1020304.5));
  EXPECT_EQ(back, t);
  EXPECT_FALSE(back.setValueFromSmpteFloatUnit(1026004.0));  // 60 seconds
  EXPECT_FALSE(back.setValueFromSmpteFloatUnit(25.0));       // frame 25 at 25 fps
  EXPECT_FALSE(back.setValueFromSmpteFloatUnit(1.0, kTime120FPS));
  EXPECT_EQ(t.valueInSmpteUnit(kTimeNoUnit), 0.0);
}
