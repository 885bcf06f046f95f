// Runs vela-info as a user would, for the end-to-end tests of every subcommand
// (tests/tools/*Test.cpp): a clean environment, the source folder as working folder.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace velaInfoTest {

struct Trun {
  int status = -1;
  std::vector<std::string> lines;

  [[nodiscard]] bool has(const std::string& line) const {
    for (const std::string& l : lines)
      if (l == line) return true;
    return false;
  }
  [[nodiscard]] bool mentions(const std::string& text) const {
    for (const std::string& l : lines)
      if (l.find(text) != std::string::npos) return true;
    return false;
  }
};

// Runs vela-info with only HOME and a short PATH in its environment (plus `extraEnv`), from the
// source folder, so the demo paths print relative to it.
inline Trun runVelaInfo(const std::string& extraEnv, const std::string& args) {
  static const std::string home = [] {
    char pattern[] = "/tmp/vela-info-home-XXXXXX";
    return std::string(mkdtemp(pattern));
  }();
  const std::string command = "cd '" VELACORE_SOURCE_DIR "' && env -i HOME='" + home +
                              "' PATH=/usr/bin:/bin " + extraEnv + " '" VELA_INFO_EXE "' " + args +
                              " 2>&1 </dev/null";
  Trun run;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::string text;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
  run.status = pclose(pipe);
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) run.lines.push_back(line);
  return run;
}

}  // namespace velaInfoTest
