#include <velacore/memory/Tallocator.h>

#include <velacore/base/Texception.h>
#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/containers/TdataHashTable.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/memory/TmemoryUsage.h>
#include <velacore/memory/internal/TmemoryReport.h>
#include <velacore/platform/TplatformHeap.h>
#include <velacore/platform/TplatformMemory.h>
#include <velacore/strings/TstringArray.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <ostream>
#include <vector>

namespace {

constexpr std::int64_t kMaxMemoryCap = (std::int64_t(1) << 62) - 1;
constexpr double kBytesToMegabytes = 1.0 / 1048576.0;
constexpr const char* kSeparator = "====================================\n";

// How the allocator was asked to behave; decided from the environment at first use.
enum Tswitch : int { kUnknown = -1, kOff = 0, kOn = 1 };

struct TblockRecord {
  std::size_t size;
  const char* name;
  bool large;  // from a page mapping rather than the runtime heap
};

}  // namespace

// A block's address as a number: the records are keyed by it, so that realloc takes the key of
// the block it may move before the call, and nothing reads the old pointer afterwards.
struct TblockKey {
  std::uintptr_t address;
};

template <>
struct ThashKey<TblockKey> {
  [[nodiscard]] static unsigned hash(TblockKey key) {
    return ThashFunction::hash32(&key.address, sizeof key.address, 0);  // as the pointer's hash
  }
  [[nodiscard]] static bool equal(TblockKey a, TblockKey b) { return a.address == b.address; }
};

namespace {

TblockKey keyOf(const void* p) { return {reinterpret_cast<std::uintptr_t>(p)}; }

// All process state of the allocator. Never destroyed: blocks may be released during static
// destruction of other libraries.
struct TallocatorState {
  TmtCriticalSection lock;
  std::atomic<int> useMalloc{kUnknown};
  std::atomic<int> noException{kUnknown};
  std::atomic<std::size_t> pageSize{0};
  std::atomic<std::int64_t> freeMemory{0};
  std::atomic<std::int64_t> lastRefreshMs{-1};
  std::atomic<std::int64_t> maximumMemory{0};
  bool opened = false;
  bool zeroedMappingOpen = false;
  std::size_t currentLarge = 0;
  std::size_t peakLarge = 0;
  std::size_t heapAtPeak = 0;
  // Keyed by the 32-bit hash of the block address; grows and shrinks with the block count.
  TdataHashTable<TblockKey, TblockRecord> records{0, 0xFFFFFFFF};
  TmallocAllocator::Tmapping zeroedMapping;
  TmallocAllocator::Tmapping diskMapping;
};

TallocatorState& state() {
  static Timmortal<TallocatorState> sState;
  return *sState;
}

std::int64_t millisecondsSinceStart() {
  static const auto sStart = std::chrono::steady_clock::now();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               sStart)
      .count();
}

int envInt(const char* name, int fallback) {
  const char* value = VelaGetEnv(name);
  if (value == nullptr || *value == '\0') return fallback;
  return std::atoi(value);
}

void readSwitches(TallocatorState& s) {
  const bool diagnosis = envInt("VELA_MEMORY_LEAK_DIAGNOSIS", 0) != 0;
  const bool useMalloc = diagnosis || envInt("VELA_USE_MALLOC", 1) != 0;
  s.useMalloc.store(useMalloc ? kOn : kOff);
  s.noException.store(VelaGetEnv("VELA_NO_MEMORY_EXCEPTION") != nullptr ? kOn : kOff);
  if (s.pageSize.load() == 0) s.pageSize.store(vela::platform::pageSize());
}

TallocatorState& readyState() {
  TallocatorState& s = state();
  if (s.useMalloc.load(std::memory_order_acquire) == kUnknown) {
    TmtScopedLock guard(s.lock);
    if (s.useMalloc.load() == kUnknown) readSwitches(s);
  }
  return s;
}

const char* text(const char* key) { return TstringCatalog::sText(TstringId{key}); }

void newHandler();

// The first large allocation prepares the allocator for page mappings. Called under the lock.
void open(TallocatorState& s) {
  if (s.opened) return;
  s.opened = true;
  std::set_new_handler(&newHandler);
  vela::platform::TsystemMemory memory;
  std::int64_t maximum = 0;
  if (vela::platform::systemMemory(memory)) {
    const std::uint64_t sum = memory.totalPhysical + vela::platform::totalSwapBytes();
    maximum = static_cast<std::int64_t>(std::min<std::uint64_t>(sum, kMaxMemoryCap));
  }
  s.maximumMemory.store(maximum);
  const std::int64_t last = s.lastRefreshMs.load();
  if (last < 0 || millisecondsSinceStart() - last > 4000) TmallocAllocator::setFreeMemory(true);
  if (s.useMalloc.load() == kOff) s.pageSize.store(16);
}

// With `withArenas`, one line per arena and pool follows. The out-of-memory report leaves them
// out: it may run inside an arena's own locked call, and listing takes every arena's lock.
void statisticsLines(std::vector<std::string>& lines, bool withArenas) {
  vela::platform::TprocessUsage usage;
  if (!vela::platform::processUsage(usage)) usage = {};
  TallocatorState& s = state();
  std::size_t peak = 0;
  std::size_t heapAtPeak = 0;
  std::size_t current = 0;
  {
    TmtScopedLock guard(s.lock);
    peak = s.peakLarge;
    heapAtPeak = s.heapAtPeak;
    current = s.currentLarge + vela::platform::heapBytesInUse();
  }
  const char* megabytes = text("s_TmallocAllocatorStrings.rMegabytes");
  char line[256];
  std::snprintf(line, sizeof line, "%s %llu", text("s_TmallocAllocatorStrings.rPageFaults"),
                static_cast<unsigned long long>(usage.pageFaults));
  lines.emplace_back(line);
  const auto addMegabytes = [&](const char* key, double bytes) {
    std::snprintf(line, sizeof line, "%s %.2f %s", text(key), bytes * kBytesToMegabytes,
                  megabytes);
    lines.emplace_back(line);
  };
  addMegabytes("s_TmallocAllocatorStrings.rMaxResidentSize",
               static_cast<double>(usage.maxResidentBytes));
  addMegabytes("s_TmallocAllocatorStrings.rPeakEstimated", static_cast<double>(peak + heapAtPeak));
  addMegabytes("s_TmallocAllocatorStrings.rPeakArenaSize", static_cast<double>(peak));
  addMegabytes("s_TmallocAllocatorStrings.rCurrent", static_cast<double>(current));
  if (!withArenas) return;
  const std::vector<TmemoryUsage> arenas = TmemoryUsage::sCollect();
  lines.emplace_back(text("s_TmallocAllocatorStrings.rArenaUsage"));
  for (const TmemoryUsage& u : arenas) {
    std::snprintf(line, sizeof line, text("s_TmallocAllocatorStrings.rArenaUsageFmt"), u.kind.c_str(),
                  u.name.c_str(), static_cast<unsigned long long>(u.reserved),
                  static_cast<unsigned long long>(u.used), static_cast<unsigned long long>(u.peak));
    lines.emplace_back(line);
  }
}

// The report made when memory runs out; throws unless the report is switched off, in which case
// the caller hands back null. Called without the allocator's lock held.
void outOfMemory(std::size_t request) {
  if (TmallocAllocator::noMemoryException()) return;
  const char* message = text("s_TmallocAllocatorStrings.rNoFreeMemoryMsg");
  vela::memory_internal::reportError("%s", message);

  vela::platform::TsystemMemory memory;
  if (!vela::platform::systemMemory(memory)) memory = {};
  std::fputs(kSeparator, stderr);
  std::fprintf(stderr, "%s\n", text("s_TmallocAllocatorStrings.rCauseOfException"));
  std::fprintf(stderr, text("s_TmallocAllocatorStrings.rFreeMemFmt"),
               static_cast<double>(memory.freePhysical) * kBytesToMegabytes);
  std::fprintf(stderr, text("s_TmallocAllocatorStrings.rFreeSwapFmt"),
               static_cast<double>(memory.freeSwap) * kBytesToMegabytes);
  std::fprintf(stderr, text("s_TmallocAllocatorStrings.rSizeOfAllocFmt"),
               static_cast<double>(request) * kBytesToMegabytes);
  std::fprintf(stderr, text("s_TmallocAllocatorStrings.rLowThresholdFmt"),
               static_cast<double>(TmallocAllocator::kLowMemoryThreshold) * kBytesToMegabytes);
  std::fprintf(stderr, "%s\n", text("s_TmallocAllocatorStrings.rMemoryUseWhenThrown"));
  std::vector<std::string> lines;
  statisticsLines(lines, false);
  for (const std::string& line : lines) std::fprintf(stderr, "%s\n", line.c_str());
  std::fputs(kSeparator, stderr);
  std::fflush(stderr);
  throw TmemoryException(message);
}

// operator new calls this when the runtime heap is exhausted.
void newHandler() {
  if (TmallocAllocator::noMemoryException()) {
    // Returning would make operator new retry forever; let it fail with std::bad_alloc.
    std::set_new_handler(nullptr);
    return;
  }
  outOfMemory(0);
}

void* allocLocked(TallocatorState& s, std::size_t size, const char* name, bool& exhausted) {
  exhausted = false;
  void* p = nullptr;
  bool large = false;
  if (size < TmallocAllocator::kLargeBlockBytes) {
    p = std::malloc(size);
    if (p == nullptr) {
      exhausted = true;
      return nullptr;
    }
  } else {
    if (!s.opened) open(s);
    const std::size_t mask = s.pageSize.load() - 1;
    if (size > SIZE_MAX - mask) {
      exhausted = true;
      return nullptr;
    }
    size = (size + mask) & ~mask;
    if (static_cast<std::uint64_t>(size) >= static_cast<std::uint64_t>(s.freeMemory.load())) {
      vela::platform::trimHeap();
      TmallocAllocator::setFreeMemory(true);
      if (static_cast<std::uint64_t>(size) >= static_cast<std::uint64_t>(s.freeMemory.load())) {
        exhausted = true;
        return nullptr;
      }
    }
    p = vela::platform::mapPages(size);
    if (p == nullptr) {
      std::perror("mmap");
      exhausted = true;
      return nullptr;
    }
    large = true;
    s.zeroedMappingOpen = true;
    s.zeroedMapping.open = true;
    s.currentLarge += size;
    if (s.currentLarge > s.peakLarge) {
      s.peakLarge = s.currentLarge;
      s.heapAtPeak = vela::platform::heapBytesInUse();
    }
    s.freeMemory.fetch_sub(static_cast<std::int64_t>(size));
  }
  try {
    s.records.insertUnique(keyOf(p), TblockRecord{size, name, large});
  } catch (...) {
    if (large) {
      vela::platform::unmapPages(p, size);
      s.currentLarge -= size;
      s.freeMemory.fetch_add(static_cast<std::int64_t>(size));
    } else {
      std::free(p);
    }
    throw;
  }
  return p;
}

// Releases a recorded block. Called under the lock; returns false for an unknown address.
bool freeLocked(TallocatorState& s, void* p) {
  const TblockRecord* found = s.records.find(keyOf(p));
  if (found == nullptr) return false;
  const TblockRecord record = *found;
  s.records.remove(keyOf(p));
  if (record.large) {
    vela::platform::unmapPages(p, record.size);
    s.freeMemory.fetch_add(static_cast<std::int64_t>(record.size));
    s.currentLarge -= record.size;
  } else {
    std::free(p);
  }
  return true;
}

}  // namespace

Tallocator::~Tallocator() = default;

TmallocAllocator::TmallocAllocator() = default;
TmallocAllocator::~TmallocAllocator() = default;

TmallocAllocator& TmallocAllocator::mallocAllocator() {
  // Never destroyed (its constructor is private, so not through Timmortal): arenas released
  // by static destructors still return their pages here.
  static TmallocAllocator* const sInstance = new TmallocAllocator();
  return *sInstance;
}

void* TmallocAllocator::allocate(std::size_t size, const char* name) {
  return alloc(size, name != nullptr ? name : "Render Arena");
}

void TmallocAllocator::free(void* p, std::size_t /*size*/) {
  if (p == nullptr) return;
  TallocatorState& s = readyState();
  if (s.useMalloc.load(std::memory_order_relaxed) == kOn) {
    std::free(p);
    return;
  }
  bool known = false;
  {
    TmtScopedLock guard(s.lock);
    known = freeLocked(s, p);
  }
  // Releasing memory of unknown origin could corrupt whatever owns it: leave it alone.
  if (!known) vela::memory_internal::reportError("TmallocAllocator::free: %p is not a block of this allocator", p);
}

void* TmallocAllocator::alloc(std::size_t size, const char* name) {
  if (size == 0) return nullptr;
  TallocatorState& s = readyState();
  if (s.useMalloc.load(std::memory_order_relaxed) == kOn) return std::malloc(size);
  bool exhausted = false;
  void* p = nullptr;
  {
    TmtScopedLock guard(s.lock);
    p = allocLocked(s, size, name, exhausted);
  }
  if (exhausted) outOfMemory(size);
  return p;
}

void* TmallocAllocator::realloc(void* p, std::size_t size, const char* name) {
  if (p == nullptr) return alloc(size, name);
  TallocatorState& s = readyState();
  if (s.useMalloc.load(std::memory_order_relaxed) == kOn) return std::realloc(p, size);
  if (size == 0) {
    free(p);
    return nullptr;
  }
  std::unique_lock<TmtCriticalSection> guard(s.lock);
  TblockRecord* found = s.records.find(keyOf(p));
  if (found == nullptr) return nullptr;
  const TblockRecord record = *found;
  if (!record.large && size < kLargeBlockBytes) {
    const TblockKey old = keyOf(p);
    void* q = std::realloc(p, size);
    if (q == nullptr) {
      guard.unlock();
      outOfMemory(size);
      return nullptr;
    }
    if (keyOf(q).address == old.address) {
      found->size = size;
      found->name = name;
    } else {
      s.records.remove(old);
      s.records.insertUnique(keyOf(q), TblockRecord{size, name, false});
    }
    return q;
  }
  if (record.large && size >= kLargeBlockBytes && pageAlign(size) == record.size) {
    found->name = name;
    return p;
  }
  // Crossing the heap/mapping boundary, or resizing a mapping: a fresh block and a copy.
  bool exhausted = false;
  void* q = allocLocked(s, size, name, exhausted);
  if (q == nullptr) {
    guard.unlock();
    if (exhausted) outOfMemory(size);
    return nullptr;
  }
  std::memcpy(q, p, std::min(size, record.size));
  freeLocked(s, p);
  return q;
}

std::size_t TmallocAllocator::blockSize(const void* p) {
  TallocatorState& s = readyState();
  TmtScopedLock guard(s.lock);
  const TblockRecord* found = s.records.find(keyOf(p));
  return found == nullptr ? 0 : found->size;
}

bool TmallocAllocator::isLargeBlock(const void* p) {
  TallocatorState& s = readyState();
  TmtScopedLock guard(s.lock);
  const TblockRecord* found = s.records.find(keyOf(p));
  return found != nullptr && found->large;
}

std::size_t TmallocAllocator::getArrayMemSize(const char* name) {
  if (name == nullptr) return 0;
  TallocatorState& s = readyState();
  TmtScopedLock guard(s.lock);
  std::size_t total = 0;
  s.records.forEach([&](const TblockKey&, const TblockRecord& record) {
    if (record.name != nullptr && std::strcmp(record.name, name) == 0) total += record.size;
  });
  return total;
}

bool TmallocAllocator::useMalloc() { return readyState().useMalloc.load() == kOn; }

bool TmallocAllocator::noMemoryException() { return readyState().noException.load() == kOn; }

std::size_t TmallocAllocator::pageSize() { return readyState().pageSize.load(); }

std::size_t TmallocAllocator::mask() { return pageSize() - 1; }

std::size_t TmallocAllocator::pageAlign(std::size_t size) {
  const std::size_t m = mask();
  return (size + m) & ~m;
}

bool TmallocAllocator::checkFreeMemory(std::size_t size) {
  const std::int64_t estimate = setFreeMemory(false);
  return static_cast<std::uint64_t>(size) < static_cast<std::uint64_t>(std::max<std::int64_t>(estimate, 0));
}

std::int64_t TmallocAllocator::freeMemory() {
  return std::max<std::int64_t>(state().freeMemory.load(), 0);
}

std::int64_t TmallocAllocator::adjustFreeMemory(std::ptrdiff_t delta) {
  return state().freeMemory.fetch_add(static_cast<std::int64_t>(delta));
}

std::int64_t TmallocAllocator::setFreeMemory(bool force) {
  TallocatorState& s = state();
  const std::int64_t now = millisecondsSinceStart();
  const std::int64_t last = s.lastRefreshMs.load();
  if (!force && last >= 0 && now - last < 5000) return s.freeMemory.load();
  vela::platform::TsystemMemory memory;
  std::int64_t estimate = 0;
  if (vela::platform::systemMemory(memory)) {
    const std::uint64_t sum = memory.freePhysical + memory.freeSwap;
    estimate = static_cast<std::int64_t>(std::min<std::uint64_t>(sum, kMaxMemoryCap));
    estimate = std::max<std::int64_t>(estimate - kLowMemoryThreshold, 0);
  }
  s.freeMemory.store(estimate);
  s.lastRefreshMs.store(now);
  return estimate;
}

std::int64_t TmallocAllocator::maximumMemory() { return state().maximumMemory.load(); }

std::size_t TmallocAllocator::currentLargeBytes() {
  TallocatorState& s = state();
  TmtScopedLock guard(s.lock);
  return s.currentLarge;
}

std::size_t TmallocAllocator::peakLargeBytes() {
  TallocatorState& s = state();
  TmtScopedLock guard(s.lock);
  return s.peakLarge;
}

std::size_t TmallocAllocator::heapBytesAtPeak() {
  TallocatorState& s = state();
  TmtScopedLock guard(s.lock);
  return s.heapAtPeak;
}

void TmallocAllocator::printStatistics(std::ostream& out) {
  std::vector<std::string> lines;
  statisticsLines(lines, true);
  out << kSeparator;
  for (const std::string& line : lines) out << line << '\n';
}

void TmallocAllocator::getStatistics(TstringArray& lines) {
  std::vector<std::string> text;
  statisticsLines(text, true);
  for (const std::string& line : text) lines.addLast(Tstring(line.c_str()));
}

void TmallocAllocator::purge() {
  TallocatorState& s = state();
  TmtScopedLock guard(s.lock);
  if (!s.diskMapping.open) return;
  if (!s.diskMapping.path.empty()) std::remove(s.diskMapping.path.c_str());
  s.diskMapping = Tmapping();
}

const TmallocAllocator::Tmapping& TmallocAllocator::mapZeroedMemory() { return state().zeroedMapping; }

const TmallocAllocator::Tmapping& TmallocAllocator::mapDiskFile() { return state().diskMapping; }

void TmallocAllocator::sReloadSwitches() {
  TallocatorState& s = state();
  TmtScopedLock guard(s.lock);
  readSwitches(s);
  if (s.opened && s.useMalloc.load() == kOff) s.pageSize.store(16);
  // The new-handler may have stood down after a suppressed report; put it back when reports are on.
  if (s.opened && s.noException.load() == kOff) std::set_new_handler(&newHandler);
}
