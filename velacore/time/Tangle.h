// Tangle: an angle, a double with its unit.
//
//   Tangle a(450.0, kAngleDegrees);
//   a.normalize();                  // 90 degrees: into (-half turn, half turn]
//   double r = a.radians();         // pi / 2
//   a.parseAngle("-30 deg");
//   a.makePositive();               // 330 degrees: into [0, full turn)
//
// normalize, makePositive and makeNegative keep the angle's unit and work in it, so a value in
// radians is reduced modulo 2 pi in double precision.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/time/TangleUnit.h>
#include <velacore/time/detail/TmeasureValue.h>

#include <cmath>

class VELACORE_API Tangle : public vela::time_internal::TmeasureValue<Tangle, TangleUnit> {
  using Base = vela::time_internal::TmeasureValue<Tangle, TangleUnit>;

 public:
  using Base::Base;
  Tangle() noexcept = default;

  /// @name The angle in each unit, and setting it in each unit
  /// @{
  [[nodiscard]] double radians() const noexcept { return valueIn(kAngleRadians); }
  [[nodiscard]] double degrees() const noexcept { return valueIn(kAngleDegrees); }
  [[nodiscard]] double minutes() const noexcept { return valueIn(kAngleMinutes); }
  [[nodiscard]] double seconds() const noexcept { return valueIn(kAngleSeconds); }
  void setRadians(double v) noexcept { setValue(v, kAngleRadians); }
  void setDegrees(double v) noexcept { setValue(v, kAngleDegrees); }
  void setMinutes(double v) noexcept { setValue(v, kAngleMinutes); }
  void setSeconds(double v) noexcept { setValue(v, kAngleSeconds); }
  /// @}

  /// Reads "<number>[unit name]" ("90deg", "1.5 rad"); a bare number is in the user-interface
  /// unit. Returns false and changes nothing on other text.
  bool parseAngle(const char* text) noexcept { return parse(text); }

  /// @name Reducing by whole turns (the unit is kept)
  /// @{
  /// Into (-half turn, half turn].
  Tangle& normalize() noexcept {
    const double turn = fullTurn();
    double v = std::remainder(value(), turn);  // [-half, half]
    if (v <= -turn / 2) v += turn;
    setValue(v, unit());
    return *this;
  }
  /// Into [0, full turn).
  Tangle& makePositive() noexcept {
    const double turn = fullTurn();
    double v = std::fmod(value(), turn);
    if (v < 0) v += turn;
    if (v >= turn) v = 0.0;  // a tiny negative value plus a turn rounds to a whole turn
    setValue(v, unit());
    return *this;
  }
  /// Into (-full turn, 0].
  Tangle& makeNegative() noexcept {
    makePositive();
    if (value() > 0) setValue(value() - fullTurn(), unit());
    return *this;
  }
  /// @}

 private:
  [[nodiscard]] double fullTurn() const noexcept {
    return TangleUnit::sConvert(360.0, kAngleDegrees, unit());
  }
};
