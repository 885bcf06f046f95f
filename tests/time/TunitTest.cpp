// Length and angle units, their value classes and the unit names.
#include <velacore/base/TstringCatalog.h>
#include <velacore/time/Tangle.h>
#include <velacore/time/Tlinear.h>
#include <velacore/time/TunitNames.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

// The only test that builds the conversion tables: they are built once per process, on the
// first conversion, against the internal unit of that moment.
TEST(Tunit, ConversionTablesFollowTheInternalUnitOfTheFirstCall) {
  Tunit::setInternal(Tunit::kMeter);
  TangleUnit::setInternal(kAngleDegrees);
  EXPECT_DOUBLE_EQ(Tunit::conversion(Tunit::kCentimeter).toInternal(), 0.01);
  EXPECT_DOUBLE_EQ(TangleUnit::conversion(kAngleMinutes).toUnit(), 60.0);
  Tunit::setInternal(Tunit::kCentimeter);
  TangleUnit::setInternal(kAngleRadians);
  // The table stays as built; objects made now compute their factors afresh.
  EXPECT_DOUBLE_EQ(Tunit::conversion(Tunit::kCentimeter).toInternal(), 0.01);
  EXPECT_EQ(Tunit(Tunit::kCentimeter).toInternal(), 1.0);
  EXPECT_DOUBLE_EQ(TangleUnit(kAngleDegrees).toInternal(), M_PI / 180.0);

  // The user-interface conversions go through the table and setUI fires the trigger.
  int fired = 0;
  const Ttrigger::Tid id = Tunit::changeTrigger().add([&] {
    ++fired;
    EXPECT_EQ(Tunit::ui(), Tunit::kMillimeter);  // stored before the trigger fires
  });
  Tunit::setUI(Tunit::kMillimeter);
  EXPECT_EQ(fired, 1);
  EXPECT_DOUBLE_EQ(Tunit::internalToUI(2.0), 2000.0);  // table built with metres internal
  double v = 500.0;
  Tunit::uiToInternal(&v);
  EXPECT_DOUBLE_EQ(v, 0.5);
  Tunit::changeTrigger().remove(id);
  Tunit::setUI(Tunit::kCentimeter);
  EXPECT_EQ(fired, 1);
  EXPECT_EQ(TangleUnit::ui(), kAngleDegrees);
}

TEST(Tunit, FactorsAgainstEveryInternalUnit) {
  Tunit inch;  // the internal unit, both factors 1
  EXPECT_EQ(inch.currentUnit(), Tunit::kCentimeter);
  EXPECT_EQ(inch.toUnit(), 1.0);
  inch.setCurrentUnit(Tunit::kInch);
  EXPECT_EQ(inch.toInternal(), 2.54);
  EXPECT_EQ(inch.toUnit(), 0.39370078740157477);
  EXPECT_DOUBLE_EQ(inch.convertToDflt(10.0), 25.4);
  EXPECT_DOUBLE_EQ(inch.convertToCurrent(25.4), 10.0);

  // Against every internal unit, the factors are reciprocal and agree with the sizes
  // (centimetres per unit, written out here independently).
  const double cm[] = {2.54, 30.48, 91.44, 160934.4, 0.1, 1.0, 100000.0, 100.0};
  for (int internal = 0; internal < 8; ++internal) {
    Tunit::setInternal(static_cast<Tunit::TunitSystem>(internal));
    for (int u = 0; u < 8; ++u) {
      Tunit t(static_cast<Tunit::TunitSystem>(u));
      Tunit viaRoutine = t;
      viaRoutine.computeConversionFactors();
      EXPECT_EQ(viaRoutine.toInternal(), t.toInternal());
      EXPECT_NEAR(t.toInternal() * cm[internal] / cm[u], 1.0, 1e-15);
      EXPECT_NEAR(t.toInternal() * t.toUnit(), 1.0, 1e-15);
    }
  }
  Tunit::setInternal(Tunit::kCentimeter);
  TangleUnit deg(kAngleDegrees);
  EXPECT_DOUBLE_EQ(deg.convertToDflt(180.0), M_PI);
  TangleUnit sec(kAngleSeconds);
  sec.computeConversionDegrees();
  EXPECT_DOUBLE_EQ(sec.toUnit(), 3600.0);
}

TEST(TunitNames, EveryNameReadsBackAndOthersAreRefused) {
  Tstring name;
  for (int u = 0; u < 8; ++u) {
    const auto unit = static_cast<Tunit::TunitSystem>(u);
    Tunit::TunitSystem back;
    TunitNames::setToLongName(unit, name);
    ASSERT_TRUE(TunitNames::setFromName(name.asC(), back)) << name.asC();
    EXPECT_EQ(back, unit);
    Tstring localized;
    TunitNames::setToLocalizedLongName(unit, localized);
    EXPECT_EQ(localized, name);
    TunitNames::setToShortName(unit, name);
    ASSERT_TRUE(TunitNames::setFromName(name.asC(), back)) << name.asC();
    EXPECT_EQ(back, unit);
    TunitNames::setToLocalizedShortName(unit, localized);
    EXPECT_EQ(localized, name);
  }
  for (int u = 0; u < 4; ++u) {
    const auto unit = static_cast<TangleUnitSystem>(u);
    TangleUnitSystem back;
    for (bool shortName : {false, true}) {
      if (shortName) {
        TunitNames::setToShortName(unit, name);
      } else {
        TunitNames::setToLongName(unit, name);
      }
      ASSERT_TRUE(TunitNames::setFromName(name.asC(), back)) << name.asC();
      EXPECT_EQ(back, unit);
    }
  }
  for (int u = 0; u < int{kTimeNoUnit}; ++u) {
    const auto unit = static_cast<TtimeUnitSystem>(u);
    for (bool descriptive : {false, true}) {
      TunitNames::setToLongName(unit, name, descriptive);
      TtimeUnitSystem back = kTimeNoUnit;
      ASSERT_TRUE(TunitNames::setFromName(name.asC(), back)) << name.asC();
      EXPECT_EQ(back, unit) << name.asC();
      Tstring localized;
      TunitNames::setToLocalizedLongName(unit, localized, descriptive);
      EXPECT_EQ(localized, name);  // the catalog has every time unit's name
    }
  }
  TunitNames::setToLongName(kTimeFilm, name, true);
  EXPECT_EQ(name, Tstring("film"));
  TunitNames::setToLongName(kTimeFilm, name);
  EXPECT_EQ(name, Tstring("24fps"));
  TunitNames::setToLongName(kTimeCurrentUnit, name);
  EXPECT_EQ(name.length(), 0u);

  Tunit::TunitSystem length = Tunit::kMile;
  EXPECT_TRUE(TunitNames::setFromName("  Feet ", length));
  EXPECT_EQ(length, Tunit::kFoot);
  EXPECT_TRUE(TunitNames::setFromName("METRES", length));
  EXPECT_EQ(length, Tunit::kMeter);
  for (const char* bad : {"", "metersx", "f", "24fps", "inch es"}) {
    length = Tunit::kMile;
    EXPECT_FALSE(TunitNames::setFromName(bad, length)) << bad;
    EXPECT_EQ(length, Tunit::kMile);
  }
  TtimeUnitSystem time = kTimeFilm;
  EXPECT_FALSE(TunitNames::setFromName("25", time));
  EXPECT_FALSE(TunitNames::setFromName(static_cast<const char*>(nullptr), time));
  EXPECT_TRUE(TunitNames::setFromName("NTSC", time));
  EXPECT_EQ(time, kTimeNTSC);
}

TEST(Tlinear, GettersSettersOperatorsAndParsing) {
  // The header's example.
  Tlinear width(2.0, Tunit::kInch);
  EXPECT_DOUBLE_EQ(width.cm(), 5.08);
  width += Tlinear(1.0, Tunit::kCentimeter);
  EXPECT_EQ(width.unit(), Tunit::kInch);
  EXPECT_DOUBLE_EQ(width.cm(), 6.08);

  Tlinear a;
  a.miSet(1.0);
  EXPECT_DOUBLE_EQ(a.km(), 1.609344);
  EXPECT_DOUBLE_EQ(a.ft(), 5280.0);
  EXPECT_DOUBLE_EQ(a.yd(), 1760.0);
  EXPECT_DOUBLE_EQ(a.in(), 63360.0);
  EXPECT_DOUBLE_EQ(a.m(), 1609.344);
  EXPECT_DOUBLE_EQ(a.mm(), 1609344.0);
  Tlinear b;
  b.ftSet(3.0);
  Tlinear c;
  c.ydSet(1.0);
  EXPECT_TRUE(b == c);
  EXPECT_TRUE(b < Tlinear(1.0, Tunit::kMeter) && Tlinear(1.0, Tunit::kMeter) > b);
  EXPECT_DOUBLE_EQ(Tlinear(1.0, Tunit::kMeter) / Tlinear(1.0, Tunit::kCentimeter), 100.0);
  EXPECT_DOUBLE_EQ((2.0 * c - b).in(), 36.0);

  Tlinear p(7.0, Tunit::kMile);
  EXPECT_TRUE(p.parseLinear("12.5 mm"));
  EXPECT_EQ(p.unit(), Tunit::kMillimeter);
  EXPECT_DOUBLE_EQ(p.value(), 12.5);
  EXPECT_TRUE(p.parseLinear("-3ft"));
  EXPECT_DOUBLE_EQ(p.in(), -36.0);
  EXPECT_TRUE(p.parseLinear("4"));  // user-interface unit
  EXPECT_EQ(p.unit(), Tunit::ui());
  for (const char* bad : {"", "mm", "1.5 parsecs", "1..5", "abc", "1e"}) {
    Tlinear q(7.0, Tunit::kMile);
    EXPECT_FALSE(q.parseLinear(bad)) << bad;
    EXPECT_EQ(q.value(), 7.0);
  }
}

TEST(Tangle, ReductionsAgainstAPlainModel) {
  Tangle a(450.0, kAngleDegrees);
  a.normalize();
  EXPECT_DOUBLE_EQ(a.degrees(), 90.0);
  EXPECT_DOUBLE_EQ(a.radians(), M_PI / 2);
  EXPECT_DOUBLE_EQ(a.minutes(), 5400.0);
  EXPECT_TRUE(a.parseAngle("-30 deg"));
  a.makePositive();
  EXPECT_DOUBLE_EQ(a.degrees(), 330.0);

  // Whole-degree angles reduced by adding or removing whole turns one at a time.
  for (int d = -1000; d <= 1000; d += 7) {
    int pos = d, neg = d, norm = d;
    while (pos < 0) pos += 360;
    while (pos >= 360) pos -= 360;
    neg = pos == 0 ? 0 : pos - 360;
    norm = pos > 180 ? pos - 360 : pos;
    Tangle x(double(d), kAngleDegrees);
    EXPECT_EQ(Tangle(x).makePositive().degrees(), pos) << d;
    EXPECT_EQ(Tangle(x).makeNegative().degrees(), neg) << d;
    EXPECT_EQ(Tangle(x).normalize().degrees(), norm) << d;
  }
  Tangle r(-1e-20, kAngleRadians);
  r.makePositive();
  EXPECT_GE(r.value(), 0.0);
  EXPECT_LT(r.value(), 2 * M_PI);
  Tangle s;
  s.setSeconds(3600.0);
  EXPECT_TRUE(s == Tangle(1.0, kAngleDegrees));
  EXPECT_FALSE(s.parseAngle("5 furlongs"));
}
