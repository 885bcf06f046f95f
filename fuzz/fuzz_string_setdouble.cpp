// setDouble against printf: the same rules (clamp below 1e-10, "%.<d+p>g" for the significant
// form, "%.<p>f" with trailing zeros trimmed for the fixed form) on arbitrary doubles.
#include <velacore/strings/Tstring.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 10) return 0;
  double v = 0;
  std::memcpy(&v, data, sizeof v);
  if (!std::isfinite(v)) return 0;
  const int p = 1 + data[8] % 24;
  const bool significant = (data[9] & 1) != 0;
  static char ref[2000];
  const double a = std::fabs(v);
  if (a <= 1e-10) {
    std::snprintf(ref, sizeof ref, "0");
  } else if (significant) {
    const int d = a < 1 ? 0 : static_cast<int>(std::floor(std::log10(std::floor(a)))) + 1;
    std::snprintf(ref, sizeof ref, "%.*g", d + p, v);
  } else {
    std::snprintf(ref, sizeof ref, "%.*f", p, v);
    std::string t(ref);
    t.erase(t.find_last_not_of('0') + 1);
    if (t.back() == '.') t.pop_back();
    std::snprintf(ref, sizeof ref, "%s", t.c_str());
  }
  Tstring s;
  s.setDouble(v, p, significant);
  if (std::strcmp(s.asC(), ref) != 0) {
    std::fprintf(stderr, "%.17g p=%d sig=%d: got %s want %s\n", v, p, significant, s.asC(), ref);
    std::abort();
  }
  return 0;
}
