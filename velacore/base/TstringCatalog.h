// TstringCatalog: the English texts of the library's messages, looked up by key.
//
// Messages that users or developers read are not written inline: code names them by a
// `TstringId` key such as "s_TmallocAllocatorStrings.rPageFaults" and asks the catalog for the
// text, so that all texts live in one table (TstringCatalogTexts.inc) where they can be reviewed
// and, one day, translated.
//
//   static constexpr TstringId kPageFaults{"s_TmallocAllocatorStrings.rPageFaults"};
//   TdebugOutput::sCout().print("%s %zu\n", TstringCatalog::sText(kPageFaults), faults);
//
// Many texts are formats: printf-style ("%s") for diagnostics and positional ("^1s") for
// messages built with Tstring::tFormat. The key says which by its use, not by its name.
//
// An unknown key yields the key itself, so a missing text shows up in the output instead of
// vanishing. Lookups are thread-safe and allocation-free after the first.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstddef>

/// A key of the string catalog. Cheap to copy; refers to a string literal.
struct VELACORE_API TstringId {
  const char* key;
};

class VELACORE_API TstringCatalog {
 public:
  /// The English text for `id`, or the key itself when the catalog has no such key.
  [[nodiscard]] static const char* sText(TstringId id);
  [[nodiscard]] static const char* sText(const char* key) { return sText(TstringId{key}); }
  /// Whether the catalog has a text for `id`.
  [[nodiscard]] static bool sHas(TstringId id);
  /// The number of texts in the catalog.
  [[nodiscard]] static std::size_t sSize();
};
