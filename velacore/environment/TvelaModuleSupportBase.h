// TvelaModuleSupportBase: the add-on module registry and what it adds to the search paths.
//
// A module is a folder of add-on content (scripts, plug-ins, icons, resources, presets) described
// by a line in a description file that sits in one of the module directories named by
// `VELA_MODULE_PATH`. Start-up (TVelaEnvironment::initializeVelaEnvironment) reads them once the
// environment is set, chooses one description per module name and adds the chosen modules'
// folders and settings to the search-path variables. Everything is static: one registry per
// process.
//
//   TvelaModuleSupportBase::initialize();          // reads and splits VELA_MODULE_PATH
//   TvelaModuleSupportBase::scanForNewModules();   // reads every description file
//   TvelaModuleSupportBase::updateEnvironmentVariables();
//   if (const TvelaModule* m = TvelaModuleSupportBase::findModule("northwindTools")) {
//     Tstring where = m->path;                     // the module's folder
//   }
//   TstringArray scripts;
//   TvelaModuleSupportBase::getPaths("VELA_SCRIPT_PATH", scripts);
//
// Hazards:
// - Versions compare as text ("10.0" is less than "9.0"): a later release must keep the text
//   order, e.g. "2024.1" after "2023.4".
// - A path that expands to several folders ("$STUDIO/tools" with a list in STUDIO) registers the
//   first that fits; the others are refused as the same module again, which refuses the line as
//   a whole, so its setting lines are not applied. Write one path per description line.
// - findModule's pointer stays valid until the next scan or resetState.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

/// One row of a module's folder table: the variable a folder is added to.
struct TvelaModuleFolder {
  Tstring variable;       ///< "VELA_SCRIPT_PATH", ...
  Tstring folder;         ///< relative to the module's path unless absolute; a list is allowed
  bool resource = false;  ///< set only for VELA_PLUG_IN_RESOURCE_PATH: a localized row
  bool recursive = false; ///< every folder below the folder counts too ("[r] " lines)
};

/// How a module's own variable setting meets the variable's value when it is applied.
enum class TvelaModuleSettingMode {
  kReplace,  ///< "NAME = value": the value replaces the variable
  kAppend,   ///< "NAME += value": added after the variable's entries
  kPrepend,  ///< "NAME *= value": put before them
};

/// One of a module's own variable settings.
struct TvelaModuleSetting {
  Tstring value;
  TvelaModuleSettingMode mode = TvelaModuleSettingMode::kReplace;
};

/// The chosen description of one module.
struct TvelaModule {
  int directoryIndex = -1;  ///< where it was found; lower wins
  Tstring version;
  Tstring path;             ///< resolved against its module directory
  std::map<Tstring, Tstring> keywords;  ///< "PLATFORM" -> "linux", ...
  std::vector<TvelaModuleFolder> folders;  ///< the six rows, in their fixed order
  Tstring iconPattern;      ///< the icon folder in the composed form "icons/%B"
  std::map<Tstring, TvelaModuleSetting> settings;  ///< variable name -> setting
  Tstring defPath;          ///< the description file
  int defLine = 0;          ///< its line (from 1)
};

/// A description or setting line (or a whole file) that was not used, and why.
struct TvelaModuleRefusal {
  Tstring file;    ///< the description file ("" for a line given directly)
  int line = 0;    ///< from 1; 0 for the whole file
  Tstring text;    ///< the line as read (shortened when long)
  Tstring reason;  ///< a sentence from the message catalog
};

/// The module registry. Its open questions are settled like this:
/// - Description files: every regular file directly inside a module directory that
///   isValidModulePath accepts, read in name order; folders are not descended into. Lines end
///   at LF, CR LF or the end of the file. A line longer than kMaxLineLength or holding a NUL or
///   malformed UTF-8 is refused (and listed in refusals()); the other lines of the file count.
/// - Grouping: setting lines belong to the last description line above them in the same file;
///   lines before the first one, or after a refused one, are ignored. Blank lines and lines
///   that begin with "#" are comments anywhere.
/// - Package bundles (TvelaPackageManifest) rank after every module directory: each bundle whose
///   requirements fit gets the next directory index, and its components are registered like
///   description lines (conditions, existing folder, priority).
/// - Folder overrides are keyed by the variable name ("XBMLANGPATH: images"), since "scripts"
///   feeds two rows. The value is a folder list relative to the module; an empty value switches
///   the row off.
/// - The resource flag: a VELA_PLUG_IN_RESOURCE_PATH row also offers its localized subfolder
///   ("resources/ja_JP") before the folder itself, when the user-interface language is not
///   "en_US" and that subfolder exists.
/// - Module folders that do not exist are left out of the path lists. A description whose
///   resolved path does not exist is refused, so that it cannot hide a working one.
/// - updateEnvironmentVariables keeps a variable's existing entries first and appends module
///   folders after them (the user's and the installation's own folders win a name clash), in
///   module order: by directory index, then by name. Entries already in the list are not added
///   again, so running it twice changes nothing. XBMLANGPATH gets plain folders like its other
///   entries; the composed "icons/%B" form is kept in TvelaModule::iconPattern for hosts that
///   want patterns.
/// - A setting value is used as written (no variable expansion); with ":" each of its entries
///   is made relative to the module; with "[r] " each entry also brings every folder below it.
class VELACORE_API TvelaModuleSupportBase {
 public:
  using Tkeywords = std::map<Tstring, Tstring>;

  /// Lines longer than this (in bytes, without the line end) are refused.
  static constexpr std::size_t kMaxLineLength = 10000;
  /// The three condition keywords.
  static const char* const kKeywords[3];
  /// Entries with these extensions (and entries inside folders with them) are not module files.
  static const char* const kExcludedExtensions[16];

  /// @name Set-up and scanning
  /// @{
  /// Reads and splits `VELA_MODULE_PATH` (again, when called again). Returns 0.
  static int initialize();
  /// Forgets the registry, the directories and every flag (tests and hosts that start again).
  static void resetState();
  /// Reads the description files of every module directory, and then the package manifests,
  /// into a fresh registry. Returns the number of modules chosen, or -1 when the working folder
  /// cannot be read (the registry is then left empty).
  static int scanForNewModules();
  /// Reads the description files of the module directory `directoryIndex`.
  static void subScanForNewModules(int directoryIndex);
  /// Reads one description file as part of directory `directoryIndex`. Returns false when it
  /// cannot be read (that is listed in refusals()).
  static bool resolve_module_entries(const Tstring& file, int directoryIndex);
  /// Reads description text already in memory, as if it were the file `file`.
  static void resolve_module_text(const char* data, std::size_t size, int directoryIndex,
                                  const Tstring& file);
  /// @}

  /// @name One line
  /// @{
  /// Parses one description line ("+ [KEYWORD:value ...] name version path") and registers its
  /// module. Returns true with `name` set when every path of the line was registered; false,
  /// `name` empty, otherwise.
  static bool resolve_module_parse(const Tstring& line, int directoryIndex, Tstring& name,
                                   const Tstring& file = Tstring(), int lineNumber = 0);
  /// Applies one setting line to the registered module `name`. Returns false when the line is
  /// not used (not understood, no such module, or a variable name with a blank).
  static bool resolve_module_parse_overrides(const Tstring& line, const Tstring& name,
                                             const Tstring& file = Tstring(),
                                             int lineNumber = 0);
  /// Registers one module path after the conditions and the priority rule; false when refused.
  static bool resolve_module_add(const Tstring& name, const Tstring& version, const Tstring& path,
                                 int directoryIndex, const Tkeywords& keywords,
                                 const Tstring& file = Tstring(), int lineNumber = 0);
  /// Removes the keyword tokens that follow the first token of `line` into `keywords`.
  static void extractKeywords(Tstring& line, Tkeywords& keywords);
  /// The keyword ("PLATFORM", ...) when `token` starts with it and ":"; "" otherwise.
  [[nodiscard]] static Tstring getKeyword(const Tstring& token);
  /// When `line` is `key` followed by ": " (or ":" alone), sets `value` to the trimmed rest and
  /// returns true.
  static bool getOverrideValue(const Tstring& line, const Tstring& key, Tstring& value);
  /// `path` made relative to module directory `directoryIndex` unless absolute, simplified.
  [[nodiscard]] static Tstring resolvePath(const Tstring& path, int directoryIndex);
  /// Whether an entry of a module directory may be a description file (see kExcludedExtensions;
  /// a base name beginning with "." is refused too).
  [[nodiscard]] static bool isValidModulePath(const Tstring& path);
  /// @}

  /// @name Queries (each initialises and scans first when that has not happened)
  /// @{
  /// The value of `VELA_MODULE_PATH` that initialize read.
  [[nodiscard]] static Tstring velaModulePath();
  /// The module directories, in priority order, followed by the package bundles' folders.
  [[nodiscard]] static TstringArray moduleDirectories();
  /// The number of entries of VELA_MODULE_PATH (the bundles come after them).
  [[nodiscard]] static int numModuleDirectories();
  /// The chosen module `name`, or null.
  [[nodiscard]] static const TvelaModule* findModule(const Tstring& name);
  /// Every chosen module's name, in name order.
  static void getModuleList(TstringArray& names);
  /// The module's path, version or description file; "" for an unknown module.
  [[nodiscard]] static Tstring getModulePath(const Tstring& name);
  [[nodiscard]] static Tstring getModuleVersion(const Tstring& name);
  [[nodiscard]] static Tstring getModuleDefPath(const Tstring& name);
  /// Every line and file the last scan did not use, in the order met.
  [[nodiscard]] static std::vector<TvelaModuleRefusal> refusals();
  /// @}

  /// @name Path lists and the environment
  /// @{
  /// Appends to `paths` the existing folders that the chosen modules give `variable`, in module
  /// order, recursive rows expanded, each canonicalised and simplified, without repeats.
  static void getPaths(const Tstring& variable, TstringArray& paths);
  /// Appends the module folders to each folder-table variable (existing entries first).
  static void updatePaths();
  /// updatePaths, then every module's own settings (subUpdateEnvironmentVariables).
  static void updateEnvironmentVariables();
  /// Applies the settings of module `name` to the environment.
  static void subUpdateEnvironmentVariables(const Tstring& name);
  /// @}

  /// @name Host bookkeeping
  /// @{
  /// Records that the host has loaded the modules, and calls the workspace-layout updater.
  static void markModulesLoaded();
  [[nodiscard]] static bool modulesLoaded();
  /// Whether the icon search path changed since the host last rebuilt its icon lookup
  /// (updatePaths sets it when XBMLANGPATH changes).
  [[nodiscard]] static bool getRebuildIconPaths();
  static void setRebuildIconPaths(bool rebuild);
  /// Installs the callback markModulesLoaded calls (null removes it).
  static void setWorkspaceLayoutUpdater(std::function<void()> updater);
  /// @}
};
