// Arenas and pools against glibc malloc/free, mimalloc and a bare intrusive free list.
//
// Cases (the same inputs for every implementation of a case):
//   pair64      allocate and release one 64-byte block (TpoolAllocator for vela)
//   fixed32     a live set of 10^4 32-byte blocks, one random block replaced per step
//               (TcompactArena for vela); fixed32pool the same with TpoolAllocator
//   mixed       a live set of 10^4 blocks of random sizes 16..512, one replaced per step
//               (TvariantArena for vela)
//   coalesce    64 blocks of random sizes allocated in a row, then released in order, so every
//               release in the arena merges with its free neighbour (the slow path)
//   recorded    TmallocAllocator with use-malloc off: 64 live blocks of 16..512 bytes, one
//               reallocated to a new size and one freed and allocated again per step, so every
//               step looks up, inserts and removes address records (the pointer-key hash)
//
// mimalloc is loaded with dlopen so that linking it does not replace malloc for the glibc runs.
#include <velacore/memory/Tallocator.h>
#include <velacore/memory/TcompactArena.h>
#include <velacore/memory/TpoolAllocator.h>
#include <velacore/memory/TvariantArena.h>

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr std::size_t kLive = 10000;
constexpr std::size_t kSteps = 1 << 16;  // length of the precomputed random streams

struct Tmimalloc {
  void* (*malloc)(std::size_t) = nullptr;
  void (*free)(void*) = nullptr;
  Tmimalloc() {
    void* lib = dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL);
    if (lib == nullptr) return;
    malloc = reinterpret_cast<void* (*)(std::size_t)>(dlsym(lib, "mi_malloc"));
    free = reinterpret_cast<void (*)(void*)>(dlsym(lib, "mi_free"));
  }
};

const Tmimalloc& mimalloc() {
  static const Tmimalloc sMi;
  return sMi;
}

// Random slot indices and sizes shared by every implementation.
struct Tstream {
  std::vector<std::uint32_t> slot;
  std::vector<std::uint32_t> size;
  Tstream(std::size_t minSize, std::size_t maxSize) : slot(kSteps), size(kSteps) {
    std::mt19937 rng(42);
    for (std::size_t i = 0; i < kSteps; ++i) {
      slot[i] = static_cast<std::uint32_t>(rng() % kLive);
      size[i] = static_cast<std::uint32_t>(minSize + rng() % (maxSize - minSize + 1));
    }
  }
};

const Tstream& mixedStream() {
  static const Tstream sStream(16, 512);
  return sStream;
}

const Tstream& fixedStream() {
  static const Tstream sStream(32, 32);
  return sStream;
}

// Keeps kLive blocks alive and replaces one random block per step.
template <class Alloc, class Free>
void liveSet(benchmark::State& state, const Tstream& stream, Alloc alloc, Free release) {
  std::vector<void*> live(kLive);
  for (std::size_t i = 0; i < kLive; ++i) live[i] = alloc(stream.size[i]);
  std::size_t step = 0;
  for (auto _ : state) {
    const std::size_t i = step++ & (kSteps - 1);
    void*& p = live[stream.slot[i]];
    release(p);
    p = alloc(stream.size[i]);
    *static_cast<char*>(p) = 1;
    benchmark::DoNotOptimize(p);
  }
  for (void* p : live) release(p);
}

// 64 blocks allocated in a row, then released front to back.
template <class Alloc, class Free>
void coalesce(benchmark::State& state, Alloc alloc, Free release) {
  const Tstream& stream = mixedStream();
  void* blocks[64];
  std::size_t step = 0;
  for (auto _ : state) {
    for (void*& p : blocks) {
      p = alloc(stream.size[step++ & (kSteps - 1)]);
      *static_cast<char*>(p) = 1;
    }
    for (void* p : blocks) release(p);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * 64);
}

template <class Alloc, class Free>
void pair(benchmark::State& state, Alloc alloc, Free release) {
  for (auto _ : state) {
    void* p = alloc(64);
    benchmark::DoNotOptimize(p);
    release(p);
  }
}

// The floor: a bare intrusive free list of 64-byte blocks.
struct TfreeList {
  void* head = nullptr;
  void* alloc(std::size_t bytes) {
    if (head == nullptr) return std::malloc(bytes);
    void* p = head;
    head = *static_cast<void**>(p);
    return p;
  }
  void release(void* p) {
    *static_cast<void**>(p) = head;
    head = p;
  }
  ~TfreeList() {
    while (head != nullptr) std::free(alloc(0));
  }
};

const auto glibcAlloc = [](std::size_t n) { return std::malloc(n); };
const auto glibcFree = [](void* p) { std::free(p); };
const auto miAlloc = [](std::size_t n) { return mimalloc().malloc(n); };
const auto miFree = [](void* p) { mimalloc().free(p); };

bool haveMimalloc(benchmark::State& state) {
  if (mimalloc().malloc != nullptr) return true;
  state.SkipWithError("libmimalloc.so.2 not found");
  return false;
}

// ---- pair64 ----

void BM_pair64_vela(benchmark::State& state) {
  TpoolAllocator pool(64);
  pair(state, [&](std::size_t) { return pool.mpAlloc(); }, [&](void* p) { pool.mpFree(p); });
}
void BM_pair64_freelist(benchmark::State& state) {
  TfreeList list;
  pair(state, [&](std::size_t n) { return list.alloc(n); }, [&](void* p) { list.release(p); });
}
void BM_pair64_glibc(benchmark::State& state) { pair(state, glibcAlloc, glibcFree); }
void BM_pair64_mimalloc(benchmark::State& state) {
  if (haveMimalloc(state)) pair(state, miAlloc, miFree);
}

// ---- fixed32 ----

void BM_fixed32_vela(benchmark::State& state) {
  TcompactArena arena(32, 65536, TmallocAllocator::mallocAllocator(), "Bench Compact");
  liveSet(state, fixedStream(), [&](std::size_t) { return arena.allocate(); },
          [&](void* p) { arena.deallocate(p); });
}
void BM_fixed32_glibc(benchmark::State& state) { liveSet(state, fixedStream(), glibcAlloc, glibcFree); }
void BM_fixed32_mimalloc(benchmark::State& state) {
  if (haveMimalloc(state)) liveSet(state, fixedStream(), miAlloc, miFree);
}

void BM_fixed32pool_vela(benchmark::State& state) {
  TpoolAllocator pool(32);
  liveSet(state, fixedStream(), [&](std::size_t) { return pool.mpAlloc(); },
          [&](void* p) { pool.mpFree(p); });
}
void BM_fixed32pool_freelist(benchmark::State& state) {
  TfreeList list;
  liveSet(state, fixedStream(), [&](std::size_t n) { return list.alloc(n); },
          [&](void* p) { list.release(p); });
}
void BM_fixed32pool_glibc(benchmark::State& state) { liveSet(state, fixedStream(), glibcAlloc, glibcFree); }
void BM_fixed32pool_mimalloc(benchmark::State& state) {
  if (haveMimalloc(state)) liveSet(state, fixedStream(), miAlloc, miFree);
}

// ---- mixed ----

void BM_mixed_vela(benchmark::State& state) {
  TvariantArena arena(65536, 8, TmallocAllocator::mallocAllocator(), "Bench Variant");
  liveSet(state, mixedStream(), [&](std::size_t n) { return arena.allocate(n); },
          [](void* p) { TvariantArena::deallocate(p); });
}
void BM_mixed_glibc(benchmark::State& state) { liveSet(state, mixedStream(), glibcAlloc, glibcFree); }
void BM_mixed_mimalloc(benchmark::State& state) {
  if (haveMimalloc(state)) liveSet(state, mixedStream(), miAlloc, miFree);
}

// ---- coalesce ----

void BM_coalesce_vela(benchmark::State& state) {
  TvariantArena arena(65536, 8, TmallocAllocator::mallocAllocator(), "Bench Coalesce");
  coalesce(state, [&](std::size_t n) { return arena.allocate(n); },
           [](void* p) { TvariantArena::deallocate(p); });
}
void BM_coalesce_glibc(benchmark::State& state) { coalesce(state, glibcAlloc, glibcFree); }
void BM_coalesce_mimalloc(benchmark::State& state) {
  if (haveMimalloc(state)) coalesce(state, miAlloc, miFree);
}

// ---- recorded ----

template <class Alloc, class Realloc, class Free>
void recorded(benchmark::State& state, Alloc alloc, Realloc resize, Free release) {
  const Tstream& stream = mixedStream();
  void* live[64];
  for (std::size_t i = 0; i < 64; ++i) live[i] = alloc(stream.size[i]);
  std::size_t step = 0;
  for (auto _ : state) {
    const std::size_t i = step++ & (kSteps - 1);
    void*& a = live[stream.slot[i] & 63];
    a = resize(a, stream.size[(i + 1) & (kSteps - 1)]);
    void*& b = live[(stream.slot[i] >> 6) & 63];
    release(b);
    b = alloc(stream.size[i]);
    benchmark::DoNotOptimize(b);
  }
  for (void* p : live) release(p);
}

// Use-malloc mode off for one benchmark (the switches are re-read around it).
struct TrecordingMode {
  TrecordingMode() {
    setenv("VELA_USE_MALLOC", "0", 1);
    TmallocAllocator::sReloadSwitches();
  }
  ~TrecordingMode() {
    unsetenv("VELA_USE_MALLOC");
    TmallocAllocator::sReloadSwitches();
  }
};

void BM_recorded_vela(benchmark::State& state) {
  TrecordingMode mode;
  recorded(state, [](std::size_t n) { return TmallocAllocator::alloc(n, "Bench"); },
           [](void* p, std::size_t n) { return TmallocAllocator::mallocAllocator().realloc(p, n, "Bench"); },
           [](void* p) { TmallocAllocator::mallocAllocator().free(p, 0); });
}
void BM_recorded_glibc(benchmark::State& state) {
  recorded(state, glibcAlloc, [](void* p, std::size_t n) { return std::realloc(p, n); }, glibcFree);
}

}  // namespace

BENCHMARK(BM_pair64_vela);
BENCHMARK(BM_pair64_freelist);
BENCHMARK(BM_pair64_glibc);
BENCHMARK(BM_pair64_mimalloc);
BENCHMARK(BM_fixed32_vela);
BENCHMARK(BM_fixed32_glibc);
BENCHMARK(BM_fixed32_mimalloc);
BENCHMARK(BM_fixed32pool_vela);
BENCHMARK(BM_fixed32pool_freelist);
BENCHMARK(BM_fixed32pool_glibc);
BENCHMARK(BM_fixed32pool_mimalloc);
BENCHMARK(BM_mixed_vela);
BENCHMARK(BM_mixed_glibc);
BENCHMARK(BM_mixed_mimalloc);
BENCHMARK(BM_coalesce_vela);
BENCHMARK(BM_coalesce_glibc);
BENCHMARK(BM_coalesce_mimalloc);
BENCHMARK(BM_recorded_vela);
BENCHMARK(BM_recorded_glibc);
