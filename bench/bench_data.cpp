// Typed values against their nearest standard and Qt peers on the same inputs: copying and
// destroying an inline scalar (std::variant), copying and destroying a value that shares an
// array (QVariant holding a QVector<double>), and decoding a chunk of big-endian doubles into
// an array letter (a plain byte-swap loop into a ready vector).
#include <velacore/data/Tdata.h>
#include <velacore/data/TdataTypedArray.h>
#include <velacore/data/TiffFile.h>

#include <benchmark/benchmark.h>

#include <QVariant>
#include <QVector>

#include <cstdint>
#include <cstring>
#include <variant>
#include <vector>

namespace {

// Copies of one value in a loop of 64, each copy read so the compiler keeps it. The source's
// address escapes first, so both sides copy from memory (a constant source would let the
// compiler store a constant instead of copying).
constexpr int kCopies = 64;

template <class V>
void copyLoop(benchmark::State& state, const V& source) {
  benchmark::DoNotOptimize(&source);
  for (auto _ : state) {
    for (int i = 0; i < kCopies; ++i) {
      V copy(source);
      benchmark::DoNotOptimize(copy);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCopies);
}

void BM_scalarCopy_vela(benchmark::State& state) { copyLoop(state, Tdata(2.5)); }

void BM_scalarCopy_variant(benchmark::State& state) {
  copyLoop(state, std::variant<double, long long, void*>(2.5));
}

void BM_letterCopy_vela(benchmark::State& state) {
  auto* letter = new TdataDoubleArray;
  for (int i = 0; i < 100; ++i) letter->writableArray().addLast(i);
  copyLoop(state, Tdata(letter));
}

void BM_letterCopy_qvariant(benchmark::State& state) {
  QVector<double> values;
  for (int i = 0; i < 100; ++i) values.append(i);
  copyLoop(state, QVariant::fromValue(values));
}

// A chunk of n big-endian doubles, as a file holds it.
std::vector<unsigned char> chunkOfDoubles(std::int64_t n) {
  std::vector<double> values(static_cast<std::size_t>(n));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = double(i) * 0.5;
  std::vector<unsigned char> bytes(values.size() * 8);
  TiffFile::sStoreBigEndian(bytes.data(), values.data(), values.size());
  return bytes;
}

void BM_readDoubles_vela(benchmark::State& state) {
  const std::vector<unsigned char> chunk = chunkOfDoubles(state.range(0));
  TdataDoubleArray letter;
  for (auto _ : state) {
    unsigned size = unsigned(chunk.size());
    const void* cursor = chunk.data();
    letter.readBinary(TiffTag("DBL#"), size, cursor);
    benchmark::DoNotOptimize(letter.array().data());
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t(chunk.size()));
}

void BM_readDoubles_bswap(benchmark::State& state) {
  const std::vector<unsigned char> chunk = chunkOfDoubles(state.range(0));
  std::vector<double> out(chunk.size() / 8);
  for (auto _ : state) {
    const unsigned char* from = chunk.data();
    for (std::size_t i = 0; i < out.size(); ++i) {
      std::uint64_t raw;
      std::memcpy(&raw, from + 8 * i, 8);
      raw = __builtin_bswap64(raw);
      std::memcpy(&out[i], &raw, 8);
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t(chunk.size()));
}

BENCHMARK(BM_scalarCopy_vela);
BENCHMARK(BM_scalarCopy_variant);
BENCHMARK(BM_letterCopy_vela);
BENCHMARK(BM_letterCopy_qvariant);
BENCHMARK(BM_readDoubles_vela)->Arg(1000000);
BENCHMARK(BM_readDoubles_bswap)->Arg(1000000);

}  // namespace
