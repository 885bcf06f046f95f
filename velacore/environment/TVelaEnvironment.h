// TVelaEnvironment: the application's start-up environment.
//
// Run once, on the main thread, before anything else reads the environment (and before other
// threads exist). It finds the installation (`VELA_LOCATION`) and the user's data folder
// (`VELA_APP_DIR`), reads the user's environment file "Vela.env", sets the variables the rest of
// the library expects, and merges the search paths (`PATH`, `VELA_SCRIPT_PATH`,
// `VELA_PLUG_IN_PATH`, `VELA_MODULE_PATH`, `XBMLANGPATH`, ...). Afterwards every setting is read
// from the process environment through VelaGetEnv.
//
//   int main() {
//     if (!TVelaEnvironment::initializeVelaEnvironment()) return 1;  // no installation found
//     TstringArray dirs = TVelaEnvironment::splitPath(VelaGetEnv("VELA_SCRIPT_PATH"));
//     for (unsigned i = 0; i < dirs.length(); ++i) ...
//   }
//
// Who wins: for plain variables the process environment beats "Vela.env", which beats the
// built-in defaults (each is set only when still unset). Path variables are merged instead, in
// the fixed order prefix, process value, file value, built-in default, each once per process.
// With "-default" on the command line the user's folders and the file's values are left out of
// every path variable except `PATH`.
//
// Built-in values are written with tags, replaced just before use: "<SEP>" (the path-list
// separator), "<VELA_LOCATION>", "<VELA_APP_DIR>", "<APP_NAME>", "<VERSION>",
// "<LOCALIZED_VERSION>", "<VERSION_NO_X64>", "<VERSION_ALL_NO_X64>", "<CONFIG_DIR>",
// "<MODULE_DIR>" and "<SYNC_HUB_CONFIG_DIR>". Values in "Vela.env" may use them too.
//
// Hazards: the state is process-wide and unlocked; do not run the set-up while other threads
// use the environment. Tests that run it more than once call resetState() in between, inside a
// TenvGuard. Questions are asked only when the start is interactive and an asker can answer
// (by default: a terminal on standard input); otherwise the answer is No.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <functional>

class VELACORE_API TVelaEnvironment {
 public:
  /// Asks the user a Yes/No question; on Yes, fills `folder` with the chosen folder. Returns
  /// whether the answer was Yes.
  using Tasker =
      std::function<bool(const Tstring& title, const Tstring& question, Tstring& folder)>;
  /// Shows a start-up message to the user; `error` tells an error from a warning.
  using Treporter = std::function<void(const Tstring& message, bool error)>;

  /// The application's name, as used in folder names ("vela").
  static const char* const kAppName;
  /// The name of the user's environment file ("Vela.env").
  static const char* const kEnvFileName;
  /// The ten feature folders under "<VELA_LOCATION>/scripts" and "<VELA_LOCATION>/icons".
  static const char* const kFeatureFolders[10];
  /// The path variables that are merged rather than set.
  static const char* const kPathVariables[8];

  /// @name The start-up sequence
  /// @{
  /// initData(), readVariables(interactive), setEssentialVariables(), then the add-on modules
  /// (TvelaModuleSupportBase: scan, then their folders and settings into the environment).
  /// Returns false (and sets up nothing more) when no installation folder could be found.
  static bool initializeVelaEnvironment(bool interactive = true);
  /// Takes the default mode from the command line ("-default" after the program name), the
  /// version string, the documents folder and the two machine settings.
  static void initData();
  /// Finds the installation, checks `HOME`, finds (or creates) "Vela.env" and reads it. Returns
  /// false when no installation folder is valid.
  static bool readVariables(bool interactive);
  /// Sets every variable that start-up guarantees and that is still unset, and merges every path
  /// variable that the file did not name.
  static void setEssentialVariables();
  /// @}

  /// @name Single steps (public for hosts and tests)
  /// @{
  /// Applies one assignment read from an environment file: a path variable is merged, any other
  /// variable gets `value` with its tags replaced, but only when it is not set yet.
  static void setEnvironmentVariable(const char* name, const char* value);
  /// Merges the path variable `name` once per process: `prefix`, the process value, `fileValue`
  /// and `defaultValue` (the first and last with tags replaced), empty parts left out.
  static void setVelaPathEnvironmentVariable(const char* name, const char* fileValue,
                                             const char* defaultValue, const char* prefix);
  /// The merged value setVelaPathEnvironmentVariable would store, without storing it.
  [[nodiscard]] static Tstring getNewPath(const char* name, const char* fileValue,
                                          const char* defaultValue, const char* prefix);
  /// The built-in default list of the path variable `name` (tags not yet replaced); "" for
  /// variables without one.
  [[nodiscard]] static Tstring defaultPathValue(const char* name);
  /// Reads and applies the environment file at `path`. Returns false when it cannot be read.
  static bool readEnvironmentFile(const Tstring& path);
  /// Derives `VELA_LOCATION` (and `VELA_SCRIPT_BASE`) from the library's own file: the parent of
  /// the folder that holds it. Returns false, after reporting when `report` is set, on failure.
  static bool setVELA_LOCATION(bool report);
  /// Sets `HOME` when unset: the user's home folder from the user database. (When that is
  /// unknown too, `HOME` later becomes the value of `VELA_APP_DIR`.)
  static void validateHOME();
  /// Sets or repairs `TMPDIR`: an unset one becomes `TEMP` when that is a writable folder, else
  /// the system folder; an unwritable one is reported and replaced by the system folder.
  static void validateTMPDIR();
  /// @}

  /// @name Checks
  /// @{
  /// Whether `location` is an installation: its library folder holds this library's file.
  [[nodiscard]] static bool validateVELA_LOCATION(Tstring& location);
  /// Whether `dir` is a usable user data folder (created when missing, then writable).
  [[nodiscard]] static bool validateVELA_APP_DIR(Tstring& dir);
  /// Whether `dir` is an existing folder this process may write to. A trailing separator is
  /// removed from `dir`.
  [[nodiscard]] static bool validateDirectoryWritable(Tstring& dir);
  /// @}

  /// @name Queries
  /// @{
  /// The entries of a path list, split at the path-list separator; empty entries are dropped.
  [[nodiscard]] static TstringArray splitPath(const Tstring& list);
  /// The version folder for the user-interface language: "<VERSION>" for "en_US", else
  /// "<VERSION>/<language>" (such as "1.0/ja_JP").
  [[nodiscard]] static Tstring getLocalizedSubdirectory();
  /// The path of the environment file in use (may not exist), or "" before readVariables.
  [[nodiscard]] static Tstring velaEnvFileLocation();
  /// Every place "Vela.env" is looked for, in order (`VELA_ENV_DIR` not included).
  [[nodiscard]] static TstringArray envFileCandidates();
  /// `text` with every tag replaced and backslashes turned into "/".
  [[nodiscard]] static Tstring replaceTags(const Tstring& text);
  /// Whether "-default" was given (or setDefaultMode was called).
  [[nodiscard]] static bool isDefaultMode();
  /// The application version used in folder names.
  [[nodiscard]] static Tstring version();
  /// @}

  /// @name Settings and hooks
  /// @{
  /// Sets the version string used in folder names (before initData; default: the library's
  /// "major.minor").
  static void setVersion(const Tstring& version);
  /// Switches default mode on or off (initData sets it from the command line).
  static void setDefaultMode(bool on);
  /// Installs the asker of start-up questions; null restores the terminal asker.
  static void setAsker(Tasker asker);
  /// Installs the receiver of start-up messages; null restores printing to the developer error
  /// sink (TdebugOutput::sCerr).
  static void setReporter(Treporter reporter);
  /// Forgets everything start-up computed, including which path variables were merged, but
  /// keeps the asker and the reporter. The environment itself is not touched (use TenvGuard).
  /// For tests and hosts that start again.
  static void resetState();
  /// @}
};
