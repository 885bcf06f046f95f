// vela-info env [-default] [INSTALLATION [USER_DIR]]: runs the start-up environment set-up and
// shows every variable it set or merged, the modules it chose, then every search-path entry.
#include "VelaInfoCommand.h"
#include "VelaInfoStartUp.h"

#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformLocations.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info env [-default] [INSTALLATION [USER_DIR]]\n"
      "  Runs the start-up environment set-up (on the demo installation in examples/ when no\n"
      "  installation is given, or else on the installation the library runs from) and shows\n"
      "  the variables it set, the add-on modules it chose and every search-path entry,\n"
      "  marking with * the entries that do not exist.\n",
      out);
}

int run(int argc, char** argv) {
  namespace pf = vela::platform;
  const TvelaInfoStartUp start = velaInfoStartUp(argc, argv, &help);
  if (start.status != 0) return start.status;

  std::printf("environment file: %s\n", TVelaEnvironment::velaEnvFileLocation().asC());
  std::printf("default mode: %s\n", TVelaEnvironment::isDefaultMode() ? "yes" : "no");
  std::printf("\nvariables set or merged:\n");
  for (const std::string& a : start.assignments) std::printf("  %s\n", a.c_str());

  TstringArray modules;
  TvelaModuleSupportBase::getModuleList(modules);
  const std::size_t refused = TvelaModuleSupportBase::refusals().size();
  std::printf("\nmodules (%u chosen, %zu lines refused; `vela-info modules` says why):\n",
              modules.length(), refused);
  for (unsigned i = 0; i < modules.length(); ++i) {
    const TvelaModule* m = TvelaModuleSupportBase::findModule(modules[i]);
    std::printf("  %s %s  %s\n", modules[i].asC(), m->version.asC(), m->path.asC());
  }

  std::printf("\nsearch paths (entries marked * do not exist):\n");
  std::vector<const char*> names(std::begin(TVelaEnvironment::kPathVariables),
                                 std::end(TVelaEnvironment::kPathVariables));
  // The module folders feed two lists that start-up itself does not merge.
  names.push_back("PYTHONPATH");
  names.push_back("VELA_PRESET_PATH");
  for (const char* name : names) {
    const TstringArray entries = TVelaEnvironment::splitPath(VelaGetEnv(name));
    std::printf("  %s (%u)\n", name, entries.length());
    for (unsigned i = 0; i < entries.length(); ++i) {
      std::printf("  %c %s\n", pf::isFolder(entries[i].asC()) ? ' ' : '*', entries[i].asC());
    }
  }
  return 0;
}

const TvelaInfoCommand kEnv{"env", "[-default] [INSTALLATION [USER_DIR]]",
                            "run the start-up environment set-up and show what it did", run,
                            help};

}  // namespace

VELA_INFO_REGISTER(kEnv);
