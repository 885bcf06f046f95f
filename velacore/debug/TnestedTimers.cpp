#include <velacore/debug/TnestedTimers.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/Tclock.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/debug/internal/TdebugThread.h>
#include <velacore/debug/internal/TtimerTicks.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Tslot {
  char* description = nullptr;  // null: the slot is free
  std::uint64_t tag = 0;
  double total = 0.0;
  int count = 0;
  int recursions = 0;
  int depth = 0;
  std::int64_t startedAt = 0;  // the clock's raw ticks
  int nextInstance = -1;
  int instanceOf = -1;  // the first slot of the chain, -1 for a first slot
  TnestedTimers::TnestingInfo* nesting = nullptr;
};

using TnestingInfo = TnestedTimers::TnestingInfo;

struct Tstate {
  Tstate() : ticks(vela::debug_internal::tickSource()) {
    origin = Tclock::sNow();
    stack.reserve(TnestedTimers::kSlots);
    records.reserve(TnestedTimers::kSlots);
  }
  const vela::debug_internal::TtickSource& ticks;  // what start and stop read
  double origin;  // Tclock seconds at first use
  Tslot slots[TnestedTimers::kSlots];
  int cursor = 0;
  std::vector<TnestingInfo*> stack;                     // the open nested levels
  std::vector<std::unique_ptr<TnestingInfo>> records;   // every record of the tree
  TnestingInfo top;                                     // parent of the top-level records
  long nestedCalls = 0;
};

// The table lives for the whole process and is made on first use.
Tstate& state() {
  static Timmortal<Tstate> sState;
  return *sState;
}

bool valid(int index) { return index >= 0 && index < TnestedTimers::kSlots; }

// The timer, in seconds since first use (finer than a microsecond: Tclock's resolution).
double now(const Tstate& s) { return Tclock::sNow() - s.origin; }

// A raw reading for start(), and the seconds since one for stop(): never negative.
std::int64_t readTicks(const Tstate& s) { return vela::debug_internal::readTicks(s.ticks); }
double secondsSince(const Tstate& s, std::int64_t from) {
  return vela::debug_internal::ticksToSeconds(s.ticks, from, readTicks(s));
}

int takeSlot(Tstate& s, const char* description, std::uint64_t tag) {
  for (int tries = 0; tries < TnestedTimers::kSlots; ++tries) {
    const int index = s.cursor;
    s.cursor = (s.cursor + 1) % TnestedTimers::kSlots;
    Tslot& slot = s.slots[index];
    if (slot.description != nullptr) continue;
    slot = Tslot();
    slot.description = description != nullptr ? ::strdup(description) : nullptr;
    slot.tag = tag;
    return index;
  }
  return -1;
}

void freeSlot(Tslot& slot) {
  std::free(slot.description);
  slot = Tslot();
}

void clearFigures(Tslot& slot) {
  slot.total = 0.0;
  slot.count = 0;
  slot.recursions = 0;
}

// Drops every instance chain (the instances' slots become free) and the nesting tree.
void dropInstancesAndNesting(Tstate& s) {
  for (Tslot& slot : s.slots) {
    if (slot.instanceOf >= 0) freeSlot(slot);
  }
  for (Tslot& slot : s.slots) {
    slot.nextInstance = -1;
    slot.nesting = nullptr;
  }
  s.records.clear();
  s.top = TnestingInfo();
  s.stack.clear();
}

double figure(const Tstate& s, int index, bool withInstances) {
  double total = s.slots[index].total;
  if (withInstances) {
    for (int i = s.slots[index].nextInstance; valid(i); i = s.slots[i].nextInstance) {
      total += s.slots[i].total;
    }
  }
  return total;
}

// Start/stop calls made inside a record's subtree, for the timer-overhead share.
long subtreeCalls(const Tstate& s, const TnestingInfo* record) {
  const Tslot& slot = s.slots[record->index];
  long calls = slot.count + slot.recursions;
  for (const TnestingInfo* c = record->firstChild; c != nullptr; c = c->nextSibling) {
    calls += subtreeCalls(s, c);
  }
  return calls;
}

std::vector<const TnestingInfo*> sortedChildren(const TnestingInfo* parent, bool withInstances) {
  std::vector<const TnestingInfo*> children;
  for (const TnestingInfo* c = parent->firstChild; c != nullptr; c = c->nextSibling) {
    children.push_back(c);
  }
  std::stable_sort(children.begin(), children.end(),
                   [withInstances](const TnestingInfo* a, const TnestingInfo* b) {
                     return TnestedTimers::compare_(a->index, b->index, withInstances);
                   });
  return children;
}

struct Treport {
  TdebugOutput& out;
  int mode;
  bool withInstances;
  double grandTotal;
  double overhead;
};

void printNestedLine(const Treport& r, const char* label, int depth, double time, double parent,
                     int count, long calls, bool recursed, bool hasInstances) {
  char description[128];
  std::snprintf(description, sizeof description, "%*s%s", depth * 2, "", label);
  const double totalPct = r.grandTotal > 0 ? 100.0 * time / r.grandTotal : 0.0;
  const double levelPct = parent > 0 ? 100.0 * time / parent : 100.0;
  const char instanceMark = hasInstances && r.withInstances ? '+' : ' ';
  const char recursionMark = recursed ? 'r' : ' ';
  if ((r.mode & TnestedTimers::kNestedAverage) != 0) {
    const double averageMs = count > 0 ? 1000.0 * time / count : 0.0;
    r.out.printNoIndent("%-45.45s %10.4f%c%6.2f %7d%c%6.2f\n", description, time, instanceMark,
                        totalPct, count, recursionMark, averageMs);
  } else {
    const double timerPct = time > 0 ? std::min(100.0 * calls * r.overhead / time, 99.99) : 0.0;
    r.out.printNoIndent("%-45.45s %8.4f%c%6.2f %6.2f %5d%c%4.2f\n", description, time,
                        instanceMark, totalPct, levelPct, count, recursionMark, timerPct);
  }
}

void printRecord(const Tstate& s, const Treport& r, const TnestingInfo* record, int depth,
                 double parentTime) {
  const Tslot& slot = s.slots[record->index];
  const double time = slot.total;
  printNestedLine(r, slot.description != nullptr ? slot.description : "(unnamed)", depth, time,
                  parentTime, slot.count, subtreeCalls(s, record), slot.recursions > 0,
                  slot.instanceOf >= 0 || slot.nextInstance >= 0);
  if (record->firstChild == nullptr) return;
  double children = 0.0;
  for (const TnestingInfo* child : sortedChildren(record, false)) {
    printRecord(s, r, child, depth + 1, time);
    children += s.slots[child->index].total;
  }
  const double other = time - children;
  if (other > 0) printNestedLine(r, "OTHER", depth + 1, other, time, 0, 0, false, false);
}

}  // namespace

// ---- slots ----

int TnestedTimers::getNextIndex(const char* description, std::uint64_t tag) {
  return takeSlot(state(), description, tag);
}

int TnestedTimers::getIndex(const char* description, std::uint64_t tag) {
  Tstate& s = state();
  if (description != nullptr) {
    for (int i = 0; i < kSlots; ++i) {
      const Tslot& slot = s.slots[i];
      if (slot.description != nullptr && slot.instanceOf < 0 && slot.tag == tag &&
          std::strcmp(slot.description, description) == 0) {
        return i;
      }
    }
  }
  return takeSlot(s, description, tag);
}

void TnestedTimers::releaseIndex(int index) {
  Tstate& s = state();
  if (!valid(index) || !s.stack.empty()) return;
  dropInstancesAndNesting(s);
  freeSlot(s.slots[index]);
}

void TnestedTimers::releaseAll() {
  Tstate& s = state();
  if (!s.stack.empty()) return;
  dropInstancesAndNesting(s);
  for (Tslot& slot : s.slots) freeSlot(slot);
  s.cursor = 0;
  s.nestedCalls = 0;
}

const char* TnestedTimers::description(int index) {
  return valid(index) ? state().slots[index].description : nullptr;
}

std::uint64_t TnestedTimers::tag(int index) { return valid(index) ? state().slots[index].tag : 0; }

// ---- timing ----

void TnestedTimers::start(int index) {
  if (!valid(index)) return;
  Tstate& s = state();
  Tslot& slot = s.slots[index];
  if (slot.depth > 0) {
    ++slot.recursions;
    ++slot.depth;
    return;
  }
  slot.depth = 1;
  slot.startedAt = readTicks(s);
}

double TnestedTimers::stop(int index) {
  if (!valid(index)) return 0.0;
  Tstate& s = state();
  Tslot& slot = s.slots[index];
  if (slot.depth <= 0) return 0.0;
  const double elapsed = secondsSince(s, slot.startedAt);
  if (slot.depth > 1) {
    --slot.depth;
    return elapsed;
  }
  slot.depth = 0;
  ++slot.count;
  slot.total += elapsed;
  return elapsed;
}

void TnestedTimers::startNested(int index) {
  if (!valid(index)) return;
  Tstate& s = state();
  ++s.nestedCalls;
  TnestingInfo* parent = s.stack.empty() ? &s.top : s.stack.back();

  // A timer started again directly inside itself is a recursion of the open instance, not a
  // new child: a recursive function would otherwise use up a slot per level.
  const auto chainOf = [&s](int i) { return s.slots[i].instanceOf >= 0 ? s.slots[i].instanceOf : i; };
  if (parent != &s.top && chainOf(parent->index) == chainOf(index)) {
    start(parent->index);
    return;
  }

  // The instance of this timer that belongs under `parent`, made when there is none yet.
  int chosen = index;
  if (s.slots[index].nesting != nullptr && s.slots[index].nesting->parent != parent) {
    int last = index;
    chosen = -1;
    for (int i = index; valid(i); i = s.slots[i].nextInstance) {
      last = i;
      if (s.slots[i].nesting == nullptr || s.slots[i].nesting->parent == parent) {
        chosen = i;
        break;
      }
    }
    if (chosen < 0) {
      chosen = takeSlot(s, s.slots[last].description, s.slots[last].tag);
      if (chosen < 0) return;  // the table is full: this stretch goes untimed
      s.slots[last].nextInstance = chosen;
      s.slots[chosen].instanceOf = index;
    }
  }

  Tslot& slot = s.slots[chosen];
  if (slot.depth > 0) {
    start(chosen);  // recursion: counted, not pushed again
    return;
  }
  if (slot.nesting == nullptr) {
    s.records.push_back(std::make_unique<TnestingInfo>());
    TnestingInfo* record = s.records.back().get();
    record->index = chosen;
    record->parent = parent;
    record->thread = vela::debug_internal::currentThreadId32();
    // Append so that the children keep the order in which they first ran.
    TnestingInfo** link = &parent->firstChild;
    while (*link != nullptr) link = &(*link)->nextSibling;
    *link = record;
    slot.nesting = record;
  }
  s.stack.push_back(slot.nesting);
  start(chosen);
}

double TnestedTimers::stopNested() {
  Tstate& s = state();
  if (s.stack.empty()) return 0.0;
  const int index = s.stack.back()->index;
  const double elapsed = stop(index);
  if (s.slots[index].depth == 0) s.stack.pop_back();
  return elapsed;
}

// ---- figures ----

double TnestedTimers::getTime(int index, bool withInstances) {
  return valid(index) ? figure(state(), index, withInstances) : 0.0;
}

int TnestedTimers::getCount(int index) { return valid(index) ? state().slots[index].count : 0; }

int TnestedTimers::getRecursions(int index) {
  return valid(index) ? state().slots[index].recursions : 0;
}

int TnestedTimers::openLevels() { return static_cast<int>(state().stack.size()); }

long TnestedTimers::numNestedTimerCalls() { return state().nestedCalls; }

double TnestedTimers::estimateTimerOverhead() {
  // A start/stop pair costs two clock reads and a little bookkeeping; measure the reads.
  const Tstate& s = state();
  constexpr int kPairs = 1000;
  const auto begin = std::chrono::steady_clock::now();
  volatile double sink = 0.0;  // keeps the reads from being optimised away
  for (int i = 0; i < kPairs; ++i) sink = sink + secondsSince(s, readTicks(s));
  const auto end = std::chrono::steady_clock::now();
  const double seconds = std::chrono::duration<double>(end - begin).count();
  return seconds / kPairs;
}

double TnestedTimers::pollTimer() { return now(state()); }

void TnestedTimers::collectAllNestedTimers(std::vector<int>& indices) {
  struct Twalk {
    static void visit(const TnestingInfo* record, std::vector<int>& out) {
      for (const TnestingInfo* c = record; c != nullptr; c = c->nextSibling) {
        out.push_back(c->index);
        visit(c->firstChild, out);
      }
    }
  };
  Twalk::visit(state().top.firstChild, indices);
}

const TnestedTimers::TnestingInfo* TnestedTimers::getNestingInfo(int index) {
  return valid(index) ? state().slots[index].nesting : nullptr;
}

bool TnestedTimers::compare_(int a, int b, bool withInstances) {
  const Tstate& s = state();
  return figure(s, a, withInstances) > figure(s, b, withInstances);
}

// ---- resetting ----

void TnestedTimers::reset() {
  Tstate& s = state();
  if (!s.stack.empty()) return;
  dropInstancesAndNesting(s);
  for (Tslot& slot : s.slots) clearFigures(slot);
  s.nestedCalls = 0;
}

void TnestedTimers::reset(int index) { reset(index, index); }

void TnestedTimers::reset(int first, int last) {
  Tstate& s = state();
  for (int i = std::max(first, 0); i <= std::min(last, kSlots - 1); ++i) clearFigures(s.slots[i]);
}

void TnestedTimers::resetNestingInfo() {
  Tstate& s = state();
  if (!s.stack.empty()) return;
  dropInstancesAndNesting(s);
}

// ---- reports ----

namespace {
// Results are only meaningful once every level is closed; says so and answers true otherwise.
template <class State>
bool refuseWhileOpen(const State& s, TdebugOutput& sink) {
  if (s.stack.empty()) return false;
  sink.print("cannot print results, timers not closed (%d opened levels)\n",
             static_cast<int>(s.stack.size()));
  return true;
}
}  // namespace

void TnestedTimers::dump(int mode, TdebugOutput* out) {
  TdebugOutput& sink = out != nullptr ? *out : TdebugOutput::sCout();
  Tstate& s = state();
  if (refuseWhileOpen(s, sink)) return;
  const bool withInstances = (mode & kWithInstances) != 0;
  const double overhead = estimateTimerOverhead();

  sink.printNoIndent("%3s %-30s %10s %10s %6s %6s\n", "Idx", "Description", "Cumulative",
                     "Average", "Count", "Recursns");
  std::vector<int> order;
  for (int i = 0; i < kSlots; ++i) {
    const Tslot& slot = s.slots[i];
    if (slot.description != nullptr && slot.count >= 1 && slot.instanceOf < 0) order.push_back(i);
  }
  std::stable_sort(order.begin(), order.end(),
                   [withInstances](int a, int b) { return compare_(a, b, withInstances); });
  for (int i : order) {
    const Tslot& slot = s.slots[i];
    char average[32];
    std::snprintf(average, sizeof average, "%10.5f", slot.total / slot.count);
    sink.printNoIndent("%3d %-30.30s %10.5f %10s %6d %6d\n", i, slot.description, slot.total,
                       average, slot.count, slot.recursions);
    if (withInstances && slot.nextInstance >= 0) {
      int count = 0;
      for (int k = i; valid(k); k = s.slots[k].nextInstance) count += s.slots[k].count;
      const double total = figure(s, i, true);
      std::snprintf(average, sizeof average, "%10.5f", count > 0 ? total / count : 0.0);
      sink.printNoIndent("%3s %-30.30s %10.5f %10s %6d %6d\n", "", "  with its instances", total,
                         average, count, 0);
    }
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.3f us per start/stop pair", overhead * 1e6);
  sink.printNoIndent("   *%-30.30s %-50s\n", "timer overhead", text);
  std::snprintf(text, sizeof text, "%ld", s.nestedCalls);
  sink.printNoIndent("   *%-30.30s %-50s\n", "nested timer calls", text);

  if ((mode & (kNested | kNestedAverage)) != 0) dumpNested(mode, &sink);
}

void TnestedTimers::dumpNested(int mode, TdebugOutput* out) {
  TdebugOutput& sink = out != nullptr ? *out : TdebugOutput::sCout();
  Tstate& s = state();
  if (refuseWhileOpen(s, sink)) return;
  if ((mode & (kNested | kNestedAverage)) == 0) mode |= kNested;
  const bool withInstances = (mode & kWithInstances) != 0;
  double grandTotal = 0.0;
  for (const TnestingInfo* c = s.top.firstChild; c != nullptr; c = c->nextSibling) {
    grandTotal += s.slots[c->index].total;
  }
  const Treport report{sink, mode, withInstances, grandTotal, estimateTimerOverhead()};
  if ((mode & kNestedAverage) != 0) {
    sink.printNoIndent("%-45s %10s%6s %7s %6s\n", "Description", "Time  ", "Tot %", "Count",
                       "Average");
  } else {
    sink.printNoIndent("%-45s %9s%6s %6s %5s %4s\n", "Description", "Time  ", "Tot %", "Lev %",
                       "Count", "Tim%");
  }
  for (const TnestingInfo* record : sortedChildren(&s.top, withInstances)) {
    printRecord(s, report, record, 0, grandTotal);
  }
}
