// Helpers shared by the diagnostics tests: a scratch directory, environment and working-directory
// guards, and capture of a standard stream.
#pragma once

#include <velacore/environment/VelaEnv.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>

/// A fresh directory, removed with everything in it at the end of the test.
class TempDir {
 public:
  TempDir() {
    static std::atomic<int> sNext{0};
    fPath = std::filesystem::temp_directory_path() /
            ("velacore-debug-test-" + std::to_string(std::random_device()()) + "-" +
             std::to_string(sNext++));
    std::filesystem::remove_all(fPath);
    std::filesystem::create_directories(fPath);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(fPath, ignored);
  }
  [[nodiscard]] const std::filesystem::path& path() const { return fPath; }

 private:
  std::filesystem::path fPath;
};

/// Sets environment variables for one test and restores their old values afterwards.
class DebugEnvGuard {
 public:
  ~DebugEnvGuard() {
    for (const auto& [name, old] : fSaved) {
      if (old) {
        VelaPutEnv((name + "=" + *old).c_str());
      } else {
        VelaUnsetEnv(name.c_str());
      }
    }
  }
  void set(const std::string& name, const std::string& value) {
    save(name);
    VelaPutEnv((name + "=" + value).c_str());
  }
  void unset(const std::string& name) {
    save(name);
    VelaUnsetEnv(name.c_str());
  }
  /// Clears the variables that place debug files.
  void unsetAll() {
    for (const char* name : {"VELA_DEBUG_LOCATION", "BUILD", "VELA_APP_DIR"}) unset(name);
  }

 private:
  void save(const std::string& name) {
    if (fSaved.count(name) != 0) return;
    const char* old = VelaGetEnv(name.c_str());
    fSaved[name] = old ? std::optional<std::string>(old) : std::nullopt;
  }
  std::map<std::string, std::optional<std::string>> fSaved;
};

/// Makes `dir` the working directory until the end of the scope.
class WorkingDirGuard {
 public:
  explicit WorkingDirGuard(const std::filesystem::path& dir)
      : fOld(std::filesystem::current_path()) {
    std::filesystem::current_path(dir);
  }
  ~WorkingDirGuard() { std::filesystem::current_path(fOld); }

 private:
  std::filesystem::path fOld;
};

/// Sends what a standard stream receives to a string until the end of the scope.
class StreamCapture {
 public:
  explicit StreamCapture(std::ostream& stream) : fStream(stream), fOld(stream.rdbuf(fText.rdbuf())) {}
  ~StreamCapture() { fStream.rdbuf(fOld); }
  [[nodiscard]] std::string text() const { return fText.str(); }

 private:
  std::ostream& fStream;
  std::ostringstream fText;
  std::streambuf* fOld;
};

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}
