#include <velacore/containers/TarrayBuffer.h>

#include <velacore/containers/internal/TarrayStorage.h>

#include <cassert>
#include <utility>

void TarrayBuffer::footprint(Footprint& fp) const {
  fp.addField("theArray", sizeof theArray);
  fp.addField("objectSize", sizeof objectSize);
  fp.addField("logicalUpperBound", sizeof logicalUpperBound);
  fp.addField("actualUpperBound", sizeof actualUpperBound);
  fp.addField("incrementSize", sizeof incrementSize);
  fp.addReferenced(std::size_t(objectSize) * actualUpperBound);
}

void TarrayBuffer::swapBuffers(TarrayBuffer& other) noexcept {
  assert(objectSize == other.objectSize && "arrays of different element sizes");
  std::swap(theArray, other.theArray);
  std::swap(logicalUpperBound, other.logicalUpperBound);
  std::swap(actualUpperBound, other.actualUpperBound);
  std::swap(incrementSize, other.incrementSize);
}

void TarrayBuffer::allocateBuffer(std::uint32_t n, const char* tag) {
  assert(theArray == nullptr && "allocateArray over a live buffer");
  theArray = vela::containers_internal::allocateBlock(std::size_t(n) * objectSize, tag);
  logicalUpperBound = actualUpperBound = n;
}

std::uint32_t TarrayBuffer::capacityFor(std::uint32_t n) {
  if (n <= actualUpperBound) {
    logicalUpperBound = n;
    return 0;
  }
  return vela::containers_internal::grownCapacity(actualUpperBound, incrementSize, n);
}

void TarrayBuffer::grownTo(std::uint32_t n, bool regrown) {
  logicalUpperBound = n;
  if (regrown) incrementSize = vela::containers_internal::grownIncrement(incrementSize, n);
}
