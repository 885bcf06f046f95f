// TiffTag: the four-character code that names a chunk of an IFF file ("FORM", "DBL#").
//
// The code is kept as the 32-bit value its four bytes make when read big-endian, so the first
// character is the most significant byte and tags compare as plain integers:
//
//   constexpr TiffTag kDouble("DBL#");
//   static_assert(kDouble.value() == 0x44424C23u);
//   if (TiffTag(TbigEndian::read<std::uint32_t>(chunk)) == kDouble) ...
//
// The value 0 means "no tag". Any 32-bit value is a valid tag; text() shows unprintable bytes
// as they are.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>

class VELACORE_API TiffTag {
 public:
  /// No tag (value 0).
  constexpr TiffTag() = default;
  /// The tag with this big-endian value.
  constexpr explicit TiffTag(std::uint32_t value) : fValue(value) {}
  /// The tag spelt by four characters, first character most significant.
  constexpr explicit TiffTag(const char (&code)[5])
      : fValue(std::uint32_t(static_cast<unsigned char>(code[0])) << 24 |
               std::uint32_t(static_cast<unsigned char>(code[1])) << 16 |
               std::uint32_t(static_cast<unsigned char>(code[2])) << 8 |
               std::uint32_t(static_cast<unsigned char>(code[3]))) {}

  /// The big-endian value of the four bytes.
  [[nodiscard]] constexpr std::uint32_t value() const { return fValue; }
  /// Whether this is a real tag (not 0).
  [[nodiscard]] constexpr bool isSet() const { return fValue != 0; }

  /// Writes the four characters and a terminating NUL into `out`.
  void text(char (&out)[5]) const {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<char>(fValue >> (24 - 8 * i));
    out[4] = '\0';
  }

  [[nodiscard]] constexpr bool operator==(TiffTag o) const { return fValue == o.fValue; }
  [[nodiscard]] constexpr bool operator!=(TiffTag o) const { return fValue != o.fValue; }
  [[nodiscard]] constexpr bool operator<(TiffTag o) const { return fValue < o.fValue; }

 private:
  std::uint32_t fValue = 0;
};
