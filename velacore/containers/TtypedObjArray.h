// TtypedObjArray<T>: the typed object arrays (TstringArray, TfilePathArray, TanimTimeArray, ...),
// one template over the untyped base TobjArray.
//
// Elements are real objects: default-constructed when the size grows, moved (if that cannot
// throw, else copied) into a new buffer when it is reallocated (a mapped buffer may grow in
// place instead), assigned when elements shift, destroyed when they leave. T must be default-constructible, copyable and
// assignable; find and remove need operator==.
//
//   TtypedObjArray<Tstring> names;          // what TstringArray is
//   names.addLast(Tstring("b"));
//   names.insert(names[0], 0);             // an element of the array itself is fine
//   names.removeAt(1);
//   TtypedObjArray<Tstring> copy(names);    // capacity fits the size exactly
//
// Hazards:
// - operator[] and last() are unchecked.
// - An exception from T's constructor or copy leaves the array at its old size and contents
//   (growth, insertion, copy); one from T's assignment while elements shift leaves every element
//   valid but their order unspecified.
// - Other hazards as for TobjArray (not thread-safe for changes, invalidation on growth).
// Areas that define element types declare their aliases beside them:
//   using TstringArray = TtypedObjArray<Tstring>;
#pragma once

#include <velacore/base/Texception.h>
#include <velacore/containers/TobjArray.h>
#include <velacore/containers/detail/TobjElementOps.h>
#include <velacore/containers/detail/TtypedArrayAccess.h>

#include <cstdint>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

template <class T>
class TtypedObjArray
    : public vela::containers_internal::TtypedObjElements<
          vela::containers_internal::TtypedArrayAccess<TobjArray, T>, T> {
  using Base = vela::containers_internal::TtypedObjElements<
      vela::containers_internal::TtypedArrayAccess<TobjArray, T>, T>;

  static_assert(alignof(T) <= 16, "array buffers are 16-byte aligned");

 public:
  /// An empty array growing by `increment` elements.
  explicit TtypedObjArray(std::uint32_t increment = TobjArray::kDefaultIncrement)
      : Base(sizeof(T), increment) {}
  /// A copy of `other`'s elements, with capacity equal to the size.
  TtypedObjArray(const TtypedObjArray& other) : Base(sizeof(T), other.incrementSize) {
    this->copyElements(0, other.theArray, other.logicalUpperBound);
  }
  /// Takes over `other`'s buffer; `other` is left empty.
  TtypedObjArray(TtypedObjArray&& other) noexcept : Base(sizeof(T), other.incrementSize) {
    TobjArray::swap(other);
  }
  /// Replaces the elements by copies of `other`'s (strong guarantee).
  TtypedObjArray& operator=(const TtypedObjArray& other) {
    if (this != &other) this->copyElements(0, other.theArray, other.logicalUpperBound);
    return *this;
  }
  /// Exchanges contents with `other`.
  TtypedObjArray& operator=(TtypedObjArray&& other) noexcept {
    TobjArray::swap(other);
    return *this;
  }
  ~TtypedObjArray() override { this->reset(); }

  /// @name Building
  /// @{
  /// Replaces the contents by `size` copies of `value` (capacity exactly `size`).
  void createAndSet(const T& value, std::uint32_t size,
                    std::uint32_t increment = TobjArray::kDefaultIncrement) {
    TtypedObjArray fresh(increment);
    if (size != 0) {
      fresh.allocateArray(size);
      fresh.logicalUpperBound = 0;
      for (; fresh.logicalUpperBound < size; ++fresh.logicalUpperBound)
        new (fresh.data() + fresh.logicalUpperBound) T(value);
    }
    TobjArray::swap(fresh);
  }
  /// Appends a copy of `value` (which may be an element of this array).
  void addLast(const T& value) {
    if (this->logicalUpperBound < this->actualUpperBound) {
      new (this->data() + this->logicalUpperBound) T(value);
      ++this->logicalUpperBound;
    } else {
      T copy(value);
      appendSlow(std::move(copy));
    }
  }
  /// Appends `value`, moving it.
  void addLast(T&& value) {
    if (this->logicalUpperBound < this->actualUpperBound) {
      new (this->data() + this->logicalUpperBound) T(std::move(value));
      ++this->logicalUpperBound;
    } else if (isInside(&value)) {
      T copy(std::move(value));
      appendSlow(std::move(copy));
    } else {
      appendSlow(std::move(value));
    }
  }
  /// Appends copies of `count` elements at `values`.
  void addLast(const T* values, std::uint32_t count) {
    insert(values, count, this->logicalUpperBound);
  }
  /// Inserts a copy of `value` before position `index`; returns -1 (nothing changed) past the
  /// end.
  int insert(const T& value, std::uint32_t index) {
    if (index > this->logicalUpperBound) return -1;
    if (isInside(&value)) {
      T copy(value);
      return insertMoved(std::move(copy), index);
    }
    if (this->insertElement(index, 1) != 0) return -1;
    this->data()[index] = value;
    return 0;
  }
  /// Inserts `value`, moving it, before position `index`; -1 past the end.
  int insert(T&& value, std::uint32_t index) {
    if (index > this->logicalUpperBound) return -1;
    if (isInside(&value)) {
      T copy(std::move(value));
      return insertMoved(std::move(copy), index);
    }
    return insertMoved(std::move(value), index);
  }
  /// Inserts copies of `count` elements at `values` before position `index`; -1 past the end.
  int insert(const T* values, std::uint32_t count, std::uint32_t index) {
    if (index > this->logicalUpperBound) return -1;
    if (count == 0) return 0;
    if (isInside(values)) {
      TtypedObjArray aside;
      aside.copy(values, count);
      return insert(aside.data(), count, index);
    }
    this->insertElement(index, count);
    for (std::uint32_t i = 0; i < count; ++i) this->data()[index + i] = values[i];
    return 0;
  }
  /// @}

  /// @name Searching (operator==)
  /// @{
  /// The position of the first element equal to `value`, or kNoIndex.
  [[nodiscard]] std::uint32_t find(const T& value) const {
    const T* p = this->data();
    for (std::uint32_t i = 0; i < this->logicalUpperBound; ++i)
      if (p[i] == value) return i;
    return TobjArray::kNoIndex;
  }
  /// Finds the first element equal to `value`: 0 with its position, or kNotFound with `index` set to
  /// the size.
  [[nodiscard]] int find(const T& value, std::uint32_t& index) const {
    index = find(value);
    if (index != TobjArray::kNoIndex) return 0;
    index = this->logicalUpperBound;
    return TobjArray::kNotFound;
  }
  /// Removes the first element equal to `value`; returns 0 or kNotFound.
  int remove(const T& value) {
    const std::uint32_t at = find(value);
    return at == TobjArray::kNoIndex ? TobjArray::kNotFound : this->removeAt(at);
  }
  /// @}

  /// @name Copying (the capacity becomes exactly the resulting size; strong guarantee)
  /// @{
  /// Makes this array a copy of `source`.
  void copy(const TtypedObjArray& source) {
    this->copyElements(0, source.theArray, source.logicalUpperBound);
  }
  /// Makes this array a copy of up to `count` elements of `source` from `start` on.
  void copy(const TtypedObjArray& source, std::uint32_t start, std::uint32_t count) {
    this->clip(source, start, count);
    this->copyElements(0, source.data() + start, count);
  }
  /// Makes this array hold copies of `count` elements at `values`.
  void copy(const T* values, std::uint32_t count) { this->copyElements(0, values, count); }
  /// Appends copies of all of `source`.
  void catenate(const TtypedObjArray& source) {
    this->copyElements(this->logicalUpperBound, source.theArray, source.logicalUpperBound);
  }
  /// Appends copies of up to `count` elements of `source` from `start` on.
  void catenate(const TtypedObjArray& source, std::uint32_t start, std::uint32_t count) {
    this->clip(source, start, count);
    this->copyElements(this->logicalUpperBound, source.data() + start, count);
  }
  /// Appends copies of `count` elements at `values`.
  void catenate(const T* values, std::uint32_t count) {
    this->copyElements(this->logicalUpperBound, values, count);
  }
  /// Exchanges contents (buffers, sizes, capacities, increments) with `other`.
  void swap(TtypedObjArray& other) noexcept { TobjArray::swap(other); }
  /// @}

 private:
  bool isInside(const T* p) const {
    const std::less<const T*> before;
    return !before(p, this->data()) && before(p, this->data() + this->actualUpperBound);
  }
  // Appends `value` (not inside this array) when the capacity is used up.
  void appendSlow(T&& value) {
    const std::uint32_t size = this->logicalUpperBound;
    if (size == 0xFFFFFFFFu) throw TmemoryException();
    this->expandArray(size + 1);
    try {
      new (this->data() + size) T(std::move(value));
    } catch (...) {
      this->logicalUpperBound = size;
      throw;
    }
  }
  // Inserts `value` (not inside this array) before `index` <= size.
  int insertMoved(T&& value, std::uint32_t index) {
    if (index == this->logicalUpperBound) {
      addLast(std::move(value));
      return 0;
    }
    this->insertElement(index, 1);
    this->data()[index] = std::move(value);
    return 0;
  }
};
