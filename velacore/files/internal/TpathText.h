// Byte views of Tstring text for the path utilities (private to the files area).
#pragma once

#include <velacore/strings/Tstring.h>

#include <string_view>

namespace vela::files_internal {

/// The bytes of `s`; valid until `s` changes.
inline std::string_view view(const Tstring& s) { return std::string_view(s.asC(), s.length()); }

inline Tstring toTstring(std::string_view s) {
  return Tstring(s.data(), static_cast<unsigned int>(s.size()));
}

}  // namespace vela::files_internal
