#include <velacore/debug/Tcounter.h>

#include <velacore/base/TstringCatalog.h>
#include <velacore/base/internal/Timmortal.h>
#include <velacore/debug/TdebugOutput.h>
#include <velacore/debug/internal/TdebugThread.h>

#include <algorithm>
#include <chrono>
#include <utility>

std::atomic<int> Tcounter::fsCountersEnabled{0};

namespace {

constexpr TstringId kThreadName{"s_TcounterStrings.rCounterThreadName"};
constexpr TstringId kRetrieveError{"s_TcounterStrings.rCounterRetrieveError"};
constexpr TstringId kVerboseHeading{"s_TcounterStrings.rCounterVerboseHeading"};
constexpr TstringId kAtMaxDepth{"s_TcounterStrings.rCounterAtMaxDepth"};
constexpr TstringId kListEnabled{"s_TcounterStrings.rCounterListEnabled"};
constexpr TstringId kListDisabled{"s_TcounterStrings.rCounterListDisabled"};
constexpr TstringId kMatchingPrint{"s_TcounterStrings.rCounterMatchingPrint"};
constexpr TstringId kFullPrint{"s_TcounterStrings.rCounterFullPrint"};
constexpr TstringId kDateTime{"s_TcounterStrings.rCounterDateTime"};
constexpr TstringId kDisabledError{"s_TcounterStrings.rCountersDisabledError"};
constexpr TstringId kDisabledNoReset{"s_TcounterStrings.rCountersDisabledNoReset"};
constexpr TstringId kNotRetrieved{"s_TcounterStrings.rCountersNotRetrieved"};
constexpr TstringId kVerboseCount{"s_TcounterStrings.rCounterVerboseCount"};

// Cache keys start at 1, so a zeroed cache slot never matches.
std::atomic<std::uint64_t> gNextCacheKey{1};

std::uint64_t nextCacheKey() { return gNextCacheKey.fetch_add(1, std::memory_order_relaxed); }

// The calling thread's recently used trees, by counter cache key. Plain data: no constructor or
// destructor runs per thread.
constexpr unsigned kCacheSlots = 16;
struct TthreadCache {
  std::uint64_t key[kCacheSlots];
  TcounterContext* root[kCacheSlots];
};
// Initial-exec: the library is linked at start-up, so its thread-local block is reached
// without a call to the dynamic loader on every count.
__attribute__((tls_model("initial-exec"))) thread_local TthreadCache tCache;

struct TcounterRegistry {
  TmtCriticalSection lock;
  std::unordered_map<Tstring, Tcounter*, TcounterContext::Thash> counters;
};

// Created on first use and never destroyed, so static counters may come and go in any order.
TcounterRegistry& counterRegistry() {
  static Timmortal<TcounterRegistry> sRegistry;
  return *sRegistry;
}

// Prints one catalog format filled with the given arguments, followed by a line feed.
template <class... Args>
void printCatalog(TdebugOutput& out, TstringId id, Args... args) {
  const Tstring format(id);
  Tstring text;
  text.tFormat(&format, args...);
  out.print("%s\n", text.asC());
}

const Tstring& printLineFormat() {
  static Timmortal<const Tstring> sFormat("^1d\t^2d\t^3s\t^4s\t^5s");
  return *sFormat;
}

// The children of a context in name order, for stable reports.
std::vector<const TcounterContext*> sortedChildren(
    const std::unordered_map<Tstring, std::unique_ptr<TcounterContext>, TcounterContext::Thash>&
        table) {
  std::vector<const TcounterContext*> children;
  children.reserve(table.size());
  for (const auto& entry : table) children.push_back(entry.second.get());
  std::sort(children.begin(), children.end(),
            [](const TcounterContext* a, const TcounterContext* b) { return a->name() < b->name(); });
  return children;
}

// "YYYY-MM-DD HH:MM:SS UTC" for report headings (civil date from the day count).
Tstring reportDateTime() {
  using namespace std::chrono;
  const long long seconds = duration_cast<std::chrono::seconds>(
                                system_clock::now().time_since_epoch()).count();
  long long days = seconds / 86400;
  const long long daySeconds = seconds % 86400;
  days += 719468;
  const long long era = days / 146097;
  const long long dayOfEra = days - era * 146097;
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const long long mp = (5 * dayOfYear + 2) / 153;
  const long long day = dayOfYear - (153 * mp + 2) / 5 + 1;
  const long long month = mp < 10 ? mp + 3 : mp - 9;
  const long long year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  return Tstring::cFormatString("%04lld-%02lld-%02lld %02lld:%02lld:%02lld UTC", year, month, day,
                                daySeconds / 3600, daySeconds / 60 % 60, daySeconds % 60);
}

}  // namespace

// ---- TcounterContext ----

TcounterContext::TcounterContext(Tcounter* counter, TcounterContext* parent, const Tstring& name)
    : fParent(parent),
      fRoot(parent == nullptr ? this : parent->fRoot),
      fCounter(counter),
      fName(name) {}

TcounterContext::~TcounterContext() = default;

bool TcounterContext::isEnabled() const {
  return fCounter != nullptr && Tcounter::sCountersEnabled() != 0 && fCounter->isEnabled();
}

TcounterContext* TcounterContext::current() {
  TcounterContext* root = fRoot;
  return root->fCurrent != nullptr ? root->fCurrent : root;
}

void TcounterContext::setCurrent(TcounterContext* context) {
  fRoot->fCurrent = context == fRoot ? nullptr : context;
}

void TcounterContext::addToCurrent(int delta) {
  // Only the owning thread counts in its tree, so a plain load and store suffice (no locked
  // read-modify-write); a reset() racing with it may lose its zero for this one count.
  std::atomic<unsigned int>& count = current()->fCount;
  count.store(count.load(std::memory_order_relaxed) + static_cast<unsigned int>(delta),
              std::memory_order_relaxed);
}

void TcounterContext::increment() { addToCurrent(1); }

void TcounterContext::decrement() { addToCurrent(-1); }

void TcounterContext::increment(const Tstring& context) {
  pushContext(context);
  addToCurrent(1);
  popContext();
}

void TcounterContext::decrement(const Tstring& context) {
  pushContext(context);
  addToCurrent(-1);
  popContext();
}

void TcounterContext::pushContext(const Tstring& context) {
  setCurrent(current()->findOrCreateMatchingCounter(context));
}

void TcounterContext::popContext() {
  TcounterContext* now = current();
  if (now != fRoot) setCurrent(now->fParent);
}

TcounterContext* TcounterContext::findOrCreateMatchingCounter(const Tstring& name) {
  // Only the owning thread changes this table, so its own lookup needs no lock; the insertion
  // does, because reports read the table from other threads.
  auto it = fChildren.find(name);
  if (it != fChildren.end()) return it->second.get();
  auto child = std::make_unique<TcounterContext>(fCounter, this, name);
  TcounterContext* made = child.get();
  if (fCounter != nullptr) {
    TmtScopedLock guard(fCounter->fLock);
    fChildren.emplace(name, std::move(child));
  } else {
    fChildren.emplace(name, std::move(child));
  }
  return made;
}

bool TcounterContext::getCounts(unsigned int& own, unsigned int& total) const {
  own = count();
  total += own;
  for (const auto& entry : fChildren) {
    unsigned int childOwn = 0;
    entry.second->getCounts(childOwn, total);
  }
  return isEnabled();
}

void TcounterContext::reset() {
  if (fCounter != nullptr) {
    TmtScopedLock guard(fCounter->fLock);
    fChildren.clear();
  } else {
    fChildren.clear();
  }
  fCurrent = nullptr;
  fCount.store(0, std::memory_order_relaxed);
}

void TcounterContext::forEachContext(
    const std::function<void(const std::string& path, unsigned count)>& visit,
    const std::string& path) const {
  visit(path, count());
  for (const TcounterContext* child : sortedChildren(fChildren)) {
    child->forEachContext(visit, path.empty() ? std::string(child->fName.asC())
                                              : path + "/" + child->fName.asC());
  }
}

void TcounterContext::zeroCounts() {
  fCount.store(0, std::memory_order_relaxed);
  for (auto& entry : fChildren) entry.second->zeroCounts();
}

void TcounterContext::printCounter(TdebugOutput& out, TstringArray& path, unsigned int depth,
                                   const Tstring& threadName) const {
  unsigned int own = 0;
  unsigned int total = 0;
  getCounts(own, total);
  const Tstring element = fParent == nullptr ? threadName : fName;
  const Tstring counterName = fCounter != nullptr ? fCounter->name() : Tstring();
  Tstring line;
  line.tFormat(&printLineFormat(), static_cast<int>(total), static_cast<int>(own), &element,
               &counterName, &threadName);
  out.print("%s\n", line.asC());
  if (fChildren.empty()) return;
  if (depth == 1) {
    printCatalog(out, kAtMaxDepth);
    return;
  }
  out.setIndent(1);
  for (const TcounterContext* child : sortedChildren(fChildren)) {
    path.addLast(child->fName);
    child->printCounter(out, path, depth == 0 ? 0 : depth - 1, threadName);
    path.removeLast();
  }
  out.setIndent(-1);
}

// ---- Tcounter ----

Tcounter::Tcounter(const Tstring& name)
    : fName(name), fCacheKey(nextCacheKey()) {
  TcounterRegistry& r = counterRegistry();
  TmtScopedLock guard(r.lock);
  fRegistered = r.counters.emplace(fName, this).second;
}

Tcounter::~Tcounter() {
  disable();
  if (!fRegistered) return;
  TcounterRegistry& r = counterRegistry();
  TmtScopedLock guard(r.lock);
  auto it = r.counters.find(fName);
  if (it != r.counters.end() && it->second == this) r.counters.erase(it);
}

bool Tcounter::enable() {
  int count = fEnableCount.load(std::memory_order_relaxed);
  do {
    if (count >= 1) return false;
  } while (!fEnableCount.compare_exchange_weak(count, count + 1, std::memory_order_relaxed));
  fsCountersEnabled.fetch_add(1, std::memory_order_relaxed);
  return true;
}

bool Tcounter::disable() {
  int count = fEnableCount.load(std::memory_order_relaxed);
  do {
    if (count < 1) return false;
  } while (!fEnableCount.compare_exchange_weak(count, count - 1, std::memory_order_relaxed));
  fsCountersEnabled.fetch_sub(1, std::memory_order_relaxed);
  return true;
}

TcounterContext* Tcounter::findOrCreateCounterPerThread() {
  const Tstring format(kThreadName);
  Tstring threadName;
  threadName.tFormat(&format, static_cast<int>(vela::debug_internal::currentThreadId32()));
  TmtScopedLock guard(fLock);
  // The calling thread is not inside any call on its old trees now, so they can go.
  if (!fRetired.empty()) fRetired.erase(threadName);
  auto it = fThreads.find(threadName);
  if (it != fThreads.end()) return it->second.get();
  auto root = std::make_unique<TcounterContext>(this, nullptr, threadName);
  root->fThreadId = vela::debug_internal::currentThreadId32();
  TcounterContext* made = root.get();
  fThreads.emplace(threadName, std::move(root));
  return made;
}

TcounterContext* Tcounter::cachedRoot() const {
  // A root stays valid while its key is the counter's current one: reset() draws a new key
  // before it puts the old trees aside, and only this thread frees them, on its next miss.
  // Keys are never reused, so a slot left by a destroyed counter never matches a new one.
  const std::uint64_t key = fCacheKey.load(std::memory_order_relaxed);
  const TthreadCache& cache = tCache;
  const unsigned slot = static_cast<unsigned>(key % kCacheSlots);
  return cache.key[slot] == key ? cache.root[slot] : nullptr;
}

TcounterContext* Tcounter::threadRoot() {
  if (TcounterContext* root = cachedRoot()) return root;
  // The key is read before the tree is looked up: a reset in between leaves a stale key here,
  // and the next call looks again.
  const std::uint64_t key = fCacheKey.load(std::memory_order_relaxed);
  TcounterContext* root = findOrCreateCounterPerThread();
  TthreadCache& cache = tCache;
  const unsigned slot = static_cast<unsigned>(key % kCacheSlots);
  cache.key[slot] = key;
  cache.root[slot] = root;
  return root;
}

void Tcounter::addToCurrent(int delta) { threadRoot()->addToCurrent(delta); }

void Tcounter::increment(const Tstring& context) {
  if (sCountersEnabled() == 0 || !isEnabled()) return;
  threadRoot()->increment(context);
}

void Tcounter::decrement(const Tstring& context) {
  if (sCountersEnabled() == 0 || !isEnabled()) return;
  threadRoot()->decrement(context);
}

void Tcounter::pushContext(const Tstring& context) {
  if (sCountersEnabled() == 0 || !isEnabled()) return;
  threadRoot()->pushContext(context);
}

void Tcounter::popContext() {
  // Also while disabled, so that a push made before disabling can still be undone.
  TcounterContext* root = cachedRoot();
  if (root == nullptr && isEnabled()) root = threadRoot();
  if (root != nullptr) root->popContext();
}

TcounterContext* Tcounter::current() {
  if (sCountersEnabled() == 0 || !isEnabled()) return nullptr;
  return threadRoot()->current();
}

unsigned int Tcounter::count() const {
  TmtScopedLock guard(fLock);
  unsigned int total = 0;
  for (const auto& entry : fThreads) {
    unsigned int own = 0;
    entry.second->getCounts(own, total);
  }
  return total;
}

bool Tcounter::getCounts(unsigned int& own, unsigned int& total) const {
  TmtScopedLock guard(fLock);
  own = 0;
  total = 0;
  for (const auto& entry : fThreads) {
    unsigned int rootOwn = 0;
    entry.second->getCounts(rootOwn, total);
    own += rootOwn;
  }
  return isEnabled();
}

void Tcounter::reset() {
  TmtScopedLock guard(fLock);
  fCacheKey.store(nextCacheKey(), std::memory_order_relaxed);
  // A thread may be counting in its tree right now, so the trees are zeroed and put aside
  // rather than freed; their thread frees them when it next looks for its tree.
  for (auto& entry : fThreads) {
    entry.second->zeroCounts();
    fRetired.emplace(entry.first, std::move(entry.second));
  }
  fThreads.clear();
}

void Tcounter::forEachThread(
    const std::function<void(std::uint32_t thread, const TcounterContext& root)>& visit) const {
  TmtScopedLock guard(fLock);
  std::vector<const TcounterContext*> roots;
  for (const auto& entry : fThreads) roots.push_back(entry.second.get());
  std::sort(roots.begin(), roots.end(), [](const TcounterContext* a, const TcounterContext* b) {
    return a->threadId() < b->threadId();
  });
  for (const TcounterContext* root : roots) visit(root->threadId(), *root);
}

void Tcounter::printCounter(TdebugOutput& out, bool verbose, unsigned int depth,
                            const Tstring& path) const {
  if (sCountersEnabled() == 0 || !isEnabled()) {
    printCatalog(out, kRetrieveError, &fName);
    return;
  }
  if (verbose) printCatalog(out, kVerboseHeading);
  TmtScopedLock guard(fLock);
  unsigned int total = 0;
  for (const auto& entry : fThreads) {
    unsigned int own = 0;
    entry.second->getCounts(own, total);
  }
  static const Tstring kSummary("^1d\t^2d\t^3s\t^4s\tAll Threads");
  const Tstring element = path.isEmpty() ? Tstring("All") : path;
  Tstring line;
  line.tFormat(&kSummary, static_cast<int>(total), 0, &element, &fName);
  out.print("%s\n", line.asC());
  if (depth == 1) {
    if (!fThreads.empty()) printCatalog(out, kAtMaxDepth);
    return;
  }
  std::vector<const TcounterContext*> roots;
  for (const auto& entry : fThreads) roots.push_back(entry.second.get());
  std::sort(roots.begin(), roots.end(),
            [](const TcounterContext* a, const TcounterContext* b) { return a->name() < b->name(); });
  out.setIndent(1);
  for (const TcounterContext* root : roots) {
    TstringArray names;
    names.addLast(element);
    root->printCounter(out, names, depth == 0 ? 0 : depth - 1, root->name());
  }
  out.setIndent(-1);
}

void Tcounter::debug(TdebugOutput& out, unsigned int flags) const {
  printCounter(out, flags != 0, 0, Tstring("Debug"));
}

void Tcounter::debugMe() const { debug(TdebugOutput::sCerr(), 1); }

// ---- process-wide ----

Tcounter* Tcounter::sGetCounter(const Tstring& name) {
  TcounterRegistry& r = counterRegistry();
  TmtScopedLock guard(r.lock);
  auto it = r.counters.find(name);
  return it == r.counters.end() ? nullptr : it->second;
}

bool Tcounter::sFindOrCreateNamedCounter(const Tstring& name, Tcounter*& out) {
  TcounterRegistry& r = counterRegistry();
  {
    TmtScopedLock guard(r.lock);
    auto it = r.counters.find(name);
    if (it != r.counters.end()) {
      out = it->second;
      return false;
    }
  }
  // Made outside the lock (the constructor registers itself); a concurrent maker of the same
  // name may win, and then its counter is the one to use.
  auto* made = new Tcounter(name);
  if (!made->fRegistered) {
    delete made;
    out = sGetCounter(name);
    return false;
  }
  out = made;
  return true;
}

std::vector<Tcounter*> Tcounter::sMatchingCounters(const Tstring& pattern) {
  std::vector<Tcounter*> found;
  TcounterRegistry& r = counterRegistry();
  TmtScopedLock guard(r.lock);
  for (const auto& entry : r.counters) {
    if (entry.first.matches(pattern)) found.push_back(entry.second);
  }
  std::sort(found.begin(), found.end(),
            [](const Tcounter* a, const Tcounter* b) { return a->name() < b->name(); });
  return found;
}

int Tcounter::sEnableMatchingCounters(const Tstring& pattern) {
  int changed = 0;
  for (Tcounter* counter : sMatchingCounters(pattern)) changed += counter->enable() ? 1 : 0;
  return changed;
}

int Tcounter::sDisableMatchingCounters(const Tstring& pattern) {
  int changed = 0;
  for (Tcounter* counter : sMatchingCounters(pattern)) changed += counter->disable() ? 1 : 0;
  return changed;
}

int Tcounter::sResetMatchingCounters(const Tstring& pattern, TdebugOutput* out) {
  if (sCountersEnabled() == 0) {
    printCatalog(out != nullptr ? *out : TdebugOutput::sCout(), kDisabledNoReset);
    return 0;
  }
  const std::vector<Tcounter*> found = sMatchingCounters(pattern);
  for (Tcounter* counter : found) counter->reset();
  return static_cast<int>(found.size());
}

int Tcounter::sListMatchingCounters(const Tstring& pattern, TdebugOutput* out) {
  TdebugOutput& sink = out != nullptr ? *out : TdebugOutput::sCout();
  const std::vector<Tcounter*> found = sMatchingCounters(pattern);
  for (const Tcounter* counter : found) {
    printCatalog(sink, counter->isEnabled() ? kListEnabled : kListDisabled, &counter->fName);
  }
  return static_cast<int>(found.size());
}

int Tcounter::sPrintMatchingCounters(const Tstring& pattern, TdebugOutput* out, bool verbose,
                                     unsigned int depth) {
  TdebugOutput& sink = out != nullptr ? *out : TdebugOutput::sCout();
  if (sCountersEnabled() == 0) {
    printCatalog(sink, kDisabledError);
    return 0;
  }
  if (pattern == "*") {
    printCatalog(sink, kFullPrint);
  } else {
    printCatalog(sink, kMatchingPrint, &pattern);
  }
  const Tstring when = reportDateTime();
  printCatalog(sink, kDateTime, &when);
  int printed = 0;
  const std::vector<Tcounter*> found = sMatchingCounters(pattern);
  for (const Tcounter* counter : found) {
    if (!counter->isEnabled()) {
      printCatalog(sink, kNotRetrieved, &counter->fName);
      continue;
    }
    counter->printCounter(sink, verbose, depth);
    ++printed;
  }
  if (verbose) printCatalog(sink, kVerboseCount, &pattern, printed);
  return printed;
}
