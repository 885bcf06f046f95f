// Module start-up: 500 modules described in 3 module directories (a tenth of them described
// again in a later directory, so the priority rule works), each with scripts, icons and presets
// folders and a few setting lines. Ours: a fresh registry, the scan, and the update of the
// search-path variables. Peer ("fsRead"): the floor of the same job, reading every description
// file line by line with std::filesystem and std::getline and checking the module folders
// exist, without any of the rules.
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int kModules = 500;
constexpr int kDirectories = 3;

const fs::path& tree() {
  static const fs::path root = [] {
    const fs::path r = fs::temp_directory_path() / "vela-bench-modules";
    fs::remove_all(r);
    for (int i = 0; i < kModules; ++i) {
      const int d = i % kDirectories;
      const std::string name = "module" + std::to_string(i);
      const fs::path dir = r / ("d" + std::to_string(d));
      for (const char* sub : {"scripts", "icons", "presets/a", "presets/b"}) {
        fs::create_directories(dir / name / sub);
      }
      std::ofstream out(dir / (name + ".mod"));
      out << "+ " << name << " 1." << i % 7 << " " << name << "\n"
          << name << "_HOME :=.\n"
          << "VELA_SCRIPT_PATH +:= scripts\n"
          << "[r] VELA_PRESET_PATH: presets\n";
      if (i % 10 == 0 && d + 1 < kDirectories) {
        // The same module again in a later directory: it loses.
        std::ofstream again(r / ("d" + std::to_string(d + 1)) / (name + "-again.mod"));
        again << "+ " << name << " 9.0 ../d" << d << "/" << name << "\n";
      }
    }
    return r;
  }();
  return root;
}

std::string modulePath() {
  std::string list;
  for (int d = 0; d < kDirectories; ++d) {
    if (d > 0) list += ':';
    list += (tree() / ("d" + std::to_string(d))).string();
  }
  return list;
}

void BM_moduleStartUp_vela(benchmark::State& st) {
  TenvGuard guard;
  (void)VelaPutEnv(("VELA_MODULE_PATH=" + modulePath()).c_str());
  const char* const variables[] = {"VELA_SCRIPT_PATH", "VELA_PLUG_IN_PATH", "PYTHONPATH",
                                   "XBMLANGPATH", "VELA_PLUG_IN_RESOURCE_PATH",
                                   "VELA_PRESET_PATH", "VELA_PACKAGE_PATH"};
  for (auto _ : st) {
    st.PauseTiming();
    for (const char* v : variables) (void)VelaUnsetEnv(v);
    st.ResumeTiming();
    TvelaModuleSupportBase::resetState();
    (void)TvelaModuleSupportBase::initialize();
    benchmark::DoNotOptimize(TvelaModuleSupportBase::scanForNewModules());
    TvelaModuleSupportBase::updateEnvironmentVariables();
  }
  st.counters["modules"] = static_cast<double>(TvelaModuleSupportBase::findModule("module1") != nullptr
                                                   ? kModules
                                                   : 0);
  TvelaModuleSupportBase::resetState();
}
BENCHMARK(BM_moduleStartUp_vela)->Unit(benchmark::kMillisecond);

void BM_moduleStartUp_fsRead(benchmark::State& st) {
  const fs::path root = tree();
  for (auto _ : st) {
    std::size_t found = 0;
    for (int d = 0; d < kDirectories; ++d) {
      const fs::path dir = root / ("d" + std::to_string(d));
      for (const fs::directory_entry& e : fs::directory_iterator(dir)) {
        if (!e.is_regular_file()) continue;
        std::ifstream in(e.path());
        for (std::string line; std::getline(in, line);) {
          if (line.empty() || line[0] != '+') continue;
          const std::size_t last = line.rfind(' ');
          found += fs::is_directory(dir / line.substr(last + 1)) ? 1 : 0;
        }
      }
    }
    benchmark::DoNotOptimize(found);
  }
}
BENCHMARK(BM_moduleStartUp_fsRead)->Unit(benchmark::kMillisecond);

}  // namespace
