// The element operations of a typed object array, written once for TtypedObjArray and
// TtypedSortedArray. Each leaves no half-built element behind when a constructor throws.
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

}  // namespace vela::containers_internal
