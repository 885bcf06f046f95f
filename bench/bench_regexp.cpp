// TregExp against std::regex, POSIX regexec, fnmatch and the PCRE2 interpreter on equivalent
// expressions: whole-name matches (hit and miss), a back reference, pure wildcard patterns, and
// searches over 64 KiB of text.
#include <velacore/strings/TregExp.h>
#include <velacore/strings/Tstring.h>

#include <benchmark/benchmark.h>
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <fnmatch.h>
#include <regex.h>

#include <cstdlib>
#include <cstring>
#include <random>
// libstdc++'s regex automaton trips a false maybe-uninitialized warning under sanitizers.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#include <string>

namespace {

const char* const kNameHit = "pCube_geo_0042_v012.ma";   // 22 bytes
const char* const kNameMiss = "pCube_geo_00x2_v012.ma";  // fails in the middle

// One expression in each dialect. Ours: `+` is zero or more, `.` is literal, `*`/`?` globs.
struct Dialects {
  const char* vela;
  const char* ecma;   // std::regex, whole-text via regex_match / search via regex_search
  const char* posix;  // regcomp, anchored where a whole match is wanted
  int posixFlags;
  const char* pcre;
};

const Dialects kName = {"([a-zA-Z]+)_([a-z]+)_([0-9]{4})_v([0-9]{3}).ma",
                        "([a-zA-Z]*)_([a-z]*)_([0-9]{4})_v([0-9]{3})\\.ma",
                        "^([a-zA-Z]*)_([a-z]*)_([0-9]{4})_v([0-9]{3})\\.ma$", REG_EXTENDED,
                        "^([a-zA-Z]*)_([a-z]*)_([0-9]{4})_v([0-9]{3})\\.ma$"};
const Dialects kBackRef = {"([a-z]+)_([0-9]+)_\\1", "([a-z]*)_([0-9]*)_\\1",
                           "^\\([a-z]*\\)_\\([0-9]*\\)_\\1$", 0, "^([a-z]*)_([0-9]*)_\\1$"};
const char* const kBackRefText = "wheelFront_0042_wheelFront";
const char* const kGlobMiss = "pCube_geo_0042_v0123.ma";  // one byte too many
const Dialects kGlob = {"*_v???.ma", "[\\s\\S]*_v[\\s\\S]{3}\\.ma", "^.*_v...\\.ma$", REG_EXTENDED,
                        "^(?s).*_v...\\.ma$"};
const Dialects kSearchLiteral = {"frame([0-9]{4})_v", "frame([0-9]{4})_v", "frame([0-9]{4})_v",
                                 REG_EXTENDED, "frame([0-9]{4})_v"};
const Dialects kSearchClass = {"[0-9]{4}_v", "[0-9]{4}_v", "[0-9]{4}_v", REG_EXTENDED,
                               "[0-9]{4}_v"};

// 64 KiB of lower-case words and spaces, with the one match near the end.
const std::string& searchText() {
  static const std::string text = [] {
    std::mt19937 rng(1);
    std::string t;
    while (t.size() < 65536 - 32) {
      for (int n = 2 + int(rng() % 8); n > 0; --n) t += char('a' + rng() % 26);
      t += ' ';
    }
    t += "frame0042_v";
    return t;
  }();
  return text;
}

void vela(benchmark::State& state, const Dialects& d, const char* text, bool whole) {
  const TregExp re(d.vela);
  if (!re.isValid()) state.SkipWithError(re.error());
  for (auto _ : state) {
    if (whole) {
      benchmark::DoNotOptimize(re.match(text));
    } else {
      const char* end = text;
      benchmark::DoNotOptimize(re.firstMatch(&end));
      benchmark::DoNotOptimize(end);
    }
  }
}

void stdRegex(benchmark::State& state, const Dialects& d, const char* text, bool whole) {
  const std::regex re(d.ecma);
  std::cmatch m;
  for (auto _ : state) {
    benchmark::DoNotOptimize(whole ? std::regex_match(text, m, re) : std::regex_search(text, m, re));
  }
}

void posix(benchmark::State& state, const Dialects& d, const char* text, bool) {
  regex_t re;
  if (regcomp(&re, d.posix, d.posixFlags) != 0) state.SkipWithError("regcomp");
  regmatch_t m[1];
  for (auto _ : state) benchmark::DoNotOptimize(regexec(&re, text, 1, m, 0));
  regfree(&re);
}

void pcre(benchmark::State& state, const Dialects& d, const char* text, bool) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* re = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(d.pcre), PCRE2_ZERO_TERMINATED, 0,
                                 &error, &offset, nullptr);
  if (!re) state.SkipWithError("pcre2_compile");
  pcre2_match_data* m = pcre2_match_data_create_from_pattern(re, nullptr);
  const std::size_t length = std::strlen(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        pcre2_match(re, reinterpret_cast<PCRE2_SPTR>(text), length, 0, 0, m, nullptr));
  }
  pcre2_match_data_free(m);
  pcre2_code_free(re);
}

void fnmatchGlob(benchmark::State& state, const char* text) {
  for (auto _ : state) benchmark::DoNotOptimize(fnmatch("*_v???.ma", text, 0));
}

#define VELA_BENCH_CASE(name, dialects, text, whole)                                         \
  void BM_##name##_vela(benchmark::State& s) { vela(s, dialects, text, whole); }              \
  void BM_##name##_stdregex(benchmark::State& s) { stdRegex(s, dialects, text, whole); }      \
  void BM_##name##_posix(benchmark::State& s) { posix(s, dialects, text, whole); }            \
  void BM_##name##_pcre2(benchmark::State& s) { pcre(s, dialects, text, whole); }             \
  BENCHMARK(BM_##name##_vela);                                                               \
  BENCHMARK(BM_##name##_stdregex);                                                           \
  BENCHMARK(BM_##name##_posix);                                                              \
  BENCHMARK(BM_##name##_pcre2)

VELA_BENCH_CASE(nameHit, kName, kNameHit, true);
VELA_BENCH_CASE(nameMiss, kName, kNameMiss, true);
VELA_BENCH_CASE(backRef, kBackRef, kBackRefText, true);
VELA_BENCH_CASE(globHit, kGlob, kNameHit, true);
VELA_BENCH_CASE(globMiss, kGlob, kGlobMiss, true);
VELA_BENCH_CASE(searchLiteral, kSearchLiteral, searchText().c_str(), false);
VELA_BENCH_CASE(searchClass, kSearchClass, searchText().c_str(), false);

void BM_globHit_fnmatch(benchmark::State& s) { fnmatchGlob(s, kNameHit); }
void BM_globMiss_fnmatch(benchmark::State& s) { fnmatchGlob(s, kGlobMiss); }
BENCHMARK(BM_globHit_fnmatch);
BENCHMARK(BM_globMiss_fnmatch);

// Tstring::matchesRegexp (POSIX, whole text, the compiled expression kept per thread) against
// compiling and running the anchored expression with regcomp/regexec on every call.
const char* const kWholePattern = "([a-zA-Z]+)_geo_([0-9]{4})_v([0-9]+)\\.(ma|mb)";
void BM_matchesRegexp_vela(benchmark::State& s) {
  const Tstring text(kNameHit);
  const Tstring pattern(kWholePattern);
  Tstring g1, g2;
  for (auto _ : s) benchmark::DoNotOptimize(text.matchesRegexp(pattern, &g1, &g2));
}
void BM_matchesRegexp_posix(benchmark::State& s) {
  const std::string anchored = std::string("^(") + kWholePattern + ")$";
  regmatch_t m[11];
  for (auto _ : s) {
    regex_t re;
    regcomp(&re, anchored.c_str(), REG_EXTENDED);
    benchmark::DoNotOptimize(regexec(&re, kNameHit, 11, m, 0));
    regfree(&re);
  }
}
BENCHMARK(BM_matchesRegexp_vela);
BENCHMARK(BM_matchesRegexp_posix);

}  // namespace
