// Costs of the diagnostics on the hot path: a disabled trace test, counting with a counter off
// and on (one and two threads), and a nested-timer start/stop pair.
//
// Peers: an empty loop and a plain relaxed atomic flag test for the disabled paths; a shared
// std::atomic increment for counting (what a naive process-wide counter costs, and how it
// degrades when two threads hit one cache line); two steady_clock reads, the least a timer pair
// can cost.
#include <velacore/debug/Tclock.h>
#include <velacore/debug/Tcounter.h>
#include <velacore/debug/TdbTrace.h>
#include <velacore/debug/TnestedTimers.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>

namespace {

TdbTrace gOffTrace("bench_off", "stdout", "a trace that stays off");
Tcounter gOffCounter("bench.off");
Tcounter gOnCounter("bench.on");
std::atomic<bool> gPlainFlag{false};
std::atomic<unsigned> gSharedCount{0};

// ---- a disabled trace ----

void BM_disabledTrace_vela(benchmark::State& state) {
  int hits = 0;
  for (auto _ : state) {
    if (gOffTrace.on()) ++hits;
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_disabledTrace_vela);

void BM_disabledTrace_atomicflag(benchmark::State& state) {
  int hits = 0;
  for (auto _ : state) {
    if (gPlainFlag.load(std::memory_order_relaxed)) ++hits;
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_disabledTrace_atomicflag);

void BM_disabledTrace_emptyloop(benchmark::State& state) {
  int hits = 0;
  for (auto _ : state) benchmark::DoNotOptimize(hits);
}
BENCHMARK(BM_disabledTrace_emptyloop);

// ---- a disabled counter ----

void BM_disabledCounter_vela(benchmark::State& state) {
  int hits = 0;
  for (auto _ : state) {
    gOffCounter.increment();
    benchmark::DoNotOptimize(hits);
  }
}
BENCHMARK(BM_disabledCounter_vela);

void BM_disabledCounter_emptyloop(benchmark::State& state) {
  int hits = 0;
  for (auto _ : state) benchmark::DoNotOptimize(hits);
}
BENCHMARK(BM_disabledCounter_emptyloop);

// ---- an enabled counter, one and two threads ----

void BM_enabledCounter_vela(benchmark::State& state) {
  // Left enabled afterwards: a thread still timing must not see it switch off. The disabled
  // cases above have run by then.
  gOnCounter.enable();
  gOnCounter.increment();  // makes this thread's tree outside the timed loop
  for (auto _ : state) gOnCounter.increment();
}
BENCHMARK(BM_enabledCounter_vela)->Threads(1)->Threads(2)->UseRealTime();

void BM_enabledCounter_sharedatomic(benchmark::State& state) {
  for (auto _ : state) gSharedCount.fetch_add(1, std::memory_order_relaxed);
}
BENCHMARK(BM_enabledCounter_sharedatomic)->Threads(1)->Threads(2)->UseRealTime();

// ---- a nested-timer pair ----

void BM_timerStartStop_vela(benchmark::State& state) {
  const int index = TnestedTimers::getIndex("bench pair");
  for (auto _ : state) {
    TnestedTimers::start(index);
    benchmark::DoNotOptimize(TnestedTimers::stop(index));
  }
}
BENCHMARK(BM_timerStartStop_vela);

void BM_timerStartStop_steadyclock(benchmark::State& state) {
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(std::chrono::steady_clock::now() - begin);
  }
}
BENCHMARK(BM_timerStartStop_steadyclock);

// ---- one clock read ----

void BM_clockRead_vela(benchmark::State& state) {
  (void)Tclock::sNow();  // calibrated outside the timed loop
  for (auto _ : state) benchmark::DoNotOptimize(Tclock::sNow());
}
BENCHMARK(BM_clockRead_vela);

void BM_clockRead_steadyclock(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::chrono::steady_clock::now());
}
BENCHMARK(BM_clockRead_steadyclock);

void BM_nestedStartStop_vela(benchmark::State& state) {
  const int index = TnestedTimers::getIndex("bench nested pair");
  for (auto _ : state) {
    TnestedTimers::startNested(index);
    benchmark::DoNotOptimize(TnestedTimers::stopNested());
  }
}
BENCHMARK(BM_nestedStartStop_vela);

void BM_nestedStartStop_steadyclock(benchmark::State& state) {
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(std::chrono::steady_clock::now() - begin);
  }
}
BENCHMARK(BM_nestedStartStop_steadyclock);

}  // namespace
