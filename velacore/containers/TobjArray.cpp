#include <velacore/containers/TobjArray.h>

#include <velacore/containers/internal/TarrayStorage.h>
#include <velacore/memory/TmappedMemory.h>

#include <cassert>
#include <cstring>
#include <utility>

namespace {

using namespace vela::containers_internal;

constexpr const char* kTag = "Object Arrays";

static_assert(TobjArray::kMappedBytes == kMappedBytes);

}  // namespace

TobjArray::TobjArray(std::uint32_t objectSize_, std::uint32_t incrementSize_)
    : TarrayBuffer(objectSize_, incrementSize_) {
  assert(objectSize_ > 0 && "an array element needs at least one byte");
}

TobjArray::~TobjArray() { freeBlock(theArray, std::size_t(actualUpperBound) * objectSize); }

void* TobjArray::sAllocateBlock(std::size_t bytes) { return allocateBlock(bytes, kTag); }

void TobjArray::sFreeBlock(void* block, std::size_t bytes) noexcept { freeBlock(block, bytes); }

// The untyped element operations treat elements as plain bytes.
void TobjArray::construct(std::uint32_t from, std::uint32_t to) {
  if (to > from) std::memset(address(from), 0, std::size_t(to - from) * objectSize);
}

void TobjArray::destruct(std::uint32_t /*from*/, std::uint32_t /*to*/) {}

void TobjArray::shuffle(std::uint32_t index, int direction, std::uint32_t count) {
  const std::uint32_t size = logicalUpperBound;
  if (direction == 1) {
    if (index + count < size)
      std::memmove(address(index + count), address(index),
                   std::size_t(size - count - index) * objectSize);
  } else if (index + count < size) {
    std::memmove(address(index), address(index + count),
                 std::size_t(size - index - count) * objectSize);
  }
}

void TobjArray::initialize(void* from, void* to, std::uint32_t count) {
  if (count != 0) std::memcpy(to, from, std::size_t(count) * objectSize);
}

void TobjArray::destroy(void* /*buffer*/, std::uint32_t /*count*/) {}

void TobjArray::relocate(void* from, void* to, std::uint32_t count) {
  initialize(from, to, count);
  destroy(from, count);
}

void TobjArray::reallocate(std::uint32_t capacity) {
  assert(capacity >= logicalUpperBound && "destroy surplus elements before shrinking");
  const std::size_t oldBytes = std::size_t(actualUpperBound) * objectSize;
  const std::size_t newBytes = std::size_t(capacity) * objectSize;
  if (theArray != nullptr && isMappedSize(oldBytes) && isMappedSize(newBytes) &&
      mmapGrow(theArray, newBytes)) {
    actualUpperBound = capacity;
    return;
  }
  void* fresh = allocateBlock(newBytes, kTag);
  if (logicalUpperBound != 0) {
    try {
      relocate(theArray, fresh, logicalUpperBound);
    } catch (...) {
      freeBlock(fresh, newBytes);
      throw;
    }
  }
  freeBlock(theArray, oldBytes);
  theArray = fresh;
  actualUpperBound = capacity;
}

int TobjArray::create(std::uint32_t size, std::uint32_t increment) {
  reset();
  incrementSize = increment;
  if (size == 0) return 0;
  allocateArray(size);
  logicalUpperBound = 0;
  changeLogicalSizeTo(size);
  return 0;
}

void TobjArray::allocateArray(std::uint32_t n) { allocateBuffer(n, kTag); }

void TobjArray::expandArray(std::uint32_t n) {
  const std::uint32_t capacity = capacityFor(n);
  if (capacity == 0) return;
  const bool regrow = theArray != nullptr;
  if (regrow)
    reallocate(capacity);
  else
    allocateArray(capacity);
  grownTo(n, regrow);
}

int TobjArray::insertElement(std::uint32_t index, std::uint32_t count) {
  const std::uint32_t size = logicalUpperBound;
  if (index > size) return -1;
  if (count == 0) return 0;
  if (std::uint64_t(size) + count > 0xFFFFFFFFu)
    throwOutOfMemory((std::uint64_t(size) + count) * objectSize);
  expandArray(size + count);
  try {
    construct(size, size + count);
  } catch (...) {
    logicalUpperBound = size;
    throw;
  }
  if (index < size) shuffle(index, 1, count);
  return 0;
}

int TobjArray::removeAt(std::uint32_t index, std::uint32_t count) {
  const std::uint32_t size = logicalUpperBound;
  if (index >= size || count == 0) return 0;
  if (count > size - index) count = size - index;
  if (index < size - count) shuffle(index, 0, count);
  destruct(size - count, size);
  logicalUpperBound = size - count;
  return 0;
}

int TobjArray::removeLast() {
  if (logicalUpperBound == 0) return -1;
  destruct(logicalUpperBound - 1, logicalUpperBound);
  --logicalUpperBound;
  return 0;
}

int TobjArray::changeLogicalSizeTo(std::uint32_t n) {
  const std::uint32_t size = logicalUpperBound;
  if (n > size) {
    expandArray(n);
    try {
      construct(size, n);
    } catch (...) {
      // construct() has destroyed what it built before passing the exception on.
      logicalUpperBound = size;
      throw;
    }
  } else if (n < size) {
    destruct(n, size);
    logicalUpperBound = n;
  }
  return 0;
}

int TobjArray::changeLogicalSizeBy(std::int64_t delta) {
  const std::int64_t n = std::int64_t(logicalUpperBound) + delta;
  if (n < 0 || n > 0xFFFFFFFFll) return -1;
  return changeLogicalSizeTo(static_cast<std::uint32_t>(n));
}

int TobjArray::changePhysicalSizeTo(std::uint32_t n) {
  if (n == actualUpperBound) return 0;
  if (n == 0) {
    reset();
    return 0;
  }
  if (n < logicalUpperBound) {
    destruct(n, logicalUpperBound);
    logicalUpperBound = n;
  }
  reallocate(n);
  return 0;
}

int TobjArray::pack() {
  if (actualUpperBound > logicalUpperBound) changePhysicalSizeTo(logicalUpperBound);
  return 0;
}

void TobjArray::reset() {
  resetLogicalSize();
  freeBlock(theArray, std::size_t(actualUpperBound) * objectSize);
  theArray = nullptr;
  actualUpperBound = 0;
}

void TobjArray::resetLogicalSize() {
  if (logicalUpperBound != 0) destruct(0, logicalUpperBound);
  logicalUpperBound = 0;
}

void TobjArray::swap(TobjArray& other) noexcept { swapBuffers(other); }

void TobjArray::setArray(void* buffer, std::uint32_t size, std::uint32_t capacity) {
  assert(size <= capacity && (buffer != nullptr || capacity == 0));
  if (buffer != theArray) reset();
  theArray = buffer;
  logicalUpperBound = size;
  actualUpperBound = capacity;
}

void TobjArray::copyElements(std::uint32_t start, const void* source, std::uint32_t count) {
  if (start > logicalUpperBound) start = logicalUpperBound;
  if (count == 0 && start == logicalUpperBound && start != 0) return;
  if (std::uint64_t(start) + count > 0xFFFFFFFFu)
    throwOutOfMemory((std::uint64_t(start) + count) * objectSize);
  const std::uint32_t total = start + count;
  if (total == 0) {
    reset();
    return;
  }
  // Build the whole new contents aside, so that a throwing copy leaves this array as it was
  // and a source inside this array stays readable until the end.
  const std::size_t newBytes = std::size_t(total) * objectSize;
  auto* fresh = static_cast<char*>(allocateBlock(newBytes, kTag));
  try {
    initialize(const_cast<void*>(source), fresh + std::size_t(start) * objectSize, count);
  } catch (...) {
    freeBlock(fresh, newBytes);
    throw;
  }
  if (start != 0) {
    try {
      relocate(theArray, fresh, start);
    } catch (...) {
      destroy(fresh + std::size_t(start) * objectSize, count);
      freeBlock(fresh, newBytes);
      throw;
    }
  }
  // The first `start` elements have moved; the rest (all of them for a copy) go.
  if (logicalUpperBound > start) destruct(start, logicalUpperBound);
  freeBlock(theArray, std::size_t(actualUpperBound) * objectSize);
  theArray = fresh;
  logicalUpperBound = actualUpperBound = total;
}

