#include <velacore/platform/TplatformHeap.h>

#include <sys/sysinfo.h>

namespace vela::platform {

std::uint64_t totalSwapBytes() {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return 0;
  const std::uint64_t unit = info.mem_unit ? info.mem_unit : 1;
  return static_cast<std::uint64_t>(info.totalswap) * unit;
}

}  // namespace vela::platform
