// TtraceEventExport: nested timers and counters as Chrome trace-event JSON.
//
// The file opens in Perfetto (ui.perfetto.dev) and chrome://tracing, which draw the timers as a
// flame chart and the counters as tracks:
//
//   TtraceEventExport events;
//   events.addNestedTimers();               // the tree TnestedTimers::dumpNested prints
//   events.addCounters("eval*");            // every counter matching the wildcard pattern
//   events.writeFile("timers.json");
//
// Timers: one complete event ("ph":"X") per record of the nesting tree, on the thread that
// opened it. The timers keep totals, not single runs, so an event spans its record's total time:
// the top-level records are laid end to end from time 0 and each record's children end to end
// from its own start, in the report's order (largest first). The picture is an aggregate, like
// the report: what ran inside what and for how long in all, not when. Each event's arguments
// carry the run count, the recursions and the slot index.
//
// Counters: one counter event ("ph":"C") per thread tree of each enabled counter, at the end of
// the timeline, with the thread's total and the count of each context path ("deformers/skin";
// the thread's own count at the top as "(top)").
//
// Hazards: TnestedTimers is single-threaded; export from the thread that times. Open nested
// levels are not exported (their runs are not finished), like the report refuses to print.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>

#include <string>

class VELACORE_API TtraceEventExport {
 public:
  /// Adds the nested timers' tree; returns the number of events added (0 while levels are open).
  int addNestedTimers();
  /// Adds the enabled counters whose names match `pattern`; returns the number of events added.
  int addCounters(const Tstring& pattern = Tstring("*"));

  /// The JSON document: {"traceEvents":[...],"displayTimeUnit":"ms"}.
  [[nodiscard]] Tstring json() const;
  /// Writes json() to `path`; false when the file cannot be written.
  bool writeFile(const Tstring& path) const;

 private:
  std::string fEvents;       // comma-separated event objects
  double fTimelineEnd = 0.0;  // microseconds: where the counters go
  int fCount = 0;
};
