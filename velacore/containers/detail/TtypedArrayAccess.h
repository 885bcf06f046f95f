// The typed element access of TvalueArray, TtypedObjArray and TtypedSortedArray, written once
// over their untyped bases (Tarray, TobjArray, TsortedArray): a typed view of the base's buffer
// (theArray) and size (logicalUpperBound). All of it is inline and unchecked.
//
// A detail of the typed array templates, installed with them; not to be included on its own.
#pragma once

#include <cstdint>

namespace vela::containers_internal {

// Read-only access. The writable data() stays protected, so a sorted array that derives from
// this alone cannot be put out of order from outside.
template <class Base, class T>
class TtypedArrayView : public Base {
 public:
  using value_type = T;
  using const_iterator = const T*;
  using size_type = std::uint32_t;

  /// @name Access (unchecked)
  /// @{
  /// The element at position `i` (< size()).
  [[nodiscard]] const T& operator[](std::uint32_t i) const { return data()[i]; }
  /// The last element; the array must not be empty.
  [[nodiscard]] const T& last() const { return data()[this->logicalUpperBound - 1]; }
  /// The first element of the contiguous buffer (null before the first allocation).
  [[nodiscard]] const T* data() const { return static_cast<const T*>(this->theArray); }
  /// The range of the elements, first to last.
  [[nodiscard]] const_iterator begin() const { return data(); }
  [[nodiscard]] const_iterator end() const { return data() + this->logicalUpperBound; }
  [[nodiscard]] const_iterator cbegin() const { return data(); }
  [[nodiscard]] const_iterator cend() const { return data() + this->logicalUpperBound; }
  /// Whether there are no elements.
  [[nodiscard]] bool empty() const { return this->logicalUpperBound == 0; }
  /// The number of elements.
  [[nodiscard]] std::uint32_t size() const { return this->logicalUpperBound; }
  /// @}

 protected:
  using Base::Base;

  T* data() { return static_cast<T*>(this->theArray); }
  // Cuts [start, start + count) to the elements `source` has.
  static void clip(const TtypedArrayView& source, std::uint32_t& start, std::uint32_t& count) {
    if (start > source.size()) start = source.size();
    if (count > source.size() - start) count = source.size() - start;
  }
};

// Read-write access: the view plus writable elements and iterators.
template <class Base, class T>
class TtypedArrayAccess : public TtypedArrayView<Base, T> {
  using View = TtypedArrayView<Base, T>;

 public:
  using iterator = T*;

  /// @name Access (unchecked)
  /// @{
  using View::operator[];
  using View::last;
  using View::data;
  using View::begin;
  using View::end;
  /// The element at position `i` (< size()).
  [[nodiscard]] T& operator[](std::uint32_t i) { return data()[i]; }
  /// The last element; the array must not be empty.
  [[nodiscard]] T& last() { return data()[this->logicalUpperBound - 1]; }
  /// The first element of the contiguous buffer (null before the first allocation).
  [[nodiscard]] T* data() { return static_cast<T*>(this->theArray); }
  /// The range of the elements, first to last.
  [[nodiscard]] iterator begin() { return data(); }
  [[nodiscard]] iterator end() { return data() + this->logicalUpperBound; }
  /// @}

 protected:
  using View::View;
};

}  // namespace vela::containers_internal
