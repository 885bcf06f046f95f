// Big-endian reading and writing of fixed-size values.
//
// The library's binary formats (IFF chunks, disk forms of typed values) store numbers
// most-significant byte first whatever the host order. These helpers read and write such values
// at unaligned addresses:
//
//   unsigned char buf[12];
//   TbigEndian::write<uint32_t>(buf, 0x464F524Du);   // "FORM"
//   TbigEndian::write(buf + 4, 2.5);
//   double d = TbigEndian::read<double>(buf + 4);
//
// Floating-point values travel as the bytes of their IEEE-754 representation.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace TbigEndian {

namespace internal {
template <class T>
using Unsigned = std::conditional_t<
    sizeof(T) == 1, uint8_t,
    std::conditional_t<sizeof(T) == 2, uint16_t,
                       std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>>;

inline uint8_t swap(uint8_t v) { return v; }
inline uint16_t swap(uint16_t v) { return __builtin_bswap16(v); }
inline uint32_t swap(uint32_t v) { return __builtin_bswap32(v); }
inline uint64_t swap(uint64_t v) { return __builtin_bswap64(v); }

template <class U>
inline U toBig(U v) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return swap(v);
#else
  return v;
#endif
}
}  // namespace internal

/// Reads a value of type T stored big-endian at `bytes` (no alignment needed).
template <class T>
[[nodiscard]] inline T read(const void* bytes) {
  static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>, "numbers only");
  static_assert(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);
  using U = internal::Unsigned<T>;
  U raw;
  std::memcpy(&raw, bytes, sizeof raw);
  raw = internal::toBig(raw);
  T value;
  std::memcpy(&value, &raw, sizeof value);
  return value;
}

/// Writes `value` big-endian at `bytes` (no alignment needed); returns the byte after it.
template <class T>
inline unsigned char* write(void* bytes, T value) {
  static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>, "numbers only");
  static_assert(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);
  using U = internal::Unsigned<T>;
  U raw;
  std::memcpy(&raw, &value, sizeof raw);
  raw = internal::toBig(raw);
  std::memcpy(bytes, &raw, sizeof raw);
  return static_cast<unsigned char*>(bytes) + sizeof raw;
}

/// Converts `count` values of type T in place between host and big-endian order (the conversion
/// is its own inverse).
template <class T>
inline void swapInPlace(T* values, size_t count) {
  using U = internal::Unsigned<T>;
  for (size_t i = 0; i < count; ++i) {
    U raw;
    std::memcpy(&raw, values + i, sizeof raw);
    raw = internal::toBig(raw);
    std::memcpy(values + i, &raw, sizeof raw);
  }
}

}  // namespace TbigEndian
