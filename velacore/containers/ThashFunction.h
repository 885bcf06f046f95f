// ThashFunction: the library's byte hash (MurmurHash3, x64 128-bit variant).
//
// Used for Tstring::hash and for hash-table keys that are plain bytes (pointers, tags):
//
//   unsigned h = ThashFunction::hash32(name, nameLength, 0);
//   uint64_t h64 = ThashFunction::hash64(&pointer, sizeof pointer, 0);
//
// The results are stable across runs, processes and hosts of the same byte order, so they may be
// stored; they are not a cryptographic hash and must not guard against hostile input.
#pragma once

#include <cstdint>

class ThashFunction {
 public:
  /// The first 64-bit half of MurmurHash3 x64 128-bit over `length` bytes.
  [[nodiscard]] static uint64_t hash64(const void* data, unsigned length, unsigned seed);
  /// The low 32 bits of `hash64`.
  [[nodiscard]] static uint32_t hash32(const void* data, unsigned length, unsigned seed) {
    return static_cast<uint32_t>(hash64(data, length, seed));
  }
  /// Both 64-bit halves of MurmurHash3 x64 128-bit (`out[0]` is `hash64`).
  static void hash128(const void* data, unsigned length, unsigned seed, uint64_t out[2]);
};
