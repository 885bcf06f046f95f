// The block byte swaps behind the array letters' binary reading: a chunk of big-endian numbers
// becomes an array in one pass, 32 bytes per step where the processor allows.
#include <velacore/data/detail/TdataElementOps.h>

#include <immintrin.h>
#include <type_traits>

namespace vela::data_internal {
namespace {

template <class U>
void swapScalar(const unsigned char* from, unsigned char* to, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const U value = TbigEndian::read<U>(from + sizeof(U) * i);
    std::memcpy(to + sizeof(U) * i, &value, sizeof(U));
  }
}

// Reverses the bytes of every `width`-byte word in 32-byte blocks; the tail goes word by word.
template <int kWidth>
__attribute__((target("avx2"))) void swapAvx2(const unsigned char* from, unsigned char* to,
                                              std::size_t n) {
  const __m256i order =
      kWidth == 8 ? _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5,
                                     4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)
                  : _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2, 1,
                                     0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
  const std::size_t bytes = n * kWidth;
  std::size_t i = 0;
  for (; i + 64 <= bytes; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i + 32));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i), _mm256_shuffle_epi8(a, order));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i + 32), _mm256_shuffle_epi8(b, order));
  }
  for (; i + 32 <= bytes; i += 32) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i), _mm256_shuffle_epi8(a, order));
  }
  using U = std::conditional_t<kWidth == 8, std::uint64_t, std::uint32_t>;
  swapScalar<U>(from + i, to + i, (bytes - i) / kWidth);
}

bool hasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
}

}  // namespace

void swap64(const unsigned char* from, void* to, std::size_t n) {
  auto* out = static_cast<unsigned char*>(to);
  if (n >= 8 && hasAvx2()) {
    swapAvx2<8>(from, out, n);
  } else {
    swapScalar<std::uint64_t>(from, out, n);
  }
}

void swap32(const unsigned char* from, void* to, std::size_t n) {
  auto* out = static_cast<unsigned char*>(to);
  if (n >= 16 && hasAvx2()) {
    swapAvx2<4>(from, out, n);
  } else {
    swapScalar<std::uint32_t>(from, out, n);
  }
}

}  // namespace vela::data_internal
