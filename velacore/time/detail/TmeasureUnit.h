// TmeasureUnit<Derived, Kind>: what Tunit (lengths) and TangleUnit (angles) share.
//
// A kind supplies its unit enumeration, the number of units and each unit's size in one common
// measure; this template keeps the process-wide internal and user-interface units, the change
// trigger and the lazily built conversion table of that kind. Use Tunit and TangleUnit, not this.
//
// A detail of the public headers that include it, installed with them; not to be included on
// its own.
#pragma once

#include <velacore/base/Ttrigger.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>

#include <cstdint>

namespace vela::time_internal {

template <class Derived, class Kind>
class TmeasureUnit : public Kind {
 public:
  using Tsystem = typename Kind::Tsystem;

  /// The internal unit, both factors 1.
  TmeasureUnit() noexcept : fUnit(sInternal) { computeFactors(); }
  TmeasureUnit(const TmeasureUnit&) noexcept = default;
  TmeasureUnit& operator=(const TmeasureUnit&) noexcept = default;

  /// Stores `unit` and recomputes both factors against the present internal unit.
  void setCurrentUnit(Tsystem unit) noexcept {
    fUnit = unit;
    computeFactors();
  }
  [[nodiscard]] Tsystem currentUnit() const noexcept { return fUnit; }
  /// Units of this kind in one internal unit.
  [[nodiscard]] double toUnit() const noexcept { return fToUnit; }
  /// Internal units in one unit of this kind.
  [[nodiscard]] double toInternal() const noexcept { return fToInternal; }

  /// A value in this unit, in the internal unit.
  [[nodiscard]] double convertToDflt(double value) const noexcept {
    return fUnit == sInternal ? value : value * fToInternal;
  }
  /// A value in the internal unit, in this unit.
  [[nodiscard]] double convertToCurrent(double value) const noexcept {
    return fUnit == sInternal ? value : value * fToUnit;
  }

  /// Recomputes both factors of this object's unit against the internal unit.
  void computeFactors() noexcept { computeFactorsAgainst(sInternal); }
  /// The same, left alone while the internal unit is not one of the kind's units.
  void computeConversionFactors() noexcept {
    if (sInternal < Kind::kUnitCount) computeFactors();
  }

  /// @name Process-wide units (plain globals, no lock)
  /// @{
  [[nodiscard]] static Tsystem internal() noexcept { return sInternal; }
  /// Sets the internal unit. Objects made afterwards use it; a conversion table already built
  /// is not rebuilt, so set the internal unit before the first conversion().
  static void setInternal(Tsystem unit) noexcept { sInternal = unit; }
  [[nodiscard]] static Tsystem ui() noexcept { return sUI; }
  /// Sets the user-interface unit, then fires changeTrigger().
  static void setUI(Tsystem unit) {
    sUI = unit;
    changeTrigger().fire();
  }
  /// Fired after each setUI().
  static Ttrigger& changeTrigger();
  /// The table object of `unit`; the table is built for every unit on the first call, against
  /// the internal unit of that moment.
  static const Derived& conversion(Tsystem unit);
  /// A value in the internal unit, in the user-interface unit.
  [[nodiscard]] static double internalToUI(double value) {
    return conversion(sUI).convertToCurrent(value);
  }
  static void internalToUI(double* value) { *value = internalToUI(*value); }
  /// A value in the user-interface unit, in the internal unit.
  [[nodiscard]] static double uiToInternal(double value) {
    return conversion(sUI).convertToDflt(value);
  }
  static void uiToInternal(double* value) { *value = uiToInternal(*value); }
  /// @}

  /// `value` in unit `from`, in unit `to` (the sizes of the kind's table; no globals).
  [[nodiscard]] static double sConvert(double value, Tsystem from, Tsystem to) noexcept {
    if (from == to) return value;
    return value * (Kind::kSizes[from] / Kind::kSizes[to]);
  }

 protected:
  void computeFactorsAgainst(Tsystem internalUnit) noexcept {
    const std::uint32_t u = fUnit < Kind::kUnitCount ? fUnit : internalUnit;
    fToInternal = u == internalUnit ? 1.0 : Kind::kSizes[u] / Kind::kSizes[internalUnit];
    fToUnit = u == internalUnit ? 1.0 : Kind::kSizes[internalUnit] / Kind::kSizes[u];
  }

 private:
  static Tsystem sInternal;
  static Tsystem sUI;
  static bool sTableNotBuilt;
  // Built once and kept for the life of the process (never destroyed at exit, so that late
  // conversions during shutdown still find it).
  static TvalueArray<Derived*>* sTable;

  Tsystem fUnit;
  double fToUnit = 1.0;
  double fToInternal = 1.0;
};

}  // namespace vela::time_internal
