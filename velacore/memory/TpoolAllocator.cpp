#include <velacore/memory/TpoolAllocator.h>

#include <velacore/environment/VelaEnv.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kDefaultPoolLimit = std::size_t(8) << 20;

std::atomic<std::size_t> gPoolLimit{0};  // 0 until read

std::size_t readPoolLimit() {
  const char* value = VelaGetEnv("VELA_HW_MAXIMUM_POOL_ALLOCATOR_SIZE");
  const int megabytes = value != nullptr ? std::atoi(value) : 0;
  return megabytes > 0 ? static_cast<std::size_t>(megabytes) << 20 : kDefaultPoolLimit;
}

struct TpoolRegistry {
  TmtCriticalSection lock;
  TpoolAllocator** pools = nullptr;
  std::size_t count = 0;
  std::size_t capacity = 0;
};

TpoolRegistry& registry() {
  static TpoolRegistry* sRegistry = new TpoolRegistry();
  return *sRegistry;
}

}  // namespace

TpoolAllocator::TpoolAllocator(int blockBytes)
    : fBlockWords((static_cast<std::size_t>(blockBytes > 0 ? blockBytes : 1) + 7) / 8) {
  if (gPoolLimit.load(std::memory_order_acquire) == 0) {
    std::size_t expected = 0;
    gPoolLimit.compare_exchange_strong(expected, readPoolLimit());
  }
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  if (r.count == r.capacity) {
    const std::size_t grown = r.capacity + 64;
    auto* pools = static_cast<TpoolAllocator**>(std::realloc(r.pools, grown * sizeof(TpoolAllocator*)));
    if (pools == nullptr) throw std::bad_alloc();
    r.pools = pools;
    r.capacity = grown;
  }
  r.pools[r.count++] = this;
}

TpoolAllocator::~TpoolAllocator() {
  {
    TpoolRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    for (std::size_t i = 0; i < r.count; ++i) {
      if (r.pools[i] == this) {
        r.pools[i] = r.pools[--r.count];
        break;
      }
    }
  }
  cleanUpFreeList();
}

void* TpoolAllocator::mpAlloc() {
  {
    TmtScopedLock guard(fLock);
    if (fCount != 0) return fFreeList[--fCount];
  }
  return ::operator new(fBlockWords * 8);
}

void TpoolAllocator::mpFree(void* p) {
  if (p == nullptr) return;
  {
    TmtScopedLock guard(fLock);
    if (fCount < fCapacity) {
      fFreeList[fCount++] = p;
      return;
    }
    if (fBlockWords * 8 * fCapacity <= sPoolLimit()) {
      auto* grown = static_cast<void**>(std::realloc(fFreeList, (fCapacity + kGrowthStep) * sizeof(void*)));
      if (grown != nullptr) {
        fFreeList = grown;
        fCapacity += kGrowthStep;
        fFreeList[fCount++] = p;
        return;
      }
    }
  }
  ::operator delete(p);
}

void TpoolAllocator::cleanUpFreeList() {
  void** list = nullptr;
  std::size_t count = 0;
  {
    TmtScopedLock guard(fLock);
    list = fFreeList;
    count = fCount;
    fFreeList = nullptr;
    fCount = fCapacity = 0;
  }
  for (std::size_t i = 0; i < count; ++i) ::operator delete(list[i]);
  std::free(list);
}

std::size_t TpoolAllocator::cachedCount() const {
  TmtScopedLock guard(fLock);
  return fCount;
}

std::size_t TpoolAllocator::capacity() const {
  TmtScopedLock guard(fLock);
  return fCapacity;
}

void TpoolAllocator::resetAllPools() {
  TpoolRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  for (std::size_t i = 0; i < r.count; ++i) r.pools[i]->cleanUpFreeList();
}

std::size_t TpoolAllocator::sPoolLimit() {
  std::size_t limit = gPoolLimit.load(std::memory_order_relaxed);
  if (limit == 0) {
    limit = readPoolLimit();
    gPoolLimit.store(limit, std::memory_order_relaxed);
  }
  return limit;
}

void TpoolAllocator::sReloadPoolLimit() { gPoolLimit.store(readPoolLimit()); }
