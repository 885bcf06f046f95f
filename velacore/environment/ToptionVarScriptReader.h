// ToptionVarScriptReader: restores option variables from the script that
// TprefOptionVars::commandString writes, so that preferences survive a restart without the
// application's script interpreter.
//
//   TprefOptionVars saved;
//   saved.addVar("userName", Tstring("Ann \"A\" Lee"));
//   saved.addLastArrayVar("recent", 3);
//   Tstring script;
//   saved.commandString(script);
//   TprefOptionVars restored;
//   ToptionVarScriptReader reader(restored);
//   unsigned problems = reader.read(script);     // 0; restored now equals saved
//   int version = reader.version();              // 3, from "optionVar -version 3;"
//
// The script is read line by line, as commandString lays it out: "optionVar" opens a command,
// each following line carries one flag (-fv, -iv, -sv, -ca, -fva, -iva, -sva, or -version) with
// a quoted name and a value, and ";" at the end of a line closes the command. Blank lines and
// "//" comments are ignored; CRLF line ends are accepted. Each flag acts as the application's
// optionVar command would: -fv/-iv/-sv set a variable, -ca clears an array, and the element
// flags append to it.
//
// Hazards:
// - Reading adds to the collection: variables the script does not mention are kept. Call
//   removeAllVars() first to restore exactly the saved state.
// - An empty array is written as a bare "-ca" and carries no element kind: it reads back as an
//   empty string array unless the collection already holds an array of that name.
// - Doubles come back as the script wrote them, i.e. rounded to Tstring::fsPrecision digits.
// - A line that cannot be read (unknown flag, bad quoting, a number out of range, a flag outside
//   an optionVar command) is reported in problems() and skipped; the rest is still read.
// - Not thread-safe, like the collection it fills.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/environment/TprefOptionVars.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstddef>

class VELACORE_API ToptionVarScriptReader {
 public:
  /// A reader that fills `prefs`, which must outlive it.
  explicit ToptionVarScriptReader(TprefOptionVars& prefs) : fPrefs(prefs) {}

  /// Reads a whole script into the collection; answers the number of problems reported.
  unsigned read(const Tstring& text);
  unsigned read(const char* bytes, std::size_t length);

  /// One message per problem of the last read, each starting with its line number.
  [[nodiscard]] const TstringArray& problems() const { return fProblems; }
  /// The preference version the last script declared; 0 when it declared none.
  [[nodiscard]] int version() const { return fVersion; }
  /// How many flags of the last read changed the collection.
  [[nodiscard]] unsigned numApplied() const { return fApplied; }

 private:
  struct Tline;
  void readLine(const char* bytes, std::size_t length, unsigned number);
  void apply(const Tline& line, unsigned number);
  void resolvePendingClear();
  void report(unsigned number, const char* key, const Tstring& detail = Tstring());

  TprefOptionVars& fPrefs;
  TstringArray fProblems;
  int fVersion = 0;
  unsigned fApplied = 0;
  bool fInCommand = false;
  // The array named by the last -ca, until an element says which kind of array it is.
  bool fClearPending = false;
  Tstring fPendingName;
};
