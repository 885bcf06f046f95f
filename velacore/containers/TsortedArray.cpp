#include <velacore/containers/TsortedArray.h>

#include <utility>

TsortedArray::TsortedArray(std::uint32_t objectSize_, std::uint32_t increment,
                           bool allowDuplicates_)
    : TobjArray(objectSize_, increment), fAllowDuplicates(allowDuplicates_) {}

TsortedArray::~TsortedArray() = default;

void TsortedArray::swapFlags(TsortedArray& other) noexcept {
  std::swap(fAllowDuplicates, other.fAllowDuplicates);
}
