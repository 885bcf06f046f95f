// Tstring against std::string and QString (and snprintf / std::to_chars for numbers, reference
// MurmurHash3 for hashing) on the same inputs.
#include <velacore/containers/ThashFunction.h>
#include <velacore/strings/Tstring.h>

#include <QString>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string text(std::size_t n) {
  std::string s;
  while (s.size() < n) s += "the quick brown fox jumps over the lazy dog ";
  s.resize(n);
  return s;
}

std::string mixedText(std::size_t n) {
  // Latin with accents, Cyrillic, Greek, CJK and an emoji: 1- to 4-byte characters.
  const std::string piece =
      "Caf\xC3\xA9 \xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 \xCE\xB1\xCE\xB2\xCE\xB3 "
      "\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80 plain ascii words here ";
  std::string s;
  while (s.size() + piece.size() <= n) s += piece;
  return s;
}

// ---- copy + destroy ----
void BM_copy_vela(benchmark::State& st) {
  const Tstring s(text(static_cast<std::size_t>(st.range(0))).c_str());
  for (auto _ : st) {
    Tstring c(s);
    benchmark::DoNotOptimize(c);
  }
}
void BM_copy_std(benchmark::State& st) {
  const std::string s = text(static_cast<std::size_t>(st.range(0)));
  for (auto _ : st) {
    std::string c(s);
    benchmark::DoNotOptimize(c);
  }
}
void BM_copy_qt(benchmark::State& st) {
  const QString s = QString::fromUtf8(text(static_cast<std::size_t>(st.range(0))).c_str());
  for (auto _ : st) {
    QString c(s);
    benchmark::DoNotOptimize(c);
  }
}
BENCHMARK(BM_copy_vela)->Arg(24)->Arg(200);
BENCHMARK(BM_copy_std)->Arg(24)->Arg(200);
BENCHMARK(BM_copy_qt)->Arg(24)->Arg(200);

// ---- equality of equal texts in different bodies ----
void BM_equal_vela(benchmark::State& st) {
  const std::string t = text(static_cast<std::size_t>(st.range(0)));
  const Tstring a(t.c_str());
  const Tstring b(t.c_str());
  for (auto _ : st) benchmark::DoNotOptimize(a == b);
}
void BM_equal_std(benchmark::State& st) {
  const std::string a = text(static_cast<std::size_t>(st.range(0)));
  const std::string b = a;
  for (auto _ : st) benchmark::DoNotOptimize(a == b);
}
BENCHMARK(BM_equal_vela)->Arg(24)->Arg(200);
BENCHMARK(BM_equal_std)->Arg(24)->Arg(200);

// ---- append 8-byte pieces, 64 of them ----
void BM_append8_vela(benchmark::State& st) {
  for (auto _ : st) {
    Tstring s;
    for (int i = 0; i < 64; ++i) s.append("abcdefgh", 8);
    benchmark::DoNotOptimize(s);
  }
}
void BM_append8_std(benchmark::State& st) {
  for (auto _ : st) {
    std::string s;
    for (int i = 0; i < 64; ++i) s.append("abcdefgh", 8);
    benchmark::DoNotOptimize(s);
  }
}
BENCHMARK(BM_append8_vela);
BENCHMARK(BM_append8_std);

// ---- search ----
void BM_findstr_vela(benchmark::State& st) {
  const Tstring s((text(1000) + "needle").c_str());
  const Tstring n("needle");
  for (auto _ : st) benchmark::DoNotOptimize(s.findstr(n));
}
void BM_findstr_std(benchmark::State& st) {
  const std::string s = text(1000) + "needle";
  const std::string n("needle");
  for (auto _ : st) benchmark::DoNotOptimize(s.find(n));
}
void BM_findstr_qt(benchmark::State& st) {
  const QString s = QString::fromUtf8((text(1000) + "needle").c_str());
  const QString n("needle");
  for (auto _ : st) benchmark::DoNotOptimize(s.indexOf(n));
}
BENCHMARK(BM_findstr_vela);
BENCHMARK(BM_findstr_std);
BENCHMARK(BM_findstr_qt);

void BM_indexchar_vela(benchmark::State& st) {
  const Tstring s((text(1000) + "#").c_str());
  for (auto _ : st) benchmark::DoNotOptimize(s.index('#'));
}
void BM_indexchar_std(benchmark::State& st) {
  const std::string s = text(1000) + "#";
  for (auto _ : st) benchmark::DoNotOptimize(s.find('#'));
}
BENCHMARK(BM_indexchar_vela);
BENCHMARK(BM_indexchar_std);

// ---- hash ----
// Reference MurmurHash3_x64_128, first half, written plainly as published.
uint64_t referenceMurmur(const void* key, int len, uint32_t seed) {
  const auto* data = static_cast<const uint8_t*>(key);
  const int nblocks = len / 16;
  uint64_t h1 = seed, h2 = seed;
  const uint64_t c1 = 0x87c37b91114253d5ULL, c2 = 0x4cf5ad432745937fULL;
  auto rotl = [](uint64_t x, int r) { return (x << r) | (x >> (64 - r)); };
  for (int i = 0; i < nblocks; i++) {
    uint64_t k1, k2;
    std::memcpy(&k1, data + i * 16, 8);
    std::memcpy(&k2, data + i * 16 + 8, 8);
    k1 *= c1; k1 = rotl(k1, 31); k1 *= c2; h1 ^= k1;
    h1 = rotl(h1, 27); h1 += h2; h1 = h1 * 5 + 0x52dce729;
    k2 *= c2; k2 = rotl(k2, 33); k2 *= c1; h2 ^= k2;
    h2 = rotl(h2, 31); h2 += h1; h2 = h2 * 5 + 0x38495ab5;
  }
  const uint8_t* tail = data + nblocks * 16;
  uint64_t k1 = 0, k2 = 0;
  for (int i = (len & 15) - 1; i >= 8; --i) k2 ^= uint64_t(tail[i]) << ((i - 8) * 8);
  if ((len & 15) > 8) { k2 *= c2; k2 = rotl(k2, 33); k2 *= c1; h2 ^= k2; }
  for (int i = std::min(len & 15, 8) - 1; i >= 0; --i) k1 ^= uint64_t(tail[i]) << (i * 8);
  if ((len & 15) > 0) { k1 *= c1; k1 = rotl(k1, 31); k1 *= c2; h1 ^= k1; }
  auto fmix = [](uint64_t k) {
    k ^= k >> 33; k *= 0xff51afd7ed558ccdULL; k ^= k >> 33; k *= 0xc4ceb9fe1a85ec53ULL;
    return k ^ (k >> 33);
  };
  h1 ^= uint64_t(len); h2 ^= uint64_t(len);
  h1 += h2; h2 += h1;
  h1 = fmix(h1); h2 = fmix(h2);
  h1 += h2;
  return h1;
}
void BM_hash_vela(benchmark::State& st) {
  Tstring s(text(static_cast<std::size_t>(st.range(0))).c_str());
  for (auto _ : st) {
    benchmark::DoNotOptimize(s.asNonConstC());  // an edit: the body forgets its hash
    benchmark::DoNotOptimize(s.hash());
  }
  st.SetBytesProcessed(st.iterations() * st.range(0));
}
// The usual hash-table case: the same key string asked again (the body remembers the hash).
void BM_hashagain_vela(benchmark::State& st) {
  const Tstring s(text(static_cast<std::size_t>(st.range(0))).c_str());
  for (auto _ : st) benchmark::DoNotOptimize(s.hash());
}
void BM_hashagain_murmur(benchmark::State& st) {
  const std::string s = text(static_cast<std::size_t>(st.range(0)));
  for (auto _ : st)
    benchmark::DoNotOptimize(static_cast<uint32_t>(referenceMurmur(s.data(), static_cast<int>(s.size()), 0)));
}
void BM_hash_murmur(benchmark::State& st) {
  const std::string s = text(static_cast<std::size_t>(st.range(0)));
  for (auto _ : st)
    benchmark::DoNotOptimize(static_cast<uint32_t>(referenceMurmur(s.data(), static_cast<int>(s.size()), 0)));
  st.SetBytesProcessed(st.iterations() * st.range(0));
}
BENCHMARK(BM_hash_vela)->Arg(24)->Arg(4096);
BENCHMARK(BM_hash_murmur)->Arg(24)->Arg(4096);
BENCHMARK(BM_hashagain_vela)->Arg(24);
BENCHMARK(BM_hashagain_murmur)->Arg(24);

// ---- narrow to wide (ours includes taking the bytes into a fresh body) ----
void convVela(benchmark::State& st, const std::string& s) {
  for (auto _ : st) {
    Tstring t(s.data(), static_cast<unsigned>(s.size()));
    benchmark::DoNotOptimize(t.asW());
  }
  st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(s.size()));
}
void convQt(benchmark::State& st, const std::string& s) {
  for (auto _ : st) {
    QString q = QString::fromUtf8(s.data(), static_cast<int>(s.size()));
    benchmark::DoNotOptimize(q.constData());
  }
  st.SetBytesProcessed(st.iterations() * static_cast<int64_t>(s.size()));
}
void BM_convascii_vela(benchmark::State& st) { convVela(st, text(65536)); }
void BM_convascii_qt(benchmark::State& st) { convQt(st, text(65536)); }
void BM_convmixed_vela(benchmark::State& st) { convVela(st, mixedText(65536)); }
void BM_convmixed_qt(benchmark::State& st) { convQt(st, mixedText(65536)); }
void BM_conv24_vela(benchmark::State& st) { convVela(st, text(24)); }
void BM_conv24_qt(benchmark::State& st) { convQt(st, text(24)); }
// The conversion step alone: byte strings already taken into bodies (ours) or already in memory
// (Qt's input), so neither side's timed work includes making the input. Batches keep the cost
// of pausing the clock out of the figures.
constexpr int kConvBatch = 512;
void BM_conv24step_vela(benchmark::State& st) {
  const std::string s = text(24);
  std::vector<Tstring> batch(kConvBatch);
  for (auto _ : st) {
    st.PauseTiming();
    for (Tstring& t : batch) t = Tstring(s.data(), static_cast<unsigned>(s.size()));
    st.ResumeTiming();
    for (Tstring& t : batch) benchmark::DoNotOptimize(t.asW());
  }
  st.SetItemsProcessed(st.iterations() * kConvBatch);
}
void BM_conv24step_qt(benchmark::State& st) {
  const std::string s = text(24);
  std::vector<std::string> inputs(kConvBatch, s);
  std::vector<QString> batch(kConvBatch);
  for (auto _ : st) {
    st.PauseTiming();
    for (QString& q : batch) q = QString();
    st.ResumeTiming();
    for (int i = 0; i < kConvBatch; ++i) {
      batch[i] = QString::fromUtf8(inputs[i].data(), static_cast<int>(inputs[i].size()));
      benchmark::DoNotOptimize(batch[i].constData());
    }
  }
  st.SetItemsProcessed(st.iterations() * kConvBatch);
}
BENCHMARK(BM_convascii_vela);
BENCHMARK(BM_convascii_qt);
BENCHMARK(BM_convmixed_vela);
BENCHMARK(BM_convmixed_qt);
BENCHMARK(BM_conv24_vela);
BENCHMARK(BM_conv24_qt);
BENCHMARK(BM_conv24step_vela);
BENCHMARK(BM_conv24step_qt);

// ---- setDouble (significant, default precision) ----
const double kValues[] = {0.1, 1234.5678, -3.25e-5, 6.02214076e23, 42.0, -0.5, 3.14159265358979, 1e-3};
void BM_setdouble_vela(benchmark::State& st) {
  Tstring s;
  std::size_t i = 0;
  for (auto _ : st) {
    s.setDouble(kValues[i++ & 7]);
    benchmark::DoNotOptimize(s);
  }
}
int precisionFor(double v) {
  const double a = std::fabs(v);
  return (a < 1 ? 0 : static_cast<int>(std::floor(std::log10(std::floor(a)))) + 1) + 6;
}
void BM_setdouble_snprintf(benchmark::State& st) {
  char buf[64];
  std::size_t i = 0;
  for (auto _ : st) {
    const double v = kValues[i++ & 7];
    char fmt[16];
    std::snprintf(fmt, sizeof fmt, "%%.%dlg", precisionFor(v));
    benchmark::DoNotOptimize(std::snprintf(buf, sizeof buf, fmt, v));
  }
}
void BM_setdouble_tochars(benchmark::State& st) {
  char buf[64];
  std::size_t i = 0;
  for (auto _ : st) {
    const double v = kValues[i++ & 7];
    auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, precisionFor(v));
    benchmark::DoNotOptimize(r.ptr);
  }
}
BENCHMARK(BM_setdouble_vela);
BENCHMARK(BM_setdouble_snprintf);
BENCHMARK(BM_setdouble_tochars);

}  // namespace
