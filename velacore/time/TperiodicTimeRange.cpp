#include <velacore/time/TperiodicTimeRange.h>

#include <velacore/time/internal/TwideMath.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace {

using vela::time_internal::floorDiv;
using vela::time_internal::floorMod;
using vela::time_internal::Tint128;
using Tticks = std::int64_t;

constexpr Tticks kInf = TtimeInterval::kInfinity;
// add() scans this many intervals one by one before it switches to binary search.
constexpr std::uint32_t kLinearScanLimit = 17;
// expand() refuses to list more concrete intervals than this.
constexpr Tint128 kExpandLimit = Tint128{1} << 26;

// Clamps a wide value into the sentinel range, so that windows stay representable.
Tticks clampToSentinels(Tint128 v) {
  if (v > kInf) return kInf;
  if (v < -kInf) return -kInf;
  return static_cast<Tticks>(v);
}

// Sorted, non-touching union of two sorted interval lists.
void unite(const TtimeInterval* a, std::uint32_t na, const TtimeInterval* b, std::uint32_t nb,
           TtimeIntervalArray& out) {
  out.changeLogicalSizeTo(0);
  std::uint32_t i = 0, j = 0;
  while (i < na || j < nb) {
    const TtimeInterval& next = (j == nb || (i < na && a[i].start <= b[j].start)) ? a[i++] : b[j++];
    if (next.empty()) continue;
    if (!out.empty() && next.start <= out.last().end) {
      out.last().end = std::max(out.last().end, next.end);
    } else {
      out.addLast(next);
    }
  }
}

// Intersection of two sorted, disjoint interval lists.
void intersect(const TtimeInterval* a, std::uint32_t na, const TtimeInterval* b, std::uint32_t nb,
               TtimeIntervalArray& out) {
  out.changeLogicalSizeTo(0);
  std::uint32_t i = 0, j = 0;
  while (i < na && j < nb) {
    const TtimeInterval overlap = a[i].intersection(b[j]);
    if (!overlap.empty()) out.addLast(overlap);
    if (a[i].end < b[j].end) {
      ++i;
    } else {
      ++j;
    }
  }
}

Tstring tickText(Tticks t) {
  if (t >= kInf) return Tstring("inf");
  if (t <= -kInf) return Tstring("-inf");
  return TanimTime(t).toFrameUnitsString();
}

}  // namespace

Tstring asStr(const TtimeInterval& interval) {
  Tstring text("[");
  text += tickText(interval.start);
  text += ", ";
  text += tickText(interval.end);
  text += ")";
  return text;
}

// ---- construction ----

TperiodicTimeRange::TperiodicTimeRange(TanimTime first, TanimTime last) {
  append(TtimeInterval::closed(first, last));
}

TperiodicTimeRange::TperiodicTimeRange(const TtimeInterval* intervals, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) appendOne(intervals[i]);
  correctBound();
}

TperiodicTimeRange TperiodicTimeRange::sInfinity() {
  return {TanimTime(std::numeric_limits<Tticks>::min()),
          TanimTime(std::numeric_limits<Tticks>::max())};
}

TperiodicTimeRange::TperiodicTimeRange(const TperiodicTimeRange& other)
    : fBound(other.bound()), fPeriod(other.fPeriod), fIntervals(other.fIntervals) {}

TperiodicTimeRange& TperiodicTimeRange::operator=(const TperiodicTimeRange& other) {
  if (this != &other) {
    clear();
    fBound = other.bound();
    fPeriod = other.fPeriod;
    fIntervals = other.fIntervals;
  }
  return *this;
}

void TperiodicTimeRange::settleSlow() const {
  TmtScopedLock guard(fSettleLock);
  if (!fUnsettled.load(std::memory_order_relaxed)) return;
  TtimeInterval* p = fPending.begin();
  std::sort(p, p + fPending.size(),
            [](const TtimeInterval& a, const TtimeInterval& b) { return a.start < b.start; });
  TtimeIntervalArray merged;
  unite(fIntervals.data(), fIntervals.size(), fPending.data(), fPending.size(), merged);
  fIntervals.swap(merged);
  fPending.changeLogicalSizeTo(0);
  correctBound();
  fUnsettled.store(false, std::memory_order_release);
}

void TperiodicTimeRange::clear() {
  fPending.changeLogicalSizeTo(0);
  fUnsettled.store(false, std::memory_order_relaxed);
  fIntervals.changeLogicalSizeTo(0);
  fPeriod = 0;
  fBound = TtimeInterval();
}

// ---- queries ----

bool TperiodicTimeRange::universal() const {
  settled();
  return !periodic() && fIntervals.size() == 1 && fIntervals[0].universal();
}

TperiodicTimeRange::Tticks TperiodicTimeRange::mapTick(Tticks t) const noexcept {
  const Tticks s = cycleStart();
  if (s <= t && t < fIntervals.last().end) return t;
  return static_cast<Tticks>(s + floorMod(static_cast<Tint128>(t) - s, fPeriod));
}

bool TperiodicTimeRange::contains(Tticks t) const {
  settled();
  if (empty()) return false;
  if (periodic()) {
    if (!fBound.contains(t)) return false;
    t = mapTick(t);
  }
  // The last interval starting at or before t.
  const TtimeInterval* it =
      std::upper_bound(fIntervals.begin(), fIntervals.end(), t,
                       [](Tticks v, const TtimeInterval& i) { return v < i.start; });
  return it != fIntervals.begin() && t < (it - 1)->end;
}

bool TperiodicTimeRange::contains(const TtimeInterval& interval) const {
  settled();
  if (interval.empty()) return true;
  if (empty()) return false;
  Tticks start = interval.start;
  if (periodic()) {
    if (!fBound.contains(interval)) return false;
    // A periodic range always has a gap in each cycle.
    if (interval.length() >= fPeriod) return false;
    start = mapTick(start);
  }
  const TtimeInterval* it =
      std::upper_bound(fIntervals.begin(), fIntervals.end(), start,
                       [](Tticks v, const TtimeInterval& i) { return v < i.start; });
  if (it == fIntervals.begin()) return false;
  --it;
  return static_cast<Tint128>(start) + interval.length() <= it->end;
}

bool TperiodicTimeRange::intersects(const TtimeInterval& interval) const {
  settled();
  if (interval.empty() || empty()) return false;
  if (!periodic()) {
    const TtimeInterval* it =
        std::upper_bound(fIntervals.begin(), fIntervals.end(), interval.start,
                         [](Tticks v, const TtimeInterval& i) { return v < i.end; });
    return it != fIntervals.end() && it->start < interval.end;
  }
  const TtimeInterval clipped = interval.intersection(fBound);
  if (clipped.empty()) return false;
  if (clipped.length() >= fPeriod) return true;
  TtimeIntervalArray pieces;
  return expand(clipped, pieces) && !pieces.empty();
}

TperiodicTimeRange TperiodicTimeRange::intersection(const TtimeInterval& span) const {
  TperiodicTimeRange copy(*this);
  copy.clamp(span);
  return copy;
}

bool TperiodicTimeRange::areIntervalsValid() const {
  settled();
  const std::uint32_t n = fIntervals.size();
  for (std::uint32_t i = 0; i < n; ++i) {
    if (fIntervals[i].empty()) return false;
    if (i + 1 < n && fIntervals[i].end >= fIntervals[i + 1].start) return false;
  }
  if (periodic() && n > 0 &&
      static_cast<Tint128>(fIntervals.last().end) >= static_cast<Tint128>(cycleStart()) + fPeriod) {
    return false;
  }
  return true;
}

bool TperiodicTimeRange::expand(const TtimeInterval& span, TtimeIntervalArray& out) const {
  settled();
  out.changeLogicalSizeTo(0);
  if (empty() || span.empty()) return true;
  if (!periodic()) {
    const TtimeInterval* it =
        std::upper_bound(fIntervals.begin(), fIntervals.end(), span.start,
                         [](Tticks v, const TtimeInterval& i) { return v < i.end; });
    for (; it != fIntervals.end() && it->start < span.end; ++it) {
      out.addLast(it->intersection(span));
    }
    return true;
  }
  const TtimeInterval window = span.intersection(fBound);
  if (window.empty()) return true;
  if (!window.finite()) return false;
  const Tticks s = cycleStart();
  const Tticks firstCycle = floorDiv(static_cast<Tint128>(window.start) - s, fPeriod);
  const Tint128 cycles = (static_cast<Tint128>(window.end) - s) / fPeriod - firstCycle + 1;
  if (cycles * fIntervals.size() > kExpandLimit) return false;
  for (Tint128 base = static_cast<Tint128>(firstCycle) * fPeriod; s + base < window.end;
       base += fPeriod) {
    for (const TtimeInterval& i : fIntervals) {
      const TtimeInterval piece =
          TtimeInterval(static_cast<Tticks>(i.start + base), static_cast<Tticks>(i.end + base))
              .intersection(window);
      if (!piece.empty()) out.addLast(piece);
    }
  }
  return true;
}

// Whether every tick of `other` is a tick of this range. Beyond every finite end both ranges
// repeat with the least common multiple of their periods, so one such period on either side of
// the finite part decides for all ticks.
bool TperiodicTimeRange::contains(const TperiodicTimeRange& other) const {
  settled();
  other.settled();
  if (other.empty()) return true;
  if (empty()) return false;
  TtimeIntervalArray pieces;
  if (other.enumerable()) {
    if (!other.periodic()) {
      for (const TtimeInterval& i : other.fIntervals) {
        if (!contains(i)) return false;
      }
      return true;
    }
    if (!other.expand(other.fBound, pieces)) return false;
  } else {
    Tticks q = other.fPeriod;
    if (periodic()) {
      const Tticks g = std::gcd(fPeriod, other.fPeriod);
      if (__builtin_mul_overflow(fPeriod / g, other.fPeriod, &q)) return false;
    }
    Tticks lo = other.cycleStart(), hi = lo;
    auto anchor = [&](Tticks t) {
      if (t > -kInf && t < kInf) lo = std::min(lo, t), hi = std::max(hi, t);
    };
    anchor(other.fBound.start);
    anchor(other.fBound.end);
    anchor(fBound.start);
    anchor(fBound.end);
    anchor(cycleStart());
    const TtimeInterval window(clampToSentinels(static_cast<Tint128>(lo) - q),
                               clampToSentinels(static_cast<Tint128>(hi) + q));
    const Tint128 count = (static_cast<Tint128>(window.end) - window.start) / other.fPeriod + 2;
    if (count * other.fIntervals.size() > kWindowLimit) return false;
    if (!other.expand(window, pieces)) return false;
  }
  for (const TtimeInterval& i : pieces) {
    if (!contains(i)) return false;
  }
  return true;
}

bool TperiodicTimeRange::intersection(const TperiodicTimeRange& other,
                                      TperiodicTimeRange& result) const {
  settled();
  other.settled();
  TtimeIntervalArray a, b;
  TperiodicTimeRange out;
  if (enumerable() && other.enumerable()) {
    if (!expand(fBound, a) || !other.expand(other.fBound, b)) return false;
    intersect(a.data(), a.size(), b.data(), b.size(), out.fIntervals);
    out.correctBound();
  } else if (periodic() && other.periodic() && fPeriod == other.fPeriod &&
             cycleStart() == other.cycleStart()) {
    intersect(fIntervals.data(), fIntervals.size(), other.fIntervals.data(),
              other.fIntervals.size(), out.fIntervals);
    const TtimeInterval bound = fBound.intersection(other.fBound);
    if (!out.fIntervals.empty() && !bound.empty()) {
      out.fPeriod = fPeriod;
      out.fBound = bound;
    } else {
      out.clear();
    }
  } else {
    return false;
  }
  result = out;
  return true;
}

// ---- changes ----

bool TperiodicTimeRange::appendOne(TtimeInterval interval) {
  while (true) {
    if (interval.empty()) return true;
    if (fIntervals.empty() || interval.start > fIntervals.last().end) {
      fIntervals.addLast(interval);
      return true;
    }
    TtimeInterval& last = fIntervals.last();
    if (last.start > interval.end) return false;
    last.end = std::max(last.end, interval.end);
    if (interval.start >= last.start) return true;
    // The merged interval reaches further left: take it out and append it again, so that it
    // merges with the earlier intervals it reaches.
    interval = TtimeInterval(interval.start, last.end);
    fIntervals.removeAt(fIntervals.size() - 1);
  }
}

bool TperiodicTimeRange::append(const TtimeInterval& interval) {
  settled();
  const bool ok = appendOne(interval);
  correctBound();
  return ok;
}

void TperiodicTimeRange::add(const TtimeInterval& interval) {
  if (interval.empty()) return;
  // Once adds wait, later ones join them: the next read sorts them all in one go.
  if (fUnsettled.load(std::memory_order_relaxed)) return defer(interval);
  TtimeInterval* first = fIntervals.begin();
  TtimeInterval* last = fIntervals.end();
  const std::uint32_t n = fIntervals.size();
  // The first interval that ends at or after the new start (touching ones merge).
  TtimeInterval* found;
  if (n < kLinearScanLimit) {
    found = first;
    while (found != last && found->end < interval.start) ++found;
  } else {
    found = std::lower_bound(first, last, interval.start,
                             [](const TtimeInterval& i, Tticks v) { return i.end < v; });
  }
  // Work that would shift the intervals behind `found` waits for the next read (see settled()).
  const bool shifts = n >= kLinearScanLimit && last - found > 1;
  if (found == last) {
    fIntervals.addLast(interval);
  } else if (found->start > interval.end) {
    if (shifts) return defer(interval);
    fIntervals.insert(interval, static_cast<std::uint32_t>(found - first));
  } else if (found->contains(interval)) {
    return;
  } else if (interval.end <= found->end) {
    found->start = interval.start;
  } else {
    // Every interval from `found` up to the last one starting at or before the new end becomes
    // one.
    TtimeInterval* through =
        std::upper_bound(found, last, interval.end,
                         [](Tticks v, const TtimeInterval& i) { return v < i.start; }) -
        1;
    if (through != found && shifts) return defer(interval);
    found->start = std::min(found->start, interval.start);
    found->end = std::max(through->end, interval.end);
    const auto index = static_cast<std::uint32_t>(found - first);
    const auto extra = static_cast<std::uint32_t>(through - found);
    if (extra > 0) fIntervals.removeAt(index + 1, extra);
  }
  correctBound();
}

void TperiodicTimeRange::defer(const TtimeInterval& interval) {
  fPending.addLast(interval);
  fUnsettled.store(true, std::memory_order_release);
}

void TperiodicTimeRange::addAll(const TtimeInterval* intervals, std::uint32_t count) {
  settled();
  std::vector<TtimeInterval> sorted(intervals, intervals + count);
  std::sort(sorted.begin(), sorted.end(),
            [](const TtimeInterval& a, const TtimeInterval& b) { return a.start < b.start; });
  TtimeIntervalArray merged;
  unite(fIntervals.data(), fIntervals.size(), sorted.data(),
        static_cast<std::uint32_t>(sorted.size()), merged);
  fIntervals.swap(merged);
  correctBound();
}

bool TperiodicTimeRange::mergeAsUnion(const TperiodicTimeRange& other) {
  settled();
  other.settled();
  if (other.empty()) return true;
  if (empty()) {
    *this = other;
    return true;
  }
  TtimeIntervalArray a, b, merged;
  if (enumerable() && other.enumerable()) {
    if (!expand(fBound, a) || !other.expand(other.fBound, b)) return false;
    unite(a.data(), a.size(), b.data(), b.size(), merged);
    fPeriod = 0;
  } else if (periodic() && other.periodic() && fPeriod == other.fPeriod &&
             cycleStart() == other.cycleStart() && fBound == other.fBound) {
    unite(fIntervals.data(), fIntervals.size(), other.fIntervals.data(), other.fIntervals.size(),
          merged);
  } else {
    return false;
  }
  fIntervals.swap(merged);
  correctBound();
  return true;
}

void TperiodicTimeRange::clamp(const TtimeInterval& span) {
  settled();
  if (empty()) return;
  if (periodic()) {
    fBound = fBound.intersection(span);
    if (fBound.empty()) clear();
    return;
  }
  if (span.contains(fBound) && !span.empty()) return;
  TtimeIntervalArray kept;
  for (const TtimeInterval& i : fIntervals) {
    if (i.end > span.start && i.start < span.end) kept.addLast(i);
  }
  if (!kept.empty()) {
    kept[0].start = std::max(kept[0].start, span.start);
    kept.last().end = std::min(kept.last().end, span.end);
  }
  fIntervals.swap(kept);
  correctBound();
}

void TperiodicTimeRange::offset(Tticks d) {
  settled();
  if (empty()) return;
  fBound.offset(d);
  for (TtimeInterval& i : fIntervals) i.offset(d);
}

bool TperiodicTimeRange::setPeriodic(TanimTime period, const TtimeInterval& bound) {
  settled();
  const Tticks p = period.inTicks();
  if (empty() || p <= 0) return false;
  const Tticks s = cycleStart();
  if (static_cast<Tint128>(fIntervals.last().end) - s > static_cast<Tint128>(p) + 1) return false;
  fBound = bound;
  fPeriod = p;
  // Close the cycle: a closed last interval reaching one tick into the next cycle ends at it.
  TtimeInterval& last = fIntervals.last();
  if (static_cast<Tint128>(last.end) == static_cast<Tint128>(s) + p + 1) last.end = s + p;
  if (static_cast<Tint128>(last.end) == static_cast<Tint128>(s) + p) {
    if (fIntervals.size() > 1) {
      // The last interval runs into the next cycle's first one: join them across the boundary.
      fIntervals[0].start -= last.length();
      fIntervals.removeAt(fIntervals.size() - 1);
    } else {
      // One interval filling the whole period: every tick of the bound.
      fPeriod = 0;
      fIntervals[0] = bound;
      fBound = bound;
      if (bound.empty()) clear();
    }
  }
  return true;
}

void TperiodicTimeRange::setNonPeriodic() {
  settled();
  fPeriod = 0;
  correctBound();
}

TtimeInterval TperiodicTimeRange::mapToCycle(const TtimeInterval& interval) const {
  settled();
  if (!periodic() || empty()) return interval;
  if (!interval.startFinite() && !interval.endFinite()) return interval;
  const Tticks from = interval.startFinite() ? interval.start : interval.end;
  return interval.offseted(mapTick(from) - from);
}

void TperiodicTimeRange::correctBound() const noexcept {
  if (periodic()) return;
  fBound = fIntervals.empty() ? TtimeInterval()
                              : TtimeInterval(fIntervals[0].start, fIntervals.last().end);
}

bool operator==(const TperiodicTimeRange& a, const TperiodicTimeRange& b) {
  a.settled();
  b.settled();
  const bool same = a.fPeriod == b.fPeriod && a.fBound == b.fBound &&
                    a.fIntervals.size() == b.fIntervals.size() &&
                    std::equal(a.fIntervals.begin(), a.fIntervals.end(), b.fIntervals.begin());
  // Periodic ranges may describe one set in several ways (another cycle start, another bound
  // outside the ticks): compare the sets.
  if (same || !(a.periodic() || b.periodic())) return same;
  return a.contains(b) && b.contains(a);
}

// ---- text ----

Tstring TperiodicTimeRange::asStr() const {
  settled();
  if (empty()) return Tstring("{empty}");
  if (universal()) return Tstring("{all}");
  Tstring text;
  if (periodic()) {
    text += "{ period = ";
    text += TanimTime(fPeriod).toFrameUnitsString();
    text += ", bound = ";
    text += ::asStr(fBound);
    for (const TtimeInterval& i : fIntervals) {
      text += ", ";
      text += ::asStr(i);
    }
    text += "]}";
    return text;
  }
  text += "[";
  for (std::uint32_t i = 0; i < fIntervals.size(); ++i) {
    if (i > 0) text += ", ";
    text += ::asStr(fIntervals[i]);
  }
  text += "]";
  return text;
}

namespace {

// A small reader over the text form: blanks are skipped before every token.
struct TrangeReader {
  const char* p;

  void blanks() {
    while (*p == ' ' || *p == '\t' || *p == '\n') ++p;
  }
  bool literal(const char* word) {
    blanks();
    const std::size_t n = std::strlen(word);
    if (std::strncmp(p, word, n) != 0) return false;
    p += n;
    return true;
  }
  // A time up to the next ',' or ')': "inf", "-inf" or what TanimTime reads.
  bool tick(Tticks& t) {
    blanks();
    const char* end = p;
    while (*end != '\0' && *end != ',' && *end != ')') ++end;
    const std::string word(p, static_cast<std::size_t>(end - p));
    p = end;
    if (word == "inf") return t = kInf, true;
    if (word == "-inf") return t = -kInf, true;
    TanimTime time;
    if (!time.setValueFromString(word.c_str())) return false;
    t = time.inTicks();
    return true;
  }
  bool interval(TtimeInterval& i) {
    return literal("[") && tick(i.start) && literal(",") && tick(i.end) && literal(")");
  }
};

}  // namespace

bool TperiodicTimeRange::setFromString(const char* text) {
  if (text == nullptr) return false;
  TrangeReader in{text};
  TperiodicTimeRange result;
  if (in.literal("{empty}")) {
  } else if (in.literal("{all}")) {
    result = sInfinity();
  } else if (in.literal("{")) {
    TtimeInterval bound;
    Tticks period = 0;
    if (!in.literal("period") || !in.literal("=") || !in.tick(period) || !in.literal(",") ||
        !in.literal("bound") || !in.literal("=") || !in.interval(bound)) {
      return false;
    }
    while (in.literal(",")) {
      TtimeInterval i;
      if (!in.interval(i) || !result.append(i)) return false;
    }
    if (!in.literal("]") || !in.literal("}")) return false;
    if (!result.setPeriodic(TanimTime(period), bound)) return false;
  } else if (in.literal("[")) {
    if (!in.literal("]")) {
      do {
        TtimeInterval i;
        if (!in.interval(i) || !result.append(i)) return false;
      } while (in.literal(","));
      if (!in.literal("]")) return false;
    }
  } else {
    return false;
  }
  in.blanks();
  if (*in.p != '\0' || !result.areIntervalsValid()) return false;
  *this = result;
  return true;
}

std::ostream& operator<<(std::ostream& out, const TperiodicTimeRange& range) {
  return out << range.asStr().asC();
}

// ---- sets of ranges ----

bool TperiodicTimeRangeSet::empty() const noexcept { return fRanges.empty(); }

bool TperiodicTimeRangeSet::universal() const {
  return std::any_of(fRanges.begin(), fRanges.end(),
                     [](const TperiodicTimeRange& r) { return r.universal(); });
}

bool TperiodicTimeRangeSet::contains(TanimTime t) const {
  return std::any_of(fRanges.begin(), fRanges.end(),
                     [t](const TperiodicTimeRange& r) { return r.contains(t); });
}

bool TperiodicTimeRangeSet::intersects(const TtimeInterval& interval) const {
  return std::any_of(fRanges.begin(), fRanges.end(),
                     [&](const TperiodicTimeRange& r) { return r.intersects(interval); });
}

void TperiodicTimeRangeSet::insert(const TperiodicTimeRange& range) {
  if (!range.empty()) fRanges.addLast(range);
}

void TperiodicTimeRangeSet::insert(const TtimeInterval& interval) {
  insert(TperiodicTimeRange(&interval, 1));
}

void TperiodicTimeRangeSet::insert(TanimTime first, TanimTime last) {
  insert(TperiodicTimeRange(first, last));
}

bool TperiodicTimeRangeSet::expand(const TtimeInterval& span, TtimeIntervalArray& out) const {
  // Every range's pieces first, then one sort and merge for them all.
  TtimeIntervalArray pieces, all;
  for (const TperiodicTimeRange& r : fRanges) {
    if (!r.expand(span, pieces)) return false;
    all.addLast(pieces.data(), pieces.size());
  }
  TperiodicTimeRange merged;
  merged.addAll(all.data(), all.size());
  out = merged.intervals();
  return true;
}

Tstring TperiodicTimeRangeSet::asStr() const {
  if (empty()) return Tstring("{empty}");
  Tstring text;
  for (std::uint32_t i = 0; i < fRanges.size(); ++i) {
    if (i > 0) text += ", ";
    text += fRanges[i].asStr();
  }
  return text;
}

Tstring TinnerOuterTimeRange::asStr() const {
  Tstring text("inner = ");
  text += fInner.asStr();
  text += ", outer = ";
  text += fOuter.asStr();
  return text;
}
