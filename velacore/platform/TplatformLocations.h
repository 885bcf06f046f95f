// Where things are: the user's folders, the temporary folder, machine settings, the library's
// own file, the command line and the user-interface language; plus the few file-system
// questions that start-up asks about them.
//
//   std::string docs = vela::platform::documentsFolder();   // e.g. "/home/ann/Documents"
//   if (!vela::platform::isWritableFolder(docs)) ...
//
// Every function absorbs the host's soft failures and answers with an empty string, an empty
// list or false; none throws. Folder names come back without a trailing separator (except the
// root itself).
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <string>
#include <vector>

namespace vela::platform {

/// The system's temporary folder: `TMPDIR` when set and not empty, else "/tmp".
[[nodiscard]] VELACORE_INTERNAL_API std::string systemTempFolder();

/// The login name of the effective user, or `USER` when the user database has no entry, or "".
[[nodiscard]] VELACORE_INTERNAL_API std::string userName();

/// The user's home folder: `HOME`, else the user database's entry, or "".
[[nodiscard]] VELACORE_INTERNAL_API std::string userHomeFolder();

/// The user's documents folder (XDG user dirs, normally "$HOME/Documents"), or "".
[[nodiscard]] VELACORE_INTERNAL_API std::string documentsFolder();

/// The folder shared by the programs of every user ("/usr/local/share").
[[nodiscard]] VELACORE_INTERNAL_API std::string commonProgramFilesFolder();

/// The folders where add-on packages are installed, in search order: "<location>/AppPlugins"
/// (skipped when `location` is empty), "/usr/local/share/Corvanta/AppPlugins",
/// "/usr/share/Corvanta/AppPlugins" and the user's data folder (XDG, normally
/// "$HOME/.local/share") + "/Corvanta/AppPlugins". They need not exist.
[[nodiscard]] VELACORE_INTERNAL_API std::vector<std::string> applicationPluginFolders(
    const std::string& location);

/// Reads the string `key` of the machine-wide settings of `organization`/`application`: the
/// INI file "<organization>/<application>.conf" in the first folder of `XDG_CONFIG_DIRS`
/// (default "/etc/xdg") that has the key. Returns false and leaves `value` alone when none has.
[[nodiscard]] VELACORE_INTERNAL_API bool machineSetting(const char* organization, const char* application,
                                  const char* key, std::string& value);

/// The full path of the shared library that holds velacore's code, or "" when unknown.
[[nodiscard]] VELACORE_INTERNAL_API std::string ownLibraryPath();

/// The arguments the process was started with, the program name first; empty when unknown.
[[nodiscard]] VELACORE_INTERNAL_API std::vector<std::string> commandLineArguments();

/// The user-interface language of the locale as "ll_CC" ("de_DE"), read from `LC_ALL`,
/// `LC_MESSAGES` and `LANG` in that order; "en_US" when none names a language.
[[nodiscard]] VELACORE_INTERNAL_API std::string localeLanguage();

/// The current working folder, or "" when it cannot be determined.
[[nodiscard]] VELACORE_INTERNAL_API std::string currentFolder();

/// Whether `path` names an existing folder (symbolic links followed).
[[nodiscard]] VELACORE_INTERNAL_API bool isFolder(const std::string& path);

/// Whether `path` names an existing regular file (symbolic links followed).
[[nodiscard]] VELACORE_INTERNAL_API bool isFile(const std::string& path);

/// Whether `path` is an existing folder in which this process may create files.
[[nodiscard]] VELACORE_INTERNAL_API bool isWritableFolder(const std::string& path);

/// Creates the folder `path` and any missing parents; true when it exists afterwards.
[[nodiscard]] VELACORE_INTERNAL_API bool makeFolders(const std::string& path);

/// The names of the folders directly inside `path` (no "." or ".."), sorted; empty on failure.
[[nodiscard]] VELACORE_INTERNAL_API std::vector<std::string> subfolderNames(const std::string& path);

/// Whether standard input is an interactive terminal (so that a question can be answered).
[[nodiscard]] VELACORE_INTERNAL_API bool standardInputIsTerminal();

}  // namespace vela::platform
