// setUTF8 / asUTF8: well-formed input comes back byte for byte; malformed input is reported and
// turns into well-formed text that round-trips from then on. Also checks the lazy narrow form.
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* bytes = reinterpret_cast<const char*>(data);
  const auto n = static_cast<unsigned>(size);
  bool ok = false;
  Tstring s;
  s.setUTF8(bytes, n, &ok);
  if (ok && (s.length() != n || std::memcmp(s.asUTF8(), bytes, n) != 0)) std::abort();
  // Whatever came in, the result is well formed and stable.
  Tstring again;
  bool ok2 = false;
  again.setUTF8(s.asUTF8(), s.length(), &ok2);
  if (!ok2 || again != s || again.numChars() != s.numChars()) std::abort();
  // The byte constructor keeps the bytes; its wide form equals the decoded one, and its UTF-8
  // form is the repaired text that setUTF8 made.
  Tstring raw(bytes, n);
  if (raw.length() != n || std::memcmp(raw.asC(), bytes, n) != 0) std::abort();
  if (raw.asUTF8StoreSize() != s.length() + 1 ||
      std::memcmp(raw.asUTF8(), s.asUTF8(), s.length()) != 0)
    std::abort();
  if (raw.numChars() != s.numChars() ||
      std::memcmp(raw.asW(), s.asW(), 2u * s.numChars()) != 0)
    std::abort();
  return 0;
}
