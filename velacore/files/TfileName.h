// TfileName: a file name split into directory, base name and extension, with the rules for
// names the application accepts.
//
//   TfileName name("shots/sh010/plate.exr");
//   name.dirName();      // "shots/sh010/"
//   name.baseName();     // "plate.exr"
//   name.basePrefix();   // "plate"
//   name.ext();          // "exr"
//   name.setExt("tif");  // "shots/sh010/plate.tif"
//   TfileName("take[2].ma").isValid();                 // false: "[" is refused
//   TfileName("a*b?.ma").validateWith("*?");           // "a_b_.ma"
//
// Refused characters: a base name may hold none of `invalidBaseChars()` ("[", "]", ";", "*",
// "?", "\"", "`", "'", "\", "/", ":"); a directory may hold none of `invalidDirChars()` (the
// first eight: separators and drive colons are of course allowed there).
//
// Hazard: the pieces are computed from the text each time; both "/" and "\" separate.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>

class VELACORE_API TfileName {
 public:
  TfileName() = default;
  explicit TfileName(const Tstring& path) : fPath(path) {}
  explicit TfileName(const char* path) : fPath(path) {}

  /// @name Pieces
  /// @{
  /// The whole text.
  [[nodiscard]] const Tstring& pathName() const { return fPath; }
  /// Everything up to and including the last separator ("" without one).
  [[nodiscard]] Tstring dirName() const { return fPath.directoryPath(); }
  /// The last element, extension included.
  [[nodiscard]] Tstring baseName() const { return fPath.baseName(); }
  /// The last element without its extension.
  [[nodiscard]] Tstring basePrefix() const { return baseName().root(); }
  /// The text after the last "." of the last element ("" without one).
  [[nodiscard]] Tstring ext() const { return fPath.extension(); }
  /// When `ext` differs from the extension, the name becomes basePrefix "." ext (the directory
  /// stays).
  void setExt(const Tstring& ext);
  /// @}

  /// @name Rules
  /// @{
  /// No refused base-name character anywhere, and no directory part.
  [[nodiscard]] bool isValidBaseName() const;
  /// The base name holds no refused base-name character.
  [[nodiscard]] bool hasValidBaseName() const;
  /// The directory holds no refused directory character.
  [[nodiscard]] bool hasValidDirName() const;
  [[nodiscard]] bool validateBaseName() const { return hasValidBaseName(); }
  [[nodiscard]] bool validateDirName() const { return hasValidDirName(); }
  /// No refused directory character anywhere, and no refused base-name character in the base
  /// name.
  [[nodiscard]] bool isValid() const;
  /// Replaces every character of `replaceChars` in the name by "_"; returns the new name.
  Tstring validateWith(const Tstring& replaceChars);
  /// @}

  /// The characters a base name may not hold, in a fixed order.
  [[nodiscard]] static const Tstring& invalidBaseChars();
  /// The characters a directory may not hold (the first eight of invalidBaseChars()).
  [[nodiscard]] static const Tstring& invalidDirChars();

 private:
  Tstring fPath;
};
