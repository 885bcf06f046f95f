#include <velacore/environment/VelaEnv.h>

#include <velacore/base/internal/Timmortal.h>
#include <velacore/environment/TenvGuard.h>

#include <velacore/base/TmtCriticalSection.h>
#include <velacore/base/TmtRecursiveMutex.h>
#include <velacore/platform/TplatformEnvironment.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Guards the environment block against our own concurrent readers and writers. Like the
// callbacks below it is never destroyed: static destructors may still read the environment.
TmtCriticalSection& environmentLock() {
  static Timmortal<TmtCriticalSection> sLock;
  return *sLock;
}

// The callbacks and the queue of assignments made before a modify callback existed. Recursive,
// because a callback may itself change the environment.
struct Tcallbacks {
  TmtRecursiveMutex lock;
  TvelaEnvCallback modify = nullptr;
  TvelaEnvCallback unset = nullptr;
  std::vector<std::string> pending;
};

Tcallbacks& callbacks() {
  static Timmortal<Tcallbacks> sCallbacks;
  return *sCallbacks;
}

// `value` with every entry that already occurred earlier in the list removed.
std::string withoutRepeatedEntries(const std::string& value) {
  constexpr char sep = vela::platform::kPathListSeparator;
  std::vector<std::string> kept;
  std::string result;
  std::size_t start = 0;
  for (;;) {
    std::size_t end = value.find(sep, start);
    if (end == std::string::npos) end = value.size();
    std::string entry = value.substr(start, end - start);
    bool seen = false;
    for (const std::string& k : kept) seen = seen || k == entry;
    if (!seen) {
      if (!kept.empty()) result += sep;
      result += entry;
      kept.push_back(std::move(entry));
    }
    if (end == value.size()) break;
    start = end + 1;
  }
  return result;
}

}  // namespace

const char* VelaGetEnv(const char* name) {
  if (name == nullptr) return nullptr;
  TmtScopedLock guard(environmentLock());
  return vela::platform::getEnv(name);
}

int VelaPutEnv(const char* assignment) {
  if (assignment == nullptr) return -EINVAL;
  const char* equals = std::strchr(assignment, '=');
  if (equals == nullptr || equals == assignment) return -EINVAL;
  const std::string name(assignment, equals);
  std::string value(equals + 1);
  if (name == "PATH") value = withoutRepeatedEntries(value);
  int rc;
  {
    TmtScopedLock guard(environmentLock());
    rc = vela::platform::setEnv(name.c_str(), value.c_str());
  }
  if (rc < 0) return rc;

  std::string stored = name + "=" + value;
  Tcallbacks& c = callbacks();
  TmtScopedLock guard(c.lock);
  if (c.modify != nullptr) {
    c.modify(stored.c_str());
  } else {
    c.pending.push_back(std::move(stored));
  }
  return 0;
}

int VelaUnsetEnv(const char* name) {
  if (name == nullptr || *name == '\0' || std::strchr(name, '=') != nullptr) return -EINVAL;
  int rc;
  {
    TmtScopedLock guard(environmentLock());
    rc = vela::platform::unsetEnv(name);
  }
  if (rc < 0) return rc;
  Tcallbacks& c = callbacks();
  TmtScopedLock guard(c.lock);
  if (c.unset != nullptr) c.unset(name);
  return 0;
}

void VelaSetModifyEnvCallbacks(TvelaEnvCallback modifyCallback, TvelaEnvCallback unsetCallback) {
  Tcallbacks& c = callbacks();
  TmtScopedLock guard(c.lock);
  c.modify = modifyCallback;
  c.unset = unsetCallback;
  if (modifyCallback == nullptr) return;
  // Taken out first: assignments the callback makes itself reach it directly, after the queue.
  std::vector<std::string> pending;
  pending.swap(c.pending);
  for (const std::string& text : pending) modifyCallback(text.c_str());
}

TenvGuard::TenvGuard() : fSaved(copyEnv()) {}

TenvGuard::~TenvGuard() { restore(); }

std::vector<std::string> TenvGuard::copyEnv() {
  TmtScopedLock guard(environmentLock());
  return vela::platform::environmentEntries();
}

void TenvGuard::restore() const {
  TmtScopedLock guard(environmentLock());
  auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
  for (const std::string& entry : vela::platform::environmentEntries()) {
    const std::string name = nameOf(entry);
    bool kept = false;
    for (const std::string& saved : fSaved) kept = kept || nameOf(saved) == name;
    if (!kept) (void)vela::platform::unsetEnv(name.c_str());
  }
  for (const std::string& saved : fSaved) {
    const std::size_t equals = saved.find('=');
    if (equals == std::string::npos || equals == 0) continue;
    const std::string name = saved.substr(0, equals);
    const char* now = vela::platform::getEnv(name.c_str());
    if (now == nullptr || saved.compare(equals + 1, std::string::npos, now) != 0) {
      (void)vela::platform::setEnv(name.c_str(), saved.c_str() + equals + 1);
    }
  }
}
