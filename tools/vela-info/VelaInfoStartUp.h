// The start-up that `vela-info env` and `vela-info modules` share: pick the installation, run
// the environment set-up (which reads the modules too) and remember every assignment it made.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

struct TvelaInfoStartUp {
  int status = 0;                        // 0, or the exit status to return
  std::vector<std::string> assignments;  // "NAME=value", in order; later ones replace earlier
};

/// Runs start-up for `vela-info <command> [-default] [INSTALLATION [USER_DIR]]`. Without folders
/// it uses the demo installation in examples/ when one is found (printing "demo installation:
/// ..."), and otherwise the installation this library runs from. On failure it reports on
/// stderr (or prints `help` when the arguments are wrong) and `status` is not 0.
TvelaInfoStartUp velaInfoStartUp(int argc, char** argv, void (*help)(std::FILE* out));
