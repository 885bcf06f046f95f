// isInt32 / isUInt32 / isDouble against oracles built on strtol / strtod for the same grammar.
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char* skipBlanks(const char* s) {
  while (*s == ' ' || *s == '\t') ++s;
  return s;
}

bool onlyBlanksLeft(const char* s) { return *skipBlanks(s) == '\0'; }

bool intOracle(const char* text, bool allowMinus) {
  const char* s = skipBlanks(text);
  // strtol would skip other white space itself and take a sign before more blanks: pin both.
  if (!((*s >= '0' && *s <= '9') || *s == '+' || (allowMinus && *s == '-'))) return false;
  if ((*s == '+' || *s == '-') && !(s[1] >= '0' && s[1] <= '9')) return false;
  char* end = nullptr;
  (void)std::strtoll(s, &end, 10);
  return end != s && onlyBlanksLeft(end);
}

bool doubleOracle(const char* text) {
  const char* s = skipBlanks(text);
  const char* t = s;
  if (*t == '+' || *t == '-') ++t;
  if (!((*t >= '0' && *t <= '9') || *t == '.')) return false;  // no "inf", "nan", blanks
  char* end = nullptr;
  (void)std::strtod(s, &end);
  if (end == s) return false;
  for (const char* p = s; p < end; ++p)  // decimal only: no hex floats
    if (std::strchr("0123456789.eE+-", *p) == nullptr) return false;
  // strtod stops before an incomplete exponent ("1e", "1e+"); so does the grammar, which then
  // fails on the letter. A bare "1." counts only at the very end of the text.
  if (end[-1] == '.' && *end != '\0') return false;
  return onlyBlanksLeft(end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 64) return 0;
  std::string text(reinterpret_cast<const char*>(data), size);
  text = text.c_str();  // the tests read up to the first NUL
  const Tstring s(text.c_str());
  if (s.isInt32() != intOracle(text.c_str(), true)) std::abort();
  if (s.isUInt32() != intOracle(text.c_str(), false)) std::abort();
  if (s.isDouble() != doubleOracle(text.c_str())) std::abort();
  if (s.isInt32() && !s.isDouble()) std::abort();
  return 0;
}
