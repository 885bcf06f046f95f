// vela-info: shows what velacore knows about itself and the machine it runs on.
//
//   vela-info            the library's version, build and the host facts
//   vela-info --help     the subcommands
#include <velacore/base/TbuildInfo.h>
#include <velacore/memory/TmappedMemory.h>
#include <velacore/platform/TplatformMemory.h>
#include <velacore/platform/TplatformSystem.h>

#include <cstdio>
#include <cstring>

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
  std::fputs("usage: vela-info [command]\n"
             "  (none)   library version, build type and host facts\n"
             "  --help   this text\n",
             out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return showLibrary();
  const char* command = argv[1];
  if (std::strcmp(command, "--help") == 0 || std::strcmp(command, "-h") == 0) {
    usage(stdout);
    return 0;
  }
  std::fprintf(stderr, "vela-info: unknown command '%s'\n", command);
  usage(stderr);
  return 2;
}
