#include <velacore/platform/TplatformLargePages.h>

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <fstream>

namespace vela::platform {

namespace {

std::atomic<std::size_t> sBytesInUse{0};

std::size_t readLargePageSize() {
  std::ifstream in("/sys/kernel/mm/transparent_hugepage/hpage_pmd_size");
  std::size_t bytes = 0;
  // Only a power of two from 64 KiB to 1 GiB is believable; anything else means "not known".
  if (in >> bytes && bytes >= (std::size_t{1} << 16) && bytes <= (std::size_t{1} << 30) &&
      (bytes & (bytes - 1)) == 0)
    return bytes;
  return std::size_t{2} << 20;
}

std::size_t roundUp(std::size_t bytes, std::size_t unit) { return (bytes + unit - 1) & ~(unit - 1); }

}  // namespace

std::size_t largePageSize() {
  static const std::size_t sSize = readLargePageSize();
  return sSize;
}

void* mapLargePages(std::size_t bytes) {
  if (bytes == 0) return nullptr;
  const std::size_t unit = largePageSize();
  const std::size_t size = roundUp(bytes, unit);
  if (size < bytes || size + unit < size) return nullptr;  // the rounding overflowed
  // Map one large page more than needed and trim both ends, so the block starts on a boundary.
  void* raw = mmap(nullptr, size + unit, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  const auto start = reinterpret_cast<std::uintptr_t>(raw);
  const std::uintptr_t aligned = (start + unit - 1) & ~static_cast<std::uintptr_t>(unit - 1);
  if (aligned > start) munmap(raw, aligned - start);
  const std::uintptr_t tail = aligned + size;
  const std::uintptr_t end = start + size + unit;
  if (end > tail) munmap(reinterpret_cast<void*>(tail), end - tail);
  void* block = reinterpret_cast<void*>(aligned);
#ifdef MADV_HUGEPAGE
  (void)madvise(block, size, MADV_HUGEPAGE);  // a request; ordinary pages serve when refused
#endif
  sBytesInUse.fetch_add(size, std::memory_order_relaxed);
  return block;
}

void unmapLargePages(void* pages, std::size_t bytes) {
  if (pages == nullptr || bytes == 0) return;
  const std::size_t size = roundUp(bytes, largePageSize());
  munmap(pages, size);
  sBytesInUse.fetch_sub(size, std::memory_order_relaxed);
}

std::size_t largePageBytesInUse() { return sBytesInUse.load(std::memory_order_relaxed); }

}  // namespace vela::platform
