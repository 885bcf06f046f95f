// Skip-list dictionaries against std::map (and absl::btree_map beside them): random finds,
// bookmarked ascending lookups and insertion, and bytes per entry counted at operator new.
#include <velacore/containers/TindexDictionary.h>
#include <velacore/platform/TplatformLargePages.h>

#include <absl/container/btree_map.h>
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <new>
#include <random>
#include <vector>

// Every allocation of this program is counted: requested bytes and the heap's real block
// (usable size plus its 8-byte header).
namespace {
std::size_t gRequested = 0;
std::size_t gReal = 0;
}  // namespace

void* operator new(std::size_t bytes) {
  void* p = std::malloc(bytes == 0 ? 1 : bytes);
  if (p == nullptr) throw std::bad_alloc();
  gRequested += bytes;
  gReal += malloc_usable_size(p) + 8;
  return p;
}
void operator delete(void* p) noexcept {
  if (p != nullptr) gReal -= malloc_usable_size(p) + 8;
  std::free(p);
}
void operator delete(void* p, std::size_t bytes) noexcept {
  gRequested -= bytes;
  operator delete(p);
}
// The aligned forms too: the dictionary's node pages are aligned blocks.
void* operator new(std::size_t bytes, std::align_val_t align) {
  void* p = nullptr;
  if (posix_memalign(&p, std::max(std::size_t(align), sizeof(void*)), bytes == 0 ? 1 : bytes) != 0)
    throw std::bad_alloc();
  gRequested += bytes;
  gReal += malloc_usable_size(p) + 8;
  return p;
}
void operator delete(void* p, std::align_val_t) noexcept { operator delete(p); }
void operator delete(void* p, std::size_t bytes, std::align_val_t) noexcept {
  operator delete(p, bytes);
}

namespace {

std::vector<std::uint32_t> shuffledKeys(std::size_t n) {
  std::vector<std::uint32_t> keys(n);
  for (std::size_t i = 0; i < n; ++i) keys[i] = std::uint32_t(i * 7 + 3);
  std::shuffle(keys.begin(), keys.end(), std::mt19937(11));
  return keys;
}

// 2^20 probes drawn at random from n keys: a sequence far longer than any branch history, so
// that no search path repeats in a pattern the predictor could learn.
std::vector<std::uint32_t> randomProbes(std::size_t n) {
  std::vector<std::uint32_t> probes(std::size_t(1) << 20);
  std::mt19937 gen(13);
  std::uniform_int_distribution<std::size_t> pick(0, n - 1);
  for (std::uint32_t& p : probes) p = std::uint32_t(pick(gen) * 7 + 3);
  return probes;
}

// The search path of `key`, walked through the public links: the nodes it moves to along a
// level (each a load that waits for the one before) and the levels it drops.
struct Tpath {
  double advances = 0, levels = 0;
};
Tpath pathOf(TindexDictionary& d, std::uint32_t key) {
  Tpath path;
  TdictionaryNode* x = &d;
  for (int level = d.levelCount() - 1; level >= 0; --level, ++path.levels)
    for (TdictionaryNode* next; (next = x->forward(level)) != nullptr &&
                                static_cast<TindexDictionaryNode*>(next)->key() < key;) {
      x = next;
      ++path.advances;
    }
  return path;
}

void BM_FindRandom_vela(benchmark::State& state) {
  const auto keys = shuffledKeys(std::size_t(state.range(0)));
  TindexDictionary d;
  for (std::uint32_t k : keys) d.insert(k, k);
  const auto probes = randomProbes(std::size_t(state.range(0)));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(d.search(probes[i]));
    if (++i == probes.size()) i = 0;
  }
  // A balanced binary tree's path is about log2(n) dependent loads; compare these with it.
  Tpath total;
  for (std::size_t p = 0; p < 4096; ++p) {
    const Tpath one = pathOf(d, probes[p]);
    total.advances += one.advances;
    total.levels += one.levels;
  }
  state.counters["advances_per_find"] = total.advances / 4096;
  state.counters["levels_per_find"] = total.levels / 4096;
  state.counters["log2_n"] = std::log2(double(state.range(0)));
}
BENCHMARK(BM_FindRandom_vela)->Arg(1000)->Arg(1000000);

// The peers: any ordered map with emplace and find.
template <class Map>
void findRandomIn(benchmark::State& state) {
  const auto keys = shuffledKeys(std::size_t(state.range(0)));
  Map m;
  for (std::uint32_t k : keys) m.emplace(k, k);
  const auto probes = randomProbes(std::size_t(state.range(0)));
  std::size_t i = 0;
  for (auto _ : state) {
    auto it = m.find(probes[i]);
    benchmark::DoNotOptimize(it == m.end() ? nullptr : &it->second);
    if (++i == probes.size()) i = 0;
  }
}

void BM_FindRandom_stdmap(benchmark::State& state) {
  findRandomIn<std::map<std::uint32_t, std::uint32_t>>(state);
}
BENCHMARK(BM_FindRandom_stdmap)->Arg(1000)->Arg(1000000);

void BM_FindRandom_btree(benchmark::State& state) {
  findRandomIn<absl::btree_map<std::uint32_t, std::uint32_t>>(state);
}
BENCHMARK(BM_FindRandom_btree)->Arg(1000)->Arg(1000000);

// Lookups of every key in ascending order: with a bookmark against std::map::find.
void BM_LookupAscending_vela(benchmark::State& state) {
  const std::uint32_t n = std::uint32_t(state.range(0));
  TindexDictionary d;
  Tbookmark build;
  for (std::uint32_t k = 0; k < n; ++k) d.insert(k * 2, k, build);
  Tbookmark mark;
  std::uint32_t k = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(d.search(k * 2, mark));
    if (++k == n) {
      k = 0;
      mark.reset();
    }
  }
}
BENCHMARK(BM_LookupAscending_vela)->Arg(1000000);

void BM_LookupAscending_stdmap(benchmark::State& state) {
  const std::uint32_t n = std::uint32_t(state.range(0));
  std::map<std::uint32_t, std::uint32_t> m;
  for (std::uint32_t k = 0; k < n; ++k) m.emplace_hint(m.end(), k * 2, k);
  std::uint32_t k = 0;
  for (auto _ : state) {
    auto it = m.find(k * 2);
    benchmark::DoNotOptimize(it == m.end() ? nullptr : &it->second);
    if (++k == n) k = 0;
  }
}
BENCHMARK(BM_LookupAscending_stdmap)->Arg(1000000);

// Building 10^6 entries in ascending order: bookmarked insertion against emplace_hint at the
// end. Times the whole build (freeing is outside the timing).
//
// Where a build's memory comes from differs between the two, so each runs twice. With glibc's
// defaults, the map's freed nodes stay in the heap's fast bins and the next build reuses them,
// while the dictionary's 64 KiB page chunks merge into the top of the heap, which goes back to
// the kernel: every build faults its pages in again. The "KeptHeap" cases switch that trimming
// off, so that both reuse warm memory and the figure is the containers' own work.
template <class Build>
void insertAscending(benchmark::State& state, bool keepHeap, Build build) {
  if (keepHeap) mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  const std::uint32_t n = std::uint32_t(state.range(0));
  for (auto _ : state) {
    auto* container = build(n);
    state.PauseTiming();
    delete container;
    state.ResumeTiming();
  }
  if (keepHeap) mallopt(M_TRIM_THRESHOLD, 128 * 1024);  // glibc's default
  state.SetItemsProcessed(std::int64_t(state.iterations()) * n);
}

TindexDictionary* buildDictionary(std::uint32_t n) {
  auto* d = new TindexDictionary();
  Tbookmark mark;
  for (std::uint32_t k = 0; k < n; ++k) d->insert(k, k, mark);
  benchmark::DoNotOptimize(d->first());
  return d;
}

std::map<std::uint32_t, std::uint32_t>* buildMap(std::uint32_t n) {
  auto* m = new std::map<std::uint32_t, std::uint32_t>();
  for (std::uint32_t k = 0; k < n; ++k) m->emplace_hint(m->end(), k, k);
  benchmark::DoNotOptimize(m->begin());
  return m;
}

void BM_InsertAscending_vela(benchmark::State& state) {
  insertAscending(state, false, buildDictionary);
}
BENCHMARK(BM_InsertAscending_vela)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_InsertAscending_stdmap(benchmark::State& state) {
  insertAscending(state, false, buildMap);
}
BENCHMARK(BM_InsertAscending_stdmap)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_InsertAscendingKeptHeap_vela(benchmark::State& state) {
  insertAscending(state, true, buildDictionary);
}
BENCHMARK(BM_InsertAscendingKeptHeap_vela)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_InsertAscendingKeptHeap_stdmap(benchmark::State& state) {
  insertAscending(state, true, buildMap);
}
BENCHMARK(BM_InsertAscendingKeptHeap_stdmap)->Arg(1000000)->Unit(benchmark::kMillisecond);

// Bytes per entry of 10^6 random keys, as counters (requested and real heap blocks). Memory a
// container maps as large pages (the dictionary's node pages once it is big) counts in both.
std::size_t mappedBytes() { return vela::platform::largePageBytesInUse(); }

template <class Build>
void bytesPerEntry(benchmark::State& state, Build build) {
  const auto keys = shuffledKeys(1000000);
  for (auto _ : state) {
    const std::size_t requested = gRequested + mappedBytes();
    const std::size_t real = gReal + mappedBytes();
    auto* container = build(keys);
    const double mapped = double(mappedBytes());
    state.counters["requested_per_entry"] =
        (double(gRequested) + mapped - double(requested)) / double(keys.size());
    state.counters["heap_per_entry"] = (double(gReal) + mapped - double(real)) / double(keys.size());
    state.PauseTiming();
    delete container;
    state.ResumeTiming();
  }
}

void BM_BytesPerEntry_vela(benchmark::State& state) {
  bytesPerEntry(state, [](const std::vector<std::uint32_t>& keys) {
    auto* d = new TindexDictionary();
    for (std::uint32_t k : keys) d->insert(k, k);
    return d;
  });
}
BENCHMARK(BM_BytesPerEntry_vela)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_BytesPerEntry_stdmap(benchmark::State& state) {
  bytesPerEntry(state, [](const std::vector<std::uint32_t>& keys) {
    auto* m = new std::map<std::uint32_t, std::uint32_t>();
    for (std::uint32_t k : keys) m->emplace(k, k);
    return m;
  });
}
BENCHMARK(BM_BytesPerEntry_stdmap)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
