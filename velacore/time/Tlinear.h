// Tlinear: a length, a double with its unit.
//
//   Tlinear width(2.0, Tunit::kInch);
//   double cm = width.cm();                  // 5.08
//   width += Tlinear(1.0, Tunit::kCentimeter);
//   Tlinear typed;
//   if (typed.parseLinear("12.5 mm")) { ... }  // a bare number is in the user-interface unit
//
// Sums and comparisons convert the right operand into the left one's unit; conversions between
// units go through the sizes in centimetres, so values near the double precision limit may
// differ from an exact decimal computation in their last bit.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/time/Tunit.h>
#include <velacore/time/detail/TmeasureValue.h>

class VELACORE_API Tlinear : public vela::time_internal::TmeasureValue<Tlinear, Tunit> {
  using Base = vela::time_internal::TmeasureValue<Tlinear, Tunit>;

 public:
  using Base::Base;
  Tlinear() noexcept = default;

  /// @name The length in each unit, and setting it in each unit
  /// @{
  [[nodiscard]] double mm() const noexcept { return valueIn(Tunit::kMillimeter); }
  [[nodiscard]] double cm() const noexcept { return valueIn(Tunit::kCentimeter); }
  [[nodiscard]] double m() const noexcept { return valueIn(Tunit::kMeter); }
  [[nodiscard]] double km() const noexcept { return valueIn(Tunit::kKilometer); }
  [[nodiscard]] double in() const noexcept { return valueIn(Tunit::kInch); }
  [[nodiscard]] double ft() const noexcept { return valueIn(Tunit::kFoot); }
  [[nodiscard]] double yd() const noexcept { return valueIn(Tunit::kYard); }
  [[nodiscard]] double mi() const noexcept { return valueIn(Tunit::kMile); }
  void mmSet(double v) noexcept { setValue(v, Tunit::kMillimeter); }
  void cmSet(double v) noexcept { setValue(v, Tunit::kCentimeter); }
  void mSet(double v) noexcept { setValue(v, Tunit::kMeter); }
  void kmSet(double v) noexcept { setValue(v, Tunit::kKilometer); }
  void inSet(double v) noexcept { setValue(v, Tunit::kInch); }
  void ftSet(double v) noexcept { setValue(v, Tunit::kFoot); }
  void ydSet(double v) noexcept { setValue(v, Tunit::kYard); }
  void miSet(double v) noexcept { setValue(v, Tunit::kMile); }
  /// @}

  /// Reads "<number>[unit name]" ("2.5cm", "3 feet"); a bare number is in the user-interface
  /// unit. Returns false and changes nothing on other text.
  bool parseLinear(const char* text) noexcept { return parse(text); }
};
