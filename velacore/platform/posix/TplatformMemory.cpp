#include <velacore/platform/TplatformMemory.h>

#include <linux/membarrier.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

namespace vela::platform {

std::size_t pageSize() {
  static const std::size_t sPageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return sPageSize;
}

void* mapPages(std::size_t bytes) {
  if (bytes == 0) return nullptr;
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}

bool growPagesInPlace(void* pages, std::size_t oldBytes, std::size_t newBytes) {
  if (pages == nullptr || newBytes == 0) return false;
  return mremap(pages, oldBytes, newBytes, 0) != MAP_FAILED;
}

void* movePages(void* pages, std::size_t oldBytes, std::size_t newBytes) {
  if (pages == nullptr || newBytes == 0) return nullptr;
  void* p = mremap(pages, oldBytes, newBytes, MREMAP_MAYMOVE);
  return p == MAP_FAILED ? nullptr : p;
}

void unmapPages(void* pages, std::size_t bytes) {
  if (pages != nullptr && bytes != 0) munmap(pages, bytes);
}

bool barrierAllThreads() {
  // The expedited form interrupts only the CPUs that run a thread of this process (a thread that
  // is not running passes a full barrier when it is scheduled again); it needs registering once,
  // and the registration lasts as long as the process. Without it the global form waits until
  // every CPU has passed a scheduling point: slower, as strong.
  static const bool sExpedited =
      syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
  if (sExpedited && syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0) == 0) return true;
  if (syscall(SYS_membarrier, MEMBARRIER_CMD_GLOBAL, 0, 0) == 0) return true;
#if defined(__x86_64__) || defined(__i386__)
  // No membarrier (an old kernel, or a sandbox that refuses it): taking write access away from a
  // page this thread has written makes the kernel flush that mapping on every CPU that runs one of
  // our threads, with an interrupt, which serialises them. Only x86 flushes other CPUs that way;
  // elsewhere (arm64 broadcasts the flush in hardware) there is no such side effect to rely on.
  static char* const sPage = static_cast<char*>(mapPages(pageSize()));
  if (sPage != nullptr) {
    *static_cast<volatile char*>(sPage) = 0;
    if (mprotect(sPage, pageSize(), PROT_READ) == 0 && mprotect(sPage, pageSize(), PROT_READ | PROT_WRITE) == 0)
      return true;
  }
#endif
  return false;
}

void trimHeap() { malloc_trim(0); }

std::size_t heapBytesInUse() {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 33))
  struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#else
  return 0;
#endif
}

bool systemMemory(TsystemMemory& out) {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return false;
  const std::uint64_t unit = info.mem_unit ? info.mem_unit : 1;
  out.totalPhysical = static_cast<std::uint64_t>(info.totalram) * unit;
  out.freePhysical = static_cast<std::uint64_t>(info.freeram) * unit;
  out.freeSwap = static_cast<std::uint64_t>(info.freeswap) * unit;
  return true;
}

bool processUsage(TprocessUsage& out) {
  struct rusage usage {};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return false;
  out.pageFaults = static_cast<std::uint64_t>(usage.ru_majflt + usage.ru_minflt);
  out.maxResidentBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;  // kilobytes on Linux
  return true;
}

}  // namespace vela::platform
