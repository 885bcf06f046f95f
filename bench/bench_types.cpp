// Kind-of tests: Tmetaclass::isa against dynamic_cast on the same objects, a hierarchy four
// deep with multiple inheritance. Ancestor tables are built before timing.
#include <velacore/types/Tmetaclass.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

namespace {

struct Tb0 {
  VELA_DECLARE_TYPE(Tb0);

 public:
  virtual ~Tb0() = default;
  int f0 = 0;
};
struct Tside {
  VELA_DECLARE_TYPE(Tside);

 public:
  virtual ~Tside() = default;
  int fs = 0;
};
struct Tb1 : Tb0 {
  VELA_DECLARE_TYPE(Tb1);
};
struct Tb2 : Tb1, Tside {
  VELA_DECLARE_TYPE(Tb2);
};
struct Tb3 : Tb2 {
  VELA_DECLARE_TYPE(Tb3);
};

}  // namespace

VELA_DEFINE_TYPE(Tb0);
VELA_DEFINE_TYPE(Tside);
VELA_DEFINE_TYPE(Tb1, Tb0);
VELA_DEFINE_TYPE(Tb2, Tb1, Tside);
VELA_DEFINE_TYPE(Tb3, Tb2);

namespace {

// A shuffled mix of the four classes, seen through their root.
struct Tobjects {
  std::vector<std::unique_ptr<Tb0>> owned;
  std::vector<Tb0*> roots;
  std::vector<Tmetaclass*> metas;
  Tobjects() {
    std::mt19937 gen(3);
    for (int i = 0; i < 1024; ++i) {
      switch (gen() % 4) {
        case 0: owned.emplace_back(new Tb0()); break;
        case 1: owned.emplace_back(new Tb1()); break;
        case 2: owned.emplace_back(new Tb2()); break;
        default: owned.emplace_back(static_cast<Tb1*>(new Tb3())); break;
      }
      roots.push_back(owned.back().get());
      metas.push_back(roots.back()->typeof());
      benchmark::DoNotOptimize(metas.back()->isa(Tb0::sTypeof()));  // builds the table
    }
  }
};

Tobjects& objects() {
  static Tobjects o;
  return o;
}

// The metaclass test alone: a range check and a bit test.
void BM_IsaMetaclass_vela(benchmark::State& state) {
  auto& o = objects();
  Tmetaclass* target = Tside::sTypeof();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.metas[i & 1023]->isa(target));
    ++i;
  }
}
BENCHMARK(BM_IsaMetaclass_vela);

// "Is this object a kind of Tb2?" from a root pointer: typeof() and isa against dynamic_cast.
void BM_IsaObject_vela(benchmark::State& state) {
  auto& o = objects();
  Tmetaclass* target = Tb2::sTypeof();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.roots[i & 1023]->typeof()->isa(target));
    ++i;
  }
}
BENCHMARK(BM_IsaObject_vela);

void BM_IsaObject_dyncast(benchmark::State& state) {
  auto& o = objects();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dynamic_cast<Tb2*>(o.roots[i & 1023]) != nullptr);
    ++i;
  }
}
BENCHMARK(BM_IsaObject_dyncast);

// The virtual typeof() call alone, which every test from an object pays before isa: the floor
// under BM_IsaObject_vela.
void BM_TypeofOnly_vela(benchmark::State& state) {
  auto& o = objects();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.roots[i & 1023]->typeof());
    ++i;
  }
}
BENCHMARK(BM_TypeofOnly_vela);

// Across the hierarchy: from the root to the side base.
void BM_IsaSideBase_vela(benchmark::State& state) {
  auto& o = objects();
  Tmetaclass* target = Tside::sTypeof();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(o.roots[i & 1023]->typeof()->isa(target));
    ++i;
  }
}
BENCHMARK(BM_IsaSideBase_vela);

void BM_IsaSideBase_dyncast(benchmark::State& state) {
  auto& o = objects();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dynamic_cast<Tside*>(o.roots[i & 1023]) != nullptr);
    ++i;
  }
}
BENCHMARK(BM_IsaSideBase_dyncast);

}  // namespace
