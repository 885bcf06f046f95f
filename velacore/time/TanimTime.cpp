#include <velacore/time/TanimTime.h>

#include <velacore/base/TbigEndian.h>
#include <velacore/time/internal/TwideMath.h>

#include <limits>

TtimeUnitSystem TanimTime::sCurrentUnit = kTimeFilm;
double TanimTime::sCurrentTicksPerUnit = 5880000.0;
std::int64_t TanimTime::sFileTicksPerSecond = TanimTime::kTicksPerSecond;

namespace {

using vela::time_internal::floorDiv;
using vela::time_internal::Tint128;

TtimeUnitSystem resolve(TtimeUnitSystem unit) {
  return unit == kTimeCurrentUnit ? TanimTime::globalCurrentTimeUnit() : unit;
}

bool isColorTv(TtimeUnitSystem unit) { return unit >= kTime23_976FPS && unit <= kTime59_94FPS; }

std::int32_t saturate32(std::int64_t v) {
  if (v > std::numeric_limits<std::int32_t>::max()) return std::numeric_limits<std::int32_t>::max();
  if (v < std::numeric_limits<std::int32_t>::min()) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);
}

}  // namespace

void TanimTime::setGlobalCurrentTimeUnit(TtimeUnitSystem unit) noexcept {
  if (unit == sCurrentUnit) return;
  sCurrentUnit = unit;
  sCurrentTicksPerUnit = unit < kTimeNoUnit ? static_cast<double>(kTicksPerUnit[unit]) : 1.0;
}

TanimTime::Tticks TanimTime::sTicksPerUnit(TtimeUnitSystem unit) noexcept {
  unit = resolve(unit);
  return unit < kTimeNoUnit ? kTicksPerUnit[unit] : 0;
}

double TanimTime::convertFromUnitToUnit(double value, TtimeUnitSystem from,
                                        TtimeUnitSystem to) noexcept {
  from = resolve(from);
  to = resolve(to);
  if (from >= kTimeNoUnit || to >= kTimeNoUnit) return 0.0;
  if (from == to) return value;
  return value * static_cast<double>(kTicksPerUnit[from]) / static_cast<double>(kTicksPerUnit[to]);
}

bool TanimTime::isColorTvNonIntegralFrameRate(TtimeUnitSystem unit) noexcept {
  return isColorTv(resolve(unit));
}

bool TanimTime::isDropFrameRate(TtimeUnitSystem unit) noexcept {
  return resolve(unit) == kTime29_97DF;
}

std::int32_t TanimTime::inTqTimeIO(std::int32_t previous, TtimeUnitSystem unit) const noexcept {
  const std::int64_t coarse =
      isColorTv(resolve(unit))
          ? floorDiv(static_cast<Tint128>(fTicks) * 1000, kTqColorTicksTimes1000)
          : floorDiv(fTicks, kTqTicks);
  if (coarse <= previous) {
    return previous == std::numeric_limits<std::int32_t>::max() ? previous : previous + 1;
  }
  return saturate32(coarse);
}

void TanimTime::setValueFromTqTimeIO(std::int32_t n, TtimeUnitSystem unit) noexcept {
  if (!isColorTv(resolve(unit))) {
    fTicks = std::int64_t{n} * kTqTicks;
    return;
  }
  // Truncating division; the 999 makes positive values round up.
  fTicks = (std::int64_t{n} * kTqColorTicksTimes1000 + (n > 0 ? 999 : 0)) / 1000;
}

const unsigned char* TanimTime::setValueFromDiskBuffer32(const unsigned char* buffer) noexcept {
  setValueFromTqTimeIO(TbigEndian::read<std::int32_t>(buffer), kTimeCurrentUnit);
  return buffer + 4;
}

const unsigned char* TanimTime::setValueFromDiskBuffer64(const unsigned char* buffer) noexcept {
  const auto stored = TbigEndian::read<std::int64_t>(buffer);
  if (sFileTicksPerSecond == kTicksPerSecond || sFileTicksPerSecond <= 0) {
    fTicks = stored;
  } else {
    // Truncated toward zero, as older readers did; clamped so a huge value cannot overflow.
    const double scaled = static_cast<double>(stored) * (static_cast<double>(kTicksPerSecond) /
                                                         static_cast<double>(sFileTicksPerSecond));
    if (scaled >= 9223372036854775808.0) {
      fTicks = std::numeric_limits<Tticks>::max();
    } else if (scaled < -9223372036854775808.0) {
      fTicks = std::numeric_limits<Tticks>::min();
    } else {
      fTicks = static_cast<Tticks>(scaled);
    }
  }
  return buffer + 8;
}

unsigned char* TanimTime::writeDiskBuffer64(unsigned char* buffer) const noexcept {
  return TbigEndian::write<std::int64_t>(buffer, fTicks);
}

std::int64_t TanimTime::setCurrentFileTickDuration(std::int64_t ticksPerSecond) noexcept {
  const std::int64_t previous = sFileTicksPerSecond;
  sFileTicksPerSecond = ticksPerSecond;
  return previous;
}
