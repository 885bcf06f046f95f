// vela-info modules [-default] [INSTALLATION [USER_DIR]]: runs start-up like `vela-info env` and
// shows the module directories, every module chosen and every line refused, with the reason.
#include "VelaInfoCommand.h"
#include "VelaInfoStartUp.h"

#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/platform/TplatformLocations.h>

#include <cstdio>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info modules [-default] [INSTALLATION [USER_DIR]]\n"
      "  Runs the start-up environment set-up like `vela-info env` and lists the module\n"
      "  directories (* marks the ones that do not exist), every module chosen (version,\n"
      "  directory index, path, description line, folders and settings) and every description\n"
      "  or setting line that was refused, with the reason.\n",
      out);
}

const char* modeText(TvelaModuleSettingMode mode) {
  switch (mode) {
    case TvelaModuleSettingMode::kAppend:
      return "+=";
    case TvelaModuleSettingMode::kPrepend:
      return "*=";
    case TvelaModuleSettingMode::kReplace:
      break;
  }
  return "=";
}

int run(int argc, char** argv) {
  using M = TvelaModuleSupportBase;
  const TvelaInfoStartUp start = velaInfoStartUp(argc, argv, &help);
  if (start.status != 0) return start.status;

  std::printf("VELA_MODULE_PATH=%s\n", M::velaModulePath().asC());
  const TstringArray dirs = M::moduleDirectories();
  std::printf("\nmodule directories (%u):\n", dirs.length());
  for (unsigned i = 0; i < dirs.length(); ++i) {
    std::printf("  %u %c %s%s\n", i, vela::platform::isFolder(dirs[i].asC()) ? ' ' : '*',
                dirs[i].asC(),
                static_cast<int>(i) >= M::numModuleDirectories() ? "  (package)" : "");
  }

  TstringArray names;
  M::getModuleList(names);
  std::printf("\nmodules chosen (%u):\n", names.length());
  for (unsigned i = 0; i < names.length(); ++i) {
    const TvelaModule* m = M::findModule(names[i]);
    std::printf("  %s %s  directory %d  %s\n", names[i].asC(), m->version.asC(),
                m->directoryIndex, m->path.asC());
    std::printf("    described in %s:%d\n", m->defPath.asC(), m->defLine);
    for (const auto& [keyword, value] : m->keywords) {
      std::printf("    condition %s:%s\n", keyword.asC(), value.asC());
    }
    for (const TvelaModuleFolder& f : m->folders) {
      std::printf("    folder %s: %s%s\n", f.variable.asC(), f.folder.asC(),
                  f.recursive ? "  (with every folder below)" : "");
    }
    for (const auto& [variable, setting] : m->settings) {
      std::printf("    setting %s %s %s\n", variable.asC(), modeText(setting.mode),
                  setting.value.asC());
    }
  }

  const std::vector<TvelaModuleRefusal> refused = M::refusals();
  std::printf("\nlines refused (%zu):\n", refused.size());
  for (const TvelaModuleRefusal& r : refused) {
    std::printf("  %s:%d: %s\n    %s\n", r.file.asC(), r.line, r.text.asC(), r.reason.asC());
  }
  return 0;
}

const TvelaInfoCommand kModules{"modules", "[-default] [INSTALLATION [USER_DIR]]",
                                "show the add-on modules start-up chose and the lines it refused",
                                run, help};

}  // namespace

VELA_INFO_REGISTER(kModules);
