// Tarray: the growable array of plain-byte elements under every typed value and pointer array.
//
// Elements are moved with block copies, so only trivially copyable types belong here (numbers,
// points, non-owning pointers); objects with constructors go into TobjArray. Use the typed
// templates (TvalueArray.h: TdoubleArray, Tint32Array, TvoidPtrArray, ...) rather than this
// untyped base:
//
//   TdoubleArray values;          // increment 8, no buffer yet
//   values.addLast(1.5);          // capacity 8
//   uint32_t at;
//   if (values.find(1.5, at) == 0) values.removeAt(at);
//
// Growth: the capacity grows by whole increments; the increment itself grows by a quarter each
// time the array outgrows four increments, so n appends cost O(log n) reallocations. Buffers of
// 64,512 bytes and more live in mapped memory, which grows in place without copying; smaller
// ones come from the runtime heap. One array moves between the two as it grows and shrinks.
//
// Hazards:
// - Not thread-safe: an array that one thread changes must not be touched by another at the
//   same time. Concurrent reads of an unchanging array are fine.
// - Element addresses (and begin()/end()) are invalidated by anything that may reallocate.
// - `copy` and `catenate` shrink the capacity to fit exactly; growth by insertion does not.
// - Sizes and positions are unsigned 32-bit; -1 (0xFFFFFFFF) means "nothing found".
// - Allocation failure throws TmemoryException and leaves the array as it was.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TarrayBuffer.h>

#include <cstddef>
#include <cstdint>

class VELACORE_API Tarray : public TarrayBuffer {
 public:
  /// Copies of at least this many bytes in copy/catenate use the parallel block move.
  static constexpr std::size_t kParallelCopyBytes = 15000;

  /// An empty array of `objectSize`-byte elements, without a buffer.
  Tarray(std::uint32_t objectSize, std::uint32_t incrementSize);
  /// A copy holding the same elements, with capacity equal to the size.
  Tarray(const Tarray& other);
  /// Takes over `other`'s buffer; `other` is left empty.
  Tarray(Tarray&& other) noexcept;
  /// Replaces the elements by a copy of `other`'s (same object size), capacity shrunk to fit.
  Tarray& operator=(const Tarray& other);
  /// Exchanges contents with `other` (same object size).
  Tarray& operator=(Tarray&& other) noexcept;
  virtual ~Tarray();

  /// @name Allocation (virtual in this order)
  /// @{
  /// Stores the increment and allocates exactly `size` elements; size and capacity become
  /// `size`. The old buffer is released first. Returns 0.
  virtual int create(std::uint32_t size, std::uint32_t increment);
  /// Sets the capacity to exactly `n` elements (0 frees the buffer); the size is cut to `n` if
  /// larger. Returns 0.
  virtual int changePhysicalSizeTo(std::uint32_t n);
  /// As create(), then every element is a byte copy of the `objectSize` bytes at `value`.
  virtual int createAndInitialise(const void* value, std::uint32_t size,
                                  std::uint32_t increment);
  /// Allocates a fresh buffer of `n` elements (null for 0) over the present one, which must be
  /// absent; size and capacity become `n`.
  virtual void allocateArray(std::uint32_t n);
  /// Makes the size `n`, growing the capacity by the growth rule when it is too small.
  virtual void expandArray(std::uint32_t n);
  /// @}

  /// @name Element operations (status 0 on success)
  /// @{
  /// Inserts `count` elements copied from `source` before position `index` (index == size
  /// appends). `source` may point into this array. Returns -1 (nothing changed) when `index` is
  /// past the end.
  int insertElement(const void* source, std::uint32_t index, std::uint32_t count = 1);
  /// Removes up to `count` elements from `index` on; past the end removes nothing. Returns 0.
  int removeAt(std::uint32_t index, std::uint32_t count = 1);
  /// Removes the last element; returns -1 when the array is empty.
  int removeLast();
  /// Removes the first element bytewise equal to `source`; returns 0 or kNotFound.
  int removeElement(const void* source);
  /// Finds the first element bytewise equal to `source` (doubles compare by bits: 0.0 and -0.0
  /// differ, a NaN is found). Returns 0 with its position, or kNotFound with `index` = size.
  [[nodiscard]] int findElement(const void* source, std::uint32_t& index) const;
  /// Makes the array hold exactly `start + count` elements (capacity too): the first `start`
  /// stay, `count` more are copied from `source`. Used by copy (start 0) and catenate (start =
  /// size). A `count` of 0 with `start` = size changes nothing.
  int copyElements(std::uint32_t start, const void* source, std::uint32_t count);
  /// @}

  /// @name Size and capacity
  /// @{
  /// Sets the size; 0 keeps the buffer, growth follows the growth rule. New elements hold
  /// whatever bytes the buffer had. Returns 0.
  int changeLogicalSizeTo(std::uint32_t n);
  /// Changes the size by `delta`; returns -1 (nothing changed) if it would leave 0..2^32-1.
  int changeLogicalSizeBy(std::int64_t delta);
  /// Shrinks the capacity to the size. Returns 0.
  int pack();
  /// Frees the buffer: size and capacity become 0, the increment stays.
  void reset();
  /// Exchanges buffers, sizes, capacities and increments (not object sizes) with `other`.
  void swap(Tarray& other) noexcept;
  /// Adopts `buffer` (from sAllocateBlock(objectSize * capacity), or null with capacity 0)
  /// holding `size` elements; the old buffer is freed.
  void setArray(void* buffer, std::uint32_t size, std::uint32_t capacity);
  /// @}


  /// A block of `bytes` of the kind an array uses for that size (mapped or heap), tagged
  /// "Arrays"; null for 0. Throws TmemoryException when refused.
  [[nodiscard]] static void* sAllocateBlock(std::size_t bytes);
  /// Frees a block from sAllocateBlock of that byte size.
  static void sFreeBlock(void* block, std::size_t bytes) noexcept;

 protected:
  /// Appends one element when the capacity is used up (the slow half of the typed addLast).
  void addLastSlow(const void* source);

 private:
  // Resizes the buffer to exactly `capacity` elements, keeping the contents; throws
  // TmemoryException with the array untouched.
  void reallocate(std::uint32_t capacity);
};
