// TanimTime: an animation time, an exact signed 64-bit count of ticks.
//
// A second is 141,120,000 ticks: every frame rate the application offers (film, PAL, NTSC, the
// colour-television 1000/1001 rates, 44.1 and 48 kHz audio, ...) is a whole number of ticks, so
// times add, subtract and compare exactly, and 1000 frames at 23.976 last exactly as long as 1001
// frames at 24.
//
//   TanimTime t(1.5, kTimeFilm);                  // one and a half film frames: 8,820,000 ticks
//   double frames = t.valueInThisUnit(kTimeNTSC);  // 1.875
//   t += TanimTime(2.0, kTimeSeconds);
//   TanimTime::setGlobalCurrentTimeUnit(kTimePAL); // the unit bare numbers are read in
//   t.setValueFromString("01:00:00:12");           // one hour and 12 PAL frames
//
// Hazards:
// - The current time unit and the current file tick rate are plain process-wide settings with no
//   lock: set them from one thread, before others read times in them.
// - Multiplying, dividing and setting from a double go through double precision and round to the
//   nearest tick (ties away from zero), saturating at the 64-bit limits; NaN gives 0.
//   `+` and `-` are exact and saturate at the limits instead of wrapping.
// - `setValueFromString` rounds a bare number of current units *up* to a whole tick (what users
//   typing "12.3" expect: never the tick before the frame they meant); `setValue` rounds to
//   nearest.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TtypedObjArray.h>
#include <velacore/containers/TtypedSortedArray.h>
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <limits>

/// The time units. 0-49 have a fixed tick count per unit; kTimeNoUnit converts to 0 and sets
/// nothing; kTimeCurrentUnit stands for TanimTime::globalCurrentTimeUnit().
enum TtimeUnitSystem : std::uint32_t {
  kTimeHours = 0,
  kTimeMinutes,
  kTimeSeconds,
  kTimeMilliseconds,
  kTimeGames,      // 15 fps
  kTimeFilm,       // 24 fps
  kTimePAL,        // 25 fps
  kTimeNTSC,       // 30 fps
  kTimeShowScan,   // 48 fps
  kTimePALField,   // 50 fps
  kTimeNTSCField,  // 60 fps
  kTime2FPS,
  kTime3FPS,
  kTime4FPS,
  kTime5FPS,
  kTime6FPS,
  kTime8FPS,
  kTime10FPS,
  kTime12FPS,
  kTime16FPS,
  kTime20FPS,
  kTime40FPS,
  kTime75FPS,
  kTime80FPS,
  kTime100FPS,
  kTime120FPS,
  kTime125FPS,
  kTime150FPS,
  kTime200FPS,
  kTime240FPS,
  kTime250FPS,
  kTime300FPS,
  kTime375FPS,
  kTime400FPS,
  kTime500FPS,
  kTime600FPS,
  kTime750FPS,
  kTime1200FPS,
  kTime1500FPS,
  kTime2000FPS,
  kTime3000FPS,
  kTime6000FPS,
  kTime23_976FPS,  // 24 x 1000/1001
  kTime29_97FPS,   // 30 x 1000/1001
  kTime29_97DF,    // 29.97 with drop-frame timecode
  kTime47_952FPS,  // 48 x 1000/1001
  kTime59_94FPS,   // 60 x 1000/1001
  kTime44100FPS,
  kTime48000FPS,
  kTime90FPS,
  kTimeNoUnit,      // 50
  kTimeCurrentUnit  // 51
};

/// The hours, minutes, seconds and frames of a time in a unit's timecode, plus the ticks past
/// the last whole frame. `frames` counts timecode labels: for drop-frame time it is the label,
/// not the frame's position in the minute.
struct VELACORE_API TsmpteFields {
  bool negative = false;
  std::int64_t hours = 0;
  std::int32_t minutes = 0;
  std::int32_t seconds = 0;
  std::int64_t frames = 0;
  std::int64_t remainderTicks = 0;
};

class VELACORE_API TanimTime {
 public:
  using Tticks = std::int64_t;

  /// Ticks in one second.
  static constexpr Tticks kTicksPerSecond = 141120000;
  /// Ticks in one unit of the coarse time of the older file format (6000 a second).
  static constexpr Tticks kTqTicks = 23520;
  /// The coarse unit of the colour-television rates, times 1000 (stretched by 1001/1000).
  static constexpr Tticks kTqColorTicksTimes1000 = 23543520;
  /// Ticks per unit of units 0 to 49.
  static constexpr Tticks kTicksPerUnit[kTimeNoUnit] = {
      508032000000, 8467200000, 141120000, 141120,  // hour, min, sec, millisec
      9408000,      5880000,    5644800,   4704000,  2940000,  2822400,  2352000,  70560000,
      47040000,     35280000,   28224000,  23520000, 17640000, 14112000, 11760000, 8820000,
      7056000,      3528000,    1881600,   1764000,  1411200,  1176000,  1128960,  940800,
      705600,       588000,     564480,    470400,   376320,   352800,   282240,   235200,
      188160,       117600,     94080,     70560,    47040,    23520,    5885880,  4708704,
      4708704,      2942940,    2354352,  // 1000/1001 rates
      3200,         2940,       1568000};

  /// @name Construction
  /// @{
  constexpr TanimTime() noexcept = default;
  /// A time of `ticks` ticks.
  constexpr explicit TanimTime(Tticks ticks) noexcept : fTicks(ticks) {}
  /// `value` units of `unit` (see setValue); 0 ticks for kTimeNoUnit.
  TanimTime(double value, TtimeUnitSystem unit) noexcept { setValue(value, unit); }
  /// @}

  /// @name Reading the value
  /// @{
  [[nodiscard]] constexpr Tticks inTicks() const noexcept { return fTicks; }
  [[nodiscard]] constexpr double inDoubleTicks() const noexcept {
    return static_cast<double>(fTicks);
  }
  [[nodiscard]] constexpr double inDoubleSeconds() const noexcept {
    return static_cast<double>(fTicks) / static_cast<double>(kTicksPerSecond);
  }
  /// The same as inDoubleSeconds().
  [[nodiscard]] constexpr double inSeconds() const noexcept { return inDoubleSeconds(); }
  /// The time in units of `unit`: 0 for kTimeNoUnit, the ticks themselves for a value past
  /// kTimeCurrentUnit.
  [[nodiscard]] double valueInThisUnit(TtimeUnitSystem unit) const noexcept {
    if (unit < kTimeNoUnit) return inDoubleTicks() / static_cast<double>(kTicksPerUnit[unit]);
    if (unit == kTimeCurrentUnit) return inDoubleTicks() / sCurrentTicksPerUnit;
    if (unit == kTimeNoUnit) return 0.0;
    return inDoubleTicks();
  }
  /// @}

  /// @name Setting the value
  /// @{
  void setValueInTicks(Tticks ticks) noexcept { fTicks = ticks; }
  /// Sets `value` units of `unit`, rounded to the nearest tick: kTimeCurrentUnit uses the
  /// current unit, kTimeNoUnit leaves the time unchanged, a value past kTimeCurrentUnit is taken
  /// as ticks.
  void setValue(double value, TtimeUnitSystem unit) noexcept {
    if (unit < kTimeNoUnit) {
      fTicks = sConvertToTicks(value * static_cast<double>(kTicksPerUnit[unit]));
    } else if (unit == kTimeCurrentUnit) {
      fTicks = sConvertToTicks(value * sCurrentTicksPerUnit);
    } else if (unit != kTimeNoUnit) {
      fTicks = sConvertToTicks(value);
    }
  }
  /// Rounds a double to the nearest tick (ties away from zero), clamped to the 64-bit range;
  /// NaN gives 0.
  [[nodiscard]] static Tticks sConvertToTicks(double value) noexcept {
    if (!(value < 9223372036854775808.0)) {
      return value != value ? 0 : std::numeric_limits<Tticks>::max();
    }
    if (value < -9223372036854775808.0) return std::numeric_limits<Tticks>::min();
    // Truncate (exact for every double in range), then step away from zero on halves.
    Tticks whole = static_cast<Tticks>(value);
    const double rest = value - static_cast<double>(whole);
    if (rest >= 0.5) {
      ++whole;
    } else if (rest <= -0.5) {
      --whole;
    }
    return whole;
  }
  /// @}

  /// @name Comparison and arithmetic
  /// @{
  friend constexpr bool operator==(TanimTime a, TanimTime b) { return a.fTicks == b.fTicks; }
  friend constexpr bool operator!=(TanimTime a, TanimTime b) { return a.fTicks != b.fTicks; }
  friend constexpr bool operator<(TanimTime a, TanimTime b) { return a.fTicks < b.fTicks; }
  friend constexpr bool operator<=(TanimTime a, TanimTime b) { return a.fTicks <= b.fTicks; }
  friend constexpr bool operator>(TanimTime a, TanimTime b) { return a.fTicks > b.fTicks; }
  friend constexpr bool operator>=(TanimTime a, TanimTime b) { return a.fTicks >= b.fTicks; }

  /// Exact sum and difference, saturating at the 64-bit limits.
  TanimTime operator+(TanimTime other) const noexcept {
    return TanimTime(sSaturatingAdd(fTicks, other.fTicks));
  }
  TanimTime operator-(TanimTime other) const noexcept {
    return TanimTime(sSaturatingSub(fTicks, other.fTicks));
  }
  TanimTime operator-() const noexcept { return TanimTime(sSaturatingSub(0, fTicks)); }
  TanimTime& operator+=(TanimTime other) noexcept { return *this = *this + other; }
  TanimTime& operator-=(TanimTime other) noexcept { return *this = *this - other; }

  /// Products and quotients of the tick counts in double precision, rounded to a tick.
  TanimTime operator*(TanimTime other) const noexcept {
    return TanimTime(sConvertToTicks(inDoubleTicks() * other.inDoubleTicks()));
  }
  TanimTime operator/(TanimTime other) const noexcept {
    return TanimTime(sConvertToTicks(inDoubleTicks() / other.inDoubleTicks()));
  }
  TanimTime operator*(double factor) const noexcept {
    return TanimTime(sConvertToTicks(inDoubleTicks() * factor));
  }
  TanimTime operator/(double divisor) const noexcept {
    return TanimTime(sConvertToTicks(inDoubleTicks() / divisor));
  }
  TanimTime& operator*=(TanimTime other) noexcept { return *this = *this * other; }
  TanimTime& operator/=(TanimTime other) noexcept { return *this = *this / other; }
  TanimTime& operator*=(double factor) noexcept { return *this = *this * factor; }
  TanimTime& operator/=(double divisor) noexcept { return *this = *this / divisor; }

  static const TanimTime& min(const TanimTime& a, const TanimTime& b) noexcept {
    return b.fTicks < a.fTicks ? b : a;
  }
  static const TanimTime& max(const TanimTime& a, const TanimTime& b) noexcept {
    return a.fTicks < b.fTicks ? b : a;
  }
  /// Raises the time to `low` or lowers it to `high` when it lies outside [low, high].
  void clamp(TanimTime low, TanimTime high) noexcept {
    if (fTicks < low.fTicks) {
      fTicks = low.fTicks;
    } else if (fTicks > high.fTicks) {
      fTicks = high.fTicks;
    }
  }
  /// @}

  /// @name Units
  /// @{
  /// The unit that bare numbers are read and written in (starts at kTimeFilm).
  [[nodiscard]] static TtimeUnitSystem globalCurrentTimeUnit() noexcept { return sCurrentUnit; }
  /// Ticks per current unit (1 for a current unit outside 0-49).
  [[nodiscard]] static double globalCurrentTicksPerUnit() noexcept { return sCurrentTicksPerUnit; }
  static void setGlobalCurrentTimeUnit(TtimeUnitSystem unit) noexcept;
  /// Ticks per unit of `unit` after resolving kTimeCurrentUnit; 0 for units without one.
  [[nodiscard]] static Tticks sTicksPerUnit(TtimeUnitSystem unit) noexcept;
  /// `value` units of `from` in units of `to` (0 when either is kTimeNoUnit).
  [[nodiscard]] static double convertFromUnitToUnit(double value, TtimeUnitSystem from,
                                                    TtimeUnitSystem to) noexcept;
  /// True for the 1000/1001 rates (23.976, 29.97, 29.97 drop-frame, 47.952, 59.94).
  [[nodiscard]] static bool isColorTvNonIntegralFrameRate(TtimeUnitSystem unit) noexcept;
  /// True for 29.97 drop-frame only.
  [[nodiscard]] static bool isDropFrameRate(TtimeUnitSystem unit) noexcept;
  /// @}

  /// @name Text and timecode
  /// Timecode is "[-]hh:mm:ss:ff" in the unit's nominal frames per second (24 for 23.976, 30
  /// for 29.97, ...; hours, minutes and seconds count one frame a second, milliseconds 1000):
  /// hours have at least two digits and as many more as needed, frames as many digits as the
  /// largest frame number. Drop-frame time (kTime29_97DF) writes ";" before the frames and
  /// skips frame labels 0 and 1 at the start of every minute not divisible by ten; reading it
  /// accepts ";" or ":" and refuses a skipped label. A time between frames adds the fraction of
  /// a frame, ".ddd" after the frames, with enough digits to give the exact tick back. A minus
  /// sign applies to the whole time. Units 50 and above have no timecode.
  ///
  /// parseTime reads a sum of terms, "[-]term[ term...]", each a decimal number (no exponent)
  /// followed by a unit (only the last term may omit it): h/hour/hours, m/min/minute(s),
  /// s/sec/second(s), ms/millisec/millisecond(s), the named frame rates (game, film, pal, ntsc,
  /// show, palf, ntscf), f/frame/frames (the current unit), t/tick/ticks; without a unit, frames of
  /// the current unit. Its arithmetic is exact, rounding each term to the nearest tick ("1m 30s",
  /// "2.5f", "12t").
  ///
  /// Every reader changes nothing and returns false on text it refuses.
  /// @{
  /// Reads timecode, then a bare number of current units (rounded up to a tick), then parseTime.
  bool setValueFromString(const char* text);
  bool setValueFromString(const Tstring& text) { return setValueFromString(text.asC()); }
  bool parseTime(const char* text);
  /// Reads "[-]hh:mm:ss:ff[.ddd]" (";" before the frames for drop-frame) in `unit`.
  bool setValueFromSmpteFromString(const char* text, TtimeUnitSystem unit = kTimeCurrentUnit);
  /// Sets the time from timecode fields; false (and no change) for fields out of range, a
  /// skipped drop-frame label, a negative remainder or a time past the 64-bit range.
  bool setValueFromSmpteUnits(const TsmpteFields& fields, TtimeUnitSystem unit = kTimeCurrentUnit);
  bool setValueFromSmpteUnits(std::int64_t hours, std::int32_t minutes, std::int32_t seconds,
                              std::int64_t frames, TtimeUnitSystem unit = kTimeCurrentUnit);
  /// Reads the packed form hhmmssff.fraction of valueInSmpteUnit (rates up to 100 frames a
  /// second only).
  bool setValueFromSmpteFloatUnit(double packed, TtimeUnitSystem unit = kTimeCurrentUnit);
  /// The timecode fields of the time in `unit`; false for a unit without timecode.
  bool getValueInSmpteUnit(TsmpteFields& fields,
                           TtimeUnitSystem unit = kTimeCurrentUnit) const noexcept;
  /// The timecode packed in one number, hours x 10^6 + minutes x 10^4 + seconds x 100 + frames,
  /// plus the fraction of a frame, negative for negative times (0 for a unit without timecode).
  [[nodiscard]] double valueInSmpteUnit(TtimeUnitSystem unit = kTimeCurrentUnit) const noexcept;
  /// The time as a number of current units ("48", "12.5"); when a plain number would not read
  /// back to the same tick, the exact form "<frames>.<fraction>f".
  [[nodiscard]] Tstring toFrameUnitsString() const;
  /// Timecode in `unit` (smpte true; the frame-units string for units without timecode) or the
  /// frame-units string. setValueFromString reads it back to the same tick when `unit` is the
  /// current unit.
  void toString(bool smpte, TtimeUnitSystem unit, Tstring& text) const;
  [[nodiscard]] Tstring toString(bool smpte = false,
                                 TtimeUnitSystem unit = kTimeCurrentUnit) const {
    Tstring text;
    toString(smpte, unit, text);
    return text;
  }
  /// @}

  /// @name The coarse time and the disk forms of older files
  /// Older files store times as 32-bit counts of a coarse unit, 6000 a second (23,520 ticks;
  /// 23,543.52 for the colour-television rates); newer files store 64-bit tick counts, possibly
  /// at another tick rate.
  /// @{
  /// Ticks / 23,520 truncated toward zero.
  [[nodiscard]] constexpr std::int64_t inTqTime() const noexcept { return fTicks / kTqTicks; }
  [[nodiscard]] constexpr double inTqDoubleTicks() const noexcept {
    return static_cast<double>(inTqTime());
  }
  void setValueFromTqTime(std::int32_t n) noexcept { fTicks = std::int64_t{n} * kTqTicks; }
  /// The coarse value to write for `unit` (kTimeCurrentUnit resolved): the floor of the time in
  /// coarse units, or `previous + 1` when that is not above `previous`, so that times written in
  /// sequence stay strictly increasing. Saturates at the 32-bit limits.
  [[nodiscard]] std::int32_t inTqTimeIO(std::int32_t previous,
                                        TtimeUnitSystem unit = kTimeCurrentUnit) const noexcept;
  /// The inverse of inTqTimeIO; rounds the colour-television rates' positive values up.
  void setValueFromTqTimeIO(std::int32_t n, TtimeUnitSystem unit = kTimeCurrentUnit) noexcept;
  /// Reads the 4-byte big-endian coarse form (for the current unit); returns the byte after it.
  const unsigned char* setValueFromDiskBuffer32(const unsigned char* buffer) noexcept;
  /// Reads the 8-byte big-endian tick count, rescaled from the current file tick rate; returns
  /// the byte after it.
  const unsigned char* setValueFromDiskBuffer64(const unsigned char* buffer) noexcept;
  /// Whether files of `fileVersion` store times in the 8-byte form (205, and 208 onwards).
  [[nodiscard]] static constexpr bool sDiskFormIs64(int fileVersion) noexcept {
    return fileVersion == 205 || fileVersion >= 208;
  }
  /// Reads the disk form that files of `fileVersion` use; returns the byte after it.
  const unsigned char* setValueFromDiskBuffer(const unsigned char* buffer,
                                              int fileVersion) noexcept {
    return sDiskFormIs64(fileVersion) ? setValueFromDiskBuffer64(buffer)
                                      : setValueFromDiskBuffer32(buffer);
  }
  /// Writes the 8-byte big-endian tick count; returns the byte after it.
  unsigned char* writeDiskBuffer64(unsigned char* buffer) const noexcept;
  /// Sets the tick rate (ticks per second) of the file being read; returns the previous rate.
  /// A rate of 0 or below reads tick counts unscaled.
  static std::int64_t setCurrentFileTickDuration(std::int64_t ticksPerSecond) noexcept;
  /// @}

 private:
  static Tticks sSaturatingAdd(Tticks a, Tticks b) noexcept {
    Tticks r;
    if (__builtin_add_overflow(a, b, &r)) {
      return b > 0 ? std::numeric_limits<Tticks>::max() : std::numeric_limits<Tticks>::min();
    }
    return r;
  }
  static Tticks sSaturatingSub(Tticks a, Tticks b) noexcept {
    Tticks r;
    if (__builtin_sub_overflow(a, b, &r)) {
      return b < 0 ? std::numeric_limits<Tticks>::max() : std::numeric_limits<Tticks>::min();
    }
    return r;
  }

  static TtimeUnitSystem sCurrentUnit;
  static double sCurrentTicksPerUnit;
  static std::int64_t sFileTicksPerSecond;

  Tticks fTicks = 0;
};

/// Object and sorted arrays of times.
using TanimTimeArray = TtypedObjArray<TanimTime>;
using TanimTimeSortedArray = TtypedSortedArray<TanimTime>;
