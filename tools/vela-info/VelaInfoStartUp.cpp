#include "VelaInfoStartUp.h"

#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformLocations.h>

#include <cstring>

namespace {

std::vector<std::string>* gAssignments = nullptr;

void recordAssignment(const char* text) {
  const std::string name(text, std::strcspn(text, "="));
  for (std::string& a : *gAssignments) {
    if (a.compare(0, name.size() + 1, name + "=") == 0) {
      a = text;
      return;
    }
  }
  gAssignments->emplace_back(text);
}

// The demo installation: "examples" in the working folder or beside one of the folders above
// the program (the program normally sits in <source>/build*/tools/vela-info).
std::string findDemo(const char* argv0) {
  namespace pf = vela::platform;
  const std::string cwd = pf::currentFolder();
  std::string dir = argv0 != nullptr ? argv0 : "";
  if (!dir.empty() && dir[0] != '/') dir = cwd + "/" + dir;
  std::vector<std::string> bases{cwd};
  for (std::size_t slash = dir.rfind('/'); slash != std::string::npos && slash > 0;
       slash = dir.rfind('/', slash - 1)) {
    bases.push_back(dir.substr(0, slash));
  }
  for (const std::string& base : bases) {
    if (pf::isFolder(base + "/examples/install") && pf::isFolder(base + "/examples/user")) {
      return base + "/examples";
    }
  }
  return std::string();
}

void putEnv(const char* name, const std::string& value) {
  (void)VelaPutEnv((std::string(name) + "=" + value).c_str());
}

}  // namespace

TvelaInfoStartUp velaInfoStartUp(int argc, char** argv, void (*help)(std::FILE* out)) {
  TvelaInfoStartUp result;
  // "-default" is start-up's own switch (read from the command line), not a folder.
  std::vector<const char*> folders;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "-default") != 0) folders.push_back(argv[i]);
  }
  if (folders.size() > 2) {
    help(stderr);
    result.status = 2;
    return result;
  }
  if (!folders.empty()) {
    putEnv("VELA_LOCATION", folders[0]);
    if (folders.size() > 1) putEnv("VELA_APP_DIR", folders[1]);
  } else if (const std::string demo = findDemo(argv[0]); !demo.empty()) {
    std::printf("demo installation: %s\n", demo.c_str());
    putEnv("VELA_LOCATION", demo + "/install");
    putEnv("VELA_APP_DIR", demo + "/user");
    (void)VelaUnsetEnv("VELA_ENV_DIR");
  } else {
    // No folders and no demo: the installation this library runs from, found from the
    // library's own file (a VELA_LOCATION in the environment could name another one).
    (void)VelaUnsetEnv("VELA_LOCATION");
  }
  gAssignments = &result.assignments;
  VelaSetModifyEnvCallbacks(&recordAssignment, nullptr);  // also hands over the ones above
  const bool started = TVelaEnvironment::initializeVelaEnvironment();
  VelaSetModifyEnvCallbacks(nullptr, nullptr);
  gAssignments = nullptr;
  if (!started) {
    std::fputs("vela-info: no valid installation folder\n", stderr);
    result.status = 1;
    return result;
  }
  if (folders.empty()) {
    const char* location = VelaGetEnv("VELA_LOCATION");
    std::printf("installation: %s\n", location != nullptr ? location : "");
  }
  return result;
}
