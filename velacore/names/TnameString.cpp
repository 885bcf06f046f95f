#include <velacore/names/TnameString.h>

#include <cstring>

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isNonZeroDigit(char c) { return c >= '1' && c <= '9'; }

// The trailing digit run of s: its first byte's index (== length when none).
unsigned trailingDigitsStart(const char* s, unsigned length) {
  unsigned i = length;
  while (i > 0 && isDigit(s[i - 1])) --i;
  return i;
}

}  // namespace

int TnameString::strnumcmp(const char* a, const char* b) {
  if (a == nullptr) a = "";
  if (b == nullptr) b = "";
  for (;;) {
    if (isNonZeroDigit(*a) && isNonZeroDigit(*b)) {
      // Two numbers: the longer run is the greater, else the first differing digit decides.
      const char* ea = a;
      const char* eb = b;
      int firstDiff = 0;
      while (isDigit(*ea) && isDigit(*eb)) {
        if (firstDiff == 0 && *ea != *eb) firstDiff = *ea < *eb ? -1 : 1;
        ++ea;
        ++eb;
      }
      if (isDigit(*ea)) return 1;   // b's run ended first
      if (isDigit(*eb)) return -1;  // a's run ended first
      if (firstDiff != 0) return firstDiff;
      a = ea;
      b = eb;
      continue;
    }
    if (*a == '\0') return *b == '\0' ? 0 : -1;
    if (*b == '\0') return 1;
    const int d = static_cast<int>(static_cast<signed char>(*a)) -
                  static_cast<int>(static_cast<signed char>(*b));
    if (d != 0) return d;
    ++a;
    ++b;
  }
}

Tstring TnameString::baseString(eBaseStringFilter filter) const {
  const char* s = asC();
  unsigned end = length();
  unsigned begin = 0;
  if ((filter & kTrailingDigits) != 0) end = trailingDigitsStart(s, end);
  if ((filter & kLeadingDigits) != 0)
    while (begin < end && isDigit(s[begin])) ++begin;
  return Tstring(s + begin, end - begin);
}

Tstring TnameString::versionString() const {
  const char* s = asC();
  const unsigned n = length();
  unsigned i = trailingDigitsStart(s, n);
  if (i == n) return Tstring();
  while (i + 1 < n && s[i] == '0') ++i;
  return Tstring(s + i, n - i);
}

Tstring TnameString::versionStringIncrement() const {
  const char* s = asC();
  const unsigned n = length();
  const unsigned start = trailingDigitsStart(s, n);
  if (start == n) return Tstring("1");
  if (start == 0) return Tstring();  // digits only: deliberately no increment
  std::string digits(s + start, n - start);
  std::size_t i = digits.size();
  while (i > 0) {
    --i;
    if (digits[i] != '9') {
      ++digits[i];
      return Tstring(digits.data(), static_cast<unsigned>(digits.size()));
    }
    digits[i] = '0';
  }
  digits.insert(digits.begin(), '1');  // every digit carried
  return Tstring(digits.data(), static_cast<unsigned>(digits.size()));
}

int TnameString::versionCompare(const TnameString& other) const {
  return strnumcmp(versionString().asC(), other.versionString().asC());
}
