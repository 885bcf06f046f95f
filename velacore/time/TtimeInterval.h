// TtimeInterval: a half-open interval [start, end) of animation ticks.
//
//   TtimeInterval frames = TtimeInterval::closed(TanimTime(5), TanimTime(9));  // [5, 10)
//   frames.contains(TanimTime(9));          // true; 10 is outside
//   TtimeInterval after;                    // [0, 0): empty
//   after.start = 100;
//   after.setEndInfinity();                 // everything from tick 100 on
//
// Infinity is a sentinel, 2^62 - 1 (negative for the start), not the 64-bit limit, so lengths and
// shifts of infinite intervals do not overflow. An interval with start >= end is empty; the
// factories do not normalize what they are given.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TvalueArray.h>
#include <velacore/time/TanimTime.h>

#include <cstdint>
#include <limits>

struct VELACORE_API TtimeInterval {
  using Tticks = std::int64_t;
  /// The end of an interval that never ends (the start's sentinel is its negation).
  static constexpr Tticks kInfinity = (Tticks{1} << 62) - 1;

  Tticks start = 0;
  Tticks end = 0;

  constexpr TtimeInterval() noexcept = default;
  constexpr TtimeInterval(Tticks s, Tticks e) noexcept : start(s), end(e) {}

  /// @name Factories from two times a and b
  /// @{
  /// [a, b+1): both ends included (the end stays at the 64-bit limit).
  static constexpr TtimeInterval closed(TanimTime a, TanimTime b) noexcept {
    return {a.inTicks(), succ(b.inTicks())};
  }
  /// [a, b).
  static constexpr TtimeInterval rightOpen(TanimTime a, TanimTime b) noexcept {
    return {a.inTicks(), b.inTicks()};
  }
  /// [a+1, b+1): a excluded, b included.
  static constexpr TtimeInterval leftOpen(TanimTime a, TanimTime b) noexcept {
    return {succ(a.inTicks()), succ(b.inTicks())};
  }
  /// [a+1, b): both ends excluded.
  static constexpr TtimeInterval open(TanimTime a, TanimTime b) noexcept {
    return {succ(a.inTicks()), b.inTicks()};
  }
  /// @}

  /// @name Queries
  /// @{
  void setStartInfinity() noexcept { start = -kInfinity; }
  void setEndInfinity() noexcept { end = kInfinity; }
  [[nodiscard]] constexpr Tticks length() const noexcept { return end - start; }
  [[nodiscard]] constexpr bool empty() const noexcept { return start >= end; }
  [[nodiscard]] constexpr bool startFinite() const noexcept { return start > -kInfinity; }
  [[nodiscard]] constexpr bool endFinite() const noexcept { return end < kInfinity; }
  [[nodiscard]] constexpr bool finite() const noexcept { return startFinite() && endFinite(); }
  [[nodiscard]] constexpr bool universal() const noexcept { return !startFinite() && !endFinite(); }
  [[nodiscard]] constexpr bool contains(Tticks t) const noexcept { return start <= t && t < end; }
  [[nodiscard]] constexpr bool contains(TanimTime t) const noexcept {
    return contains(t.inTicks());
  }
  /// Every tick of `other` is in this interval (an empty one always is).
  [[nodiscard]] constexpr bool contains(const TtimeInterval& other) const noexcept {
    return other.empty() || (start <= other.start && other.end <= end);
  }
  /// Whether the two share a tick: false when either is empty.
  [[nodiscard]] constexpr bool intersect(const TtimeInterval& other) const noexcept {
    if (empty() || other.empty()) return false;
    return contains(other.start) || contains(other.end - 1) ||
           (other.start <= start && end <= other.end);
  }
  /// The overlap (empty when they share no tick).
  [[nodiscard]] constexpr TtimeInterval intersection(const TtimeInterval& other) const noexcept {
    return {start > other.start ? start : other.start, end < other.end ? end : other.end};
  }
  /// [smaller start, larger end): the gap between the two included.
  static constexpr TtimeInterval mergeAsUnion(const TtimeInterval& a,
                                              const TtimeInterval& b) noexcept {
    return {a.start < b.start ? a.start : b.start, a.end > b.end ? a.end : b.end};
  }
  /// @}

  /// @name Moving
  /// @{
  void offset(Tticks d) noexcept {
    start += d;
    end += d;
  }
  [[nodiscard]] constexpr TtimeInterval offseted(Tticks d) const noexcept {
    return {start + d, end + d};
  }
  /// The mirror image about tick c: tick t goes to 2c - t.
  [[nodiscard]] constexpr TtimeInterval reflected(Tticks c) const noexcept {
    return {2 * c - end + 1, 2 * c - start + 1};
  }
  /// @}

  /// @name Comparison: equality of both ends; `<` means wholly before (a.end <= b.start)
  /// @{
  friend constexpr bool operator==(const TtimeInterval& a, const TtimeInterval& b) noexcept {
    return a.start == b.start && a.end == b.end;
  }
  friend constexpr bool operator!=(const TtimeInterval& a, const TtimeInterval& b) noexcept {
    return !(a == b);
  }
  friend constexpr bool operator<(const TtimeInterval& a, const TtimeInterval& b) noexcept {
    return a.end <= b.start;
  }
  friend constexpr bool operator>(const TtimeInterval& a, const TtimeInterval& b) noexcept {
    return b < a;
  }
  /// @}

 private:
  static constexpr Tticks succ(Tticks t) noexcept {
    return t == std::numeric_limits<Tticks>::max() ? t : t + 1;
  }
};

using TtimeIntervalArray = TvalueArray<TtimeInterval>;
