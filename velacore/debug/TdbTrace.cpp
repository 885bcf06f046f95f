#include <velacore/debug/TdbTrace.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/Ttrigger.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/TdebugOutputFile.h>
#include <velacore/debug/internal/TdebugCommandFile.h>
#include <velacore/debug/internal/TdebugThread.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformSignal.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>  // the standard streams exist before this file's trace is made
#include <string>

namespace {

constexpr const char* kCommandFile = "debug.cmd";

// Every trace, under one lock. Made once and never destroyed, so static traces may register and
// unregister in any order during start-up and shut-down.
struct TtraceRegistry {
  TmtCriticalSection lock;
  std::vector<TdbTrace*> traces;
  Ttrigger changed;
  std::atomic<bool> triggersEnabled{false};
  // The patterns of VELA_DEBUG, applied to each trace as it registers.
  struct Tpattern {
    Tstring pattern;
    int level = 0;
    bool matched = false;   // some trace matched it
    bool reported = false;  // reported as unknown already
  };
  std::vector<Tpattern> patterns;
  std::string patternText;  // the list they came from
};

TtraceRegistry& registry() {
  static Timmortal<TtraceRegistry> sRegistry;
  return *sRegistry;
}

enum TlineKind { kPlain, kNoIndent, kError };

bool matchesAt(const TdbTrace& trace, int level, const Tstring& pattern) {
  return (level < 1 || trace.level() <= level) && trace.key().matches(pattern);
}

// Switches `trace` on when a VELA_DEBUG pattern matches it; the registry lock is held. Returns
// whether its state changed.
bool applyPatternsLocked(TtraceRegistry& r, TdbTrace& trace, bool (TdbTrace::*setOn)(bool)) {
  bool changed = false;
  for (TtraceRegistry::Tpattern& p : r.patterns) {
    if (!matchesAt(trace, p.level, p.pattern)) continue;
    p.matched = true;
    changed = (trace.*setOn)(true) || changed;
  }
  return changed;
}

// The environment is read once, when the first trace is made.
bool readDebugEnvironment() {
  if (const char* list = VelaGetEnv("VELA_DEBUG")) TdbTrace::sSetDebugPatterns(list);
  const char* signal = VelaGetEnv("VELA_DEBUG_SIGNAL");
  if (signal != nullptr && std::strcmp(signal, "1") == 0) TdbTrace::sInstallSignalHandler();
  return true;
}

}  // namespace

// ---- construction ----

TdbTrace::TdbTrace(const char* key, const char* output, const char* description)
    : TdbTrace(key, 0, output, description) {}

TdbTrace::TdbTrace(const char* key, int level, const char* output, const char* description)
    : fKey(key), fDescription(description), fOutput(sOutputFor(output)), fLevel(level) {
  static const bool sEnvironmentRead = readDebugEnvironment();
  (void)sEnvironmentRead;
  bool changed;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    r.traces.push_back(this);
    changed = applyPatternsLocked(r, *this, &TdbTrace::setOnLocked);
  }
  if (changed) sTriggerTraceChange();
}

TdbTrace::~TdbTrace() {
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    r.traces.erase(std::remove(r.traces.begin(), r.traces.end(), this), r.traces.end());
  }
  if (fOutput != nullptr) fOutput->unref();
}

TdebugOutput* TdbTrace::sOutputFor(const char* target) {
  TdebugOutput* sink = nullptr;
  if (target == nullptr || *target == '\0' ||
      std::strcmp(target, "stdout") == 0 || std::strcmp(target, "cout") == 0) {
    sink = &TdebugOutput::sCout();
  } else if (std::strcmp(target, "stderr") == 0 ||
             std::strcmp(target, "cerr") == 0) {
    sink = &TdebugOutput::sCerr();
  } else {
    return TdebugOutputFile::sFindOrMakeNamedOutput(Tstring(target));
  }
  sink->ref();
  return sink;
}

// ---- state ----

bool TdbTrace::setOnLocked(bool on) {
  return fOn.exchange(on, std::memory_order_relaxed) != on;
}

void TdbTrace::setOn(bool on) {
  bool changed;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    changed = setOnLocked(on);
  }
  if (changed) sTriggerTraceChange();
}

void TdbTrace::enable() {
  int count = fDisableCount.load(std::memory_order_relaxed);
  while (count > 0 && !fDisableCount.compare_exchange_weak(count, count - 1,
                                                           std::memory_order_relaxed)) {
  }
}

void TdbTrace::disable() { fDisableCount.fetch_add(1, std::memory_order_relaxed); }

Tstring TdbTrace::name() const {
  if (fLevel < 1) return fKey;
  static const Tstring kNameFormat("^1s[^2d]");
  Tstring text;
  text.tFormat(&kNameFormat, &fKey, fLevel);
  return text;
}

TdebugOutput* TdbTrace::acquireOutput() const {
  TmtScopedLock guard(fOutputLock);
  TdebugOutput* sink = fOutput != nullptr ? fOutput : &TdebugOutput::sCerr();
  sink->ref();
  return sink;
}

TdebugOutput& TdbTrace::output() const {
  TmtScopedLock guard(fOutputLock);
  return fOutput != nullptr ? *fOutput : TdebugOutput::sCerr();
}

void TdbTrace::setOutput(TdebugOutput* output) {
  if (output != nullptr) output->ref();
  TdebugOutput* old;
  {
    TmtScopedLock guard(fOutputLock);
    old = fOutput;
    fOutput = output;
  }
  if (old != nullptr) old->unref();
}

// ---- printing ----

void TdbTrace::vprintLine(int kind, const char* fmt, va_list args) {
  if (fmt == nullptr) return;
  char prefix[64] = "";
  int used = 0;
  if (timed()) {
    const Tstring stamp = TdebugOutput::timeString();
    used = std::snprintf(prefix, sizeof prefix, "%s", stamp.asC());
  }
  if (threadsafe() && used >= 0 && static_cast<std::size_t>(used) < sizeof prefix) {
    std::snprintf(prefix + used, sizeof prefix - static_cast<std::size_t>(used), "[%u] ",
                  static_cast<unsigned>(vela::debug_internal::currentThreadId32()));
  }
  TdebugOutput* sink = acquireOutput();
  const bool indented = useIndent() && kind != kNoIndent;
  using Tline = TdebugOutput::Tline;
  sink->emit(kind == kError ? Tline::kError : indented ? Tline::kPlain : Tline::kNoIndent, prefix,
             fmt, args);
  sink->unref();
}

void TdbTrace::print(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprintLine(kPlain, fmt, args);
  va_end(args);
}

void TdbTrace::printNoIndent(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprintLine(kNoIndent, fmt, args);
  va_end(args);
}

void TdbTrace::printError(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprintLine(kError, fmt, args);
  va_end(args);
}

void TdbTrace::printMark(const char* mark) {
  TdebugOutput* sink = acquireOutput();
  sink->printMark(mark);
  sink->unref();
}

Tstring TdbTrace::beginSection(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  TdebugOutput* sink = acquireOutput();
  Tstring title = sink->vbeginSection(fmt, args);
  sink->unref();
  va_end(args);
  return title;
}

void TdbTrace::endSection(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  TdebugOutput* sink = acquireOutput();
  sink->vendSection(fmt, args);
  sink->unref();
  va_end(args);
}

void TdbTrace::endSection() {
  TdebugOutput* sink = acquireOutput();
  sink->endSection();
  sink->unref();
}

int TdbTrace::indent() const {
  TdebugOutput* sink = acquireOutput();
  const int level = sink->indent();
  sink->unref();
  return level;
}

void TdbTrace::setIndent(int delta) {
  TdebugOutput* sink = acquireOutput();
  sink->setIndent(delta);
  sink->unref();
}

void TdbTrace::setIndentAbsolute(unsigned int level) {
  TdebugOutput* sink = acquireOutput();
  sink->setIndentAbsolute(level);
  sink->unref();
}

void TdbTrace::skipNextIndent() {
  TdebugOutput* sink = acquireOutput();
  sink->skipNextIndent();
  sink->unref();
}

// ---- reports ----

Tstring TdbTrace::summary() const {
  return Tstring::cFormatString("%s [%d] : %s", name().asC(), fLevel, fDescription.asC());
}

void TdbTrace::debug(TdebugOutput& out, unsigned int flags) const {
  out.print("%s [%d] : %s\n", name().asC(), fLevel, fDescription.asC());
  if ((flags & kDebugAll) != kDebugAll) return;
  TdebugOutput* sink = nullptr;
  {
    TmtScopedLock guard(fOutputLock);
    sink = fOutput;
    if (sink != nullptr) sink->ref();
  }
  out.setIndent(1);
  out.print("Output  = %s\n", sink != nullptr ? sink->name().asC() : "NULL");
  // The trace's own reference is what the count shows, not the one taken for this report.
  out.print("OutREF  = %d\n", sink != nullptr ? sink->refCount() - 1 : 0);
  out.print("State   = %s\n", fOn.load(std::memory_order_relaxed) ? "ON" : "OFF");
  out.print("Timed   = %s\n", timed() ? "ON" : "OFF");
  out.print("Disable = %d\n", fDisableCount.load(std::memory_order_relaxed));
  out.setIndent(-1);
  if (sink != nullptr) sink->unref();
}

void TdbTrace::debugMe() const { debug(TdebugOutput::sCerr(), kDebugAll); }

// ---- process-wide ----

namespace {

// Registered traces matching `pattern` at `level`; the registry lock must be held.
int collectLocked(const TtraceRegistry& r, int level, const Tstring& pattern,
                  std::vector<TdbTrace*>& out) {
  int found = 0;
  for (TdbTrace* trace : r.traces) {
    if (!matchesAt(*trace, level, pattern)) continue;
    out.push_back(trace);
    ++found;
  }
  return found;
}

}  // namespace

int TdbTrace::sGetMatches(int level, const Tstring& pattern, std::vector<TdbTrace*>& out) {
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  return collectLocked(r, level, pattern, out);
}

int TdbTrace::sGetMatches(int level, const Tstring& pattern, TstringArray& out) {
  std::vector<TdbTrace*> matches;
  const int found = sGetMatches(level, pattern, matches);
  for (const TdbTrace* trace : matches) {
    out.addLast(Tstring::cFormatString("%s[%d]", trace->fKey.asC(), trace->fLevel));
  }
  return found;
}

int TdbTrace::sSetStatusLocked(const std::vector<TdbTrace*>& matches, bool on) {
  int changed = 0;
  for (TdbTrace* trace : matches) {
    if (trace->setOnLocked(on)) ++changed;
  }
  return changed;
}

int TdbTrace::sSetStatus(const std::vector<TdbTrace*>& matches, bool on) {
  int changed;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    changed = sSetStatusLocked(matches, on);
  }
  if (changed > 0) sTriggerTraceChange();
  return changed;
}

int TdbTrace::sSetStatusMatching(int level, const Tstring& pattern, bool on) {
  int changed;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    std::vector<TdbTrace*> matches;
    collectLocked(r, level, pattern, matches);
    changed = sSetStatusLocked(matches, on);
  }
  if (changed > 0) sTriggerTraceChange();
  return changed;
}

void TdbTrace::sSetOutputLocked(const std::vector<TdbTrace*>& matches, TdebugOutput* output) {
  const Tstring newName = output != nullptr ? output->name() : Tstring("NULL");
  for (TdbTrace* trace : matches) {
    Tstring oldName;
    {
      TmtScopedLock outputGuard(trace->fOutputLock);
      oldName = trace->fOutput != nullptr ? trace->fOutput->name() : Tstring("NULL");
    }
    trace->setOutput(output);
    TdebugOutput::sCout().print("Changed output of [%s] from '%s' to %s\n",
                                trace->name().asC(), oldName.asC(), newName.asC());
  }
}

void TdbTrace::sSetOutput(const std::vector<TdbTrace*>& matches, TdebugOutput* output) {
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  sSetOutputLocked(matches, output);
}

int TdbTrace::sSetOutputMatching(int level, const Tstring& pattern, TdebugOutput* output) {
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  std::vector<TdbTrace*> matches;
  const int found = collectLocked(r, level, pattern, matches);
  sSetOutputLocked(matches, output);
  return found;
}

void TdbTrace::sShowStatus(const std::vector<TdbTrace*>& matches, bool on, TdebugOutput* out) {
  TdebugOutput& sink = out != nullptr ? *out : TdebugOutput::sCout();
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  sink.print("%d traces of %d\n", static_cast<int>(matches.size()),
             static_cast<int>(r.traces.size()));
  sink.print("%s\n", on ? "Traces Turned On" : "Traces Turned Off");
  for (const TdbTrace* trace : matches) {
    if (trace->fOn.load(std::memory_order_relaxed) == on) sink.print("   %s\n", trace->name().asC());
  }
}

void TdbTrace::sPrintMarker(const char* mark) {
  std::vector<TdebugOutput*> sinks;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    for (const TdbTrace* trace : r.traces) {
      if (!trace->on()) continue;
      TdebugOutput* sink = trace->acquireOutput();
      if (std::find(sinks.begin(), sinks.end(), sink) == sinks.end()) {
        sinks.push_back(sink);
      } else {
        sink->unref();
      }
    }
  }
  for (TdebugOutput* sink : sinks) {
    sink->printMark(mark);
    sink->unref();
  }
}

bool TdbTrace::sTracesOn() {
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  return std::any_of(r.traces.begin(), r.traces.end(),
                     [](const TdbTrace* trace) { return trace->on(); });
}

int TdbTrace::sNumTraces() {
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);
  return static_cast<int>(r.traces.size());
}

int TdbTrace::sListTraces(const Tstring& pattern, TdebugOutput& out) {
  std::vector<TdbTrace*> matches;
  TtraceRegistry& r = registry();
  TmtScopedLock guard(r.lock);  // held while printing: no listed trace can go meanwhile
  collectLocked(r, 0, pattern, matches);
  std::sort(matches.begin(), matches.end(),
            [](const TdbTrace* a, const TdbTrace* b) {
              return *a < *b || (*a == *b && a->level() < b->level());
            });
  for (const TdbTrace* trace : matches) {
    out.print("%-3s %-32s %s\n", trace->on() ? "on" : "off", trace->name().asC(),
              trace->description().asC());
  }
  return static_cast<int>(matches.size());
}

int TdbTrace::sSetDebugPatterns(const char* list) {
  std::vector<std::string> bad;
  int changed = 0;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    r.patternText = list != nullptr ? list : "";
    r.patterns.clear();
    for (const auto& entry : vela::debug_internal::parseDebugPatternList(r.patternText)) {
      if (entry.bad) {
        bad.push_back(entry.pattern);
        continue;
      }
      const bool repeated = std::any_of(
          r.patterns.begin(), r.patterns.end(), [&entry](const TtraceRegistry::Tpattern& p) {
            return p.level == entry.level && p.pattern == entry.pattern.c_str();
          });
      if (repeated) continue;
      TtraceRegistry::Tpattern p;
      p.pattern = Tstring(entry.pattern.data(), static_cast<unsigned>(entry.pattern.size()));
      p.level = entry.level;
      r.patterns.push_back(std::move(p));
    }
    for (TdbTrace* trace : r.traces) {
      if (applyPatternsLocked(r, *trace, &TdbTrace::setOnLocked)) ++changed;
    }
  }
  for (const std::string& entry : bad) {
    TdebugOutput::sCerr().print("VELA_DEBUG: ignored '%s' (expected pattern or pattern:level)\n",
                                entry.c_str());
  }
  if (changed > 0) sTriggerTraceChange();
  return changed;
}

int TdbTrace::sReportUnknownDebugPatterns() {
  std::vector<Tstring> unknown;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    for (TtraceRegistry::Tpattern& p : r.patterns) {
      if (p.matched || p.reported) continue;
      p.reported = true;
      unknown.push_back(p.pattern);
    }
  }
  for (const Tstring& pattern : unknown) {
    TdebugOutput::sCerr().print("VELA_DEBUG: no trace matches '%s'\n", pattern.asC());
  }
  return static_cast<int>(unknown.size());
}

void TdbTrace::sApplicationStarted() {
  const char* list = VelaGetEnv("VELA_DEBUG");
  bool changed;
  {
    TtraceRegistry& r = registry();
    TmtScopedLock guard(r.lock);
    changed = r.patternText != (list != nullptr ? list : "");
  }
  if (changed) sSetDebugPatterns(list);
  sReportUnknownDebugPatterns();
  const char* signal = VelaGetEnv("VELA_DEBUG_SIGNAL");
  if (signal == nullptr || std::strcmp(signal, "0") != 0) sInstallSignalHandler();
}

Ttrigger& TdbTrace::sTraceChangeTrigger() { return registry().changed; }

void TdbTrace::sEnableTraceChangeTriggers(bool enable) {
  registry().triggersEnabled.store(enable, std::memory_order_relaxed);
}

void TdbTrace::sTriggerTraceChange() {
  TtraceRegistry& r = registry();
  if (r.triggersEnabled.load(std::memory_order_relaxed)) r.changed.fire();
}

// ---- the command file ----

namespace {

TdbTrace& commandTrace() {
  static TdbTrace* sTrace =
      new TdbTrace("velaDebugCommands", "cerr", "each line of debug.cmd as it is applied");
  return *sTrace;
}
// Registered when the library loads, so that VELA_DEBUG and `vela-info traces` find it.
[[maybe_unused]] const TdbTrace& gCommandTrace = commandTrace();

void applyCommand(const vela::debug_internal::TdebugCommand& command) {
  using vela::debug_internal::TdebugCommand;
  switch (command.kind) {
    case TdebugCommand::kSkip:
      return;
    case TdebugCommand::kUnknown:
      TdebugOutput::sCerr().print("Unrecognized debug keyword '%s'\n", command.word.c_str());
      return;
    case TdebugCommand::kBadLevel:
      TdebugOutput::sCerr().print("Unrecognized debug level '%s'\n", command.word.c_str());
      return;
    case TdebugCommand::kOn:
    case TdebugCommand::kOff:
    case TdebugCommand::kFile:
      break;
  }
  const Tstring pattern(command.pattern.data(), static_cast<unsigned>(command.pattern.size()));
  // Matching and changing happen under one hold of the registry lock, so a trace destroyed by
  // another thread meanwhile is never touched.
  if (command.kind == TdebugCommand::kFile) {
    TdebugOutput* sink = TdbTrace::sOutputFor(command.output.c_str());
    TdbTrace::sSetOutputMatching(command.level, pattern, sink);
    sink->unref();  // the traces hold their own references
  } else {
    TdbTrace::sSetStatusMatching(command.level, pattern, command.kind == TdebugCommand::kOn);
  }
}

// Applies each line as it is cut; counts the lines that named a known action.
class TcommandRunner {
 public:
  TcommandRunner()
      : fSplitter([this](std::string_view line) {
          using vela::debug_internal::TdebugCommand;
          TdbTrace& trace = commandTrace();
          if (trace.on()) {
            trace.print("debug.cmd: %.*s\n", static_cast<int>(line.size()), line.data());
          }
          const TdebugCommand command = vela::debug_internal::parseDebugCommandLine(line);
          applyCommand(command);
          if (command.kind == TdebugCommand::kOn || command.kind == TdebugCommand::kOff ||
              command.kind == TdebugCommand::kFile) {
            ++fApplied;
          }
        }) {}
  void feed(const char* bytes, std::size_t length) { fSplitter.feed(bytes, length); }
  int finish() {
    fSplitter.finish();
    return fApplied;
  }

 private:
  vela::debug_internal::TcommandLineSplitter fSplitter;
  int fApplied = 0;
};

}  // namespace

int TdbTrace::sRunCommands(const char* text, std::size_t length) {
  TcommandRunner runner;
  if (text != nullptr) runner.feed(text, length);
  return runner.finish();
}

void TdbTrace::sSignalHandler() {
  std::error_code error;
  if (!std::filesystem::exists(kCommandFile, error) && !error) {
    TdebugOutput::sCout().print("File %s does not exist\n", kCommandFile);
    return;
  }
  errno = 0;
  std::ifstream file(kCommandFile, std::ios::in | std::ios::binary);
  if (!file.is_open() || std::filesystem::is_directory(kCommandFile, error)) {
    const int code = errno;
    TdebugOutput::sCerr().print("ERR: cannot read %s: %s\n", kCommandFile,
                                code != 0 ? std::strerror(code) : "not a readable file");
    return;
  }
  TcommandRunner runner;
  char chunk[4096];
  while (file) {
    file.read(chunk, sizeof chunk);
    if (file.gcount() <= 0) break;
    runner.feed(chunk, static_cast<std::size_t>(file.gcount()));
  }
  if (file.bad()) TdebugOutput::sCerr().print("ERR: cannot read all of %s\n", kCommandFile);
  runner.finish();
}

bool TdbTrace::sInstallSignalHandler() {
  static const bool sInstalled = vela::platform::watchDebugSignal(&TdbTrace::sSignalHandler);
  return sInstalled;
}
