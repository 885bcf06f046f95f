#include <velacore/containers/Tarray.h>

#include <velacore/base/Texception.h>
#include <velacore/base/TstringCatalog.h>
#include <velacore/containers/internal/TarrayStorage.h>
#include <velacore/memory/TmappedMemory.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace vela::containers_internal {

std::uint32_t grownCapacity(std::uint32_t capacity, std::uint32_t increment, std::uint32_t n) {
  const std::uint64_t step = increment == 0 ? 1 : increment;
  std::uint64_t next;
  if (step < n) {
    const std::uint64_t shortfall = std::uint64_t(n) - capacity;
    next = capacity + (shortfall + step - 1) / step * step;
  } else {
    next = std::uint64_t(capacity) + step;
  }
  return next > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(next);
}

std::uint32_t grownIncrement(std::uint32_t increment, std::uint32_t n) {
  if (increment < 2147483647u && n / 4.0 > increment)
    return static_cast<std::uint32_t>(increment * 1.25) + 1;
  return increment;
}

void throwOutOfMemory(std::size_t bytes) {
  static constexpr TstringId kOutOfMemory{"s_TcoreStrings.rOutOfMemory"};
  char text[200];
  std::snprintf(text, sizeof text, "%s (array buffer of %zu bytes)",
                TstringCatalog::sText(kOutOfMemory), bytes);
  throw TmemoryException(text);
}

void* allocateBlock(std::size_t bytes, const char* tag) {
  if (bytes == 0) return nullptr;
  void* block = isMappedSize(bytes) ? mmapAlloc(bytes, tag) : std::malloc(bytes);
  if (block == nullptr) throwOutOfMemory(bytes);
  return block;
}

void freeBlock(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) return;
  if (isMappedSize(bytes))
    mmapFree(block);
  else
    std::free(block);
}

void copyBytes(void* destination, const void* source, std::size_t bytes) {
  if (bytes == 0 || destination == source) return;
  if (bytes >= Tarray::kParallelCopyBytes)
    memmove_mp(destination, source, bytes);
  else
    std::memmove(destination, source, bytes);
}

}  // namespace vela::containers_internal

namespace {

using namespace vela::containers_internal;

constexpr const char* kTag = "Arrays";

static_assert(Tarray::kMappedBytes == kMappedBytes);

// Whether [source, source + bytes) overlaps the block [begin, begin + blockBytes).
bool overlaps(const void* source, std::size_t bytes, const void* begin, std::size_t blockBytes) {
  const auto s = reinterpret_cast<std::uintptr_t>(source);
  const auto b = reinterpret_cast<std::uintptr_t>(begin);
  return begin != nullptr && s < b + blockBytes && b < s + bytes;
}

// A heap copy of bytes that would not survive the array's own reallocation or moves.
struct TtempCopy {
  explicit TtempCopy(const void* source, std::size_t bytes) {
    data = std::malloc(bytes == 0 ? 1 : bytes);
    if (data == nullptr) throwOutOfMemory(bytes);
    std::memcpy(data, source, bytes);
  }
  ~TtempCopy() { std::free(data); }
  TtempCopy(const TtempCopy&) = delete;
  TtempCopy& operator=(const TtempCopy&) = delete;
  void* data;
};

// Stores one element; the common sizes by direct assignment.
inline void storeOne(void* destination, const void* source, std::uint32_t objectSize) {
  switch (objectSize) {
    case 1: *static_cast<std::uint8_t*>(destination) = *static_cast<const std::uint8_t*>(source);
      break;
    case 4: std::memcpy(destination, source, 4); break;
    case 8: std::memcpy(destination, source, 8); break;
    default: std::memcpy(destination, source, objectSize); break;
  }
}

}  // namespace

Tarray::Tarray(std::uint32_t objectSize_, std::uint32_t incrementSize_)
    : TarrayBuffer(objectSize_, incrementSize_) {
  assert(objectSize_ > 0 && "an array element needs at least one byte");
}

Tarray::Tarray(const Tarray& other) : TarrayBuffer(other.objectSize, other.incrementSize) {
  if (other.logicalUpperBound != 0) copyElements(0, other.theArray, other.logicalUpperBound);
}

Tarray::Tarray(Tarray&& other) noexcept : TarrayBuffer(other.objectSize, other.incrementSize) {
  swapBuffers(other);
}

Tarray& Tarray::operator=(const Tarray& other) {
  assert(objectSize == other.objectSize && "arrays of different element sizes");
  if (this != &other) copyElements(0, other.theArray, other.logicalUpperBound);
  return *this;
}

Tarray& Tarray::operator=(Tarray&& other) noexcept {
  assert(objectSize == other.objectSize && "arrays of different element sizes");
  swap(other);
  return *this;
}

Tarray::~Tarray() { freeBlock(theArray, std::size_t(actualUpperBound) * objectSize); }

void* Tarray::sAllocateBlock(std::size_t bytes) { return allocateBlock(bytes, kTag); }

void Tarray::sFreeBlock(void* block, std::size_t bytes) noexcept { freeBlock(block, bytes); }

void Tarray::reallocate(std::uint32_t capacity) {
  const std::size_t oldBytes = std::size_t(actualUpperBound) * objectSize;
  const std::size_t newBytes = std::size_t(capacity) * objectSize;
  void* block = theArray;
  if (block == nullptr || oldBytes == 0) {
    block = allocateBlock(newBytes, kTag);
  } else if (newBytes == 0) {
    freeBlock(block, oldBytes);
    block = nullptr;
  } else if (!isMappedSize(oldBytes) && !isMappedSize(newBytes)) {
    block = std::realloc(block, newBytes);
    if (block == nullptr) throwOutOfMemory(newBytes);
  } else if (!isMappedSize(oldBytes) || !isMappedSize(newBytes)) {
    // Crossing the threshold: a block of the other kind, then the old one goes.
    void* fresh = allocateBlock(newBytes, kTag);
    std::memcpy(fresh, block, oldBytes < newBytes ? oldBytes : newBytes);
    freeBlock(block, oldBytes);
    block = fresh;
  } else if (!mmapGrow(block, newBytes)) {
    block = mmapRealloc(block, newBytes, kTag);
    if (block == nullptr) throwOutOfMemory(newBytes);
  }
  theArray = block;
  actualUpperBound = capacity;
  if (logicalUpperBound > capacity) logicalUpperBound = capacity;
}

int Tarray::create(std::uint32_t size, std::uint32_t increment) {
  void* block = allocateBlock(std::size_t(size) * objectSize, kTag);
  freeBlock(theArray, std::size_t(actualUpperBound) * objectSize);
  theArray = block;
  logicalUpperBound = actualUpperBound = size;
  incrementSize = increment;
  return 0;
}

int Tarray::changePhysicalSizeTo(std::uint32_t n) {
  if (n == actualUpperBound) return 0;
  reallocate(n);
  return 0;
}

int Tarray::createAndInitialise(const void* value, std::uint32_t size,
                                std::uint32_t increment) {
  create(size, increment);
  auto* p = static_cast<char*>(theArray);
  for (std::uint32_t i = 0; i < size; ++i, p += objectSize) storeOne(p, value, objectSize);
  return 0;
}

void Tarray::allocateArray(std::uint32_t n) { allocateBuffer(n, kTag); }

void Tarray::expandArray(std::uint32_t n) {
  const std::uint32_t capacity = capacityFor(n);
  if (capacity == 0) return;
  const bool regrow = theArray != nullptr;
  if (regrow)
    reallocate(capacity);
  else
    allocateArray(capacity);
  grownTo(n, regrow);
}

int Tarray::insertElement(const void* source, std::uint32_t index, std::uint32_t count) {
  const std::uint32_t size = logicalUpperBound;
  if (index > size) return -1;
  if (count == 0) return 0;
  if (index == size && count == 1 && size < actualUpperBound) {
    storeOne(address(size), source, objectSize);
    logicalUpperBound = size + 1;
    return 0;
  }
  if (std::uint64_t(size) + count > 0xFFFFFFFFu)
    throwOutOfMemory((std::uint64_t(size) + count) * objectSize);
  const std::size_t bytes = std::size_t(count) * objectSize;
  // A source inside this array would move with the reallocation or the shift below.
  std::unique_ptr<TtempCopy> temp;
  if (overlaps(source, bytes, theArray, std::size_t(actualUpperBound) * objectSize)) {
    temp = std::make_unique<TtempCopy>(source, bytes);
    source = temp->data;
  }
  expandArray(size + count);
  if (index < size)
    std::memmove(address(index + count), address(index), std::size_t(size - index) * objectSize);
  if (count == 1)
    storeOne(address(index), source, objectSize);
  else
    std::memcpy(address(index), source, bytes);
  return 0;
}

void Tarray::addLastSlow(const void* source) { insertElement(source, logicalUpperBound, 1); }

int Tarray::removeAt(std::uint32_t index, std::uint32_t count) {
  const std::uint32_t size = logicalUpperBound;
  if (index >= size || count == 0) return 0;
  if (count > size - index) count = size - index;
  if (index + count < size)
    std::memmove(address(index), address(index + count),
                 std::size_t(size - index - count) * objectSize);
  logicalUpperBound = size - count;
  return 0;
}

int Tarray::removeLast() {
  if (logicalUpperBound == 0) return -1;
  --logicalUpperBound;
  return 0;
}

int Tarray::removeElement(const void* source) {
  std::uint32_t index = 0;
  if (findElement(source, index) != 0) return kNotFound;
  return removeAt(index, 1);
}

int Tarray::findElement(const void* source, std::uint32_t& index) const {
  const std::uint32_t size = logicalUpperBound;
  const auto* p = static_cast<const char*>(theArray);
  if (objectSize == 8) {
    std::uint64_t wanted;
    std::memcpy(&wanted, source, 8);
    for (std::uint32_t i = 0; i < size; ++i) {
      std::uint64_t word;
      std::memcpy(&word, p + std::size_t(i) * 8, 8);
      if (word == wanted) {
        index = i;
        return 0;
      }
    }
  } else {
    for (std::uint32_t i = 0; i < size; ++i, p += objectSize) {
      if (std::memcmp(p, source, objectSize) == 0) {
        index = i;
        return 0;
      }
    }
  }
  index = size;
  return kNotFound;
}

int Tarray::copyElements(std::uint32_t start, const void* source, std::uint32_t count) {
  if (count == 0 && start == logicalUpperBound && start != 0) return 0;
  if (start > logicalUpperBound) start = logicalUpperBound;
  if (std::uint64_t(start) + count > 0xFFFFFFFFu)
    throwOutOfMemory((std::uint64_t(start) + count) * objectSize);
  const std::size_t bytes = std::size_t(count) * objectSize;
  std::unique_ptr<TtempCopy> temp;
  if (overlaps(source, bytes, theArray, std::size_t(actualUpperBound) * objectSize)) {
    temp = std::make_unique<TtempCopy>(source, bytes);
    source = temp->data;
  }
  const std::uint32_t total = start + count;
  if (total != actualUpperBound) reallocate(total);
  logicalUpperBound = total;
  copyBytes(address(start), source, bytes);
  return 0;
}

int Tarray::changeLogicalSizeTo(std::uint32_t n) {
  if (n == 0)
    logicalUpperBound = 0;
  else
    expandArray(n);
  return 0;
}

int Tarray::changeLogicalSizeBy(std::int64_t delta) {
  const std::int64_t n = std::int64_t(logicalUpperBound) + delta;
  if (n < 0 || n > 0xFFFFFFFFll) return -1;
  return changeLogicalSizeTo(static_cast<std::uint32_t>(n));
}

int Tarray::pack() {
  if (actualUpperBound > logicalUpperBound) reallocate(logicalUpperBound);
  return 0;
}

void Tarray::reset() {
  freeBlock(theArray, std::size_t(actualUpperBound) * objectSize);
  theArray = nullptr;
  logicalUpperBound = actualUpperBound = 0;
}

void Tarray::swap(Tarray& other) noexcept { swapBuffers(other); }

void Tarray::setArray(void* buffer, std::uint32_t size, std::uint32_t capacity) {
  assert(size <= capacity && (buffer != nullptr || capacity == 0));
  if (buffer != theArray) freeBlock(theArray, std::size_t(actualUpperBound) * objectSize);
  theArray = buffer;
  logicalUpperBound = size;
  actualUpperBound = capacity;
}

