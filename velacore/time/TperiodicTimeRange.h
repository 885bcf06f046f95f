// TperiodicTimeRange: a set of animation ticks, sorted disjoint intervals, possibly repeated with
// a period inside a bound ("frames 1 to 10 of every 24", "everything after frame 100").
//
//   TperiodicTimeRange r;
//   r.add(TtimeInterval(0, 5));
//   r.add(TtimeInterval(8, 10));
//   r.add(TtimeInterval(3, 9));                      // now [0, 10)
//   TperiodicTimeRange cycle(TanimTime(0), TanimTime(9));   // [0, 10)
//   TtimeInterval all;
//   all.setStartInfinity();
//   all.setEndInfinity();
//   cycle.setPeriodic(TanimTime(24), all);           // [0, 10) of every 24 ticks
//   cycle.contains(TanimTime(30));                   // true: 30 maps to 6
//   TtimeIntervalArray concrete;
//   cycle.expand(TtimeInterval(0, 60), concrete);    // [0, 10), [24, 34), [48, 58)
//
// Meaning. A non-periodic range is the union of its intervals. A periodic range with period P
// is every tick t of its bound whose image in the cycle (mapToCycle) lies in one of its
// intervals; its intervals describe one cycle, starting at the first interval's start.
//
// Rules of the operations:
// - append and add edit the intervals (of one cycle, for a periodic range) and keep them sorted,
//   disjoint and not touching; append only accepts intervals that reach the last one.
// - clamp(span) keeps the ticks inside the span: for a periodic range it narrows the bound.
// - contains(range) and inside(range) are exact set inclusion. Where an infinite periodic range
//   is involved they compare one window in which both ranges repeat (the least common multiple
//   of the periods past every finite end); they answer false when that window would hold more
//   than kWindowLimit concrete intervals.
// - mergeAsUnion(range) and intersection(range) are exact when the result is again one range:
//   both enumerable (non-periodic, or periodic in a finite bound; the result is non-periodic),
//   or both periodic with the same period and cycle start (and, for the union, the same bound).
//   Otherwise they return false and change nothing.
// - expand(span) lists the concrete intervals meeting the span, clipped to it, in time order; a
//   periodic range needs a finite span (or bound) to be unrolled.
//
// Hazards: not thread-safe for changes (concurrent const use is fine). An add that would shift
// intervals in a long list is kept aside and merged, with any others, on the next read, so a run
// of adds costs one sort rather than a shift each.
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TmtScopedLock.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TtypedObjArray.h>
#include <velacore/strings/Tstring.h>
#include <velacore/time/TanimTime.h>
#include <velacore/time/TtimeInterval.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>

class VELACORE_API TperiodicTimeRange {
 public:
  using Tticks = std::int64_t;
  /// The most concrete intervals the window comparisons unroll.
  static constexpr std::int64_t kWindowLimit = 1 << 20;

  /// @name Construction
  /// @{
  TperiodicTimeRange() = default;
  TperiodicTimeRange(const TperiodicTimeRange& other);
  TperiodicTimeRange& operator=(const TperiodicTimeRange& other);
  /// The closed interval [first, last+1) (the end stays at the 64-bit limit).
  TperiodicTimeRange(TanimTime first, TanimTime last);
  /// The union of `count` intervals appended in turn (intervals before the last are refused).
  TperiodicTimeRange(const TtimeInterval* intervals, std::uint32_t count);
  /// Everything: the range of the smallest and largest 64-bit values.
  static TperiodicTimeRange sInfinity();
  static TperiodicTimeRange sEmpty() { return {}; }
  /// @}

  /// @name Queries
  /// @{
  [[nodiscard]] bool empty() const { return settled().empty(); }
  [[nodiscard]] bool isEmpty() const noexcept { return empty(); }
  /// A single interval with both ends infinite.
  [[nodiscard]] bool universal() const;
  [[nodiscard]] bool isInfinity() const noexcept { return universal(); }
  /// Both ends of the bound finite.
  [[nodiscard]] bool finite() const { return bound().finite(); }
  /// Its concrete intervals can be listed: non-periodic, or periodic in a finite bound.
  [[nodiscard]] bool enumerable() const { return !periodic() || bound().finite(); }
  [[nodiscard]] const TtimeInterval& bound() const {
    settled();
    return fBound;
  }
  [[nodiscard]] Tticks period() const noexcept { return fPeriod; }
  [[nodiscard]] bool periodic() const noexcept { return fPeriod != 0; }
  [[nodiscard]] const TtimeIntervalArray& intervals() const { return settled(); }
  /// Whether `t` lies in the bound (the hull of the range).
  [[nodiscard]] bool inRange(TanimTime t) const { return bound().contains(t); }
  [[nodiscard]] bool contains(TanimTime t) const { return contains(t.inTicks()); }
  [[nodiscard]] bool contains(Tticks t) const;
  /// Every tick of `interval` is in the range.
  [[nodiscard]] bool contains(const TtimeInterval& interval) const;
  /// Every tick of `other` is in this range.
  [[nodiscard]] bool contains(const TperiodicTimeRange& other) const;
  /// Every tick of this range is in `other`.
  [[nodiscard]] bool inside(const TperiodicTimeRange& other) const { return other.contains(*this); }
  /// Some tick of `interval` is in the range.
  [[nodiscard]] bool intersects(const TtimeInterval& interval) const;
  /// The ticks of the range inside `span` (clamp of a copy).
  [[nodiscard]] TperiodicTimeRange intersection(const TtimeInterval& span) const;
  /// The ticks in both ranges into `result`; false when that is not one range (see above).
  bool intersection(const TperiodicTimeRange& other, TperiodicTimeRange& result) const;
  /// Whether the intervals are non-empty, sorted, not touching and (periodic) within a period.
  [[nodiscard]] bool areIntervalsValid() const;
  /// @}

  /// @name Changes
  /// @{
  /// Appends an interval that reaches at least the last interval (merging with what it
  /// touches); false, and no change, for one wholly before the last interval.
  bool append(const TtimeInterval& interval);
  /// Adds an interval anywhere, merging with the intervals it overlaps or touches.
  void add(const TtimeInterval& interval);
  /// Adds many intervals at once, in any order (sorts a copy, then merges in one pass).
  void addAll(const TtimeInterval* intervals, std::uint32_t count);
  TperiodicTimeRange& operator+=(const TtimeInterval& interval) {
    add(interval);
    return *this;
  }
  friend TperiodicTimeRange operator+(TperiodicTimeRange range, const TtimeInterval& interval) {
    range.add(interval);
    return range;
  }
  /// Adds every tick of `other`; false (no change) when the union is not one range.
  bool mergeAsUnion(const TperiodicTimeRange& other);
  /// Keeps the ticks inside `span`.
  void clamp(const TtimeInterval& span);
  /// Shifts every tick by `d` (the period stays).
  void offset(Tticks d);
  /// The concrete intervals meeting `span`, clipped to it and in time order, into `out`
  /// (replacing its contents); false when a periodic range would have to be unrolled without end.
  bool expand(const TtimeInterval& span, TtimeIntervalArray& out) const;
  /// Makes the range repeat every `period` ticks inside `bound`; false (no change) for an empty
  /// range or one longer than period + 1 ticks.
  bool setPeriodic(TanimTime period, const TtimeInterval& bound);
  void setNonPeriodic();
  /// Moves `interval` by a whole number of periods so that its start (or, for an infinite
  /// start, its end) falls in the cycle; unchanged for a non-periodic range.
  [[nodiscard]] TtimeInterval mapToCycle(const TtimeInterval& interval) const;
  void clear();
  /// @}

  /// Equal sets of ticks (periodic), or equal intervals and bound (non-periodic).
  friend VELACORE_API bool operator==(const TperiodicTimeRange& a, const TperiodicTimeRange& b);
  friend bool operator!=(const TperiodicTimeRange& a, const TperiodicTimeRange& b) {
    return !(a == b);
  }

  /// "{empty}", "{all}", "[[0, 10), [20, 30)]" or "{ period = 24, bound = [0, inf), [0, 10)]}"
  /// (times in frame units of the current time unit).
  [[nodiscard]] Tstring asStr() const;
  /// Reads the text form back (times as TanimTime::setValueFromString reads them, "inf" and
  /// "-inf" for infinite ends); false, and no change, on anything else.
  bool setFromString(const char* text);

 private:
  bool appendOne(TtimeInterval interval);
  void defer(const TtimeInterval& interval);
  void correctBound() const noexcept;
  [[nodiscard]] Tticks mapTick(Tticks t) const noexcept;
  [[nodiscard]] Tticks cycleStart() const noexcept { return fIntervals[0].start; }

  // Adds that would shift many intervals wait in fPending and are merged in one pass (sort,
  // then one merge) before the range is next read; the set of ticks, and so its canonical list,
  // is the same either way. Reads that find pending adds settle them under fSettleLock, so
  // concurrent const use stays safe.
  const TtimeIntervalArray& settled() const {
    if (fUnsettled.load(std::memory_order_acquire)) settleSlow();
    return fIntervals;
  }
  void settleSlow() const;

  mutable TtimeInterval fBound;
  Tticks fPeriod = 0;
  mutable TtimeIntervalArray fIntervals;
  mutable TtimeIntervalArray fPending;
  mutable std::atomic<bool> fUnsettled{false};
  mutable TmtCriticalSection fSettleLock;
};

/// Writes asStr().
VELACORE_API std::ostream& operator<<(std::ostream& out, const TperiodicTimeRange& range);
/// The text form of one interval, "[a, b)" in frame units ("-inf", "inf" for infinite ends).
VELACORE_API Tstring asStr(const TtimeInterval& interval);

/// Several ranges.
class VELACORE_API TperiodicTimeRangeSet {
 public:
  using Tticks = std::int64_t;
  TperiodicTimeRangeSet() = default;
  explicit TperiodicTimeRangeSet(const TperiodicTimeRange& range) { insert(range); }

  void clear() { fRanges.resetLogicalSize(); }
  [[nodiscard]] bool empty() const noexcept;
  [[nodiscard]] bool universal() const;
  [[nodiscard]] bool contains(TanimTime t) const;
  [[nodiscard]] bool intersects(const TtimeInterval& interval) const;
  /// Inserts a range, an interval, or the closed interval [first, last+1); empty ones are not
  /// kept.
  void insert(const TperiodicTimeRange& range);
  void insert(const TtimeInterval& interval);
  void insert(TanimTime first, TanimTime last);
  /// The concrete intervals of all ranges meeting `span`, merged, in time order.
  bool expand(const TtimeInterval& span, TtimeIntervalArray& out) const;
  [[nodiscard]] std::uint32_t size() const noexcept { return fRanges.size(); }
  [[nodiscard]] const TperiodicTimeRange* begin() const noexcept { return fRanges.begin(); }
  [[nodiscard]] const TperiodicTimeRange* end() const noexcept { return fRanges.end(); }
  /// "{empty}" when empty, else the ranges' forms separated by ", ".
  [[nodiscard]] Tstring asStr() const;

 private:
  TtypedObjArray<TperiodicTimeRange> fRanges;
};

/// A range of times and a wider one around it (the inner range is what is evaluated, the outer
/// what must be available for it, for example for motion blur or filters).
class VELACORE_API TinnerOuterTimeRange {
 public:
  TinnerOuterTimeRange() = default;
  TinnerOuterTimeRange(const TperiodicTimeRange& inner, const TperiodicTimeRange& outer)
      : fInner(inner), fOuter(outer) {}
  [[nodiscard]] const TperiodicTimeRange& inner() const noexcept { return fInner; }
  [[nodiscard]] const TperiodicTimeRange& outer() const noexcept { return fOuter; }
  void setInner(const TperiodicTimeRange& inner) { fInner = inner; }
  void setOuter(const TperiodicTimeRange& outer) { fOuter = outer; }
  /// Whether `t` is in the outer range (the times this pair needs).
  [[nodiscard]] bool inRange(TanimTime t) const { return fOuter.contains(t); }
  /// Whether `t` is in the inner range.
  [[nodiscard]] bool inInner(TanimTime t) const { return fInner.contains(t); }
  /// "inner = <range>, outer = <range>".
  [[nodiscard]] Tstring asStr() const;

 private:
  TperiodicTimeRange fInner;
  TperiodicTimeRange fOuter;
};

/// An object array of time ranges.
using TtimeRangeArray = TtypedObjArray<TperiodicTimeRange>;
