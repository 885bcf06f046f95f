// TregExp: the library's own small pattern matcher over NUL-terminated byte strings.
//
// The dialect mixes glob wildcards with regular-expression pieces:
//   *          any run of bytes (possibly empty)        ?        any one byte
//   x+         the item x zero or more times (the dialect's "star"; the item may be absent)
//   x{m}  x{m,}  x{m,n}   the item x exactly m, at least m, or m to n times (m, n <= 255)
//   ( )        a group (at most nine, numbered 0-8 in order of opening)
//   \1 .. \9   the text matched by group 0 .. 8, which must be closed before the reference
//   [abc] [a-z] [^0-9] [])] [a-]   classes: a leading `]` and a trailing `-` are members
//   \f \n \t   form feed, line feed, tab;  \x  any other byte x taken literally
// Every other byte, including `.`, `^` and `$`, stands for itself.
//
//   TregExp re("shot([0-9]{3})_v+([0-9]+)");
//   if (!re.isValid()) report(re.error());
//   const char* text = "scene/shot042_v7.ma";
//   const char* end = text;
//   if (const char* start = re.firstMatch(&end)) { /* match is [start, end) */ }
//   bool whole = re.match("shot042_v7");          // true: covers the whole text
//
// Hazards:
// - `+` means zero or more, not one or more: "a+b" matches "b". `*` and `?` are wildcards of
//   their own, never postfix operators.
// - A count of 255 stands for "unbounded" in the compiled form, so "a{255}" means 255 or more.
//   Unbounded repetition stops after 20000 bytes (or references).
// - Matching backtracks; a pattern with many wildcards against a long text can be slow
//   (polynomial in the text length), though never unbounded.
// - Bytes are bytes: a multibyte UTF-8 character is several items for `?` and classes.
//
// Thread-safety: the const members may be called from any number of threads on one shared
// object; setPattern and assignment need exclusive access, as for any value.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

class Tstring;

class VELACORE_API TregExp {
 public:
  /// @name Construction
  /// An object with no pattern: not valid, matches nothing.
  TregExp() noexcept = default;
  /// Compiles `pattern`; check isValid() and error() afterwards.
  explicit TregExp(const char* pattern);
  /// Compiles the byte form of `pattern`.
  explicit TregExp(const Tstring& pattern);
  /// A deep copy (the compiled program is duplicated).
  TregExp(const TregExp& other);
  /// Takes over the other object's program; the other is left without a pattern.
  TregExp(TregExp&& other) noexcept;
  TregExp& operator=(const TregExp& other);
  TregExp& operator=(TregExp&& other) noexcept;
  /// Frees the program.
  ~TregExp();

  /// @name Compiling
  /// Compiles `pattern` and returns true on success. On failure the old program is gone, the
  /// object is not valid and error() says why. A null pattern fails like an empty one.
  bool setPattern(const char* pattern);
  /// Compiles the byte form of `pattern`, as above.
  bool setPattern(const Tstring& pattern);
  /// Whether a compiled program exists (the last setPattern succeeded).
  [[nodiscard]] bool isValid() const noexcept { return fProgram != nullptr; }
  /// The message of the last failed compile (a static text), or null after a success.
  [[nodiscard]] const char* error() const noexcept { return fError; }

  /// @name Matching
  /// Finds the leftmost match in the NUL-terminated `*text`. Returns the match's start and sets
  /// `*text` to the byte after its end; returns null (leaving `*text` alone) when there is none.
  /// An invalid object, a null `text` or a null `*text` never match.
  [[nodiscard]] const char* firstMatch(const char** text) const;
  /// Whether the pattern matches all of `text`, from its first byte to its terminating NUL.
  /// False for an invalid object or a null `text`.
  [[nodiscard]] bool match(const char* text) const;
  /// Whether the pattern matches all of the byte form of `text`.
  [[nodiscard]] bool match(const Tstring& text) const;

  /// The size in bytes of the compiled program (0 when not valid); for memory reports.
  [[nodiscard]] std::size_t programSize() const noexcept;

 private:
  void setError(const char* message);
  // The recursive matcher's entry: the position after a match of the program at `text`, or null.
  [[nodiscard]] const char* skipExpression(const char* text, const char* program) const;

  unsigned char* fProgram = nullptr;  // heap; null when the pattern was invalid
  const char* fError = nullptr;       // static text; null when valid
};
