// Conversions between the two forms of a Tstring body.
#include <velacore/strings/internal/TtextObject.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/internal/Timmortal.h>

#include <QByteArray>

#include <cstring>
#include <memory>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// One lock for every lazy conversion in the process. Created on first use and never destroyed,
// so strings released during static destruction can still convert.
TmtCriticalSection& conversionLock() {
  static Timmortal<TmtCriticalSection> sLock;
  return *sLock;
}

std::atomic<uint64_t> gWideConversions{0};

// Widens the ASCII prefix of `src` into `dst`; returns how many bytes were ASCII. The last
// partial block is done as one overlapping block (its stores repeat values already written), so
// short texts take no byte-by-byte loop.
inline std::size_t widenAsciiSse2(const char* src, std::size_t n, char16_t* dst) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    if (_mm_movemask_epi8(v) != 0) goto bytewise;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i + 8), _mm_unpackhi_epi8(v, zero));
  }
  if (i == n) return n;
  if (n >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + n - 16));
    if (_mm_movemask_epi8(v) == 0) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n - 16), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n - 8), _mm_unpackhi_epi8(v, zero));
      return n;
    }
  } else if (n >= 8) {
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + n - 8));
    if (_mm_movemask_epi8(_mm_or_si128(a, b)) == 0) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_unpacklo_epi8(a, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + n - 8), _mm_unpacklo_epi8(b, zero));
      return n;
    }
  }
bytewise:
#endif
  for (; i < n; ++i) {
    const auto c = static_cast<unsigned char>(src[i]);
    if (c >= 0x80) break;
    dst[i] = c;
  }
  return i;
}

#if defined(__x86_64__) && defined(__GNUC__)
#define VELA_HAVE_AVX2_PATH 1
// The same with 32-byte registers, 64 bytes a round; the remainder goes to the SSE2 version.
__attribute__((target("avx2"))) std::size_t widenAsciiAvx2(const char* src, std::size_t n,
                                                         char16_t* dst) {
  std::size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i + 32));
    if (_mm256_movemask_epi8(_mm256_or_si256(a, b)) != 0) break;
    auto* out = reinterpret_cast<__m256i*>(dst + i);
    _mm256_storeu_si256(out, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(a)));
    _mm256_storeu_si256(out + 1, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(a, 1)));
    _mm256_storeu_si256(out + 2, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(b)));
    _mm256_storeu_si256(out + 3, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(b, 1)));
  }
  return i + widenAsciiSse2(src + i, n - i, dst + i);
}
#endif

using TwidenFn = std::size_t (*)(const char*, std::size_t, char16_t*);

// Picks the widest widening loop this processor runs, once.
TwidenFn chooseWiden() {
#if defined(VELA_HAVE_AVX2_PATH)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) return &widenAsciiAvx2;
#endif
  return [](const char* src, std::size_t n, char16_t* dst) { return widenAsciiSse2(src, n, dst); };
}

// Below this many bytes the wide loop cannot pay for the indirect call.
constexpr std::size_t kWideLoopFrom = 128;

inline std::size_t widenAscii(const char* src, std::size_t n, char16_t* dst) {
  if (n < kWideLoopFrom) return widenAsciiSse2(src, n, dst);
  static const TwidenFn sWiden = chooseWiden();
  return sWiden(src, n, dst);
}

// Whether every byte is below 0x80.
bool allAscii(const char* src, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  auto load = [src](std::size_t at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + at));
  };
  for (; i + 64 <= n; i += 64) {
    const __m128i any = _mm_or_si128(_mm_or_si128(load(i), load(i + 16)),
                                     _mm_or_si128(load(i + 32), load(i + 48)));
    if (_mm_movemask_epi8(any) != 0) return false;
  }
  for (; i + 16 <= n; i += 16)
    if (_mm_movemask_epi8(load(i)) != 0) return false;
  if (i < n && n >= 16) return _mm_movemask_epi8(load(n - 16)) == 0;  // overlapping last block
#endif
  for (; i < n; ++i)
    if (static_cast<unsigned char>(src[i]) >= 0x80) return false;
  return true;
}

// Narrows the ASCII prefix of `src` into `dst`; returns how many units were ASCII.
std::size_t narrowAscii(const char16_t* src, std::size_t n, char* dst) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  for (; i + 16 <= n; i += 16) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i + 8));
    __m128i any = _mm_and_si128(_mm_or_si128(a, b), high);
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(any, _mm_setzero_si128())) != 0xFFFF) break;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(a, b));
  }
#endif
  for (; i < n; ++i) {
    if (src[i] >= 0x80) break;
    dst[i] = static_cast<char>(src[i]);
  }
  return i;
}

}  // namespace

bool TtextObject::isAscii(const char* bytes, std::size_t n) { return allAscii(bytes, n); }

QString TtextObject::decode(const char* bytes, std::size_t length) {
  if (length == 0) return QString();
  // Text that is not ASCII usually shows it early: look at a first stretch before allocating
  // the ASCII result, so that mixed text goes straight to the full decoder.
  if (length > 64 && !allAscii(bytes, 64)) return QString::fromUtf8(bytes, static_cast<int>(length));
  QString out(static_cast<int>(length), Qt::Uninitialized);
  auto* dst = reinterpret_cast<char16_t*>(out.data());
  const std::size_t ascii = widenAscii(bytes, length, dst);
  if (ascii == length) return out;
  if (ascii < length / 2) return QString::fromUtf8(bytes, static_cast<int>(length));
  // A long ASCII run is kept; Qt decodes the rest, which then fits in the room already taken
  // (UTF-8 never needs more UTF-16 units than bytes).
  const QString rest = QString::fromUtf8(bytes + ascii, static_cast<int>(length - ascii));
  out.resize(static_cast<int>(ascii) + rest.size());
  std::memcpy(out.data() + ascii, rest.constData(), static_cast<std::size_t>(rest.size()) * 2);
  return out;
}

void TtextObject::encode(const QString& wide, std::string& out) {
  const std::size_t n = static_cast<std::size_t>(wide.size());
  out.resize(n);
  if (narrowAscii(units(wide), n, out.data()) == n) return;
  const QByteArray utf8 = wide.toUtf8();
  out.assign(utf8.constData(), static_cast<std::size_t>(utf8.size()));
}

void TtextObject::syncWide() {
  // Even a body held by one string may be read by several threads through that one const
  // object, so the first conversion always runs under the lock; later calls cost one load.
  if (fState.load(std::memory_order_acquire) != kNarrowPending) return;
  TmtScopedLock guard(conversionLock());
  if (fState.load(std::memory_order_relaxed) != kNarrowPending) return;
  fWide = decode(fNarrow.data(), fNarrow.size());
  gWideConversions.fetch_add(1, std::memory_order_relaxed);
  fState.store(kSynced, std::memory_order_release);
}

void TtextObject::syncWideForEdit() {
  if (fState.load(std::memory_order_relaxed) != kNarrowPending) return;
  fWide = decode(fNarrow.data(), fNarrow.size());
  gWideConversions.fetch_add(1, std::memory_order_relaxed);
  fState.store(kSynced, std::memory_order_relaxed);
}

void TtextObject::syncNarrow() {
  if (fState.load(std::memory_order_acquire) != kWideOnly) return;
  TmtScopedLock guard(conversionLock());
  if (fState.load(std::memory_order_relaxed) != kWideOnly) return;
  encode(fWide, fNarrow);
  fState.store(kSynced, std::memory_order_release);
}

const std::string& TtextObject::utf8() {
  syncNarrow();  // text made from UTF-16 is encoded well formed
  if (fUtf8Checked.load(std::memory_order_acquire)) return fNarrow;
  if (const std::string* r = fRepairedUtf8.load(std::memory_order_acquire)) return *r;
  const std::size_t n = fNarrow.size();
  if (allAscii(fNarrow.data(), n)) {
    fUtf8Checked.store(true, std::memory_order_release);
    return fNarrow;
  }
  // Decoding replaces each malformed sequence; the bytes were well formed exactly when encoding
  // the result gives them back.
  auto repaired = std::make_unique<std::string>();
  encode(QString::fromUtf8(fNarrow.data(), static_cast<int>(n)), *repaired);
  if (*repaired == fNarrow) {
    fUtf8Checked.store(true, std::memory_order_release);
    return fNarrow;
  }
  TmtScopedLock guard(conversionLock());
  if (const std::string* r = fRepairedUtf8.load(std::memory_order_acquire)) return *r;
  fRepairedUtf8.store(repaired.get(), std::memory_order_release);
  return *repaired.release();
}

uint64_t Tstring::sWideConversionCount() {
  return gWideConversions.load(std::memory_order_relaxed);
}

void TstringRep::dropRepairedUtf8() noexcept {
  delete fRepairedUtf8.exchange(nullptr, std::memory_order_relaxed);
}
