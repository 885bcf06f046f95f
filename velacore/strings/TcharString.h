// TcharString: a non-owning, never-null view of a constant NUL-terminated byte string.
//
// The key type of keyword tables: cheap to copy and compare, no allocation.
//
//   static const TcharString kKeywords[] = {"PLATFORM", "VERSION"};
//   if (kKeywords[0] == word) ...
//
// Hazard: it only points at the bytes. Not in general safe to store unless the bytes outlive it
// (string literals do); never keep one that points into a Tstring that may change.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstring>

class VELACORE_API TcharString {
 public:
  /// Views the empty string.
  TcharString() = default;
  /// Views `bytes`; null views the empty string.
  /*implicit*/ TcharString(const char* bytes) : fValue(bytes == nullptr ? "" : bytes) {}

  TcharString& operator=(const char* bytes) {
    set(bytes);
    return *this;
  }
  void set(const char* bytes) { fValue = bytes == nullptr ? "" : bytes; }
  void set(const TcharString& other) { fValue = other.fValue; }

  /// The viewed bytes; never null.
  [[nodiscard]] const char* value() const { return fValue; }
  /// Bytes up to the NUL.
  [[nodiscard]] unsigned length() const { return static_cast<unsigned>(std::strlen(fValue)); }

  [[nodiscard]] bool operator==(const TcharString& o) const { return cmp(o) == 0; }
  [[nodiscard]] bool operator!=(const TcharString& o) const { return cmp(o) != 0; }
  [[nodiscard]] bool operator<(const TcharString& o) const { return cmp(o) < 0; }
  [[nodiscard]] bool operator<=(const TcharString& o) const { return cmp(o) <= 0; }
  [[nodiscard]] bool operator>(const TcharString& o) const { return cmp(o) > 0; }
  [[nodiscard]] bool operator>=(const TcharString& o) const { return cmp(o) >= 0; }
  [[nodiscard]] bool operator==(const char* bytes) const {
    return std::strcmp(fValue, bytes == nullptr ? "" : bytes) == 0;
  }

 private:
  [[nodiscard]] int cmp(const TcharString& o) const {
    return fValue == o.fValue ? 0 : std::strcmp(fValue, o.fValue);
  }

  const char* fValue = "";
};
