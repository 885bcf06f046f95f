// TenvFileParser: reads the lines of an environment file ("Vela.env") into name/value pairs.
//
// The file is plain text, one assignment a line:
//
//   # comment
//   VELA_SCRIPT_PATH = $HOME/scripts          blanks around name and value are dropped
//   PROJECTS=%VELA_APP_DIR%/projects          $NAME and %NAME% are expanded once
//   EMPTY=                                    an empty value is a value
//
// A line is ignored when it starts with "#", has no "=" or starts with it, when its name is
// empty, starts with "#" or holds a blank, a control character or one of \ / : * " < > |, when
// it is longer than kMaxLineLength characters, or when it holds a NUL byte. Line ends may be LF
// or CRLF; the last line needs none. Nothing in the input stops the reader: bad lines are
// skipped and the rest is read.
//
// References are expanded left to right, once, against the environment as it stands when the
// line is read (so a line may use a variable an earlier line set): "$" plus a name that runs to
// the first blank, / \ : ; $ or %, or a name between two "%". A reference to an unset variable,
// a "$" without a name and a "%" without its closing "%" stay as written.
//
// The parser is a push parser: feed() takes the text in pieces of any size and emits each
// complete line's pair through the sink; finish() ends the last line.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class VELACORE_API TenvFileParser {
 public:
  /// Longest line (without its line end) that is read; longer lines are skipped.
  static constexpr std::size_t kMaxLineLength = 10000;
  /// A reference name this long or longer stops the expansion of its value.
  static constexpr std::size_t kMaxNameLength = 10000;

  /// Looks a variable up: its value, or null when it is not set.
  using Tlookup = std::function<const char*(const std::string& name)>;
  /// Receives one accepted assignment.
  using Tsink = std::function<void(const std::string& name, const std::string& value)>;
  /// Receives the number (from 1) of each line skipped for being longer than kMaxLineLength,
  /// once per line however many reads it spans: a long PATH line must not vanish unnoticed.
  using ToverlongSink = std::function<void(std::size_t lineNumber)>;

  /// A parser that expands references through `lookup` and hands pairs to `sink` (and the
  /// numbers of overlong lines to `overlong`, when given).
  TenvFileParser(Tlookup lookup, Tsink sink, ToverlongSink overlong = nullptr);

  /// Reads the next `length` bytes of the text.
  void feed(const char* bytes, std::size_t length);
  /// Ends the text: a last line without a line end is read now.
  void finish();

  /// Splits one line (without its line end) into a trimmed name and an expanded value. Returns
  /// false when the line is to be ignored.
  [[nodiscard]] static bool parseLine(std::string_view line, const Tlookup& lookup,
                                      std::string& name, std::string& value);
  /// Whether `name` may be assigned from a file: not empty, not starting with "#", and free of
  /// blanks, control characters and \ / : * " < > |.
  [[nodiscard]] static bool isAcceptedName(std::string_view name);
  /// `value` with its $NAME and %NAME% references expanded once, left to right.
  [[nodiscard]] static std::string expand(std::string_view value, const Tlookup& lookup);

 private:
  void endLine();

  Tlookup fLookup;
  Tsink fSink;
  ToverlongSink fOverlongSink;
  std::string fLine;
  std::size_t fLineNumber = 0;
  bool fOverlong = false;
};
