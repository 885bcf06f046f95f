// Option variable lookups against std::map, and the throughput of writing and reading the script.
#include <velacore/environment/ToptionVarScriptReader.h>
#include <velacore/environment/TprefOptionVars.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {
constexpr int kVars = 10000;

std::vector<std::string> names() {
  std::vector<std::string> out;
  for (int i = 0; i < kVars; ++i) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "optionVar%05d", (i * 7919) % kVars);
    out.emplace_back(buf);
  }
  return out;
}

void BM_getVar_vela(benchmark::State& state) {
  const auto keys = names();
  TprefOptionVars prefs;
  std::vector<Tstring> tkeys;
  for (int i = 0; i < kVars; ++i) {
    prefs.addVar(keys[i].c_str(), static_cast<double>(i));
    tkeys.emplace_back(keys[i].c_str());
  }
  std::size_t i = 0;
  for (auto _ : state) {
    double d = 0.0;
    benchmark::DoNotOptimize(prefs.getVar(tkeys[i], d));
    benchmark::DoNotOptimize(d);
    if (++i == tkeys.size()) i = 0;
  }
}
BENCHMARK(BM_getVar_vela);

void BM_getVar_stdmap(benchmark::State& state) {
  const auto keys = names();
  std::map<std::string, double> peer;
  for (int i = 0; i < kVars; ++i) peer[keys[i]] = i;
  std::size_t i = 0;
  for (auto _ : state) {
    // The same work as getVar: find the name, then copy its value out.
    double d = 0.0;
    const auto it = peer.find(keys[i]);
    if (it != peer.end()) d = it->second;
    benchmark::DoNotOptimize(d);
    if (++i == keys.size()) i = 0;
  }
}
BENCHMARK(BM_getVar_stdmap);

// 10^4 variables, a third each doubles, integers and strings that need escaping.
void fill(TprefOptionVars& prefs) {
  const auto keys = names();
  for (int i = 0; i < kVars; ++i) {
    if (i % 3 == 0) prefs.addVar(keys[i].c_str(), i * 0.25);
    if (i % 3 == 1) prefs.addVar(keys[i].c_str(), i);
    if (i % 3 == 2) prefs.addVar(keys[i].c_str(), Tstring("a \"quoted\" value"));
  }
}

void BM_commandString_vela(benchmark::State& state) {
  TprefOptionVars prefs;
  fill(prefs);
  std::size_t bytes = 0;
  for (auto _ : state) {
    Tstring text;
    prefs.commandString(text);
    bytes += text.length();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_commandString_vela);

void BM_readScript_vela(benchmark::State& state) {
  TprefOptionVars saved;
  fill(saved);
  Tstring script;
  saved.commandString(script);
  std::size_t bytes = 0;
  for (auto _ : state) {
    TprefOptionVars restored;
    ToptionVarScriptReader reader(restored);
    benchmark::DoNotOptimize(reader.read(script));
    bytes += script.length();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(BM_readScript_vela);
}  // namespace
