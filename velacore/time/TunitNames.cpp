#include <velacore/time/TunitNames.h>

#include <velacore/base/TstringCatalog.h>

#include <cctype>
#include <cstring>
#include <string>

namespace {

const char* const kLengthLong[] = {"inch",       "foot",       "yard",      "mile",
                                   "millimeter", "centimeter", "kilometer", "meter"};
const char* const kLengthShort[] = {"in", "ft", "yd", "mi", "mm", "cm", "km", "m"};
const char* const kAngleLong[] = {"radian", "degree", "minute", "second"};
const char* const kAngleShort[] = {"rad", "deg", "min", "sec"};
const char* const kTimeNames[kTimeNoUnit] = {
    "hour",     "min",     "sec",       "millisec", "15fps",   "24fps",     "25fps",    "30fps",
    "48fps",    "50fps",   "60fps",     "2fps",     "3fps",    "4fps",      "5fps",     "6fps",
    "8fps",     "10fps",   "12fps",     "16fps",    "20fps",   "40fps",     "75fps",    "80fps",
    "100fps",   "120fps",  "125fps",    "150fps",   "200fps",  "240fps",    "250fps",   "300fps",
    "375fps",   "400fps",  "500fps",    "600fps",   "750fps",  "1200fps",   "1500fps",  "2000fps",
    "3000fps",  "6000fps", "23.976fps", "29.97fps", "29.97df", "47.952fps", "59.94fps", "44100fps",
    "48000fps", "90fps"};
// The descriptive names of units kTimeGames to kTimeNTSCField.
const char* const kTimeSecondNames[] = {"game", "film", "pal", "ntsc", "show", "palf", "ntscf"};

// Further spellings setFromName accepts.
struct Alias {
  const char* name;
  std::uint32_t unit;
};
const Alias kLengthAliases[] = {{"inches", Tunit::kInch},
                                {"\"", Tunit::kInch},
                                {"feet", Tunit::kFoot},
                                {"'", Tunit::kFoot},
                                {"yards", Tunit::kYard},
                                {"miles", Tunit::kMile},
                                {"millimeters", Tunit::kMillimeter},
                                {"millimetre", Tunit::kMillimeter},
                                {"millimetres", Tunit::kMillimeter},
                                {"centimeters", Tunit::kCentimeter},
                                {"centimetre", Tunit::kCentimeter},
                                {"centimetres", Tunit::kCentimeter},
                                {"kilometers", Tunit::kKilometer},
                                {"kilometre", Tunit::kKilometer},
                                {"kilometres", Tunit::kKilometer},
                                {"meters", Tunit::kMeter},
                                {"metre", Tunit::kMeter},
                                {"metres", Tunit::kMeter}};
const Alias kAngleAliases[] = {{"radians", kAngleRadians}, {"degrees", kAngleDegrees},
                               {"minutes", kAngleMinutes}, {"arcmin", kAngleMinutes},
                               {"seconds", kAngleSeconds}, {"arcsec", kAngleSeconds}};
const Alias kTimeAliases[] = {{"h", kTimeHours},
                              {"hours", kTimeHours},
                              {"minute", kTimeMinutes},
                              {"minutes", kTimeMinutes},
                              {"s", kTimeSeconds},
                              {"second", kTimeSeconds},
                              {"seconds", kTimeSeconds},
                              {"ms", kTimeMilliseconds},
                              {"millisecond", kTimeMilliseconds},
                              {"milliseconds", kTimeMilliseconds}};

bool sameName(const char* a, std::size_t length, const char* b) {
  if (std::strlen(b) != length) return false;
  for (std::size_t i = 0; i < length; ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

// Trims blanks, then looks the text up in the name lists and the aliases.
template <class Unit, std::size_t N1, std::size_t N2, std::size_t N3>
bool lookUp(const char* text, std::size_t length, const char* const (&first)[N1],
            const char* const (&second)[N2], std::uint32_t secondOffset, const Alias (&aliases)[N3],
            Unit& unit) {
  if (text == nullptr) return false;
  while (length > 0 && std::isspace(static_cast<unsigned char>(*text))) ++text, --length;
  while (length > 0 && std::isspace(static_cast<unsigned char>(text[length - 1]))) --length;
  for (std::size_t i = 0; i < N1; ++i) {
    if (sameName(text, length, first[i])) return unit = static_cast<Unit>(i), true;
  }
  for (std::size_t i = 0; i < N2; ++i) {
    if (sameName(text, length, second[i])) {
      return unit = static_cast<Unit>(i + secondOffset), true;
    }
  }
  for (const Alias& a : aliases) {
    if (sameName(text, length, a.name)) return unit = static_cast<Unit>(a.unit), true;
  }
  return false;
}

void setName(const char* const* table, std::size_t count, std::uint32_t unit, Tstring& name) {
  if (unit < count) {
    name.set(table[unit]);
  } else {
    name.clear();
  }
}

// The catalog's text for a name: keys are the prefix followed by the English name.
void setLocalized(const char* prefix, const char* const* table, std::size_t count,
                  std::uint32_t unit, Tstring& name) {
  if (unit >= count) {
    name.clear();
    return;
  }
  const std::string key = std::string(prefix) + table[unit];
  name.set(TstringCatalog::sText(TstringId{key.c_str()}));
}

const char* timeName(TtimeUnitSystem unit, bool descriptive) {
  if (unit >= kTimeNoUnit) return nullptr;
  if (descriptive && unit >= kTimeGames && unit <= kTimeNTSCField) {
    return kTimeSecondNames[unit - kTimeGames];
  }
  return kTimeNames[unit];
}

}  // namespace

void TunitNames::setToLongName(Tunit::TunitSystem unit, Tstring& name) {
  setName(kLengthLong, 8, unit, name);
}
void TunitNames::setToShortName(Tunit::TunitSystem unit, Tstring& name) {
  setName(kLengthShort, 8, unit, name);
}
void TunitNames::setToLocalizedLongName(Tunit::TunitSystem unit, Tstring& name) {
  setLocalized("s_TunitNamesStrings.rLength_", kLengthLong, 8, unit, name);
}
void TunitNames::setToLocalizedShortName(Tunit::TunitSystem unit, Tstring& name) {
  setLocalized("s_TunitNamesStrings.rLengthShort_", kLengthShort, 8, unit, name);
}
bool TunitNames::setFromName(const char* text, Tunit::TunitSystem& unit) {
  return text != nullptr &&
         lookUp(text, std::strlen(text), kLengthLong, kLengthShort, 0, kLengthAliases, unit);
}

void TunitNames::setToLongName(TangleUnitSystem unit, Tstring& name) {
  setName(kAngleLong, 4, unit, name);
}
void TunitNames::setToShortName(TangleUnitSystem unit, Tstring& name) {
  setName(kAngleShort, 4, unit, name);
}
void TunitNames::setToLocalizedLongName(TangleUnitSystem unit, Tstring& name) {
  setLocalized("s_TunitNamesStrings.rAngle_", kAngleLong, 4, unit, name);
}
void TunitNames::setToLocalizedShortName(TangleUnitSystem unit, Tstring& name) {
  setLocalized("s_TunitNamesStrings.rAngleShort_", kAngleShort, 4, unit, name);
}
bool TunitNames::setFromName(const char* text, TangleUnitSystem& unit) {
  return text != nullptr &&
         lookUp(text, std::strlen(text), kAngleLong, kAngleShort, 0, kAngleAliases, unit);
}

void TunitNames::setToLongName(TtimeUnitSystem unit, Tstring& name, bool descriptive) {
  const char* n = timeName(unit, descriptive);
  if (n != nullptr) {
    name.set(n);
  } else {
    name.clear();
  }
}
void TunitNames::setToShortName(TtimeUnitSystem unit, Tstring& name, bool descriptive) {
  setToLongName(unit, name, descriptive);
}
void TunitNames::setToLocalizedLongName(TtimeUnitSystem unit, Tstring& name, bool descriptive) {
  const char* n = timeName(unit, descriptive);
  if (n == nullptr) {
    name.clear();
    return;
  }
  setLocalized("s_TunitNamesStrings.rTime_", &n, 1, 0, name);
}
void TunitNames::setToLocalizedShortName(TtimeUnitSystem unit, Tstring& name, bool descriptive) {
  setToLocalizedLongName(unit, name, descriptive);
}
bool TunitNames::setFromName(const char* text, TtimeUnitSystem& unit) {
  return text != nullptr && setFromName(text, std::strlen(text), unit);
}
bool TunitNames::setFromName(const char* text, std::size_t length, TtimeUnitSystem& unit) {
  return lookUp(text, length, kTimeNames, kTimeSecondNames, kTimeGames, kTimeAliases, unit);
}
