// TunitNames: the long, short and localized names of the length, angle and time units, and the
// parsing of a name back into its unit.
//
//   Tstring name;
//   TunitNames::setToShortName(Tunit::kMillimeter, name);     // "mm"
//   TunitNames::setToLongName(kTimeFilm, name, true);         // "film" (descriptive form)
//   TtimeUnitSystem unit;
//   bool known = TunitNames::setFromName("ntsc", unit);       // true, kTimeNTSC
//
// setFromName accepts, ignoring case and surrounding blanks: every long and short name, the time
// units' second names, plurals ("inches", "feet", "degrees", "hours"), the "metre" spellings and
// a few customary abbreviations ("h", "s", "ms" for time; "arcmin", "arcsec" for angles). It
// changes nothing and returns false on any other text. Time units 50 and 51 have no name.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/time/TangleUnit.h>
#include <velacore/time/TanimTime.h>
#include <velacore/time/Tunit.h>

#include <cstddef>

class VELACORE_API TunitNames {
 public:
  /// @name Lengths
  /// @{
  static void setToLongName(Tunit::TunitSystem unit, Tstring& name);
  static void setToShortName(Tunit::TunitSystem unit, Tstring& name);
  static void setToLocalizedLongName(Tunit::TunitSystem unit, Tstring& name);
  static void setToLocalizedShortName(Tunit::TunitSystem unit, Tstring& name);
  static bool setFromName(const char* text, Tunit::TunitSystem& unit);
  /// @}

  /// @name Angles
  /// @{
  static void setToLongName(TangleUnitSystem unit, Tstring& name);
  static void setToShortName(TangleUnitSystem unit, Tstring& name);
  static void setToLocalizedLongName(TangleUnitSystem unit, Tstring& name);
  static void setToLocalizedShortName(TangleUnitSystem unit, Tstring& name);
  static void setToLongName(const TangleUnit& unit, Tstring& name) {
    setToLongName(unit.currentUnit(), name);
  }
  static void setToShortName(const TangleUnit& unit, Tstring& name) {
    setToShortName(unit.currentUnit(), name);
  }
  static bool setFromName(const char* text, TangleUnitSystem& unit);
  /// @}

  /// @name Time (`descriptive` picks "game", "film", "pal", ... for units 4 to 10)
  /// @{
  static void setToLongName(TtimeUnitSystem unit, Tstring& name, bool descriptive = false);
  static void setToShortName(TtimeUnitSystem unit, Tstring& name, bool descriptive = false);
  static void setToLocalizedLongName(TtimeUnitSystem unit, Tstring& name, bool descriptive = false);
  static void setToLocalizedShortName(TtimeUnitSystem unit, Tstring& name,
                                      bool descriptive = false);
  static bool setFromName(const char* text, TtimeUnitSystem& unit);
  /// The same for a name that is not zero-terminated.
  static bool setFromName(const char* text, std::size_t length, TtimeUnitSystem& unit);
  /// @}
};
