// Natural name order against glibc's strverscmp, and unique naming against the common
// approach of probing base1, base2, ... until a name is free.
#include <velacore/names/Tnamespace.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

// Typical node names: a word, often a digit run, sometimes a suffix.
std::vector<std::string> nodeNames(std::size_t n) {
  static const char* const words[] = {"pCube", "pSphereShape", "joint", "polySurface",
                                      "transform", "locator", "nurbsCurve", "group",
                                      "lambert", "blinnSG", "file", "place2dTexture"};
  std::mt19937 rng(42);
  std::vector<std::string> out;
  for (std::size_t i = 0; i < n; ++i) {
    std::string s = words[rng() % (sizeof words / sizeof *words)];
    if (rng() % 4 != 0) s += std::to_string(rng() % 2000);
    if (rng() % 5 == 0) s += "_grp";
    out.push_back(s);
  }
  return out;
}

template <int (*Compare)(const char*, const char*)>
void compareAll(benchmark::State& state) {
  const std::vector<std::string> names = nodeNames(1024);
  for (auto _ : state) {
    int sum = 0;
    for (std::size_t i = 0; i + 1 < names.size(); ++i)
      sum += Compare(names[i].c_str(), names[i + 1].c_str()) < 0;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(names.size() - 1));
}

int velaCompare(const char* a, const char* b) { return TnameString::strnumcmp(a, b); }
int glibcCompare(const char* a, const char* b) { return strverscmp(a, b); }

void BM_strnumcmp_vela(benchmark::State& state) { compareAll<velaCompare>(state); }
void BM_strnumcmp_strverscmp(benchmark::State& state) { compareAll<glibcCompare>(state); }
BENCHMARK(BM_strnumcmp_vela);
BENCHMARK(BM_strnumcmp_strverscmp);

// Makes state.range(0) objects named "box" unique one after another in a fresh namespace.
void BM_uniqueNames_vela(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto space = std::make_unique<Tnamespace>("benchSpace", Tnamespace::root());
    std::vector<std::unique_ptr<TnameObject>> objects;
    objects.reserve(n);
    for (std::size_t i = 0; i < n; ++i) objects.push_back(std::make_unique<TnameObject>("box"));
    Tnamespace::setCurrent(space.get());
    state.ResumeTiming();
    for (auto& obj : objects) obj->makeNameUnique();
    state.PauseTiming();
    benchmark::DoNotOptimize(space->count());
    Tnamespace::setCurrent(nullptr);
    objects.clear();
    space.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The common approach: try base1, base2, ... in a set of names until one is free.
void BM_uniqueNames_probe(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    std::set<std::string> taken;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t k = 1;; ++k) {
        std::string candidate = "box" + std::to_string(k);
        if (taken.insert(std::move(candidate)).second) break;
      }
    }
    benchmark::DoNotOptimize(taken.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_uniqueNames_vela)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
// The probe grows quadratically in total: 10^5 names would take minutes.
BENCHMARK(BM_uniqueNames_probe)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
