// TvalueArray<T>: the typed value and pointer arrays (TdoubleArray, Tint32Array, TvoidPtrArray,
// TdoubleArrayPtrArray, ...), one template over the byte-moving base Tarray.
//
// Only trivially copyable element types belong here; objects with constructors go into
// TtypedObjArray. Pointer arrays do not own what they point to.
//
//   TdoubleArray xs;                      // increment 8
//   xs.addLast(2.0);
//   xs.insert(1.0, 0);                    // {1, 2}
//   xs.catenate(ys, 0, ys.size());        // capacity now fits exactly
//   for (double x : xs) total += x;
//   if (xs.find(-0.0) == TdoubleArray::kNoIndex) ...   // bitwise: 0.0 is not -0.0
//
// Hazards:
// - operator[] and last() are unchecked.
// - find and remove compare bit patterns, not with ==: -0.0 differs from 0.0, NaN equals an
//   identical NaN, and padding bytes of structures take part.
// - copy/catenate shrink the capacity to fit; reserve again (changePhysicalSizeTo) before a
//   run of appends if that matters.
// - Other hazards as for Tarray (not thread-safe for changes, invalidation on growth).
// Types that later areas define (points, matrices, time values) declare their aliases beside
// those types with this same template.
#pragma once

#include <velacore/containers/Tarray.h>
#include <velacore/containers/detail/TtypedArrayAccess.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

class Ttrigger;

template <class T>
class TvalueArray : public vela::containers_internal::TtypedArrayAccess<Tarray, T> {
  using Access = vela::containers_internal::TtypedArrayAccess<Tarray, T>;

  static_assert(std::is_trivially_copyable_v<T>,
                "TvalueArray moves elements as bytes; use TtypedObjArray for objects");
  static_assert(alignof(T) <= 16, "array buffers are 16-byte aligned");

 public:
  /// An empty array growing by `increment` elements.
  explicit TvalueArray(std::uint32_t increment = Tarray::kDefaultIncrement)
      : Access(sizeof(T), increment) {}
  TvalueArray(const TvalueArray&) = default;
  TvalueArray(TvalueArray&&) noexcept = default;
  TvalueArray& operator=(const TvalueArray&) = default;
  TvalueArray& operator=(TvalueArray&&) noexcept = default;
  ~TvalueArray() override = default;

  /// @name Building
  /// @{
  /// Replaces the contents by `size` copies of `value` (capacity exactly `size`).
  void createAndSet(const T& value, std::uint32_t size,
                    std::uint32_t increment = Tarray::kDefaultIncrement) {
    const T copy = value;
    this->createAndInitialise(&copy, size, increment);
  }
  /// Appends `value` (which may be an element of this array).
  void addLast(const T& value) {
    if (this->logicalUpperBound < this->actualUpperBound) {
      this->data()[this->logicalUpperBound] = value;
      ++this->logicalUpperBound;
    } else {
      this->addLastSlow(&value);
    }
  }
  /// Appends `count` elements from `values`.
  void addLast(const T* values, std::uint32_t count) {
    this->insertElement(values, this->logicalUpperBound, count);
  }
  /// Inserts `value` before position `index`; returns -1 (nothing changed) past the end.
  int insert(const T& value, std::uint32_t index) {
    const T copy = value;
    return this->insertElement(&copy, index, 1);
  }
  /// Inserts `count` elements from `values` before position `index`; -1 past the end.
  int insert(const T* values, std::uint32_t count, std::uint32_t index) {
    return this->insertElement(values, index, count);
  }
  /// @}

  /// @name Searching (bitwise equality)
  /// @{
  /// The position of the first element equal to `value`, or kNoIndex.
  [[nodiscard]] std::uint32_t find(const T& value) const {
    const T* p = this->data();
    const std::uint32_t n = this->logicalUpperBound;
    std::uint32_t i = 0;
    // Four at a time without early exits inside the group: fewer branches per element.
    for (; i + 4 <= n; i += 4) {
      const int hit = int(sameBits(p[i], value)) | int(sameBits(p[i + 1], value)) |
                      int(sameBits(p[i + 2], value)) | int(sameBits(p[i + 3], value));
      if (hit != 0) break;
    }
    for (; i < n; ++i)
      if (sameBits(p[i], value)) return i;
    return Tarray::kNoIndex;
  }
  /// Finds the first element equal to `value`: 0 with its position, or kNotFound with `index`
  /// set to the size.
  [[nodiscard]] int find(const T& value, std::uint32_t& index) const {
    index = find(value);
    if (index != Tarray::kNoIndex) return 0;
    index = this->logicalUpperBound;
    return Tarray::kNotFound;
  }
  /// Removes the first element equal to `value`; returns 0 or kNotFound.
  int remove(const T& value) {
    const std::uint32_t at = find(value);
    return at == Tarray::kNoIndex ? Tarray::kNotFound : this->removeAt(at);
  }
  /// @}

  /// @name Copying (the capacity becomes exactly the resulting size)
  /// @{
  /// Makes this array a copy of `source`.
  void copy(const TvalueArray& source) { this->copyElements(0, source.data(), source.size()); }
  /// Makes this array a copy of up to `count` elements of `source` from `start` on.
  void copy(const TvalueArray& source, std::uint32_t start, std::uint32_t count) {
    this->clip(source, start, count);
    this->copyElements(0, source.data() + start, count);
  }
  /// Makes this array a copy of `count` elements at `values`.
  void copy(const T* values, std::uint32_t count) { this->copyElements(0, values, count); }
  /// Appends all of `source`.
  void catenate(const TvalueArray& source) {
    this->copyElements(this->logicalUpperBound, source.data(), source.size());
  }
  /// Appends up to `count` elements of `source` from `start` on.
  void catenate(const TvalueArray& source, std::uint32_t start, std::uint32_t count) {
    this->clip(source, start, count);
    this->copyElements(this->logicalUpperBound, source.data() + start, count);
  }
  /// Appends `count` elements at `values`.
  void catenate(const T* values, std::uint32_t count) {
    this->copyElements(this->logicalUpperBound, values, count);
  }
  /// Exchanges contents (buffers, sizes, capacities, increments) with `other`.
  void swap(TvalueArray& other) noexcept { Tarray::swap(other); }
  /// @}

 private:
  static bool sameBits(const T& a, const T& b) {
    if constexpr (sizeof(T) == 8) {
      std::uint64_t x, y;
      std::memcpy(&x, &a, 8);
      std::memcpy(&y, &b, 8);
      return x == y;
    } else if constexpr (sizeof(T) == 4) {
      std::uint32_t x, y;
      std::memcpy(&x, &a, 4);
      std::memcpy(&y, &b, 4);
      return x == y;
    } else if constexpr (sizeof(T) == 2) {
      std::uint16_t x, y;
      std::memcpy(&x, &a, 2);
      std::memcpy(&y, &b, 2);
      return x == y;
    } else if constexpr (sizeof(T) == 1) {
      std::uint8_t x, y;
      std::memcpy(&x, &a, 1);
      std::memcpy(&y, &b, 1);
      return x == y;
    } else {
      return std::memcmp(&a, &b, sizeof(T)) == 0;
    }
  }
};

/// @name Value arrays
/// @{
using TbooleanArray = TvalueArray<bool>;
using TcharArray = TvalueArray<char>;
using TdoubleArray = TvalueArray<double>;
using TfloatArray = TvalueArray<float>;
using Tint16Array = TvalueArray<std::int16_t>;
using Tint32Array = TvalueArray<std::int32_t>;
using Tint64Array = TvalueArray<std::int64_t>;
using TuInt8Array = TvalueArray<std::uint8_t>;
using TuInt16Array = TvalueArray<std::uint16_t>;
using TuInt32Array = TvalueArray<std::uint32_t>;
using TuInt64Array = TvalueArray<std::uint64_t>;
/// @}

/// @name Pointer arrays (non-owning)
/// @{
using TvoidPtrArray = TvalueArray<void*>;
using TcharPtrArray = TvalueArray<char*>;
using TdoublePtrArray = TvalueArray<double*>;
using TfloatPtrArray = TvalueArray<float*>;
using TfloatConstPtrArray = TvalueArray<const float*>;
using TtriggerPtrArray = TvalueArray<Ttrigger*>;
/// @}

/// @name Arrays of pointers to arrays (non-owning)
/// @{
using TbooleanArrayPtrArray = TvalueArray<TbooleanArray*>;
using TdoubleArrayPtrArray = TvalueArray<TdoubleArray*>;
using TfloatArrayPtrArray = TvalueArray<TfloatArray*>;
using TfloatArrayPtrArrayPtrArray = TvalueArray<TfloatArrayPtrArray*>;
using Tint32ArrayPtrArray = TvalueArray<Tint32Array*>;
using TuInt32ArrayPtrArray = TvalueArray<TuInt32Array*>;
using TuInt8ArrayPtrArray = TvalueArray<TuInt8Array*>;
/// @}
