// The system's POSIX regular expressions (extended syntax).
#pragma once

#include <velacore/base/TvelacoreApi.h>

namespace vela::platform {

/// Byte offsets of one matched group in the text; both -1 when the group took no part.
struct RegexSpan {
  int begin;
  int end;
};

/// The most spans one run reports (the whole match and 15 groups).
constexpr int kMaxRegexSpans = 16;

/// A compiled expression; opaque outside the platform layer.
struct CompiledRegex;

/// Compiles `pattern` (POSIX extended syntax); null when it does not compile or is null.
[[nodiscard]] VELACORE_INTERNAL_API CompiledRegex* regexCompile(const char* pattern);
/// Runs `re` on `text`. On a match fills `spans[0..maxSpans)` (span 0 is the whole match; at
/// most kMaxRegexSpans are reported, the rest are -1) and returns true; returns false when
/// there is no match or an argument is null. One expression may be run by one thread at a time.
[[nodiscard]] VELACORE_INTERNAL_API bool regexRun(const CompiledRegex* re, const char* text, RegexSpan* spans,
                            int maxSpans);
/// Frees a compiled expression (null is fine).
VELACORE_INTERNAL_API void regexFree(CompiledRegex* re);

/// Compiles `pattern`, runs it on `text` and frees it again (see regexRun); false also when
/// the pattern does not compile.
[[nodiscard]] VELACORE_INTERNAL_API bool regexMatch(const char* pattern, const char* text, RegexSpan* spans,
                              int maxSpans);

}  // namespace vela::platform
