// TmeasureValue<Derived, Unit>: what Tlinear and Tangle share, a double with its unit.
//
// Values keep the unit they were set in; reading in another unit converts through the unit
// sizes. Binary operators and comparisons convert the right operand into the left one's unit,
// so a sum has the left operand's unit. Use Tlinear and Tangle, not this.
//
// A detail of the public headers that include it, installed with them; not to be included on
// its own.
#pragma once

#include <velacore/time/TunitNames.h>

#include <cctype>
#include <charconv>
#include <cstring>

namespace vela::time_internal {

template <class Derived, class Unit>
class TmeasureValue {
 public:
  using Tsystem = typename Unit::Tsystem;

  /// Zero in the internal unit.
  TmeasureValue() noexcept : fUnit(Unit::internal()) {}
  TmeasureValue(double value, Tsystem unit) noexcept : fValue(value), fUnit(unit) {}

  /// @name The value and its unit
  /// @{
  [[nodiscard]] double value() const noexcept { return fValue; }
  [[nodiscard]] Tsystem unit() const noexcept { return fUnit; }
  /// The value expressed in `unit`.
  [[nodiscard]] double valueIn(Tsystem unit) const noexcept {
    return Unit::sConvert(fValue, fUnit, unit);
  }
  void setValue(double value, Tsystem unit) noexcept {
    fValue = value;
    fUnit = unit;
  }
  /// Re-expresses the value in `unit` (same quantity).
  void convertTo(Tsystem unit) noexcept { setValue(valueIn(unit), unit); }
  /// The value in the process's internal unit and in its user-interface unit.
  [[nodiscard]] double internalValue() const noexcept { return valueIn(Unit::internal()); }
  [[nodiscard]] double uiValue() const noexcept { return valueIn(Unit::ui()); }
  /// @}

  /// @name Arithmetic (the result has the left operand's unit)
  /// @{
  friend Derived operator+(const Derived& a, const Derived& b) noexcept {
    return Derived(a.fValue + b.valueIn(a.fUnit), a.fUnit);
  }
  friend Derived operator-(const Derived& a, const Derived& b) noexcept {
    return Derived(a.fValue - b.valueIn(a.fUnit), a.fUnit);
  }
  friend Derived operator-(const Derived& a) noexcept { return Derived(-a.fValue, a.fUnit); }
  friend Derived operator*(const Derived& a, double f) noexcept {
    return Derived(a.fValue * f, a.fUnit);
  }
  friend Derived operator*(double f, const Derived& a) noexcept { return a * f; }
  friend Derived operator/(const Derived& a, double d) noexcept {
    return Derived(a.fValue / d, a.fUnit);
  }
  /// The ratio of two quantities.
  friend double operator/(const Derived& a, const Derived& b) noexcept {
    return a.fValue / b.valueIn(a.fUnit);
  }
  Derived& operator+=(const Derived& b) noexcept { return self() = self() + b; }
  Derived& operator-=(const Derived& b) noexcept { return self() = self() - b; }
  Derived& operator*=(double f) noexcept { return self() = self() * f; }
  Derived& operator/=(double d) noexcept { return self() = self() / d; }
  /// @}

  /// @name Comparison (of the quantities, in the left operand's unit)
  /// @{
  friend bool operator==(const Derived& a, const Derived& b) noexcept {
    return a.fValue == b.valueIn(a.fUnit);
  }
  friend bool operator!=(const Derived& a, const Derived& b) noexcept { return !(a == b); }
  friend bool operator<(const Derived& a, const Derived& b) noexcept {
    return a.fValue < b.valueIn(a.fUnit);
  }
  friend bool operator>(const Derived& a, const Derived& b) noexcept { return b < a; }
  friend bool operator<=(const Derived& a, const Derived& b) noexcept { return !(b < a); }
  friend bool operator>=(const Derived& a, const Derived& b) noexcept { return !(a < b); }
  /// @}

 protected:
  // Reads "<number>[blanks][unit name]"; without a name the number is in the user-interface
  // unit. Changes nothing and returns false on anything else.
  bool parse(const char* text) noexcept {
    if (text == nullptr) return false;
    const char* end = text + std::strlen(text);
    while (text < end && std::isspace(static_cast<unsigned char>(*text))) ++text;
    if (text < end && *text == '+') ++text;
    double number = 0.0;
    const auto [rest, ec] = std::from_chars(text, end, number);
    if (ec != std::errc() || rest == text) return false;
    Tsystem unit = Unit::ui();
    const char* name = rest;
    while (name < end && std::isspace(static_cast<unsigned char>(*name))) ++name;
    if (name < end && !TunitNames::setFromName(name, unit)) return false;
    setValue(number, unit);
    return true;
  }

 private:
  Derived& self() noexcept { return static_cast<Derived&>(*this); }

  double fValue = 0.0;
  Tsystem fUnit;
};

}  // namespace vela::time_internal
