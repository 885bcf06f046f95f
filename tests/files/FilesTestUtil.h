// Shared helpers of the files tests: a temporary folder tree that is removed at the end.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <stdlib.h>

namespace filesTest {

// A fresh folder under the system temporary folder, removed with everything in it.
class TtempTree {
 public:
  TtempTree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velafiles-XXXXXX").string();
    fRoot = mkdtemp(pattern.data());
  }
  ~TtempTree() {
    std::error_code ignored;
    std::filesystem::remove_all(fRoot, ignored);
  }
  TtempTree(const TtempTree&) = delete;
  TtempTree& operator=(const TtempTree&) = delete;

  [[nodiscard]] const std::string& root() const { return fRoot; }
  [[nodiscard]] std::string path(const std::string& relative) const { return fRoot + "/" + relative; }
  std::string folder(const std::string& relative) const {
    std::filesystem::create_directories(path(relative));
    return path(relative);
  }
  std::string file(const std::string& relative, const std::string& contents = "x") const {
    std::ofstream(path(relative)) << contents;
    return path(relative);
  }

 private:
  std::string fRoot;
};

}  // namespace filesTest
