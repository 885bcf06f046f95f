#include <velacore/platform/TplatformRegex.h>

#include <regex.h>

#include <new>

namespace vela::platform {

struct CompiledRegex {
  regex_t re;
};

CompiledRegex* regexCompile(const char* pattern) {
  if (pattern == nullptr) return nullptr;
  auto* compiled = new (std::nothrow) CompiledRegex;
  if (compiled == nullptr) return nullptr;
  if (regcomp(&compiled->re, pattern, REG_EXTENDED) != 0) {
    delete compiled;
    return nullptr;
  }
  return compiled;
}

bool regexRun(const CompiledRegex* re, const char* text, RegexSpan* spans, int maxSpans) {
  if (re == nullptr || text == nullptr) return false;
  regmatch_t m[kMaxRegexSpans];
  if (regexec(&re->re, text, kMaxRegexSpans, m, 0) != 0) return false;
  for (int i = 0; i < maxSpans; ++i) {
    const bool used = i < kMaxRegexSpans && m[i].rm_so >= 0;
    spans[i] = used ? RegexSpan{static_cast<int>(m[i].rm_so), static_cast<int>(m[i].rm_eo)}
                    : RegexSpan{-1, -1};
  }
  return true;
}

void regexFree(CompiledRegex* re) {
  if (re == nullptr) return;
  regfree(&re->re);
  delete re;
}

bool regexMatch(const char* pattern, const char* text, RegexSpan* spans, int maxSpans) {
  CompiledRegex* re = regexCompile(pattern);
  const bool found = regexRun(re, text, spans, maxSpans);
  regexFree(re);
  return found;
}

}  // namespace vela::platform
