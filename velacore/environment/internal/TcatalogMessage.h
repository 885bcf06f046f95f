// The environment area's user messages: catalog texts with positional markers filled in.
#pragma once

#include <velacore/base/TstringCatalog.h>
#include <velacore/strings/Tstring.h>

namespace vela::environment_internal {

/// The catalog text `key` with its ^1s, ^2s and ^3s markers replaced by `a`, `b` and `c`.
inline Tstring catalogMessage(const char* key, const Tstring& a = Tstring(),
                              const Tstring& b = Tstring(), const Tstring& c = Tstring()) {
  Tstring text;
  text.tFormat(Tstring(TstringId{key}), a, b, c);
  return text;
}

}  // namespace vela::environment_internal
