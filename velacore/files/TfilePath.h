// TfilePath: a path to a file or folder, expanded and made absolute when it is set; plus the
// library's string utilities for paths and path lists.
//
//   TfilePath scene("$PROJECT/scenes/ship.vela");   // "$PROJECT" expands, the path becomes
//                                                    // absolute when the file exists
//   if (scene.isValid()) load(scene.fullName(), scene.size());
//   TfilePath dir("/tmp");
//   dir.push("renders", true);     // "/tmp/renders", even before the folder exists
//   TfilePath share("/usr/share");
//   Tstring last = share.pop();    // "share"; the path is "/usr" (pop needs an existing path)
//
//   TstringArray dirs;                       // with A holding two folders, "a1:a2":
//   TfilePath::expandEnvVarsAndTilde("$A/icons", dirs);   // "a1/icons", "a2/icons"
//   TfilePath::simplifyPath("/a/./b/../c/");             // "/a/c/"
//
// Setting a path (constructors, setPath, assignment from text) takes two steps. First every
// whole "$NAME" piece between separators is replaced by the variable's value (an undefined one
// stays as written; "${NAME}", "%NAME%" and "~" are left alone here, runs of "/" become one and
// a trailing "/" is dropped). Then the text is made absolute against the current folder and must
// name something that exists; only then is it stored. A bare drive ("C:", "C:/") is stored as
// written without asking the file system.
//
// Hazards:
// - Constructors and assignment from text never throw: a path that does not exist keeps its
//   expanded text, relative or not, and isValid() says false. setPath throws TfileException and
//   leaves the path empty (unless allowInvalid).
// - Absolute means lexical: "." and ".." are resolved in the text and symbolic links stay as
//   written, so a link and its target are different paths for operator==.
// - "\" is an ordinary character of file names here. A path that does not exist as written but
//   does once each "\" is read as "/" (a path typed the Windows way) is stored with "/".
// - A TfilePath object is not locked: share copies between threads, not one object. The static
//   utilities are thread-safe (they read the environment through VelaGetEnv).
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TtypedObjArray.h>
#include <velacore/files/Ttime.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstdint>

class VELACORE_API TfilePath {
 public:
  /// How deeply variables whose values name further variables are expanded by
  /// expandEnvVarsAndTilde; deeper references stay as written. A variable met again inside its
  /// own value also stays as written, so a list such as PATH=$PATH:/opt/bin cannot loop.
  static constexpr int kMaxExpansionDepth = 8;

  /// @name Construction (never throws for a bad path)
  /// @{
  /// The empty path.
  TfilePath() noexcept = default;
  /// Runs the setting steps on `path`; keeps the expanded text when it does not exist.
  explicit TfilePath(const Tstring& path);
  explicit TfilePath(const char* path);
  TfilePath(const TfilePath& other) = default;
  TfilePath(TfilePath&& other) noexcept = default;
  virtual ~TfilePath();
  /// Copies the stored text (no setting steps).
  TfilePath& operator=(const TfilePath& other) = default;
  TfilePath& operator=(TfilePath&& other) noexcept = default;
  /// Runs the setting steps like the constructors (never throws).
  TfilePath& operator=(const Tstring& path);
  TfilePath& operator=(const char* path);
  /// @}

  /// @name Setting and checking (virtual in this order)
  /// @{
  /// Runs the setting steps. When `path` does not exist: with `allowInvalid` the expanded text
  /// is kept, otherwise the path becomes empty and TfileException (with the errno value) is
  /// thrown.
  virtual void setPath(const char* path, bool allowInvalid = false);
  virtual void setPath(const Tstring& path, bool allowInvalid = false);
  /// Whether the path names an existing file or folder.
  [[nodiscard]] virtual bool isValid() const;
  /// @}

  /// Runs the second setting step (absolute form, existence) on the stored text and stores the
  /// result when it succeeds. Returns whether it did.
  bool validatePath();

  /// @name File facts
  /// @{
  /// Whether the path names an existing folder (symbolic links followed).
  [[nodiscard]] bool isDirectory() const;
  /// Whether the path exists and its last element begins with ".".
  [[nodiscard]] bool isHidden() const;
  /// Always "User" and "Group": placeholders kept for callers that print them.
  [[nodiscard]] Tstring owner() const;
  [[nodiscard]] Tstring group() const;
  /// The last change of the contents. Throws TfileException when the file cannot be queried.
  [[nodiscard]] Ttime modifyTime() const;
  /// The size in bytes. Throws TfileException when the file cannot be queried.
  [[nodiscard]] std::uint64_t size() const;
  /// @}

  /// @name Text and pieces
  /// @{
  /// The stored text.
  [[nodiscard]] const Tstring& fullName() const { return fPath; }
  /// Everything up to and including the last separator.
  [[nodiscard]] Tstring dirName() const { return fPath.directoryPath(); }
  /// The last element.
  [[nodiscard]] Tstring baseName() const { return fPath.baseName(); }
  /// The text after the last "." of the last element ("" without one).
  [[nodiscard]] Tstring extension() const { return fPath.extension(); }
  /// @}

  /// @name Walking
  /// @{
  /// Appends "/" (unless present) and `element`, then sets the result with setPath. Does
  /// nothing on an empty path. When setPath throws, the previous path is restored and a
  /// TfileException with the same code is thrown.
  void push(const Tstring& element, bool allowInvalid = false);
  /// Removes and returns the last element ("/foo" leaves "/" and returns "foo"; one trailing
  /// "/" is ignored). Returns "" and changes nothing when the path is empty, does not exist or
  /// has no "/".
  Tstring pop();
  /// @}

  /// @name Comparison
  /// Equal when both absolute texts are the same (ignoring case on hosts whose file names do)
  /// and both status records agree in device, size and status-change time. Two paths that do
  /// not exist compare by their absolute text alone.
  /// @{
  [[nodiscard]] bool operator==(const TfilePath& other) const;
  [[nodiscard]] bool operator==(const Tstring& other) const;
  [[nodiscard]] bool operator==(const char* other) const;
  [[nodiscard]] bool operator!=(const TfilePath& other) const { return !(*this == other); }
  [[nodiscard]] bool operator!=(const Tstring& other) const { return !(*this == other); }
  [[nodiscard]] bool operator!=(const char* other) const { return !(*this == other); }
  /// @}

  /// @name Variable expansion
  /// @{
  /// Replaces every whole "$NAME" piece between "/" by the variable's value (undefined ones stay
  /// as written). A leading "/" or "//" is kept, runs of "/" become one, a trailing "/" goes.
  [[nodiscard]] static Tstring expandEnvVars(const Tstring& path);
  /// Expands every entry of the path list `pathList` into one or several paths, appended to
  /// `results` in order. $NAME, ${NAME} and %NAME% are looked up (the registered
  /// TprojectMgrBase first, then the environment); a value that is itself a path list
  /// multiplies the paths (a cross product, earlier alternatives varying fastest). "~" pieces
  /// go through expandTilde. An entry whose variables are not closed ("%HOME/x") adds nothing.
  /// An empty list adds itself when `results` is empty.
  static void expandEnvVarsAndTilde(const Tstring& pathList, TstringArray& results);
  /// The expansions of `pathList`, joined with the path-list separator.
  [[nodiscard]] static Tstring getExpandedPaths(const Tstring& pathList);
  /// The first expansion of `pathList`, or "".
  [[nodiscard]] static Tstring getFirstExpandedPath(const Tstring& pathList);
  /// Cuts `text` into variable references ("%A%", "${A}", "$A"), "~" pieces and plain text,
  /// appended to `tokens`. Returns false at an unclosed "%A" or "${A" (the tokens cut so far
  /// stay).
  static bool splitByEnvVarOrTilde(const Tstring& text, TstringArray& tokens);
  /// Copies `token`, replacing each $NAME, ${NAME} and %NAME% by the variable's value (undefined
  /// ones stay as written). "~" itself is copied: it does not mean the home folder.
  [[nodiscard]] static Tstring expandTilde(const Tstring& token);
  /// @}

  /// @name Path text
  /// @{
  /// Resolves "." and ".." in the text without touching the file system. ".." climbs only over
  /// names written before it ("a/../../b" is "../b"); a doubled separator is climbed together
  /// with the name before it ("a//.." is ""); a trailing "/" is kept.
  [[nodiscard]] static Tstring simplifyPath(const Tstring& path);
  /// "\" becomes "/", runs of "/" become one (a leading "//" stays), a trailing "/" goes (except
  /// for "/" itself).
  [[nodiscard]] static Tstring canonicalizeDirectoryPaths(const Tstring& path);
  /// Drops one leading "/" in front of a drive ("/C:/x"), a "//" ("///x") or a relative "./"
  /// or "../" ("/../x").
  [[nodiscard]] static Tstring removeRedundantInitialSeparators(const Tstring& path);
  /// Appends "/" to a non-empty path that does not end with one.
  static void ensureHasTrailingSeparator(Tstring& path);
  /// The text after the last "/" (all of it without one, "" when it ends with "/").
  [[nodiscard]] static Tstring tail(const Tstring& path);
  /// The last element, a trailing separator ignored; with a "/" behind it when the path ended
  /// with a separator, unless `noTrailingSeparator`.
  [[nodiscard]] static Tstring lastPathElement(const Tstring& path,
                                               bool noTrailingSeparator = false);
  /// @}

  /// @name Tests on text
  /// @{
  /// Whether the text holds "$" (nothing else counts, whatever the name says).
  [[nodiscard]] static bool hasEnvOrTilde(const Tstring& path);
  /// Whether the text holds "$" or two "%".
  [[nodiscard]] static bool containsEnvVars(const Tstring& path);
  /// Whether the text begins with "$" or "%".
  [[nodiscard]] static bool startsWithEnvVars(const Tstring& path);
  /// Whether the text begins with a drive ("C:") or a separator ("/" or "\").
  [[nodiscard]] static bool isFullPathAnyPlatform(const Tstring& path);
  /// Whether the text is non-empty, not a valid URI and not a full path.
  [[nodiscard]] static bool isRelativePathAnyPlatform(const Tstring& path);
  /// @}

 private:
  // Runs both setting steps; returns 0 with the stored text set, or the errno value with the
  // expanded text in `expanded`.
  int assign(const Tstring& path, Tstring& expanded);

  Tstring fPath;
};

/// An array of paths held by value.
using TfilePathArray = TtypedObjArray<TfilePath>;
