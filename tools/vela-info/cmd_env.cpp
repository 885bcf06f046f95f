// vela-info env [-default] [INSTALLATION [USER_DIR]]: runs the start-up environment set-up and
// shows every variable it set or merged, then every search-path entry.
#include "VelaInfoCommand.h"

#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformLocations.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info env [-default] [INSTALLATION [USER_DIR]]\n"
      "  Runs the start-up environment set-up (on the demo installation in examples/ when no\n"
      "  installation is given) and shows the variables it set and every search-path entry,\n"
      "  marking with * the entries that do not exist.\n",
      out);
}


// Every assignment start-up made, in order; a later one replaces an earlier one of its name.
std::vector<std::string> gAssignments;

void recordAssignment(const char* text) {
  const std::string name(text, std::strcspn(text, "="));
  for (std::string& a : gAssignments) {
    if (a.compare(0, name.size() + 1, name + "=") == 0) {
      a = text;
      return;
    }
  }
  gAssignments.emplace_back(text);
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

int run(int argc, char** argv) {
  namespace pf = vela::platform;
  // "-default" is start-up's own switch (read from the command line), not a folder.
  std::vector<const char*> folders;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "-default") != 0) folders.push_back(argv[i]);
  }
  if (folders.size() > 2) {
    help(stderr);
    return 2;
  }
  if (!folders.empty()) {
    putEnv("VELA_LOCATION", folders[0]);
    if (folders.size() > 1) putEnv("VELA_APP_DIR", folders[1]);
  } else {
    const std::string demo = findDemo(argv[0]);
    if (demo.empty()) {
      std::fputs("vela-info: no installation given and no demo installation (examples/) found\n",
                 stderr);
      return 1;
    }
    std::printf("demo installation: %s\n", demo.c_str());
    putEnv("VELA_LOCATION", demo + "/install");
    putEnv("VELA_APP_DIR", demo + "/user");
    (void)VelaUnsetEnv("VELA_ENV_DIR");
  }
  VelaSetModifyEnvCallbacks(&recordAssignment, nullptr);  // also hands over the two above
  if (!TVelaEnvironment::initializeVelaEnvironment()) {
    std::fputs("vela-info: no valid installation folder\n", stderr);
    return 1;
  }
  VelaSetModifyEnvCallbacks(nullptr, nullptr);

  std::printf("environment file: %s\n", TVelaEnvironment::velaEnvFileLocation().asC());
  std::printf("default mode: %s\n", TVelaEnvironment::isDefaultMode() ? "yes" : "no");
  std::printf("\nvariables set or merged:\n");
  for (const std::string& a : gAssignments) std::printf("  %s\n", a.c_str());
  std::printf("\nsearch paths (entries marked * do not exist):\n");
  for (const char* name : TVelaEnvironment::kPathVariables) {
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
