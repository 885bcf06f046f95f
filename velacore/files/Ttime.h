// Ttime: a moment in wall-clock time, as a file system records it.
//
//   Ttime changed = TfilePath("scene.vela").modifyTime();   // throws TfileException if missing
//   if (changed > lastLoad) reload();
//
// Seconds and nanoseconds since 1970-01-01 00:00 UTC; a plain value, freely copied and shared.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>

class VELACORE_API Ttime {
 public:
  /// The epoch itself.
  constexpr Ttime() = default;
  /// `seconds` and `nanoseconds` (0 .. 999,999,999) since the epoch.
  constexpr Ttime(std::int64_t seconds, std::int32_t nanoseconds)
      : fSeconds(seconds), fNanoseconds(nanoseconds) {}

  [[nodiscard]] constexpr std::int64_t seconds() const { return fSeconds; }
  [[nodiscard]] constexpr std::int32_t nanoseconds() const { return fNanoseconds; }

  [[nodiscard]] constexpr bool operator==(const Ttime& o) const {
    return fSeconds == o.fSeconds && fNanoseconds == o.fNanoseconds;
  }
  [[nodiscard]] constexpr bool operator!=(const Ttime& o) const { return !(*this == o); }
  [[nodiscard]] constexpr bool operator<(const Ttime& o) const {
    return fSeconds < o.fSeconds || (fSeconds == o.fSeconds && fNanoseconds < o.fNanoseconds);
  }
  [[nodiscard]] constexpr bool operator>(const Ttime& o) const { return o < *this; }
  [[nodiscard]] constexpr bool operator<=(const Ttime& o) const { return !(o < *this); }
  [[nodiscard]] constexpr bool operator>=(const Ttime& o) const { return !(*this < o); }

 private:
  std::int64_t fSeconds = 0;
  std::int32_t fNanoseconds = 0;
};
