// TdataHashTable against std::unordered_map, QHash and absl::flat_hash_map on the same keys:
// lookups that hit and miss (one lookup per iteration, keys in random order) and building a
// table of N entries, for unsigned and for string keys. Each table reports its heap bytes per
// entry (plus large-page mappings) as the counter "bytesPerEntry".
//
// Fairness: every implementation gets the same keys (distinct random numbers, or "node_<n>"
// built from them), the same shuffled lookup order, and absent keys that are really absent; no
// table is reserved ahead. Hashes as each implementation ships them: unsigned keys are their
// own hash in TdataHashTable and std::hash, QHash uses key ^ seed, absl mixes the bits; string
// keys use MurmurHash3 (Tstring, remembered in the string body, so probes reused from pass to
// pass are not rehashed), std::hash and absl::Hash over std::string (short keys, stored inline)
// and qHash over QByteArray, all computed per lookup.
#include <velacore/containers/TdataHashTable.h>
#include <velacore/platform/TplatformLargePages.h>
#include <velacore/platform/TplatformMemory.h>
#include <velacore/strings/Tstring.h>

#include <QByteArray>
#include <QHash>
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

// ---- key sets: n keys in the table, n absent keys, and both in random lookup order ----

struct TkeySet {
  std::vector<unsigned> present, absent, hitOrder;
};

const TkeySet& keySet(std::size_t n) {
  static std::unordered_map<std::size_t, TkeySet> cache;
  auto [it, added] = cache.try_emplace(n);
  if (!added) return it->second;
  std::mt19937 rng(static_cast<unsigned>(n));
  std::unordered_set<unsigned> used;
  auto fresh = [&] {
    for (;;)
      if (unsigned k = rng(); used.insert(k).second) return k;
  };
  for (std::size_t i = 0; i < n; ++i) it->second.present.push_back(fresh());
  for (std::size_t i = 0; i < n; ++i) it->second.absent.push_back(fresh());
  it->second.hitOrder = it->second.present;
  std::shuffle(it->second.hitOrder.begin(), it->second.hitOrder.end(), rng);
  std::shuffle(it->second.absent.begin(), it->second.absent.end(), rng);
  return it->second;
}

std::string nameOf(unsigned k) {
  char text[32];
  std::snprintf(text, sizeof text, "node_%u", k);
  return text;
}

// Each implementation's own key type, built once per size from the same numbers.
template <class S>
S makeString(unsigned k) {
  return S(nameOf(k).c_str());
}
template <>
QByteArray makeString<QByteArray>(unsigned k) {
  return QByteArray(nameOf(k).c_str());
}

template <class S>
std::vector<S> strings(const std::vector<unsigned>& ks) {
  std::vector<S> out;
  out.reserve(ks.size());
  for (unsigned k : ks) out.push_back(makeString<S>(k));
  return out;
}

// ---- one adapter per implementation: build, insert (only when absent), find ----

template <class K>
struct Vela {
  using Map = TdataHashTable<K, int>;
  static Map make() { return Map(0, 0xFFFFFFFF); }
  static void insert(Map& m, const K& k, int v) { m.insertUnique(k, v); }
  static const int* find(const Map& m, const K& k) { return m.find(k); }
};

template <class K>
struct Std {
  using Map = std::unordered_map<K, int>;
  static Map make() { return Map(); }
  static void insert(Map& m, const K& k, int v) { m.emplace(k, v); }
  static const int* find(const Map& m, const K& k) {
    auto it = m.find(k);
    return it == m.end() ? nullptr : &it->second;
  }
};

template <class K>
struct Qt {
  using Map = QHash<K, int>;
  static Map make() { return Map(); }
  static void insert(Map& m, const K& k, int v) {
    if (!m.contains(k)) m.insert(k, v);
  }
  static const int* find(const Map& m, const K& k) {
    auto it = m.constFind(k);
    return it == m.constEnd() ? nullptr : &it.value();
  }
};

template <class K>
struct Absl {
  using Map = absl::flat_hash_map<K, int>;
  static Map make() { return Map(); }
  static void insert(Map& m, const K& k, int v) { m.emplace(k, v); }
  static const int* find(const Map& m, const K& k) {
    auto it = m.find(k);
    return it == m.end() ? nullptr : &it->second;
  }
};

template <class A, class K>
typename A::Map build(const std::vector<K>& keys) {
  typename A::Map m = A::make();
  int v = 0;
  for (const K& k : keys) A::insert(m, k, v++);
  return m;
}

// Heap bytes plus large-page mappings (where big velacore tables keep buckets and entries).
std::size_t bytesInUse() {
  return vela::platform::heapBytesInUse() + vela::platform::largePageBytesInUse();
}

template <class A, class K>
void findLoop(benchmark::State& state, const std::vector<K>& present, const std::vector<K>& probe,
              bool hit) {
  const std::size_t before = bytesInUse();
  const typename A::Map m = build<A>(present);
  const std::size_t after = bytesInUse();
  state.counters["bytesPerEntry"] =
      after > before ? static_cast<double>(after - before) / static_cast<double>(present.size()) : 0;
  std::size_t i = 0;
  const std::size_t n = probe.size();
  for (auto _ : state) {
    const int* v = A::find(m, probe[i]);
    if (hit)
      benchmark::DoNotOptimize(*v);
    else
      benchmark::DoNotOptimize(v);
    if (++i == n) i = 0;
  }
}

template <class A, class K>
void insertLoop(benchmark::State& state, const std::vector<K>& keys) {
  for (auto _ : state) {
    typename A::Map m = build<A>(keys);
    benchmark::DoNotOptimize(A::find(m, keys.front()));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keys.size()));
}

// ---- unsigned keys ----

template <template <class> class A>
void uintFindHit(benchmark::State& state) {
  const TkeySet& ks = keySet(static_cast<std::size_t>(state.range(0)));
  findLoop<A<unsigned>>(state, ks.present, ks.hitOrder, true);
}
template <template <class> class A>
void uintFindMiss(benchmark::State& state) {
  const TkeySet& ks = keySet(static_cast<std::size_t>(state.range(0)));
  findLoop<A<unsigned>>(state, ks.present, ks.absent, false);
}
template <template <class> class A>
void uintInsert(benchmark::State& state) {
  insertLoop<A<unsigned>>(state, keySet(static_cast<std::size_t>(state.range(0))).present);
}

// ---- string keys: Tstring for velacore, std::string for std and absl, QByteArray for Qt ----

template <class S>
struct TstringKeys {
  std::vector<S> present, absent, hitOrder;
};
template <class S>
const TstringKeys<S>& stringKeys(std::size_t n) {
  static std::unordered_map<std::size_t, TstringKeys<S>> cache;
  auto [it, added] = cache.try_emplace(n);
  if (added) {
    const TkeySet& ks = keySet(n);
    it->second = {strings<S>(ks.present), strings<S>(ks.absent), strings<S>(ks.hitOrder)};
  }
  return it->second;
}

template <template <class> class A, class S>
void stringFindHit(benchmark::State& state) {
  const auto& ks = stringKeys<S>(static_cast<std::size_t>(state.range(0)));
  findLoop<A<S>>(state, ks.present, ks.hitOrder, true);
}
template <template <class> class A, class S>
void stringFindMiss(benchmark::State& state) {
  const auto& ks = stringKeys<S>(static_cast<std::size_t>(state.range(0)));
  findLoop<A<S>>(state, ks.present, ks.absent, false);
}
template <template <class> class A, class S>
void stringInsert(benchmark::State& state) {
  insertLoop<A<S>>(state, stringKeys<S>(static_cast<std::size_t>(state.range(0))).present);
}

void BM_uintFindHit_vela(benchmark::State& s) { uintFindHit<Vela>(s); }
void BM_uintFindHit_stdunorderedmap(benchmark::State& s) { uintFindHit<Std>(s); }
void BM_uintFindHit_qhash(benchmark::State& s) { uintFindHit<Qt>(s); }
void BM_uintFindHit_abslflat(benchmark::State& s) { uintFindHit<Absl>(s); }
void BM_uintFindMiss_vela(benchmark::State& s) { uintFindMiss<Vela>(s); }
void BM_uintFindMiss_stdunorderedmap(benchmark::State& s) { uintFindMiss<Std>(s); }
void BM_uintFindMiss_qhash(benchmark::State& s) { uintFindMiss<Qt>(s); }
void BM_uintFindMiss_abslflat(benchmark::State& s) { uintFindMiss<Absl>(s); }
void BM_uintInsert_vela(benchmark::State& s) { uintInsert<Vela>(s); }
void BM_uintInsert_stdunorderedmap(benchmark::State& s) { uintInsert<Std>(s); }
void BM_uintInsert_qhash(benchmark::State& s) { uintInsert<Qt>(s); }
void BM_uintInsert_abslflat(benchmark::State& s) { uintInsert<Absl>(s); }

void BM_stringFindHit_vela(benchmark::State& s) { stringFindHit<Vela, Tstring>(s); }
void BM_stringFindHit_stdunorderedmap(benchmark::State& s) { stringFindHit<Std, std::string>(s); }
void BM_stringFindHit_qhash(benchmark::State& s) { stringFindHit<Qt, QByteArray>(s); }
void BM_stringFindHit_abslflat(benchmark::State& s) { stringFindHit<Absl, std::string>(s); }
void BM_stringFindMiss_vela(benchmark::State& s) { stringFindMiss<Vela, Tstring>(s); }
void BM_stringFindMiss_stdunorderedmap(benchmark::State& s) { stringFindMiss<Std, std::string>(s); }
void BM_stringFindMiss_qhash(benchmark::State& s) { stringFindMiss<Qt, QByteArray>(s); }
void BM_stringFindMiss_abslflat(benchmark::State& s) { stringFindMiss<Absl, std::string>(s); }
void BM_stringInsert_vela(benchmark::State& s) { stringInsert<Vela, Tstring>(s); }
void BM_stringInsert_stdunorderedmap(benchmark::State& s) { stringInsert<Std, std::string>(s); }
void BM_stringInsert_qhash(benchmark::State& s) { stringInsert<Qt, QByteArray>(s); }
void BM_stringInsert_abslflat(benchmark::State& s) { stringInsert<Absl, std::string>(s); }

}  // namespace

#define VELA_HASH_BENCH(name) BENCHMARK(name)->Arg(1000)->Arg(1000000)
#define VELA_HASH_BUILD_BENCH(name) \
  BENCHMARK(name)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond)

VELA_HASH_BENCH(BM_uintFindHit_vela);
VELA_HASH_BENCH(BM_uintFindHit_stdunorderedmap);
VELA_HASH_BENCH(BM_uintFindHit_qhash);
VELA_HASH_BENCH(BM_uintFindHit_abslflat);
VELA_HASH_BENCH(BM_uintFindMiss_vela);
VELA_HASH_BENCH(BM_uintFindMiss_stdunorderedmap);
VELA_HASH_BENCH(BM_uintFindMiss_qhash);
VELA_HASH_BENCH(BM_uintFindMiss_abslflat);
VELA_HASH_BUILD_BENCH(BM_uintInsert_vela);
VELA_HASH_BUILD_BENCH(BM_uintInsert_stdunorderedmap);
VELA_HASH_BUILD_BENCH(BM_uintInsert_qhash);
VELA_HASH_BUILD_BENCH(BM_uintInsert_abslflat);
VELA_HASH_BENCH(BM_stringFindHit_vela);
VELA_HASH_BENCH(BM_stringFindHit_stdunorderedmap);
VELA_HASH_BENCH(BM_stringFindHit_qhash);
VELA_HASH_BENCH(BM_stringFindHit_abslflat);
VELA_HASH_BENCH(BM_stringFindMiss_vela);
VELA_HASH_BENCH(BM_stringFindMiss_stdunorderedmap);
VELA_HASH_BENCH(BM_stringFindMiss_qhash);
VELA_HASH_BENCH(BM_stringFindMiss_abslflat);
VELA_HASH_BUILD_BENCH(BM_stringInsert_vela);
VELA_HASH_BUILD_BENCH(BM_stringInsert_stdunorderedmap);
VELA_HASH_BUILD_BENCH(BM_stringInsert_qhash);
VELA_HASH_BUILD_BENCH(BM_stringInsert_abslflat);
