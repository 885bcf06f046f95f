// encodeEscapeSequences / decodeEscapeSequences: decoding the encoded text gives back the input,
// and the encoded text holds no control characters. Decoding arbitrary text never crashes.
#include <velacore/strings/Tstring.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool quoted = (data[0] & 1) != 0;
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  text = text.c_str();  // escapes work on NUL-terminated text
  Tstring s(text.c_str());
  s.encodeEscapeSequences(quoted);
  for (const char* p = s.asC(); *p != '\0'; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c < 32 || c == 127) std::abort();
    if (quoted && c == '"' && (p == s.asC() || p[-1] != '\\')) std::abort();
  }
  s.decodeEscapeSequences();
  if (std::strcmp(s.asC(), text.c_str()) != 0) std::abort();
  Tstring any(text.c_str());
  any.decodeEscapeSequences();
  if (any.length() > text.size()) std::abort();
  return 0;
}
