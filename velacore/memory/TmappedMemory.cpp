#include <velacore/memory/TmappedMemory.h>

#include <velacore/platform/TplatformMemory.h>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>

namespace {

// Every block starts with this header; callers get the address just behind it. 16 bytes keep the
// user's block aligned for any scalar type.
struct alignas(16) BlockHeader {
  std::size_t mappedBytes;  // length of the whole mapping, header included
  const char* tag;
};
static_assert(sizeof(BlockHeader) == 16);

std::atomic<std::size_t> gMappedBytes{0};

BlockHeader* headerOf(const void* block) {
  return reinterpret_cast<BlockHeader*>(const_cast<char*>(static_cast<const char*>(block)) -
                                        sizeof(BlockHeader));
}

// ThreadSanitizer intercepts mmap and munmap but not mremap: pages that one thread's block
// released through mremap and another thread's block received again would look to it like
// memory shared without synchronisation. Under it, blocks grow by mapping anew and copying, and
// shrink by unmapping their tail, which it sees.
#if defined(__SANITIZE_THREAD__)
constexpr bool kRemapHiddenFromSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kRemapHiddenFromSanitizer = true;
#else
constexpr bool kRemapHiddenFromSanitizer = false;
#endif
#else
constexpr bool kRemapHiddenFromSanitizer = false;
#endif

std::size_t mappingBytesFor(std::size_t bytes) {
  const std::size_t page = vela::platform::pageSize();
  return (bytes + sizeof(BlockHeader) + page - 1) & ~(page - 1);
}

// Below this a single core's memmove is faster than the cost of waking workers. Measured with
// bench_arrays (BM_move) on two cores: up to 8 MiB the split costs 5-40% (the copy still fits
// the caches and one core saturates them); from 16 MiB on it saves 10-20% when a second core is
// free.
constexpr std::size_t kParallelMoveBytes = std::size_t(16) << 20;
constexpr std::size_t kParallelChunkBytes = std::size_t(1) << 20;

}  // namespace

void* mmapAlloc(std::size_t bytes, const char* tag) {
  if (bytes > SIZE_MAX - (std::size_t(1) << 20)) return nullptr;
  const std::size_t mapped = mappingBytesFor(bytes);
  auto* header = static_cast<BlockHeader*>(vela::platform::mapPages(mapped));
  if (header == nullptr) return nullptr;
  header->mappedBytes = mapped;
  header->tag = tag;
  gMappedBytes.fetch_add(mapped, std::memory_order_relaxed);
  return header + 1;
}

bool mmapGrow(void* block, std::size_t bytes) {
  if (block == nullptr || bytes > SIZE_MAX - (std::size_t(1) << 20)) return false;
  BlockHeader* header = headerOf(block);
  const std::size_t oldMapped = header->mappedBytes;
  const std::size_t newMapped = mappingBytesFor(bytes);
  if (newMapped == oldMapped) return true;
  if (kRemapHiddenFromSanitizer) {
    if (newMapped > oldMapped) return false;
    vela::platform::unmapPages(reinterpret_cast<char*>(header) + newMapped, oldMapped - newMapped);
  } else if (!vela::platform::growPagesInPlace(header, oldMapped, newMapped)) {
    return false;
  }
  header->mappedBytes = newMapped;
  if (newMapped > oldMapped)
    gMappedBytes.fetch_add(newMapped - oldMapped, std::memory_order_relaxed);
  else
    gMappedBytes.fetch_sub(oldMapped - newMapped, std::memory_order_relaxed);
  return true;
}

void* mmapRealloc(void* block, std::size_t bytes, const char* tag) {
  if (block == nullptr) return mmapAlloc(bytes, tag);
  if (bytes > SIZE_MAX - (std::size_t(1) << 20)) return nullptr;
  BlockHeader* header = headerOf(block);
  const std::size_t oldMapped = header->mappedBytes;
  const std::size_t newMapped = mappingBytesFor(bytes);
  BlockHeader* moved;
  if (kRemapHiddenFromSanitizer) {
    moved = static_cast<BlockHeader*>(vela::platform::mapPages(newMapped));
    if (moved == nullptr) return nullptr;
    std::memcpy(moved, header, std::min(oldMapped, newMapped));
    vela::platform::unmapPages(header, oldMapped);
  } else {
    moved = static_cast<BlockHeader*>(vela::platform::movePages(header, oldMapped, newMapped));
    if (moved == nullptr) return nullptr;
  }
  moved->mappedBytes = newMapped;
  moved->tag = tag;
  if (newMapped > oldMapped)
    gMappedBytes.fetch_add(newMapped - oldMapped, std::memory_order_relaxed);
  else
    gMappedBytes.fetch_sub(oldMapped - newMapped, std::memory_order_relaxed);
  return moved + 1;
}

void mmapFree(void* block) {
  if (block == nullptr) return;
  BlockHeader* header = headerOf(block);
  const std::size_t mapped = header->mappedBytes;
  gMappedBytes.fetch_sub(mapped, std::memory_order_relaxed);
  vela::platform::unmapPages(header, mapped);
}

std::size_t mmapSize(const void* block) {
  return block == nullptr ? 0 : headerOf(block)->mappedBytes - sizeof(BlockHeader);
}

const char* mmapTag(const void* block) { return block == nullptr ? "" : headerOf(block)->tag; }

std::size_t mmapBytesInUse() { return gMappedBytes.load(std::memory_order_relaxed); }

void memmove_mp(void* destination, const void* source, std::size_t bytes) {
  auto* d = static_cast<char*>(destination);
  const auto* s = static_cast<const char*>(source);
  const bool overlap = d < s + bytes && s < d + bytes;
  if (bytes < kParallelMoveBytes || overlap) {
    std::memmove(d, s, bytes);
    return;
  }
  const std::size_t chunks = (bytes + kParallelChunkBytes - 1) / kParallelChunkBytes;
#if defined(__SANITIZE_THREAD__)
  // oneTBB is not built for ThreadSanitizer, which then reports its task hand-off as a race;
  // the same split over plain threads keeps the parallel copy checked.
  std::thread helper([&] {
    for (std::size_t c = 1; c < chunks; c += 2)
      std::memcpy(d + c * kParallelChunkBytes, s + c * kParallelChunkBytes,
                  std::min(bytes - c * kParallelChunkBytes, kParallelChunkBytes));
  });
  for (std::size_t c = 0; c < chunks; c += 2)
    std::memcpy(d + c * kParallelChunkBytes, s + c * kParallelChunkBytes,
                std::min(bytes - c * kParallelChunkBytes, kParallelChunkBytes));
  helper.join();
  return;
#endif
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, chunks), [&](const auto& r) {
    const std::size_t begin = r.begin() * kParallelChunkBytes;
    const std::size_t end = std::min(bytes, r.end() * kParallelChunkBytes);
    std::memcpy(d + begin, s + begin, end - begin);
  });
}
