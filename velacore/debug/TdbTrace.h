// TdbTrace: a named diagnostics switch that can be turned on in a running program.
//
// Code declares a trace once, statically, and guards its diagnostics with on():
//
//   static TdbTrace gGeomTrace("geomEval", 2, "cerr", "Geometry evaluation");
//   ...
//   if (gGeomTrace.on()) gGeomTrace.print("%d faces\n", faces);
//
// Traces start switched off. A developer switches them on without rebuilding, at start-up
// through the environment:
//
//   VELA_DEBUG='geom*:2,anim'     traces matching geom* of level 1 or 2, and anim at any level
//
// (read when the first trace is made and applied to each trace as it registers; `vela-info
// traces` lists them), or in a running program: write lines such as
//
//   on 2 geom*                    switch on every trace matching geom* of level 1 or 2
//   off 0 *                       switch everything off (level 0: any level)
//   file geom.txt 0 geom*         send the matching traces to the file geom.txt
//
// into "debug.cmd" in the program's current directory and send it the debug signal
// (`kill -USR1 <pid>`). A library must not take process-wide resources on its own, so the signal
// is watched only once the application asks: sApplicationStarted() (the start-up environment
// calls it; `VELA_DEBUG_SIGNAL=0` declines), sInstallSignalHandler(), or `VELA_DEBUG_SIGNAL=1`
// (then the first trace installs it). A handler the host had installed for the signal is still
// called. A trace's output is named "stdout"/"cout" (or none), "stderr"/"cerr", or a file name;
// files are placed as TdebugOutputFile describes.
//
// The on() test is a single relaxed load and branch, cheap enough for inner loops. Status and
// output changes are serialised by one registry lock; printing itself is not.
//
// Hazards: a trace must outlive every use of it (static traces live to the end of the process).
// The printing members print whether or not the trace is on: test on() first.
#pragma once

#include <velacore/base/TmtSpinCriticalSection.h>
#include <velacore/base/TvelacoreApi.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/types/TtypeDeclaration.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <atomic>
#include <vector>

class Ttrigger;

class VELACORE_API TdbTrace {
  VELA_DECLARE_TYPE(TdbTrace);

 public:
  /// Flag for debug() that adds the output, state and counts to the report.
  static constexpr unsigned kDebugAll = 16383;

  /// An unlevelled trace `key` printing to `output` (see above); starts off.
  TdbTrace(const char* key, const char* output, const char* description);
  /// A trace of `level` (1 and up; 0 or negative means unlevelled).
  TdbTrace(const char* key, int level, const char* output, const char* description);
  TdbTrace(const TdbTrace&) = delete;
  TdbTrace& operator=(const TdbTrace&) = delete;
  virtual ~TdbTrace();

  /// @name State
  /// Whether the trace prints: switched on and not disabled.
  [[nodiscard]] bool on() const {
    return fOn.load(std::memory_order_relaxed) && fDisableCount.load(std::memory_order_relaxed) == 0;
  }
  /// Switches the trace on or off (fires the trace-change trigger when enabled).
  void setOn(bool on);
  /// Undoes one disable().
  void enable();
  /// Suppresses the trace until the matching enable(), whatever its on switch says.
  void disable();
  [[nodiscard]] int level() const { return fLevel; }
  [[nodiscard]] const Tstring& key() const { return fKey; }
  /// The key, with the level appended ("geomEval[2]") for a levelled trace.
  [[nodiscard]] Tstring name() const;
  [[nodiscard]] const Tstring& description() const { return fDescription; }
  /// The sink this trace prints to (standard error when it has none). Valid until the next
  /// setOutput(): keep a reference (ref()) to hold on to it longer.
  [[nodiscard]] TdebugOutput& output() const;
  /// Replaces the sink (referenced; null means standard error).
  void setOutput(TdebugOutput* output);

  /// @name Printing (to the trace's sink)
  void print(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  void printNoIndent(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  void printError(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  void printMark(const char* mark);
  Tstring beginSection(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  void endSection(const char* fmt, ...) VELA_PRINTF_FORMAT(2, 3);
  void endSection();
  [[nodiscard]] int indent() const;
  void setIndent(int delta);
  void setIndentAbsolute(unsigned int level);
  void skipNextIndent();

  /// @name Print options of this trace
  /// Prefixes this trace's lines with a time stamp.
  void setTimed(bool timed) { fTimed.store(timed, std::memory_order_relaxed); }
  [[nodiscard]] bool timed() const { return fTimed.load(std::memory_order_relaxed); }
  /// Prefixes this trace's lines with the printing thread's id, for traces hit by many threads.
  void setThreadsafe(bool threadsafe) { fThreadsafe.store(threadsafe, std::memory_order_relaxed); }
  [[nodiscard]] bool threadsafe() const { return fThreadsafe.load(std::memory_order_relaxed); }
  /// Whether this trace's lines are indented.
  void setUseIndent(bool use) { fUseIndent.store(use, std::memory_order_relaxed); }
  [[nodiscard]] bool useIndent() const { return fUseIndent.load(std::memory_order_relaxed); }

  /// @name Reports
  /// "name [level] : description".
  [[nodiscard]] Tstring summary() const;
  /// Prints the summary line; with kDebugAll also the output, state and counts.
  virtual void debug(TdebugOutput& out, unsigned int flags) const;
  /// debug() to standard error with every detail.
  void debugMe() const;

  /// Traces order by key.
  bool operator<(const TdbTrace& other) const { return fKey < other.fKey; }
  bool operator>(const TdbTrace& other) const { return fKey > other.fKey; }
  bool operator<=(const TdbTrace& other) const { return fKey <= other.fKey; }
  bool operator>=(const TdbTrace& other) const { return fKey >= other.fKey; }
  bool operator==(const TdbTrace& other) const { return fKey == other.fKey; }
  bool operator!=(const TdbTrace& other) const { return fKey != other.fKey; }

  /// @name Process-wide
  /// Registered traces whose key matches the wildcard `pattern`; with `level` 1 or more, those
  /// of a greater level are left out. Returns the number found.
  static int sGetMatches(int level, const Tstring& pattern, std::vector<TdbTrace*>& out);
  /// The same as text, one "key[level]" entry per match. Returns the number found.
  static int sGetMatches(int level, const Tstring& pattern, TstringArray& out);
  /// Switches every listed trace whose state differs; returns how many changed.
  static int sSetStatus(const std::vector<TdbTrace*>& matches, bool on);
  /// Gives every listed trace the sink `output`, reporting each change on standard output.
  static void sSetOutput(const std::vector<TdbTrace*>& matches, TdebugOutput* output);
  /// Matches and switches in one step under the registry lock, so that traces destroyed by
  /// other threads meanwhile are never touched; returns how many changed.
  static int sSetStatusMatching(int level, const Tstring& pattern, bool on);
  /// Matches and redirects in one step under the registry lock; returns how many matched.
  static int sSetOutputMatching(int level, const Tstring& pattern, TdebugOutput* output);
  /// Prints how many traces matched and the listed traces that are on (or off).
  static void sShowStatus(const std::vector<TdbTrace*>& matches, bool on,
                          TdebugOutput* out = nullptr);
  /// Prints `mark` once on the sink of every trace that is on.
  static void sPrintMarker(const char* mark);
  /// Whether any registered trace is on.
  [[nodiscard]] static bool sTracesOn();
  /// The number of registered traces.
  [[nodiscard]] static int sNumTraces();

  /// Prints one line per registered trace matching `pattern`, in key order: its state ("on" or
  /// "off"), name and description. Returns the number listed.
  static int sListTraces(const Tstring& pattern, TdebugOutput& out);

  /// Reads and applies "debug.cmd" from the current directory; what the debug signal runs.
  static void sSignalHandler();
  /// Applies command-file text (the lines of "debug.cmd"); returns the number of lines applied.
  static int sRunCommands(const char* text, std::size_t length);
  /// Makes the debug signal run sSignalHandler(), starting the thread that runs it; a handler
  /// installed before for the signal is still called. Only the first call installs. Returns
  /// success.
  static bool sInstallSignalHandler();

  /// @name Switching by the environment
  /// Takes a `VELA_DEBUG` list ("pattern[:level],..."): switches on the registered traces that
  /// match an entry, and every trace registered later that does. Replaces the previous list
  /// (traces it switched on stay on). A malformed entry is reported on standard error and
  /// skipped. Returns the number of traces switched on now.
  static int sSetDebugPatterns(const char* list);
  /// Reports, once each, the entries of the list that no registered trace matched so far, on
  /// standard error. Returns how many were reported by this call.
  static int sReportUnknownDebugPatterns();
  /// What the application calls when its start-up is done (the start-up environment does):
  /// takes `VELA_DEBUG` again if it changed meanwhile (the environment file may set it),
  /// reports unknown patterns, and installs the debug signal unless `VELA_DEBUG_SIGNAL` is "0".
  static void sApplicationStarted();

  /// The trigger fired when a trace's on switch changes (while triggers are enabled).
  [[nodiscard]] static Ttrigger& sTraceChangeTrigger();
  /// Enables or disables firing the trace-change trigger.
  static void sEnableTraceChangeTriggers(bool enable);
  /// Fires the trace-change trigger if triggers are enabled.
  static void sTriggerTraceChange();

  /// The sink for an output name, referenced for the caller: standard output for
  /// null, "", "stdout" or "cout"; standard error for "stderr" or "cerr"; else the file sink of
  /// that name (shared with other traces writing to the same file).
  [[nodiscard]] static TdebugOutput* sOutputFor(const char* target);

 private:
  void vprintLine(int kind, const char* fmt, va_list args);
  /// The sink, referenced for the caller (who must unref it): a concurrent setOutput cannot
  /// delete it under a print.
  TdebugOutput* acquireOutput() const;
  bool setOnLocked(bool on);  // registry lock held; returns whether the state changed
  static int sSetStatusLocked(const std::vector<TdbTrace*>& matches, bool on);
  static void sSetOutputLocked(const std::vector<TdbTrace*>& matches, TdebugOutput* output);

  Tstring fKey;
  Tstring fDescription;
  TdebugOutput* fOutput = nullptr;  // referenced; null: standard error; fOutputLock
  mutable TmtSpinCriticalSection fOutputLock;
  int fLevel;
  std::atomic<int> fDisableCount{0};
  std::atomic<bool> fOn{false};
  std::atomic<bool> fTimed{false};
  std::atomic<bool> fThreadsafe{false};
  std::atomic<bool> fUseIndent{true};
};
