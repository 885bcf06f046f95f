// TnameString: a Tstring whose order is the natural order of names: runs of digits compare as
// numbers, so node2 sorts before node10.
//
//   TnameString a("node2"), b("node10");
//   a < b;                                          // true: 2 < 10
//   TnameString("box12").baseString(TnameString::kTrailingDigits);   // "box"
//   TnameString("item009").versionStringIncrement();                  // "010"
//
// The order, walking both names from the start:
// - where both names hold a digit 1..9, the two digit runs compare as numbers (the longer run is
//   the greater; equal lengths compare digit by digit) and the walk goes on behind them;
// - a run that begins with "0" is not a number: its bytes compare one by one, so a01 and a1 are
//   different names and a010 sorts before a9 ('0' < '9');
// - other bytes compare as signed 8-bit values: bytes above 127 (UTF-8 text) sort before every
//   ASCII character. This is deliberate and kept for compatibility of sorted name lists;
// - a name that ends first sorts first (abc < abcd).
// Names compare equal only when their texts are equal, so `==` is plain text equality.
//
// Traps: Tstring's own operators compare byte-wise; a TnameString viewed as a Tstring (through
// a reference to the base) uses those.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>

class VELACORE_API TnameString : public Tstring {
 public:
  /// Which digits baseString() removes.
  enum eBaseStringFilter {
    kTrailingDigits = 1,  ///< the run of digits at the end
    kLeadingDigits = 2,   ///< the run of digits at the start
    kBothDigits = 3       ///< both
  };

  TnameString() = default;
  TnameString(const Tstring& s) : Tstring(s) {}  // NOLINT: a name is a string
  TnameString(const char* s) : Tstring(s != nullptr ? s : "") {}  // NOLINT

  /// Natural order of two NUL-terminated names: negative, 0 or positive. A null pointer is
  /// taken as the empty string.
  [[nodiscard]] static int strnumcmp(const char* a, const char* b);

  /// The name without its leading and/or trailing digit run.
  [[nodiscard]] Tstring baseString(eBaseStringFilter filter = kTrailingDigits) const;
  /// The trailing number without leading zeros ("0" for zeros only, "" for none).
  [[nodiscard]] Tstring versionString() const;
  /// The trailing digit run plus one, width kept ("007" -> "008", "99" -> "100"); "1" when
  /// there is none; "" for a name made only of digits.
  [[nodiscard]] Tstring versionStringIncrement() const;
  /// strnumcmp of the two trailing numbers (as versionString gives them).
  [[nodiscard]] int versionCompare(const TnameString& other) const;

  [[nodiscard]] int compare(const TnameString& other) const { return strnumcmp(asC(), other.asC()); }
  [[nodiscard]] int compare(const char* other) const { return strnumcmp(asC(), other); }

  [[nodiscard]] bool operator==(const TnameString& o) const { return Tstring::operator==(o); }
  [[nodiscard]] bool operator!=(const TnameString& o) const { return !Tstring::operator==(o); }
  [[nodiscard]] bool operator<(const TnameString& o) const { return compare(o) < 0; }
  [[nodiscard]] bool operator>(const TnameString& o) const { return compare(o) > 0; }
  [[nodiscard]] bool operator<=(const TnameString& o) const { return compare(o) <= 0; }
  [[nodiscard]] bool operator>=(const TnameString& o) const { return compare(o) >= 0; }
  [[nodiscard]] bool operator==(const char* o) const { return compare(o) == 0; }
  [[nodiscard]] bool operator!=(const char* o) const { return compare(o) != 0; }
  [[nodiscard]] bool operator<(const char* o) const { return compare(o) < 0; }
  [[nodiscard]] bool operator>(const char* o) const { return compare(o) > 0; }
  [[nodiscard]] bool operator<=(const char* o) const { return compare(o) <= 0; }
  [[nodiscard]] bool operator>=(const char* o) const { return compare(o) >= 0; }

  /// A strict weak order for sorted containers (std::map, std::sort).
  struct Less {
    bool operator()(const Tstring& a, const Tstring& b) const {
      return strnumcmp(a.asC(), b.asC()) < 0;
    }
  };
};
