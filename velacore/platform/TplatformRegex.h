// The system's POSIX regular expressions (extended syntax), as one whole-task call.
#pragma once

namespace vela::platform {

/// Byte offsets of one matched group in the text; both -1 when the group took no part.
struct RegexSpan {
  int begin;
  int end;
};

/// Compiles `pattern` (POSIX extended syntax), runs it on `text` and frees it again. On a match
/// fills `spans[0..maxSpans)` (span 0 is the whole match) and returns true; returns false when
/// the pattern does not compile, does not match, or an argument is null.
[[nodiscard]] bool regexMatch(const char* pattern, const char* text, RegexSpan* spans,
                              int maxSpans);

}  // namespace vela::platform
