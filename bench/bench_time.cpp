// Animation time: frame numbers to ticks and back, against the same arithmetic on plain
// integers; and periodic time ranges built from random intervals and queried, against
// boost::icl::interval_set. Each iteration converts or adds the same pre-generated inputs.
#include <velacore/time/TanimTime.h>
#include <velacore/time/TperiodicTimeRange.h>

#include <benchmark/benchmark.h>
#include <boost/icl/interval_set.hpp>

#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int kConversions = 1024;
constexpr int kIntervals = 100000;

const std::vector<double>& frameNumbers() {
  static const std::vector<double> frames = [] {
    std::mt19937_64 rng(1);
    std::vector<double> v(kConversions);
    for (double& f : v) f = static_cast<double>(rng() % 10000000);
    return v;
  }();
  return frames;
}

// Frame number to ticks and back, kConversions round trips per iteration.
void BM_FrameToTicksAndBack_vela(benchmark::State& state) {
  const std::vector<double>& frames = frameNumbers();
  for (auto _ : state) {
    double sum = 0;
    for (double f : frames) {
      const TanimTime t(f, kTimeFilm);
      benchmark::DoNotOptimize(t);
      sum += t.valueInThisUnit(kTimeFilm);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kConversions);
}
BENCHMARK(BM_FrameToTicksAndBack_vela);

// The bare arithmetic: multiply to an integer tick count (rounded) and divide back.
void BM_FrameToTicksAndBack_int64(benchmark::State& state) {
  const std::vector<double>& frames = frameNumbers();
  for (auto _ : state) {
    double sum = 0;
    for (double f : frames) {
      const auto t = static_cast<std::int64_t>(f * 5880000.0 + 0.5);
      benchmark::DoNotOptimize(t);
      sum += static_cast<double>(t) / 5880000.0;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kConversions);
}
BENCHMARK(BM_FrameToTicksAndBack_int64);

// Starts uniform over 10^9 ticks, lengths 1 to 10^4: about half the span ends up covered, so
// adds both insert and merge.
const std::vector<TtimeInterval>& randomIntervals() {
  static const std::vector<TtimeInterval> intervals = [] {
    std::mt19937_64 rng(2);
    std::vector<TtimeInterval> v(kIntervals);
    for (TtimeInterval& i : v) {
      i.start = static_cast<std::int64_t>(rng() % 1000000000);
      i.end = i.start + 1 + static_cast<std::int64_t>(rng() % 10000);
    }
    return v;
  }();
  return intervals;
}

const std::vector<std::int64_t>& probes() {
  static const std::vector<std::int64_t> ticks = [] {
    std::mt19937_64 rng(3);
    std::vector<std::int64_t> v(kIntervals);
    for (std::int64_t& t : v) t = static_cast<std::int64_t>(rng() % 1000000000);
    return v;
  }();
  return ticks;
}

using IclSet = boost::icl::interval_set<std::int64_t>;
using IclInterval = boost::icl::interval<std::int64_t>;

void BM_RangeAdd_vela(benchmark::State& state) {
  const auto& intervals = randomIntervals();
  for (auto _ : state) {
    TperiodicTimeRange r;
    for (const TtimeInterval& i : intervals) r.add(i);
    benchmark::DoNotOptimize(r.intervals().size());
  }
}
BENCHMARK(BM_RangeAdd_vela)->Unit(benchmark::kMillisecond);

void BM_RangeAdd_icl(benchmark::State& state) {
  const auto& intervals = randomIntervals();
  for (auto _ : state) {
    IclSet s;
    for (const TtimeInterval& i : intervals) s.add(IclInterval::right_open(i.start, i.end));
    benchmark::DoNotOptimize(s.iterative_size());
  }
}
BENCHMARK(BM_RangeAdd_icl)->Unit(benchmark::kMillisecond);

// The same intervals handed over at once (addAll sorts and merges in one pass).
void BM_RangeAddBulk_vela(benchmark::State& state) {
  const auto& intervals = randomIntervals();
  for (auto _ : state) {
    TperiodicTimeRange r;
    r.addAll(intervals.data(), static_cast<std::uint32_t>(intervals.size()));
    benchmark::DoNotOptimize(r.intervals().size());
  }
}
BENCHMARK(BM_RangeAddBulk_vela)->Unit(benchmark::kMillisecond);

void BM_RangeAddBulk_icl(benchmark::State& state) { BM_RangeAdd_icl(state); }
BENCHMARK(BM_RangeAddBulk_icl)->Unit(benchmark::kMillisecond);

void BM_RangeContains_vela(benchmark::State& state) {
  TperiodicTimeRange r;
  const auto& intervals = randomIntervals();
  r.addAll(intervals.data(), static_cast<std::uint32_t>(intervals.size()));
  for (auto _ : state) {
    int hits = 0;
    for (std::int64_t t : probes()) hits += r.contains(t);
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_RangeContains_vela)->Unit(benchmark::kMillisecond);

void BM_RangeContains_icl(benchmark::State& state) {
  IclSet s;
  for (const TtimeInterval& i : randomIntervals()) s.add(IclInterval::right_open(i.start, i.end));
  for (auto _ : state) {
    int hits = 0;
    for (std::int64_t t : probes()) hits += boost::icl::contains(s, t);
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_RangeContains_icl)->Unit(benchmark::kMillisecond);

}  // namespace
