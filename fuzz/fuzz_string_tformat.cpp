// tFormat with fuzzed format text and a fixed list of typed arguments. The harness rewrites the
// type letter after each marker to the type of the argument it names, so that the fuzzer explores
// the parser (widths, precisions, carets, numbers, junk) without asking for a mismatched vararg.
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr char kTypes[] = "sdfclnr";  // argument 1..7

void alignMarkers(std::string& f) {
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '^') continue;
    std::size_t j = i + 1;
    if (j < f.size() && f[j] == '^') {
      i = j;
      continue;
    }
    const std::size_t digits = j;
    long n = 0;
    while (j < f.size() && f[j] >= '0' && f[j] <= '9') {
      if (n < 1000000) n = n * 10 + (f[j] - '0');
      ++j;
    }
    if (j == digits || n == 0) continue;
    if (n > 7) {
      f.replace(digits, j - digits, "7");  // keep every marker within the list
      j = digits + 1;
      n = 7;
    }
    if (j < f.size() && f[j] == '(') {
      std::size_t k = j + 1;
      while (k < f.size() && ((f[k] >= '0' && f[k] <= '9') || f[k] == '.')) ++k;
      if (k < f.size() && f[k] == ')') j = k + 1;
    }
    if (j < f.size()) f[j] = kTypes[n - 1];
    i = j;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string f(reinterpret_cast<const char*>(data), size);
  alignMarkers(f);
  const Tstring fmt(f.data(), static_cast<unsigned>(f.size()));
  const Tstring arg1("text");
  Tstring out;
  out.tFormat(&fmt, &arg1, 42, -1.5e300, "chars", 1LL << 50, 7, TstringId{"s_TcoreStrings.rOutOfMemory"});
  if (out.length() > (f.size() + 1) * 5000) std::abort();  // widths are clamped
  return 0;
}
