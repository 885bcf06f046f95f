// Arrays against std::vector on the same inputs: appending, inserting at the front, linear
// search and whole-array copies; and the parallel block move against plain memmove by size.
#include <velacore/containers/TvalueArray.h>
#include <velacore/memory/TmappedMemory.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

void BM_addLast_vela(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    TdoubleArray a;
    for (int i = 0; i < n; ++i) a.addLast(i);
    benchmark::DoNotOptimize(a.data());
  }
}

void BM_addLast_stdvector(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::vector<double> v;
    for (int i = 0; i < n; ++i) v.push_back(i);
    benchmark::DoNotOptimize(v.data());
  }
}

void BM_insertFront_vela(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    TdoubleArray a;
    for (int i = 0; i < n; ++i) a.insert(double(i), 0);
    benchmark::DoNotOptimize(a.data());
  }
}

void BM_insertFront_stdvector(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    std::vector<double> v;
    for (int i = 0; i < n; ++i) v.insert(v.begin(), double(i));
    benchmark::DoNotOptimize(v.data());
  }
}

// The value sought is the last element, so both scan the whole array.
void BM_find_vela(benchmark::State& state) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  TdoubleArray a;
  for (std::uint32_t i = 0; i < n; ++i) a.addLast(i);
  const double wanted = n - 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(wanted);
    benchmark::DoNotOptimize(a.find(wanted));
  }
}

void BM_find_stdvector(benchmark::State& state) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  std::vector<double> v;
  for (std::uint32_t i = 0; i < n; ++i) v.push_back(i);
  const double wanted = n - 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(wanted);
    benchmark::DoNotOptimize(std::find(v.begin(), v.end(), wanted));
  }
}

void BM_copy_vela(benchmark::State& state) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  TdoubleArray source;
  for (std::uint32_t i = 0; i < n; ++i) source.addLast(i);
  TdoubleArray target;
  for (auto _ : state) {
    target.copy(source);
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
}

void BM_copy_stdvector(benchmark::State& state) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  std::vector<double> source(n);
  std::iota(source.begin(), source.end(), 0.0);
  std::vector<double> target;
  for (auto _ : state) {
    target = source;
    benchmark::DoNotOptimize(target.data());
    benchmark::ClobberMemory();
  }
}

// The parallel block move by size: where does splitting over threads start to pay?
void BM_move_vela(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  std::vector<char> source(bytes, 'x'), target(bytes);
  for (auto _ : state) {
    memmove_mp(target.data(), source.data(), bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

void BM_move_memmove(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  std::vector<char> source(bytes, 'x'), target(bytes);
  for (auto _ : state) {
    std::memmove(target.data(), source.data(), bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

}  // namespace

BENCHMARK(BM_addLast_vela)->Arg(1000000);
BENCHMARK(BM_addLast_stdvector)->Arg(1000000);
BENCHMARK(BM_insertFront_vela)->Arg(10000);
BENCHMARK(BM_insertFront_stdvector)->Arg(10000);
BENCHMARK(BM_find_vela)->Arg(100000);
BENCHMARK(BM_find_stdvector)->Arg(100000);
BENCHMARK(BM_copy_vela)->Arg(1000000);
BENCHMARK(BM_copy_stdvector)->Arg(1000000);
BENCHMARK(BM_move_vela)->RangeMultiplier(2)->Range(256 << 10, 64 << 20)->UseRealTime();
BENCHMARK(BM_move_memmove)->RangeMultiplier(2)->Range(256 << 10, 64 << 20)->UseRealTime();
