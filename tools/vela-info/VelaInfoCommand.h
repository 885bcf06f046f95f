// The subcommands of vela-info: each lives in its own cmd_<name>.cpp and registers itself here,
// so adding a command never touches the dispatcher.
//
//   namespace {
//   int run(int argc, char** argv) { ... }            // argv[1] is the command's name
//   void help(std::FILE* out) { std::fputs("usage: vela-info time VALUE ...\n", out); }
//   const TvelaInfoCommand kTime{"time", "VALUE [--unit U]", "convert a time", run, help};
//   }  // namespace
//   VELA_INFO_REGISTER(kTime);
//
// The dispatcher answers `vela-info NAME --help` (and `-h`) from `help`, so every command has it.
#pragma once

#include <velacore/base/TstringCatalog.h>

#include <cstdio>
#include <vector>

struct TvelaInfoCommand {
  const char* name;      // the word after vela-info
  const char* synopsis;  // its arguments, for the overview ("" when none)
  const char* summary;   // one line saying what it does
  int (*run)(int argc, char** argv);
  void (*help)(std::FILE* out);
};

/// Every registered command, in registration order (the dispatcher sorts them by name).
std::vector<const TvelaInfoCommand*>& velaInfoCommands();

/// Adds a command at static initialisation.
struct TvelaInfoRegistrar {
  explicit TvelaInfoRegistrar(const TvelaInfoCommand& command) {
    velaInfoCommands().push_back(&command);
  }
};

/// Reports a refused argument on stderr: the catalogue message `key` (one %s, for `word`) and a
/// line break.
inline void velaInfoFail(const char* key, const char* word) {
  std::fprintf(stderr, TstringCatalog::sText(TstringId{key}), word);
  std::fputc('\n', stderr);
}

#define VELA_INFO_CONCAT2(a, b) a##b
#define VELA_INFO_CONCAT(a, b) VELA_INFO_CONCAT2(a, b)
#define VELA_INFO_REGISTER(command) \
  static const TvelaInfoRegistrar VELA_INFO_CONCAT(gVelaInfoRegistrar, __LINE__)(command)
