#include <velacore/memory/TpoolManager.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

TpoolData::TpoolData(std::size_t bytes) { resize(bytes); }

TpoolData::~TpoolData() = default;

void TpoolData::resize(std::size_t bytes) {
  fBytes.create(static_cast<std::uint32_t>(bytes), 0);
  if (bytes != 0) std::memset(fBytes.data(), 0, bytes);
}

TpoolManager::TpoolManager() = default;

TpoolManager::~TpoolManager() { destroy(); }

namespace {

// elementCount x elementSize, or false when either is negative or the product overflows.
bool bufferBytes(int elementCount, int elementSize, std::size_t& bytes) {
  if (elementCount < 0 || elementSize < 0) return false;
  const auto product = static_cast<std::uint64_t>(elementCount) * static_cast<std::uint64_t>(elementSize);
  if (product > UINT32_MAX) return false;  // the byte arrays hold at most 2^32 - 1 bytes
  bytes = static_cast<std::size_t>(product);
  return true;
}

}  // namespace

bool TpoolManager::create(int count, int elementCount, int elementSize) {
  TmtScopedLock guard(fMutex);
  std::size_t bytes = 0;
  if (count <= 0 || !bufferBytes(elementCount, elementSize, bytes)) return false;
  if (fCount > 0 && bytes != fSize) {
    // All buffers of a manager have one size: new ones take the size asked for now.
    if (!fInUse.empty()) return false;
    for (TpoolData* d : fAvailable) d->resize(bytes);
  }
  for (int i = 0; i < count; ++i) fAvailable.push_back(new TpoolData(bytes));
  fCount += count;
  fSize = bytes;
  return true;
}

void TpoolManager::destroy() {
  TmtScopedLock guard(fMutex);
  for (TpoolData* d : fAvailable) delete d;
  for (TpoolData* d : fInUse) delete d;
  fAvailable.clear();
  fInUse.clear();
  fCount = 0;
}

bool TpoolManager::changeSize(int elementCount, int elementSize) {
  TmtScopedLock guard(fMutex);
  std::size_t bytes = 0;
  if (!fInUse.empty() || !bufferBytes(elementCount, elementSize, bytes)) return false;
  for (TpoolData* d : fAvailable) d->resize(bytes);
  fSize = bytes;
  return true;
}

void* TpoolManager::getPool(int& sizeOut) {
  TmtScopedLock guard(fMutex);
  if (fAvailable.empty()) return nullptr;
  TpoolData* d = fAvailable.front();
  fAvailable.pop_front();
  fInUse.push_back(d);
  d->setInUse(true);
  sizeOut = static_cast<int>(std::min<std::size_t>(d->size(), INT32_MAX));
  return d->data();
}

bool TpoolManager::releasePool(void* p) {
  TmtScopedLock guard(fMutex);
  auto it = std::find_if(fInUse.begin(), fInUse.end(), [p](TpoolData* d) { return d->data() == p; });
  if (p == nullptr || it == fInUse.end()) return false;
  TpoolData* d = *it;
  fInUse.erase(it);
  d->setInUse(false);
  fAvailable.push_back(d);
  return true;
}

TpoolData* TpoolManager::getOldestInUsePool() {
  TmtScopedLock guard(fMutex);
  return fInUse.empty() ? nullptr : fInUse.front();
}

TpoolData* TpoolManager::getNewestInUsePool(bool) {
  TmtScopedLock guard(fMutex);
  return fInUse.empty() ? nullptr : fInUse.back();
}

std::size_t TpoolManager::size() const {
  TmtScopedLock guard(fMutex);
  return fSize;
}

int TpoolManager::count() const {
  TmtScopedLock guard(fMutex);
  return fCount;
}

int TpoolManager::availableCount() const {
  TmtScopedLock guard(fMutex);
  return static_cast<int>(fAvailable.size());
}

int TpoolManager::inUseCount() const {
  TmtScopedLock guard(fMutex);
  return static_cast<int>(fInUse.size());
}
