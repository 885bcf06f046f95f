// Helpers the environment tests share: reading and setting variables, writing fixture files,
// and Tstring lists as std::string for readable comparisons.
#pragma once

#include <velacore/environment/VelaEnv.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace envTest {

inline std::string str(const Tstring& s) { return std::string(s.asC(), s.length()); }

inline std::vector<std::string> strings(const TstringArray& a) {
  std::vector<std::string> v;
  for (unsigned i = 0; i < a.length(); ++i) v.push_back(str(a[i]));
  return v;
}

/// The variable's value, or "<unset>".
inline std::string get(const char* name) {
  const char* v = VelaGetEnv(name);
  return v != nullptr ? v : "<unset>";
}

inline void set(const char* name, const std::string& value) {
  ASSERT_EQ(VelaPutEnv((std::string(name) + "=" + value).c_str()), 0);
}

/// Writes `text` to `file`, making its folders first.
inline void write(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

}  // namespace envTest
