// Timecode and the text forms of TanimTime, in exact integer arithmetic.
#include <velacore/time/TanimTime.h>

#include <velacore/time/TunitNames.h>
#include <velacore/time/internal/TwideMath.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace {

using vela::time_internal::Tint128;
using Tticks = TanimTime::Tticks;

constexpr Tticks kTicksMax = std::numeric_limits<Tticks>::max();
constexpr Tticks kTicksMin = std::numeric_limits<Tticks>::min();

// Drop-frame counting at 30 nominal frames a second: labels 0 and 1 are skipped at the start of
// each minute except every tenth, so ten minutes hold 17,982 frames and such a minute 1,798.
constexpr std::int64_t kDfFramesPer10Min = 17982;
constexpr std::int64_t kDfFramesPerMinute = 1798;

// How a unit counts timecode: `fps` labels a second, each `frameTicks` long.
struct Tcounting {
  std::int64_t fps;
  Tticks frameTicks;
  bool dropFrame;
};

bool countingOf(TtimeUnitSystem unit, Tcounting& c) {
  if (unit == kTimeCurrentUnit) unit = TanimTime::globalCurrentTimeUnit();
  if (unit >= kTimeNoUnit) return false;
  c.dropFrame = unit == kTime29_97DF;
  if (unit <= kTimeSeconds) {
    c.fps = 1;
    c.frameTicks = TanimTime::kTicksPerSecond;
    return true;
  }
  c.frameTicks = TanimTime::kTicksPerUnit[unit];
  c.fps = TanimTime::isColorTvNonIntegralFrameRate(unit)
              ? TanimTime::kTicksPerSecond * 1001 / (c.frameTicks * 1000)
              : TanimTime::kTicksPerSecond / c.frameTicks;
  return true;
}

int digitCount(std::uint64_t v) {
  int n = 1;
  while (v >= 10) v /= 10, ++n;
  return n;
}

std::uint64_t pow10(int n) {
  std::uint64_t p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

bool fitsTicks(Tint128 v) { return v >= kTicksMin && v <= kTicksMax; }

// Rounds num / den to the nearest integer, ties away from zero (den > 0).
Tint128 roundDiv(Tint128 num, Tint128 den) {
  return num >= 0 ? (num + den / 2) / den : -((-num + den / 2) / den);
}

// Appends the fraction of a frame, "." and enough digits to give `rest` ticks back exactly
// (more digits than the frame has ticks), trailing zeros dropped.
void appendFraction(std::uint64_t rest, Tticks frameTicks, Tstring& text) {
  if (rest == 0) return;
  const int digits = digitCount(static_cast<std::uint64_t>(frameTicks));
  Tint128 scaled = roundDiv(static_cast<Tint128>(rest) * pow10(digits), frameTicks);
  char buf[32];
  int n = digits;
  buf[n] = '\0';
  for (int i = n - 1; i >= 0; --i) {
    buf[i] = static_cast<char>('0' + static_cast<int>(scaled % 10));
    scaled /= 10;
  }
  while (n > 1 && buf[n - 1] == '0') buf[--n] = '\0';
  text.append(".");
  text.append(buf);
}

// Reads ".ddd" (the dot already consumed) as ticks of a frame, rounded to the nearest tick.
// Digits past the 18th are read but ignored.
bool readFraction(const char*& p, const char* end, Tticks frameTicks, Tticks& ticks) {
  std::uint64_t value = 0;
  int used = 0;
  const char* start = p;
  for (; p < end && std::isdigit(static_cast<unsigned char>(*p)); ++p) {
    if (used < 18) value = value * 10 + static_cast<std::uint64_t>(*p - '0'), ++used;
  }
  if (p == start) return false;
  ticks = static_cast<Tticks>(roundDiv(static_cast<Tint128>(value) * frameTicks, pow10(used)));
  return true;
}

// Reads 1 to `maxDigits` digits (no limit with 0) into `value`; false on none or overflow.
bool readDigits(const char*& p, const char* end, int maxDigits, std::uint64_t& value) {
  const char* start = p;
  value = 0;
  for (; p < end && std::isdigit(static_cast<unsigned char>(*p)); ++p) {
    if ((maxDigits != 0 && p - start >= maxDigits) ||
        value > (std::numeric_limits<std::uint64_t>::max() - 9) / 10) {
      return false;
    }
    value = value * 10 + static_cast<unsigned>(*p - '0');
  }
  return p != start;
}

// The same for fields that must fit a signed 64-bit integer.
bool readDigits(const char*& p, const char* end, int maxDigits, std::int64_t& value) {
  std::uint64_t v;
  if (!readDigits(p, end, maxDigits, v) || v > static_cast<std::uint64_t>(kTicksMax)) return false;
  value = static_cast<std::int64_t>(v);
  return true;
}

void skipBlanks(const char*& p, const char* end) {
  while (p < end && std::isspace(static_cast<unsigned char>(*p))) ++p;
}

// The ticks a bare number of current units gives: the product rounded up, clamped to the 64-bit
// range. Only plain decimal numbers count ("nan", "inf" and hexadecimal are not numbers here).
bool numberPathTicks(const char* begin, const char* end, Tticks& ticks) {
  skipBlanks(begin, end);
  while (end > begin && std::isspace(static_cast<unsigned char>(end[-1]))) --end;
  if (begin < end && *begin == '+') ++begin;
  if (begin == end) return false;
  for (const char* q = begin; q < end; ++q) {
    const char c = *q;
    if (!std::isdigit(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != 'e' &&
        c != 'E' && c != '+') {
      return false;
    }
  }
  double number = 0.0;
  const auto [rest, ec] = std::from_chars(begin, end, number);
  if (rest != end || (ec != std::errc() && ec != std::errc::result_out_of_range)) return false;
  if (ec == std::errc::result_out_of_range) {
    // Too large or too small for a double: a negative exponent means a value next to zero.
    const char* e = std::find_if(begin, end, [](char c) { return c == 'e' || c == 'E'; });
    const bool tiny = e != end && e + 1 < end && e[1] == '-';
    const bool negative = *begin == '-';
    number = tiny ? 0.0 : (negative ? -HUGE_VAL : HUGE_VAL);
  }
  const double product = std::ceil(TanimTime::globalCurrentTicksPerUnit() * number);
  if (product != product) return false;
  if (product >= 9223372036854775808.0) {
    ticks = kTicksMax;
  } else if (product < -9223372036854775808.0) {
    ticks = kTicksMin;
  } else {
    ticks = static_cast<Tticks>(product);
  }
  return true;
}

// Ticks per unit of a parseTime suffix; 0 when the suffix is not a time unit.
Tticks suffixTicks(const char* name, std::size_t length) {
  auto is = [&](const char* word) {
    return std::strlen(word) == length && std::strncmp(name, word, length) == 0;
  };
  if (is("f") || is("frame") || is("frames") || length == 0) {
    const double current = TanimTime::globalCurrentTicksPerUnit();
    return current >= 1.0 ? static_cast<Tticks>(current) : 1;
  }
  if (is("t") || is("tick") || is("ticks")) return 1;
  if (is("m")) return TanimTime::kTicksPerUnit[kTimeMinutes];
  TtimeUnitSystem unit;
  if (!TunitNames::setFromName(name, length, unit) || unit >= kTimeNoUnit) return 0;
  return TanimTime::kTicksPerUnit[unit];
}

}  // namespace

bool TanimTime::setValueFromSmpteUnits(const TsmpteFields& f, TtimeUnitSystem unit) {
  Tcounting c;
  if (!countingOf(unit, c)) return false;
  if (f.hours < 0 || f.minutes < 0 || f.minutes > 59 || f.seconds < 0 || f.seconds > 59 ||
      f.frames < 0 || f.frames >= c.fps || f.remainderTicks < 0 ||
      f.remainderTicks > c.frameTicks) {
    return false;
  }
  if (f.hours > kTicksMax / (3600 * c.fps)) return false;
  const Tint128 totalMinutes = static_cast<Tint128>(f.hours) * 60 + f.minutes;
  Tint128 frame = ((totalMinutes * 60 + f.seconds) * c.fps) + f.frames;
  if (c.dropFrame) {
    if (f.seconds == 0 && f.frames < 2 && totalMinutes % 10 != 0) return false;
    frame -= 2 * (totalMinutes - totalMinutes / 10);
  }
  Tint128 ticks = frame * c.frameTicks + f.remainderTicks;
  if (f.negative) ticks = -ticks;
  if (!fitsTicks(ticks)) return false;
  fTicks = static_cast<Tticks>(ticks);
  return true;
}

bool TanimTime::setValueFromSmpteUnits(std::int64_t hours, std::int32_t minutes,
                                       std::int32_t seconds, std::int64_t frames,
                                       TtimeUnitSystem unit) {
  TsmpteFields f;
  f.negative = hours < 0;
  f.hours = hours < 0 ? -hours : hours;
  f.minutes = minutes;
  f.seconds = seconds;
  f.frames = frames;
  return setValueFromSmpteUnits(f, unit);
}

bool TanimTime::getValueInSmpteUnit(TsmpteFields& f, TtimeUnitSystem unit) const noexcept {
  Tcounting c;
  if (!countingOf(unit, c)) return false;
  f.negative = fTicks < 0;
  const std::uint64_t magnitude =
      f.negative ? 0 - static_cast<std::uint64_t>(fTicks) : static_cast<std::uint64_t>(fTicks);
  const auto frameTicks = static_cast<std::uint64_t>(c.frameTicks);
  auto frame = static_cast<std::int64_t>(magnitude / frameTicks);
  f.remainderTicks = static_cast<std::int64_t>(magnitude % frameTicks);
  if (c.dropFrame) {
    const std::int64_t tens = frame / kDfFramesPer10Min;
    const std::int64_t rest = frame % kDfFramesPer10Min;
    frame += 18 * tens + (rest >= 2 ? 2 * ((rest - 2) / kDfFramesPerMinute) : 0);
  }
  f.frames = frame % c.fps;
  const std::int64_t totalSeconds = frame / c.fps;
  f.seconds = static_cast<std::int32_t>(totalSeconds % 60);
  f.minutes = static_cast<std::int32_t>(totalSeconds / 60 % 60);
  f.hours = totalSeconds / 3600;
  return true;
}

double TanimTime::valueInSmpteUnit(TtimeUnitSystem unit) const noexcept {
  TsmpteFields f;
  Tcounting c;
  if (!countingOf(unit, c) || !getValueInSmpteUnit(f, unit)) return 0.0;
  const double packed = static_cast<double>(f.hours) * 1e6 + f.minutes * 1e4 + f.seconds * 100.0 +
                        static_cast<double>(f.frames) +
                        static_cast<double>(f.remainderTicks) / static_cast<double>(c.frameTicks);
  return f.negative ? -packed : packed;
}

bool TanimTime::setValueFromSmpteFloatUnit(double packed, TtimeUnitSystem unit) {
  Tcounting c;
  if (!countingOf(unit, c) || c.fps > 100 || !(std::fabs(packed) < 9e15)) return false;
  TsmpteFields f;
  f.negative = packed < 0;
  const double magnitude = std::fabs(packed);
  const double whole = std::floor(magnitude);
  const auto w = static_cast<std::int64_t>(whole);
  f.hours = w / 1000000;
  f.minutes = static_cast<std::int32_t>(w / 10000 % 100);
  f.seconds = static_cast<std::int32_t>(w / 100 % 100);
  f.frames = w % 100;
  f.remainderTicks = sConvertToTicks((magnitude - whole) * static_cast<double>(c.frameTicks));
  return setValueFromSmpteUnits(f, unit);
}

bool TanimTime::setValueFromSmpteFromString(const char* text, TtimeUnitSystem unit) {
  Tcounting c;
  if (text == nullptr || !countingOf(unit, c)) return false;
  const char* p = text;
  const char* end = text + std::strlen(text);
  skipBlanks(p, end);
  TsmpteFields f;
  if (p < end && (*p == '-' || *p == '+')) f.negative = *p++ == '-';
  std::int64_t minutes = 0, seconds = 0;
  if (!readDigits(p, end, 0, f.hours) || p == end || *p++ != ':' ||
      !readDigits(p, end, 2, minutes) || p == end || *p++ != ':' ||
      !readDigits(p, end, 2, seconds) || p == end) {
    return false;
  }
  const char separator = *p++;
  if (separator != ':' && !(separator == ';' && c.dropFrame)) return false;
  if (!readDigits(p, end, 0, f.frames)) return false;
  if (p < end && *p == '.') {
    ++p;
    if (!readFraction(p, end, c.frameTicks, f.remainderTicks)) return false;
  }
  skipBlanks(p, end);
  if (p != end) return false;
  f.minutes = static_cast<std::int32_t>(minutes);
  f.seconds = static_cast<std::int32_t>(seconds);
  return setValueFromSmpteUnits(f, unit);
}

bool TanimTime::parseTime(const char* text) {
  if (text == nullptr) return false;
  const char* p = text;
  const char* end = text + std::strlen(text);
  skipBlanks(p, end);
  bool negative = false;
  if (p < end && (*p == '-' || *p == '+')) negative = *p++ == '-';
  Tint128 total = 0;
  int terms = 0;
  bool lastHadNoUnit = false;
  while (true) {
    skipBlanks(p, end);
    if (p == end) break;
    // number: digits [. digits] or . digits
    if (lastHadNoUnit) return false;  // a bare number ends the text
    std::uint64_t whole = 0;
    const bool hasWhole = std::isdigit(static_cast<unsigned char>(*p)) != 0;
    if (hasWhole && !readDigits(p, end, 0, whole)) return false;
    const char* fractionStart = nullptr;
    if (p < end && *p == '.') {
      fractionStart = ++p;
      while (p < end && std::isdigit(static_cast<unsigned char>(*p))) ++p;
      if (p == fractionStart && !hasWhole) return false;
    } else if (!hasWhole) {
      return false;
    }
    const char* fractionEnd = p;
    skipBlanks(p, end);
    const char* name = p;
    while (p < end && std::isalpha(static_cast<unsigned char>(*p))) ++p;
    lastHadNoUnit = p == name;
    const Tticks unitTicks = suffixTicks(name, static_cast<std::size_t>(p - name));
    if (unitTicks == 0) return false;
    Tticks fractionTicks = 0;
    if (fractionStart != nullptr && fractionStart != fractionEnd) {
      const char* q = fractionStart;
      readFraction(q, fractionEnd, unitTicks, fractionTicks);
    }
    total += static_cast<Tint128>(whole) * unitTicks + fractionTicks;
    if (total > static_cast<Tint128>(kTicksMax) + 1) return false;
    ++terms;
  }
  if (terms == 0) return false;
  if (negative) total = -total;
  if (!fitsTicks(total)) return false;
  fTicks = static_cast<Tticks>(total);
  return true;
}

bool TanimTime::setValueFromString(const char* text) {
  if (text == nullptr) return false;
  if (setValueFromSmpteFromString(text, kTimeCurrentUnit)) return true;
  Tticks ticks;
  if (numberPathTicks(text, text + std::strlen(text), ticks)) {
    fTicks = ticks;
    return true;
  }
  // parseTime changes nothing when it fails: the previous value stays.
  return parseTime(text);
}

Tstring TanimTime::toFrameUnitsString() const {
  const double perUnit = globalCurrentTicksPerUnit();
  const Tticks frameTicks = perUnit >= 1.0 ? static_cast<Tticks>(perUnit) : 1;
  const bool negative = fTicks < 0;
  const std::uint64_t magnitude =
      negative ? 0 - static_cast<std::uint64_t>(fTicks) : static_cast<std::uint64_t>(fTicks);
  const std::uint64_t frames = magnitude / static_cast<std::uint64_t>(frameTicks);
  const std::uint64_t rest = magnitude % static_cast<std::uint64_t>(frameTicks);

  // A plain number when the reader's rounding gives this very tick back.
  char buf[64];
  auto readsBack = [&](const char* begin, const char* end) {
    Tticks back;
    return numberPathTicks(begin, end, back) && back == fTicks;
  };
  if (rest == 0) {
    const int n = std::snprintf(buf, sizeof buf, "%s%llu", negative ? "-" : "",
                                static_cast<unsigned long long>(frames));
    if (readsBack(buf, buf + n)) return Tstring(buf, static_cast<unsigned>(n));
  } else {
    const double value = inDoubleTicks() / static_cast<double>(frameTicks);
    const auto result = std::to_chars(buf, buf + sizeof buf, value);
    if (result.ec == std::errc() && readsBack(buf, result.ptr)) {
      return Tstring(buf, static_cast<unsigned>(result.ptr - buf));
    }
  }
  // The exact form, read back by parseTime.
  Tstring text;
  const int n = std::snprintf(buf, sizeof buf, "%s%llu", negative ? "-" : "",
                              static_cast<unsigned long long>(frames));
  text.set(buf, static_cast<unsigned>(n));
  appendFraction(rest, frameTicks, text);
  text.append("f");
  return text;
}

void TanimTime::toString(bool smpte, TtimeUnitSystem unit, Tstring& text) const {
  TsmpteFields f;
  Tcounting c;
  if (!smpte || !countingOf(unit, c) || !getValueInSmpteUnit(f, unit)) {
    text = toFrameUnitsString();
    return;
  }
  char buf[96];
  const int frameDigits = digitCount(static_cast<std::uint64_t>(c.fps - 1));
  const int n =
      std::snprintf(buf, sizeof buf, "%s%02lld:%02d:%02d%c%0*lld", f.negative ? "-" : "",
                    static_cast<long long>(f.hours), f.minutes, f.seconds, c.dropFrame ? ';' : ':',
                    frameDigits < 2 ? 2 : frameDigits, static_cast<long long>(f.frames));
  text.set(buf, static_cast<unsigned>(n));
  appendFraction(static_cast<std::uint64_t>(f.remainderTicks), c.frameTicks, text);
}
