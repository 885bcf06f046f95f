// The small pieces the environment area's sources share: std::string and Tstring conversions,
// reading and setting one variable, and splitting a search-path list.
#pragma once

#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/strings/Tstring.h>

#include <string>
#include <string_view>
#include <vector>

namespace vela::environment_internal {

inline Tstring toTstring(std::string_view s) {
  return Tstring(s.data(), static_cast<unsigned>(s.size()));
}
inline std::string toStd(const Tstring& t) { return std::string(t.asC(), t.length()); }
/// The bytes of `t`; valid until `t` changes.
inline std::string_view view(const Tstring& t) { return std::string_view(t.asC(), t.length()); }

/// The variable's value; "" when it is not set.
inline std::string env(const char* name) {
  const char* v = VelaGetEnv(name);
  return v != nullptr ? v : std::string();
}

/// Sets `name` to `value` through VelaPutEnv (so callbacks and PATH cleaning apply).
inline void put(const std::string& name, const std::string& value) {
  (void)VelaPutEnv((name + "=" + value).c_str());
}

/// The entries of a list separated by the host's path-list separator; empty entries dropped.
inline std::vector<std::string> splitList(std::string_view list) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= list.size(); ++i) {
    if (i == list.size() || list[i] == vela::platform::kPathListSeparator) {
      if (i > start) parts.emplace_back(list.substr(start, i - start));
      start = i + 1;
    }
  }
  return parts;
}
/// The same for a variable's value, which may be null (no entries).
inline std::vector<std::string> splitList(const char* list) {
  return list != nullptr ? splitList(std::string_view(list)) : std::vector<std::string>();
}

}  // namespace vela::environment_internal
