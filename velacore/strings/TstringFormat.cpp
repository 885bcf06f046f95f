// Tstring: numbers to text and back, printf-style and positional formatting.
#include <velacore/strings/Tstring.h>

#include <velacore/strings/internal/TtextObject.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

template <class T>
void setInteger(Tstring& s, T value) {
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, value);
  TstringAccess::setNarrow(s, buf, static_cast<std::size_t>(r.ptr - buf));
}

// Number of digits before the decimal point of |value| (0 below 1), as
// floor(log10(floor(|value|))) + 1 in floating point. Below 1e14 the logarithm is exact enough
// that counting against powers of ten gives the same answer without calling it; above, its
// rounding near powers of ten is kept as it is.
int integerDigits(double value) {
  static constexpr double kPowers[] = {1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7,
                                       1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};
  const double a = std::fabs(value);
  if (!(a >= 1.0) || !std::isfinite(a)) return 0;
  if (a < 1e14) {
    int d = 1;
    while (a >= kPowers[d - 1]) ++d;
    return d;
  }
  return static_cast<int>(std::floor(std::log10(std::floor(a)))) + 1;
}

__extension__ typedef unsigned __int128 Tuint128;

// 10^0 .. 10^22: the powers that fit, multiplied by a 53-bit mantissa, in 128 bits.
constexpr int kMaxExactScale = 22;
constexpr Tuint128 pow10u(int n) { return n == 0 ? 1 : 10 * pow10u(n - 1); }
constexpr Tuint128 kPow10[kMaxExactScale + 1] = {
    pow10u(0),  pow10u(1),  pow10u(2),  pow10u(3),  pow10u(4),  pow10u(5),  pow10u(6),  pow10u(7),
    pow10u(8),  pow10u(9),  pow10u(10), pow10u(11), pow10u(12), pow10u(13), pow10u(14), pow10u(15),
    pow10u(16), pow10u(17), pow10u(18), pow10u(19), pow10u(20), pow10u(21), pow10u(22)};

// A finite positive double as m x 2^e2 with an integer m below 2^53.
struct Tbinary {
  uint64_t m;
  int e2;
};

Tbinary splitDouble(double a) {
  uint64_t bits = 0;
  std::memcpy(&bits, &a, sizeof bits);
  const int biased = static_cast<int>(bits >> 52) & 0x7FF;
  const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  if (biased == 0) return {fraction, -1074};  // subnormal
  return {fraction | (uint64_t{1} << 52), biased - 1075};
}

// |value| x 10^scale, exactly, rounded to an integer the way printf rounds (to nearest, exact
// halves to even). False when it does not fit the 128-bit arithmetic.
bool scaledRound(Tbinary b, int scale, Tuint128& out) {
  if (scale < 0 || scale > kMaxExactScale) return false;
  const Tuint128 n = static_cast<Tuint128>(b.m) * kPow10[scale];  // < 2^53 x 10^22 < 2^127
  if (b.e2 >= 0) {
    if (b.e2 > 10 || (n >> (127 - b.e2)) != 0) return false;
    out = n << b.e2;
    return true;
  }
  const int shift = -b.e2;
  if (shift >= 127) return false;
  Tuint128 q = n >> shift;
  const Tuint128 rest = n - (q << shift);
  const Tuint128 half = static_cast<Tuint128>(1) << (shift - 1);
  if (rest > half || (rest == half && (q & 1) != 0)) ++q;
  out = q;
  return true;
}

// The decimal digits of `r` written backwards from `bufEnd`, two at a time; returns where they
// begin.
char* digitsOf(uint64_t r, char* bufEnd) {
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  char* p = bufEnd;
  while (r >= 100) {
    const auto pair = static_cast<unsigned>(r % 100) * 2;
    r /= 100;
    *--p = kPairs[pair + 1];
    *--p = kPairs[pair];
  }
  if (r >= 10) {
    *--p = kPairs[r * 2 + 1];
    *--p = kPairs[r * 2];
  } else {
    *--p = static_cast<char>('0' + r);
  }
  return p;
}

// Writes the digits [first, last) with the last `decimals` of them after a point, trailing
// fraction zeros and a bare point dropped ("%.*f" then trimmed); returns the end.
char* writeFixed(char* out, const char* first, const char* last, int decimals) {
  while (decimals > 0 && last[-1] == '0') {
    --last;
    --decimals;
  }
  const long whole = (last - first) - decimals;
  if (whole <= 0) {
    *out++ = '0';
  } else {
    for (long i = 0; i < whole; ++i) *out++ = *first++;
  }
  if (decimals > 0) {
    *out++ = '.';
    for (long i = whole; i < 0; ++i) *out++ = '0';
    while (first < last) *out++ = *first++;
  }
  return out;
}

// setDouble's text for a finite value, computed exactly in integers: printf's "%.<d+decimals>g"
// (d = integerDigits) or, with `fixed`, "%.<decimals>f" with trailing fraction zeros and a bare
// point dropped. Returns the end of the text, or null when the value or precision is beyond the
// integer path's reach (the caller then asks the general conversion).
char* writeDoubleExact(char* out, double value, int decimals, bool fixed) {
  const Tbinary b = splitDouble(std::fabs(value));
  char buf[48];
  char* const bufEnd = buf + sizeof buf;
  if (b.e2 >= 0) {
    // An integer from 2^53 up: with a precision that reaches past its units (as it always does
    // here) both forms write its exact digits and nothing after them.
    if (b.e2 > 74) return nullptr;
    const Tuint128 n = static_cast<Tuint128>(b.m) << b.e2;
    const uint64_t tenTo19 = 10000000000000000000ULL;
    const auto high = static_cast<uint64_t>(n / tenTo19);
    char* first = digitsOf(static_cast<uint64_t>(n % tenTo19), bufEnd);
    if (high != 0) {
      while (first > bufEnd - 19) *--first = '0';
      first = digitsOf(high, first);
    }
    if (std::signbit(value)) *out++ = '-';
    return writeFixed(out, first, bufEnd, 0);
  }
  Tuint128 r = 0;
  if (fixed) {
    if (!scaledRound(b, decimals, r) || (r >> 64) != 0) return nullptr;
    if (std::signbit(value)) *out++ = '-';
    if (r == 0) {
      *out++ = '0';
      return out;
    }
    return writeFixed(out, digitsOf(static_cast<uint64_t>(r), bufEnd), bufEnd, decimals);
  }
  const int precision = integerDigits(value) + decimals;
  if (precision > 19) return nullptr;
  // The decimal exponent x of the first digit: estimated from the binary exponent, then
  // corrected so that the scaled value has exactly `precision` digits.
  const int bits = 64 - __builtin_clzll(b.m);
  int x = ((b.e2 + bits - 1) * 78913) >> 18;  // floor(log2(|value|) x log10(2)), never above
  for (int tries = 0;; ++tries) {
    if (tries == 3 || !scaledRound(b, precision - 1 - x, r)) return nullptr;
    if (r < kPow10[precision]) break;
    ++x;  // one digit too many: the estimate was low (or rounding carried into a new digit)
  }
  if (r < kPow10[precision - 1]) return nullptr;  // cannot happen for a correct estimate
  if (std::signbit(value)) *out++ = '-';
  char* first = digitsOf(static_cast<uint64_t>(r), bufEnd);
  if (x >= -4 && x < precision) return writeFixed(out, first, bufEnd, precision - 1 - x);
  out = writeFixed(out, first, bufEnd, precision - 1);  // d.ddd
  *out++ = 'e';
  *out++ = x < 0 ? '-' : '+';
  const int e = x < 0 ? -x : x;
  if (e >= 100) *out++ = static_cast<char>('0' + e / 100);
  *out++ = static_cast<char>('0' + e / 10 % 10);
  *out++ = static_cast<char>('0' + e % 10);
  return out;
}

// Digits past this many decimals (or significant digits) of a double are all zero, so asking
// for more changes nothing but the work: %.Nf and %.Ng give the same text for every larger N
// once trailing zeros are stripped (fixed) or never written (general).
constexpr int kMaxDoubleDigits = 1100;

// Writes `value` as printf's "%.<precision>lf" (fixed) or "%.<precision>lg" (general) would, into
// `out`; std::to_chars gives the same digits without parsing a format at run time.
void writeDouble(std::string& out, double value, int precision, bool general) {
  char buf[kMaxDoubleDigits + 340];  // sign, 309 integer digits, point, decimals, exponent
  const auto r = std::to_chars(buf, buf + sizeof buf, value,
                               general ? std::chars_format::general : std::chars_format::fixed,
                               general && precision == 0 ? 1 : precision);
  out.assign(buf, static_cast<std::size_t>(r.ptr - buf));
}

void formatDouble(std::string& out, double value, int precision, bool significant) {
  if (std::isinf(value)) {
    out = value > 0 ? "infinity" : "-infinity";
    return;
  }
  if (std::isnan(value)) {
    out = "NaN";
    return;
  }
  int p = 17;
  if (Tstring::fsFloatClampingOnConversion) {
    p = precision != 0 ? precision : Tstring::fsPrecision;
    if (p < 1) {
      writeDouble(out, value, 6, significant);  // "%lg" / "%lf"
      return;
    }
    if (std::fabs(value) <= 1e-10) {
      out = "0";
      return;
    }
  }
  p = std::min(p, kMaxDoubleDigits);
  if (!significant) {
    writeDouble(out, value, p, false);
    if (out.find('.') != std::string::npos) {
      while (!out.empty() && out.back() == '0') out.pop_back();
      if (!out.empty() && out.back() == '.') out.pop_back();
    }
    return;
  }
  writeDouble(out, value, integerDigits(value) + p, true);
}

inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

// The integer test: blanks, one sign (when allowed), digits, blanks, end.
bool integerSyntax(const char* s, bool allowMinus) {
  while (isBlank(*s)) ++s;
  if (*s == '+' || (allowMinus && *s == '-')) ++s;
  if (*s < '0' || *s > '9') return false;
  while (*s >= '0' && *s <= '9') ++s;
  while (isBlank(*s)) ++s;
  return *s == '\0';
}

int vformat(std::string& out, const char* fmt, va_list args) {
  if (fmt == nullptr) {
    out.clear();
    return -1;
  }
  char buf[512];
  va_list again;
  va_copy(again, args);
  const int n = std::vsnprintf(buf, sizeof buf, fmt, args);
  if (n < 0) {
    va_end(again);
    out.clear();
    return -1;
  }
  if (static_cast<std::size_t>(n) < sizeof buf) {
    out.assign(buf, static_cast<std::size_t>(n));
  } else {
    out.resize(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(out.data(), out.size(), fmt, again);
    out.resize(static_cast<std::size_t>(n));
  }
  va_end(again);
  return 0;
}

// ---- positional formatting ----

enum class ArgType : char { kNone, kTstring, kCatalog, kSkip, kInt, kInt64, kDouble, kChars };

constexpr int kMaxArg = 99;  // markers with larger numbers write nothing and read nothing
constexpr int kMaxWidth = 4096;  // widths and precisions are clamped to this

struct Marker {
  std::size_t begin;  // offset of the '^'
  std::size_t end;    // offset after the type letter
  int arg;            // 1-based; 0 for "^^"
  int width;          // -1 when absent
  int precision;      // -1 when absent
  char type;
};

ArgType typeOf(char letter) {
  switch (letter) {
    case 's': return ArgType::kTstring;
    case 'r': return ArgType::kCatalog;
    case 'n': return ArgType::kSkip;
    case 'd': return ArgType::kInt;
    case 'l': return ArgType::kInt64;
    case 'f': return ArgType::kDouble;
    case 'c': return ArgType::kChars;
    default: return ArgType::kNone;
  }
}

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads a run of digits, saturating so that long runs cannot overflow.
int readNumber(const std::string& f, std::size_t& i) {
  long value = 0;
  while (i < f.size() && isDigit(f[i])) {
    if (value < 1000000) value = value * 10 + (f[i] - '0');
    ++i;
  }
  return static_cast<int>(value);
}

void parseMarkers(const std::string& f, std::vector<Marker>& markers) {
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '^') continue;
    const std::size_t begin = i;
    if (i + 1 < f.size() && f[i + 1] == '^') {
      markers.push_back({begin, i + 2, 0, -1, -1, '^'});
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    const int arg = readNumber(f, j);
    if (arg == 0) continue;  // no digits, or 0: not a marker
    int width = -1;
    int precision = -1;
    if (j < f.size() && f[j] == '(') {
      std::size_t k = j + 1;
      const std::size_t widthStart = k;
      const int w = readNumber(f, k);
      const bool hasWidth = k > widthStart;
      int p = -1;
      if (k < f.size() && f[k] == '.') {
        ++k;
        const std::size_t precStart = k;
        p = readNumber(f, k);
        if (k == precStart) p = -1;
      }
      if (k < f.size() && f[k] == ')') {
        width = hasWidth ? std::min(w, kMaxWidth) : -1;
        precision = std::min(p, kMaxWidth);
        j = k + 1;
      }
    }
    char type = '\0';
    if (j < f.size()) type = f[j++];
    markers.push_back({begin, j, arg, width, precision, type});
    i = j - 1;
  }
}

// Writes `f` into `out` with every marker expanded: "^^" as a caret, and an argument marker by
// `insert(marker)`, which appends its argument to `out`, or returns false to give up on the
// whole format (`out` is then incomplete and the call returns false).
template <class Insert>
bool expandMarkers(const std::string& f, const std::vector<Marker>& markers, std::string& out,
                   Insert&& insert) {
  out.reserve(f.size() + 16 * markers.size());
  std::size_t pos = 0;
  for (const Marker& m : markers) {
    out.append(f, pos, m.begin - pos);
    pos = m.end;
    if (m.arg == 0)
      out += '^';
    else if (!insert(m))
      return false;
  }
  out.append(f, pos, std::string::npos);
  return true;
}

union ArgValue {
  const Tstring* str;
  const char* chars;
  long long i64;
  int i32;
  double d;
};

void appendFormatted(std::string& out, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void appendFormatted(std::string& out, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  std::string piece;
  vformat(piece, fmt, ap);
  va_end(ap);
  out += piece;
}

}  // namespace

// ---- numbers -----------------------------------------------------------------------------

Tstring& Tstring::setInt32(int value) {
  setInteger(*this, value);
  return *this;
}
Tstring& Tstring::setUInt32(unsigned int value) {
  setInteger(*this, value);
  return *this;
}
Tstring& Tstring::setInt64(long long value) {
  setInteger(*this, value);
  return *this;
}
Tstring& Tstring::setUInt64(unsigned long long value) {
  setInteger(*this, value);
  return *this;
}
Tstring& Tstring::setIntPtrSz(std::ptrdiff_t value) {
  setInteger(*this, value);
  return *this;
}
Tstring& Tstring::setUIntPtrSz(std::size_t value) {
  // As "%#zx": hexadecimal with 0x, except that zero is plain "0".
  char buf[24] = "0x";
  if (value == 0) {
    TstringAccess::setNarrow(*this, "0", 1);
    return *this;
  }
  const auto r = std::to_chars(buf + 2, buf + sizeof buf, value, 16);
  TstringAccess::setNarrow(*this, buf, static_cast<std::size_t>(r.ptr - buf));
  return *this;
}

Tstring& Tstring::setDouble(double value) { return setDouble(value, fsPrecision, true); }

Tstring& Tstring::setDouble(double value, int precision, bool significant) {
  // The usual case (clamping on, a positive precision, a number that is not clamped to 0) in
  // exact integer arithmetic, without the general conversion's machinery.
  const int p = std::min(precision != 0 ? precision : fsPrecision, kMaxDoubleDigits);
  if (fsFloatClampingOnConversion && p >= 1 && std::isfinite(value) &&
      std::fabs(value) > 1e-10) {
    char buf[64];
    const char* end = writeDoubleExact(buf, value, p, !significant);
    if (end != nullptr) {
      TstringAccess::setNarrow(*this, buf, static_cast<std::size_t>(end - buf));
      return *this;
    }
  }
  std::string text;
  formatDouble(text, value, precision, significant);
  TstringAccess::setNarrow(*this, text.data(), text.size());
  return *this;
}

Tstring& Tstring::setDouble_NUTI(double value) {
  if (!std::isfinite(value)) return setDouble(value, 17, true);
  char buf[64];
  const auto r = std::to_chars(buf, buf + sizeof buf, value);
  if (r.ec != std::errc()) return setDouble(value, 17, true);
  TstringAccess::setNarrow(*this, buf, static_cast<std::size_t>(r.ptr - buf));
  return *this;
}

bool Tstring::isInt32() const { return integerSyntax(asC(), true); }

bool Tstring::isUInt32() const { return integerSyntax(asC(), false); }

bool Tstring::isDouble() const {
  const char* s = asC();
  while (isBlank(*s)) ++s;
  if (*s == '+' || *s == '-') ++s;
  bool digits = false;
  while (isDigit(*s)) {
    ++s;
    digits = true;
  }
  if (*s == '.') {
    ++s;
    bool fraction = false;
    while (isDigit(*s)) {
      ++s;
      fraction = true;
    }
    if (!digits && !fraction) return false;
    // "1." is a number only at the very end of the text.
    if (!fraction && *s != 'e' && *s != 'E') return *s == '\0';
  } else if (!digits) {
    return false;
  }
  if (*s == 'e' || *s == 'E') {
    ++s;
    if (*s == '+' || *s == '-') ++s;
    if (!isDigit(*s)) return false;
    while (isDigit(*s)) ++s;
  }
  while (isBlank(*s)) ++s;
  return *s == '\0';
}

short Tstring::asInt16() const { return static_cast<short>(std::atoi(asC())); }
int Tstring::asInt32() const { return static_cast<int>(std::atol(asC())); }
unsigned int Tstring::asUInt32() const {
  unsigned int value = 0;
  return std::sscanf(asC(), "%u", &value) == 1 ? value : 0;
}
std::ptrdiff_t Tstring::asIntPtrSz() const {
  return static_cast<std::ptrdiff_t>(std::strtoll(asC(), nullptr, 10));
}
std::size_t Tstring::asUIntPtrSz() const {
  return static_cast<std::size_t>(std::strtoull(asC(), nullptr, 16));
}
float Tstring::asFloat() const { return static_cast<float>(std::atof(asC())); }
double Tstring::asDouble() const { return std::atof(asC()); }

// ---- printf-style ------------------------------------------------------------------------

int Tstring::cFormat(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  const int r = cFormatArgList(fmt, ap);
  va_end(ap);
  return r;
}

int Tstring::cFormatArgList(const char* fmt, va_list args) {
  std::string text;  // formatted aside: the arguments may point into this string
  const int r = vformat(text, fmt, args);
  TstringAccess::setNarrow(*this, text.data(), text.size());
  return r;
}

Tstring Tstring::cFormatString(const char* fmt, ...) {
  Tstring s;
  va_list ap;
  va_start(ap, fmt);
  s.cFormatArgList(fmt, ap);
  va_end(ap);
  return s;
}

// ---- positional --------------------------------------------------------------------------

int Tstring::tFormat(const Tstring* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  const int r = tFormatArgList(fmt, ap);
  va_end(ap);
  return r;
}

int Tstring::tFormatStrings(const Tstring& fmt, const Tstring* const* args, unsigned int count) {
  const std::string f = TstringAccess::narrow(fmt);  // a copy: fmt may be this string
  std::vector<Marker> markers;
  parseMarkers(f, markers);
  std::string out;
  const bool filled = expandMarkers(f, markers, out, [&](const Marker& m) {
    if (m.type != 's' || static_cast<unsigned int>(m.arg) > count) return false;
    out += TstringAccess::narrow(*args[m.arg - 1]);
    return true;
  });
  if (!filled) return -1;
  TstringAccess::setNarrow(*this, out.data(), out.size());
  return 0;
}

int Tstring::tFormatArgList(const Tstring* fmt, va_list args) {
  if (fmt == nullptr) {
    clear();
    return -1;
  }
  const std::string f = TstringAccess::narrow(*fmt);  // a copy: fmt may be this string
  std::vector<Marker> markers;
  parseMarkers(f, markers);

  // Argument types by number; the first marker that names a number decides its type.
  std::vector<ArgType> types;
  for (const Marker& m : markers) {
    if (m.arg <= 0 || m.arg > kMaxArg) continue;
    if (types.size() < static_cast<std::size_t>(m.arg)) types.resize(m.arg, ArgType::kNone);
    if (types[m.arg - 1] == ArgType::kNone) types[m.arg - 1] = typeOf(m.type);
  }
  // Read in argument order. A number that no marker types cannot be read safely, and nothing
  // after it can either.
  std::vector<ArgValue> values(types.size());
  std::vector<bool> have(types.size(), false);
  for (std::size_t i = 0; i < types.size(); ++i) {
    ArgValue& v = values[i];
    switch (types[i]) {
      case ArgType::kTstring: v.str = va_arg(args, const Tstring*); break;
      case ArgType::kCatalog: v.chars = TstringCatalog::sText(va_arg(args, TstringId)); break;
      case ArgType::kChars: v.chars = va_arg(args, const char*); break;
      case ArgType::kSkip:
      case ArgType::kInt: v.i32 = va_arg(args, int); break;
      case ArgType::kInt64: v.i64 = va_arg(args, long long); break;
      case ArgType::kDouble: v.d = va_arg(args, double); break;
      case ArgType::kNone: break;
    }
    if (types[i] == ArgType::kNone) break;
    have[i] = true;
  }

  std::string out;
  expandMarkers(f, markers, out, [&](const Marker& m) {
    if (m.arg > kMaxArg || !have[m.arg - 1]) return true;
    const ArgValue& v = values[m.arg - 1];
    switch (types[m.arg - 1]) {
      case ArgType::kInt:
        if (m.width > 0)
          appendFormatted(out, "%0*d", m.width, v.i32);
        else
          appendFormatted(out, "%d", v.i32);
        break;
      case ArgType::kInt64: appendFormatted(out, "%lld", v.i64); break;
      case ArgType::kDouble: {
        const int k = std::max(1, integerDigits(v.d));
        const int p = m.precision > 0 ? m.precision : 0;
        if (m.width > 0)
          appendFormatted(out, "%- *.*g", m.width, p + k, v.d);
        else if (p > 0)
          appendFormatted(out, "%- .*g", p + k, v.d);
        else
          appendFormatted(out, "%g", v.d);
        break;
      }
      case ArgType::kChars:
      case ArgType::kCatalog:
        if (v.chars != nullptr) out += v.chars;
        break;
      case ArgType::kTstring:
        if (v.str != nullptr) out += TstringAccess::narrow(*v.str);
        break;
      case ArgType::kSkip:
      case ArgType::kNone: break;
    }
    return true;
  });
  TstringAccess::setNarrow(*this, out.data(), out.size());
  return 0;
}
