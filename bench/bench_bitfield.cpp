// TbitFieldFixedN whole-set operations on 10^6 bits against std::vector<bool> (the loops a user
// writes for it) and std::bitset: AND, OR, and anySet over an all-clear set (a full scan).
#include <velacore/containers/TbitFieldFixedN.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <bitset>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr unsigned kBits = 1000000;

std::vector<bool> randomBits(unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<bool> v(kBits);
  for (unsigned i = 0; i < kBits; ++i) v[i] = rng() & 1;
  return v;
}

TbitFieldFixedN velaFrom(const std::vector<bool>& v) {
  TbitFieldFixedN b(kBits, nullptr);
  for (unsigned i = 0; i < kBits; ++i) b.setBit(i, v[i]);
  return b;
}

std::unique_ptr<std::bitset<kBits>> bitsetFrom(const std::vector<bool>& v) {
  auto b = std::make_unique<std::bitset<kBits>>();
  for (unsigned i = 0; i < kBits; ++i) b->set(i, v[i]);
  return b;
}

void BM_and_vela(benchmark::State& state) {
  TbitFieldFixedN a = velaFrom(randomBits(1)), b = velaFrom(randomBits(2));
  for (auto _ : state) {
    a.AND(b);
    benchmark::DoNotOptimize(a.currentArray());
    benchmark::ClobberMemory();
  }
}

void BM_and_stdvectorbool(benchmark::State& state) {
  std::vector<bool> a = randomBits(1), b = randomBits(2);
  for (auto _ : state) {
    for (unsigned i = 0; i < kBits; ++i) a[i] = a[i] && b[i];
    benchmark::DoNotOptimize(a);
    benchmark::ClobberMemory();
  }
}

void BM_and_stdbitset(benchmark::State& state) {
  auto a = bitsetFrom(randomBits(1)), b = bitsetFrom(randomBits(2));
  for (auto _ : state) {
    *a &= *b;
    benchmark::DoNotOptimize(a.get());
    benchmark::ClobberMemory();
  }
}

void BM_or_vela(benchmark::State& state) {
  TbitFieldFixedN a = velaFrom(randomBits(1)), b = velaFrom(randomBits(2));
  for (auto _ : state) {
    a.OR(b);
    benchmark::DoNotOptimize(a.currentArray());
    benchmark::ClobberMemory();
  }
}

void BM_or_stdvectorbool(benchmark::State& state) {
  std::vector<bool> a = randomBits(1), b = randomBits(2);
  for (auto _ : state) {
    for (unsigned i = 0; i < kBits; ++i) a[i] = a[i] || b[i];
    benchmark::DoNotOptimize(a);
    benchmark::ClobberMemory();
  }
}

void BM_or_stdbitset(benchmark::State& state) {
  auto a = bitsetFrom(randomBits(1)), b = bitsetFrom(randomBits(2));
  for (auto _ : state) {
    *a |= *b;
    benchmark::DoNotOptimize(a.get());
    benchmark::ClobberMemory();
  }
}

void BM_anySetClear_vela(benchmark::State& state) {
  TbitFieldFixedN a(kBits, nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(a.anySet());
}

void BM_anySetClear_stdvectorbool(benchmark::State& state) {
  std::vector<bool> a(kBits, false);
  for (auto _ : state) benchmark::DoNotOptimize(std::find(a.begin(), a.end(), true) != a.end());
}

void BM_anySetClear_stdbitset(benchmark::State& state) {
  auto a = std::make_unique<std::bitset<kBits>>();
  for (auto _ : state) benchmark::DoNotOptimize(a->any());
}

}  // namespace

BENCHMARK(BM_and_vela)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_and_stdvectorbool)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_and_stdbitset)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_or_vela)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_or_stdvectorbool)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_or_stdbitset)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_anySetClear_vela)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_anySetClear_stdvectorbool)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_anySetClear_stdbitset)->Unit(benchmark::kMicrosecond);
