// TnestedTimers: a process-wide table of named timers for performance investigation.
//
// Code brackets a stretch with start and stop on a timer index; times, completed runs and
// recursions accumulate per timer. The nested calls also record which timer ran inside which, so
// that the report can show a tree with each stretch's share of its parent:
//
//   static const int kEval = TnestedTimers::getIndex("evaluate");
//   static const int kDraw = TnestedTimers::getIndex("draw");
//   TnestedTimers::startNested(kEval);
//     TnestedTimers::startNested(kDraw); ... TnestedTimers::stopNested();
//   TnestedTimers::stopNested();
//   TnestedTimers::dump(TnestedTimers::kNested);
//
// A timer that is started while it runs counts a recursion and only the outermost run is timed.
// A timer opened under a second parent gets an "instance": another slot with the same
// description, linked to the first, so that each place in the tree keeps its own figures.
//
// Hazards: all state is static and unlocked, so use it from one thread only. The table has 128
// slots and never grows; getNextIndex returns -1 when it is full and every operation ignores
// -1. reset() and dump() refuse to act while nested levels are still open.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <cstdint>
#include <vector>

class TdebugOutput;

class VELACORE_API TnestedTimers {
 public:
  /// The number of timer slots.
  static constexpr int kSlots = 128;

  /// Report modes for dump(); the flat table is always printed.
  enum TdumpMode : int {
    kFlat = 0,            ///< the flat table only
    kNested = 1,          ///< plus the tree with total, level and timer-overhead percentages
    kNestedAverage = 2,   ///< plus the tree with counts and average milliseconds per run
    kWithInstances = 4,   ///< figures include the instances of each timer
  };

  /// A record of the nesting tree: which timer slot ran under which parent.
  struct TnestingInfo {
    int index = -1;
    TnestingInfo* parent = nullptr;
    TnestingInfo* firstChild = nullptr;
    TnestingInfo* nextSibling = nullptr;
    std::uint32_t thread = 0;  ///< system id of the thread that first opened it
  };

  /// @name Slots
  /// Takes the next free slot for `description` (copied) and the caller's `tag`; -1 when all
  /// 128 slots are taken. A null description leaves the slot free for the next request.
  [[nodiscard]] static int getNextIndex(const char* description, std::uint64_t tag = 0);
  /// The slot holding `description` with `tag` (not an instance), taking a new one if none does.
  [[nodiscard]] static int getIndex(const char* description, std::uint64_t tag = 0);
  /// Frees one slot (its description, figures and instances); refused while levels are open.
  static void releaseIndex(int index);
  /// Frees every slot; refused while levels are open.
  static void releaseAll();
  /// The description of a slot, or null for a free or invalid one.
  [[nodiscard]] static const char* description(int index);
  /// The tag stored with a slot (0 for an invalid one).
  [[nodiscard]] static std::uint64_t tag(int index);

  /// @name Timing
  /// Starts timer `index`; on a running timer, counts a recursion instead.
  static void start(int index);
  /// Stops timer `index` and returns the seconds of this run; only the outermost stop adds a
  /// completed run and its time. An invalid or idle timer returns 0.
  static double stop(int index);
  /// Starts timer `index` as a child of the innermost open nested timer.
  static void startNested(int index);
  /// Stops the innermost open nested timer; returns the seconds of this run (0 when none open).
  static double stopNested();

  /// @name Figures
  /// Accumulated seconds of a timer, with those of its instances when asked.
  [[nodiscard]] static double getTime(int index, bool withInstances = false);
  /// Completed outermost runs of a timer.
  [[nodiscard]] static int getCount(int index);
  /// Starts of a timer that was already running.
  [[nodiscard]] static int getRecursions(int index);
  /// The number of open nested levels.
  [[nodiscard]] static int openLevels();
  /// The number of startNested calls since the last reset.
  [[nodiscard]] static long numNestedTimerCalls();
  /// Estimated cost in seconds of one start/stop pair (the clock reads it takes).
  [[nodiscard]] static double estimateTimerOverhead();
  /// The timers' clock: seconds since its first use (finer than a microsecond).
  [[nodiscard]] static double pollTimer();
  /// Slot indices of the nesting tree, depth first, parents before children.
  static void collectAllNestedTimers(std::vector<int>& indices);
  /// The nesting record of a slot, or null when it has never been opened nested.
  [[nodiscard]] static const TnestingInfo* getNestingInfo(int index);

  /// @name Resetting
  /// Clears the figures of every slot, drops instances and the nesting tree. Refused (nothing
  /// changes) while nested levels are open.
  static void reset();
  /// Clears the figures of one slot.
  static void reset(int index);
  /// Clears the figures of the slots first..last.
  static void reset(int first, int last);
  /// Forgets the nesting tree and the instances; refused while nested levels are open.
  static void resetNestingInfo();

  /// @name Reports (to `out`, standard output when null)
  /// Prints the flat table and, by `mode`, the nesting tree. Refused with a message while nested
  /// levels are open.
  static void dump(int mode = kFlat, TdebugOutput* out = nullptr);
  /// Prints only the nesting tree.
  static void dumpNested(int mode = kNested, TdebugOutput* out = nullptr);

  /// Orders two slots for the report: larger total first (instances included when asked).
  [[nodiscard]] static bool compare_(int a, int b, bool withInstances);
};
