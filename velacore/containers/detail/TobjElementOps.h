// The element operations of a typed object array, written once for TtypedObjArray and
// TtypedSortedArray, and the layer that overrides TobjArray's hooks with them. Each operation
// leaves no half-built element behind when a constructor throws.
//
// A detail of the typed array templates, installed with them; not to be included on its own.
#pragma once

#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

namespace vela::containers_internal {

template <class T>
struct TobjElementOps {
  // Default-constructs [from, to); on a throw destroys what it built and passes it on.
  static void construct(T* p, std::uint32_t from, std::uint32_t to) {
    std::uint32_t i = from;
    try {
      for (; i < to; ++i) new (p + i) T();
    } catch (...) {
      while (i > from) p[--i].~T();
      throw;
    }
  }
  static void destruct(T* p, std::uint32_t from, std::uint32_t to) {
    for (std::uint32_t i = from; i < to; ++i) p[i].~T();
  }
  // Direction 1: [index, size - count) moves up by count, last first. Direction 0: the elements
  // behind the gap [index, index + count) move down over it, first first.
  static void shuffle(T* p, std::uint32_t size, std::uint32_t index, int direction,
                      std::uint32_t count) {
    if (direction == 1) {
      for (std::uint32_t i = size; i-- > index + count;) p[i] = std::move(p[i - count]);
    } else {
      for (std::uint32_t i = index; i + count < size; ++i) p[i] = std::move(p[i + count]);
    }
  }
  // Copy-constructs count elements; on a throw destroys what it built and passes it on.
  static void initialize(const T* from, T* to, std::uint32_t count) {
    std::uint32_t i = 0;
    try {
      for (; i < count; ++i) new (to + i) T(from[i]);
    } catch (...) {
      while (i > 0) to[--i].~T();
      throw;
    }
  }
  static void destroy(T* p, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) p[i].~T();
  }
  // Moves when moving cannot throw, else copies first and destroys after, so that a throw
  // leaves the old elements intact.
  static void relocate(T* from, T* to, std::uint32_t count) {
    if constexpr (std::is_nothrow_move_constructible_v<T>) {
      for (std::uint32_t i = 0; i < count; ++i) {
        new (to + i) T(std::move(from[i]));
        from[i].~T();
      }
    } else {
      initialize(from, to, count);
      destroy(from, count);
    }
  }
};

// The overrides of TobjArray's element operations in terms of TobjElementOps, over a typed
// access layer (TtypedArrayView or TtypedArrayAccess) that supplies data().
template <class Base, class T>
class TtypedObjElements : public Base {
  using Ops = TobjElementOps<T>;

 public:
  /// @name Element operations
  /// @{
  void construct(std::uint32_t from, std::uint32_t to) override {
    Ops::construct(this->data(), from, to);
  }
  void destruct(std::uint32_t from, std::uint32_t to) override {
    Ops::destruct(this->data(), from, to);
  }
  void shuffle(std::uint32_t index, int direction, std::uint32_t count) override {
    Ops::shuffle(this->data(), this->logicalUpperBound, index, direction, count);
  }
  void initialize(void* from, void* to, std::uint32_t count) override {
    Ops::initialize(static_cast<const T*>(from), static_cast<T*>(to), count);
  }
  void destroy(void* buffer, std::uint32_t count) override {
    Ops::destroy(static_cast<T*>(buffer), count);
  }
  void relocate(void* from, void* to, std::uint32_t count) override {
    Ops::relocate(static_cast<T*>(from), static_cast<T*>(to), count);
  }
  /// @}

 protected:
  using Base::Base;
};

}  // namespace vela::containers_internal
