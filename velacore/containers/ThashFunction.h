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

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>
#include <cstring>

class VELACORE_API ThashFunction {
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

namespace vela::hash_internal {

constexpr uint64_t kC1 = 0x87c37b91114253d5ULL;
constexpr uint64_t kC2 = 0x4cf5ad432745937fULL;

inline uint64_t rotl(uint64_t x, int r) { return (x << r) | (x >> (64 - r)); }

inline uint64_t fmix(uint64_t k) {
  k ^= k >> 33;
  k *= 0xff51afd7ed558ccdULL;
  k ^= k >> 33;
  k *= 0xc4ceb9fe1a85ec53ULL;
  k ^= k >> 33;
  return k;
}

inline uint64_t load64(const unsigned char* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);  // little-endian hosts read the blocks as the algorithm defines
  return v;
}

// The 128-bit hash; both halves always computed (the finalisation mixes them together). Inline,
// so that hashing a key of a few bytes (an address) is no call.
inline void murmur3(const void* data, unsigned length, unsigned seed, uint64_t& h1,
                    uint64_t& h2) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  const unsigned nblocks = length / 16;
  h1 = seed;
  h2 = seed;
  for (unsigned i = 0; i < nblocks; ++i) {
    uint64_t k1 = load64(bytes + i * 16);
    uint64_t k2 = load64(bytes + i * 16 + 8);
    k1 *= kC1;
    k1 = rotl(k1, 31);
    k1 *= kC2;
    h1 ^= k1;
    h1 = rotl(h1, 27);
    h1 += h2;
    h1 = h1 * 5 + 0x52dce729;
    k2 *= kC2;
    k2 = rotl(k2, 33);
    k2 *= kC1;
    h2 ^= k2;
    h2 = rotl(h2, 31);
    h2 += h1;
    h2 = h2 * 5 + 0x38495ab5;
  }

  const unsigned char* tail = bytes + nblocks * 16;
  uint64_t k1 = 0;
  uint64_t k2 = 0;
  switch (length & 15) {
    case 15: k2 ^= uint64_t(tail[14]) << 48; [[fallthrough]];
    case 14: k2 ^= uint64_t(tail[13]) << 40; [[fallthrough]];
    case 13: k2 ^= uint64_t(tail[12]) << 32; [[fallthrough]];
    case 12: k2 ^= uint64_t(tail[11]) << 24; [[fallthrough]];
    case 11: k2 ^= uint64_t(tail[10]) << 16; [[fallthrough]];
    case 10: k2 ^= uint64_t(tail[9]) << 8; [[fallthrough]];
    case 9:
      k2 ^= uint64_t(tail[8]);
      k2 *= kC2;
      k2 = rotl(k2, 33);
      k2 *= kC1;
      h2 ^= k2;
      [[fallthrough]];
    case 8: k1 ^= uint64_t(tail[7]) << 56; [[fallthrough]];
    case 7: k1 ^= uint64_t(tail[6]) << 48; [[fallthrough]];
    case 6: k1 ^= uint64_t(tail[5]) << 40; [[fallthrough]];
    case 5: k1 ^= uint64_t(tail[4]) << 32; [[fallthrough]];
    case 4: k1 ^= uint64_t(tail[3]) << 24; [[fallthrough]];
    case 3: k1 ^= uint64_t(tail[2]) << 16; [[fallthrough]];
    case 2: k1 ^= uint64_t(tail[1]) << 8; [[fallthrough]];
    case 1:
      k1 ^= uint64_t(tail[0]);
      k1 *= kC1;
      k1 = rotl(k1, 31);
      k1 *= kC2;
      h1 ^= k1;
      break;
    default:
      break;
  }

  h1 ^= length;
  h2 ^= length;
  h1 += h2;
  h2 += h1;
  h1 = fmix(h1);
  h2 = fmix(h2);
  h1 += h2;
  h2 += h1;
}

}  // namespace vela::hash_internal

inline uint64_t ThashFunction::hash64(const void* data, unsigned length, unsigned seed) {
  uint64_t h1;
  uint64_t h2;
  vela::hash_internal::murmur3(data, length, seed, h1, h2);
  return h1;
}

inline void ThashFunction::hash128(const void* data, unsigned length, unsigned seed, uint64_t out[2]) {
  vela::hash_internal::murmur3(data, length, seed, out[0], out[1]);
}
