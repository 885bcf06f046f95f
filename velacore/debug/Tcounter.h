// Tcounter and TcounterContext: named event tallies, kept per thread and per nested context.
//
// A counter tells how often something happened in total and under which nested context:
//
//   static Tcounter gEvaluations("evaluations");
//   gEvaluations.enable();                  // or Tcounter::sEnableMatchingCounters("eval*")
//   gEvaluations.pushContext("deformers");
//   gEvaluations.increment("skin");         // counted under deformers/skin
//   gEvaluations.popContext();
//   gEvaluations.increment();               // counted at the top level
//   gEvaluations.count();                   // 2: every thread, every context
//   gEvaluations.printCounter(TdebugOutput::sCout(), true);
//
// Each thread counts in a tree of its own, so counting takes no lock once the calling thread's
// tree exists: the tree is found through a small per-thread cache. A disabled counter (or all
// counters off) costs one or two integer tests per call and touches nothing else.
//
// Hazards: enable() is a switch, not a nesting count: two enable() and one disable() leave the
// counter disabled. Contexts belong to the thread that pushed them; pushContext and popContext
// must pair up on that thread. reset() empties the thread table: every thread counts in a fresh
// tree afterwards, outside any context it had pushed (its pops then do nothing). A thread may be
// counting in its old tree at that moment, so the old trees are kept aside and freed when their
// thread next counts (or with the counter); a TcounterContext* from current() is valid until
// then. Counters must outlive their use (static counters live to the end of the process).
#pragma once

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class TdebugOutput;
class Tcounter;

/// One node of a thread's context tree: a count and the named children under it.
class VELACORE_API TcounterContext {
 public:
  /// Hashes the names that key the tables of contexts and threads.
  struct Thash {
    std::size_t operator()(const Tstring& s) const { return s.hash(); }
  };

  /// A context of `counter` named `name` under `parent` (null for the root of a thread's tree).
  TcounterContext(Tcounter* counter, TcounterContext* parent, const Tstring& name);
  TcounterContext(const TcounterContext&) = delete;
  TcounterContext& operator=(const TcounterContext&) = delete;
  ~TcounterContext();

  /// Whether the owning counter is enabled (and counters are on).
  [[nodiscard]] bool isEnabled() const;
  /// The tree's current context (the root itself when none is pushed).
  [[nodiscard]] TcounterContext* current();
  /// Makes `context` the tree's current context (null: the root).
  void setCurrent(TcounterContext* context);

  /// @name Counting in the tree's current context (owning thread only)
  void increment();
  void decrement();
  /// Counts in the child `context` of the current context, which stays current.
  void increment(const Tstring& context);
  void decrement(const Tstring& context);
  /// Makes the child `context` of the current context current.
  void pushContext(const Tstring& context);
  /// Makes the parent of the current context current (nothing at the root).
  void popContext();
  /// This context's child named `name`, made when missing.
  TcounterContext* findOrCreateMatchingCounter(const Tstring& name);

  /// @name Figures
  /// Sets `own` to this context's count and adds it and all descendants' counts to `total`.
  /// Returns false when the owning counter is disabled (the figures are still filled in).
  bool getCounts(unsigned int& own, unsigned int& total) const;
  /// This context's own count.
  [[nodiscard]] unsigned int count() const { return fCount.load(std::memory_order_relaxed); }
  [[nodiscard]] const Tstring& name() const { return fName; }
  /// Drops every child and sets the count to 0 (owning thread only).
  void reset();
  /// Calls `visit` with this context (path "") and every descendant (path "a/b" from here), in
  /// name order, and each one's own count. Under the counter's lock (Tcounter::forEachThread).
  void forEachContext(const std::function<void(const std::string& path, unsigned count)>& visit,
                      const std::string& path = std::string()) const;
  /// The system id of the thread whose tree this is (at the root; 0 elsewhere).
  [[nodiscard]] std::uint32_t threadId() const { return fThreadId; }

  /// @name Tree links
  [[nodiscard]] TcounterContext* parent() const { return fParent; }
  [[nodiscard]] TcounterContext* root() const { return fRoot; }
  void setParent(TcounterContext* parent) { fParent = parent; }
  void setRoot(TcounterContext* root) { fRoot = root; }

  /// Prints this context and, down to `depth` levels (0: all), its children; `path` holds the
  /// context names from the root and gets this context's name for the duration.
  void printCounter(TdebugOutput& out, TstringArray& path, unsigned int depth,
                    const Tstring& threadName) const;

 private:
  friend class Tcounter;
  void addToCurrent(int delta);
  void zeroCounts();  // counter lock held

  std::atomic<unsigned int> fCount{0};
  TcounterContext* fParent;
  TcounterContext* fRoot;
  TcounterContext* fCurrent = nullptr;  // at the root; written by the owning thread only
  std::uint32_t fThreadId = 0;          // at the root
  Tcounter* fCounter;
  Tstring fName;
  // Changed only under the counter's lock; the owning thread may read it without.
  std::unordered_map<Tstring, std::unique_ptr<TcounterContext>, Thash> fChildren;
};

class VELACORE_API Tcounter {
 public:
  /// A disabled counter named `name`, entered in the registry of named counters (unless a
  /// counter of that name is there already).
  explicit Tcounter(const Tstring& name);
  Tcounter(const Tcounter&) = delete;
  Tcounter& operator=(const Tcounter&) = delete;
  ~Tcounter();

  /// @name Switching
  /// Switches the counter on; false when it was on already.
  bool enable();
  /// Switches the counter off; false when it was off already.
  bool disable();
  [[nodiscard]] bool isEnabled() const { return fEnableCount.load(std::memory_order_relaxed) >= 1; }

  /// @name Counting (the calling thread's tree)
  void increment() {
    if (sCountersEnabled() != 0 && isEnabled()) addToCurrent(1);
  }
  void decrement() {
    if (sCountersEnabled() != 0 && isEnabled()) addToCurrent(-1);
  }
  /// Counts in the child `context` of the current context, which stays current.
  void increment(const Tstring& context);
  void decrement(const Tstring& context);
  /// Makes the child `context` of the current context current (when enabled).
  void pushContext(const Tstring& context);
  /// Makes the parent context current again.
  void popContext();
  /// The calling thread's current context (null while the counter is disabled).
  [[nodiscard]] TcounterContext* current();

  /// @name Figures
  /// The sum over every thread and context.
  [[nodiscard]] unsigned int count() const;
  /// `own`: the counts at the roots of all threads; `total`: count(). False when disabled.
  bool getCounts(unsigned int& own, unsigned int& total) const;
  /// Forgets every thread's tree and empties the thread table: counting starts from fresh roots.
  void reset();
  [[nodiscard]] const Tstring& name() const { return fName; }

  /// Calls `visit` with each thread's id and the root of its tree, under the counter's lock (do
  /// not count in this counter from `visit`).
  void forEachThread(
      const std::function<void(std::uint32_t thread, const TcounterContext& root)>& visit) const;

  /// @name Reports
  /// Prints the totals and each thread's tree (to `depth` levels, 0: all), with a heading when
  /// `verbose`; `path` names the report's context ("All" when empty).
  void printCounter(TdebugOutput& out, bool verbose = false, unsigned int depth = 0,
                    const Tstring& path = Tstring()) const;
  /// printCounter with the context "Debug"; verbose when `flags` is not 0.
  void debug(TdebugOutput& out, unsigned int flags) const;
  /// debug() to standard error.
  void debugMe() const;

  /// @name Process-wide
  /// The number of enabled counters; 0 makes every counting call return at once.
  [[nodiscard]] static int sCountersEnabled() {
    return fsCountersEnabled.load(std::memory_order_relaxed);
  }
  /// The registered counter named `name`, or null.
  [[nodiscard]] static Tcounter* sGetCounter(const Tstring& name);
  /// The registered counter named `name` in `out`, made (and kept for the rest of the process)
  /// when missing; returns true when it was made.
  static bool sFindOrCreateNamedCounter(const Tstring& name, Tcounter*& out);
  /// The registered counters whose names match the wildcard `pattern`, in name order.
  [[nodiscard]] static std::vector<Tcounter*> sMatchingCounters(const Tstring& pattern);
  /// Enables / disables / resets every registered counter whose name matches the wildcard
  /// `pattern`; return how many changed (resets: how many matched).
  static int sEnableMatchingCounters(const Tstring& pattern);
  static int sDisableMatchingCounters(const Tstring& pattern);
  static int sResetMatchingCounters(const Tstring& pattern, TdebugOutput* out = nullptr);
  /// Lists the matching counters with their state; returns how many matched.
  static int sListMatchingCounters(const Tstring& pattern, TdebugOutput* out = nullptr);
  /// Prints the matching counters; returns how many were printed.
  static int sPrintMatchingCounters(const Tstring& pattern, TdebugOutput* out = nullptr,
                                    bool verbose = false, unsigned int depth = 0);

 private:
  friend class TcounterContext;
  void addToCurrent(int delta);
  TcounterContext* findOrCreateCounterPerThread();
  TcounterContext* threadRoot();  // through the per-thread cache
  TcounterContext* cachedRoot() const;  // the per-thread cache's entry, or null

  static std::atomic<int> fsCountersEnabled;

  using TcontextTable =
      std::unordered_map<Tstring, std::unique_ptr<TcounterContext>, TcounterContext::Thash>;

  Tstring fName;
  // The per-thread cache's key: drawn from a process-wide sequence that never repeats, and
  // drawn again by reset(), so that no thread finds a tree of before the reset in its cache.
  std::atomic<std::uint64_t> fCacheKey;
  std::atomic<int> fEnableCount{0};
  mutable TmtCriticalSection fLock;  // the thread table and the shape of every tree
  TcontextTable fThreads;
  // Trees forgotten by reset() that their thread may still be counting in, by thread name.
  std::unordered_multimap<Tstring, std::unique_ptr<TcounterContext>, TcounterContext::Thash>
      fRetired;
  bool fRegistered = false;
};
