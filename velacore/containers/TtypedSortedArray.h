// TtypedSortedArray<T, Less>: the typed sorted arrays (TuInt32SortedArray, TdoubleSortedArray,
// TanimTimeSortedArray, ...), one template over TsortedArray.
//
// Elements stay in ascending order by `Less` and are found by binary search. Without
// duplicates an equal value is refused; with duplicates a new equal value goes before the
// first equal one.
//
//   Tint32SortedArray xs;                 // no duplicates, increment 8
//   xs.insert(5); xs.insert(1);           // {1, 5}
//   xs.insert(5);                         // -1, unchanged
//   uint32_t at, count;
//   xs.find(5, at, count);                // 0, at == 1, count == 1
//   for (int v : bulk) xs.addLastUnsorted(v);
//   xs.sort();                            // order (and uniqueness) restored
//
// Hazards:
// - Less must be a strict weak order; with NaN among doubles the results are unspecified.
// - Searches return 0 / -1 (found / not found), unlike the 0 / 150 of the unsorted arrays.
// - Elements are read-only through operator[]: change() keeps the order.
// - Other hazards as for TobjArray (not thread-safe for changes, invalidation on growth).
#pragma once

#include <velacore/containers/TsortedArray.h>
#include <velacore/containers/detail/TobjElementOps.h>
#include <velacore/containers/detail/TtypedArrayAccess.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

template <class T, class Less = std::less<T>>
class TtypedSortedArray
    : public vela::containers_internal::TtypedObjElements<
          vela::containers_internal::TtypedArrayView<TsortedArray, T>, T> {
  using Base = vela::containers_internal::TtypedObjElements<
      vela::containers_internal::TtypedArrayView<TsortedArray, T>, T>;

  static_assert(alignof(T) <= 16, "array buffers are 16-byte aligned");

 public:
  /// An empty sorted array.
  explicit TtypedSortedArray(bool allowDuplicates = false,
                             std::uint32_t increment = TobjArray::kDefaultIncrement)
      : Base(sizeof(T), increment, allowDuplicates) {}
  /// A copy of `other` (elements and duplicates flag), capacity equal to the size.
  TtypedSortedArray(const TtypedSortedArray& other)
      : Base(sizeof(T), other.incrementSize, other.fAllowDuplicates) {
    this->copyElements(0, other.theArray, other.logicalUpperBound);
  }
  /// Takes over `other`'s buffer; `other` is left empty.
  TtypedSortedArray(TtypedSortedArray&& other) noexcept
      : Base(sizeof(T), other.incrementSize, other.fAllowDuplicates) {
    TobjArray::swap(other);
  }
  TtypedSortedArray& operator=(const TtypedSortedArray& other) {
    if (this != &other) copy(other);
    return *this;
  }
  TtypedSortedArray& operator=(TtypedSortedArray&& other) noexcept {
    swap(other);
    return *this;
  }
  ~TtypedSortedArray() override { this->reset(); }

  /// @name Inserting (0 on success, -1 when refused)
  /// @{
  /// Inserts `value` in order; refuses an equal value unless duplicates are allowed.
  int insert(const T& value) {
    const std::uint32_t n = this->logicalUpperBound;
    const T* p = this->data();
    std::uint32_t index;
    if (n == 0 || less(value, p[0])) {
      index = 0;
    } else if (less(p[n - 1], value)) {
      index = n;
    } else if (search(value, index) == 0 && !this->fAllowDuplicates) {
      return -1;
    }
    return place(value, index);
  }
  /// Inserts `value` at `index` if that keeps the order (and uniqueness without duplicates);
  /// otherwise returns -1 and changes nothing.
  int insert(const T& value, std::uint32_t index) {
    const std::uint32_t n = this->logicalUpperBound;
    if (index > n) return -1;
    const T* p = this->data();
    if (this->fAllowDuplicates) {
      if (index > 0 && less(value, p[index - 1])) return -1;
      if (index < n && less(p[index], value)) return -1;
    } else {
      if (index > 0 && !less(p[index - 1], value)) return -1;
      if (index < n && !less(value, p[index])) return -1;
    }
    return place(value, index);
  }
  /// Appends `value` if it belongs at the end; -1 otherwise.
  int addLast(const T& value) { return insert(value, this->logicalUpperBound); }
  /// Appends `value` without looking at the order; call sort() before searching again.
  void addLastUnsorted(const T& value) {
    T copy(value);
    const std::uint32_t n = this->logicalUpperBound;
    this->insertElement(n, 1);
    this->data()[n] = std::move(copy);
  }
  /// Restores the order after addLastUnsorted (stable); without duplicates, equal elements
  /// after the first are removed.
  void sort() {
    T* p = this->data();
    const std::uint32_t n = this->logicalUpperBound;
    std::stable_sort(p, p + n, Less{});
    if (!this->fAllowDuplicates && n > 1) {
      T* end = std::unique(p, p + n, [](const T& a, const T& b) { return !less(a, b); });
      const auto kept = static_cast<std::uint32_t>(end - p);
      this->removeAt(kept, n - kept);
    }
  }
  /// Replaces the element at `index` by `value`, moving it to keep the order. Returns -1 (and
  /// changes nothing) when `index` is past the end or `value` would be a refused duplicate.
  int change(std::uint32_t index, const T& value) {
    if (index >= this->logicalUpperBound) return -1;
    std::uint32_t target;
    if (search(value, target) == 0 && !this->fAllowDuplicates && target != index) return -1;
    // Rotate the elements between the old and the new place by one, without reallocating.
    T fresh(value);
    T* p = this->data();
    if (target > index) {
      --target;  // the element's own place is vacated in front of it
      for (std::uint32_t i = index; i < target; ++i) p[i] = std::move(p[i + 1]);
    } else {
      for (std::uint32_t i = index; i > target; --i) p[i] = std::move(p[i - 1]);
    }
    p[target] = std::move(fresh);
    return 0;
  }
  /// @}

  /// @name Searching (0 when found, -1 when not)
  /// @{
  /// Finds `value`: 0 with the position of the first equal element, or -1 with the position
  /// where it would be inserted.
  [[nodiscard]] int find(const T& value, std::uint32_t& index) const {
    return search(value, index);
  }
  /// As find(value, index), and `count` says how many elements equal `value` (0 if none).
  [[nodiscard]] int find(const T& value, std::uint32_t& index, std::uint32_t& count) const {
    count = 0;
    if (search(value, index) != 0) return -1;
    const T* p = this->data();
    for (std::uint32_t i = index; i < this->logicalUpperBound && !less(value, p[i]); ++i) ++count;
    return 0;
  }
  /// The position of the first element equal to `value`, or kNoIndex.
  [[nodiscard]] std::uint32_t find(const T& value) const {
    std::uint32_t index;
    return search(value, index) == 0 ? index : TobjArray::kNoIndex;
  }
  /// Removes the first element equal to `value`; returns 0, or -1 when there is none.
  int remove(const T& value) {
    std::uint32_t index;
    if (search(value, index) != 0) return -1;
    return this->removeAt(index);
  }
  /// @}

  /// @name Copying
  /// @{
  /// Makes this array a copy of `source` (elements and duplicates flag), capacity fitting.
  void copy(const TtypedSortedArray& source) {
    this->copyElements(0, source.theArray, source.logicalUpperBound);
    this->fAllowDuplicates = source.fAllowDuplicates;
  }
  /// Exchanges contents and duplicates flags with `other`.
  void swap(TtypedSortedArray& other) noexcept {
    TobjArray::swap(other);
    this->swapFlags(other);
  }
  /// @}

 private:
  static bool less(const T& a, const T& b) { return Less{}(a, b); }

  // Binary search; with duplicates the position walks back to the first equal element.
  int search(const T& value, std::uint32_t& index) const {
    const T* p = this->data();
    std::int64_t low = 0;
    std::int64_t high = std::int64_t(this->logicalUpperBound) - 1;
    while (low <= high) {
      std::int64_t mid = (low + high) / 2;
      if (less(value, p[mid])) {
        high = mid - 1;
      } else if (less(p[mid], value)) {
        low = mid + 1;
      } else {
        if (this->fAllowDuplicates)
          while (mid > 0 && !less(p[mid - 1], value)) --mid;
        index = static_cast<std::uint32_t>(mid);
        return 0;
      }
    }
    index = static_cast<std::uint32_t>(low);
    return -1;
  }
  // Inserts a copy of `value` (possibly an element of this array) before `index`.
  int place(const T& value, std::uint32_t index) {
    T copy(value);
    this->insertElement(index, 1);
    this->data()[index] = std::move(copy);
    return 0;
  }
};

/// @name Sorted arrays
/// @{
using TdoubleSortedArray = TtypedSortedArray<double>;
using Tint32SortedArray = TtypedSortedArray<std::int32_t>;
using Tint64SortedArray = TtypedSortedArray<std::int64_t>;
using TuInt16SortedArray = TtypedSortedArray<std::uint16_t>;
using TuInt32SortedArray = TtypedSortedArray<std::uint32_t>;
using TuInt64SortedArray = TtypedSortedArray<std::uint64_t>;
using TvoidPtrSortedArray = TtypedSortedArray<void*>;
/// @}
