// Tunit: a length unit with its two conversion factors against the internal length unit.
//
// Lengths are stored in the process-wide internal unit (centimetres unless changed at start-up)
// and shown in the user-interface unit. A Tunit holds one unit and the two factors between it
// and the internal unit:
//
//   Tunit inches;
//   inches.setCurrentUnit(Tunit::kInch);        // toInternal 2.54, toUnit 1/2.54 (internal cm)
//   double cm = inches.convertToDflt(10.0);     // 25.4
//   double shown = Tunit::internalToUI(cm);     // in the user's unit
//   Tunit::changeTrigger().add([] { redrawRulers(); });
//   Tunit::setUI(Tunit::kMillimeter);           // fires the trigger
//
// Hazards:
// - The internal and user-interface units and the table are plain globals without a lock: set
//   them at start-up, from one thread.
// - conversion() builds its table on first use against the internal unit of that moment and
//   never rebuilds it: set the internal unit before the first conversion.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/time/detail/TmeasureUnit.h>

#include <cstdint>

/// The length units and their sizes in centimetres.
struct VELACORE_API TlengthUnitKind {
  enum TunitSystem : std::uint32_t {
    kInch = 0,
    kFoot,
    kYard,
    kMile,
    kMillimeter,
    kCentimeter,
    kKilometer,
    kMeter
  };
  using Tsystem = TunitSystem;
  static constexpr std::uint32_t kUnitCount = 8;
  static constexpr double kSizes[kUnitCount] = {2.54, 30.48, 91.44,    160934.4,
                                                0.1,  1.0,   100000.0, 100.0};
  static constexpr Tsystem kDefaultInternal = kCentimeter;
  static constexpr Tsystem kDefaultUI = kCentimeter;
};

class Tunit;
extern template class VELACORE_API vela::time_internal::TmeasureUnit<Tunit, TlengthUnitKind>;

class VELACORE_API Tunit : public vela::time_internal::TmeasureUnit<Tunit, TlengthUnitKind> {
 public:
  Tunit() noexcept = default;
  /// A conversion object for `unit` against the present internal unit.
  explicit Tunit(TunitSystem unit) noexcept { setCurrentUnit(unit); }

  /// @name Factors of this object's unit against one internal unit each
  /// @{
  void computeConversionInch() noexcept { computeFactorsAgainst(kInch); }
  void computeConversionFoot() noexcept { computeFactorsAgainst(kFoot); }
  void computeConversionYard() noexcept { computeFactorsAgainst(kYard); }
  void computeConversionMile() noexcept { computeFactorsAgainst(kMile); }
  void computeConversionMilliMeter() noexcept { computeFactorsAgainst(kMillimeter); }
  void computeConversionCentiMeter() noexcept { computeFactorsAgainst(kCentimeter); }
  void computeConversionKiloMeter() noexcept { computeFactorsAgainst(kKilometer); }
  void computeConversionMeter() noexcept { computeFactorsAgainst(kMeter); }
  /// @}
};
