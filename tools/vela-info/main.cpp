// vela-info: shows what velacore knows about itself and the machine it runs on.
//
//   vela-info                 the library's version, build and the host facts
//   vela-info COMMAND ...     one of the registered commands (cmd_*.cpp)
//   vela-info COMMAND --help  that command's usage
//   vela-info --help          the list of commands
#include "VelaInfoCommand.h"

#include <velacore/base/TbuildInfo.h>
#include <velacore/platform/TplatformMemory.h>
#include <velacore/platform/TplatformSystem.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

std::vector<const TvelaInfoCommand*>& velaInfoCommands() {
  static std::vector<const TvelaInfoCommand*> commands;
  return commands;
}

namespace {

constexpr double kMiB = 1024.0 * 1024.0;

int showLibrary() {
  namespace pf = vela::platform;
  std::printf("velacore %s (%s build, %s)\n", VELACORE_VERSION_STRING, VELACORE_BUILD_TYPE,
              VELACORE_COMPILER);
  std::printf("platform:        %s\n", pf::platformName());
  std::printf("system:          %s\n", pf::osRelease().c_str());
  std::printf("host:            %s\n", pf::hostName().c_str());
  std::printf("processors:      %u\n", pf::processorCount());
  std::printf("page size:       %zu bytes\n", pf::pageSize());
  pf::TsystemMemory mem;
  if (pf::systemMemory(mem)) {
    std::printf("physical memory: %.0f MiB total, %.0f MiB free\n", mem.totalPhysical / kMiB,
                mem.freePhysical / kMiB);
    std::printf("free swap:       %.0f MiB\n", mem.freeSwap / kMiB);
  }
  return 0;
}

void usage(std::FILE* out) {
  std::fputs("usage: vela-info [COMMAND [ARGUMENTS]]\n"
             "  (none)     library version, build type and host facts\n",
             out);
  for (const TvelaInfoCommand* command : velaInfoCommands()) {
    std::fprintf(out, "  %-10s %s%s%s\n", command->name, command->synopsis,
                 command->synopsis[0] != '\0' ? "\n             " : "", command->summary);
  }
  std::fputs("  --help     this text; `vela-info COMMAND --help` for one command\n", out);
}

bool isHelp(const char* word) {
  return std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<const TvelaInfoCommand*>& commands = velaInfoCommands();
  std::sort(commands.begin(), commands.end(),
            [](const TvelaInfoCommand* a, const TvelaInfoCommand* b) {
              return std::strcmp(a->name, b->name) < 0;
            });
  if (argc < 2) return showLibrary();
  if (isHelp(argv[1])) {
    usage(stdout);
    return 0;
  }
  for (const TvelaInfoCommand* command : commands) {
    if (std::strcmp(argv[1], command->name) != 0) continue;
    if (argc > 2 && isHelp(argv[2])) {
      command->help(stdout);
      return 0;
    }
    return command->run(argc, argv);
  }
  std::fprintf(stderr, "vela-info: unknown command '%s'\n", argv[1]);
  usage(stderr);
  return 2;
}
