#include <velacore/debug/TdebugOutput.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/internal/TdebugThread.h>
#include <velacore/platform/TplatformStack.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <vector>

namespace {

// The process-wide list of outputs. Made once and never destroyed, so that sinks can still
// register and unregister while other static objects are being destroyed.
struct ToutputRegistry {
  TmtCriticalSection lock;
  std::vector<TdebugOutput*> outputs;
};

ToutputRegistry& outputRegistry() {
  static Timmortal<ToutputRegistry> sRegistry;
  return *sRegistry;
}

std::atomic<TdebugOutput*> gCout{nullptr};
std::atomic<TdebugOutput*> gCerr{nullptr};

// Makes a standard sink once: concurrent first callers race with compare-and-swap and the
// losers delete their copies.
TdebugOutput& standardSink(std::atomic<TdebugOutput*>& slot, std::ostream* stream) {
  TdebugOutput* current = slot.load(std::memory_order_acquire);
  if (current != nullptr) return *current;
  auto* made = new TdebugOutput(stream);
  made->ref();  // held by the slot for the rest of the process
  if (slot.compare_exchange_strong(current, made, std::memory_order_acq_rel,
                                   std::memory_order_acquire)) {
    return *made;
  }
  delete made;
  return *current;
}

}  // namespace

TdebugOutput::TdebugOutput(std::ostream* stream, unsigned bufferSize)
    : fStream(stream), fBufferSize(bufferSize) {
  if (fBufferSize != 0) {
    fBuffer = static_cast<char*>(std::malloc(fBufferSize));
    if (fBuffer == nullptr) fBufferSize = 0;  // grows on first use instead
  }
  sAddNewOutput(this);
}

TdebugOutput::~TdebugOutput() {
  sRemoveOutput(this);
  std::free(fBuffer);
}

void TdebugOutput::unref() const {
  if (fRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

bool TdebugOutput::tryRef() const {
  int count = fRefCount.load(std::memory_order_relaxed);
  while (count > 0) {
    if (fRefCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                        std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

// ---- process-wide ----

TdebugOutput& TdebugOutput::sCout() { return standardSink(gCout, &std::cout); }

TdebugOutput& TdebugOutput::sCerr() { return standardSink(gCerr, &std::cerr); }

const char* TdebugOutput::sNullString(const char* text) {
  return text == nullptr ? "(null)" : text;
}

const char* TdebugOutput::sBoolString(bool value) { return value ? "true" : "false"; }

void TdebugOutput::sAddNewOutput(TdebugOutput* output) {
  if (output == nullptr) return;
  ToutputRegistry& r = outputRegistry();
  TmtScopedLock guard(r.lock);
  r.outputs.push_back(output);
}

void TdebugOutput::sRemoveOutput(TdebugOutput* output) {
  ToutputRegistry& r = outputRegistry();
  TmtScopedLock guard(r.lock);
  auto it = std::find(r.outputs.begin(), r.outputs.end(), output);
  if (it != r.outputs.end()) r.outputs.erase(it);
}

int TdebugOutput::sNumOutputs() {
  ToutputRegistry& r = outputRegistry();
  TmtScopedLock guard(r.lock);
  return static_cast<int>(r.outputs.size());
}

// ---- formatting and printing ----

bool TdebugOutput::doFormatToReportString(const char* fmt, va_list args) {
  if (fmt == nullptr) return false;
  for (;;) {
    va_list attempt;
    va_copy(attempt, args);
    const int needed = std::vsnprintf(fBuffer, fBufferSize, fmt, attempt);
    va_end(attempt);
    if (needed < 0) return false;
    if (static_cast<unsigned>(needed) < fBufferSize) return true;
    // Grow in whole steps, straight to the first size that holds the text and its NUL.
    const std::uint64_t want = static_cast<std::uint64_t>(needed) + 1;
    const std::uint64_t steps = (want - fBufferSize + kFormatBufferStep - 1) / kFormatBufferStep;
    const std::uint64_t grown = fBufferSize + steps * kFormatBufferStep;
    if (grown > static_cast<std::uint64_t>(INT32_MAX)) return false;
    char* bigger = static_cast<char*>(std::realloc(fBuffer, grown));
    if (bigger == nullptr) return false;
    fBuffer = bigger;
    fBufferSize = static_cast<unsigned>(grown);
  }
}

void TdebugOutput::emit(Tline kind, const char* extraPrefix, const char* fmt, va_list args) {
  if (fmt == nullptr) return;
  TmtScopedLock guard(fPrintLock);
  if (!doFormatToReportString(fmt, args)) return;
  if (kind != Tline::kNoIndent) {
    const bool skip = fSkipNextIndent.exchange(false, std::memory_order_relaxed);
    if (!skip && fUseIndent.load(std::memory_order_relaxed)) {
      if (isTimed()) reportString(timeString().asC());
      if (!fIndentation.empty()) reportString(fIndentation.c_str());
    }
    if (kind == Tline::kError) reportString("ERR: ");
  }
  if (extraPrefix != nullptr && *extraPrefix != '\0') reportString(extraPrefix);
  reportString();
}

void TdebugOutput::reportString(const char* text) {
  if (text != nullptr && fStream != nullptr) *fStream << text;
}

void TdebugOutput::reportString() {
  if (fBuffer != nullptr) reportString(fBuffer);
}

void TdebugOutput::vprint(const char* fmt, va_list args) { emit(Tline::kPlain, nullptr, fmt, args); }

void TdebugOutput::vprintNoIndent(const char* fmt, va_list args) {
  emit(Tline::kNoIndent, nullptr, fmt, args);
}

void TdebugOutput::vprintError(const char* fmt, va_list args) {
  emit(Tline::kError, nullptr, fmt, args);
}

void TdebugOutput::print(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprint(fmt, args);
  va_end(args);
}

void TdebugOutput::printNoIndent(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprintNoIndent(fmt, args);
  va_end(args);
}

void TdebugOutput::printError(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vprintError(fmt, args);
  va_end(args);
}

void TdebugOutput::printMark(const char* mark) { print("==== %s ====\n", sNullString(mark)); }

void TdebugOutput::printStack(int skip, int depth) {
  // One more frame left out: this function's own.
  const std::vector<vela::platform::TstackFrame> frames =
      vela::platform::captureStack(skip < 0 ? 1 : skip + 1, depth);
  int index = 0;
  for (const vela::platform::TstackFrame& f : frames) {
    print("#%d %p %s+0x%llx (%s)\n", index++, f.address,
          f.function.empty() ? "??" : f.function.c_str(),
          static_cast<unsigned long long>(f.offset), f.module.empty() ? "??" : f.module.c_str());
  }
}

// ---- sections ----

Tstring TdebugOutput::beginSection(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  Tstring title = vbeginSection(fmt, args);
  va_end(args);
  return title;
}

void TdebugOutput::endSection(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  vendSection(fmt, args);
  va_end(args);
}

Tstring TdebugOutput::vbeginSection(const char* fmt, va_list args) {
  if (!acquireOwnership()) return Tstring();  // kept until the matching endSection
  Tstring title;
  if (fmt != nullptr) {
    va_list copy;
    va_copy(copy, args);
    title.cFormatArgList(fmt, copy);
    va_end(copy);
    print("%s\n", title.asC());
  }
  print("{\n");
  TmtScopedLock guard(fPrintLock);
  ++fLevel;
  rebuildIndentation();
  return title;
}

void TdebugOutput::vendSection(const char* fmt, va_list args) {
  if (!acquireOwnership()) return;
  {
    TmtScopedLock guard(fPrintLock);
    --fLevel;
    rebuildIndentation();
  }
  if (fmt == nullptr) {
    print("} // (empty)\n");
  } else {
    Tstring text;
    va_list copy;
    va_copy(copy, args);
    text.cFormatArgList(fmt, copy);
    va_end(copy);
    print("} // %s\n", text.asC());
  }
  releaseOwnership();  // this call's
  releaseOwnership();  // the matching beginSection's
}

void TdebugOutput::endSection() {
  if (!acquireOwnership()) return;
  {
    TmtScopedLock guard(fPrintLock);
    --fLevel;
    rebuildIndentation();
  }
  print("}\n");
  releaseOwnership();
  releaseOwnership();
}

// ---- indentation ----

void TdebugOutput::rebuildIndentation() {
  fIndentation.clear();
  int level = fLevel;
  for (; level < 0; ++level) fIndentation += fUnderflowUnit;
  int units = level;
  if (fMaxIndent >= 1 && level > fMaxIndent) {
    char excess[32];
    std::snprintf(excess, sizeof excess, "-%3d ->", level - fMaxIndent);
    fIndentation += excess;
    units = fMaxIndent;
  }
  fIndentation.reserve(fIndentation.size() + static_cast<std::size_t>(units) * fIndentUnit.size());
  for (int i = 0; i < units; ++i) fIndentation += fIndentUnit;
}

void TdebugOutput::setIndent(int delta) {
  if (!acquireOwnership()) return;
  {
    TmtScopedLock guard(fPrintLock);
    const int old = fLevel;
    const long long wanted = static_cast<long long>(old) + delta;
    fLevel = static_cast<int>(std::clamp<long long>(wanted, INT_MIN / 2, INT_MAX / 2));
    const bool plainBefore = old >= 0 && !(fMaxIndent >= 1 && old > fMaxIndent);
    if (fLevel < old && fLevel >= 0 && plainBefore) {
      fIndentation.resize(static_cast<std::size_t>(fLevel) * fIndentUnit.size());
    } else if (fLevel != old) {
      rebuildIndentation();
    }
  }
  releaseOwnership();
}

void TdebugOutput::setIndentAbsolute(unsigned int level) {
  if (!acquireOwnership()) return;
  {
    TmtScopedLock guard(fPrintLock);
    fLevel = static_cast<int>(std::min<unsigned>(level, INT_MAX / 2));
    rebuildIndentation();
  }
  releaseOwnership();
}

int TdebugOutput::indent() const {
  TmtScopedLock guard(fPrintLock);
  return fLevel;
}

void TdebugOutput::setMaxIndent(int levels) {
  if (!acquireOwnership()) return;
  {
    TmtScopedLock guard(fPrintLock);
    fMaxIndent = levels;
    rebuildIndentation();
  }
  releaseOwnership();
}

bool TdebugOutput::isOverMaxIndent() const {
  TmtScopedLock guard(fPrintLock);
  return fMaxIndent >= 1 && fLevel > fMaxIndent;
}

void TdebugOutput::setUseIndent(bool use) { fUseIndent.store(use, std::memory_order_relaxed); }

void TdebugOutput::skipNextIndent() { fSkipNextIndent.store(true, std::memory_order_relaxed); }

Tstring TdebugOutput::indentationString() const {
  TmtScopedLock guard(fPrintLock);
  return Tstring(fIndentation.c_str(), static_cast<unsigned>(fIndentation.size()));
}

unsigned TdebugOutput::formatBufferSize() const {
  TmtScopedLock guard(fPrintLock);
  return fBufferSize;
}

// ---- time stamps ----

void TdebugOutput::setTimed(bool timed) { fTimed.store(timed, std::memory_order_relaxed); }

Tstring TdebugOutput::timeString() {
  using namespace std::chrono;
  const auto sinceEpoch = system_clock::now().time_since_epoch();
  const long long ms = duration_cast<milliseconds>(sinceEpoch).count();
  const long long dayMs = ms % (24LL * 3600 * 1000);
  char text[32];
  std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld.%03lld ", dayMs / 3600000,
                dayMs / 60000 % 60, dayMs / 1000 % 60, dayMs % 1000);
  return Tstring(text);
}

// ---- ownership ----

bool TdebugOutput::acquireOwnership() {
  const std::uint32_t me = vela::debug_internal::currentThreadId32();
  std::uint32_t owner = fOwner.load(std::memory_order_acquire);
  if (owner == me) {
    ++fOwnerDepth;
    return true;
  }
  owner = 0;
  if (!fOwner.compare_exchange_strong(owner, me, std::memory_order_acq_rel,
                                      std::memory_order_acquire)) {
    return false;
  }
  fOwnerDepth = 1;
  return true;
}

void TdebugOutput::releaseOwnership() {
  if (fOwner.load(std::memory_order_acquire) != vela::debug_internal::currentThreadId32()) return;
  if (fOwnerDepth > 0 && --fOwnerDepth > 0) return;
  fOwner.store(0, std::memory_order_release);
}

// ---- target ----

Tstring TdebugOutput::name() const {
  if (fStream == &std::cout) return Tstring("stdout");
  if (fStream == &std::cerr) return Tstring("stderr");
  return Tstring::cFormatString("STREAM: 0x%p", static_cast<const void*>(fStream));
}

void TdebugOutput::close() {
  TmtScopedLock guard(fPrintLock);
  if (fStream != nullptr) fStream->flush();
}

void TdebugOutput::closeNoReopen() { close(); }

void TdebugOutput::open() {}
