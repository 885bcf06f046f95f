#include <velacore/containers/TarrayBuffer.h>

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
