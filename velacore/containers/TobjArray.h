// TobjArray: the growable array of objects, the untyped base of every object array.
//
// Unlike Tarray, elements are objects with constructors, assignment and destructors: the base
// keeps the buffer and the growth rule, and moves elements only through five virtual element
// operations that a typed subclass overrides (construct, destruct, shuffle, initialize,
// destroy). Use TtypedObjArray<T> (TtypedObjArray.h) rather than this class:
//
//   TtypedObjArray<Tstring> names;    // TstringArray
//   names.addLast(Tstring("a"));
//   names.insert(Tstring("b"), 0);
//
// Used on its own, the base treats elements as plain bytes (zero-filled on construction).
//
// Hazards:
// - A subclass's destructor must call reset() itself: the base's destructor can no longer reach
//   the subclass's destruct(), so it only frees the buffer.
// - Growth reallocates: element addresses are invalidated, and elements are copied (moved when
//   that cannot throw) into the new buffer unless a mapped buffer grows in place.
// - Not thread-safe for concurrent changes; concurrent reads of an unchanging array are fine.
// - Allocation failure throws TmemoryException and leaves the array as it was. An exception from
//   an element constructor during growth is passed on with the array at its old size.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TarrayBuffer.h>

#include <cstddef>
#include <cstdint>

class VELACORE_API TobjArray : public TarrayBuffer {
 public:
  /// An empty array of `objectSize`-byte elements (at most 16-byte aligned), without a buffer.
  TobjArray(std::uint32_t objectSize, std::uint32_t incrementSize);
  TobjArray(const TobjArray&) = delete;
  TobjArray& operator=(const TobjArray&) = delete;
  /// Frees the buffer. Subclasses must have destroyed their elements (reset()) before.
  virtual ~TobjArray();

  /// @name Allocation and element operations (virtual in this order)
  /// @{
  /// Destroys all elements, then allocates exactly `size` default-constructed elements with the
  /// given increment. Returns 0.
  virtual int create(std::uint32_t size, std::uint32_t increment);
  /// Default-constructs the elements in [from, to).
  virtual void construct(std::uint32_t from, std::uint32_t to);
  /// Destroys the elements in [from, to).
  virtual void destruct(std::uint32_t from, std::uint32_t to);
  /// Direction 1: moves the elements from `index` to the end up by `count` places (last first;
  /// the last `count` places must exist). Direction 0: moves the elements behind the gap
  /// [index, index + count) down over it (first first). By assignment.
  virtual void shuffle(std::uint32_t index, int direction, std::uint32_t count);
  /// Constructs `count` elements in `to` from those of the old buffer `from`.
  virtual void initialize(void* from, void* to, std::uint32_t count);
  /// Destroys `count` elements of an old buffer.
  virtual void destroy(void* buffer, std::uint32_t count);
  /// Allocates a fresh buffer of `n` places (null for 0) over the present one, which must be
  /// absent; size and capacity become `n`. Constructs nothing.
  virtual void allocateArray(std::uint32_t n);
  /// Makes the size `n`, growing the capacity by the growth rule when it is too small. Neither
  /// constructs nor destroys the places between the old and the new size.
  virtual void expandArray(std::uint32_t n);
  /// Carries `count` elements from an old buffer into a new one; afterwards the old places hold
  /// no live elements. By default initialize() then destroy(); typed arrays move instead when
  /// their elements cannot throw while moving. On a throw the old elements are intact.
  virtual void relocate(void* from, void* to, std::uint32_t count);
  /// @}

  /// @name Changes (status 0 on success)
  /// @{
  /// Opens `count` places before `index` (index == size appends); the places in the gap hold
  /// valid elements that the caller overwrites. Returns -1 (nothing changed) past the end.
  int insertElement(std::uint32_t index, std::uint32_t count = 1);
  /// Removes up to `count` elements from `index` on; past the end removes nothing. Returns 0.
  int removeAt(std::uint32_t index, std::uint32_t count = 1);
  /// Removes the last element; returns -1 when the array is empty.
  int removeLast();
  /// Sets the size, default-constructing new elements or destroying surplus ones. Returns 0.
  int changeLogicalSizeTo(std::uint32_t n);
  /// Changes the size by `delta`; returns -1 (nothing changed) if it would leave 0..2^32-1.
  int changeLogicalSizeBy(std::int64_t delta);
  /// Sets the capacity to exactly `n` (0 frees the buffer), destroying elements past `n`.
  int changePhysicalSizeTo(std::uint32_t n);
  /// Shrinks the capacity to the size. Returns 0.
  int pack();
  /// Destroys every element and frees the buffer; the increment stays.
  void reset();
  /// Destroys every element and keeps the buffer.
  void resetLogicalSize();
  /// Exchanges buffers, sizes, capacities and increments (not object sizes) with `other`.
  void swap(TobjArray& other) noexcept;
  /// Adopts `buffer` (from sAllocateBlock(objectSize * capacity), or null with capacity 0)
  /// whose first `size` places hold constructed elements; the old elements and buffer go.
  void setArray(void* buffer, std::uint32_t size, std::uint32_t capacity);
  /// @}


  /// A block of `bytes` of the kind an object array uses for that size, tagged
  /// "Object Arrays"; null for 0. Throws TmemoryException when refused.
  [[nodiscard]] static void* sAllocateBlock(std::size_t bytes);
  /// Frees a block from sAllocateBlock of that byte size.
  static void sFreeBlock(void* block, std::size_t bytes) noexcept;

 protected:
  /// Replaces the contents by copies of `count` elements at `source` (another array's elements
  /// of the same type, or this array's own), with capacity `start + count`: the first `start`
  /// elements stay. Strong guarantee when an element copy throws.
  void copyElements(std::uint32_t start, const void* source, std::uint32_t count);

 private:
  // Resizes the buffer to exactly `capacity` places (not below the size), keeping the
  // elements; throws with the array untouched.
  void reallocate(std::uint32_t capacity);
};
