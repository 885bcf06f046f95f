// TiffTag: a four-character code of the IFF container format.
//
// The tag is kept as the 32-bit value whose most significant byte is the first character, which
// is also how it sits in a file read as a big-endian number:
//
//   constexpr TiffTag kDoubles("DBL#");      // value 0x44424C23
//   if (chunk.tag == kDoubles) ...
//   kDoubles.text()                          // "DBL#" (a 5-byte array, NUL-terminated)
//
// A tag of value 0 means "none" (classes without a tag).
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <array>
#include <cstdint>

class TiffTag {
 public:
  constexpr TiffTag() = default;
  /// The tag with this 32-bit value.
  constexpr explicit TiffTag(std::uint32_t value) : fValue(value) {}
  /// The tag spelled by the first four characters of `text` (a shorter text is padded with
  /// spaces, as IFF does).
  constexpr explicit TiffTag(const char* text) : fValue(sPack(text)) {}

  [[nodiscard]] constexpr std::uint32_t value() const { return fValue; }
  constexpr operator std::uint32_t() const { return fValue; }  // NOLINT: a tag is its value
  [[nodiscard]] constexpr bool isNone() const { return fValue == 0; }
  /// The four characters and a terminating NUL.
  [[nodiscard]] std::array<char, 5> text() const {
    return {char(fValue >> 24), char(fValue >> 16), char(fValue >> 8), char(fValue), '\0'};
  }
  /// Whether all four bytes are printable ASCII, as a well-formed tag's are.
  [[nodiscard]] constexpr bool isPrintable() const {
    for (int shift = 24; shift >= 0; shift -= 8) {
      const unsigned c = (fValue >> shift) & 0xFFu;
      if (c < 0x20 || c > 0x7E) return false;
    }
    return true;
  }

 private:
  static constexpr std::uint32_t sPack(const char* text) {
    std::uint32_t v = 0;
    bool ended = text == nullptr;
    for (int i = 0; i < 4; ++i) {
      if (!ended && text[i] == '\0') ended = true;
      v = (v << 8) | (ended ? 0x20u : std::uint32_t(std::uint8_t(text[i])));
    }
    return v;
  }

  std::uint32_t fValue = 0;
};
