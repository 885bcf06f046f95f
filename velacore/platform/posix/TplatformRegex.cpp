#include <velacore/platform/TplatformRegex.h>

#include <regex.h>

namespace vela::platform {

bool regexMatch(const char* pattern, const char* text, RegexSpan* spans, int maxSpans) {
  if (pattern == nullptr || text == nullptr) return false;
  regex_t re;
  if (regcomp(&re, pattern, REG_EXTENDED) != 0) return false;
  constexpr int kMax = 10;
  regmatch_t m[kMax];
  const bool found = regexec(&re, text, kMax, m, 0) == 0;
  regfree(&re);
  if (!found) return false;
  for (int i = 0; i < maxSpans; ++i) {
    const bool used = i < kMax && m[i].rm_so >= 0;
    spans[i] = used ? RegexSpan{static_cast<int>(m[i].rm_so), static_cast<int>(m[i].rm_eo)}
                    : RegexSpan{-1, -1};
  }
  return true;
}

}  // namespace vela::platform
