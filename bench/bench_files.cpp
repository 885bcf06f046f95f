// Path simplification against std::filesystem's lexically_normal, and TfileURI parsing plus
// printing against QUrl alone, on the same inputs.
#include <velacore/files/TfilePath.h>
#include <velacore/files/TfileURI.h>

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <vector>

namespace {

// Paths as the library meets them: absolute and relative, with and without "." and "..".
const char* const kPaths[] = {
    "/usr/local/vela/1.0/scripts/startup/userSetup.mel",
    "/home/ann/Documents/vela/projects/ship/scenes/../sourceimages/hull_diffuse.exr",
    "scenes/./shot010/../shot020/lighting_v003.vela",
    "../../assets/characters/hero/rig/hero_rig_v12.vela",
    "/opt/vela/plug-ins/./bin/../lib/libfluids.so",
    "C:/Program Files/Corvanta/Vela/bin/plug-ins",
    "./icons/out_transform.png",
    "/mnt/render/frames/shot010/beauty/beauty.0101.exr",
};

const char* const kUris[] = {
    "vela://studio/projects/ship/scenes/hull.vela?lod=2&frame=12#rig",
    "https://assets.example.com/characters/hero/hero_rig_v12.vela?version=12",
    "file:///home/ann/Documents/vela/projects/ship/scenes/hull.vela",
    "vela:scenes/shot010/lighting_v003.vela",
    "http://render-farm:8080/jobs/1234/frames?from=1&to=240&step=1",
};

void BM_simplifyPath_vela(benchmark::State& st) {
  std::vector<Tstring> paths;
  for (const char* p : kPaths) paths.emplace_back(p);
  for (auto _ : st) {
    for (const Tstring& p : paths) benchmark::DoNotOptimize(TfilePath::simplifyPath(p));
  }
  st.SetItemsProcessed(st.iterations() * static_cast<long>(paths.size()));
}
BENCHMARK(BM_simplifyPath_vela);

void BM_simplifyPath_lexicallyNormal(benchmark::State& st) {
  std::vector<std::filesystem::path> paths;
  for (const char* p : kPaths) paths.emplace_back(p);
  for (auto _ : st) {
    for (const std::filesystem::path& p : paths) benchmark::DoNotOptimize(p.lexically_normal());
  }
  st.SetItemsProcessed(st.iterations() * static_cast<long>(paths.size()));
}
BENCHMARK(BM_simplifyPath_lexicallyNormal);

void BM_uriParsePrint_vela(benchmark::State& st) {
  std::vector<Tstring> uris;
  for (const char* u : kUris) uris.emplace_back(u);
  for (auto _ : st) {
    for (const Tstring& u : uris) benchmark::DoNotOptimize(TfileURI(u).asString());
  }
  st.SetItemsProcessed(st.iterations() * static_cast<long>(uris.size()));
}
BENCHMARK(BM_uriParsePrint_vela);

// The peer starts from the same UTF-8 bytes and ends with UTF-8 bytes, as TfileURI does.
void BM_uriParsePrint_qurl(benchmark::State& st) {
  std::vector<QByteArray> uris;
  for (const char* u : kUris) uris.emplace_back(u);
  for (auto _ : st) {
    for (const QByteArray& u : uris) {
      benchmark::DoNotOptimize(QUrl(QString::fromUtf8(u), QUrl::TolerantMode).toString().toUtf8());
    }
  }
  st.SetItemsProcessed(st.iterations() * static_cast<long>(uris.size()));
}
BENCHMARK(BM_uriParsePrint_qurl);

}  // namespace
