// TangleUnit: an angle unit with its two conversion factors against the internal angle unit.
//
// Angles are stored in the internal unit (radians unless changed at start-up) and shown in the
// user-interface unit (degrees to start with):
//
//   TangleUnit degrees(kAngleDegrees);
//   double rad = degrees.convertToDflt(90.0);        // pi / 2
//   double shown = TangleUnit::internalToUI(rad);    // 90 while the UI shows degrees
//
// Hazards: as for Tunit (plain globals, a table built once against the internal unit of the
// first conversion).
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/time/detail/TmeasureUnit.h>

#include <cstdint>

/// The angle units.
enum TangleUnitSystem : std::uint32_t {
  kAngleRadians = 0,
  kAngleDegrees,
  kAngleMinutes,  // of arc
  kAngleSeconds   // of arc
};

/// The angle units and their sizes in degrees.
struct VELACORE_API TangleUnitKind {
  using TangleUnitSystem = ::TangleUnitSystem;
  using Tsystem = TangleUnitSystem;
  static constexpr std::uint32_t kUnitCount = 4;
  static constexpr double kSizes[kUnitCount] = {57.29577951308232, 1.0, 1.0 / 60.0, 1.0 / 3600.0};
  static constexpr Tsystem kDefaultInternal = kAngleRadians;
  static constexpr Tsystem kDefaultUI = kAngleDegrees;
};

class TangleUnit;
extern template class VELACORE_API vela::time_internal::TmeasureUnit<TangleUnit, TangleUnitKind>;

class VELACORE_API TangleUnit
    : public vela::time_internal::TmeasureUnit<TangleUnit, TangleUnitKind> {
 public:
  TangleUnit() noexcept = default;
  /// A conversion object for `unit` against the present internal unit.
  explicit TangleUnit(TangleUnitSystem unit) noexcept { setCurrentUnit(unit); }

  /// @name Factors of this object's unit against one internal unit each
  /// @{
  void computeConversionRadians() noexcept { computeFactorsAgainst(kAngleRadians); }
  void computeConversionDegrees() noexcept { computeFactorsAgainst(kAngleDegrees); }
  void computeConversionMinutes() noexcept { computeFactorsAgainst(kAngleMinutes); }
  void computeConversionSeconds() noexcept { computeFactorsAgainst(kAngleSeconds); }
  /// @}
};
