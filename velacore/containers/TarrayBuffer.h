// TarrayBuffer: the buffer, sizes and growth step shared by Tarray and TobjArray.
//
// Both array bases keep the same five fields (the memory-footprint report names them) and answer
// the same queries about them; they differ only in how elements are moved. This class holds that
// common part so that each base keeps only its own element handling. It is not used on its own:
// its constructor and destructor are protected, and it frees nothing (the derived base owns the
// buffer and knows how to release its elements).
#pragma once

#include <velacore/base/Tfootprint.h>
#include <velacore/base/TvelacoreApi.h>

#include <cstddef>
#include <cstdint>

class VELACORE_API TarrayBuffer {
 public:
  /// Blocks of at least this many bytes come from mapped memory, smaller ones from the heap.
  static constexpr std::size_t kMappedBytes = 64512;
  /// The increment every typed array's default constructor passes.
  static constexpr std::uint32_t kDefaultIncrement = 8;
  /// Status of the finds and removals when no element matches.
  static constexpr int kNotFound = 150;
  /// The position that searches return when nothing is found.
  static constexpr std::uint32_t kNoIndex = 0xFFFFFFFFu;

  /// @name Queries
  /// @{
  /// The element buffer (null when nothing is allocated).
  [[nodiscard]] void* buffer() { return theArray; }
  [[nodiscard]] const void* buffer() const { return theArray; }
  /// The address of element `index` (unchecked).
  [[nodiscard]] void* address(std::uint32_t index) {
    return static_cast<char*>(theArray) + std::size_t(index) * objectSize;
  }
  [[nodiscard]] const void* address(std::uint32_t index) const {
    return static_cast<const char*>(theArray) + std::size_t(index) * objectSize;
  }
  /// The number of elements in use.
  [[nodiscard]] std::uint32_t length() const { return logicalUpperBound; }
  [[nodiscard]] bool isEmpty() const { return logicalUpperBound == 0; }
  /// Whether a buffer is allocated.
  [[nodiscard]] bool isCreated() const { return theArray != nullptr; }
  /// The number of elements allocated.
  [[nodiscard]] std::uint32_t physicalSize() const { return actualUpperBound; }
  [[nodiscard]] std::uint32_t sizeIncrement() const { return incrementSize; }
  void setSizeIncrement(std::uint32_t increment) { incrementSize = increment; }
  /// Bytes per element.
  [[nodiscard]] std::uint32_t elementSize() const { return objectSize; }
  /// Whether the buffer lives in mapped memory (else in the heap, or there is none).
  [[nodiscard]] bool usesMappedMemory() const {
    return std::size_t(actualUpperBound) * objectSize >= kMappedBytes;
  }
  /// Reports the fixed fields and the buffer's capacity in bytes (not what elements own).
  void footprint(Footprint& fp) const;
  /// @}

 protected:
  TarrayBuffer(std::uint32_t objectSize_, std::uint32_t incrementSize_)
      : objectSize(objectSize_), incrementSize(incrementSize_) {}
  TarrayBuffer(const TarrayBuffer&) = default;
  TarrayBuffer& operator=(const TarrayBuffer&) = default;
  ~TarrayBuffer() = default;

  /// Exchanges buffers, sizes, capacities and increments (not object sizes) with `other`.
  void swapBuffers(TarrayBuffer& other) noexcept;

  /// Takes a fresh buffer of `n` elements into an array that has none, all counted as used;
  /// `tag` names the allocation.
  void allocateBuffer(std::uint32_t n, const char* tag);
  /// The first half of growing to `n` elements: 0 when they fit (the logical size is then `n`),
  /// else the capacity the growth rule gives. The caller allocates or regrows to that capacity
  /// and then calls `grownTo`.
  [[nodiscard]] std::uint32_t capacityFor(std::uint32_t n);
  /// The second half: `n` becomes the logical size, and a buffer that was regrown (rather than
  /// allocated first) raises the increment.
  void grownTo(std::uint32_t n, bool regrown);

  void* theArray = nullptr;
  std::uint32_t objectSize;
  std::uint32_t logicalUpperBound = 0;
  std::uint32_t actualUpperBound = 0;
  std::uint32_t incrementSize;
};
